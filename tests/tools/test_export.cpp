// The kluteida program end to end: inputs built byte by byte, the expected
// standard output and files composed from the documented message formats.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

using testsupport::ChildResult;
using testsupport::FileExists;
using testsupport::Le16;
using testsupport::Le32;
using testsupport::Le64;
using testsupport::ReadFile;
using testsupport::RunProgram;
using testsupport::TempDir;
using testsupport::WriteFile;

const std::string kUsage =
    "Usage: <nbr images> <coor 1> <image 1> ... <coor N> <image N> <point.bin> "
    "[-cadre Xmin Xmax Ymin Ymax Zmin Zmax]\n";

template <class... A>
std::string Format(const char* format, A... args) {
  char buf[512];
  int n = std::snprintf(buf, sizeof buf, format, args...);
  return std::string(buf, static_cast<size_t>(n));
}

// ---------------------------------------------------------------------------
// Coordinate rasters: the stored triples, the offset and the origin.

struct P3 {
  int x, y, z;
};

struct Raster {
  int width = 0, height = 0;
  P3 offset{0, 0, 0};
  int x0 = 0, y0 = 0;
  bool origin_line = false;  // third header line present
  std::vector<P3> stored;    // row by row

  // The point at global (x, y), as the raster hands it out.
  P3 At(int x, int y) const {
    int c = x - x0, r = y - y0;
    if (c < 0 || c >= width || r < 0 || r >= height) return {-9999, -9999, -9999};
    P3 p = stored[static_cast<size_t>(r * width + c)];
    if (p.z == 0) return p;
    return {p.x + offset.x, p.y + offset.y, p.z + offset.z};
  }
};

// Writes the coordinate file and its ".dim" header beside it.
void WriteRaster(const std::string& path, const Raster& r) {
  std::string raw;
  for (const P3& p : r.stored)
    raw += Le32(static_cast<unsigned>(p.x)) + Le32(static_cast<unsigned>(p.y)) +
           Le32(static_cast<unsigned>(p.z));
  WriteFile(path, raw);
  std::string dim =
      Format("%d %d 0\n%d %d %d\n", r.width, r.height, r.offset.x, r.offset.y, r.offset.z);
  if (r.origin_line) dim += Format("%d %d \n", r.x0, r.y0);
  WriteFile(path.substr(0, path.rfind('.')) + ".dim", dim);
}

// The two extent lines printed for a raster: the walk looks up the local
// indices 0..width-1, 0..height-1 as global coordinates; the first line holds
// the first valid point, the second the extent of all valid points seen.
std::string ExtentLines(const Raster& r) {
  P3 lo{0, 0, 0}, hi{0, 0, 0};
  bool seeded = false;
  std::vector<P3> seen;
  for (int j = 0; j < r.height; ++j)
    for (int i = 0; i < r.width; ++i) {
      P3 p = r.At(i, j);
      if (p.z <= 0) continue;
      if (!seeded) lo = hi = p, seeded = true;
      seen.push_back(p);
    }
  std::string text = Format("%d %d %d %d %d %d\n", lo.x, hi.x, lo.y, hi.y, lo.z, hi.z);
  for (const P3& p : seen) {
    lo = {std::min(lo.x, p.x), std::min(lo.y, p.y), std::min(lo.z, p.z)};
    hi = {std::max(hi.x, p.x), std::max(hi.y, p.y), std::max(hi.z, p.z)};
  }
  return text + Format("%d %d %d %d %d %d\n", lo.x, hi.x, lo.y, hi.y, lo.z, hi.z);
}

std::string CoordOpening(const std::string& name) {
  return "Opening file " + name + "...  Success\n";
}

// ---------------------------------------------------------------------------
// Byte images in the formats the program takes.

enum class Fmt { kPgm, kTif, kIma, kRvb, kUml };

struct Image {
  int width = 0, height = 0, frames = 1;
  int offset_x = 0, offset_y = 0;     // ima and rvb only
  std::vector<unsigned char> planes;  // planar, frame after frame

  unsigned char At(int band, int x, int y) const {
    return planes[static_cast<size_t>((band * height + y) * width + x)];
  }
};

std::string DimText(const Image& im) {
  std::string dim = Format("%d %d\n", im.width, im.height);
  if (im.offset_x != 0 || im.offset_y != 0)
    dim += Format("-offset_x %d -offset_y %d\n", im.offset_x, im.offset_y);
  return dim;
}

std::string Bytes(const std::vector<unsigned char>& v) { return std::string(v.begin(), v.end()); }

void WriteTiff(const std::string& path, const Image& im) {
  TIFF* tif = TIFFOpen(path.c_str(), "w");
  ASSERT_NE(tif, nullptr);
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(im.width));
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(im.height));
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 1);
  std::vector<unsigned char> row(static_cast<size_t>(im.width));
  for (int y = 0; y < im.height; ++y) {
    for (int x = 0; x < im.width; ++x) row[static_cast<size_t>(x)] = im.At(0, x, y);
    ASSERT_EQ(TIFFWriteScanline(tif, row.data(), static_cast<uint32_t>(y), 0), 1);
  }
  TIFFClose(tif);
}

// Writes the image and returns what the reader prints for it.
std::string WriteImage(const std::string& dir, const std::string& name, Fmt fmt, const Image& im) {
  const std::string path = dir + "/" + name;
  const std::string stem = path.substr(0, path.rfind('.'));
  std::string word;
  switch (fmt) {
    case Fmt::kPgm:
      WriteFile(path, Format("P5\n# grey\n%d %d\n255\n", im.width, im.height) + Bytes(im.planes));
      break;
    case Fmt::kTif:
      WriteTiff(path, im);
      word = Format("Lecture de l'image TIFF <%s>\nLargeurxHauteur : %dx%d\n\n", name.c_str(),
                    im.width, im.height);
      break;
    case Fmt::kIma:
      WriteFile(path, Bytes(im.planes));
      WriteFile(stem + ".dim", DimText(im));
      break;
    case Fmt::kRvb: {
      std::string rows;
      for (int y = 0; y < im.height; ++y)
        for (int x = 0; x < im.width; ++x)
          for (int b = 0; b < 3; ++b) rows += static_cast<char>(im.At(b, x, y));
      WriteFile(path, rows);
      WriteFile(stem + ".dim", DimText(im));
      break;
    }
    case Fmt::kUml:
      WriteFile(path, std::string("\x45\x1F\x01", 3) + Le16(static_cast<unsigned>(im.width)) +
                          Le16(static_cast<unsigned>(im.height)) + std::string(1, '\x08') +
                          Le16(static_cast<unsigned>(im.frames)) + std::string(256, '\0') +
                          Bytes(im.planes));
      word = " uml ";
      break;
  }
  return "Opening file: " + name + "... " + word +
         Format("width: %d, height: %d, Success!\n", im.width, im.height);
}

// ---------------------------------------------------------------------------
// What the program should print and write, derived from the rules: the walk
// over each raster's global grid, the acceptance test, the colour buffer that
// lives for the whole pass.

struct Pair {
  std::string coord_name, image_name;
  Raster raster;
  Image image;
  std::string image_opening;
};

struct Box {
  double v[6];
};

bool Accepted(const P3& p, const Box* box) {
  if (!box) return p.z >= 1;
  return box->v[0] <= p.x && p.x <= box->v[1] && box->v[2] <= p.y && p.y <= box->v[3] &&
         box->v[4] <= p.z && p.z <= box->v[5];
}

struct Expected {
  std::string out, txt, asc;
};

Expected Expect(const std::vector<Pair>& pairs, const Box* box) {
  Expected e;
  int count = 0;
  for (const Pair& pair : pairs) {
    const Raster& r = pair.raster;
    e.out += CoordOpening(pair.coord_name) + ExtentLines(r);
    for (int y = r.y0; y < r.y0 + r.height; ++y)
      for (int x = r.x0; x < r.x0 + r.width; ++x) count += Accepted(r.At(x, y), box);
  }
  e.out += Format("Nombre de points : %d\n", count);
  e.txt = Format("nb points : %d\n", count);
  unsigned char rgb[3] = {0, 0, 0};
  for (const Pair& pair : pairs) {
    const Raster& r = pair.raster;
    const Image& im = pair.image;
    e.out += CoordOpening(pair.coord_name) + pair.image_opening + ExtentLines(r);
    for (int y = r.y0; y < r.y0 + r.height; ++y)
      for (int x = r.x0; x < r.x0 + r.width; ++x) {
        P3 p = r.At(x, y);
        if (!Accepted(p, box)) continue;
        int ix = x - im.offset_x, iy = y - im.offset_y;
        bool inside = ix >= 0 && ix < im.width && iy >= 0 && iy < im.height;
        for (int b = 0; b < std::min(im.frames, 3); ++b) {
          if (inside) rgb[b] = im.At(b, ix, iy);
          if (b == 0) rgb[1] = rgb[2] = rgb[0];
        }
        e.asc +=
            Format("%f %f %f %d %d %d\n", static_cast<double>(static_cast<float>(p.x) / 100.0f),
                   static_cast<double>(static_cast<float>(p.y) / 100.0f),
                   static_cast<double>(static_cast<float>(p.z) / 100.0f), rgb[0], rgb[1], rgb[2]);
      }
  }
  return e;
}

ChildResult RunTool(const TempDir& dir, const std::vector<std::string>& args) {
  return RunProgram(KLUTEIDA_TOOL, args, dir.path());
}

void ExpectRun(const TempDir& dir, const std::vector<std::string>& args, const Expected& e,
               const std::string& out_stem = "out") {
  ChildResult r = RunTool(dir, args);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, e.out);
  EXPECT_EQ(ReadFile(dir.file(out_stem + ".txt")), e.txt);
  EXPECT_TRUE(FileExists(dir.file(out_stem + ".asc")));
  EXPECT_EQ(ReadFile(dir.file(out_stem + ".asc")), e.asc);
  EXPECT_FALSE(FileExists(dir.file(out_stem + ".asc.part")));
}

// A small terrain: offset in the hundreds of metres, empty pixels (stored z 0
// with leftover x and y), and a point whose height the offset brings to 0 or
// below.
Raster Terrain(int width, int height, int x0, int y0) {
  Raster r;
  r.width = width, r.height = height, r.x0 = x0, r.y0 = y0, r.origin_line = x0 || y0;
  r.offset = {6500000, 120000, 15000};
  for (int j = 0; j < height; ++j)
    for (int i = 0; i < width; ++i) r.stored.push_back({i * 50 - 75, -j * 50, 40 * i - 13 * j + 7});
  r.stored[1] = {33, 44, 0};   // no point
  r.stored[2].z = -15000;      // height 0 after the offset
  r.stored.back().z = -15001;  // height -1
  return r;
}

Image Grey(int width, int height, int frames, int seed) {
  Image im;
  im.width = width, im.height = height, im.frames = frames;
  for (int k = 0; k < width * height * frames; ++k)
    im.planes.push_back(static_cast<unsigned char>((seed + 37 * k) % 256));
  return im;
}

// ---------------------------------------------------------------------------

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
    ChildResult r = RunTool(dir, args);
    EXPECT_EQ(r.status, 1) << args.size();
    EXPECT_EQ(r.out, kUsage);
    EXPECT_FALSE(FileExists(dir.file("out.txt")));
  }
}

TEST(Export, NoPairsGiveAnEmptyCloud) {
  TempDir dir;
  // The third argument is extra and ignored.
  ExpectRun(dir, {"0", "out.bin", "x"}, {"Nombre de points : 0\n", "nb points : 0\n", ""});
}

// One raster and its image in each image format; the ima and rvb images sit
// with the raster in a larger grid through their offsets and its origin.
class ExportFormat : public ::testing::TestWithParam<Fmt> {};

TEST_P(ExportFormat, OnePairWholeOutput) {
  const Fmt fmt = GetParam();
  const bool shifted = fmt == Fmt::kIma || fmt == Fmt::kRvb;
  const char* ext[] = {"pgm", "tif", "ima", "rvb", "uml"};
  TempDir dir;
  Pair pair;
  pair.coord_name = "scene.cor";
  pair.image_name = std::string("scene_img.") + ext[static_cast<int>(fmt)];
  pair.raster = Terrain(4, 3, shifted ? 5 : 0, shifted ? 7 : 0);
  pair.image = Grey(4, 3, fmt == Fmt::kRvb ? 3 : 1, 11);
  if (shifted) pair.image.offset_x = 5, pair.image.offset_y = 7;
  WriteRaster(dir.file(pair.coord_name), pair.raster);
  pair.image_opening = WriteImage(dir.path(), pair.image_name, fmt, pair.image);
  ExpectRun(dir, {"1", pair.coord_name, pair.image_name, "out.bin"}, Expect({pair}, nullptr));
}

INSTANTIATE_TEST_SUITE_P(Formats, ExportFormat,
                         ::testing::Values(Fmt::kPgm, Fmt::kTif, Fmt::kIma, Fmt::kRvb, Fmt::kUml));

TEST(Export, TwoPairsShareOneCountAndOneColourBuffer) {
  TempDir dir;
  Pair a, b;
  a.coord_name = "a.cor", a.image_name = "a_img.rvb";
  a.raster = Terrain(3, 2, 0, 0);
  a.image = Grey(3, 2, 3, 5);
  b.coord_name = "b.cor", b.image_name = "b_img.ima";
  b.raster = Terrain(3, 2, 10, 0);
  b.image = Grey(2, 2, 1, 99);
  b.image.offset_x = 11;  // the first column of b is outside its image
  for (Pair* p : {&a, &b}) {
    WriteRaster(dir.file(p->coord_name), p->raster);
    p->image_opening =
        WriteImage(dir.path(), p->image_name, p == &a ? Fmt::kRvb : Fmt::kIma, p->image);
  }
  ExpectRun(dir, {"2", "a.cor", "a_img.rvb", "b.cor", "b_img.ima", "out.bin"},
            Expect({a, b}, nullptr));
}

// Three stored points with a zero offset: (100, 0, 100), (101, 0, 100) and an
// empty pixel (0, 0, 0); grey values 10, 20, 30.
struct BoxCase {
  std::vector<std::string> box_args;
  std::string asc;
};

TEST(Export, BoxBoundsAreInclusiveAndKeepEmptyPixelsInside) {
  const BoxCase cases[] = {
      {{}, "1.000000 0.000000 1.000000 10 10 10\n1.010000 0.000000 1.000000 20 20 20\n"},
      {{"-cadre", "0", "100", "0", "100", "0", "100"},
       "1.000000 0.000000 1.000000 10 10 10\n0.000000 0.000000 0.000000 30 30 30\n"},
      {{"-cadre", "100", "101", "0", "0", "100", "100", "extra"},
       "1.000000 0.000000 1.000000 10 10 10\n1.010000 0.000000 1.000000 20 20 20\n"},
      {{"-cadre", "0", "100", "0", "100", "1", "100"}, "1.000000 0.000000 1.000000 10 10 10\n"},
      {{"-cadre", "nan", "1000", "0", "100", "0", "100"}, ""},  // a NaN bound fails
  };
  for (const BoxCase& c : cases) {
    TempDir dir;
    Raster r;
    r.width = 3, r.height = 1;
    r.stored = std::vector<P3>{{100, 0, 100}, {101, 0, 100}, {0, 0, 0}};
    WriteRaster(dir.file("box.cor"), r);
    Image im = Grey(3, 1, 1, 0);
    im.planes = {10, 20, 30};
    const std::string opening = WriteImage(dir.path(), "box.pgm", Fmt::kPgm, im);
    std::vector<std::string> args = {"1", "box.cor", "box.pgm", "out.bin"};
    args.insert(args.end(), c.box_args.begin(), c.box_args.end());
    const int lines = static_cast<int>(std::count(c.asc.begin(), c.asc.end(), '\n'));
    const std::string extent = "100 100 0 0 100 100\n100 101 0 0 100 100\n";
    Expected e;
    e.out = CoordOpening("box.cor") + extent + Format("Nombre de points : %d\n", lines) +
            CoordOpening("box.cor") + opening + extent;
    e.txt = Format("nb points : %d\n", lines);
    e.asc = c.asc;
    ExpectRun(dir, args, e);
  }
}

TEST(Export, CoordinatesAreDividedInSinglePrecision) {
  TempDir dir;
  Raster r;
  r.width = 1, r.height = 1;
  r.offset = {12000, -300, 900};
  r.stored = std::vector<P3>{{345, 50, 100}};  // (12345, -250, 1000) once the offset is added
  WriteRaster(dir.file("p.cor"), r);
  Image im = Grey(1, 1, 1, 0);
  im.planes = {200};
  const std::string opening = WriteImage(dir.path(), "p.pgm", Fmt::kPgm, im);
  const std::string extent = "12345 12345 -250 -250 1000 1000\n";
  ExpectRun(dir, {"1", "p.cor", "p.pgm", "out.bin"},
            {CoordOpening("p.cor") + extent + extent + "Nombre de points : 1\n" +
                 CoordOpening("p.cor") + opening + extent + extent,
             "nb points : 1\n", "123.449997 -2.500000 10.000000 200 200 200\n"});
}

TEST(Export, ManualSuffixIsDroppedFromTheOutputNames) {
  TempDir dir;
  std::filesystem::create_directory(dir.file("data"));
  Pair p;
  p.coord_name = "m.cor", p.image_name = "m.pgm";
  p.raster = Terrain(2, 2, 0, 0);
  p.image = Grey(2, 2, 1, 3);
  WriteRaster(dir.file("m.cor"), p.raster);
  p.image_opening = WriteImage(dir.path(), "m.pgm", Fmt::kPgm, p.image);
  ExpectRun(dir, {"1", "m.cor", "m.pgm", "data/run_MANU.bin"}, Expect({p}, nullptr), "data/run");
  EXPECT_FALSE(FileExists(dir.file("data/run_MANU.txt")));
}

// Raster columns 0..3, rows 0..1; the grey image covers columns 1..2 only
// (offset_x 1). Pixels outside it take no new value.
TEST(Export, PixelsOutsideTheImageKeepTheBuffer) {
  TempDir dir;
  Raster r;
  r.width = 4, r.height = 2;
  for (int k = 0; k < 8; ++k) r.stored.push_back({k * 100, 0, 100});
  WriteRaster(dir.file("o.cor"), r);
  Image grey = Grey(2, 2, 1, 0);
  grey.planes = {10, 20, 30, 40};
  grey.offset_x = 1;
  const std::string grey_opening = WriteImage(dir.path(), "grey.ima", Fmt::kIma, grey);
  const std::string extent = "0 0 0 0 100 100\n0 700 0 0 100 100\n";
  const std::string txt = "nb points : 8\n";
  const std::string head =
      CoordOpening("o.cor") + extent + "Nombre de points : 8\n" + CoordOpening("o.cor");
  ExpectRun(dir, {"1", "o.cor", "grey.ima", "out.bin"},
            {head + grey_opening + extent, txt,
             "0.000000 0.000000 1.000000 0 0 0\n"  // nothing read yet
             "1.000000 0.000000 1.000000 10 10 10\n"
             "2.000000 0.000000 1.000000 20 20 20\n"
             "3.000000 0.000000 1.000000 20 20 20\n"
             "4.000000 0.000000 1.000000 20 20 20\n"
             "5.000000 0.000000 1.000000 30 30 30\n"
             "6.000000 0.000000 1.000000 40 40 40\n"
             "7.000000 0.000000 1.000000 40 40 40\n"});

  // A colour image: band 0's byte still goes to green and blue, so outside
  // pixels repeat the last red in all three.
  Image rgb = Grey(2, 1, 3, 0);
  rgb.planes = {1, 2, 3, 4, 5, 6};  // pixel 1: (1, 3, 5), pixel 2: (2, 4, 6)
  rgb.offset_x = 1;
  const std::string rgb_opening = WriteImage(dir.path(), "colour.rvb", Fmt::kRvb, rgb);
  ExpectRun(dir, {"1", "o.cor", "colour.rvb", "out.bin"},
            {head + rgb_opening + extent, txt,
             "0.000000 0.000000 1.000000 0 0 0\n"
             "1.000000 0.000000 1.000000 1 3 5\n"
             "2.000000 0.000000 1.000000 2 4 6\n"
             "3.000000 0.000000 1.000000 2 2 2\n"
             "4.000000 0.000000 1.000000 2 2 2\n"
             "5.000000 0.000000 1.000000 2 2 2\n"
             "6.000000 0.000000 1.000000 2 2 2\n"
             "7.000000 0.000000 1.000000 2 2 2\n"});
}

// Images with more bands than colours, and bands wider than a byte: only the
// first byte of each of the first three bands is used. Built as "uml" files.
struct WideCase {
  int type, frames;
  std::string data;  // one pixel per band
  std::string colour;
};

TEST(Export, WideAndManyBandsFillOnlyThreeBytes) {
  const WideCase cases[] = {
      {8, 5, "\x0A\x14\x1E\x28\x32", "10 20 30"},
      {5, 1, Le32(0x3F8000ABu), "171 171 171"},
      {2, 4, Le64(0x01ull) + Le64(0xFFull) + Le64(0x7Full) + Le64(0x55ull), "1 255 127"},
      {5, 2, Le32(0x11223344u) + Le32(0x55667788u), "68 136 68"},
  };
  for (const WideCase& c : cases) {
    TempDir dir;
    Raster r;
    r.width = 1, r.height = 1;
    r.stored = std::vector<P3>{{0, 0, 1}};
    WriteRaster(dir.file("w.cor"), r);
    WriteFile(dir.file("w.uml"), std::string("\x45\x1F\x01", 3) + Le16(1) + Le16(1) +
                                     std::string(1, static_cast<char>(c.type)) +
                                     Le16(static_cast<unsigned>(c.frames)) +
                                     std::string(256, '\0') + c.data);
    const std::string extent = "0 0 0 0 1 1\n0 0 0 0 1 1\n";
    ExpectRun(dir, {"1", "w.cor", "w.uml", "out.bin"},
              {CoordOpening("w.cor") + extent + "Nombre de points : 1\n" + CoordOpening("w.cor") +
                   "Opening file: w.uml...  uml width: 1, height: 1, Success!\n" + extent,
               "nb points : 1\n", "0.000000 0.000000 0.010000 " + c.colour + "\n"});
  }
}

// Failures end the run with status 255 and the reader's message; what is left
// on disk depends on how far the run got.
TEST(Export, FailuresEndWithTheReadersMessage) {
  TempDir dir;
  Pair p;
  p.coord_name = "f.cor", p.image_name = "f.pgm";
  p.raster = Terrain(2, 2, 0, 0);
  p.image = Grey(2, 2, 1, 1);
  WriteRaster(dir.file("f.cor"), p.raster);
  p.image_opening = WriteImage(dir.path(), "f.pgm", Fmt::kPgm, p.image);
  const std::string pass1 = CoordOpening("f.cor") + ExtentLines(p.raster);
  const std::string one = Expect({p}, nullptr).txt;  // "nb points : <n>\n"
  const int n = std::stoi(one.substr(one.find(':') + 2));
  const std::string two = Format("nb points : %d\n", 2 * n);
  const std::string no_image =
      "Opening file: none.pgm...  File opening/reading failed\n. Terminated\n";

  struct Case {
    std::vector<std::string> args;
    std::string out;
    std::string txt;  // empty: no count file
  } cases[] = {
      {{"1", "none.cor", "f.pgm", "out.bin"},
       "Opening file none.cor... Error opening coor or dimention file\n. Terminated\n",
       ""},
      {{"1", "nodot", "f.pgm", "out.bin"}, "Opening file nodot... ER_EXTENSION. Terminated\n", ""},
      {{"1", "f.cor", "f.pgm", "missing/out.bin"},
       pass1 + Format("Nombre de points : %d\n", n) +
           " Cannot create the file missing/out.txt. Terminated\n",
       ""},
      {{"1", "f.cor", "none.pgm", "out.bin"},
       pass1 + Format("Nombre de points : %d\n", n) + CoordOpening("f.cor") + no_image,
       one},
      // The second pair's image is missing: the first pair's lines were
      // already made when the run stops.
      {{"2", "f.cor", "f.pgm", "f.cor", "none.pgm", "out.bin"},
       pass1 + pass1 + Format("Nombre de points : %d\n", 2 * n) + CoordOpening("f.cor") +
           p.image_opening + ExtentLines(p.raster) + CoordOpening("f.cor") + no_image,
       two},
  };
  for (const Case& c : cases) {
    WriteFile(dir.file("out.asc"), "a cloud from an earlier run\n");
    std::remove(dir.file("out.txt").c_str());
    ChildResult r = RunTool(dir, c.args);
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, c.out);
    EXPECT_EQ(FileExists(dir.file("out.txt")), !c.txt.empty());
    if (!c.txt.empty()) {
      EXPECT_EQ(ReadFile(dir.file("out.txt")), c.txt);
    }
    // A run that reached the cloud leaves none behind, neither the earlier
    // one nor a partial one.
    EXPECT_EQ(FileExists(dir.file("out.asc")), c.txt.empty());
    EXPECT_FALSE(FileExists(dir.file("out.asc.part")));
  }
  EXPECT_FALSE(FileExists(dir.file("missing")));
}

}  // namespace
