// Correlation results that follow from the images alone: a pair made of a
// texture and its shifted copy, periodic and flat images, guides, support
// images, the progress text and the debug file.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "correlation_reference.h"
#include "correlation_scene.h"
#include "image/tdispimage.h"
#include "test_support.h"

namespace {

using scene::Geometry;
using scene::Outcome;
using scene::RunInScratch;

enum class Method { kPlain, kThreeBand, kHier, kSupport };

struct MethodInfo {
  Method method;
  int margin;
  int bands;
};

const MethodInfo kPlain = {Method::kPlain, 2, 1};
const MethodInfo kThreeBand = {Method::kThreeBand, 3, 3};
const MethodInfo kHier = {Method::kHier, 4, 3};

int Call(TDispImage& out, Method method, TImage* left, TImage* right, TImage* aux, int mind,
         int maxd, double threshold) {
  switch (method) {
    case Method::kPlain:
      return out.CalculateCorrelations(left, right, mind, maxd, threshold);
    case Method::kThreeBand:
      return out.CalculateCorrelations3Band(left, right, mind, maxd, threshold);
    case Method::kHier:
      return out.CalculateCorrelations3BandHier(left, right, aux, mind, maxd, threshold);
    case Method::kSupport:
      return out.CalculateCorrelations3BandSupport(left, right, aux, mind, maxd, threshold);
  }
  return 0;
}

// A byte image of `frames` bands holding value(x, y, band).
std::unique_ptr<TImage> ByteImage(int w, int h, int frames,
                                  const std::function<double(int, int, int)>& value,
                                  unsigned char type = kTypeByte) {
  return scene::Make(Geometry{w, h, type, frames, 0, 0}, value);
}

std::unique_ptr<TImage> Filled(int w, int h, unsigned char value) {
  return ByteImage(w, h, 1, [=](int, int, int) { return value; });
}

unsigned char At(const std::string& image, int width, int x, int y) {
  return static_cast<unsigned char>(image[static_cast<size_t>(y) * width + x]);
}

// The left texture and its copy shifted right by `shift` columns.
struct Pair {
  std::unique_ptr<TImage> left;
  std::unique_ptr<TImage> right;
};

Pair ShiftedPair(int w, int h, int bands, int shift, unsigned char type = kTypeByte) {
  const scene::Texture texture(w + 20, h, bands, 7);
  return {ByteImage(
              w, h, bands, [&](int x, int y, int b) { return texture(x, y, b); }, type),
          ByteImage(
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
  EXPECT_EQ(blank.Width(), 5);
  EXPECT_EQ(blank.Height(), 4);
  EXPECT_EQ(blank.Type(), kTypeByte);
  EXPECT_EQ(blank.frames, 1);
  EXPECT_EQ(blank.offset_x, 2);
  EXPECT_EQ(blank.offset_y, -3);
  EXPECT_EQ(blank.MinDisparity, 0);
  EXPECT_EQ(blank.MaxDisparity, 0);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(blank.data), 20), std::string(20, '\0'));

  testsupport::TempDir dir;
  const std::string pixels = {'\x80', '\x81', '\x7f', '\x00', '\x82', '\x80'};
  testsupport::WriteFile(dir.file("d.pgm"), "P5\n# disparities\n3 2\n255\n" + pixels);
  const Outcome o = RunInScratch([&]() -> const TImage& {
    static TDispImage read(dir.file("d.pgm").c_str());
    if (read.Width() != 3 || read.Height() != 2 || read.Type() != kTypeByte) std::exit(9);
    return read;
  });
  EXPECT_EQ(o.run.status, 0);
  EXPECT_EQ(o.image, pixels);
}

TEST(CorrelationText, ProgressRowsRangeAndResult) {
  struct Row {
    Method method;
    int width, height, bands;
    std::string text;
  };
  const Row rows[] = {
      {Method::kPlain, 12, 70, 1, "finding correlations... 32 64 OK\n"},
      {Method::kPlain, 12, 4, 1, "finding correlations... OK\n"},
      {Method::kThreeBand, 12, 40, 3, "finding correlations... 16 32 OK\n"},
      {Method::kHier, 12, 40, 3, "finding correlations... 16 32 OK\n"},
      {Method::kHier, 12, 36, 3, "finding correlations... 16 OK\n"},
      // The support block's rows 236 to 572, whatever the size.
      {Method::kSupport, 12, 10, 3, Progress(236, 572, 16)},
  };
  for (const Row& r : rows) {
    const Pair pair = ShiftedPair(r.width, r.height, r.bands, 0);
    const std::unique_ptr<TImage> aux = Filled(r.width, r.height, 0);
    TDispImage out(r.width, r.height);
    const Outcome o = RunInScratch([&]() -> const TImage& {
      const int result =
          Call(out, r.method, pair.left.get(), pair.right.get(), aux.get(), -7, 5, 0.5);
      if (result != 1 || out.MinDisparity != -7 || out.MaxDisparity != 5) std::exit(9);
      return out;
    });
    EXPECT_EQ(o.run.status, 0);
    EXPECT_EQ(o.run.out, r.text);
  }
}

TEST(CorrelationRange, EmptyRangesWriteNothing) {
  for (const Method method :
       {Method::kPlain, Method::kThreeBand, Method::kHier, Method::kSupport}) {
    for (const auto& range : {std::pair<int, int>{3, 3}, {5, 1}, {-2, -9}}) {
      const Pair pair = ShiftedPair(300, 250, 3, 1);
      const std::unique_ptr<TImage> aux = Filled(300, 250, 0);
      TDispImage out(300, 250);
      std::memset(out.data, 77, out.Size());
      const std::string before(reinterpret_cast<const char*>(out.data), out.Size());
      const Outcome o = RunInScratch([&]() -> const TImage& {
        Call(out, method, pair.left.get(), pair.right.get(), aux.get(), range.first, range.second,
             -5.0);
        return out;
      });
      EXPECT_EQ(o.run.status, 0);
      EXPECT_TRUE(o.image == before) << static_cast<int>(method) << " " << range.first;
    }
  }
}

// Every pixel whose true match is among its candidates gets the true
// disparity: the copy gives the best score, 1.
TEST(CorrelationWinner, RecoversAKnownShift) {
  for (const MethodInfo& m : {kPlain, kThreeBand, kHier}) {
    for (const int shift : {3, -4}) {
      const int w = 40, h = 28;
      const Pair pair = ShiftedPair(w, h, m.bands, shift);
      const std::unique_ptr<TImage> guide = Filled(w, h, 0);
      TDispImage out(w, h);
      const Outcome o = RunInScratch([&]() -> const TImage& {
        Call(out, m.method, pair.left.get(), pair.right.get(), guide.get(), -6, 7, 0.5);
        return out;
      });
      int checked = 0;
      for (int y = m.margin; y < h - m.margin; ++y) {
        for (int x = m.margin; x < w - m.margin; ++x) {
          if (x + shift < m.margin || x + shift >= w - m.margin) continue;
          EXPECT_EQ(At(o.image, w, x, y), shift + 128) << x << "," << y;
          ++checked;
        }
      }
      EXPECT_GT(checked, 300);
    }
  }
}

// A texture that repeats every 6 columns, seen through windows narrower than
// that: the candidates 2 and 8 are the same window, and the smaller wins.
TEST(CorrelationWinner, EqualScoresTakeTheSmallestDisparity) {
  for (const MethodInfo& m : {kPlain, kThreeBand}) {
    const int w = 40, h = 20;
    const scene::Texture texture(6, h, 3, 11);
    const auto periodic = [&](int x, int y, int b) { return texture(((x % 6) + 6) % 6, y, b); };
    const std::unique_ptr<TImage> left = ByteImage(w, h, m.bands, periodic);
    const std::unique_ptr<TImage> right =
        ByteImage(w, h, m.bands, [&](int x, int y, int b) { return periodic(x - 2, y, b); });
    TDispImage out(w, h);
    const Outcome o = RunInScratch([&]() -> const TImage& {
      Call(out, m.method, left.get(), right.get(), nullptr, 0, 14, 0.5);
      return out;
    });
    for (int y = m.margin; y < h - m.margin; ++y) {
      for (int x = m.margin; x + 2 < w - m.margin; ++x) {
        EXPECT_EQ(At(o.image, w, x, y), 130) << x << "," << y;
      }
    }
  }
}

TEST(CorrelationWinner, DisparitiesBeyondAByteWrap) {
  struct Row {
    int shift, mind, maxd, byte;
  };
  for (const Row& r : {Row{130, 128, 133, 2}, Row{-131, -133, -128, 253}}) {
    const int w = 300, h = 9;
    const Pair pair = ShiftedPair(w, h, 1, r.shift);
    TDispImage out(w, h);
    const Outcome o = RunInScratch([&]() -> const TImage& {
      out.CalculateCorrelations(pair.left.get(), pair.right.get(), r.mind, r.maxd, 0.5);
      return out;
    });
    int checked = 0;
    for (int y = 2; y < h - 2; ++y) {
      for (int x = 2; x < w - 2; ++x) {
        if (x + r.shift < 2 || x + r.shift >= w - 2) continue;
        EXPECT_EQ(At(o.image, w, x, y), r.byte);
        ++checked;
      }
    }
    EXPECT_GT(checked, 500);
  }
}

// Column 2 with disparities -10 .. -1 has no candidate inside the image: its
// whole curve is 0, whose first entry beats the start value -2.01 and is
// written only below a negative threshold.
TEST(CorrelationWinner, SkippedCandidatesCountAsZero) {
  for (const double threshold : {-0.5, 0.0}) {
    const int w = 30, h = 10;
    const Pair pair = ShiftedPair(w, h, 1, -3);
    TDispImage out(w, h);
    std::memset(out.data, 5, out.Size());
    const Outcome o = RunInScratch([&]() -> const TImage& {
      out.CalculateCorrelations(pair.left.get(), pair.right.get(), -10, 0, threshold);
      return out;
    });
    for (int y = 2; y < h - 2; ++y) {
      EXPECT_EQ(At(o.image, w, 2, y), threshold < 0 ? -10 + 128 : 5);
    }
  }
}

// Flat images score 0 / 0 = NaN everywhere, which never beats -2.01: a
// column whose candidates all lie inside keeps its byte even under a
// threshold of -5; a column with skipped candidates takes the first of them.
TEST(CorrelationWinner, FlatImagesScoreNaN) {
  for (const unsigned char type : {kTypeByte, kTypeFloat, kTypeShort}) {
    const int w = 20, h = 8;
    const std::unique_ptr<TImage> left = ByteImage(
        w, h, 1, [](int, int, int) { return 90; }, type);
    const std::unique_ptr<TImage> right = ByteImage(
        w, h, 1, [](int, int, int) { return 90; }, type);
    TDispImage out(w, h);
    std::memset(out.data, 5, out.Size());
    const Outcome o = RunInScratch([&]() -> const TImage& {
      out.CalculateCorrelations(left.get(), right.get(), 0, 4, -5.0);
      return out;
    });
    for (int y = 2; y < h - 2; ++y) {
      for (int x = 2; x < w - 2; ++x) {
        // Candidates x .. x + 3; those from column 18 on are skipped.
        const int expected = x + 3 < 18 ? 5 : 128 + (18 - x);
        EXPECT_EQ(At(o.image, w, x, y), expected) << int(type) << " " << x;
      }
    }
  }
}

// A guide byte g limits the search to the disparities g - 133 .. g - 124;
// where it is 0, or outside the guide image, the search is not narrowed.
TEST(CorrelationGuide, NarrowsTheSearchWhereItIsSet) {
  const int w = 48, h = 24, shift = 10;
  const Pair pair = ShiftedPair(w, h, 3, shift);
  struct Row {
    std::unique_ptr<TImage> guide;
    int guided_lo, guided_hi;  // bytes allowed where the guide applies
  };
  // The guide covers the left half only.
  std::vector<Row> rows;
  rows.push_back({Filled(w / 2, h, 128), 126, 132});
  rows.push_back({Filled(w / 2, h, 138), 138, 138});
  rows.push_back({Filled(w / 2, h, 0), 138, 138});
  for (const Row& r : rows) {
    TDispImage out(w, h);
    const Outcome o = RunInScratch([&]() -> const TImage& {
      // Every score is at least -1: with this threshold every pixel is written.
      out.CalculateCorrelations3BandHier(pair.left.get(), pair.right.get(), r.guide.get(), -2, 20,
                                         -1.5);
      return out;
    });
    for (int y = 4; y < h - 4; ++y) {
      for (int x = 4; x + shift < w - 4; ++x) {
        const int byte = At(o.image, w, x, y);
        if (x < w / 2) {
          EXPECT_GE(byte, r.guided_lo) << x;
          EXPECT_LE(byte, r.guided_hi) << x;
        } else {
          EXPECT_EQ(byte, 128 + shift) << x;
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
  const std::unique_ptr<TImage> support = ByteImage(300, 300, 1, [](int x, int y, int) {
    return (x == 200 && y == 250) || (x == 100 && y == 100) ? 77 : 0;
  });
  TDispImage out(w, h);
  std::memset(out.data, 5, out.Size());
  const Outcome o = RunInScratch([&]() -> const TImage& {
    out.CalculateCorrelations3BandSupport(pair.left.get(), pair.right.get(), support.get(), 0, 4,
                                          0.5);
    return out;
  });
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
    int width, height;
    int mind, maxd;
    bool guided;
    bool expect_file;
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
    const std::unique_ptr<TImage> guide = ByteImage(
        r.width, r.height, 1, [&](int x, int y, int) { return r.guided ? 126 + (x + y) % 6 : 0; });
    TDispImage out(r.width, r.height);
    const Outcome o = RunInScratch([&]() -> const TImage& {
      Call(out, r.method, pair.left.get(), pair.right.get(), guide.get(), r.mind, r.maxd, 0.5);
      return out;
    });
    EXPECT_EQ(o.run.status, 0);
    ASSERT_EQ(o.has_debug, r.expect_file);
    if (!r.expect_file) continue;
    const int k = r.method == Method::kHier ? 9 : 7;
    const std::string expected =
        reference::DebugLines(pair.left.get(), pair.right.get(), r.guided ? guide.get() : nullptr,
                              k, (k - 1) / 2, r.mind, r.maxd, 362, 362);
    EXPECT_EQ(o.debug, expected);
    EXPECT_EQ(r.mind == r.maxd, expected.empty());
  }
}

// Identical images: each candidate window at disparity 0 is the reference
// window itself, whose score is 1 in every band.
TEST(CorrelationDebugFile, IdenticalWindowsScoreOne) {
  const Pair pair = ShiftedPair(366, 366, 3, 0);
  TDispImage out(366, 366);
  const Outcome o = RunInScratch([&]() -> const TImage& {
    out.CalculateCorrelations3Band(pair.left.get(), pair.left.get(), 0, 1, 0.5);
    return out;
  });
  EXPECT_EQ(o.debug, "1.000000 1.000000 1.000000 1.000000\n");
  EXPECT_EQ(o.run.out, Progress(3, 362, 16));
}

}  // namespace
