// The fast point-line text must be byte for byte what printf writes.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tools/point_format.h"

namespace {

std::string Printf(float value) {
  char buf[128];
  int n = std::snprintf(buf, sizeof buf, "%f", static_cast<double>(value));
  return std::string(buf, static_cast<size_t>(n));
}

std::string Fast(float value) {
  char buf[kMaxFixed6Length + 16];
  char* end = FormatFixed6(value, buf);
  return std::string(buf, end);
}

std::string PrintfLine(int x, int y, int z, const unsigned char rgb[3]) {
  char buf[256];
  int n = std::snprintf(
      buf, sizeof buf, "%f %f %f %d %d %d\n", static_cast<double>(static_cast<float>(x) / 100.0f),
      static_cast<double>(static_cast<float>(y) / 100.0f),
      static_cast<double>(static_cast<float>(z) / 100.0f), rgb[0], rgb[1], rgb[2]);
  return std::string(buf, static_cast<size_t>(n));
}

float FromBits(std::uint32_t bits) {
  float f;
  std::memcpy(&f, &bits, sizeof f);
  return f;
}

TEST(FormatFixed6, HandPickedValues) {
  struct Case {
    float value;
    const char* text;
  } cases[] = {
      {0.0f, "0.000000"},
      {-0.0f, "-0.000000"},
      {1.0f, "1.000000"},
      {-2.5f, "-2.500000"},
      {123.45f, "123.449997"},
      // k / 128 for odd k lies exactly half way between two sixth decimals:
      // the tie goes to the even neighbour.
      {1.0f / 128, "0.007812"},
      {3.0f / 128, "0.023438"},
      {5.0f / 128, "0.039062"},
      {-7.0f / 128, "-0.054688"},
      {0.0000005f, "0.000000"},    // just below half a millionth
      {-0.0000004f, "-0.000000"},  // negative values keep their sign when rounding to 0
      {1e-40f, "0.000000"},        // subnormal
      {16777217.0f, "16777216.000000"},
      {2147483647.0f, "2147483648.000000"},
  };
  for (const Case& c : cases) EXPECT_EQ(Fast(c.value), c.text) << c.text;
}

// Every class of float: a sweep over bit patterns, with the special values.
TEST(FormatFixed6, MatchesPrintfOverBitPatterns) {
  std::mt19937 rng(12345);
  std::vector<float> values = {FLT_MAX,
                               -FLT_MAX,
                               FLT_MIN,
                               FLT_TRUE_MIN,
                               -FLT_TRUE_MIN,
                               std::numeric_limits<float>::infinity(),
                               -std::numeric_limits<float>::infinity(),
                               std::numeric_limits<float>::quiet_NaN(),
                               8796093022208.0f,  // 2^43, the last one done without printf
                               17592186044416.0f};
  for (int i = 0; i < 200000; ++i) values.push_back(FromBits(static_cast<std::uint32_t>(rng())));
  // Exponents around the decimal range that matters, where rounding happens.
  std::uniform_real_distribution<float> mid(-1e7f, 1e7f);
  for (int i = 0; i < 200000; ++i) values.push_back(mid(rng));
  for (int k = -5000; k <= 5000; ++k) values.push_back(static_cast<float>(k) / 128.0f);
  for (int k = -2000; k <= 2000; ++k) values.push_back(std::ldexp(static_cast<float>(k), -20));
  for (float v : values) ASSERT_EQ(Fast(v), Printf(v)) << std::hexfloat << v;
}

// Raster values in centimetres: random, negative, large (above 2^24 the
// integer does not survive the conversion to float), and the extremes.
TEST(PointLine, PlainAndCachedFormsMatchPrintf) {
  std::mt19937 rng(777);
  std::vector<int> ints = {
      0,        1,        -1,        99,        -99,       100,           12345,         -250, 1000,
      16777216, 16777217, -16777217, INT32_MAX, INT32_MIN, INT32_MAX - 1, INT32_MIN + 1, 50,   -50};
  std::uniform_int_distribution<int> all(INT32_MIN, INT32_MAX);
  std::uniform_int_distribution<int> terrain(-200000, 200000);
  std::uniform_int_distribution<int> big(1 << 24, INT32_MAX);
  for (int i = 0; i < 30000; ++i) {
    ints.push_back(all(rng));
    ints.push_back(terrain(rng));
    ints.push_back(big(rng));
    ints.push_back(-big(rng));
  }
  std::uniform_int_distribution<int> byte(0, 255);
  PointLineFormatter cached;
  char buf[kPointLineRoom + 16];
  for (size_t i = 0; i + 2 < ints.size(); ++i) {
    const unsigned char rgb[3] = {static_cast<unsigned char>(byte(rng)),
                                  static_cast<unsigned char>(i % 256),
                                  static_cast<unsigned char>(255 - i % 256)};
    const int x = ints[i], y = ints[i + 1], z = ints[i + 2];
    const std::string expected = PrintfLine(x, y, z, rgb);
    ASSERT_LE(expected.size(), kMaxPointLineLength);
    std::memset(buf, '#', sizeof buf);
    ASSERT_EQ(std::string(buf, FormatPointLine(x, y, z, rgb, buf)), expected);
    // The cached form, with values that repeat: the same triple twice.
    for (int twice = 0; twice < 2; ++twice)
      ASSERT_EQ(std::string(buf, cached.Format(x, y, z, rgb, buf)), expected);
  }
}

TEST(PointLine, ExampleFromTheRasterUnits) {
  const unsigned char rgb[3] = {0, 128, 255};
  char buf[kPointLineRoom];
  PointLineFormatter cached;
  const std::string expected = "123.449997 -2.500000 10.000000 0 128 255\n";
  EXPECT_EQ(std::string(buf, FormatPointLine(12345, -250, 1000, rgb, buf)), expected);
  EXPECT_EQ(std::string(buf, cached.Format(12345, -250, 1000, rgb, buf)), expected);
}

}  // namespace
