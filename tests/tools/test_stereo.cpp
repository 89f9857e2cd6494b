// kluteida-stereo end to end on a small pair rendered from the sample scene
// with known cameras: the recovered points against the terrain, the cloud
// against what kluteida writes from the saved raster, the PLY file through an
// independent reader, the preview, and bad arguments and inputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "camera/tcamera.h"
#include "geometry/calc_coord.h"
#include "geometry/tcoord.h"
#include "samples/scene.h"
#include "test_support.h"

using namespace testsupport;

namespace {

constexpr int kWidth = 96, kHeight = 72;
const std::vector<std::string> kArgs = {"left.rvb", "right.rvb", "left.cam", "right.cam",
                                        "out.tif",  "--disparity", "-24:24", "--ply",
                                        "--preview", "out.png"};

// The pair and the results of one run, shared by the tests of the suite.
class Stereo : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new TempDir;
    for (int side = 0; side < 2; ++side) {
      const std::string name = side ? "right" : "left";
      WriteFile(dir_->file(name + ".cam"), sample::CameraFile(side, kWidth, kHeight));
      const TCamera camera(dir_->file(name + ".cam").c_str());
      const sample::View view = sample::Render(camera, kWidth, kHeight);
      dir_->Write({{name + ".rvb", std::string(view.rgb.begin(), view.rgb.end())},
                   {name + ".dim", Format("%d %d\n", kWidth, kHeight)}});
    }
    run_ = new ChildResult(RunProgram(KLUTEIDA_STEREO_TOOL, kArgs, dir_->path()));
  }
  static void TearDownTestSuite() {
    delete run_;
    delete dir_;
  }
  static TempDir* dir_;
  static ChildResult* run_;
};
TempDir* Stereo::dir_ = nullptr;
ChildResult* Stereo::run_ = nullptr;

TEST_F(Stereo, RecoversTheTerrainWithinADisparityStep) {
  ASSERT_EQ(run_->status, 0) << run_->out << run_->err;
  testing::internal::CaptureStdout();
  TCoord raster(dir_->file("out.cor").c_str());
  const TCamera left(dir_->file("left.cam").c_str()), right(dir_->file("right.cam").c_str());
  testing::internal::GetCapturedStdout();
  int textured = 0, recovered = 0;
  std::vector<double> errors;
  for (int row = 0; row < kHeight; ++row)
    for (int col = 0; col < kWidth; ++col) {
      // Textured pixels that the 5 x 5 windows reach (2 from the border).
      const bool inner = row >= 2 && row < kHeight - 2 && col >= 2 && col < kWidth - 2;
      double x, y, z;
      const bool seen = inner && sample::Intersect(left, row, col, &x, &y, &z) &&
                        sample::GroundAt(x, y).textured;
      const TPoint3Di p = raster.GetCoord(col, row);
      textured += seen;
      if (p.z == 0) continue;
      recovered += seen;
      errors.push_back(std::fabs(p.z - sample::GroundAt(p.x, p.y).z));
    }
  const double step = std::fabs(Image2Object(kHeight / 2, kWidth / 2, 1.0, left, right).z -
                                Image2Object(kHeight / 2, kWidth / 2, 0.0, left, right).z);
  std::sort(errors.begin(), errors.end());
  ASSERT_GT(textured, kWidth * kHeight / 2);
  EXPECT_GE(recovered, 0.9 * textured);
  EXPECT_LE(errors[errors.size() / 2], step);
  EXPECT_GT(step, 50);  // centimetres: the pair has real depth resolution
}

TEST_F(Stereo, CloudIsWhatKluteidaWritesFromTheSavedRaster) {
  ASSERT_EQ(run_->status, 0);
  const ChildResult k =
      RunProgram(KLUTEIDA_TOOL, {"1", "out.cor", "left.rvb", "again.bin"}, dir_->path());
  ASSERT_EQ(k.status, 0) << k.out;
  EXPECT_EQ(ReadFile(dir_->file("out.txt")), ReadFile(dir_->file("again.txt")));
  EXPECT_TRUE(ReadFile(dir_->file("out.asc")) == ReadFile(dir_->file("again.asc")));
  EXPECT_GT(ReadFile(dir_->file("out.asc")).size(), 1000u);
}

// Open3D reads the PLY file; its points and colours are those of the cloud
// (the ".asc" holds them in single precision).
TEST_F(Stereo, PlyHoldsTheCloudForAnIndependentReader) {
  ASSERT_EQ(run_->status, 0);
  const std::string script =
      "import open3d, sys\n"
      "c = open3d.io.read_point_cloud(sys.argv[1])\n"
      "for p, q in zip(c.points, c.colors):\n"
      "    print('%.6f %.6f %.6f %d %d %d' % (p[0], p[1], p[2], round(q[0] * 255),"
      " round(q[1] * 255), round(q[2] * 255)))\n";
  WriteFile(dir_->file("read.py"), script);
  const ChildResult py =
      RunProgram("/usr/bin/python3", {"read.py", "out.ply"}, dir_->path());
  ASSERT_EQ(py.status, 0) << py.err;
  std::istringstream ply(py.out), asc(ReadFile(dir_->file("out.asc")));
  double a[6], b[6];
  int n = 0;
  while (asc >> a[0] >> a[1] >> a[2] >> a[3] >> a[4] >> a[5]) {
    ASSERT_TRUE(ply >> b[0] >> b[1] >> b[2] >> b[3] >> b[4] >> b[5]) << n;
    for (int i = 0; i < 3; ++i) ASSERT_NEAR(a[i], b[i], 5e-4) << n;
    for (int i = 3; i < 6; ++i) ASSERT_EQ(a[i], b[i]) << n;
    ++n;
  }
  EXPECT_FALSE(ply >> b[0]);
  EXPECT_GT(n, 1000);
}

TEST_F(Stereo, PreviewIsAPngOfBothPanels) {
  ASSERT_EQ(run_->status, 0);
  const std::string png = ReadFile(dir_->file("out.png"));
  ASSERT_GT(png.size(), 24u);
  EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
  const auto be32 = [&](size_t at) {
    return (static_cast<unsigned char>(png[at]) << 24) |
           (static_cast<unsigned char>(png[at + 1]) << 16) |
           (static_cast<unsigned char>(png[at + 2]) << 8) | static_cast<unsigned char>(png[at + 3]);
  };
  EXPECT_EQ(be32(16), 2u * kWidth + 4);
  EXPECT_EQ(be32(20), static_cast<unsigned>(kHeight));
}

// Bad arguments and inputs: a non-zero status, the reason on standard error,
// and no cloud.
TEST_F(Stereo, BadInputFailsClearlyWithoutACloud) {
  dir_->Write({{"small.rvb", std::string(30 * 20 * 3, '\x40')},
               {"small.dim", "30 20\n"},
               {"grey.pgm", "P5\n# g\n" + Format("%d %d\n255\n", kWidth, kHeight) +
                                std::string(kWidth * kHeight, '\x50')},
               {"flat.cam", "1 0 0 1\n0 0\n0 0\n1 0 0\n0 1 0\n0 0 1\n0 0 1000\n100\n"}});
  const std::vector<std::string> pair = {"left.rvb", "right.rvb", "left.cam", "right.cam"};
  const auto with = [&](std::vector<std::string> head, std::vector<std::string> tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
  };
  const struct {
    std::vector<std::string> args;
    std::string reason;
  } cases[] = {
      {{}, "required"},
      {with(pair, {"bad.tif", "--disparity", "5"}), "--disparity takes MIN:MAX"},
      {with(pair, {"bad.tif", "--disparity", "4:4"}), "is empty"},
      {with(pair, {"bad.tif", "--disparity", "-200:0"}), "must lie in -127 .. 127"},
      {with(pair, {"bad.tif", "--disparity", "-60:60"}), "wider than the images"},
      {with(pair, {"bad.png", "--disparity", "-4:4"}), "OUTPUT must end in"},
      {with(pair, {"bad.tif", "--disparity", "-4:4", "--method", "sgm"}), "--method"},
      {with(pair, {"bad.tif", "--disparity", "-4:4", "--preview", "p.jpg"}), ".png"},
      {{"none.rvb", "right.rvb", "left.cam", "right.cam", "bad.tif", "--disparity", "-4:4"},
       "none.rvb"},
      {{"left.rvb", "small.rvb", "left.cam", "right.cam", "bad.tif", "--disparity", "-4:4"},
       "differ in size"},
      {{"grey.pgm", "grey.pgm", "left.cam", "right.cam", "bad.tif", "--disparity", "-4:4",
        "--method", "3band"},
       "three bands"},
      {{"left.rvb", "right.rvb", "left.cam", "left.cam", "bad.tif", "--disparity", "-4:4"},
       "no base"},
      {{"left.rvb", "right.rvb", "flat.cam", "right.cam", "bad.tif", "--disparity", "-4:4"},
       "film x"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reason);
    const ChildResult r = RunProgram(KLUTEIDA_STEREO_TOOL, c.args, dir_->path());
    EXPECT_NE(r.status, 0);
    EXPECT_NE(r.err.find(c.reason), std::string::npos) << r.err;
    EXPECT_FALSE(FileExists(dir_->file("bad.asc")));
    EXPECT_FALSE(FileExists(dir_->file("bad.ply")));
  }
  for (const char* flag : {"--help", "--version"}) {
    const ChildResult r = RunProgram(KLUTEIDA_STEREO_TOOL, {flag}, dir_->path());
    EXPECT_EQ(r.status, 0) << flag;
    EXPECT_NE(r.out.find("kluteida-stereo"), std::string::npos) << flag;
  }
}

}  // namespace
