// The coordinate raster: its file pair, pixel access, extent and saving.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "geometry/coordextent.h"
#include "geometry/tcoord.h"
#include "geometry/tcoordfile.h"
#include "geometry_test_util.h"
#include "image/timage.h"
#include "test_support.h"

using namespace geotest;
using namespace testsupport;

namespace {

const Xyz3 kOutside = {-9999, -9999, -9999};

TEST(CoordRead, FilePairWithOffsetOriginAndOutsideRule) {
  TempDir dir;
  const std::string name = dir.file("left.cor");
  WriteFile(dir.file("left.dim"), "3 2 7\n100 200 300\n5 7\n");
  WriteFile(name,
            CoordBytes({{1, 2, 3}, {3, 4, 0}, {5, 6, -1}, {0, 0, 0}, {-7, 8, 9}, {INT_MAX, 0, 1}}));
  EXPECT_EQ(RunInChild([&] { TCoord c(name.c_str()); }).out, CoordOpened(name));
  TCoord c(name.c_str());
  EXPECT_EQ(c.type, 7);
  EXPECT_EQ(Xyz(c.min), (Xyz3{0, 0, 0}));
  // z 0 is no point and comes back raw; the offset may wrap around; every
  // pixel outside gives -9999 and counts as set.
  const struct {
    int x, y;
    Xyz3 point;
    int set;
  } pixels[] = {// clang-format off
      {5, 7, {101, 202, 303}, 1}, {6, 7, {3, 4, 0}, 0}, {7, 7, {105, 206, 299}, 1},
      {5, 8, {0, 0, 0}, 0}, {7, 8, {INT_MIN + 99, 200, 301}, 1}, {4, 7, kOutside, 1},
      {8, 7, kOutside, 1}, {5, 6, kOutside, 1}, {5, 9, kOutside, 1}, {INT_MIN, INT_MIN, kOutside, 1}};
  // clang-format on
  for (const auto& p : pixels) {
    EXPECT_EQ(Xyz(c.GetCoord(p.x, p.y)), p.point) << p.x << "," << p.y;
    EXPECT_EQ(c.Set(p.x, p.y), p.set) << p.x << "," << p.y;
  }
}

TEST(CoordRead, HeaderVariantsAndMalformedNumbers) {
  using Fields = std::array<int, 8>;  // width, height, type, offset x y z, x0, y0
  // Missing or garbage numbers stay 0; the type is kept in 8 bits, the sizes in 16.
  const struct {
    const char* header;
    Fields fields;
  } cases[] = {// clang-format off
      {"2 1 0\n1 2 3\n", {2, 1, 0, 1, 2, 3, 0, 0}}, {"2 1 0\n1 2 3\n-5 -7", {2, 1, 0, 1, 2, 3, -5, -7}},
      {"2   1\t0\n 1 2 3 \n\n\n   5 7 9\n", {2, 1, 0, 1, 2, 3, 5, 7}},
      {"2 1 300\n0 0 0\n5\n", {2, 1, 44, 0, 0, 0, 5, 0}}, {"2 1\n", {2, 1, 0, 0, 0, 0, 0, 0}},
      {"2 1 0\n7 x 9\n", {2, 1, 0, 7, 0, 0, 0, 0}}, {"2 1 0\n1 2 3\nabc 4\n", {2, 1, 0, 1, 2, 3, 0, 0}},
      {"abc\n", {0, 0, 0, 0, 0, 0, 0, 0}}, {"", {0, 0, 0, 0, 0, 0, 0, 0}},
      {"65536 1 0\n0 0 0\n", {0, 1, 0, 0, 0, 0, 0, 0}}, {"-1 1 0\n0 0 0\n", {65535, 1, 0, 0, 0, 0, 0, 0}}};
  // clang-format on
  TempDir dir;
  const std::string name = dir.file("r.cor");
  std::vector<Xyz3> elements(65535, Xyz3{0, 0, 0});
  elements.front() = {10, 20, 30};
  elements.back() = {4, 5, 6};
  WriteFile(name, CoordBytes(elements));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.header);
    WriteFile(dir.file("r.dim"), c.header);
    TCoord r(name.c_str());
    EXPECT_EQ((Fields{r.width, r.height, r.type, r.offset.x, r.offset.y, r.offset.z, r.x0, r.y0}),
              c.fields);
    const auto [w, h, t, ox, oy, oz, x0, y0] = c.fields;
    EXPECT_EQ(r.data.size(), static_cast<std::size_t>(w) * h);
    EXPECT_EQ(Xyz(r.GetCoord(x0, y0)), (w && h ? Xyz3{10 + ox, 20 + oy, 30 + oz} : kOutside));
  }
  TCoord wide(name.c_str());  // the last header: 65535 columns
  EXPECT_EQ(Xyz(wide.GetCoord(65534, 0)), (Xyz3{4, 5, 6}));
}

TEST(CoordRead, FailuresEndTheProcess) {
  TempDir dir;
  const std::string one = CoordBytes({{1, 1, 1}}), dim = "1 1 0\n0 0 0\n";
  // clang-format off
  dir.Write({{"short.dim", "2 2 0\n0 0 0\n"}, {"short.cor", one + one + one + "12345678901"},
             {"absurd.dim", "65535 65535 0\n0 0 0\n"}, {"absurd.cor", one}, {"isdir.dim", dim},
             {"lonely.cor", one}, {"ghost.dim", dim}, {"nodot", one}});
  mkdir(dir.file("isdir.cor").c_str(), 0755);  // opens, but cannot be read
  const std::pair<const char*, const char*> cases[] = {
      {"lonely.cor", "Error opening coor or dimention file\n"}, {"ghost.cor", "ER_FILE_OPEN"},
      {"short.cor", "ER_FILE_READ"}, {"absurd.cor", "ER_FILE_READ"}, {"isdir.cor", "ER_FILE_READ"},
      {"nodot", "ER_EXTENSION"}};
  // clang-format on
  for (const auto& [file, message] : cases) {
    // Inside the scratch directory, whose own path holds dots.
    auto r = RunInChild([&, file = file] {
      if (chdir(dir.path().c_str()) == 0) TCoord coord(file);
    });
    EXPECT_EQ(r.status, 255) << file;
    EXPECT_EQ(r.out, "Opening file " + std::string(file) + "..." + Fatal(message)) << file;
  }
}

TEST(CoordRead, HeaderNameCutAtLastDotOfWholePath) {
  TempDir dir;
  // clang-format off
  dir.Write({{"dir.d/raster", CoordBytes({{1, 2, 3}})}, {"dir.dim", "1 1 0\n0 0 0\n"},
             {"dir.d/raster.cor", CoordBytes({{4, 5, 6}})}, {"dir.d/raster.dim", "1 1 0\n10 10 10\n"}});
  // clang-format on
  EXPECT_EQ(Xyz(TCoord(dir.file("dir.d/raster").c_str()).GetCoord(0, 0)), (Xyz3{1, 2, 3}));
  EXPECT_EQ(Xyz(TCoord(dir.file("dir.d/raster.cor").c_str()).GetCoord(0, 0)), (Xyz3{14, 15, 16}));
  // Names far longer than a line of text.
  const std::string d = std::string(200, 'd') + ".v1/", n(150, 'n'), c(150, 'c');
  const std::string deep = dir.file(d);
  dir.Write({{d + n + ".cor", CoordBytes({{7, 8, 9}})}, {d + n + ".dim", "1 1 0\n0 0 0\n"}});
  TCoord long_named((deep + n + ".cor").c_str());
  EXPECT_EQ(Xyz(long_named.GetCoord(0, 0)), (Xyz3{7, 8, 9}));
  EXPECT_EQ(long_named.Save((deep + c + ".cor").c_str(), 0, 0, 0, 0), 1);
  EXPECT_EQ(ReadFile(deep + c + ".cor"), CoordBytes({{7, 8, 9}}));
  EXPECT_EQ(ReadFile(deep + c + ".dim"), "1 1 0\n0 0 0\n0 0 \n");
}

TEST(CoordMemory, ConstructionAndStoring) {
  TCoord c(3, 2, 4, TPoint3Di(100, 200, 300), 10, 20);
  ASSERT_EQ(c.data.size(), 6u);
  EXPECT_EQ(Xyz(c.GetCoord(12, 21)), (Xyz3{0, 0, 0}));
  EXPECT_EQ(c.SetCoord(11, 21, TPoint3Di(103, 204, 301)), 1);
  EXPECT_EQ(Xyz(c.data[4]), (Xyz3{3, 4, 1}));
  EXPECT_EQ(c.SetCoord(12, 20, TPoint3Di(7, 8, 0)), 1);
  EXPECT_EQ(Xyz(c.data[2]), (Xyz3{7, 8, 0}));
  for (auto [x, y] : {std::pair{9, 20}, {13, 20}, {10, 19}, {10, 22}, {INT_MIN, INT_MAX}}) {
    auto r = RunInChild([&] { std::exit(c.SetCoord(x, y, TPoint3Di(1, 1, 1))); });
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "Point coord-s are out of range\n");
  }
  c.Initialize(TPoint3Di(1, 2, 3));  // stored as given
  for (const TPoint3Di& e : c.data) EXPECT_EQ(Xyz(e), (Xyz3{1, 2, 3}));
  EXPECT_EQ(Xyz(c.GetCoord(10, 20)), (Xyz3{101, 202, 303}));
  // Dimensions are narrowed to 16 bits before the buffer is sized.
  for (auto [w, h, w16, h16] : {std::array{0, 5, 0, 5}, {65537, 2, 1, 2}, {-1, 1, 65535, 1}}) {
    TCoord n(w, h, 0, TPoint3Di(), 0, 0);
    EXPECT_EQ((Xyz3{n.width, n.height, static_cast<int>(n.data.size())}),
              (Xyz3{w16, h16, w16 * h16}));
  }
}

TEST(CoordMemory, AllocationFailureEndsTheProcess) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the address sanitizer does not let an allocation fail quietly";
#endif
  // 65535 x 65535 elements need 48 GiB; the child gets 4 GiB of address space.
  auto limited = [](const std::function<void()>& body) {
    return RunInChild([&] {
      std::setvbuf(stdout, nullptr, _IONBF, 0);
      const rlimit limit{rlim_t{4} << 30, rlim_t{4} << 30};
      if (setrlimit(RLIMIT_AS, &limit) == 0) body();
    });
  };
  auto r = limited([] { TCoord c(65535, 65535, 0, TPoint3Di(), 0, 0); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, Fatal("ER_MEM_ALLOC"));
}

// A 3 x 2 raster, row by row.
const std::vector<Xyz3> kSample = {{50, 1, 0}, {5, -3, 10}, {-2, 7, 4},
                                   {9, 9, -5}, {3, 1, 20},  {0, 0, -400}};

void Fill(TCoord& c) {
  for (std::size_t i = 0; i < kSample.size(); ++i)
    c.data[i] = TPoint3Di(kSample[i][0], kSample[i][1], kSample[i][2]);
}

TEST(CoordExtent, SeedLineThenFinalLine) {
  // Validity is judged on the returned z: stored -5 + 300 is valid, -400 + 300
  // is not, nor is the empty pixel. With origin column 1 the walk over
  // columns 0..2 misses local column 2; with origin column 3 it finds
  // nothing; with origin column -1 it misses local column 0.
  // The fields min and max hold what the second line shows.
  const struct {
    TPoint3Di offset;
    int x0;
    std::string printed;
  } cases[] = {{TPoint3Di(100, 200, 300), 0, "105 105 197 197 310 310\n98 109 197 209 295 320\n"},
               {TPoint3Di(), 0, "5 5 -3 -3 10 10\n-2 5 -3 7 4 20\n"},
               {TPoint3Di(), 1, "5 5 -3 -3 10 10\n3 5 -3 1 10 20\n"},
               {TPoint3Di(), 3, "0 0 0 0 0 0\n0 0 0 0 0 0\n"},
               {TPoint3Di(100, 200, 300), -1, "105 105 197 197 310 310\n98 105 197 207 304 320\n"}};
  for (const auto& c : cases) {
    TCoord k(3, 2, 0, c.offset, c.x0, 0);
    Fill(k);
    EXPECT_EQ(RunInChild([&] { k.SetMinMax(); }).out, c.printed);
    k.SetMinMax();
    EXPECT_EQ(Format("%d %d %d %d %d %d\n", k.min.x, k.max.x, k.min.y, k.max.y, k.min.z, k.max.z),
              c.printed.substr(c.printed.find('\n') + 1));
  }
  // A raster without columns (read from a pair with an empty coordinate
  // file) walks no row.
  TempDir dir;
  WriteFile(dir.file("e.dim"), "0 1 0\n0 0 0\n-1 0\n");
  WriteFile(dir.file("e.cor"), "");
  const std::string name = dir.file("e.cor");
  EXPECT_EQ(RunInChild([&] { TCoord(name.c_str()).SetMinMax(); }).out,
            CoordOpened(name) + "0 0 0 0 0 0\n0 0 0 0 0 0\n");
}

// Long runs (the vectorised walk), wrapping sums and every kind of invalid
// point, given whole or cut into pieces joined in order, against the
// extent worked out point by point in 64 bits.
TEST(CoordExtent, RunsAndPiecesGiveThePlainExtent) {
  std::mt19937 rng(7);
  for (int trial = 0; trial < 40; ++trial) {
    const TPoint3Di offset(static_cast<int>(rng()), static_cast<int>(rng()) % 1000,
                           trial % 5 == 0 ? INT_MAX : static_cast<int>(rng() % 2001) - 1000);
    std::vector<TPoint3Di> run(rng() % 90);
    for (TPoint3Di& s : run) {
      s = TPoint3Di(static_cast<int>(rng()), static_cast<int>(rng() % 20001) - 10000,
                    static_cast<int>(rng() % 4001) - 2000);
      if (rng() % 4 == 0) s.z = 0;  // an empty pixel
    }
    bool seeded = false;
    long long seed[3] = {}, lo[3] = {}, hi[3] = {};
    for (const TPoint3Di& s : run) {
      const long long sum[3] = {s.x + static_cast<long long>(offset.x),
                                s.y + static_cast<long long>(offset.y),
                                s.z + static_cast<long long>(offset.z)};
      long long p[3];
      for (int k = 0; k < 3; ++k) p[k] = static_cast<int>(static_cast<unsigned>(sum[k]));
      if (s.z == 0 || p[2] <= 0) continue;
      for (int k = 0; k < 3; ++k) {
        if (!seeded) seed[k] = lo[k] = hi[k] = p[k];
        lo[k] = std::min(lo[k], p[k]);
        hi[k] = std::max(hi[k], p[k]);
      }
      seeded = true;
    }
    const std::string expected =
        seeded ? Format("%lld %lld %lld %lld %lld %lld\n%lld %lld %lld %lld %lld %lld\n", seed[0],
                        seed[0], seed[1], seed[1], seed[2], seed[2], lo[0], hi[0], lo[1], hi[1],
                        lo[2], hi[2])
               : "1 2 3 4 5 6\n1 2 3 4 5 6\n";
    // Whole, then in up to four pieces (some empty).
    std::size_t cuts[3] = {rng() % (run.size() + 1), rng() % (run.size() + 1),
                           rng() % (run.size() + 1)};
    std::sort(cuts, cuts + 3);
    const std::size_t bounds[] = {0, cuts[0], cuts[1], cuts[2], run.size()};
    CoordExtent whole(offset), pieces(offset);
    whole.Add(run.data(), run.size());
    for (int k = 0; k < 4; ++k) {
      CoordExtent piece(offset);
      piece.Add(run.data() + bounds[k], bounds[k + 1] - bounds[k]);
      pieces.Append(piece);
    }
    for (const CoordExtent* e : {&whole, &pieces}) {
      TPoint3Di min(1, 3, 5), max(2, 4, 6);
      EXPECT_EQ(RunInChild([&] { e->Report(min, max); }).out, expected) << trial;
    }
  }
}

// The rows of a raster read where they lie in a regular file, and from a
// pipe, which is read whole on opening.
TEST(CoordRead, RowsFromAFileOrAPipe) {
  TempDir dir;
  std::vector<std::array<int, 3>> points;
  for (int k = 0; k < 12; ++k) points.push_back({k, -k, 100 + k});
  dir.Write(
      {{"r.cor", CoordBytes(points)}, {"r.dim", "3 4 0\n0 0 0\n"}, {"p.dim", "3 4 0\n0 0 0\n"}});
  const std::string regular = dir.file("r.cor"), pipe = dir.file("p.cor");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const auto rows = [&](const std::string& name) {
    const ChildResult r = RunInChild([&] {
      if (name == pipe && fork() == 0) {  // the writer
        WriteFile(pipe, CoordBytes(points));
        _exit(0);
      }
      TCoordFile file(name.c_str());
      TPoint3Di out[6];
      std::printf("|%d", file.ReadRows(1, 2, out));
      for (const TPoint3Di& p : out) std::printf(" %d", p.x);
      std::printf("|%d%d%d", file.ReadRows(4, 0, out), file.ReadRows(3, 2, out),
                  file.ReadRows(5, 0, out));
      TCoordBuffer all;
      file.ReadAll(all);
      std::printf("|%zu %d", all.size(), all[11].z);
    });
    return r.out;
  };
  const std::string expected = "|1 3 4 5 6 7 8|100|12 111";
  EXPECT_EQ(rows(regular), "Opening file " + regular + "..." + expected);
  EXPECT_EQ(rows(pipe), "Opening file " + pipe + "..." + expected);
}

TEST(CoordSave, WritesFilePairAndWindows) {
  TempDir dir;
  TCoord c(3, 2, 9, TPoint3Di(10, 20, 30), 4, 5);
  Fill(c);
  const std::string name = dir.file("out.cor");
  auto r = RunInChild([&] { std::exit(c.Save(name.c_str(), 0, 0, 0, 0)); });
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "The output saved to files: " + name + dir.file("out.dim") + "\n");
  EXPECT_EQ(ReadFile(dir.file("out.dim")), "3 2 9\n10 20 30\n4 5 \n");
  EXPECT_EQ(ReadFile(name), CoordBytes(kSample));
  // A window: its first pixel becomes the origin.
  const std::string part = dir.file("part.v2.cor");
  EXPECT_EQ(c.Save(part.c_str(), 2, 1, 1, 1), 1);
  EXPECT_EQ(ReadFile(dir.file("part.v2.dim")), "2 1 9\n10 20 30\n5 6 \n");
  EXPECT_EQ(ReadFile(part), CoordBytes({kSample[4], kSample[5]}));
  EXPECT_EQ(c.Save(part.c_str(), 0, 1, 0, 1), 1);  // full width, second row
  EXPECT_EQ(ReadFile(dir.file("part.v2.dim")), "3 1 9\n10 20 30\n4 6 \n");
  EXPECT_EQ(ReadFile(part), CoordBytes({kSample[3], kSample[4], kSample[5]}));
}

TEST(CoordSave, RefusedOrFailing) {
  TempDir dir;
  TCoord c(3, 2, 0, TPoint3Di(), 0, 0);
  auto r = RunInChild([&] {  // inside the scratch directory, whose path holds dots
    if (chdir(dir.path().c_str()) == 0) std::exit(c.Save("nodot", 0, 0, 0, 0));
  });
  EXPECT_EQ(r.status, 7);
  EXPECT_EQ(r.out, "");
  const int outside[][4] = {{2, 1, 2, 0},  {1, 1, -1, 0}, {1, 2, 0, 1},       {0, 0, 1, 0},
                            {-1, 1, 0, 0}, {1, -1, 0, 0}, {1, 1, INT_MAX, 0}, {INT_MAX, 1, 1, 0}};
  for (const auto& w : outside)
    EXPECT_EQ(c.Save(dir.file("o.cor").c_str(), w[0], w[1], w[2], w[3]), 0) << w[0] << " " << w[2];
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
  r = RunInChild([&] { c.Save(dir.file("missing/o.cor").c_str(), 0, 0, 0, 0); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, Fatal("Opening dimention file failed\n"));
  mkdir(dir.file("taken.cor").c_str(), 0755);
  r = RunInChild([&] { c.Save(dir.file("taken.cor").c_str(), 0, 0, 0, 0); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, Fatal("Opening coor file failed"));
}

TEST(CoordText, InitializeFromTextFile) {
  TempDir dir;
  const std::string name = dir.file("coords.txt");
  WriteFile(name, "2 2 \n1 2 3 4 5 6\n7\t8\n9\n-10 -11 -12\n");
  TCoord c(5, 5, 3, TPoint3Di(100, 100, 100), 1, 1);
  EXPECT_EQ(RunInChild([&] { c.Initialize(name.c_str()); }).out, CoordOpened(name));
  c.Initialize(name.c_str());
  EXPECT_EQ(c.width, 2);
  EXPECT_EQ(c.type, 3);  // type, offset and origin stay
  ASSERT_EQ(c.data.size(), 4u);
  EXPECT_EQ(Xyz(c.data[3]), (Xyz3{-10, -11, -12}));
  EXPECT_EQ(Xyz(c.GetCoord(2, 1)), (Xyz3{104, 105, 106}));
  // A triple that does not parse ends the reading: complete triples are kept,
  // the rest is (0, 0, 0).
  const struct {
    const char* text;
    std::size_t size;
    Xyz3 first;
  } short_files[] = {// clang-format off
      {"2 2\n1 2 3 4 5 . . . . . . . . . . . .", 4, {1, 2, 3}},
      {"2 2\n1 2 x 4 5 6 7 8 9 10 11 12", 4, {0, 0, 0}}, {"", 0, {}}};
  // clang-format on
  for (const auto& s : short_files) {
    WriteFile(name, s.text);
    c.Initialize(name.c_str());
    ASSERT_EQ(c.data.size(), s.size) << s.text;
    if (s.size == 0) continue;
    EXPECT_EQ(Xyz(c.data[0]), s.first) << s.text;
    EXPECT_EQ(Xyz(c.data[1]), (Xyz3{0, 0, 0})) << s.text;
    EXPECT_EQ(Xyz(c.data[s.size - 1]), (Xyz3{0, 0, 0})) << s.text;
  }
  auto r = RunInChild([&] { c.Initialize(dir.file("none.txt").c_str()); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, "Opening file " + dir.file("none.txt") + "..." +
                       Fatal("Error opening coor or dimention file\n"));
  // A file too short for its size is refused before anything is allocated
  // (10000 x 10000 would claim 1.2 GB; the child has 512 MB).
  for (const char* text : {"10000 10000", "2 2\n1 2 3 4 5 6 7 8 9\n"}) {
    WriteFile(name, text);
    r = RunInChild([&] {
#if !defined(__SANITIZE_ADDRESS__)  // which reserves far more address space
      const rlimit limit{rlim_t{512} << 20, rlim_t{512} << 20};
      setrlimit(RLIMIT_AS, &limit);
#endif
      c.Initialize(name.c_str());
    });
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, "Opening file " + name + "..." + Fatal("ER_FILE_READ"));
  }
}

}  // namespace

namespace {

// The first element of each 16-bit pixel, row by row.
std::vector<int> Shorts(const TImage& image) {
  std::vector<int> v(static_cast<size_t>(image.width) * image.height);
  for (size_t i = 0; i < v.size(); ++i)
    v[i] = reinterpret_cast<const unsigned short*>(image.data)[i];
  return v;
}

TEST(CoordImage, HeightsAsSixteenBitImages) {
  // Origin (1, 1), offset z 10: stored z 0 (no point), 5, 69990 (70000 with the
  // offset) and -20.
  TCoord c(2, 2, 0, TPoint3Di(0, 0, 10), 1, 1);
  c.SetCoord(1, 1, TPoint3Di(4, 4, 0)), c.SetCoord(2, 1, TPoint3Di(0, 0, 15));
  c.SetCoord(1, 2, TPoint3Di(0, 0, 70000)), c.SetCoord(2, 2, TPoint3Di(0, 0, -10));
  const int out = (-9999 - 3) & 0xFFFF;  // outside, zshift 3
  std::unique_ptr<TImage> window(c.Copy2Image(3, 3, 0, 0, 3));
  ASSERT_TRUE(window);
  EXPECT_EQ(std::make_tuple(window->width, window->height, window->type, window->frames),
            std::make_tuple(3, 3, kTypeShort, 1));
  EXPECT_EQ(Shorts(*window), (std::vector<int>{out, out, out, out, 0, 12, out, 4461, 65523}));
  window.reset(c.Copy2Image(0, 0, 1, 1, 0));  // the full size
  EXPECT_EQ(Shorts(*window), (std::vector<int>{0, 15, 4464, 65526}));
  for (auto [w, h] : {std::pair{-1, 2}, {2, 65536}})
    EXPECT_EQ(c.Copy2Image(w, h, 0, 0, 0), nullptr);

  TImage target(2, 2, kTypeShort, 1, nullptr, 1, 0);  // offset: column 0 is outside
  c.Copy2Image(target, 1, 1);                         // no shift, z 0 kept, -9999 outside
  EXPECT_EQ(Shorts(target), (std::vector<int>{15, 0, 65526, 0}));
  TImage bytes(2, 2, kTypeByte, 1, nullptr, 0, 0);
  const ChildResult refused = RunInChild([&] { c.Copy2Image(bytes, 0, 0); });
  EXPECT_EQ(refused.out, Fatal("Image type must be short in Copy2Image\n"));
  EXPECT_EQ(refused.status, 255);

  TempDir dir;
  const std::string name = dir.file("h.imw");
  const ChildResult saved = RunInChild([&] { std::exit(c.SaveAsImage(name.c_str(), 0)); });
  EXPECT_EQ(saved.status, 1);
  // A window at global (0, 0): only its last pixel lies in the raster.
  const std::string outside = Le16(-9999 & 0xFFFF);
  EXPECT_EQ(ReadFile(name), outside + outside + outside + Le16(0));
  EXPECT_EQ(ReadFile(dir.file("h.dim")), "2 2\n-offset_x 0 -offset_y 0\n");
}

}  // namespace
