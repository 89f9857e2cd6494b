// The coordinate raster: its file pair, pixel access, extent and saving.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "geometry/tcoord.h"
#include "geometry_test_util.h"
#include "test_support.h"

using geotest::Xyz;
using testsupport::Le32;
using testsupport::ReadFile;
using testsupport::RunInChild;
using testsupport::TempDir;
using testsupport::WriteFile;

namespace {

using Xyz3 = std::array<int, 3>;

std::string Elem(int x, int y, int z) {
  return Le32(static_cast<unsigned>(x)) + Le32(static_cast<unsigned>(y)) +
         Le32(static_cast<unsigned>(z));
}

std::string Elems(const std::vector<Xyz3>& points) {
  std::string bytes;
  for (const Xyz3& p : points) bytes += Elem(p[0], p[1], p[2]);
  return bytes;
}

// A 3 x 2 raster with type 7, offset (100, 200, 300) and origin (5, 7).
const std::vector<Xyz3> kSample = {{1, 2, 3}, {3, 4, 0},  {5, 6, -1},
                                   {0, 0, 0}, {-7, 8, 9}, {INT_MAX, 0, 1}};
const char kSampleHeader[] = "3 2 7\n100 200 300\n5 7\n";

const char kDeath[] = ". Terminated\n";

TEST(CoordRead, FilePairWithOffsetOriginAndOutsideRule) {
  TempDir dir;
  const std::string name = dir.file("left.cor");
  WriteFile(dir.file("left.dim"), kSampleHeader);
  WriteFile(name, Elems(kSample));

  auto r = RunInChild([&] { TCoord c(name.c_str()); });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "Opening file " + name + "...  Success\n");

  TCoord c(name.c_str());
  EXPECT_EQ(c.width, 3);
  EXPECT_EQ(c.height, 2);
  EXPECT_EQ(c.type, 7);
  EXPECT_EQ(Xyz(c.offset), (Xyz3{100, 200, 300}));
  EXPECT_EQ(c.x0, 5);
  EXPECT_EQ(c.y0, 7);
  EXPECT_EQ(Xyz(c.min), (Xyz3{0, 0, 0}));
  EXPECT_EQ(Xyz(c.max), (Xyz3{0, 0, 0}));
  EXPECT_EQ(c.BytesPerCoord(), 12);

  const struct {
    int x, y;
    Xyz3 point;
    int set;
  } pixels[] = {
      {5, 7, {101, 202, 303}, 1},
      {6, 7, {3, 4, 0}, 0},  // no point: returned raw
      {7, 7, {105, 206, 299}, 1},
      {5, 8, {0, 0, 0}, 0},
      {6, 8, {93, 208, 309}, 1},
      {7, 8, {INT_MIN + 99, 200, 301}, 1},  // the offset wraps around
      {4, 7, {-9999, -9999, -9999}, 1},     // outside answers "set" too
      {8, 7, {-9999, -9999, -9999}, 1},
      {5, 6, {-9999, -9999, -9999}, 1},
      {5, 9, {-9999, -9999, -9999}, 1},
      {0, 0, {-9999, -9999, -9999}, 1},
      {INT_MIN, INT_MIN, {-9999, -9999, -9999}, 1},
      {INT_MAX, INT_MAX, {-9999, -9999, -9999}, 1},
  };
  for (const auto& p : pixels) {
    EXPECT_EQ(Xyz(c.GetCoord(p.x, p.y)), p.point) << p.x << "," << p.y;
    EXPECT_EQ(c.Set(p.x, p.y), p.set) << p.x << "," << p.y;
  }
}

TEST(CoordRead, HeaderVariants) {
  const struct {
    const char* header;
    int width, height, type;
    Xyz3 offset;
    int x0, y0;
  } cases[] = {
      {"2 1 0\n1 2 3\n", 2, 1, 0, {1, 2, 3}, 0, 0},
      {"2 1 0\n1 2 3\n5 7\n", 2, 1, 0, {1, 2, 3}, 5, 7},
      {"2 1 0\n1 2 3\n-5 -7", 2, 1, 0, {1, 2, 3}, -5, -7},
      {"2   1\t0\n 1 2 3 \n\n\n   5 7 9\n", 2, 1, 0, {1, 2, 3}, 5, 7},
      {"2 1 300\n0 0 0\n5\n", 2, 1, 44, {0, 0, 0}, 5, 0},
      // Missing or garbage numbers: what could not be read stays 0.
      {"2 1\n", 2, 1, 0, {0, 0, 0}, 0, 0},
      {"2 1 0\n7 x 9\n", 2, 1, 0, {7, 0, 0}, 0, 0},
      {"2 1 0\n1 2 3\nabc 4\n", 2, 1, 0, {1, 2, 3}, 0, 0},
      {"abc\n", 0, 0, 0, {0, 0, 0}, 0, 0},
      {"", 0, 0, 0, {0, 0, 0}, 0, 0},
      {"2\n", 2, 0, 0, {0, 0, 0}, 0, 0},
      // Dimensions are kept in 16 bits.
      {"65536 1 0\n0 0 0\n", 0, 1, 0, {0, 0, 0}, 0, 0},
      {"65538 1 0\n0 0 0\n", 2, 1, 0, {0, 0, 0}, 0, 0},
  };
  for (const auto& c : cases) {
    TempDir dir;
    const std::string name = dir.file("r.cor");
    WriteFile(dir.file("r.dim"), c.header);
    WriteFile(name, Elem(10, 20, 30) + Elem(40, 50, 60));
    auto run = RunInChild([&] { TCoord coord(name.c_str()); });
    EXPECT_EQ(run.status, 0) << c.header;
    EXPECT_EQ(run.out, "Opening file " + name + "...  Success\n") << c.header;

    TCoord coord(name.c_str());
    EXPECT_EQ(coord.width, c.width) << c.header;
    EXPECT_EQ(coord.height, c.height) << c.header;
    EXPECT_EQ(coord.type, c.type) << c.header;
    EXPECT_EQ(Xyz(coord.offset), c.offset) << c.header;
    EXPECT_EQ(coord.x0, c.x0) << c.header;
    EXPECT_EQ(coord.y0, c.y0) << c.header;
    EXPECT_EQ(coord.data.size(), static_cast<std::size_t>(c.width) * c.height) << c.header;
    if (c.width * c.height > 0) {
      const TPoint3Di first = coord.GetCoord(c.x0, c.y0);
      EXPECT_EQ(Xyz(first), (Xyz3{10 + c.offset[0], 20 + c.offset[1], 30 + c.offset[2]}));
    } else {
      EXPECT_EQ(Xyz(coord.GetCoord(0, 0)), (Xyz3{-9999, -9999, -9999})) << c.header;
    }
  }
}

TEST(CoordRead, NegativeWidthMeansAWide16BitRaster) {
  TempDir dir;
  const std::string name = dir.file("wide.cor");
  WriteFile(dir.file("wide.dim"), "-1 1 0\n0 0 0\n");
  std::string bytes(65534 * 12, '\0');
  bytes += Elem(1, 2, 3);
  WriteFile(name, bytes);
  TCoord c(name.c_str());
  EXPECT_EQ(c.width, 65535);
  EXPECT_EQ(Xyz(c.GetCoord(65534, 0)), (Xyz3{1, 2, 3}));
  EXPECT_EQ(Xyz(c.GetCoord(65535, 0)), (Xyz3{-9999, -9999, -9999}));
}

TEST(CoordRead, FailuresEndTheProcess) {
  TempDir dir;
  const std::string ok = dir.file("ok.cor");
  WriteFile(dir.file("ok.dim"), "2 2 0\n0 0 0\n");
  WriteFile(ok, Elems({{1, 1, 1}, {2, 2, 2}, {3, 3, 3}, {4, 4, 4}}));
  const std::string short_one = dir.file("short.cor");
  WriteFile(dir.file("short.dim"), "2 2 0\n0 0 0\n");
  WriteFile(short_one, Elems({{1, 1, 1}, {2, 2, 2}, {3, 3, 3}}) + "12345678901");
  const std::string absurd = dir.file("absurd.cor");
  WriteFile(dir.file("absurd.dim"), "65535 65535 0\n0 0 0\n");
  WriteFile(absurd, Elem(1, 1, 1));
  // A directory opens but cannot be read.
  const std::string directory = dir.file("isdir.cor");
  mkdir(directory.c_str(), 0755);
  WriteFile(dir.file("isdir.dim"), "1 1 0\n0 0 0\n");
  const std::string no_header = dir.file("lonely.cor");
  WriteFile(no_header, Elem(1, 1, 1));
  const std::string no_coords = dir.file("ghost.cor");
  WriteFile(dir.file("ghost.dim"), "1 1 0\n0 0 0\n");

  const struct {
    std::string name;
    std::string message;
  } cases[] = {
      {no_header, " Error opening coor or dimention file\n"},
      {no_coords, " ER_FILE_OPEN"},
      {short_one, " ER_FILE_READ"},
      {absurd, " ER_FILE_READ"},
      {directory, " ER_FILE_READ"},
  };
  for (const auto& c : cases) {
    auto r = RunInChild([&] { TCoord coord(c.name.c_str()); });
    EXPECT_EQ(r.status, 255) << c.name;
    EXPECT_EQ(r.out, "Opening file " + c.name + "..." + c.message + kDeath) << c.name;
  }
  auto r = RunInChild([&] { TCoord coord(ok.c_str()); });
  EXPECT_EQ(r.status, 0);

  // The scratch directory's own path holds dots: work inside it.
  WriteFile(dir.file("nodot"), Elem(1, 1, 1));
  r = RunInChild([&] {
    if (chdir(dir.path().c_str()) == 0) TCoord coord("nodot");
  });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, std::string("Opening file nodot... ER_EXTENSION") + kDeath);
}

TEST(CoordRead, HeaderNameCutAtLastDotOfWholePath) {
  TempDir dir;
  mkdir(dir.file("dir.d").c_str(), 0755);
  // No '.' in the file's own name: the cut falls inside the directory's name.
  WriteFile(dir.file("dir.d/raster"), Elem(1, 2, 3));
  WriteFile(dir.file("dir.dim"), "1 1 0\n0 0 0\n");
  WriteFile(dir.file("dir.d/raster.cor"), Elem(4, 5, 6));
  WriteFile(dir.file("dir.d/raster.dim"), "1 1 0\n10 10 10\n");

  TCoord plain(dir.file("dir.d/raster").c_str());
  EXPECT_EQ(Xyz(plain.GetCoord(0, 0)), (Xyz3{1, 2, 3}));
  TCoord with_extension(dir.file("dir.d/raster.cor").c_str());
  EXPECT_EQ(Xyz(with_extension.GetCoord(0, 0)), (Xyz3{14, 15, 16}));

  // Names far longer than a line of text.
  const std::string deep = dir.file(std::string(200, 'd') + ".v1");
  mkdir(deep.c_str(), 0755);
  const std::string name = deep + "/" + std::string(150, 'n') + ".cor";
  WriteFile(name, Elem(7, 8, 9));
  WriteFile(deep + "/" + std::string(150, 'n') + ".dim", "1 1 0\n0 0 0\n");
  TCoord long_named(name.c_str());
  EXPECT_EQ(Xyz(long_named.GetCoord(0, 0)), (Xyz3{7, 8, 9}));
  const std::string copy = deep + "/" + std::string(150, 'c') + ".cor";
  EXPECT_EQ(long_named.Save(copy.c_str(), 0, 0, 0, 0), 1);
  EXPECT_EQ(ReadFile(copy), Elem(7, 8, 9));
  EXPECT_EQ(ReadFile(deep + "/" + std::string(150, 'c') + ".dim"), "1 1 0\n0 0 0\n0 0 \n");
}

TEST(CoordMemory, ConstructionAndStoring) {
  TCoord c(3, 2, 4, TPoint3Di(100, 200, 300), 10, 20);
  EXPECT_EQ(c.width, 3);
  EXPECT_EQ(c.height, 2);
  EXPECT_EQ(c.type, 4);
  ASSERT_EQ(c.data.size(), 6u);
  for (const TPoint3Di& e : c.data) EXPECT_EQ(Xyz(e), (Xyz3{0, 0, 0}));
  EXPECT_EQ(Xyz(c.min), (Xyz3{0, 0, 0}));
  EXPECT_EQ(Xyz(c.max), (Xyz3{0, 0, 0}));

  EXPECT_EQ(c.SetCoord(11, 21, TPoint3Di(103, 204, 301)), 1);
  EXPECT_EQ(Xyz(c.data[4]), (Xyz3{3, 4, 1}));
  EXPECT_EQ(Xyz(c.GetCoord(11, 21)), (Xyz3{103, 204, 301}));
  EXPECT_EQ(c.SetCoord(12, 20, TPoint3Di(7, 8, 0)), 1);
  EXPECT_EQ(Xyz(c.data[2]), (Xyz3{7, 8, 0}));
  EXPECT_EQ(Xyz(c.GetCoord(12, 20)), (Xyz3{7, 8, 0}));

  for (auto [x, y] : {std::pair{9, 20}, {13, 20}, {10, 19}, {10, 22}, {INT_MIN, INT_MAX}}) {
    auto r = RunInChild([&] { c.SetCoord(x, y, TPoint3Di(1, 1, 1)); });
    EXPECT_EQ(r.out, "Point coord-s are out of range\n");
    EXPECT_EQ(c.SetCoord(x, y, TPoint3Di(1, 1, 1)), 0);
  }
  EXPECT_EQ(Xyz(c.data[0]), (Xyz3{0, 0, 0}));

  c.Initialize(TPoint3Di(1, 2, 3));  // stored as given, no offset taken off
  for (const TPoint3Di& e : c.data) EXPECT_EQ(Xyz(e), (Xyz3{1, 2, 3}));
  EXPECT_EQ(Xyz(c.GetCoord(10, 20)), (Xyz3{101, 202, 303}));

  // Dimensions are narrowed to 16 bits before the buffer is sized.
  const struct {
    int width, height;
    unsigned short w16, h16;
  } sizes[] = {
      {0, 5, 0, 5}, {65537, 2, 1, 2}, {65536, 9, 0, 9}, {-1, 1, 65535, 1}, {-65535, -65535, 1, 1}};
  for (const auto& s : sizes) {
    TCoord n(s.width, s.height, 0, TPoint3Di(), 0, 0);
    EXPECT_EQ(n.width, s.w16);
    EXPECT_EQ(n.height, s.h16);
    EXPECT_EQ(n.data.size(), static_cast<std::size_t>(s.w16) * s.h16);
    const Xyz3 last = s.w16 && s.h16 ? Xyz3{0, 0, 0} : Xyz3{-9999, -9999, -9999};
    EXPECT_EQ(Xyz(n.GetCoord(s.w16 - 1, s.h16 - 1)), last);
  }
}

TEST(CoordMemory, AllocationFailureEndsTheProcess) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the address sanitizer does not let an allocation fail quietly";
#endif
  TempDir dir;
  const std::string text = dir.file("huge.txt");
  WriteFile(text, "65535 65535\n1 2 3\n");
  // 65535 x 65535 elements need 48 GiB; the child may have 4 GiB of address space.
  auto limited = [](const std::function<void()>& body) {
    return RunInChild([&] {
      std::setvbuf(stdout, nullptr, _IONBF, 0);
      const rlimit limit{rlim_t{4} << 30, rlim_t{4} << 30};
      if (setrlimit(RLIMIT_AS, &limit) != 0) std::exit(3);
      body();
    });
  };
  auto r = limited([] { TCoord c(65535, 65535, 0, TPoint3Di(), 0, 0); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, std::string(" ER_MEM_ALLOC") + kDeath);
  r = limited([&] {
    TCoord c(1, 1, 0, TPoint3Di(), 0, 0);
    c.Initialize(text.c_str());
  });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, "Opening file " + text + "... ER_MEM_ALLOC" + kDeath);
}

// Elements of a 3 x 2 raster, row by row, used with two offsets and origins.
const std::vector<Xyz3> kExtentSample = {{1, 1, 0},  {5, -3, 10}, {-2, 7, 4},
                                         {9, 9, -5}, {3, 1, 20},  {0, 0, -400}};

std::string RunSetMinMax(TPoint3Di offset, int x0, TPoint3Di* min, TPoint3Di* max) {
  TCoord c(3, 2, 0, offset, x0, 0);
  for (std::size_t i = 0; i < kExtentSample.size(); ++i)
    c.data[i] = TPoint3Di(kExtentSample[i][0], kExtentSample[i][1], kExtentSample[i][2]);
  auto r = RunInChild([&] { c.SetMinMax(); });
  c.SetMinMax();
  *min = c.min;
  *max = c.max;
  return r.out;
}

TEST(CoordExtent, SeedLineThenFinalLine) {
  TPoint3Di min, max;
  // Validity is judged on the returned z: stored -5 plus 300 is valid, stored
  // -400 plus 300 is not, a stored 0 never is.
  EXPECT_EQ(RunSetMinMax(TPoint3Di(100, 200, 300), 0, &min, &max),
            "105 105 197 197 310 310\n98 109 197 209 295 320\n");
  EXPECT_EQ(Xyz(min), (Xyz3{98, 197, 295}));
  EXPECT_EQ(Xyz(max), (Xyz3{109, 209, 320}));

  EXPECT_EQ(RunSetMinMax(TPoint3Di(), 0, &min, &max), "5 5 -3 -3 10 10\n-2 5 -3 7 4 20\n");

  // With origin column 1 the walk over columns 0..2 sees local columns 0 and 1
  // only; local column 2 (-2, 7, 4) does not count.
  EXPECT_EQ(RunSetMinMax(TPoint3Di(), 1, &min, &max), "5 5 -3 -3 10 10\n3 5 -3 1 10 20\n");
  EXPECT_EQ(Xyz(min), (Xyz3{3, -3, 10}));
  EXPECT_EQ(Xyz(max), (Xyz3{5, 1, 20}));

  // Beyond the walk entirely: the extent keeps its start.
  EXPECT_EQ(RunSetMinMax(TPoint3Di(), 3, &min, &max), "0 0 0 0 0 0\n0 0 0 0 0 0\n");

  TCoord empty(4, 4, 0, TPoint3Di(1, 1, 1), 0, 0);
  empty.Initialize(TPoint3Di(5, 5, 0));
  auto r = RunInChild([&] { empty.SetMinMax(); });
  EXPECT_EQ(r.out, "0 0 0 0 0 0\n0 0 0 0 0 0\n");
}

TEST(CoordSave, WritesFilePairAndReadsBack) {
  TempDir dir;
  TCoord c(3, 2, 9, TPoint3Di(10, 20, 30), 4, 5);
  for (std::size_t i = 0; i < kExtentSample.size(); ++i)
    c.data[i] = TPoint3Di(kExtentSample[i][0], kExtentSample[i][1], kExtentSample[i][2]);

  const std::string name = dir.file("out.cor");
  auto r = RunInChild([&] { std::exit(c.Save(name.c_str(), 0, 0, 0, 0)); });
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "The output saved to files: " + name + dir.file("out.dim") + "\n");
  EXPECT_EQ(ReadFile(dir.file("out.dim")), "3 2 9\n10 20 30\n4 5 \n");
  EXPECT_EQ(ReadFile(name), Elems(kExtentSample));

  TCoord back(name.c_str());
  EXPECT_EQ(back.width, 3);
  EXPECT_EQ(back.height, 2);
  EXPECT_EQ(back.type, 9);
  EXPECT_EQ(Xyz(back.offset), (Xyz3{10, 20, 30}));
  EXPECT_EQ(back.x0, 4);
  EXPECT_EQ(back.y0, 5);
  for (int y = 4; y <= 8; ++y)
    for (int x = 3; x <= 8; ++x) EXPECT_EQ(Xyz(back.GetCoord(x, y)), Xyz(c.GetCoord(x, y)));

  // A window: its first pixel becomes the origin.
  const std::string part = dir.file("part.v2.cor");
  EXPECT_EQ(c.Save(part.c_str(), 2, 1, 1, 1), 1);
  EXPECT_EQ(ReadFile(dir.file("part.v2.dim")), "2 1 9\n10 20 30\n5 6 \n");
  EXPECT_EQ(ReadFile(part), Elem(3, 1, 20) + Elem(0, 0, -400));
  EXPECT_EQ(c.Save(part.c_str(), 0, 1, 0, 1), 1);  // full width, second row
  EXPECT_EQ(ReadFile(dir.file("part.v2.dim")), "3 1 9\n10 20 30\n4 6 \n");
  EXPECT_EQ(ReadFile(part), Elem(9, 9, -5) + Elem(3, 1, 20) + Elem(0, 0, -400));
}

TEST(CoordSave, RefusedWithoutWriting) {
  TempDir dir;
  TCoord c(3, 2, 0, TPoint3Di(), 0, 0);
  // The scratch directory's own path holds dots: work inside it.
  auto r = RunInChild([&] {
    if (chdir(dir.path().c_str()) == 0) std::exit(c.Save("nodot", 0, 0, 0, 0));
  });
  EXPECT_EQ(r.status, 7);
  EXPECT_EQ(r.out, "");
  const struct {
    int w, h, xs, ys;
  } outside[] = {{2, 1, 2, 0},       {1, 1, -1, 0},     {1, 1, 0, -1}, {1, 2, 0, 1},
                 {0, 0, 1, 0},       {-1, 1, 0, 0},     {1, -1, 0, 0}, {4, 1, 0, 0},
                 {1, 1, INT_MAX, 0}, {INT_MAX, 1, 1, 0}};
  for (const auto& w : outside)
    EXPECT_EQ(c.Save(dir.file("o.cor").c_str(), w.w, w.h, w.xs, w.ys), 0)
        << w.w << " " << w.h << " " << w.xs << " " << w.ys;
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));

  const std::string cannot_dim = dir.file("missing/o.cor");
  r = RunInChild([&] { c.Save(cannot_dim.c_str(), 0, 0, 0, 0); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, std::string(" Opening dimention file failed\n") + kDeath);

  const std::string cannot_coords = dir.file("taken.cor");
  mkdir(cannot_coords.c_str(), 0755);
  r = RunInChild([&] { c.Save(cannot_coords.c_str(), 0, 0, 0, 0); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, std::string(" Opening coor file failed") + kDeath);
}

TEST(CoordText, InitializeFromTextFile) {
  TempDir dir;
  const std::string name = dir.file("coords.txt");
  WriteFile(name, "2 2 \n1 2 3 4 5 6\n7\t8\n9\n-10 -11 -12\n");
  TCoord c(5, 5, 3, TPoint3Di(100, 100, 100), 1, 1);
  auto r = RunInChild([&] { c.Initialize(name.c_str()); });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "Opening file " + name + "...  Success\n");
  c.Initialize(name.c_str());
  EXPECT_EQ(c.width, 2);
  EXPECT_EQ(c.height, 2);
  EXPECT_EQ(c.type, 3);  // type, offset and origin stay
  EXPECT_EQ(Xyz(c.offset), (Xyz3{100, 100, 100}));
  EXPECT_EQ(c.x0, 1);
  ASSERT_EQ(c.data.size(), 4u);
  EXPECT_EQ(Xyz(c.data[0]), (Xyz3{1, 2, 3}));
  EXPECT_EQ(Xyz(c.data[3]), (Xyz3{-10, -11, -12}));
  EXPECT_EQ(Xyz(c.GetCoord(2, 1)), (Xyz3{104, 105, 106}));

  // Too few numbers: complete triples are kept, the rest is (0, 0, 0).
  const struct {
    const char* text;
    int width, height;
    Xyz3 first, second;
  } short_files[] = {
      {"2 2\n1 2 3 4 5", 2, 2, {1, 2, 3}, {0, 0, 0}},
      {"2 2\n1 2 x 4 5 6", 2, 2, {0, 0, 0}, {0, 0, 0}},
      {"3 1", 3, 1, {0, 0, 0}, {0, 0, 0}},
      {"", 0, 0, {0, 0, 0}, {0, 0, 0}},
      {"2000 2000\n1 2 3\n", 2000, 2000, {1, 2, 3}, {0, 0, 0}},
  };
  for (const auto& s : short_files) {
    WriteFile(name, s.text);
    TCoord t(1, 1, 0, TPoint3Di(), 0, 0);
    t.Initialize(TPoint3Di(9, 9, 9));
    t.Initialize(name.c_str());
    EXPECT_EQ(t.width, s.width) << s.text;
    EXPECT_EQ(t.height, s.height) << s.text;
    ASSERT_EQ(t.data.size(), static_cast<std::size_t>(s.width) * s.height) << s.text;
    if (t.data.size() >= 2) {
      EXPECT_EQ(Xyz(t.data[0]), s.first) << s.text;
      EXPECT_EQ(Xyz(t.data[1]), s.second) << s.text;
      EXPECT_EQ(Xyz(t.data[t.data.size() - 1]), (Xyz3{0, 0, 0})) << s.text;
    }
  }

  r = RunInChild([&] { c.Initialize(dir.file("none.txt").c_str()); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, "Opening file " + dir.file("none.txt") +
                       "... Error opening coor or dimention file\n" + kDeath);
}

}  // namespace
