// The two-set methods against their window-by-window reference: the
// disparity bytes, the printed text and the diagnostic files, over sets that
// agree, disagree, map partly outside and are rotated.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <memory>
#include <string>

#include "correlation_scene.h"
#include "image/tdispimage.h"

namespace {

enum class TwoSet { kPlain, kThreeBands, kHier };

struct Scene {
  const char* name;
  TwoSet method;
  int width, height;
  double angle;   // rotation of set 2, radians
  double dy, dx;  // shift of set 2
  int extra;      // set-2 right image shifted this much further
  double scale, offset;
  int mind, maxd;
  bool guided;
};

struct Result {
  testsupport::ChildResult run;
  std::string image, debug[3];
};

// The reference when `threads` is 0, else the library on that many threads.
Result RunScene(const Scene& s, int threads) {
  const bool ref = threads == 0;
  const scene::Texture texture(s.width + 40, s.height + 40, 3, 3);
  const auto shift = [&](int x, int y) { return s.mind + (x / 11 + y / 13) % (s.maxd - s.mind); };
  const scene::Geometry g{s.width, s.height, kTypeByte, 3, 0, 0};
  const auto left1 = scene::Make(g, texture);
  const auto right1 =
      scene::Make(g, [&](int x, int y, int b) { return texture(x - shift(x, y), y, b); });
  // Set 2 holds set 1 where the mapping puts it (rotation ignored inside the
  // texture: a rotated set only changes where the windows are read).
  const auto left2 = scene::Make(g, [&](int x, int y, int b) {
    return texture(x - static_cast<int>(s.dx), y - static_cast<int>(s.dy), b);
  });
  const auto right2 = scene::Make(g, [&](int x, int y, int b) {
    const int x1 = x - static_cast<int>(s.dx) - s.extra, y1 = y - static_cast<int>(s.dy);
    return texture(x1 - shift(x1, y1), y1, b);
  });
  const auto guide = scene::Make({s.width, s.height, kTypeByte, 1, 0, 0}, [&](int x, int y, int) {
    return (x + y) % 5 ? shift(x, y) + 128 : 0;
  });
  TMatrix rot(2, 2), move(2, 1);
  rot.elem[0][0] = rot.elem[1][1] = std::cos(s.angle);
  rot.elem[0][1] = -std::sin(s.angle), rot.elem[1][0] = std::sin(s.angle);
  move.elem[0][0] = s.dy, move.elem[1][0] = s.dx;
  testsupport::TempDir dir;
  Result r;
  r.run = testsupport::RunInChild([&] {
    if (chdir(dir.path().c_str()) != 0) std::exit(3);
    if (!ref) SetCorrelationThreads(threads);
    TDispImage out(s.width, s.height);
    TImage *l1 = left1.get(), *r1 = right1.get(), *l2 = left2.get(), *r2 = right2.get();
    TImage* gd = s.guided ? guide.get() : nullptr;
    const double t = 0.3;
    int done = 0;
    switch (s.method) {
      case TwoSet::kPlain:
        done = ref ? reference::CalculateCorrelations2Set(out, l1, r1, l2, r2, rot, move, s.mind,
                                                          s.maxd, s.scale, s.offset, t)
                   : out.CalculateCorrelations2Set(l1, r1, l2, r2, rot, move, s.mind, s.maxd,
                                                   s.scale, s.offset, t);
        break;
      case TwoSet::kThreeBands:
        done = ref ? reference::CalculateCorrelations2Set3Bands(
                         out, l1, r1, l2, r2, rot, move, s.mind, s.maxd, s.scale, s.offset, t)
                   : out.CalculateCorrelations2Set3Bands(l1, r1, l2, r2, rot, move, s.mind, s.maxd,
                                                         s.scale, s.offset, t);
        break;
      case TwoSet::kHier:
        done = ref ? reference::CalculateCorrelations2Set3BandsHier(
                         out, l1, r1, l2, r2, gd, rot, move, s.mind, s.maxd, s.scale, s.offset, t)
                   : out.CalculateCorrelations2Set3BandsHier(l1, r1, l2, r2, gd, rot, move, s.mind,
                                                             s.maxd, s.scale, s.offset, t);
        break;
    }
    if (done != 1) std::exit(9);
    testsupport::WriteFile("out.bin", scene::Bytes(out));
  });
  r.image = testsupport::ReadFile(dir.file("out.bin"));
  for (int i = 0; i < 3; ++i)
    r.debug[i] = testsupport::ReadFile(dir.file(std::to_string(i + 1) + ".txt"));
  return r;
}

int Written(const std::string& image) {
  int n = 0;
  for (char c : image) n += c != 0;
  return n;
}

TEST(TwoSet, SameBytesTextAndDiagnosticsAsTheReference) {
  const Scene scenes[] = {
      {"agree, block", TwoSet::kPlain, 480, 576, 0, 0, 0, 0, 1, 0, -2, 3, false},
      {"disagree by 5, block", TwoSet::kPlain, 480, 576, 0, 0, 0, 5, 1, 0, -2, 3, false},
      {"agree, shifted", TwoSet::kThreeBands, 60, 44, 0, 3, -4, 0, 1, 0, -3, 4, false},
      {"partly outside", TwoSet::kThreeBands, 60, 44, 0, 20, 35, 0, 1, 0, -3, 4, false},
      {"rotated", TwoSet::kThreeBands, 60, 44, 0.03, 1, 2, 0, 1, 0, -3, 4, false},
      {"scaled, diagnostics", TwoSet::kThreeBands, 368, 368, 0, 0, 0, 0, 1.5, 0.5, -1, 2, false},
      {"merged, guided", TwoSet::kHier, 60, 44, 0.02, 1, -1, 0, 2, 3, -3, 4, true},
      {"merged, outside", TwoSet::kHier, 60, 44, 0, -30, 50, 0, 2, 3, -3, 4, false},
      {"merged, diagnostics", TwoSet::kHier, 368, 368, 0, 0, 0, 0, 2, 3, -1, 2, true},
  };
  int agree = 0;
  for (const Scene& s : scenes) {
    SCOPED_TRACE(s.name);
    const Result literal = RunScene(s, 0);
    Result library;
    for (const int threads : {1, 2, 3}) {
      SCOPED_TRACE(threads);
      library = RunScene(s, threads);
      EXPECT_EQ(library.run.status, 0);
      EXPECT_EQ(library.run.out, literal.run.out);
      EXPECT_EQ(library.image, literal.image);
      for (int i = 0; i < 3; ++i) EXPECT_EQ(library.debug[i], literal.debug[i]) << i + 1;
    }
    if (s.width == 480) {
      EXPECT_NE(library.debug[0], "");
      if (s.extra == 0)
        agree = Written(library.image);
      else
        EXPECT_LT(Written(library.image) * 4, agree);  // most pixels disagree
    }
  }
}

TEST(TwoSet, MatricesOfTheWrongSizeAreRefused) {
  TDispImage out(8, 8);
  TImage image(8, 8, kTypeByte, 1, nullptr, 0, 0);
  TMatrix rot(2, 2), shift(2, 1), small(1, 2), column(2, 0);
  const testsupport::ChildResult run = testsupport::RunInChild([&] {
    std::printf(
        "%d %d %d %d",
        out.CalculateCorrelations2Set(&image, &image, &image, &image, small, shift, 0, 4, 1, 0, 0),
        out.CalculateCorrelations2Set3Bands(&image, &image, &image, &image, rot, column, 0, 4, 1, 0,
                                            0),
        out.CalculateCorrelations2Set3BandsHier(&image, &image, &image, &image, nullptr, rot, shift,
                                                0, 4, NAN, 0, 0),
        out.CalculateCorrelations2Set(&image, &image, &image, &image, rot, shift, 0, 4, 1e6, 0, 0));
  });
  EXPECT_EQ(run.out, "0 0 0 0");
}

}  // namespace
