// Windows around a pixel: into a matrix, into a mask, and window medians.
#include <gtest/gtest.h>

#include <climits>
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

using Vals = std::vector<double>;
constexpr int kOx = 5, kOy = -3;

// A 4 x 3 image of two frames at offset (5, -3): element (x, y) of frame f
// holds 100 f + 10 y + x + 1, as a float, a 16-bit value, or in the first
// byte of a wider element (whose other bytes are 0x7F).
std::unique_ptr<TImage> WindowImage(unsigned char type) {
  const size_t n = ElementBytes(type);
  std::vector<unsigned char> bytes(4 * 3 * 2 * n, 0x7F);
  for (int f = 0; f < 2; ++f)
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 4; ++x) {
        const int v = 100 * f + 10 * y + x + 1;
        unsigned char* e = &bytes[Index(4, 3, x, y, f) * n];
        const float fv = static_cast<float>(v);
        const uint16_t sv = static_cast<uint16_t>(v);
        if (type == 5)
          std::memcpy(e, &fv, 4);
        else if (type == 9)
          std::memcpy(e, &sv, 2);
        else
          *e = static_cast<unsigned char>(v);
      }
  return FromBytes(4, 3, type, 2, bytes, kOx, kOy);
}

// Windows of WindowImage centred on a local position (float and 16-bit
// windows take local coordinates, the others enclosing ones), elements row
// by row; outside pixels and missing frames give 0.
const struct WindowCase {
  int rows, cols, x, y, band;
  Vals want;
} kWindows[] = {
    {3, 3, 0, 0, 0, {0, 0, 0, 0, 1, 2, 0, 11, 12}},        // top left corner
    {3, 3, 3, 2, 1, {113, 114, 0, 123, 124, 0, 0, 0, 0}},  // bottom right corner, frame 1
    {2, 4, 1, 1, 0, {11, 12, 13, 14, 21, 22, 23, 24}},     // even sizes: more after the centre
    {1, 5, -1, 1, 1, {0, 0, 0, 111, 112}},                 // leaves on the left
    {1, 5, 3, 0, 0, {2, 3, 4, 0, 0}},                      // leaves on the right
    {5, 1, 2, 2, 0, {3, 13, 23, 0, 0}},                    // leaves at the bottom
    {3, 3, 6, 1, 0, Vals(9, 0)},                           // beside the image
    {3, 3, 1, 1, 2, Vals(9, 0)},                           // no such frame
    {3, 3, 1, 1, -1, Vals(9, 0)},
    {2, 2, INT_MIN + 8, INT_MAX - 8, 0, Vals(4, 0)},  // far away
};

std::string Label(unsigned char type, const WindowCase& w) {
  return testsupport::Format("type %d: %dx%d at %d,%d band %d", type, w.rows, w.cols, w.x, w.y,
                             w.band);
}

TEST(MatrixWindow, EveryTypeAtCornersEdgesAndOutside) {
  for (unsigned char type : {2, 5, 6, 8, 9, 3}) {
    auto img = WindowImage(type);
    const bool local = type == 5 || type == 9;
    for (const WindowCase& w : kWindows) {
      TMatrix m(w.rows, w.cols);
      m.Plus(-777.5);
      EXPECT_EQ(img->GetWindow(w.x + (local ? 0 : kOx), w.y + (local ? 0 : kOy), &m, w.band), 1);
      Vals got;
      for (int r = 0; r < w.rows; ++r) got.insert(got.end(), m.elem[r], m.elem[r] + w.cols);
      EXPECT_EQ(got, w.want) << Label(type, w);
    }
  }
  // 16-bit values arrive signed: 40000, 32767, 65535.
  auto shorts = FromBytes(3, 1, 9, 1, {0x40, 0x9C, 0xFF, 0x7F, 0xFF, 0xFF});
  TMatrix row(1, 3);
  EXPECT_EQ(shorts->GetWindow(1, 0, &row, 0), 1);
  EXPECT_EQ(Vals(row.elem[0], row.elem[0] + 3), (Vals{-25536, 32767, -1}));
  // A matrix without rows or columns is left alone.
  TMatrix empty(0, 3), no_cols(2, 0);
  EXPECT_EQ(shorts->GetWindow(1, 0, &empty, 0), 1);
  EXPECT_EQ(shorts->GetWindow(1, 0, &no_cols, 0), 1);
}

TEST(MaskWindow, ByteImagesOnly) {
  for (unsigned char type : {2, 5, 6, 9, 3}) {
    TMask mask(3, 3);
    std::memset(mask.elem, 0xEE, 9);
    EXPECT_EQ(WindowImage(type)->GetWindow(5, 0, &mask, 0), 0) << int(type);
    EXPECT_EQ(mask.elem[4], 0xEE);
  }
  auto img = WindowImage(8);
  for (const WindowCase& w : kWindows) {
    TMask mask(w.rows, w.cols);
    std::memset(mask.elem, 0xEE, static_cast<size_t>(w.rows * w.cols));
    EXPECT_EQ(img->GetWindow(w.x + kOx, w.y + kOy, &mask, w.band), 1);
    EXPECT_EQ(Vals(mask.elem, mask.elem + w.rows * w.cols), w.want) << Label(8, w);
  }
}

// 5 x 4 byte image (offsets 2, 1):
//   9 1 8 2 7
//   3 6 4 5 0
//  12 11 10 13 14
//  20 19 18 17 16
TEST(WindowMedian, ByteWindows) {
  const struct {
    int x, y, w, h, band;
    unsigned char want;
  } cases[] = {
      {3, 2, 3, 3, 0, 8},   // 9 1 8 3 6 4 12 11 10
      {2, 1, 3, 3, 0, 0},   // corner: five outside zeros, then 1 3 6 9
      {4, 2, 5, 3, 0, 7},   // rows 0..2 hold 0..14
      {6, 4, 1, 1, 0, 16},  // one pixel
      {6, 4, 3, 1, 0, 16},  // 17 16 and one outside zero
      {3, 1, 2, 2, 0, 3},   // even: nine visited, the first four (0 9 3 0) count
      {3, 2, 3, 3, 1, 0},   // no such frame: every value 0
  };
  auto img = FromBytes(
      5, 4, 8, 1, {9, 1, 8, 2, 7, 3, 6, 4, 5, 0, 12, 11, 10, 13, 14, 20, 19, 18, 17, 16}, 2, 1);
  for (const auto& c : cases) {
    unsigned char v[2] = {0xEE, 0xEE};
    img->GetWindowMedian(c.x, c.y, c.w, c.h, v, c.band);
    EXPECT_EQ(v[0], c.want) << c.x << "," << c.y << " " << c.w << "x" << c.h;
    EXPECT_EQ(v[1], 0xEE);
  }
  for (auto [w, h] : {std::pair{0, 3}, {3, 0}, {-3, 3}, {3, -1}}) {
    unsigned char v = 0xEE;
    img->GetWindowMedian(3, 2, w, h, &v, 0);
    EXPECT_EQ(v, 0xEE) << w << "x" << h;
  }
  // Frame 1 of a 3 x 3 three-frame image holds 18 down to 10.
  std::vector<unsigned char> bytes(27, 0);
  for (int k = 0; k < 9; ++k) bytes[9 + k] = static_cast<unsigned char>(18 - k);
  unsigned char v = 0xEE;
  FromBytes(3, 3, 8, 3, bytes)->GetWindowMedian(1, 1, 3, 3, &v, 1);
  EXPECT_EQ(v, 14);
}

TEST(WindowMedian, SixteenBitIsSignedAndIgnoresTheBand) {
  // 3 x 1: 40000 (signed -25536), 5, 300.
  auto shorts = FromBytes(3, 1, 9, 1, {0x40, 0x9C, 5, 0, 0x2C, 0x01});
  const struct {
    int x, w, h;
    uint16_t want;
  } cases[] = {{1, 3, 1, 5}, {1, 1, 3, 0} /* 0, 5, 0 down the column */, {0, 3, 1, 0}};
  for (const auto& c : cases) {
    for (int band : {0, 7}) {
      uint16_t out = 0xEEEE;
      shorts->GetWindowMedian(c.x, 0, c.w, c.h, reinterpret_cast<unsigned char*>(&out), band);
      EXPECT_EQ(out, c.want) << c.x << " " << c.w << "x" << c.h << " band " << band;
    }
  }
  for (unsigned char type : {2, 5, 6, 3}) {
    const auto child = testsupport::RunInChild([type] {
      TImage other(3, 3, type, 1, nullptr, 0, 0);
      unsigned char v[8] = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
      other.GetWindowMedian(1, 1, 3, 3, v, 0);
      for (unsigned char b : v)
        if (b != 0xEE) std::exit(3);
    });
    EXPECT_EQ(child.status, 0) << int(type);
    EXPECT_EQ(child.out, "Not valid image type in TImage::GetWindowMedian\n") << int(type);
  }
}

}  // namespace
