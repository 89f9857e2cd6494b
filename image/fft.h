// Radix-2 fast Fourier transforms of complex arrays, in place.
#ifndef KLUTEIDA_IMAGE_FFT_H
#define KLUTEIDA_IMAGE_FFT_H

#include "image/tcomplex.h"

// Forward transform of the n = 2^m values at x, in place: decimation in
// frequency, result in natural order, not scaled. The twiddle factors W^j,
// W = exp(-i pi / (n / 2)), are built in single precision by repeated
// multiplication and kept until a call with another m rebuilds them (printing
// "constructing w array... OK").
//
// Returns 1 for m = 0 (nothing is done), 4 when m is negative or above 30 or
// the table cannot be allocated (nothing is done), 0 after a transform.
// Not re-entrant: the table is process-wide.
int FFT(TComplex* x, int m);

// Inverse transform: the same with W = exp(+i pi / (n / 2)) and its own
// table, every value finally multiplied by 1 / n (computed in double).
int IFFT(TComplex* x, int m);

#endif  // KLUTEIDA_IMAGE_FFT_H
