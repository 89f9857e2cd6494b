// 3D point with integer or double components.
#ifndef KLUTEIDA_GEOMETRY_TPOINT3D_H
#define KLUTEIDA_GEOMETRY_TPOINT3D_H

#include "geometry/wrapint.h"

class TMatrix;

// Component-wise operators; on integers they wrap around on overflow and
// divide truncating toward zero.
template <class T>
struct TPoint3D {
  T x;
  T y;
  T z;

  TPoint3D() : x(0), y(0), z(0) {}
  TPoint3D(T x, T y, T z) : x(x), y(y), z(z) {}

  TPoint3D operator-(const TPoint3D& b) const {
    return {geometry_detail::WrapSub(x, b.x), geometry_detail::WrapSub(y, b.y),
            geometry_detail::WrapSub(z, b.z)};
  }
  TPoint3D operator+(const TPoint3D& b) const {
    return {geometry_detail::WrapAdd(x, b.x), geometry_detail::WrapAdd(y, b.y),
            geometry_detail::WrapAdd(z, b.z)};
  }
  TPoint3D& operator-=(const TPoint3D& b) { return *this = *this - b; }
  TPoint3D& operator+=(const TPoint3D& b) { return *this = *this + b; }
  // k added to each component.
  TPoint3D operator+(T k) const { return *this + TPoint3D(k, k, k); }
  // All three components set to k.
  TPoint3D& operator=(T k) {
    x = y = z = k;
    return *this;
  }
  TPoint3D& operator*=(T k) {
    x = geometry_detail::WrapMul(x, k);
    y = geometry_detail::WrapMul(y, k);
    z = geometry_detail::WrapMul(z, k);
    return *this;
  }
  TPoint3D& operator/=(T k) {
    x = geometry_detail::TruncDiv(x, k);
    y = geometry_detail::TruncDiv(y, k);
    z = geometry_detail::TruncDiv(z, k);
    return *this;
  }
  // M x (x, y, z) for a 3 x 3 matrix, (0, 0, 0) for any other shape. Defined
  // for TPoint3Dd only (geometry/projection.cpp).
  TPoint3D operator*(const TMatrix& m) const;
};

using TPoint3Di = TPoint3D<int>;
using TPoint3Dd = TPoint3D<double>;

template <>
TPoint3Dd TPoint3Dd::operator*(const TMatrix& m) const;

#endif  // KLUTEIDA_GEOMETRY_TPOINT3D_H
