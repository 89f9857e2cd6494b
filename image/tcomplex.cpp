#include "image/tcomplex.h"

#include <cmath>

double TComplex::Angle() const {
  return std::atan2(static_cast<double>(im), static_cast<double>(re));
}

double TComplex::Magnitude() const {
  const float sum = re * re + im * im;  // summed in single precision
  return std::sqrt(static_cast<double>(sum));
}

TComplex TComplex::operator*(const TComplex& o) const {
  return TComplex(re * o.re - im * o.im, re * o.im + im * o.re);
}

TComplex TComplex::operator*(const double& d) const {
  return TComplex(static_cast<float>(re * d), static_cast<float>(im * d));
}

TComplex TComplex::operator*(const float& f) const { return TComplex(re * f, im * f); }

TComplex TComplex::operator+(const TComplex& o) const { return TComplex(re + o.re, im + o.im); }

TComplex TComplex::operator-(const TComplex& o) const { return TComplex(re - o.re, im - o.im); }

TComplex& TComplex::operator=(const TComplex& o) {
  re = o.re;
  im = o.im;
  return *this;
}
