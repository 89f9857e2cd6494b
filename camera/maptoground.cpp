#include "camera/maptoground.h"

#include <cmath>

namespace {

// Each written as its own literal.
constexpr double kRadius = 6366000.0;
constexpr double kFourRadii = 25464000.0;
constexpr double kTwoRadii = 12732000.0;

}  // namespace

void MapToGround(double x, double y, double h, double& X, double& Y, double& Z, double x0,
                 double y0, int) {
  const double dx = x - x0;
  const double dy = y - y0;
  const double q = (dx * dx + dy * dy) / kFourRadii;
  const double k = (h + kRadius) / (q + kRadius);
  X = k * dx;
  Y = k * dy;
  Z = (kRadius - q) * k - kRadius;
}

void GroundToMap(double X, double Y, double Z, double& x, double& y, double& h, double x0,
                 double y0, int) {
  const double zc = Z + kRadius;
  const double d = std::sqrt(zc * zc + X * X + Y * Y);  // order of the sum is part of the result
  const double s = kTwoRadii / (zc + d);
  x = X * s + x0;
  y = Y * s + y0;
  h = d - kRadius;
}
