// Correlation results that follow from the images alone: a pair made of a
// texture and its shifted copy, periodic and flat images, guides, support
// images, the progress text and the debug file.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "correlation_scene.h"

namespace {

using scene::Method;
using scene::Outcome;
using scene::RunInScratch;

int Margin(Method m) { return m == Method::kPlain ? 2 : m == Method::kHier ? 4 : 3; }

std::unique_ptr<TImage> Image(int w, int h, int frames,
                              const std::function<double(int, int, int)>& value,
                              unsigned char type = kTypeByte) {
  return scene::Make({w, h, type, frames, 0, 0}, value);
}

std::unique_ptr<TImage> Filled(int w, int h, unsigned char value) {
  return Image(w, h, 1, [=](int, int, int) { return value; });
}

// The library method run in a scratch directory on `out`, prefilled with `fill`.
Outcome RunLibrary(Method method, TDispImage& out, TImage* left, TImage* right, TImage* aux,
                   int mind, int maxd, double threshold, int fill = 0) {
  std::memset(out.data, fill, out.Size());
  return RunInScratch([&]() -> const TImage& {
    scene::Call(false, method, out, left, right, aux, mind, maxd, threshold);
    return out;
  });
}

unsigned char At(const std::string& image, int width, int x, int y) {
  return static_cast<unsigned char>(image[static_cast<size_t>(y) * width + x]);
}

// The left texture and its copy shifted right by `shift` columns.
struct Pair {
  std::unique_ptr<TImage> left, right;
};

Pair ShiftedPair(int w, int h, int bands, int shift, unsigned char type = kTypeByte) {
  const scene::Texture texture(w + 20, h, bands, 7);
  return {Image(w, h, bands, texture, type),
          Image(
              w, h, bands, [&](int x, int y, int b) { return texture(x - shift, y, b); }, type)};
}

// "finding correlations... ", every visited row that is a multiple of
// `period`, "OK" and a line end.
std::string Progress(int first, int last, int period) {
  std::string text = "finding correlations... ";
  for (int y = first; y <= last; ++y) {
    if (y % period == 0) text += std::to_string(y) + " ";
  }
  return text + "OK\n";
}

TEST(DispImage, InMemoryAndFromAFile) {
  const TDispImage blank(5, 4, 2, -3);
  EXPECT_EQ(blank.Width() * 10 + blank.Height(), 54);
  EXPECT_EQ(blank.Type(), kTypeByte);
  EXPECT_EQ(blank.frames, 1);
  EXPECT_EQ(blank.offset_x * 10 + blank.offset_y, 17);
  EXPECT_EQ(blank.MinDisparity * 10 + blank.MaxDisparity, 0);
  EXPECT_EQ(scene::Bytes(blank), std::string(20, '\0'));

  testsupport::TempDir dir;
  const std::string pixels = {'\x80', '\x81', '\x7f', '\x00', '\x82', '\x80'};
  testsupport::WriteFile(dir.file("d.pgm"), "P5\n# disparities\n3 2\n255\n" + pixels);
  const TDispImage read(dir.file("d.pgm").c_str());
  EXPECT_EQ(read.Width() * 10 + read.Height(), 32);
  EXPECT_EQ(read.Type(), kTypeByte);
  EXPECT_EQ(scene::Bytes(read), pixels);
}

TEST(CorrelationText, ProgressRowsRangeAndResult) {
  struct Row {
    Method method;
    int height;
    std::string text;
  };
  const Row rows[] = {
      {Method::kPlain, 70, "finding correlations... 32 64 OK\n"},
      {Method::kPlain, 4, "finding correlations... OK\n"},
      {Method::kThreeBand, 40, "finding correlations... 16 32 OK\n"},
      {Method::kHier, 40, "finding correlations... 16 32 OK\n"},
      {Method::kHier, 36, "finding correlations... 16 OK\n"},
      // The support block's rows 236 to 572, whatever the size.
      {Method::kSupport, 10, Progress(236, 572, 16)},
  };
  for (const Row& r : rows) {
    const Pair pair = ShiftedPair(12, r.height, 3, 0);
    const std::unique_ptr<TImage> aux = Filled(12, r.height, 0);
    TDispImage out(12, r.height);
    const Outcome o = RunInScratch([&]() -> const TImage& {
      const int result = scene::Call(false, r.method, out, pair.left.get(), pair.right.get(),
                                     aux.get(), -7, 5, 0.5);
      if (result != 1 || out.MinDisparity != -7 || out.MaxDisparity != 5) std::exit(9);
      return out;
    });
    EXPECT_EQ(o.run.status, 0);
    EXPECT_EQ(o.run.out, r.text);
  }
}

// Every pixel whose true match is among its candidates gets the true
// disparity, as (d + 128) mod 256: the copy gives the best score, 1. A guide
// byte g (the guide covers the left half) limits the search to the
// disparities g - 133 .. g - 124; where it is 0, or outside the guide image,
// the search is not narrowed.
TEST(CorrelationWinner, ShiftedCopyGivesItsShift) {
  struct Row {
    Method method;
    int width, height, shift, mind, maxd;
    unsigned char guide = 0;
    int lo = 0, hi = 0;  // bytes allowed where the guide applies
  };
  const Row rows[] = {
      {Method::kPlain, 40, 28, 3, -6, 7},
      {Method::kPlain, 40, 28, -4, -6, 7},
      {Method::kThreeBand, 40, 28, 3, -6, 7},
      {Method::kThreeBand, 40, 28, -4, -6, 7},
      {Method::kHier, 40, 28, 3, -6, 7},
      {Method::kHier, 40, 28, -4, -6, 7},
      {Method::kPlain, 300, 9, 130, 128, 133},
      {Method::kPlain, 300, 9, -131, -133, -128},
      {Method::kHier, 48, 24, 10, -2, 20, 128, 126, 132},
      {Method::kHier, 48, 24, 10, -2, 20, 138, 138, 138},
  };
  for (const Row& r : rows) {
    const int m = Margin(r.method), w = r.width;
    const Pair pair = ShiftedPair(w, r.height, r.method == Method::kPlain ? 1 : 3, r.shift);
    const std::unique_ptr<TImage> guide = Filled(w / 2, r.height, r.guide);
    TDispImage out(w, r.height);
    // Every score is at least -1: with this threshold every pixel is written.
    const Outcome o = RunLibrary(r.method, out, pair.left.get(), pair.right.get(), guide.get(),
                                 r.mind, r.maxd, -1.5);
    int checked = 0;
    for (int y = m; y < r.height - m; ++y) {
      for (int x = m; x < w - m; ++x) {
        if (x + r.shift < m || x + r.shift >= w - m) continue;
        const int byte = At(o.image, w, x, y), shifted = (r.shift + 128 + 256) % 256;
        const bool guided = r.guide != 0 && x < w / 2;
        ASSERT_GE(byte, guided ? r.lo : shifted) << x << "," << y;
        ASSERT_LE(byte, guided ? r.hi : shifted) << x << "," << y;
        ++checked;
      }
    }
    EXPECT_GT(checked, 300);
  }
}

// A texture that repeats every 6 columns, seen through windows narrower than
// that: the candidates 2 and 8 are the same window, and the smaller wins.
TEST(CorrelationWinner, EqualScoresTakeTheSmallestDisparity) {
  for (const Method method : {Method::kPlain, Method::kThreeBand}) {
    const int w = 40, h = 20, m = Margin(method), bands = method == Method::kPlain ? 1 : 3;
    const scene::Texture texture(6, h, 3, 11);
    const auto periodic = [&](int x, int y, int b) { return texture(((x % 6) + 6) % 6, y, b); };
    const auto left = Image(w, h, bands, periodic);
    const auto right =
        Image(w, h, bands, [&](int x, int y, int b) { return periodic(x - 2, y, b); });
    TDispImage out(w, h);
    const Outcome o = RunLibrary(method, out, left.get(), right.get(), nullptr, 0, 14, 0.5);
    for (int y = m; y < h - m; ++y) {
      for (int x = m; x + 2 < w - m; ++x) ASSERT_EQ(At(o.image, w, x, y), 130) << x << "," << y;
    }
  }
}

// Flat images score 0 / 0 = NaN everywhere, which never beats -2.01: a
// column whose candidates all lie inside keeps its byte. Candidates outside
// the image are skipped and count as 0, which beats -2.01: a column with
// skipped candidates takes the first of them, if 0 is above the threshold.
TEST(CorrelationWinner, FlatImagesScoreNaNAndSkippedCandidatesZero) {
  for (const unsigned char type : {kTypeByte, kTypeFloat, kTypeShort}) {
    for (const double threshold : {-5.0, 0.0}) {
      const int w = 20, h = 8;
      const auto flat = Image(
          w, h, 1, [](int, int, int) { return 90; }, type);
      TDispImage out(w, h);
      const Outcome o =
          RunLibrary(Method::kPlain, out, flat.get(), flat.get(), nullptr, 0, 4, threshold, 5);
      for (int y = 2; y < h - 2; ++y) {
        for (int x = 2; x < w - 2; ++x) {
          // Candidates x .. x + 3; those from column 18 on are skipped.
          const int expected = x + 3 < 18 || threshold == 0.0 ? 5 : 128 + (18 - x);
          EXPECT_EQ(At(o.image, w, x, y), expected) << int(type) << " " << x;
        }
      }
    }
  }
}

// Over the block of rows 236 to 572 and columns 137 to 475 only: a non-zero
// support byte is copied, the other pixels take the shift; the support image
// is smaller than the left one, and reads 0 outside.
TEST(CorrelationSupport, CopiesTrustedPixelsInsideTheBlock) {
  const int w = 600, h = 480, shift = 2;
  const Pair pair = ShiftedPair(w, h, 3, shift);
  const auto support = Image(300, 300, 1, [](int x, int y, int) {
    return (x == 200 && y == 250) || (x == 100 && y == 100) ? 77 : 0;
  });
  TDispImage out(w, h);
  const Outcome o = RunLibrary(Method::kSupport, out, pair.left.get(), pair.right.get(),
                               support.get(), 0, 4, 0.5, 5);
  EXPECT_EQ(At(o.image, w, 200, 250), 77);
  EXPECT_EQ(At(o.image, w, 100, 100), 5);  // outside the block
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const bool block = y >= 236 && y <= 572 && x >= 137 && x <= 475;
      if (!block) {
        ASSERT_EQ(At(o.image, w, x, y), 5) << x << "," << y;
      } else if (y + 3 < h && !(x == 200 && y == 250)) {
        ASSERT_EQ(At(o.image, w, x, y), 128 + shift) << x << "," << y;
      }
    }
  }
}

// The candidates of the pixel (362, 362) go to "cc.txt": as the literal
// computation of that one pixel gives them.
TEST(CorrelationDebugFile, CandidatesOfThePixel) {
  struct Row {
    const char* name;
    Method method;
    int width, height, mind, maxd;
    bool guided, expect_file;
    unsigned char type = kTypeByte;
  };
  const Row rows[] = {
      {"three_band", Method::kThreeBand, 366, 366, -2, 3, false, true},
      {"three_band_float", Method::kThreeBand, 366, 366, -2, 3, false, true, kTypeFloat},
      {"hier_guided", Method::kHier, 367, 367, -3, 9, true, true},
      {"hier_guided_float", Method::kHier, 367, 367, -3, 9, true, true, kTypeFloat},
      {"hier_unguided", Method::kHier, 367, 367, -1, 2, false, true},
      {"no_candidate", Method::kThreeBand, 366, 366, 4, 4, false, true},
      {"pixel_not_visited", Method::kThreeBand, 365, 366, 0, 2, false, false},
      {"pixel_not_visited_hier", Method::kHier, 366, 367, 0, 2, false, false},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    const Pair pair = ShiftedPair(r.width, r.height, 3, 1, r.type);
    const auto guide = Image(r.width, r.height, 1,
                             [&](int x, int y, int) { return r.guided ? 126 + (x + y) % 6 : 0; });
    TDispImage out(r.width, r.height);
    const Outcome o = RunLibrary(r.method, out, pair.left.get(), pair.right.get(), guide.get(),
                                 r.mind, r.maxd, 0.5);
    EXPECT_EQ(o.run.status, 0);
    ASSERT_EQ(o.has_debug, r.expect_file);
    if (!r.expect_file) continue;
    const int margin = Margin(r.method);
    const std::string expected =
        reference::DebugLines(pair.left.get(), pair.right.get(), r.guided ? guide.get() : nullptr,
                              2 * margin + 1, margin, r.mind, r.maxd, 362, 362);
    EXPECT_EQ(o.debug, expected);
    EXPECT_EQ(r.mind == r.maxd, expected.empty());
  }
}

// Identical images: each candidate window at disparity 0 is the reference
// window itself, whose score is 1 in every band.
TEST(CorrelationDebugFile, IdenticalWindowsScoreOne) {
  const Pair pair = ShiftedPair(366, 366, 3, 0);
  TDispImage out(366, 366);
  const Outcome o =
      RunLibrary(Method::kThreeBand, out, pair.left.get(), pair.left.get(), nullptr, 0, 1, 0.5);
  EXPECT_EQ(o.debug, "1.000000 1.000000 1.000000 1.000000\n");
  EXPECT_EQ(o.run.out, Progress(3, 362, 16));
}

}  // namespace
