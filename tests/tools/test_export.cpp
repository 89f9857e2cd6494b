// The kluteida program end to end: inputs built byte by byte, the expected
// standard output and files worked out by hand.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "geometry/coordextent.h"
#include "geometry/tcoord.h"
#include "geometry/tcoordfile.h"
#include "image/timage.h"
#include "test_support.h"
#include "tools/cloud_file.h"

using namespace testsupport;

namespace {

using Points = std::vector<std::array<int, 3>>;
const std::string kUsage =
    "Usage: <nbr images> <coor 1> <image 1> ... <coor N> <image N> <point.bin> "
    "[-cadre Xmin Xmax Ymin Ymax Zmin Zmax]\n";

// A coordinate raster "<stem>.cor" with its header "<stem>.dim".
void WriteRaster(const TempDir& dir, const std::string& stem, const std::string& dim,
                 const Points& stored) {
  dir.Write({{stem + ".cor", CoordBytes(stored)}, {stem + ".dim", dim}});
}

// Standard output of a run over one pair whose raster has the given extent lines.
std::string OnePairOut(const std::string& cor, const std::string& extent, int count,
                       const std::string& image_opening) {
  return CoordOpened(cor) + extent + Format("Nombre de points : %d\n", count) + CoordOpened(cor) +
         image_opening + extent;
}

void ExpectRun(const TempDir& dir, const std::vector<std::string>& args, const std::string& out,
               const std::string& txt, const std::string& asc, const std::string& stem = "out") {
  ChildResult r = RunProgram(KLUTEIDA_TOOL, args, dir.path());
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, out);
  EXPECT_EQ(ReadFile(dir.file(stem + ".txt")), txt);
  EXPECT_TRUE(FileExists(dir.file(stem + ".asc")));
  EXPECT_EQ(ReadFile(dir.file(stem + ".asc")), asc);
  EXPECT_FALSE(FileExists(dir.file(stem + ".asc.part")));
}

// A 2 x 2 raster with offset (12000, -300, 900): global points
// (12345, -250, 1000) and (12025, -325, 905) at local (0, 0) and (1, 1), an
// empty pixel (stored z 0 with leftover x and y) and a height of 0 after the offset.
const Points kScene = {{345, 50, 100}, {7, 8, 0}, {-5, 0, -900}, {25, -25, 5}};
const std::string kSceneDim = "2 2 0\n12000 -300 900\n";
const std::string kSceneExtent =
    "12345 12345 -250 -250 1000 1000\n12025 12345 -325 -250 905 1000\n";
const std::string kGrey = "\x0A\x14\x1E\x28";  // 10 20 / 30 40

std::string SceneAsc(const std::string& first, const std::string& last) {
  return "123.449997 -2.500000 10.000000 " + first + "\n120.250000 -3.250000 9.050000 " + last +
         "\n";
}

TEST(Export, TooFewOrInconsistentArgumentsPrintTheUsage) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"1"},
      {"1", "a.cor"},                                       // two arguments
      {"2", "a.cor", "a.pgm", "out.bin"},                   // N larger than the pairs given
      {"1", "a.cor", "a.pgm"},                              // no output name
      {"-1", "a.cor", "out.bin"},                           // negative N
      {"0", "out.bin", "-cadre", "1", "2", "3", "4", "5"},  // five box values
  };
  for (const auto& args : cases) {
    TempDir dir;
    ChildResult r = RunProgram(KLUTEIDA_TOOL, args, dir.path());
    EXPECT_EQ(r.status, 1) << args.size();
    EXPECT_EQ(r.out, kUsage);
    EXPECT_FALSE(FileExists(dir.file("out.txt")));
  }
}

TEST(Export, NoPairsGiveAnEmptyCloud) {
  TempDir dir;
  // The third argument is extra and ignored.
  ExpectRun(dir, {"0", "out.bin", "x"}, "Nombre de points : 0\n", "nb points : 0\n", "");
}

// The scene with its image in each format. The ima and rvb images sit at
// offset (5, 7), where the raster's origin puts it too; the walk of the
// extent then looks up global pixels outside the raster and finds nothing.
// The uml run also drops "_MANU" from its output names.
TEST(Export, OnePairInEachImageFormat) {
  const std::string rgb = "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C";
  const std::string shifted = "2 2\n-offset_x 5 -offset_y 7\n";
  const struct {
    std::string image;
    Files files;
    std::string word, first, last, stem;
  } cases[] = {
      {"img.pgm",
       {{"img.pgm", "P5\n# grey\n2 2\n255\n" + kGrey}},
       "",
       "10 10 10",
       "40 40 40",
       "out"},
      {"img.tif",
       {},
       "Lecture de l'image TIFF <img.tif>\nLargeurxHauteur : 2x2\n\n",
       "10 10 10",
       "40 40 40",
       "out"},
      {"img.uml",
       {{"img.uml", UmlHeader(2, 2, 8, 1) + kGrey}},
       " uml ",
       "10 10 10",
       "40 40 40",
       "data/run"},
      {"img.ima", {{"img.ima", kGrey}, {"img.dim", shifted}}, "", "10 10 10", "40 40 40", "out"},
      {"img.rvb", {{"img.rvb", rgb}, {"img.dim", shifted}}, "", "1 2 3", "10 11 12", "out"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.image);
    TempDir dir;
    std::filesystem::create_directory(dir.file("data"));
    const bool origin = c.files.size() == 2;  // the image's .dim gives offset (5, 7)
    WriteRaster(dir, "scene", kSceneDim + (origin ? "5 7 \n" : ""), kScene);
    dir.Write(c.files);
    if (c.files.empty()) WriteTiff(dir.file(c.image), 2, 2, kGrey);
    const std::string extent = origin ? "0 0 0 0 0 0\n0 0 0 0 0 0\n" : kSceneExtent;
    ExpectRun(dir, {"1", "scene.cor", c.image, c.stem + (c.stem == "out" ? ".bin" : "_MANU.bin")},
              OnePairOut("scene.cor", extent, 2,
                         ImageOpening(c.image, c.word + "width: 2, height: 2, Success!\n")),
              "nb points : 2\n", SceneAsc(c.first, c.last), c.stem);
  }
}

// Two pairs over one 4 x 2 raster at x = 0, 100, ..., 700 (z 100): one count,
// and one colour buffer for the whole pass. The grey image covers columns
// 1..2 and the colour one columns 1..2 of row 0; pixels outside take no new
// value, but band 0 still goes to green and blue.
TEST(Export, PixelsOutsideTheImageKeepTheBufferAcrossPairs) {
  TempDir dir;
  Points stored;
  for (int k = 0; k < 8; ++k) stored.push_back({k * 100, 0, 100});
  WriteRaster(dir, "o", "4 2 0\n0 0 0\n", stored);
  dir.Write({{"grey.ima", kGrey},
             {"grey.dim", "2 2\n-offset_x 1 -offset_y 0\n"},
             {"colour.rvb", "\x01\x03\x05\x02\x04\x06"},
             {"colour.dim", "2 1\n-offset_x 1 -offset_y 0\n"}});
  const char* colours[] = {"0 0 0",    "10 10 10", "20 20 20", "20 20 20", "20 20 20", "30 30 30",
                           "40 40 40", "40 40 40", "40 40 40", "1 3 5",    "2 4 6",    "2 2 2",
                           "2 2 2",    "2 2 2",    "2 2 2",    "2 2 2"};
  std::string asc;
  for (int k = 0; k < 16; ++k) asc += Format("%d.000000 0.000000 1.000000 %s\n", k % 8, colours[k]);
  const std::string extent = "0 0 0 0 100 100\n0 700 0 0 100 100\n";
  ExpectRun(dir, {"2", "o.cor", "grey.ima", "o.cor", "colour.rvb", "out.bin"},
            CoordOpened("o.cor") + extent + CoordOpened("o.cor") + extent +
                "Nombre de points : 16\n" + CoordOpened("o.cor") +
                ImageOpening("grey.ima", "width: 2, height: 2, Success!\n") + extent +
                CoordOpened("o.cor") +
                ImageOpening("colour.rvb", "width: 2, height: 1, Success!\n") + extent,
            "nb points : 16\n", asc);
}

// Stored points (100, 0, 100), (101, 0, 100) and an empty pixel (0, 0, 0),
// zero offset; grey values 10, 20, 30.
TEST(Export, BoxBoundsAreInclusiveAndKeepEmptyPixelsInside) {
  const std::string a = "1.000000 0.000000 1.000000 10 10 10\n",
                    b = "1.010000 0.000000 1.000000 20 20 20\n",
                    empty = "0.000000 0.000000 0.000000 30 30 30\n";
  const struct {
    std::vector<std::string> box;
    std::string asc;
  } cases[] = {
      {{"-cadre", "0", "100", "0", "100", "0", "100"}, a + empty},
      {{"-cadre", "100", "101", "0", "0", "100", "100", "extra"}, a + b},
      {{"-cadre", "0", "100", "0", "100", "1", "100"}, a},
      {{"-cadre", "nan", "1000", "0", "100", "0", "100"}, ""},  // a NaN bound fails
  };
  for (const auto& c : cases) {
    TempDir dir;
    WriteRaster(dir, "box", "3 1 0\n0 0 0\n", {{100, 0, 100}, {101, 0, 100}, {0, 0, 0}});
    dir.Write({{"box.pgm", "P5\n# c\n3 1\n255\n\x0A\x14\x1E"}});
    std::vector<std::string> args = {"1", "box.cor", "box.pgm", "out.bin"};
    args.insert(args.end(), c.box.begin(), c.box.end());
    const int n = static_cast<int>(std::count(c.asc.begin(), c.asc.end(), '\n'));
    ExpectRun(dir, args,
              OnePairOut("box.cor", "100 100 0 0 100 100\n100 101 0 0 100 100\n", n,
                         ImageOpening("box.pgm", "width: 3, height: 1, Success!\n")),
              Format("nb points : %d\n", n), c.asc);
  }
}

// More bands than colours, and bands wider than a byte: only the first byte
// of each of the first three bands is used. Built as "uml" files.
TEST(Export, WideAndManyBandsFillOnlyThreeBytes) {
  const struct {
    unsigned type, frames;
    std::string data;  // one pixel per band
    std::string colour;
  } cases[] = {
      {8, 5, "\x0A\x14\x1E\x28\x32", "10 20 30"},
      {5, 1, Le32(0x3F8000ABu), "171 171 171"},
      {2, 4, Le64(0x01) + Le64(0xFF) + Le64(0x7F) + Le64(0x55), "1 255 127"},
      {5, 2, Le32(0x11223344u) + Le32(0x55667788u), "68 136 68"},
  };
  for (const auto& c : cases) {
    TempDir dir;
    WriteRaster(dir, "w", "1 1 0\n0 0 0\n", {{0, 0, 1}});
    dir.Write({{"w.uml", UmlHeader(1, 1, c.type, c.frames) + c.data}});
    ExpectRun(dir, {"1", "w.cor", "w.uml", "out.bin"},
              OnePairOut("w.cor", "0 0 0 0 1 1\n0 0 0 0 1 1\n", 1,
                         ImageOpening("w.uml", " uml width: 1, height: 1, Success!\n")),
              "nb points : 1\n", "0.000000 0.000000 0.010000 " + c.colour + "\n");
  }
}

// Failures end the run with status 255 and the reader's message; what is left
// on disk depends on how far the run got.
TEST(Export, FailuresEndWithTheReadersMessage) {
  TempDir dir;
  WriteRaster(dir, "scene", kSceneDim, kScene);
  dir.Write({{"img.pgm", "P5\n# grey\n2 2\n255\n" + kGrey}});
  const std::string pass1 = CoordOpened("scene.cor") + kSceneExtent;
  const std::string no_image = ImageOpening("none.pgm", Fatal("File opening/reading failed\n"));
  const struct {
    std::vector<std::string> args;
    std::string out;
    std::string txt;  // empty: no count file
  } cases[] = {
      {{"1", "none.cor", "img.pgm", "out.bin"},
       "Opening file none.cor..." + Fatal("Error opening coor or dimention file\n"),
       ""},
      {{"1", "nodot", "img.pgm", "out.bin"}, "Opening file nodot..." + Fatal("ER_EXTENSION"), ""},
      {{"1", "scene.cor", "img.pgm", "missing/out.bin"},
       pass1 + "Nombre de points : 2\n" + Fatal("Cannot create the file missing/out.txt"),
       ""},
      {{"1", "scene.cor", "none.pgm", "out.bin"},
       pass1 + "Nombre de points : 2\n" + CoordOpened("scene.cor") + no_image,
       "nb points : 2\n"},
      // The second pair's image is missing: the first pair's lines were
      // already made when the run stops.
      {{"2", "scene.cor", "img.pgm", "scene.cor", "none.pgm", "out.bin"},
       pass1 + pass1 + "Nombre de points : 4\n" + CoordOpened("scene.cor") +
           ImageOpening("img.pgm", "width: 2, height: 2, Success!\n") + kSceneExtent +
           CoordOpened("scene.cor") + no_image,
       "nb points : 4\n"},
  };
  for (const auto& c : cases) {
    WriteFile(dir.file("out.asc"), "a cloud from an earlier run\n");
    std::remove(dir.file("out.txt").c_str());
    ChildResult r = RunProgram(KLUTEIDA_TOOL, c.args, dir.path());
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(ReadFile(dir.file("out.txt")), c.txt);
    EXPECT_EQ(FileExists(dir.file("out.txt")), !c.txt.empty());
    // A run that reached the cloud leaves none behind, neither the earlier
    // one nor a partial one.
    EXPECT_EQ(FileExists(dir.file("out.asc")), c.txt.empty());
    EXPECT_FALSE(FileExists(dir.file("out.asc.part")));
  }
  EXPECT_FALSE(FileExists(dir.file("missing")));
}

// Three pairs large enough for many chunks of lines on both threads: a raster
// wider than a chunk (one row each), colour, 16-bit and grey images that
// cover only some rows of their rasters, so that chunks start outside the
// image and carry the colour over from the chunk before, across pairs too,
// and rows wholly inside the image hand their last colour to rows outside.
class LargeExport : public ::testing::Test {
 protected:
  void SetUp() override {
    Points a, b, c;
    for (int j = 0; j < 240; ++j)
      for (int i = 0; i < 300; ++i)
        a.push_back({i * 37 - 5000, -j * 11, (i * 7 + j * 13) % 5 == 0 ? 0 : (i + j) % 41 - 3});
    for (int j = 0; j < 3; ++j)
      for (int i = 0; i < 40000; ++i) b.push_back({i, j * 1000003, 100 + i % 977});
    for (int k = 0; k < 1600; ++k) c.push_back({k % 40 * 25, k / 40 * 25, 250 + k});
    WriteRaster(dir_, "a", "300 240 0\n1000 -2000 300\n", a);
    WriteRaster(dir_, "b", "40000 3 0\n0 0 0\n-39990 5\n", b);
    WriteRaster(dir_, "c", "40 40 0\n-7 8 -9\n", c);
    std::string rvb, wide, grey;
    for (int k = 0; k < 300 * 100 * 3; ++k) rvb += static_cast<char>(k * 7 % 251);
    for (int k = 0; k < 5 * 4; ++k) wide += Le16(0x1234 * k);
    for (int k = 0; k < 40 * 30; ++k) grey += static_cast<char>(k % 256);
    dir_.Write({{"ai.rvb", rvb},
                {"ai.dim", "300 100\n-offset_x 0 -offset_y 10\n"},
                {"b.uml", UmlHeader(5, 4, 9, 1) + wide},
                {"c.pgm", "P5\n# c\n40 30\n255\n" + grey}});
  }

  // The cloud worked out point by point with printf, one colour carried
  // through every pair, each band read through GetIntensity.
  std::string PlainCloud(int* count) {
    std::string asc;
    unsigned char rgb[3] = {0, 0, 0};
    *count = 0;
    for (std::size_t pair = 0; pair < 3; ++pair) {
      testing::internal::CaptureStdout();
      TCoord coord(dir_.file(args_[1 + 2 * pair]).c_str());
      TImage image(dir_.file(args_[2 + 2 * pair]).c_str());
      testing::internal::GetCapturedStdout();
      for (int y = coord.y0; y < coord.y0 + coord.height; ++y)
        for (int x = coord.x0; x < coord.x0 + coord.width; ++x) {
          const TPoint3Di p = coord.GetCoord(x, y);
          if (p.z < 1) continue;
          unsigned char value[8];
          for (int band = 0; band < std::min<int>(image.frames, 3); ++band) {
            if (image.GetIntensity(x, y, value, band)) rgb[band] = value[0];
            if (band == 0) rgb[1] = rgb[2] = rgb[0];
          }
          asc += Format("%f %f %f %d %d %d\n", static_cast<double>(p.x / 100.0f),
                        static_cast<double>(p.y / 100.0f), static_cast<double>(p.z / 100.0f),
                        rgb[0], rgb[1], rgb[2]);
          ++*count;
        }
    }
    return asc;
  }

  const std::vector<std::string> args_ = {"3",     "a.cor", "ai.rvb", "b.cor",
                                          "b.uml", "c.cor", "c.pgm",  "out.bin"};
  TempDir dir_;
};

TEST_F(LargeExport, GivesTheBytesOfThePlainPath) {
  int count = 0;
  const std::string asc = PlainCloud(&count);
  ASSERT_GT(asc.size(), 2u << 20);  // several chunks on each thread
  ChildResult r = RunProgram(KLUTEIDA_TOOL, args_, dir_.path());
  EXPECT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(ReadFile(dir_.file("out.txt")), Format("nb points : %d\n", count));
  EXPECT_TRUE(ReadFile(dir_.file("out.asc")) == asc);
}

// A disk that fills up after the first megabyte: the run prints what a
// complete run prints up to the extent of the pair it stopped in, then ends
// with ER_FILE_WRITE, and neither the earlier cloud nor a partial one is left.
TEST_F(LargeExport, AWriteFailingMidwayLeavesNoCloud) {
  const std::string complete = RunProgram(KLUTEIDA_TOOL, args_, dir_.path()).out;
  WriteFile(dir_.file("out.asc"), "a cloud from an earlier run\n");
  ChildResult r = RunInChild([&] {
    const rlimit limit{1 << 20, 1 << 20};
    std::signal(SIGXFSZ, SIG_IGN);  // a write beyond the limit fails with EFBIG
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0 || chdir(dir_.path().c_str()) != 0) _exit(127);
    std::vector<char*> argv{const_cast<char*>(KLUTEIDA_TOOL)};
    for (const std::string& a : args_) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(KLUTEIDA_TOOL, argv.data());
    _exit(127);
  });
  EXPECT_EQ(r.status, 255);
  // What a complete run prints up to the end of a pair, then the message.
  const std::string end = Fatal("ER_FILE_WRITE");
  ASSERT_GE(r.out.size(), end.size());
  const std::string before = r.out.substr(0, r.out.size() - end.size());
  EXPECT_EQ(r.out.substr(before.size()), end);
  EXPECT_GT(before.size(), complete.find("Nombre"));
  EXPECT_EQ(complete.substr(0, before.size()), before);
  EXPECT_TRUE(before.size() == complete.size() ||
              complete.compare(before.size(), 13, "Opening file ") == 0);
  EXPECT_TRUE(FileExists(dir_.file("out.txt")));
  EXPECT_FALSE(FileExists(dir_.file("out.asc")));
  EXPECT_FALSE(FileExists(dir_.file("out.asc.part")));
}

// A raster cut short by someone else while its lines are made: the rows that
// can no longer be read end the run with ER_FILE_READ, and no cloud is left.
TEST_F(LargeExport, ARasterCutShortMidwayLeavesNoCloud) {
  WriteFile(dir_.file("out.asc"), "a cloud from an earlier run\n");
  ChildResult r = RunInChild([&] {
    if (chdir(dir_.path().c_str()) != 0) _exit(127);
    PointCloudFile cloud("out.asc");
    TCoordFile raster("a.cor");
    TImage image("ai.rvb");
    if (truncate("a.cor", 12 * 300 * 200) != 0) _exit(127);  // the last 40 of 240 rows
    CoordExtent extent(raster.offset);
    if (!cloud.AddPair(raster, image, nullptr, &extent)) cloud.Fail();
  });
  EXPECT_EQ(r.status, 255);
  const std::string end = Fatal("ER_FILE_READ");
  EXPECT_EQ(r.out.substr(r.out.size() - std::min(r.out.size(), end.size())), end);
  EXPECT_FALSE(FileExists(dir_.file("out.asc")));
  EXPECT_FALSE(FileExists(dir_.file("out.asc.part")));
}

}  // namespace
