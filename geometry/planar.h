// Distances, sides of a line and a point on a perpendicular.
#ifndef KLUTEIDA_GEOMETRY_PLANAR_H
#define KLUTEIDA_GEOMETRY_PLANAR_H

#include <cmath>

#include "geometry/tpoint3d.h"
#include "geometry/tpointimg.h"
#include "geometry/wrapint.h"

// Euclidean distance of two 2D points; each (integer) difference is converted
// to double and squared.
template <class P>
double DistPoint2D(const P& a, const P& b) {
  const double dx = static_cast<double>(geometry_detail::WrapSub(a.x, b.x));
  const double dy = static_cast<double>(geometry_detail::WrapSub(a.y, b.y));
  return std::sqrt(dx * dx + dy * dy);
}

// Euclidean distance in 3D, computed in doubles.
double DistPoint3D(const TPoint3Di& a, const TPoint3Di& b);

// Distance of p from the line through a and b: the length of the cross product
// of (p - a) and (b - a) divided by |b - a|. Not a number or infinite when a
// equals b.
double DistLinePoint3D(const TPoint3Di& a, const TPoint3Di& b, const TPoint3Di& p);

// 1 when p lies strictly on the negative side of a->b (cross product < 0); a
// point on the line gives 0.
unsigned char SideOfLine(TPointImg a, TPointImg b, TPointImg p);

// On x and y only: 1 when the cross product is >= 0, the complement of
// SideOfLine, so a point on the line gives 1.
unsigned char SideOfLine3D(TPoint3Di a, TPoint3Di b, TPoint3Di p);

// The point at distance d from b on the perpendicular to a->b through b, that
// is (b.x + k t.y, b.y - k t.x) with t = b - a and k = d / |t|, each product
// made in single precision and rounded to nearest, ties to even. When a equals
// b the result is b.
TPointImg PointOnPerp(TPointImg a, TPointImg b, float d);

#endif  // KLUTEIDA_GEOMETRY_PLANAR_H
