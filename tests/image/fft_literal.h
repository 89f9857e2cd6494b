// The radix-2 transform written plainly, step by step as described: stages
// with the butterflies of each factor in turn, then the bit reversal. Slow
// on large arrays on purpose; FFT and IFFT must give the same bits.
#ifndef KLUTEIDA_TESTS_IMAGE_FFT_LITERAL_H
#define KLUTEIDA_TESTS_IMAGE_FFT_LITERAL_H

#include <cmath>
#include <utility>
#include <vector>

#include "image/tcomplex.h"

namespace literal {

// The twiddle table of 2^m points: sign -1 forward, +1 inverse.
inline std::vector<TComplex> Table(int m, float sign) {
  const int le = (1 << m) / 2;
  std::vector<TComplex> w(static_cast<size_t>(le > 0 ? le - 1 : 0));
  const float arg = static_cast<float>(4.0 * std::atan(1.0) / le);
  const float wr = static_cast<float>(std::cos(arg));
  const float wi = static_cast<float>(sign * std::sin(arg));
  TComplex u(wr, wi);
  for (int j = 0; j < le - 1; j++) {
    w[j] = u;
    u = u * TComplex(wr, wi);
  }
  return w;
}

// The stages and the bit reversal, with the table w of 2^m points.
inline void Transform(TComplex* x, int m, const std::vector<TComplex>& w) {
  const int n = 1 << m;
  int le = n;
  TComplex u;
  int windex = 1;
  for (int l = 0; l < m; l++) {
    le = le / 2;
    for (int i = 0; i < n; i = i + 2 * le) {
      TComplex t = x[i] + x[i + le];
      x[i + le] = x[i] - x[i + le];
      x[i] = t;
    }
    for (int j = 1; j < le; j++) {
      u = w[j * windex - 1];
      for (int i = j; i < n; i = i + 2 * le) {
        TComplex t = x[i] + x[i + le];
        TComplex d = x[i] - x[i + le];
        x[i + le] = d * u;
        x[i] = t;
      }
    }
    windex = 2 * windex;
  }
  int j = 0;
  for (int i = 1; i < n - 1; i++) {
    int k = n / 2;
    while (k <= j) {
      j = j - k;
      k = k / 2;
    }
    j = j + k;
    if (i < j) std::swap(x[i], x[j]);
  }
}

// sign -1 for the forward transform, +1 for the inverse (then scaled by 1/n).
inline void Fft(TComplex* x, int m, float sign) {
  Transform(x, m, Table(m, sign));
  const int n = 1 << m;
  if (sign > 0) {
    const double scale = 1.0 / n;
    for (int i = 0; i < n; i++) x[i] = x[i] * scale;
  }
}

}  // namespace literal

#endif  // KLUTEIDA_TESTS_IMAGE_FFT_LITERAL_H
