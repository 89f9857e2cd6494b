// Median of three values.
#ifndef KLUTEIDA_IMAGE_MEDIAN_H
#define KLUTEIDA_IMAGE_MEDIAN_H

// The comparisons are made in this order, so NaN operands give a defined pick:
// if b >= a: a when a > c, else the smaller of b and c (c when equal);
// otherwise: a when c > a, else the larger of b and c (b when equal).
inline double Median(double a, double b, double c) {
  if (b >= a) {
    if (a > c) return a;
    return b < c ? b : c;
  }
  if (c > a) return a;
  return b >= c ? b : c;
}

#endif  // KLUTEIDA_IMAGE_MEDIAN_H
