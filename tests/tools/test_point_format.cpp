// The fast point-line text must be byte for byte what printf writes.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "test_support.h"
#include "tools/point_format.h"

using testsupport::Format;

namespace {

std::string Fast(float value) {
  char buf[kMaxFixed6Length + 16];
  return std::string(buf, FormatFixed6(value, buf));
}

float FromBits(std::uint32_t bits) {
  float f;
  std::memcpy(&f, &bits, sizeof f);
  return f;
}

// k / 128 for odd k lies half way between two sixth decimals: the tie goes to
// the even neighbour. 5e-7 is just below half a millionth, a negative value
// keeps its sign when it rounds to 0, 1e-40 is subnormal.
TEST(FormatFixed6, HandPickedValues) {
  // clang-format off
  const struct {
    float value;
    const char* text;
  } cases[] = {
      {0.0f, "0.000000"},         {-0.0f, "-0.000000"},         {1.0f, "1.000000"},
      {-2.5f, "-2.500000"},       {123.45f, "123.449997"},      {1.0f / 128, "0.007812"},
      {3.0f / 128, "0.023438"},   {5.0f / 128, "0.039062"},     {-7.0f / 128, "-0.054688"},
      {0.0000005f, "0.000000"},   {-0.0000004f, "-0.000000"},   {1e-40f, "0.000000"},
      {16777217.0f, "16777216.000000"},  {2147483647.0f, "2147483648.000000"}};
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(Fast(c.value), c.text) << c.text;
}

// Every class of float: a sweep over bit patterns, with the special values.
TEST(FormatFixed6, MatchesPrintfOverBitPatterns) {
  std::mt19937 rng(12345);
  const float inf = std::numeric_limits<float>::infinity();
  // 2^43 is the last value done without printf.
  std::vector<float> values = {FLT_MAX, -FLT_MAX, FLT_MIN, FLT_TRUE_MIN, -FLT_TRUE_MIN,
                               inf,     -inf,     NAN,     0x1p43f,      0x1p44f};
  for (int i = 0; i < 200000; ++i) values.push_back(FromBits(static_cast<std::uint32_t>(rng())));
  // Exponents around the decimal range that matters, where rounding happens.
  std::uniform_real_distribution<float> mid(-1e7f, 1e7f);
  for (int i = 0; i < 200000; ++i) values.push_back(mid(rng));
  for (int k = -5000; k <= 5000; ++k) values.push_back(static_cast<float>(k) / 128.0f);
  for (int k = -2000; k <= 2000; ++k) values.push_back(std::ldexp(static_cast<float>(k), -20));
  for (float v : values)
    ASSERT_EQ(Fast(v), Format("%f", static_cast<double>(v))) << std::hexfloat << v;
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
  for (int i = 0; i < 30000; ++i)
    ints.insert(ints.end(), {all(rng), terrain(rng), big(rng), -big(rng)});
  std::uniform_int_distribution<int> byte(0, 255);
  PointLineFormatter cached;
  char buf[kPointLineRoom + 16];
  for (size_t i = 0; i + 2 < ints.size(); ++i) {
    const unsigned char rgb[3] = {static_cast<unsigned char>(byte(rng)),
                                  static_cast<unsigned char>(i % 256),
                                  static_cast<unsigned char>(255 - i % 256)};
    const int x = ints[i], y = ints[i + 1], z = ints[i + 2];
    const std::string expected =
        Format("%f %f %f %d %d %d\n", static_cast<double>(static_cast<float>(x) / 100.0f),
               static_cast<double>(static_cast<float>(y) / 100.0f),
               static_cast<double>(static_cast<float>(z) / 100.0f), rgb[0], rgb[1], rgb[2]);
    ASSERT_LE(expected.size(), kMaxPointLineLength);
    std::memset(buf, '#', sizeof buf);
    ASSERT_EQ(std::string(buf, FormatPointLine(x, y, z, rgb, buf)), expected);
    // The cached form, with values that repeat: the same triple twice.
    for (int twice = 0; twice < 2; ++twice)
      ASSERT_EQ(std::string(buf, cached.Format(x, y, z, rgb, buf)), expected);
  }
}

}  // namespace
