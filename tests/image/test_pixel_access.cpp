// Element reads and writes, sub-pixel reads, Average and Threshold.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "image/timage.h"
#include "pixel_fixture.h"

using namespace pixelfixture;

namespace {

using Value = std::array<unsigned char, 8>;
constexpr unsigned char kUntouched = 0xEE;
constexpr int kW = 3, kH = 2, kFrames = 2, kOx = 10, kOy = 20, kNoBand = INT_MIN;
const Value kFresh = {kUntouched, kUntouched, kUntouched, kUntouched,
                      kUntouched, kUntouched, kUntouched, kUntouched};

// What a read must leave: the element's bytes of the patterned buffer, the
// rest of the value untouched.
Value Expected(unsigned char type, size_t i) {
  Value v = kFresh;
  const size_t n = ElementBytes(type);
  for (size_t k = 0; k < n; ++k) v[k] = Pattern(i * n + k);
  return v;
}

std::vector<unsigned char> Buffer(const TImage& im) { return {im.data, im.data + im.Size()}; }

// Local coordinates made enclosing; the extremes stay (outside either way).
int X(int x) { return x == INT_MIN || x == INT_MAX ? x : x + kOx; }
int Y(int y) { return y == INT_MIN || y == INT_MAX ? y : y + kOy; }

// The element reads and writes, called with local coordinates: the plain
// forms get them with the offsets added. The forms without a band take frame 0.
struct Access {
  const char* name;
  bool banded;
  int (*call)(TImage&, int x, int y, int band, unsigned char* v);
};
using U = unsigned char*;
const Access kReads[] = {
    {"GetIntensity", false,
     [](TImage& m, int x, int y, int, U v) { return m.GetIntensity(X(x), Y(y), v); }},
    {"GetIntensityDirect", false,
     [](TImage& m, int x, int y, int, U v) { return m.GetIntensityDirect(x, y, v); }},
    {"GetIntensity point", false,
     [](TImage& m, int x, int y, int, U v) {
       TPoint p(X(x), Y(y));
       return m.GetIntensity(p, v);
     }},
    {"GetIntensity band", true,
     [](TImage& m, int x, int y, int b, U v) { return m.GetIntensity(X(x), Y(y), v, b); }},
    {"GetIntensityDirect band", true,
     [](TImage& m, int x, int y, int b, U v) { return m.GetIntensityDirect(x, y, v, b); }}};
const Access kWrites[] = {
    {"SetIntensity", false,
     [](TImage& m, int x, int y, int, U v) { return m.SetIntensity(X(x), Y(y), v); }},
    {"SetIntensityDirect", false,
     [](TImage& m, int x, int y, int, U v) { return m.SetIntensityDirect(x, y, v); }},
    {"SetIntensity point", false,
     [](TImage& m, int x, int y, int, U v) {
       TPoint p(X(x), Y(y));
       return m.SetIntensity(p, v);
     }},
    {"SetIntensity band", true,
     [](TImage& m, int x, int y, int b, U v) { return m.SetIntensity(X(x), Y(y), v, b); }},
    {"SetIntensityDirect band", true,
     [](TImage& m, int x, int y, int b, U v) { return m.SetIntensityDirect(x, y, v, b); }}};

class ElementAccess : public ::testing::TestWithParam<unsigned char> {};

TEST_P(ElementAccess, ReadsAndWritesTakeTheElementAtTheLocalPosition) {
  const unsigned char type = GetParam();
  const size_t n = ElementBytes(type);
  auto img = Patterned(kW, kH, type, kFrames, kOx, kOy);
  for (int f = 0; f < kFrames; ++f)
    for (int y = 0; y < kH; ++y)
      for (int x = 0; x < kW; ++x) {
        const size_t i = Index(kW, kH, x, y, f);
        for (const Access& a : kReads) {
          if (f > 0 && !a.banded) continue;
          Value v = kFresh, want = Expected(type, i);
          // A 16-bit band read takes its first byte from byte number i of the
          // buffer, not 2i.
          if (type == 9 && a.banded) want[0] = Pattern(i);
          EXPECT_EQ(a.call(*img, x, y, f, v.data()), 1) << a.name << " " << x << "," << y;
          EXPECT_EQ(v, want) << a.name << " " << x << "," << y << " frame " << f;
        }
        // Writes store the element's bytes and nothing else (16-bit writes
        // with a band store both bytes).
        for (const Access& a : kWrites) {
          if (f > 0 && !a.banded) continue;
          TImage blank(kW, kH, type, kFrames, nullptr, kOx, kOy);
          Value in = {1, 2, 3, 4, 5, 6, 7, 8};
          EXPECT_EQ(a.call(blank, x, y, f, in.data()), 1) << a.name;
          std::vector<unsigned char> want(kW * kH * kFrames * n, 0);
          std::memcpy(&want[i * n], in.data(), n);
          EXPECT_EQ(Buffer(blank), want) << a.name << " " << x << "," << y << " frame " << f;
        }
      }
}

TEST_P(ElementAccess, OutsidePositionsAndMissingFramesAreRefused) {
  auto img = Patterned(kW, kH, GetParam(), kFrames, kOx, kOy);
  const std::vector<unsigned char> before = Buffer(*img);
  const int refused[][3] = {{-1, 0, 0},      {kW, 0, 0},      {0, -1, 0},
                            {0, kH, 0},      {INT_MIN, 0, 0}, {0, INT_MAX, 0},
                            {0, 0, kFrames}, {0, 0, -1},      {2, 1, 1000}};  // x, y, band
  for (const auto& [x, y, band] : refused) {
    for (const auto* table : {kReads, kWrites})
      for (int k = 0; k < 5; ++k) {
        if (band != 0 && !table[k].banded) continue;
        Value v = kFresh;
        EXPECT_EQ(table[k].call(*img, x, y, band, v.data()), 0)
            << table[k].name << " " << x << "," << y;
        EXPECT_EQ(v, kFresh);
      }
    Value v = kFresh;
    EXPECT_EQ(img->GetSubPixelIntensity(X(x), Y(y), v.data(), band), 0);
    EXPECT_EQ(v, kFresh);
  }
  EXPECT_EQ(Buffer(*img), before);
}

// Type 3 has no meaning of its own: it is handled as a byte image.
INSTANTIATE_TEST_SUITE_P(AllTypes, ElementAccess, ::testing::Values(2, 5, 6, 8, 9, 3),
                         [](const ::testing::TestParamInfo<unsigned char>& info) {
                           return "type" + std::to_string(info.param);
                         });

TEST(ElementAccess, ImageWithoutFramesRefusesFrameZero) {
  TImage none(2, 2, 8, 0, nullptr, 0, 0);
  Value v = kFresh;
  EXPECT_EQ(none.GetIntensity(0, 0, v.data()), 0);
  EXPECT_EQ(none.SetIntensityDirect(0, 0, v.data()), 0);
  EXPECT_EQ(none.GetSubPixelIntensity(0.5, 0.5, v.data()), 0);
  EXPECT_EQ(v, kFresh);
}

// The byte a sub-pixel read leaves (kNoBand: the form without a band), or -1
// when it is refused with the value untouched.
int SubByte(TImage& im, double x, double y, int band = kNoBand) {
  Value v = kFresh;
  const int done = band == kNoBand ? im.GetSubPixelIntensity(x, y, v.data())
                                   : im.GetSubPixelIntensity(x, y, v.data(), band);
  EXPECT_TRUE(std::equal(v.begin() + 1, v.end(), kFresh.begin() + 1));  // one byte at most
  return done ? v[0] : v[0] == kUntouched ? -1 : -2;
}

TEST(SubPixel, ByteImagesMixAndTruncate) {
  // 5 x 5 image, zero offsets: a, b, c, d around (2.5, 3.25) are 10, 11, 12,
  // 12, so the mix is 0.375 * 21 + 0.125 * 24 = 10.875.
  std::vector<unsigned char> mix(25, 0);
  mix[17] = 10, mix[18] = 11, mix[22] = 12, mix[23] = 12;
  for (unsigned char type : {8, 3}) {
    auto img = FromBytes(5, 5, type, 1, mix);
    EXPECT_EQ(SubByte(*img, 2.5, 3.25), 10);
    EXPECT_EQ(SubByte(*img, 2.5, 3.25, 0), 10);
    EXPECT_EQ(SubByte(*img, 3.5, 3.5), 5);  // width - 1.5: (11 + 0 + 12 + 0) / 4 = 5.75
  }
  auto img = FromBytes(5, 5, 8, 1, mix);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const double refused[][2] = {{4.0, 1.0}, {1.0, 4.0},  {-0.5, 1.0}, {1.0, -0.01},
                               {nan, 1.0}, {1.0, nan},  {inf, 1.0},  {-inf, 1.0},
                               {1e300, 1}, {1, -1e300}, {4.5, 1.0}};
  for (const auto& p : refused) {
    EXPECT_EQ(SubByte(*img, p[0], p[1]), -1) << p[0] << " " << p[1];
    EXPECT_EQ(SubByte(*img, p[0], p[1], 0), -1) << p[0] << " " << p[1];
  }
  // Frame 2 of a 2 x 2 three-frame image holds 100, 200, 0, 40: at s = t =
  // 0.5 the mix is 85.
  EXPECT_EQ(SubByte(*FromBytes(2, 2, 8, 3, {7, 7, 7, 7, 7, 7, 7, 7, 100, 200, 0, 40}), 0.5, 0.5, 2),
            85);
  // Offset 10: x = 11.5 gives ix = 1 and s = 10.5, so with t = 0 the value is
  // -9.5 a + 10.5 b, truncated, low 8 bits.
  const unsigned char cases[][3] = {{10, 20, 115}, {20, 10, 171 /* -85 */}, {0, 30, 59 /* 315 */}};
  for (const auto& c : cases)
    EXPECT_EQ(SubByte(*FromBytes(3, 3, 8, 1, {0, 0, 0, 0, c[0], c[1], 0, 0, 0}, 10, 0), 11.5, 1.0),
              c[2]);
}

TEST(SubPixel, WiderTypesMixOnlyDoublesWithoutBand) {
  // Double image 2 x 2: a, b, c, d = 1, 2, 3, 5; at s = 0.5, t = 0.25 the mix
  // is 0.375 + 0.75 + 0.375 + 0.625 = 2.125.
  std::vector<unsigned char> bytes(32);
  const double d[] = {1, 2, 3, 5};
  std::memcpy(bytes.data(), d, sizeof d);
  auto dbl = FromBytes(2, 2, 2, 1, bytes);
  double out = 0;
  EXPECT_EQ(dbl->GetSubPixelIntensity(0.5, 0.25, reinterpret_cast<unsigned char*>(&out)), 1);
  EXPECT_EQ(out, 2.125);
  EXPECT_EQ(dbl->GetSubPixelIntensity(0.5, 0.25, reinterpret_cast<unsigned char*>(&out), 0), 1);
  EXPECT_EQ(out, 1.0);
  // The products and the sum in their stated order, worked out apart in IEEE
  // doubles: pairing the weights or reordering the terms ends one ulp lower.
  const double e[] = {50.2, 98.2, 77.1, 54.0};
  std::memcpy(bytes.data(), e, sizeof e);
  auto order = FromBytes(2, 2, 2, 1, bytes);
  EXPECT_EQ(order->GetSubPixelIntensity(0.86, 0.23, reinterpret_cast<unsigned char*>(&out)), 1);
  EXPECT_EQ(out, 0x1.4e69e6eeb7027p+6);
  // Float, complex and 16-bit images give element a whole, in both forms
  // (a 16-bit element keeps both bytes with a band too).
  for (unsigned char type : {5, 6, 9}) {
    auto img = Patterned(3, 3, type, 2);
    Value plain = kFresh, banded = kFresh;
    EXPECT_EQ(img->GetSubPixelIntensity(1.75, 0.5, plain.data()), 1);
    EXPECT_EQ(img->GetSubPixelIntensity(1.75, 0.5, banded.data(), 1), 1);
    EXPECT_EQ(plain, Expected(type, Index(3, 3, 1, 0, 0))) << int(type);
    EXPECT_EQ(banded, Expected(type, Index(3, 3, 1, 0, 1))) << int(type);
  }
}

TEST(PixelOperations, AverageAndThresholdChangeNothing) {
  auto img = Patterned(2, 2, 8, 1);
  Value v = kFresh;
  EXPECT_EQ(img->Average(v.data()), 1);
  EXPECT_EQ(img->Threshold(v.data()), 1);
  EXPECT_EQ(v, kFresh);
  EXPECT_EQ(Buffer(*img), PatternBytes(2, 2, 8, 1));
}

}  // namespace
