// The correlation methods of TDispImage against the window-by-window
// computation: disparity bytes, standard output and "cc.txt" must be equal
// byte for byte, with every kernel level the processor runs and on several
// threads.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "correlation_scene.h"
#include "image/tdispimage.h"

namespace {

using correlation::KernelLevel;
using scene::Geometry;
using scene::Method;

// What the pair shows.
enum class Content { kTexture, kFlatPatch, kInfinities, kNaNs };
// The guide (kHier) or support (kSupport) image: all zero; the true disparity
// with gaps of 0 and some wrong values; the same, smaller than the left image
// and shifted; covering the support block, nine pixels in ten holding a
// disparity; the disparity image itself.
enum class Aux { kNone, kFull, kSmall, kSparse, kOutput };

struct Case {
  const char* name;
  Method method;
  Geometry left, right;
  int mind, maxd;
  double threshold;
  int shift = 0;  // right column = left column + shift
  Content content = Content::kTexture;
  Aux aux = Aux::kNone;
  Geometry out = {};  // the disparity image; width 0 means the left's size
};

Geometry G(int w, int h, int frames = 1, unsigned char type = kTypeByte, int ox = 0, int oy = 0) {
  return {w, h, type, frames, ox, oy};
}

constexpr unsigned char kF = kTypeFloat, kS = kTypeShort, kD = kTypeDouble, kC = kTypeComplex;

class Scene {
 public:
  explicit Scene(const Case& c) : c_(c) {
    const scene::Texture texture(std::max(c.left.width, c.right.width) + 20,
                                 std::max(c.left.height, c.right.height) + 20, 3, 1234,
                                 c.left.type == kTypeShort ? 65535.0 : 255.0);
    const auto value = [&](int x, int y, int b, bool right) {
      // A little independent noise on the right image keeps most scores apart.
      double v = texture(right ? x - c.shift : x, y, b) + (right ? (x * 7 + y * 3) % 3 : 0);
      // Fractions give the byte windows of double and complex images varied low bytes.
      if (c.left.type == kF || c.left.type == kD || c.left.type == kC) v = (v - 100.0) * 0.37;
      const bool patch = x >= 10 && x < 22 && y >= 8 && y < 17;
      if (c.content == Content::kFlatPatch && (patch || y == 20)) v = 90.0;
      if (c.content == Content::kInfinities && patch && (x + y) % 5 == 0) {
        v = (x % 2 ? 1.0 : -1.0) * HUGE_VAL;
      }
      if (c.content == Content::kNaNs && patch && (x + y) % 4 == 0) v = std::nan("");
      return v;
    };
    left_ = scene::Make(c.left, [&](int x, int y, int b) { return value(x, y, b, false); });
    right_ = scene::Make(c.right, [&](int x, int y, int b) { return value(x, y, b, true); });
    const Geometry og = c.out.width ? c.out : G(c.left.width, c.left.height);
    out_ = std::make_unique<TDispImage>(og.width, og.height, og.offset_x, og.offset_y);
    for (int y = 0; y < og.height; ++y) {
      for (int x = 0; x < og.width; ++x) {
        // Zeros among the prefilled bytes: a disparity image used as its own
        // support computes those pixels.
        out_->data[y * og.width + x] =
            (x + 2 * y) % 10 == 0 ? 0 : static_cast<unsigned char>(x * 7 + y * 3 + 1);
      }
    }
    Geometry ag = G(c.left.width, c.left.height);
    if (c.aux == Aux::kSmall) ag = G(c.left.width / 2, c.left.height * 2 / 3, 1, kTypeByte, 9, 5);
    if (c.aux == Aux::kSparse) ag = G(480, 580);
    aux_ = scene::Make(ag, [&](int x, int y, int) -> double {
      if (c.aux == Aux::kNone) return 0;
      if (c.aux == Aux::kSparse ? (x * 7 + y * 13) % 10 == 0 : (x / 4 + y / 3) % 3 == 0) return 0;
      return 128 + c.shift + (x * 5 + y) % 7 - 3;
    });
  }

  // The library at `level` on `threads` threads, or the reference when
  // `level` is null.
  scene::Outcome Run(const KernelLevel* level, int threads = 1) const {
    return scene::RunInScratch([&]() -> const TImage& {
      if (level) correlation::SetKernelLevel(*level);
      SetCorrelationThreads(threads);
      scene::Call(!level, c_.method, *out_, left_.get(), right_.get(),
                  c_.aux == Aux::kOutput ? out_.get() : aux_.get(), c_.mind, c_.maxd, c_.threshold);
      return *out_;
    });
  }

  std::string Prefill() const { return scene::Bytes(*out_); }

 private:
  const Case& c_;
  std::unique_ptr<TImage> left_, right_, aux_;
  std::unique_ptr<TDispImage> out_;
};

void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

class SameAsReference : public ::testing::TestWithParam<Case> {};

TEST_P(SameAsReference, BytesTextAndDebugFile) {
  const Case& c = GetParam();
  const Scene s(c);
  const scene::Outcome ref = s.Run(nullptr);
  ASSERT_EQ(ref.run.status, 0) << ref.run.out;
  if (c.maxd <= c.mind && (c.method != Method::kSupport || c.aux == Aux::kNone)) {
    // An empty range writes nothing (but support bytes), whatever the threshold.
    EXPECT_EQ(ref.image, s.Prefill());
  } else if (c.left.width > 10 && c.content == Content::kTexture) {
    // Cases meant to write must write, or the comparison proves little.
    EXPECT_NE(ref.image, s.Prefill());
  }
  const int margin = c.method == Method::kHier ? 4 : 3;
  EXPECT_EQ(ref.has_debug, (c.method == Method::kThreeBand || c.method == Method::kHier) &&
                               c.left.width > 362 + margin && c.left.height > 362 + margin);
  // Every kernel level on one thread, the best one on two and three.
  std::vector<std::pair<KernelLevel, int>> runs;
  for (const KernelLevel level : scene::Levels()) runs.emplace_back(level, 1);
  for (const int threads : {2, 3}) runs.emplace_back(correlation::BestKernelLevel(), threads);
  for (const auto& [level, threads] : runs) {
    SCOPED_TRACE(std::to_string(static_cast<int>(level)) + ", " + std::to_string(threads) +
                 " threads");
    const scene::Outcome lib = s.Run(&level, threads);
    EXPECT_EQ(lib.run.status, 0);
    EXPECT_EQ(lib.run.out, ref.run.out);
    EXPECT_TRUE(lib.image == ref.image);
    EXPECT_EQ(lib.has_debug, ref.has_debug);
    EXPECT_EQ(lib.debug, ref.debug);
  }
}

constexpr Method kPlain = Method::kPlain, k3 = Method::kThreeBand, kHier = Method::kHier,
                 kSup = Method::kSupport;
constexpr Content kTex = Content::kTexture, kFlat = Content::kFlatPatch,
                  kInf = Content::kInfinities, kNaN = Content::kNaNs;
constexpr Aux kFull = Aux::kFull, kSparse = Aux::kSparse, kOutput = Aux::kOutput;

const Case kCases[] = {
    // One band, 5 x 5.
    {"plain_texture", kPlain, G(48, 40), G(48, 40), -3, 9, 0.3, 4},
    {"plain_negative_range", kPlain, G(40, 36), G(40, 36), -12, -2, -0.5, -6},
    {"plain_range_wider_than_image", kPlain, G(30, 12), G(30, 12), -50, 60, 0.1, 2},
    {"plain_equal_bounds", kPlain, G(20, 12), G(20, 12), 4, 4, -5.0},
    {"plain_reversed_bounds", kPlain, G(20, 12), G(20, 12), 5, 1, -5.0},
    {"plain_flat_patch", kPlain, G(40, 30), G(40, 30), -2, 6, -3.0, 1, kFlat},
    {"plain_flat_patch_threshold", kPlain, G(40, 30), G(40, 30), -2, 6, 0.2, 1, kFlat},
    {"plain_offsets", kPlain, G(44, 30, 1, kTypeByte, 5, -3), G(40, 33, 1, kTypeByte, -2, 4), -4, 5,
     0.0, 1, kTex, Aux::kNone, G(30, 20, 1, kTypeByte, 3, 2)},
    {"plain_narrow_short_right", kPlain, G(48, 40), G(30, 21), -2, 8, 0.1, 3},
    {"plain_three_frame_left", kPlain, G(32, 20, 3), G(32, 20, 2), 0, 7, 0.2, 2},
    {"plain_float", kPlain, G(40, 30, 1, kF, 7, 7), G(36, 28, 1, kF), -3, 6, 0.2, 2},
    {"plain_float_infinities", kPlain, G(40, 30, 1, kF), G(40, 30, 1, kF), -3, 6, -3.0, 2, kInf},
    {"plain_float_nans", kPlain, G(40, 30, 1, kF), G(40, 30, 1, kF), -3, 6, -3.0, 2, kNaN},
    {"plain_sixteen_bit", kPlain, G(40, 30, 1, kS, 3, 3), G(38, 30, 1, kS), -2, 6, 0.1, 1},
    {"plain_sixteen_bit_flat_patch", kPlain, G(40, 30, 1, kS), G(40, 30, 1, kS), -2, 6, -3.0, 1,
     kFlat},
    {"plain_double", kPlain, G(36, 24, 1, kD, 2, 0), G(36, 24, 1, kD), -2, 6, 0.1, 1},
    {"plain_complex", kPlain, G(36, 24, 1, kC), G(36, 24, 1, kC), -2, 6, 0.1, 1},
    {"plain_byte_left_float_right", kPlain, G(36, 24), G(36, 24, 1, kF), -2, 6, -0.5, 1},
    {"plain_smaller_than_window", kPlain, G(4, 4), G(4, 4), -2, 3, -5.0},
    {"plain_one_column_inside", kPlain, G(5, 9), G(5, 9), -2, 3, -5.0},
    // Three bands, 7 x 7.
    {"three_band_texture", k3, G(40, 36, 3), G(40, 36, 3), -4, 6, 0.2, 2},
    {"three_band_offsets", k3, G(40, 30, 3, kTypeByte, -4, 6), G(44, 30, 3, kTypeByte, 3, 0), -4, 6,
     0.0, 2},
    {"three_band_equal_bounds", k3, G(20, 14, 3), G(20, 14, 3), 2, 2, -5.0},
    {"three_band_one_frame", k3, G(30, 20), G(30, 20), -2, 5, -3.0, 1},
    {"three_band_two_frames", k3, G(30, 20, 2), G(30, 20, 3), -2, 5, -3.0, 1},
    {"three_band_float_right_narrow", k3, G(34, 24, 3, kF), G(25, 20, 3, kF), -3, 5, 0.0, 2},
    {"three_band_sixteen_bit", k3, G(34, 24, 3, kS), G(34, 24, 3, kS), -3, 5, 0.0, 2},
    {"three_band_flat_patch", k3, G(36, 28, 3), G(36, 28, 3), -2, 4, -3.0, 1, kFlat},
    {"three_band_float_flat_patch", k3, G(36, 28, 3, kF), G(36, 28, 3, kF), -2, 4, -3.0, 1, kFlat},
    {"three_band_smaller_than_window", k3, G(6, 6, 3), G(6, 6, 3), 0, 3, -5.0},
    // Three bands, 9 x 9, guided.
    {"hier_without_guide", kHier, G(40, 30, 3), G(40, 30, 3), -4, 8, 0.2, 3},
    {"hier_guide", kHier, G(48, 30, 3), G(48, 30, 3), -4, 16, 0.2, 6, kTex, kFull},
    {"hier_small_guide", kHier, G(48, 30, 3), G(48, 30, 3), -4, 16, 0.2, 6, kTex, Aux::kSmall},
    {"hier_guide_is_output", kHier, G(40, 30, 3), G(40, 30, 3), -4, 8, 0.2, 3, kTex, kOutput},
    {"hier_reversed_bounds_guide", kHier, G(24, 20, 3), G(24, 20, 3), 6, -2, -5.0, 0, kTex, kFull},
    {"hier_float_guide", kHier, G(40, 30, 3, kF), G(40, 30, 3, kF), -4, 12, 0.2, 4, kTex, kFull},
    {"hier_sixteen_bit_guide", kHier, G(40, 30, 3, kS), G(40, 30, 3, kS), -4, 12, 0.2, 4, kTex,
     kFull},
    // Three bands over the fixed block, with support.
    {"support_block", kSup, G(600, 480, 3), G(600, 480, 3), 0, 3, 0.1, 2, kTex, kSparse},
    {"support_is_output", kSup, G(300, 280, 3), G(300, 280, 3), 0, 4, 0.1, 2, kTex, kOutput,
     G(480, 580)},
    {"support_float", kSup, G(260, 260, 3, kF), G(260, 260, 3, kF), -1, 3, 0.1, 1, kTex, kSparse},
    {"support_small_images", kSup, G(180, 260, 3), G(150, 260, 3), -30, 2, -0.5, 2, kTex, kSparse},
    {"support_one_frame_flat", kSup, G(260, 260), G(260, 260), 0, 3, -0.5, 1, kFlat, kSparse},
    {"support_empty_range", kSup, G(200, 250, 3), G(200, 250, 3), 2, 2, -5.0},
};

INSTANTIATE_TEST_SUITE_P(Cases, SameAsReference, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Case>& info) {
                           return std::string(info.param.name);
                         });

}  // namespace
