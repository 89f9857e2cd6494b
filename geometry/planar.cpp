#include "geometry/planar.h"

#include <climits>
#include <cmath>

using geometry_detail::WrapAdd;
using geometry_detail::WrapMul;
using geometry_detail::WrapSub;

namespace {

// z of the cross product (b - a) x (p - a), in wrapping 32-bit arithmetic.
int Cross2D(int ax, int ay, int bx, int by, int px, int py) {
  const int ux = WrapSub(bx, ax);
  const int uy = WrapSub(by, ay);
  const int vx = WrapSub(px, ax);
  const int vy = WrapSub(py, ay);
  return WrapSub(WrapMul(ux, vy), WrapMul(uy, vx));
}

// Nearest integer, ties to even. Only an absurd distance can push a product
// beyond the int range; it then saturates.
int RoundToInt(float v) {
  const float r = std::rint(v);
  if (std::isnan(r)) return 0;
  if (r >= 2147483648.0f) return INT_MAX;
  if (r < -2147483648.0f) return INT_MIN;
  return static_cast<int>(r);
}

}  // namespace

double DistPoint3D(const TPoint3Di& a, const TPoint3Di& b) {
  const double dx = static_cast<double>(a.x) - static_cast<double>(b.x);
  const double dy = static_cast<double>(a.y) - static_cast<double>(b.y);
  const double dz = static_cast<double>(a.z) - static_cast<double>(b.z);
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

double DistLinePoint3D(const TPoint3Di& a, const TPoint3Di& b, const TPoint3Di& p) {
  const TPoint3Di di = b - a;
  const TPoint3Di wi = p - a;
  const double dx = di.x, dy = di.y, dz = di.z;
  const double wx = wi.x, wy = wi.y, wz = wi.z;
  const double c1 = wx * dy - wy * dx;
  const double c2 = wy * dz - wz * dy;
  const double c3 = wz * dx - wx * dz;
  const double length2 = dx * dx + dy * dy + dz * dz;
  // order of the sum is part of the result
  return std::sqrt((c1 * c1 + c2 * c2 + c3 * c3) / length2);
}

unsigned char SideOfLine(TPointImg a, TPointImg b, TPointImg p) {
  return Cross2D(a.x, a.y, b.x, b.y, p.x, p.y) < 0;
}

unsigned char SideOfLine3D(TPoint3Di a, TPoint3Di b, TPoint3Di p) {
  return Cross2D(a.x, a.y, b.x, b.y, p.x, p.y) >= 0;
}

TPointImg PointOnPerp(TPointImg a, TPointImg b, float d) {
  if (a.x == b.x && a.y == b.y) return b;
  // k is kept in single precision, and so are both products.
  const float k = static_cast<float>(static_cast<double>(d) / DistPoint2D(a, b));
  const TPointImg t = b - a;
  const int along_x = RoundToInt(static_cast<float>(t.y) * k);
  const int along_y = RoundToInt(static_cast<float>(t.x) * k);
  TPointImg r;
  r.x = WrapAdd(WrapAdd(a.x, t.x), along_x);
  r.y = WrapSub(WrapAdd(a.y, t.y), along_y);
  return r;
}
