// Whole-image operations: hand-worked results, and Copy against its
// element-by-element walk written out here.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "image/timage.h"
#include "test_support.h"

namespace {

template <typename T>
std::unique_ptr<TImage> Make(int w, int h, unsigned char type, int frames, std::vector<T> v,
                             int ox = 0, int oy = 0) {
  auto* data = static_cast<unsigned char*>(std::calloc(v.size() + 1, sizeof(T)));
  std::memcpy(data, v.data(), v.size() * sizeof(T));
  return std::make_unique<TImage>(w, h, type, frames, data, ox, oy);
}

template <typename T>
std::vector<T> Values(const TImage& image) {
  const T* p = reinterpret_cast<const T*>(image.data);
  return std::vector<T>(p, p + static_cast<size_t>(image.width) * image.height * image.frames);
}

using Bytes = std::vector<unsigned char>;
using Shorts = std::vector<unsigned short>;

TEST(ImageOps, Short2ByteTakesTheRangeInScanOrder) {
  // 100 raises the maximum, 300 raises it again, 200 lowers the minimum.
  auto image = Make<unsigned short>(3, 2, kTypeShort, 1, {0, 100, 300, 200, 250, 0}, 4, 5);
  std::unique_ptr<TImage> b(image->Short2Byte());
  EXPECT_EQ(Values<unsigned char>(*b), (Bytes{0, 0, 255, 0, 127, 0}));  // 127.5 + 0.4999
  EXPECT_EQ(std::make_tuple(b->type, b->offset_x, b->offset_y), std::make_tuple(kTypeByte, 4, 5));
  // Rising values never lower the minimum from INT_MAX: 255 * INT_MAX wraps.
  image = Make<unsigned short>(2, 1, kTypeShort, 1, {7, 9});
  b.reset(image->Short2Byte());
  EXPECT_EQ(Values<unsigned char>(*b), (Bytes{0, 0}));
  // Every value after 1000, 40000 and 7 in scan order: the range is 1..65535.
  Shorts all = {1000, 40000, 7};
  for (int v = 0; v < 65536; ++v) all.push_back(static_cast<unsigned short>(v));
  all.push_back(0);
  b.reset(Make<unsigned short>(32770, 2, kTypeShort, 1, all)->Short2Byte());
  const float gain = 255.0f / 65534.0f, shift = -255.0f / 65534.0f;
  const std::vector<unsigned char> got = Values<unsigned char>(*b);
  for (size_t i = 0; i < all.size(); ++i) {
    const float linear = static_cast<float>(all[i]) * gain + shift;
    const int expected = all[i] ? static_cast<int>(static_cast<double>(linear) + 0.4999) : 0;
    ASSERT_EQ(got[i], expected) << all[i];
  }
  // One value twice: max == min divides by zero, and NaN converts to 0.
  b.reset(Make<unsigned short>(2, 1, kTypeShort, 1, {5, 5})->Short2Byte());
  EXPECT_EQ(Values<unsigned char>(*b), (Bytes{0, 0}));
  EXPECT_EQ(Make<unsigned char>(1, 1, kTypeByte, 1, {1})->Short2Byte(), nullptr);
}

TEST(ImageOps, StretchTableAndTheEnclosingRasterWalk) {
  auto image = Make<unsigned char>(4, 1, kTypeByte, 1, {50, 100, 101, 255});
  std::unique_ptr<TImage> s(image->Stretch(0, 100, 0, 255));
  EXPECT_EQ(Values<unsigned char>(*s), (Bytes{127, 255, 255, 255}));
  s.reset(Make<unsigned char>(3, 1, kTypeByte, 1, {5, 60, 250})->Stretch(10, 20, 30, 40));
  EXPECT_EQ(Values<unsigned char>(*s), (Bytes{30, 40, 40}));  // 250: the value no fill gives
  // Offset (1, 0): local x reads enclosing x, so column 0 is refused (nothing
  // read yet: 0 maps to 0) and the last column repeats the byte read before.
  image = Make<unsigned char>(3, 2, kTypeByte, 1, {10, 20, 30, 40, 50, 60}, 1, 0);
  s.reset(image->Stretch(0, 255, 0, 255));
  EXPECT_EQ(Values<unsigned char>(*s), (Bytes{0, 10, 20, 20, 40, 50}));
  EXPECT_EQ(Make<unsigned short>(1, 1, kTypeShort, 1, {1})->Stretch(0, 1, 0, 1), nullptr);
}

// Copy as described: columns of this image's enclosing range outer, rows
// inner, frames innermost, through the band read and write (16-bit: without
// a band), one scratch value for the whole walk.
void LiteralCopy(TImage& dst, TImage& src) {
  unsigned char scratch[8] = {};
  for (int x = dst.offset_x; x < dst.offset_x + dst.width; ++x)
    for (int y = dst.offset_y; y < dst.offset_y + dst.height; ++y) {
      if (dst.type == kTypeShort) {
        src.GetIntensity(x, y, scratch), dst.SetIntensity(x, y, scratch);
        continue;
      }
      for (int b = 0; b < dst.frames; ++b)
        src.GetIntensity(x, y, scratch, b), dst.SetIntensity(x, y, scratch, b);
    }
}

TEST(ImageOps, CopyRepeatsTheLastValueWhereTheSourceDoesNotCover) {
  // 2 x 2 source at (1, 1) into a 3 x 3 image at (0, 0): column 0 reads
  // nothing (0); column 1 nothing at row 0, then 1 and 3; column 2 starts
  // with the 3 read last.
  auto src = Make<unsigned char>(2, 2, kTypeByte, 1, {1, 2, 3, 4}, 1, 1);
  auto dst = Make<unsigned char>(3, 3, kTypeByte, 1, Bytes(9, 99));
  dst->Copy(*src);
  EXPECT_EQ(Values<unsigned char>(*dst), (Bytes{0, 0, 3, 0, 1, 2, 0, 3, 4}));

  std::mt19937 gen(5);
  const auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(gen); };
  for (int run = 0; run < 300; ++run) {
    const unsigned char type = pick(0, 2) ? kTypeByte : kTypeShort;
    const unsigned char other = type == kTypeByte ? kTypeShort : kTypeByte;
    const unsigned char src_type = pick(0, 4) ? type : other;
    const int frames = type == kTypeByte ? pick(1, 3) : 1;
    Bytes bytes(200);
    for (auto& v : bytes) v = static_cast<unsigned char>(pick(1, 255));
    auto s = Make<unsigned char>(pick(0, 5), pick(0, 5), src_type, pick(0, 3), bytes, pick(-3, 3),
                                 pick(-3, 3));
    auto a = Make<unsigned char>(pick(0, 6), pick(0, 6), type, frames, Bytes(200, 7), pick(-3, 3),
                                 pick(-3, 3));
    auto b = Make<unsigned char>(a->width, a->height, type, frames, Bytes(200, 7), a->offset_x,
                                 a->offset_y);
    a->Copy(*s), LiteralCopy(*b, *s);
    ASSERT_EQ(Values<unsigned char>(*a), Values<unsigned char>(*b)) << run;
  }
  const auto floats = Make<float>(1, 1, kTypeFloat, 1, {1.0f});
  const auto run = testsupport::RunInChild([&] { floats->Copy(*src); });
  EXPECT_EQ(run.out, testsupport::Fatal("Wrong image type in TImage.Copy"));
}

TEST(ImageOps, CutSubsampleAndFrames) {
  auto image = Make<unsigned char>(
      5, 3, kTypeByte, 1, Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}, 10, 20);
  std::unique_ptr<TImage> cut(image->CutWindow(1, 1, 2, 2));
  EXPECT_EQ(std::make_tuple(cut->offset_x, cut->offset_y), std::make_tuple(11, 21));
  EXPECT_EQ(Values<unsigned char>(*cut), (Bytes{7, 8, 12, 13}));
  image->offset_x = image->offset_y = 0;
  std::unique_ptr<TImage> sub(image->Subsampling(2));
  EXPECT_EQ(std::make_tuple(sub->width, sub->height), std::make_tuple(3, 2));
  EXPECT_EQ(Values<unsigned char>(*sub), (Bytes{1, 3, 5, 11, 13, 15}));
  // Rows of 33 bytes in a buffer of exactly 99: the 16-byte steps stop before
  // reading past the last row.
  TImage wide(33, 3, kTypeByte, 1, nullptr, 0, 0);
  for (int i = 0; i < 99; ++i) wide.data[i] = static_cast<unsigned char>(i);
  sub.reset(wide.Subsampling(2));
  Bytes expected;
  for (int r = 0; r < 3; r += 2)
    for (int c = 0; c < 33; c += 2) expected.push_back(static_cast<unsigned char>(r * 33 + c));
  EXPECT_EQ(Values<unsigned char>(*sub), expected);
  // 16-bit elements through the band read: the first byte is the buffer's
  // byte at the element index.
  auto shorts = Make<unsigned short>(3, 1, kTypeShort, 1, {0x1111, 0x2222, 0x3344});
  sub.reset(shorts->Subsampling(2));
  EXPECT_EQ(Values<unsigned short>(*sub), (Shorts{0x1111, 0x3322}));
  shorts->offset_x = 1;  // reads and writes shifted: (0, 0) is refused, (2, 0) written
  sub.reset(shorts->Subsampling(2));
  EXPECT_EQ(Values<unsigned short>(*sub), (Shorts{0x2211, 0}));
  for (int factor : {0, -2}) EXPECT_EQ(image->Subsampling(factor), nullptr);

  auto rgb = Make<unsigned char>(2, 1, kTypeByte, 3, Bytes{1, 2, 3, 4, 5, 6});
  std::unique_ptr<TImage> green(rgb->GetFrame(1));
  EXPECT_EQ(Values<unsigned char>(*green), (Bytes{3, 4}));
  for (int f : {3, -1}) EXPECT_EQ(rgb->GetFrame(f), nullptr);
  EXPECT_EQ(image->GetFrame(1), nullptr);
  std::unique_ptr<TImage> joined(R_G_B2RGB(*green, *green, *image));
  EXPECT_EQ(joined, nullptr);  // sizes differ
  joined.reset(R_G_B2RGB(*green, *rgb, *green));
  EXPECT_EQ(Values<unsigned char>(*joined), (Bytes{3, 4, 1, 2, 3, 4}));
}

TEST(ImageOps, IncrementReplaceAndInitialValue) {
  auto bytes = Make<unsigned char>(2, 1, kTypeByte, 2, Bytes{250, 5, 1, 2});
  bytes->IncrementByValue(10);
  EXPECT_EQ(Values<unsigned char>(*bytes), (Bytes{4, 15, 11, 12}));  // every frame wraps
  bytes->IncrementByValue(300);
  bytes->IncrementByValue(-20);
  EXPECT_EQ(Values<unsigned char>(*bytes), (Bytes{240, 251, 247, 248}));
  auto shorts = Make<unsigned short>(2, 1, kTypeShort, 1, {65530, 3});
  shorts->IncrementByValue(10);
  EXPECT_EQ(Values<unsigned short>(*shorts), (Shorts{65535, 13}));
  shorts->IncrementByValue(-2000000000);
  EXPECT_EQ(Values<unsigned short>(*shorts), (Shorts{0, 0}));

  EXPECT_EQ(Make<unsigned char>(3, 1, kTypeByte, 1, Bytes{7, 8, 7})->Replace(263.9, 1), 1);
  auto b = Make<unsigned char>(3, 1, kTypeByte, 1, Bytes{7, 8, 7});
  b->Replace(263.9, 1.5);  // 263 keeps its low 8 bits, 7
  EXPECT_EQ(Values<unsigned char>(*b), (Bytes{1, 8, 1}));
  auto f = Make<float>(2, 1, kTypeFloat, 1, {0.1f, 0.2f});
  f->Replace(0.1, 9);  // compared as a float
  EXPECT_EQ(Values<float>(*f), (std::vector<float>{9.0f, 0.2f}));
  auto c = Make<float>(2, 1, kTypeComplex, 1, {2, 0, 2, 1});
  c->Replace(2, 5);  // (2, 0) only
  EXPECT_EQ(
      std::vector<float>(reinterpret_cast<float*>(c->data), reinterpret_cast<float*>(c->data) + 4),
      (std::vector<float>{5, 0, 2, 1}));
  auto d = Make<double>(1, 2, kTypeDouble, 1, {-0.0, 0.5});
  d->Replace(0.0, 3);
  EXPECT_EQ(Values<double>(*d), (std::vector<double>{3, 0.5}));
  shorts->InitValue(reinterpret_cast<const unsigned char*>("\x34\x12"));
  EXPECT_EQ(Values<unsigned short>(*shorts), (Shorts{0x1234, 0x1234}));
  const auto run = testsupport::RunInChild([&] { f->IncrementByValue(1); });
  EXPECT_EQ(run.out, testsupport::Fatal("Wrong image type in TImage.Copy"));
}

}  // namespace
