// Colour, complex numbers, masks and the median of three.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "image/median.h"
#include "image/tcolor.h"
#include "image/tcomplex.h"
#include "image/tmask.h"
#include "test_support.h"

using namespace testsupport;

namespace {

std::string Rgb(const TColor& c) {
  return std::to_string(c.red) + " " + std::to_string(c.green) + " " + std::to_string(c.blue);
}

// A drawn value as a float (24 significant bits), divided by 128, truncated,
// low 8 bits.
std::string RandomRgb(int r, int g, int b) {
  const auto byte = [](int v) {
    return std::to_string(static_cast<long long>(std::floor(static_cast<float>(v) / 128.0)) % 256);
  };
  return byte(r) + " " + byte(g) + " " + byte(b);
}

TEST(TColor, TableRandomAndSessionColours) {
  const char* table[] = {"0 0 0",     "255 0 0",     "0 255 0",   "0 0 255",
                         "255 255 0", "255 255 255", "0 255 255", "255 0 255"};
  EXPECT_EQ(TColor::ColorTabSize, 8);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(Rgb(TColor(i)), table[i]) << i;
  for (int i : {-1, 10, 1 << 30}) EXPECT_EQ(Rgb(TColor(i)), "0 0 0") << i;
  // scolor was the program's first use of rand(), seeded with 1 by default.
  std::srand(1);
  int r = std::rand(), g = std::rand(), b = std::rand();
  EXPECT_EQ(Rgb(TColor::scolor), RandomRgb(r, g, b));
  std::srand(20240607);
  r = std::rand(), g = std::rand(), b = std::rand();
  std::srand(20240607);
  EXPECT_EQ(Rgb(TColor(8)), RandomRgb(r, g, b));
  for (int call = 0; call < 2; ++call) EXPECT_EQ(Rgb(TColor(9)), Rgb(TColor::scolor));
}

TEST(TColor, IntensitySaturationHueAndChannels) {
  const struct {
    unsigned char r, g, b;
    int intensity, saturation, hue;
  } cases[] = {
      {255, 0, 0, 85, 255, 0},      // red
      {0, 255, 0, 85, 255, 85},     // green: 2 pi / 3
      {0, 0, 255, 85, 255, 41},     // blue: 4 pi / 3 + pi gives 297, cut to 8 bits
      {255, 255, 255, 255, 0, 63},  // grey: atan2(0, 0) = 0, so pi / 2
      {100, 100, 100, 100, 0, 63},  {0, 0, 0, 0, 0, 63},  // black: no division by 0
      {255, 255, 0, 170, 255, 42},                        // yellow: pi / 3 gives 42.5
      {0, 255, 255, 170, 255, 127},                       // cyan: pi gives 127.5
      {200, 100, 50, 116, 145, 13},                       // (1 - 50/116) 255 = 145.08; hue 13.53
      {1, 2, 4, 2, 127, 27},  // (1 - 1/2) 255 = 127.5; hue 283.97 cut to 27
  };
  for (const auto& c : cases) {
    const TColor color(c.r, c.g, c.b);
    SCOPED_TRACE(Rgb(color));
    EXPECT_EQ(std::make_tuple(int{color.Intensity()}, int{color.Saturation()}, int{color.Hue()}),
              std::make_tuple(c.intensity, c.saturation, c.hue));
    EXPECT_EQ(std::make_tuple(color.GetChannel(0), color.GetChannel(1), color.GetChannel(2),
                              color.GetChannel(3), color.GetChannel(4)),
              std::make_tuple(0, c.r, c.g, c.b, 0));
  }
}

TEST(TComplex, ArithmeticInSinglePrecision) {
  const TComplex a(1.5f, -2.0f), b(0.25f, 4.0f), near_one(1.0f + 0x1p-12f, 1.0f);
  const struct {
    const char* label;
    TComplex value;
    float re, im;
  } cases[] = {
      {"a * b", a * b, 8.375f, 5.5f},
      {"a + b", a + b, 1.75f, 2.0f},
      {"a - b", a - b, 1.25f, -6.0f},
      {"a * float", a * 2.0f, 3.0f, -4.0f},
      {"a * double", a * -0.5, -0.75f, 1.0f},
      // Products rounded to float before the difference: (1 + 2^-12)^2 =
      // 1 + 2^-11 + 2^-24 rounds to 1 + 2^-11.
      {"rounded products", near_one * near_one, 0x1p-11f, 2.0f + 0x1p-11f},
      // The double factor is not rounded to float first: 1.5 (1 + 2^-24)
      // rounds up to 1.5 + 2^-23, while float(1 + 2^-24) would be 1.
      {"double factor", TComplex(1.5f, 3.0f) * (1.0 + 0x1p-24), 1.5f + 0x1p-23f, 3.0f + 0x1p-22f},
  };
  for (const auto& c : cases)
    EXPECT_EQ(std::make_pair(c.value.re, c.value.im), std::make_pair(c.re, c.im)) << c.label;
  TComplex x(7.0f, 8.0f);
  EXPECT_EQ(&(x = a), &x);
  EXPECT_TRUE(x.re == 1.5f && x.im == -2.0f);
  EXPECT_EQ(TComplex(3.0f, 4.0f).Magnitude(), 5.0);
  EXPECT_EQ(TComplex(1.0f, 0x1p-12f).Magnitude(), 1.0);  // 1 + 2^-24 rounds to 1 as a float
  EXPECT_EQ(TComplex(0.0f, 1.0f).Angle(), M_PI / 2);
  EXPECT_EQ(TComplex(-1.0f, 0.0f).Angle(), M_PI);
  EXPECT_EQ(TComplex(1.0f, 1.0f).Angle(), M_PI / 4);  // the double pi / 4, not the float
}

std::string Dump(const TMask& m) {
  File f = TextStream("");
  m.Dump(f.get());
  return ReadStream(f.get());
}

TEST(TMask, FilesSizesAndBadInput) {
  TempDir dir;
  const struct {
    const char* text;
    int rows, cols;
    const char* dump;
  } cases[] = {
      {"2 3\n1 2 3\n4 5 300\n", 2, 3, "   1    2    3 \n   4    5   44 \n"},
      {"1 4 -1 256 511 -256", 1, 4, " 255    0  255    0 \n"},
      {"2 2 7 8", 2, 2, "   7    8 \n   0    0 \n"},  // ends early: the rest is 0
      {"1 3 7 x 9", 1, 3, "   7    0    0 \n"},       // a bad value ends the reading
      {"-2 3 1 2 3 4 5 6", 0, 0, ""},
      {"2 -3 1 2 3 4 5 6", 0, 0, ""},
      {"100000 100000 1", 0, 0, ""},  // beyond an int
      {"1000 1000 1 2 3", 0, 0, ""},  // beyond the file
      {"rows cols", 0, 0, ""},
      {"0 5", 0, 0, ""},
      {"2000000000", 0, 0, ""},  // no elements: no rows either
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    WriteFile(dir.file("m.txt"), c.text);
    const TMask m(dir.file("m.txt").c_str());
    EXPECT_EQ(Format("%dx%d\n", m.nRows, m.nCols) + Dump(m),
              Format("%dx%d\n", c.rows, c.cols) + c.dump);
  }
  for (const auto& [rows, cols] : {std::pair{-1, 4}, {4, -1}, {1 << 20, 1 << 20}}) {
    const TMask m(rows, cols);
    EXPECT_EQ(m.nRows + m.nCols, 0);
  }
  TMask m(5, 5);  // Load replaces the buffer
  m.Load(TextStream("1 2 9 8").get());
  EXPECT_EQ(Dump(m), "   9    8 \n");
  const std::string none = dir.file("none.msk");
  const auto r = RunInChild([&none] { TMask missing(none.c_str()); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, "Failed opening " + none + "\n");
}

TEST(TMask, AndCountsPositionsWhereBothAreSet) {
  TMask a(2, 2), b(2, 2), one(1, 1), empty(0, 0);
  const unsigned char av[] = {1, 0, 3, 0}, bv[] = {5, 5, 0, 0};
  std::copy(av, av + 4, a.elem);
  std::copy(bv, bv + 4, b.elem);
  one.elem[0] = 9;
  // A smaller mask is compared where it has elements.
  EXPECT_EQ(
      (std::vector<int>{a.And(b), b.And(a), a.And(a), empty.And(a), a.And(one), a.And(empty)}),
      (std::vector<int>{1, 1, 2, 0, 1, 0}));
}

TEST(Median, MiddleValueAndTieBreaking) {
  const double cases[][4] = {{1, 3, 2, 2}, {3, 1, 2, 2},   {2, 2, 1, 2}, {1, 2, 3, 2},
                             {3, 2, 1, 2}, {2, 1, 3, 2},   {2, 3, 1, 2}, {5, 5, 5, 5},
                             {1, 1, 2, 1}, {-1, -7, 4, -1}};
  for (const auto& c : cases)
    EXPECT_EQ(Median(c[0], c[1], c[2]), c[3]) << c[0] << " " << c[1] << " " << c[2];
  // Ties told apart by the sign of zero: b >= a picks c on a tie of b and c,
  // b < a picks b.
  EXPECT_TRUE(std::signbit(Median(-1.0, 0.0, -0.0)));
  EXPECT_FALSE(std::signbit(Median(-1.0, -0.0, 0.0)));
  EXPECT_FALSE(std::signbit(Median(1.0, 0.0, -0.0)));
  EXPECT_TRUE(std::signbit(Median(1.0, -0.0, 0.0)));
}

}  // namespace
