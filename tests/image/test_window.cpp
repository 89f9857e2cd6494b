// Windows around a pixel: into a matrix, into a mask, and window medians.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "image/timage.h"
#include "image/tmask.h"
#include "math/tmatrix.h"
#include "pixel_fixture.h"
#include "test_support.h"

using namespace pixelfixture;

namespace {

constexpr int kW = 4, kH = 3, kFrames = 2, kOx = 5, kOy = -3;

// Float and 16-bit images get readable values; the others the byte pattern.
// 16-bit values step by 4099 from 30000, so many lie above 32767.
std::unique_ptr<TImage> WindowImage(unsigned char type) {
  std::vector<unsigned char> bytes = PatternBytes(kW, kH, type, kFrames);
  for (size_t i = 0; i < static_cast<size_t>(kW) * kH * kFrames; ++i) {
    if (type == 5) {
      const float f = static_cast<float>(i) * 0.25f - 2.0f;
      std::memcpy(&bytes[i * 4], &f, 4);
    } else if (type == 9) {
      const uint16_t v = static_cast<uint16_t>(30000 + 4099 * i);
      std::memcpy(&bytes[i * 2], &v, 2);
    }
  }
  return FromBytes(kW, kH, type, kFrames, bytes, kOx, kOy);
}

// The value a window element must hold for the image above: float and 16-bit
// windows are taken in local coordinates (16-bit as signed), the others in
// enclosing ones (the element's first byte); 0 outside or for a missing frame.
double WindowValue(unsigned char type, long long x, long long y, int band) {
  const bool local = type == 5 || type == 9;
  if (!local) {
    x -= kOx;
    y -= kOy;
  }
  if (x < 0 || x >= kW || y < 0 || y >= kH || band < 0 || band >= kFrames) return 0.0;
  const size_t i = Index(kW, kH, static_cast<int>(x), static_cast<int>(y), band);
  if (type == 5) return static_cast<float>(i) * 0.25f - 2.0f;
  if (type == 9) {
    const long v = (30000 + 4099 * static_cast<long>(i)) % 65536;
    return static_cast<double>(v > 32767 ? v - 65536 : v);
  }
  return Pattern(i * ElementBytes(type));
}

class MatrixWindow : public ::testing::TestWithParam<unsigned char> {};

TEST_P(MatrixWindow, EveryPositionSizeAndBand) {
  const unsigned char type = GetParam();
  auto img = WindowImage(type);
  const int sizes[][2] = {{3, 3}, {2, 4}, {1, 5}, {5, 1}, {4, 2}};  // rows, columns
  for (const auto& size : sizes) {
    TMatrix m(size[0], size[1]);
    const int hx = (size[1] - 1) / 2, hy = (size[0] - 1) / 2;
    for (int band : {0, 1, kFrames, -1}) {
      for (int y = -8; y <= 6; ++y) {
        for (int x = -4; x <= 12; ++x) {
          for (int r = 0; r < size[0]; ++r) std::fill(m.elem[r], m.elem[r] + size[1], -777.5);
          ASSERT_EQ(img->GetWindow(x, y, &m, band), 1);
          for (int r = 0; r < size[0]; ++r) {
            for (int c = 0; c < size[1]; ++c) {
              ASSERT_EQ(m.elem[r][c], WindowValue(type, x - hx + c, y - hy + r, band))
                  << size[0] << "x" << size[1] << " at " << x << "," << y << " band " << band
                  << " element " << r << "," << c;
            }
          }
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllTypes, MatrixWindow, ::testing::Values(2, 5, 6, 8, 9, 3),
                         [](const ::testing::TestParamInfo<unsigned char>& info) {
                           return "type" + std::to_string(info.param);
                         });

TEST(MatrixWindowCases, CornersAndSignedSixteenBit) {
  // Byte image 4 x 3 holding 1..12, offsets (5, 7).
  auto img = Bytes(4, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 5, 7);
  struct Corner {
    int x, y;
    double want[3][3];
  } corners[] = {{5, 7, {{0, 0, 0}, {0, 1, 2}, {0, 5, 6}}},
                 {8, 9, {{7, 8, 0}, {11, 12, 0}, {0, 0, 0}}}};
  for (const Corner& k : corners) {
    TMatrix m(3, 3);
    EXPECT_EQ(img->GetWindow(k.x, k.y, &m, 0), 1);
    for (int r = 0; r < 3; ++r) {
      for (int c = 0; c < 3; ++c) EXPECT_EQ(m.elem[r][c], k.want[r][c]) << k.x << "," << k.y;
    }
  }
  // 16-bit 40000, 32767, 65535 arrive signed.
  std::vector<unsigned char> bytes;
  for (uint16_t v : {40000, 32767, 65535}) {
    bytes.resize(bytes.size() + 2);
    std::memcpy(&bytes[bytes.size() - 2], &v, 2);
  }
  auto shorts = FromBytes(3, 1, 9, 1, bytes);
  TMatrix row(1, 3);
  EXPECT_EQ(shorts->GetWindow(1, 0, &row, 0), 1);
  EXPECT_EQ(row.elem[0][0], -25536.0);
  EXPECT_EQ(row.elem[0][1], 32767.0);
  EXPECT_EQ(row.elem[0][2], -1.0);
  // A matrix without rows or columns is left alone.
  TMatrix empty(0, 3), no_cols(2, 0);
  EXPECT_EQ(img->GetWindow(6, 8, &empty, 0), 1);
  EXPECT_EQ(img->GetWindow(6, 8, &no_cols, 0), 1);
}

TEST(MaskWindow, ByteImagesOnlyEveryPositionAndBand) {
  for (unsigned char type : {2, 5, 6, 9, 3}) {
    auto other = WindowImage(type);
    TMask mask(3, 3);
    std::memset(mask.elem, 0xEE, 9);
    EXPECT_EQ(other->GetWindow(5, 0, &mask, 0), 0) << int(type);
    EXPECT_EQ(mask.elem[4], 0xEE);
  }
  auto img = WindowImage(8);
  const int sizes[][2] = {{3, 3}, {2, 2}, {1, 4}};  // rows, columns
  for (const auto& size : sizes) {
    TMask mask(size[0], size[1]);
    const int w = size[1], h = size[0];
    for (int band : {0, 1, kFrames, -1}) {
      for (int y = -8; y <= 3; ++y) {
        for (int x = 0; x <= 12; ++x) {
          std::memset(mask.elem, 0xEE, static_cast<size_t>(w * h));
          ASSERT_EQ(img->GetWindow(x, y, &mask, band), 1);
          for (int r = 0; r < h; ++r) {
            for (int c = 0; c < w; ++c) {
              ASSERT_EQ(mask.elem[r * w + c],
                        WindowValue(8, x - (w - 1) / 2 + c, y - (h - 1) / 2 + r, band))
                  << h << "x" << w << " at " << x << "," << y << " band " << band;
            }
          }
        }
      }
    }
  }
}

// 5 x 4 byte image (offsets 2, 1):
//   9 1 8 2 7
//   3 6 4 5 0
//  12 11 10 13 14
//  20 19 18 17 16
std::unique_ptr<TImage> MedianBytes() {
  return Bytes(5, 4, {9, 1, 8, 2, 7, 3, 6, 4, 5, 0, 12, 11, 10, 13, 14, 20, 19, 18, 17, 16}, 2, 1);
}

TEST(WindowMedian, ByteWindows) {
  struct Case {
    int x, y, w, h;
    unsigned char want;
  } cases[] = {
      {3, 2, 3, 3, 8},   // 9 1 8 3 6 4 12 11 10
      {2, 1, 3, 3, 0},   // corner: five outside zeros, then 1 3 6 9
      {4, 2, 5, 3, 7},   // rows 0..2 hold 0..14
      {6, 4, 1, 1, 16},  // one pixel
      {6, 4, 3, 1, 16},  // 17 16 and one outside zero
      {3, 1, 2, 2, 3},   // even: nine visited, the first four (0 9 3 0) count
  };
  auto img = MedianBytes();
  for (const Case& c : cases) {
    unsigned char v[2] = {0xEE, 0xEE};
    img->GetWindowMedian(c.x, c.y, c.w, c.h, v, 0);
    EXPECT_EQ(v[0], c.want) << c.x << "," << c.y << " " << c.w << "x" << c.h;
    EXPECT_EQ(v[1], 0xEE);
  }
}

TEST(WindowMedian, BandsAndSixteenBit) {
  // Frame 1 of a 3 x 3 three-frame image holds 10..18; frame 0 and 2 zeros.
  std::vector<unsigned char> bytes(27, 0);
  for (int k = 0; k < 9; ++k) bytes[9 + k] = static_cast<unsigned char>(18 - k);
  auto rgb = FromBytes(3, 3, 8, 3, bytes);
  unsigned char v[2] = {0xEE, 0xEE};
  rgb->GetWindowMedian(1, 1, 3, 3, v, 1);
  EXPECT_EQ(v[0], 14);
  rgb->GetWindowMedian(1, 1, 3, 3, v, 3);  // no such frame: every value 0
  EXPECT_EQ(v[0], 0);
  // 16-bit 3 x 1: 40000 (signed -25536), 5, 300; the band is not used.
  std::vector<unsigned char> sb;
  for (uint16_t s : {40000, 5, 300}) {
    sb.resize(sb.size() + 2);
    std::memcpy(&sb[sb.size() - 2], &s, 2);
  }
  auto shorts = FromBytes(3, 1, 9, 1, sb);
  for (int band : {0, 7}) {
    uint16_t out = 0xEEEE;
    shorts->GetWindowMedian(1, 0, 3, 1, reinterpret_cast<unsigned char*>(&out), band);
    EXPECT_EQ(out, 5);
    shorts->GetWindowMedian(1, 0, 1, 3, reinterpret_cast<unsigned char*>(&out), band);
    EXPECT_EQ(out, 0);  // 0, 5, 0 down the column
  }
  uint16_t out = 0xEEEE;
  shorts->GetWindowMedian(0, 0, 3, 1, reinterpret_cast<unsigned char*>(&out), 0);
  EXPECT_EQ(out, 0);  // 0 (outside), -25536, 5 sorted signed
}

TEST(WindowMedian, EmptySizesAndOtherTypesLeaveTheValue) {
  auto img = MedianBytes();
  for (auto [w, h] : {std::pair{0, 3}, {3, 0}, {-3, 3}, {3, -1}}) {
    unsigned char v = 0xEE;
    img->GetWindowMedian(3, 2, w, h, &v, 0);
    EXPECT_EQ(v, 0xEE) << w << "x" << h;
  }
  for (unsigned char type : {2, 5, 6, 3}) {
    const auto child = testsupport::RunInChild([type] {
      TImage other(3, 3, type, 1, nullptr, 0, 0);
      unsigned char v[8] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
      other.GetWindowMedian(1, 1, 3, 3, v, 0);
      for (unsigned char b : v) {
        if (b != 0xEE) std::exit(3);
      }
    });
    EXPECT_EQ(child.status, 0) << int(type);
    EXPECT_EQ(child.out, "Not valid image type in TImage::GetWindowMedian\n") << int(type);
  }
}

}  // namespace
