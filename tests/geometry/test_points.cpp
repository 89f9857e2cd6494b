// Point and box value types, the overlap templates and the box file.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <string>

#include "geometry_test_util.h"
#include "kluteida.h"
#include "test_support.h"

using namespace geotest;
using namespace testsupport;

namespace {

TEST(PointImg, RowFirstWrappingTruncatingOperators) {
  static_assert(offsetof(TPointImg, y) == 0 && offsetof(TPointImg, x) == sizeof(int));
  static_assert(offsetof(TPointFilm, y) == 0 && offsetof(TPointFilm, x) == sizeof(double));
  EXPECT_EQ(Xy(Img(-7, 7) - Img(3, -10)), (Xy2{-10, 17}));
  EXPECT_EQ(Xy(Img(INT_MAX, INT_MIN) + Img(1, -1)), (Xy2{INT_MIN, INT_MAX}));
  EXPECT_EQ(Xy(-Img(INT_MIN, 1)), (Xy2{INT_MIN, -1}));
  TPointImg m = Img(INT_MAX, -3);
  m *= 2;
  EXPECT_EQ(Xy(m), (Xy2{-2, -6}));
  EXPECT_EQ(Xy(Img(65536, 1) * 65536), (Xy2{0, 65536}));

  // Quotients truncate toward zero; INT_MIN / -1 wraps; a divisor of 0 changes nothing.
  const struct {
    TPointImg p;
    int k;
    Xy2 quotient;
  } divisions[] = {// clang-format off
      {Img(-7, 7), 2, {-3, 3}}, {Img(7, -7), -2, {-3, 3}}, {Img(-1, 1), 2, {0, 0}},
      {Img(-9, 10), -4, {2, -2}}, {Img(INT_MIN, 5), -1, {INT_MIN, -5}}, {Img(12, -3), 0, {12, -3}}};
  // clang-format on
  for (const auto& d : divisions) {
    TPointImg q = d.p;
    q /= d.k;
    EXPECT_EQ(Xy(q), d.quotient) << d.p.x << "," << d.p.y << " / " << d.k;
    EXPECT_EQ(Xy(d.p / d.k), d.quotient);
  }
}

TEST(PointImg, ReadTakesColumnThenRow) {
  const struct {
    const char* text;
    int result;
    Xy2 point;  // starting from (11, 22)
  } cases[] = {{"", 0, {11, 22}},    {" \n\t ", 0, {11, 22}}, {"3\n\t-7 9", 1, {3, -7}},
               {"abc", 1, {11, 22}}, {"5", 1, {11, 22}},      {"5 x", 1, {11, 22}}};
  for (const auto& c : cases) {
    TPointImg p = Img(11, 22);
    EXPECT_EQ(p.Read(TextStream(c.text).get()), c.result) << '"' << c.text << '"';
    EXPECT_EQ(Xy(p), c.point) << '"' << c.text << '"';
  }
}

TEST(Point3D, IntegerOperatorsWrapAndTruncate) {
  TPoint3Di c = TPoint3Di(INT_MAX, 0, INT_MIN) + 1;
  EXPECT_EQ(Xyz(c), (Xyz3{INT_MIN, 1, INT_MIN + 1}));
  c -= TPoint3Di(1, -1, 1);
  EXPECT_EQ(Xyz(c), (Xyz3{INT_MAX, 2, INT_MIN}));
  c = TPoint3Di(-7, 7, -8);
  c /= 2;
  EXPECT_EQ(Xyz(c), (Xyz3{-3, 3, -4}));
  c *= INT_MIN;
  EXPECT_EQ(Xyz(c), (Xyz3{INT_MIN, INT_MIN, 0}));
  c /= -1;
  EXPECT_EQ(Xyz(c), (Xyz3{INT_MIN, INT_MIN, 0}));
  c = 17;
  c /= 0;
  EXPECT_EQ(Xyz(c), (Xyz3{17, 17, 17}));
}

TEST(MinMax, TiesAndCoexistenceWithStd) {
  EXPECT_EQ(min(3, -2), -2);
  EXPECT_EQ(max<int>(INT_MIN, INT_MAX), INT_MAX);
  // On a tie min keeps its first argument and max its second: visible on signed zeros.
  EXPECT_FALSE(std::signbit(min(0.0, -0.0)));
  EXPECT_TRUE(std::signbit(max(0.0, -0.0)));
  EXPECT_EQ(std::min(2.5, 1.5), 1.5);
  EXPECT_EQ(std::max<std::string>("a", "b"), "b");
  using std::min;
  EXPECT_EQ(min(7L, 3L), 3L);
}

TEST(Overlap, ClosedIntervalsAndBoxesInPlan) {
  EXPECT_EQ((Xyz3{Overlap(5, 1, 1), Overlap(5, 1, 5), Overlap(5, 1, 6)}), (Xyz3{1, 1, 0}));
  EXPECT_EQ(Overlap(5, 1, 0), 0);
  const struct {
    int a1, a2, b1, b2, expected;
  } intervals[] = {{0, 10, 3, 4, 1},   {3, 4, 0, 10, 1},   {0, 10, 11, 20, 0},
                   {0, 10, 10, 20, 1}, {20, 11, 10, 0, 0}, {-5, -1, -1, 3, 1}};
  for (const auto& c : intervals)
    EXPECT_EQ(MutualOverlap(c.a1, c.a2, c.b1, c.b2), c.expected) << c.a1 << " " << c.b1;

  TBox2D a{Img(10, 0), Img(0, 10)}, x_apart{Img(11, 0), Img(20, 10)},
      y_apart{Img(0, 11), Img(10, 20)}, corner{Img(20, 20), Img(10, 10)};
  EXPECT_EQ((Xyz3{a.Overlap(x_apart), a.Overlap(y_apart), a.Overlap(corner)}), (Xyz3{0, 0, 1}));
  EXPECT_EQ(corner.Overlap(a), 1);
  // Boxes over the same ground overlap whatever their heights.
  TBox3D low{TPoint3Di(0, 0, 0), TPoint3Di(10, 10, 10)};
  TBox3D high{TPoint3Di(5, 5, 100), TPoint3Di(6, 6, 200)};
  TBox3D beside{TPoint3Di(11, 0, 0), TPoint3Di(20, 10, 10)};
  EXPECT_EQ(low.Overlap(high), 1);
  EXPECT_EQ(low.Overlap(beside), 0);
}

TEST(BoxFile, WritesColumnFirstAndReadsBack) {
  TempDir dir;
  const std::string name = dir.file("area.box");
  TBox2D box{Img(3, 7), Img(-123456, INT_MIN)};
  EXPECT_EQ(box.Save(name.c_str()), 1);
  EXPECT_EQ(ReadFile(name), std::string(11, ' ') + "3" + std::string(12, ' ') + "7\n" +
                                "     -123456  -2147483648\n");
  TBox2D back;
  back.Init(name.c_str());
  EXPECT_EQ(Xy(back.p1), (Xy2{3, 7}));
  EXPECT_EQ(Xy(back.p2), (Xy2{-123456, INT_MIN}));
  WriteFile(name, "3\n7\t\t123456   -4");
  back.Init(name.c_str());
  EXPECT_EQ(Xy(back.p2), (Xy2{123456, -4}));

  for (bool save : {false, true}) {
    auto r = RunInChild([&] {
      save ? (void)box.Save(dir.file("no/a.box").c_str()) : box.Init(dir.file("no/a.box").c_str());
    });
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, " Error opening box file\n. Terminated\n");
  }
}

}  // namespace
