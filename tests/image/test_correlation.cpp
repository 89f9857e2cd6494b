// The correlation methods of TDispImage against the window-by-window
// computation: disparity bytes, standard output and "cc.txt" must be equal
// byte for byte, with every kernel level the processor runs.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "correlation_reference.h"
#include "correlation_scene.h"
#include "image/correlation_kernels.h"
#include "image/tdispimage.h"
#include "test_support.h"

namespace {

using correlation::KernelLevel;
using scene::Geometry;

enum class Method { kPlain, kThreeBand, kHier, kSupport };
// What the pair shows.
enum class Content { kTexture, kFlatPatch, kInfinities, kNaNs };
// The guide (kHier) or support (kSupport) image.
enum class Aux {
  kNone,    // all zero
  kFull,    // the true disparity, with gaps of 0 and some wrong values
  kSmall,   // as kFull, but smaller than the left image and shifted
  kSparse,  // covers the support block; nine pixels in ten hold a disparity
  kOutput,  // the disparity image itself
};

struct Case {
  const char* name;
  Method method;
  Geometry left;
  Geometry right;
  int mind;
  int maxd;
  double threshold;
  int shift = 0;  // right column = left column + shift
  Content content = Content::kTexture;
  Aux aux = Aux::kNone;
  Geometry out = {};  // the disparity image; width 0 means the left's size
};

std::string Bytes(const TImage& image) {
  return std::string(reinterpret_cast<const char*>(image.data), image.Size());
}

using scene::Outcome;

class Scene {
 public:
  explicit Scene(const Case& c) : c_(c) {
    const scene::Texture texture(std::max(c.left.width, c.right.width) + 20,
                                 std::max(c.left.height, c.right.height) + 20, 3, 1234,
                                 c.left.type == kTypeShort ? 65535.0 : 255.0);
    const auto value = [&](int x, int y, int b, bool right) {
      // A little independent noise on the right image keeps most scores apart.
      double v = texture(right ? x - c.shift : x, y, b) + (right ? (x * 7 + y * 3) % 3 : 0);
      // Fractions give the wider types varied low bytes, which is what byte
      // windows of double and complex images see.
      if (c.left.type == kTypeFloat || c.left.type == kTypeDouble || c.left.type == kTypeComplex) {
        v = (v - 100.0) * 0.37;
      }
      const bool patch = x >= 10 && x < 22 && y >= 8 && y < 17;
      switch (c.content) {
        case Content::kFlatPatch:
          if (patch || y == 20) v = 90.0;
          break;
        case Content::kInfinities:
          if (patch && (x + y) % 5 == 0) v = (x % 2 ? 1.0 : -1.0) * HUGE_VAL;
          break;
        case Content::kNaNs:
          if (patch && (x + y) % 4 == 0) v = std::nan("");
          break;
        case Content::kTexture:
          break;
      }
      return v;
    };
    left_ = scene::Make(c.left, [&](int x, int y, int b) { return value(x, y, b, false); });
    right_ = scene::Make(c.right, [&](int x, int y, int b) { return value(x, y, b, true); });
    Geometry og = c.out;
    if (og.width == 0) {
      og.width = c.left.width;
      og.height = c.left.height;
    }
    out_ = std::make_unique<TDispImage>(og.width, og.height, og.offset_x, og.offset_y);
    for (int y = 0; y < og.height; ++y) {
      for (int x = 0; x < og.width; ++x) {
        // Zeros among the prefilled bytes: a disparity image used as its own
        // support computes those pixels.
        out_->data[y * og.width + x] =
            (x + 2 * y) % 10 == 0 ? 0 : static_cast<unsigned char>(x * 7 + y * 3 + 1);
      }
    }
    MakeAux();
  }

  Outcome Run(std::optional<KernelLevel> level) const {
    return scene::RunInScratch([&]() -> const TImage& {
      TImage* aux = c_.aux == Aux::kOutput ? out_.get() : aux_.get();
      if (level) {
        correlation::SetKernelLevel(*level);
        Library(aux);
      } else {
        Reference(aux);
      }
      return *out_;
    });
  }

  std::string Prefill() const { return Bytes(*out_); }

 private:
  void MakeAux() {
    Geometry g = {c_.left.width, c_.left.height, kTypeByte, 1, 0, 0};
    if (c_.aux == Aux::kSmall) g = {c_.left.width / 2, c_.left.height * 2 / 3, kTypeByte, 1, 9, 5};
    if (c_.aux == Aux::kSparse) g = {480, 580, kTypeByte, 1, 0, 0};
    aux_ = scene::Make(g, [&](int x, int y, int) -> double {
      if (c_.aux == Aux::kNone) return 0;
      if (c_.aux == Aux::kSparse ? (x * 7 + y * 13) % 10 == 0 : (x / 4 + y / 3) % 3 == 0) return 0;
      return 128 + c_.shift + (x * 5 + y) % 7 - 3;
    });
  }

  void Library(TImage* aux) const {
    TImage* l = left_.get();
    TImage* r = right_.get();
    switch (c_.method) {
      case Method::kPlain:
        out_->CalculateCorrelations(l, r, c_.mind, c_.maxd, c_.threshold);
        break;
      case Method::kThreeBand:
        out_->CalculateCorrelations3Band(l, r, c_.mind, c_.maxd, c_.threshold);
        break;
      case Method::kHier:
        out_->CalculateCorrelations3BandHier(l, r, aux, c_.mind, c_.maxd, c_.threshold);
        break;
      case Method::kSupport:
        out_->CalculateCorrelations3BandSupport(l, r, aux, c_.mind, c_.maxd, c_.threshold);
        break;
    }
  }

  void Reference(TImage* aux) const {
    TImage* l = left_.get();
    TImage* r = right_.get();
    switch (c_.method) {
      case Method::kPlain:
        reference::CalculateCorrelations(*out_, l, r, c_.mind, c_.maxd, c_.threshold);
        break;
      case Method::kThreeBand:
        reference::CalculateCorrelations3Band(*out_, l, r, c_.mind, c_.maxd, c_.threshold);
        break;
      case Method::kHier:
        reference::CalculateCorrelations3BandHier(*out_, l, r, aux, c_.mind, c_.maxd, c_.threshold);
        break;
      case Method::kSupport:
        reference::CalculateCorrelations3BandSupport(*out_, l, r, aux, c_.mind, c_.maxd,
                                                     c_.threshold);
        break;
    }
  }

  const Case& c_;
  std::unique_ptr<TImage> left_;
  std::unique_ptr<TImage> right_;
  std::unique_ptr<TImage> aux_;
  std::unique_ptr<TDispImage> out_;
};

// Index of the first differing byte, or -1.
long long FirstDifference(const std::string& a, const std::string& b) {
  for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
    if (a[i] != b[i]) return static_cast<long long>(i);
  }
  return a.size() == b.size() ? -1 : static_cast<long long>(std::min(a.size(), b.size()));
}

std::vector<KernelLevel> Levels() {
  std::vector<KernelLevel> levels = {KernelLevel::kPortable};
  if (correlation::BestKernelLevel() >= KernelLevel::kAvx2) levels.push_back(KernelLevel::kAvx2);
  if (correlation::BestKernelLevel() >= KernelLevel::kAvx512) {
    levels.push_back(KernelLevel::kAvx512);
  }
  return levels;
}

Geometry Byte(int w, int h, int frames = 1) { return {w, h, kTypeByte, frames, 0, 0}; }
Geometry Typed(int w, int h, unsigned char type, int frames = 1) {
  return {w, h, type, frames, 0, 0};
}

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

class SameAsReference : public ::testing::TestWithParam<Case> {};

TEST_P(SameAsReference, BytesTextAndDebugFile) {
  const Case& c = GetParam();
  const Scene s(c);
  const Outcome ref = s.Run(std::nullopt);
  ASSERT_EQ(ref.run.status, 0) << ref.run.out;
  // Cases meant to write must write, or the comparison proves little.
  if (c.maxd > c.mind && c.left.width > 10 && c.content == Content::kTexture) {
    EXPECT_NE(ref.image, s.Prefill());
  }
  const bool debug_pixel = c.method == Method::kThreeBand || c.method == Method::kHier;
  const int margin = c.method == Method::kHier ? 4 : 3;
  EXPECT_EQ(ref.has_debug,
            debug_pixel && c.left.width > 362 + margin && c.left.height > 362 + margin);
  for (const KernelLevel level : Levels()) {
    SCOPED_TRACE(static_cast<int>(level));
    const Outcome lib = s.Run(level);
    EXPECT_EQ(lib.run.status, 0);
    EXPECT_EQ(lib.run.out, ref.run.out);
    EXPECT_EQ(FirstDifference(lib.image, ref.image), -1);
    EXPECT_EQ(lib.has_debug, ref.has_debug);
    EXPECT_EQ(lib.debug, ref.debug);
  }
}

const Case kCases[] = {
    // One band, 5 x 5.
    {"plain_texture", Method::kPlain, Byte(48, 40), Byte(48, 40), -3, 9, 0.3, 4},
    {"plain_negative_range", Method::kPlain, Byte(40, 36), Byte(40, 36), -12, -2, -0.5, -6},
    {"plain_range_wider_than_image", Method::kPlain, Byte(30, 12), Byte(30, 12), -50, 60, 0.1, 2},
    {"plain_equal_bounds", Method::kPlain, Byte(20, 12), Byte(20, 12), 4, 4, -5.0},
    {"plain_reversed_bounds", Method::kPlain, Byte(20, 12), Byte(20, 12), 5, 1, -5.0},
    {"plain_flat_patch", Method::kPlain, Byte(40, 30), Byte(40, 30), -2, 6, -3.0, 1,
     Content::kFlatPatch},
    {"plain_flat_patch_threshold", Method::kPlain, Byte(40, 30), Byte(40, 30), -2, 6, 0.2, 1,
     Content::kFlatPatch},
    {"plain_offsets",
     Method::kPlain,
     {44, 30, kTypeByte, 1, 5, -3},
     {40, 33, kTypeByte, 1, -2, 4},
     -4,
     5,
     0.0,
     1,
     Content::kTexture,
     Aux::kNone,
     {30, 20, kTypeByte, 1, 3, 2}},
    {"plain_narrow_short_right", Method::kPlain, Byte(48, 40), Byte(30, 21), -2, 8, 0.1, 3},
    {"plain_three_frame_left", Method::kPlain, Byte(32, 20, 3), Byte(32, 20, 2), 0, 7, 0.2, 2},
    {"plain_float",
     Method::kPlain,
     {40, 30, kTypeFloat, 1, 7, 7},
     {36, 28, kTypeFloat, 1, 0, 0},
     -3,
     6,
     0.2,
     2},
    {"plain_float_infinities", Method::kPlain, Typed(40, 30, kTypeFloat), Typed(40, 30, kTypeFloat),
     -3, 6, -3.0, 2, Content::kInfinities},
    {"plain_float_nans", Method::kPlain, Typed(40, 30, kTypeFloat), Typed(40, 30, kTypeFloat), -3,
     6, -3.0, 2, Content::kNaNs},
    {"plain_sixteen_bit",
     Method::kPlain,
     {40, 30, kTypeShort, 1, 3, 3},
     Typed(38, 30, kTypeShort),
     -2,
     6,
     0.1,
     1},
    {"plain_sixteen_bit_flat_patch", Method::kPlain, Typed(40, 30, kTypeShort),
     Typed(40, 30, kTypeShort), -2, 6, -3.0, 1, Content::kFlatPatch},
    {"plain_double",
     Method::kPlain,
     {36, 24, kTypeDouble, 1, 2, 0},
     Typed(36, 24, kTypeDouble),
     -2,
     6,
     0.1,
     1},
    {"plain_complex", Method::kPlain, Typed(36, 24, kTypeComplex), Typed(36, 24, kTypeComplex), -2,
     6, 0.1, 1},
    {"plain_byte_left_float_right", Method::kPlain, Byte(36, 24), Typed(36, 24, kTypeFloat), -2, 6,
     -0.5, 1},
    {"plain_smaller_than_window", Method::kPlain, Byte(4, 4), Byte(4, 4), -2, 3, -5.0},
    {"plain_one_column_inside", Method::kPlain, Byte(5, 9), Byte(5, 9), -2, 3, -5.0},
    // Three bands, 7 x 7.
    {"three_band_texture", Method::kThreeBand, Byte(40, 36, 3), Byte(40, 36, 3), -4, 6, 0.2, 2},
    {"three_band_offsets",
     Method::kThreeBand,
     {40, 30, kTypeByte, 3, -4, 6},
     {44, 30, kTypeByte, 3, 3, 0},
     -4,
     6,
     0.0,
     2},
    {"three_band_one_frame", Method::kThreeBand, Byte(30, 20), Byte(30, 20), -2, 5, -3.0, 1},
    {"three_band_two_frames", Method::kThreeBand, Byte(30, 20, 2), Byte(30, 20, 3), -2, 5, -3.0, 1},
    {"three_band_float_right_narrow", Method::kThreeBand, Typed(34, 24, kTypeFloat, 3),
     Typed(25, 20, kTypeFloat, 3), -3, 5, 0.0, 2},
    {"three_band_sixteen_bit", Method::kThreeBand, Typed(34, 24, kTypeShort, 3),
     Typed(34, 24, kTypeShort, 3), -3, 5, 0.0, 2},
    {"three_band_flat_patch", Method::kThreeBand, Byte(36, 28, 3), Byte(36, 28, 3), -2, 4, -3.0, 1,
     Content::kFlatPatch},
    {"three_band_float_flat_patch", Method::kThreeBand, Typed(36, 28, kTypeFloat, 3),
     Typed(36, 28, kTypeFloat, 3), -2, 4, -3.0, 1, Content::kFlatPatch},
    {"three_band_smaller_than_window", Method::kThreeBand, Byte(6, 6, 3), Byte(6, 6, 3), 0, 3,
     -5.0},
    // Three bands, 9 x 9, guided.
    {"hier_without_guide", Method::kHier, Byte(40, 30, 3), Byte(40, 30, 3), -4, 8, 0.2, 3},
    {"hier_guide", Method::kHier, Byte(48, 30, 3), Byte(48, 30, 3), -4, 16, 0.2, 6,
     Content::kTexture, Aux::kFull},
    {"hier_small_guide", Method::kHier, Byte(48, 30, 3), Byte(48, 30, 3), -4, 16, 0.2, 6,
     Content::kTexture, Aux::kSmall},
    {"hier_guide_is_output", Method::kHier, Byte(40, 30, 3), Byte(40, 30, 3), -4, 8, 0.2, 3,
     Content::kTexture, Aux::kOutput},
    {"hier_float_guide", Method::kHier, Typed(40, 30, kTypeFloat, 3), Typed(40, 30, kTypeFloat, 3),
     -4, 12, 0.2, 4, Content::kTexture, Aux::kFull},
    {"hier_sixteen_bit_guide", Method::kHier, Typed(40, 30, kTypeShort, 3),
     Typed(40, 30, kTypeShort, 3), -4, 12, 0.2, 4, Content::kTexture, Aux::kFull},
    // Three bands over the fixed block, with support.
    {"support_block", Method::kSupport, Byte(600, 480, 3), Byte(600, 480, 3), 0, 3, 0.1, 2,
     Content::kTexture, Aux::kSparse},
    {"support_is_output",
     Method::kSupport,
     Byte(300, 280, 3),
     Byte(300, 280, 3),
     0,
     4,
     0.1,
     2,
     Content::kTexture,
     Aux::kOutput,
     {480, 580, kTypeByte, 1, 0, 0}},
    {"support_float", Method::kSupport, Typed(260, 260, kTypeFloat, 3),
     Typed(260, 260, kTypeFloat, 3), -1, 3, 0.1, 1, Content::kTexture, Aux::kSparse},
    {"support_small_images", Method::kSupport, Byte(180, 260, 3), Byte(150, 260, 3), -30, 2, -0.5,
     2, Content::kTexture, Aux::kSparse},
    {"support_one_frame_flat", Method::kSupport, Byte(260, 260), Byte(260, 260), 0, 3, -0.5, 1,
     Content::kFlatPatch, Aux::kSparse},
    {"support_empty_range", Method::kSupport, Byte(200, 250, 3), Byte(200, 250, 3), 2, 2, -5.0, 0,
     Content::kTexture, Aux::kSparse},
};

INSTANTIATE_TEST_SUITE_P(Cases, SameAsReference, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Case>& info) {
                           return std::string(info.param.name);
                         });

}  // namespace
