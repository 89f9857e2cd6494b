// Conversions of floating values to int that are defined for every value:
// as x86 processors convert (truncation toward zero, and INT_MIN for NaN and
// for values out of range), so that results match that platform bit for bit.
#ifndef KLUTEIDA_UTIL_INT_CONVERSION_H
#define KLUTEIDA_UTIL_INT_CONVERSION_H

#include <climits>
#include <cmath>

inline int TruncateToInt(double v) {
  if (v > -2147483649.0 && v < 2147483648.0) return static_cast<int>(v);
  return INT_MIN;
}

// Rounding to nearest, ties to even, then the same conversion.
inline int RoundToInt(double v) { return TruncateToInt(std::rint(v)); }

#endif  // KLUTEIDA_UTIL_INT_CONVERSION_H
