// Distances, sides of a line and the point on a perpendicular.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>

#include "geometry/planar.h"
#include "geometry_test_util.h"

using namespace geotest;

namespace {

TEST(SideOfLine, OppositeConventionsOnTheLine) {
  const struct {
    TPointImg a, b, p;
    int side;  // SideOfLine; SideOfLine3D answers the complement
  } cases[] = {
      // clang-format off
      {Img(0, 0), Img(10, 0), Img(5, 0), 0}, {Img(0, 0), Img(10, 0), Img(-20, 0), 0},
      {Img(0, 0), Img(10, 0), Img(5, 3), 0}, {Img(0, 0), Img(10, 0), Img(5, -3), 1},
      {Img(10, 0), Img(0, 0), Img(5, 3), 1}, {Img(2, 2), Img(4, 6), Img(5, 4), 1},
      {Img(2, 2), Img(4, 6), Img(1, 4), 0},
      // 65536 * 32768 = 2^31 does not fit in 32 bits: the cross product wraps negative.
      {Img(0, 0), Img(65536, 0), Img(0, 32768), 1},
      // clang-format on
  };
  for (const auto& c : cases) {
    EXPECT_EQ(SideOfLine(c.a, c.b, c.p), c.side) << c.p.x << "," << c.p.y;
    const TPoint3Di a(c.a.x, c.a.y, 9), b(c.b.x, c.b.y, -40), p(c.p.x, c.p.y, 1000);
    EXPECT_EQ(SideOfLine3D(a, b, p), 1 - c.side) << c.p.x << "," << c.p.y;
  }
}

TEST(PointOnPerp, RoundsSinglePrecisionProductsTiesToEven) {
  const struct {
    TPointImg a, b;
    float d;
    Xy2 expected;
  } cases[] = {
      // clang-format off
      {Img(0, 0), Img(10, 0), 5.0f, {10, -5}}, {Img(0, 0), Img(0, 10), 5.0f, {5, 10}},
      {Img(0, 0), Img(10, 0), -5.0f, {10, 5}}, {Img(1, 1), Img(4, 5), 10.0f, {12, -1}},
      // Products of exactly n + 0.5 go to the even neighbour.
      {Img(0, 0), Img(0, 5), 2.5f, {2, 5}}, {Img(0, 0), Img(0, 7), 3.5f, {4, 7}},
      {Img(0, 0), Img(0, -5), 2.5f, {-2, -5}}, {Img(0, 0), Img(5, 0), 2.5f, {5, -2}},
      // 16777217 becomes 2^24 as a float and k = 1 - 2^-24, so the product is
      // 2^24 - 1 where a double product would give 2^24.
      {Img(0, 0), Img(0, 16777217), 16777217.0f, {16777215, 16777217}},
      // k = 19.375 / 35 as a float puts 28k just below 15.5 (a double k gives 15.5 exactly).
      {Img(0, 0), Img(21, 28), 19.375f, {36, 16}},
      {Img(3, -4), Img(3, -4), 5.0f, {3, -4}},  // no direction: b
      // clang-format on
  };
  for (const auto& c : cases)
    EXPECT_EQ(Xy(PointOnPerp(c.a, c.b, c.d)), c.expected) << c.b.x << "," << c.b.y << " " << c.d;
}

TEST(Distances, TwoAndThreeDimensions) {
  EXPECT_EQ(DistPoint2D(Img(1, 2), Img(4, 6)), 5.0);
  EXPECT_EQ(DistPoint3D(TPoint3Di(1, 2, 3), TPoint3Di(4, 6, 15)), 13.0);
  // Differences made in doubles: no 32-bit overflow.
  EXPECT_EQ(DistPoint3D(TPoint3Di(INT_MIN, 0, 0), TPoint3Di(INT_MAX, 0, 0)), 4294967295.0);

  const struct {
    TPoint3Di a, b, p;
    double expected;
  } lines[] = {
      {TPoint3Di(0, 0, 0), TPoint3Di(10, 0, 0), TPoint3Di(3, 4, 0), 4.0},
      {TPoint3Di(0, 0, 0), TPoint3Di(10, 0, 0), TPoint3Di(-30, 0, 0), 0.0},
      {TPoint3Di(0, 0, -2), TPoint3Di(0, 0, 5), TPoint3Di(3, 4, 70), 5.0},
      {TPoint3Di(1, 1, 1), TPoint3Di(2, 2, 2), TPoint3Di(1, 2, 3), std::sqrt(2.0)},
  };
  for (const auto& l : lines) EXPECT_EQ(DistLinePoint3D(l.a, l.b, l.p), l.expected) << l.p.x;
}

}  // namespace
