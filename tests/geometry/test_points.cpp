// Point and box value types, the overlap templates and the box file.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <string>

#include "geometry_test_util.h"
#include "kluteida.h"
#include "test_support.h"

using geotest::Img;
using geotest::Xy;
using geotest::Xyz;
using testsupport::ReadFile;
using testsupport::RunInChild;
using testsupport::TempDir;
using testsupport::WriteFile;

namespace {

using Xy2 = std::array<int, 2>;
using Xyz3 = std::array<int, 3>;

// The stream holds `text` and is positioned at its start.
struct TextStream {
  explicit TextStream(const std::string& text) : f(std::tmpfile()) {
    std::fwrite(text.data(), 1, text.size(), f);
    std::rewind(f);
  }
  ~TextStream() { std::fclose(f); }
  std::FILE* f;
};

TEST(PointImg, DeclaredRowFirst) {
  static_assert(offsetof(TPointImg, y) == 0 && offsetof(TPointImg, x) == sizeof(int));
  static_assert(offsetof(TPointFilm, y) == 0 && offsetof(TPointFilm, x) == sizeof(double));
  const TPointImg p{4, 9};
  EXPECT_EQ(Xy(p), (Xy2{9, 4}));
  EXPECT_EQ(Xy(TPointImg()), (Xy2{0, 0}));
}

TEST(PointImg, OperatorsWrapAndTruncateTowardZero) {
  const TPointImg a = Img(-7, 7), b = Img(3, -10);
  EXPECT_EQ(Xy(a - b), (Xy2{-10, 17}));
  EXPECT_EQ(Xy(a + b), (Xy2{-4, -3}));
  EXPECT_EQ(Xy(-a), (Xy2{7, -7}));
  EXPECT_EQ(Xy(a * -3), (Xy2{21, -21}));
  TPointImg c = b;
  c *= 4;
  EXPECT_EQ(Xy(c), (Xy2{12, -40}));

  const struct {
    TPointImg p;
    int k;
    Xy2 quotient;
  } divisions[] = {
      {Img(-7, 7), 2, {-3, 3}},
      {Img(7, -7), -2, {-3, 3}},
      {Img(-1, 1), 2, {0, 0}},
      {Img(9, -9), 3, {3, -3}},
      {Img(-9, 10), -4, {2, -2}},
      {Img(INT_MIN, INT_MAX), 2, {-1073741824, 1073741823}},
      // The overflowing quotient wraps; a divisor of 0 changes nothing.
      {Img(INT_MIN, 5), -1, {INT_MIN, -5}},
      {Img(12, -3), 0, {12, -3}},
  };
  for (const auto& d : divisions) {
    EXPECT_EQ(Xy(d.p / d.k), d.quotient) << d.p.x << "," << d.p.y << " / " << d.k;
    TPointImg q = d.p;
    q /= d.k;
    EXPECT_EQ(Xy(q), d.quotient);
  }

  EXPECT_EQ(Xy(Img(INT_MAX, INT_MIN) + Img(1, -1)), (Xy2{INT_MIN, INT_MAX}));
  EXPECT_EQ(Xy(Img(INT_MIN, 0) - Img(1, 0)), (Xy2{INT_MAX, 0}));
  EXPECT_EQ(Xy(-Img(INT_MIN, 1)), (Xy2{INT_MIN, -1}));
  EXPECT_EQ(Xy(Img(INT_MAX, 65536) * 2), (Xy2{-2, 131072}));
  EXPECT_EQ(Xy(Img(65536, 1) * 65536), (Xy2{0, 65536}));
}

TEST(PointImg, ReadTakesColumnThenRow) {
  const struct {
    const char* text;
    int result;
    Xy2 point;  // starting from (x 11, y 22)
  } cases[] = {
      {"", 0, {11, 22}},
      {" \n\t ", 0, {11, 22}},
      {"3 7", 1, {3, 7}},
      {"3\n\t-7 9", 1, {3, -7}},
      {"+5   -0\n", 1, {5, 0}},
      // A line that does not hold two integers leaves the point as it was.
      {"abc", 1, {11, 22}},
      {"5", 1, {11, 22}},
      {"5 x", 1, {11, 22}},
  };
  for (const auto& c : cases) {
    TextStream s(c.text);
    TPointImg p = Img(11, 22);
    EXPECT_EQ(p.Read(s.f), c.result) << '"' << c.text << '"';
    EXPECT_EQ(Xy(p), c.point) << '"' << c.text << '"';
  }

  TextStream s("1 2\n3 4\n");
  TPointImg p;
  EXPECT_EQ(p.Read(s.f), 1);
  EXPECT_EQ(p.Read(s.f), 1);
  EXPECT_EQ(Xy(p), (Xy2{3, 4}));
  EXPECT_EQ(p.Read(s.f), 0);
  EXPECT_EQ(Xy(p), (Xy2{3, 4}));
}

TEST(Point3D, IntegerOperators) {
  EXPECT_EQ(Xyz(TPoint3Di()), (Xyz3{0, 0, 0}));
  const TPoint3Di a(1, -2, 30), b(-4, 5, 6);
  EXPECT_EQ(Xyz(a - b), (Xyz3{5, -7, 24}));
  EXPECT_EQ(Xyz(a + b), (Xyz3{-3, 3, 36}));
  EXPECT_EQ(Xyz(a + 10), (Xyz3{11, 8, 40}));
  TPoint3Di c = a;
  c -= b;
  EXPECT_EQ(Xyz(c), (Xyz3{5, -7, 24}));
  c += b;
  EXPECT_EQ(Xyz(c), (Xyz3{1, -2, 30}));
  c *= -3;
  EXPECT_EQ(Xyz(c), (Xyz3{-3, 6, -90}));
  c = TPoint3Di(-7, 7, -8);
  c /= 2;
  EXPECT_EQ(Xyz(c), (Xyz3{-3, 3, -4}));
  c = TPoint3Di(-7, 7, -8);
  c /= -2;
  EXPECT_EQ(Xyz(c), (Xyz3{3, -3, 4}));
  c = 17;
  EXPECT_EQ(Xyz(c), (Xyz3{17, 17, 17}));

  EXPECT_EQ(Xyz(TPoint3Di(INT_MAX, INT_MIN, 0) + TPoint3Di(1, -1, 0)), (Xyz3{INT_MIN, INT_MAX, 0}));
  EXPECT_EQ(Xyz(TPoint3Di(INT_MAX, 0, INT_MIN) + 1), (Xyz3{INT_MIN, 1, INT_MIN + 1}));
  c = TPoint3Di(INT_MIN, 65536, 3);
  c *= 65536;
  EXPECT_EQ(Xyz(c), (Xyz3{0, 0, 196608}));
  c = TPoint3Di(INT_MIN, 4, -4);
  c /= -1;
  EXPECT_EQ(Xyz(c), (Xyz3{INT_MIN, -4, 4}));
  c /= 0;
  EXPECT_EQ(Xyz(c), (Xyz3{INT_MIN, -4, 4}));
}

TEST(Point3D, DoubleOperators) {
  const TPoint3Dd a(1.5, -2.0, 0.25), b(0.5, 0.5, 0.5);
  EXPECT_EQ(Xyz(a - b), (std::array<double, 3>{1.0, -2.5, -0.25}));
  TPoint3Dd c = a;
  c *= 0.5;
  EXPECT_EQ(Xyz(c), (std::array<double, 3>{0.75, -1.0, 0.125}));
}

TEST(MinMax, TiesAndCoexistenceWithStd) {
  EXPECT_EQ(min(3, -2), -2);
  EXPECT_EQ(max(3, -2), 3);
  EXPECT_EQ(min<int>(-5, -5), -5);
  EXPECT_EQ(max<int>(INT_MIN, INT_MAX), INT_MAX);
  // On a tie min keeps its first argument and max its second: visible on the
  // two zeros of doubles.
  EXPECT_FALSE(std::signbit(min(0.0, -0.0)));
  EXPECT_TRUE(std::signbit(min(-0.0, 0.0)));
  EXPECT_TRUE(std::signbit(max(0.0, -0.0)));
  EXPECT_FALSE(std::signbit(max(-0.0, 0.0)));

  // The standard ones stay usable, qualified or brought in by a using-declaration.
  EXPECT_EQ(std::min(2.5, 1.5), 1.5);
  EXPECT_EQ(std::max<std::string>("a", "b"), "b");
  {
    using std::min;
    EXPECT_EQ(min(7L, 3L), 3L);
  }
  const int values[] = {4, 9, 1};
  EXPECT_EQ(*std::max_element(std::begin(values), std::end(values)), 9);
}

TEST(Overlap, ClosedIntervalsInEitherOrder) {
  const struct {
    int a, b, v;
    int expected;
  } values[] = {{5, 1, 1, 1}, {5, 1, 5, 1},    {5, 1, 6, 0},   {5, 1, 0, 0},
                {1, 5, 3, 1}, {-2, -2, -2, 1}, {-2, -2, -1, 0}};
  for (const auto& c : values)
    EXPECT_EQ(Overlap(c.a, c.b, c.v), c.expected) << c.a << " " << c.b << " " << c.v;

  const struct {
    int a1, a2, b1, b2;
    int expected;
  } intervals[] = {
      {0, 10, 3, 4, 1},   {3, 4, 0, 10, 1},   {0, 10, 11, 20, 0},
      {0, 10, 10, 20, 1}, {10, 0, 20, 10, 1}, {20, 11, 10, 0, 0},
      {-5, -1, -1, 3, 1}, {-5, -1, 0, 3, 0},  {0, 10, -5, 15, 1},
  };
  for (const auto& c : intervals)
    EXPECT_EQ(MutualOverlap(c.a1, c.a2, c.b1, c.b2), c.expected)
        << c.a1 << " " << c.a2 << " " << c.b1 << " " << c.b2;
}

TEST(Box, OverlapInPlan) {
  TBox2D base;
  base.p1 = Img(10, 0);
  base.p2 = Img(0, 10);  // corners in any order
  const struct {
    TPointImg p1, p2;
    int expected;
  } boxes[] = {
      {Img(2, 2), Img(3, 3), 1},    {Img(10, 10), Img(20, 20), 1}, {Img(-5, -5), Img(15, 15), 1},
      {Img(11, 0), Img(20, 10), 0}, {Img(0, 11), Img(10, 20), 0},  {Img(11, 11), Img(12, 12), 0},
      {Img(20, 5), Img(-1, 6), 1},
  };
  for (const auto& c : boxes) {
    TBox2D other;
    other.p1 = c.p1;
    other.p2 = c.p2;
    EXPECT_EQ(base.Overlap(other), c.expected) << c.p1.x << "," << c.p1.y;
    EXPECT_EQ(other.Overlap(base), c.expected) << c.p1.x << "," << c.p1.y;
  }

  TBox3D a, b, c;
  a.p1 = TPoint3Di(0, 0, 0);
  a.p2 = TPoint3Di(10, 10, 10);
  b.p1 = TPoint3Di(5, 5, 100);  // far above, but over the same ground
  b.p2 = TPoint3Di(6, 6, 200);
  c.p1 = TPoint3Di(11, 0, 0);
  c.p2 = TPoint3Di(20, 10, 10);
  EXPECT_EQ(a.Overlap(b), 1);
  EXPECT_EQ(b.Overlap(a), 1);
  EXPECT_EQ(a.Overlap(c), 0);
}

std::string Pad12(const std::string& digits) {
  return std::string(12 - digits.size(), ' ') + digits;
}

TEST(BoxFile, WritesColumnFirstAndReadsBack) {
  TempDir dir;
  const std::string name = dir.file("area.box");
  TBox2D box;
  box.p1 = Img(3, 7);
  box.p2 = Img(-123456, INT_MIN);
  EXPECT_EQ(box.Save(name.c_str()), 1);
  EXPECT_EQ(ReadFile(name), Pad12("3") + " " + Pad12("7") + "\n" + Pad12("-123456") + " " +
                                Pad12("-2147483648") + "\n");

  TBox2D back;
  back.Init(name.c_str());
  EXPECT_EQ(Xy(back.p1), (Xy2{3, 7}));
  EXPECT_EQ(Xy(back.p2), (Xy2{-123456, INT_MIN}));

  WriteFile(name, "3\n7\t\t123456   -4");
  back.Init(name.c_str());
  EXPECT_EQ(Xy(back.p1), (Xy2{3, 7}));
  EXPECT_EQ(Xy(back.p2), (Xy2{123456, -4}));
}

TEST(BoxFile, UnopenableFileEndsTheProcess) {
  TempDir dir;
  const std::string missing = dir.file("none/area.box");
  for (bool save : {false, true}) {
    auto r = RunInChild([&] {
      TBox2D box;
      if (save)
        box.Save(missing.c_str());
      else
        box.Init(missing.c_str());
    });
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, " Error opening box file\n. Terminated\n");
  }
}

}  // namespace
