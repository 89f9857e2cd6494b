#include "geometry/regboundary.h"

#include <algorithm>
#include <cmath>

#include "geometry/wrapint.h"

namespace {

using geometry_detail::WrapMul;
using geometry_detail::WrapSub;

int PointCount(const RegBoundary_t<TPointImg>& boundary) {
  return std::clamp(boundary.nPoints, 0, static_cast<int>(boundary.points.size()));
}

double Length(int dx, int dy) {
  const double x = dx, y = dy;
  return std::sqrt(y * y + x * x);
}

}  // namespace

unsigned char CalcLinearAprox(const RegBoundary_t<TPointImg>& boundary, double& a, double& b,
                              double& c, double& meanDist) {
  a = b = c = meanDist = 0.0;
  const int count = PointCount(boundary);
  if (count < 3) return 0;
  const double n = count;
  double sx = 0, sy = 0, sxx = 0, syy = 0, sxy = 0;
  for (int i = 0; i < count; ++i) {
    const TPointImg& p = boundary.points[static_cast<size_t>(i)];
    // each product in 32-bit integers, then added as a double
    sx += p.x;
    sy += p.y;
    sxx += WrapMul(p.x, p.x);
    syy += WrapMul(p.y, p.y);
    sxy += WrapMul(p.x, p.y);
  }
  const double dx = n * sxx - sx * sx;
  const double dy = n * syy - sy * sy;
  double la, lb, lc;
  if (dx > 0.1) {  // not close to vertical: y on x
    la = -(n * sxy - sx * sy) / dx;
    lb = 1;
    lc = -(sy * sxx - sx * sxy) / dx;
  } else if (dy > 0.1) {  // x on y
    la = 1;
    lb = -(n * sxy - sx * sy) / dy;
    lc = -(sx * syy - sy * sxy) / dy;
  } else {
    return 0;  // every point the same: no line
  }
  double k = 1 / std::sqrt(la * la + lb * lb);
  if (lc > 0) k = -k;
  a = la * k;
  b = lb * k;
  c = lc * k;
  double sum = 0;
  for (int i = 0; i < count; ++i) {
    const TPointImg& p = boundary.points[static_cast<size_t>(i)];
    sum += std::fabs(a * p.x + b * p.y + c);
  }
  meanDist = sum / n;
  return 1;
}

double dist_pnt_ln(TPointImg a, TPointImg b, TPointImg p) {
  const int ux = WrapSub(b.x, a.x), uy = WrapSub(b.y, a.y);
  const int vx = WrapSub(p.x, a.x), vy = WrapSub(p.y, a.y);
  if (ux == 0 && uy == 0) return Length(vx, vy);
  const int num = WrapSub(WrapMul(uy, vx), WrapMul(ux, vy));  // in 32-bit integers
  return std::fabs(static_cast<double>(num)) / Length(ux, uy);
}

unsigned char Collinear(const RegBoundary_t<TPointImg>& boundary, const double& tolerance,
                        const int& first, int& last, int& split) {
  if (first >= last) return 0;
  const int count = PointCount(boundary);
  if (last >= count) last = count - 1;
  if (first < 0 || first >= count) return 0;
  const auto at = [&](int i) { return boundary.points[static_cast<size_t>(i)]; };
  const TPointImg P = at(first), Q = at(last);
  const int dy = WrapSub(P.y, Q.y), dx = WrapSub(Q.x, P.x);
  const double chord = Length(dx, dy);
  double arc = 0;
  for (int i = first; i < last; ++i) {
    const TPointImg s = at(i), t = at(i + 1);
    arc += Length(WrapSub(t.x, s.x), WrapSub(t.y, s.y));
  }
  if (arc == 0) return 1;
  if (arc / chord > 1.5) {  // winds too much
    split = static_cast<int>((static_cast<long long>(first) + last) / 2);
    return 0;
  }
  const int c0 = WrapSub(WrapMul(Q.y, P.x), WrapMul(P.y, Q.x));
  double largest = 0, previous = 0;
  int changes = 0;
  split = first;
  for (int i = first + 1; i < last; ++i) {
    const TPointImg p = at(i);
    const double s = static_cast<double>(p.x) * dy + static_cast<double>(p.y) * dx + c0;
    if (std::fabs(s) > largest) {
      largest = std::fabs(s);
      split = i;
    }
    if (s * previous < 0) ++changes;
    previous = s;
  }
  const double max_dev = largest / chord;
  if (last <= first + 2) return tolerance > max_dev - changes;
  return tolerance > max_dev - changes / (last - first - 2);
}
