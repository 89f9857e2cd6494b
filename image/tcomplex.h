// Single-precision complex number: the element of complex images and the FFT.
#ifndef KLUTEIDA_IMAGE_TCOMPLEX_H
#define KLUTEIDA_IMAGE_TCOMPLEX_H

// Real part first, then imaginary part: 8 bytes, as complex images store it.
class TComplex {
 public:
  float re;
  float im;

  TComplex(float re = 0.0f, float im = 0.0f) : re(re), im(im) {}
  TComplex(const TComplex& o) = default;

  double Angle() const;      // atan2(im, re)
  double Magnitude() const;  // sqrt of re*re + im*im summed in single precision

  TComplex operator*(const TComplex& o) const;
  TComplex operator*(const double& d) const;  // products in double, stored as floats
  TComplex operator*(const float& f) const;
  TComplex operator+(const TComplex& o) const;
  TComplex operator-(const TComplex& o) const;
  TComplex& operator=(const TComplex& o);
};

#endif  // KLUTEIDA_IMAGE_TCOMPLEX_H
