#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "test_support.h"
#include "util/compare.h"
#include "util/error_msg.h"
#include "util/find_flag.h"
#include "util/nomfic.h"
#include "util/testtiff.h"

using namespace testsupport;

namespace {

TEST(ErrorMsg, PrintsOnStdoutAndExitsWith255) {
  auto r = RunInChild([] { error_msg("ER_FILE_READ"); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, " ER_FILE_READ. Terminated\n");
  EXPECT_EQ(r.err, "");
  // A text ending in a line end keeps it: the line end is doubled.
  r = RunInChild([] { error_msg("File opening/reading failed\n"); });
  EXPECT_EQ(r.out, " File opening/reading failed\n. Terminated\n");
}

TEST(FindFlag, MatchesDashAndExactRemainderFromStart) {
  std::vector<std::string> args = {"prog", "cadre", "-cadrex", "-cadre", "1", "-cadre"};
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  const int n = static_cast<int>(argv.size());
  EXPECT_EQ(find_flag(n, argv.data(), "cadre", 0), 3);
  EXPECT_EQ(find_flag(n, argv.data(), "cadre", 3), 3);
  EXPECT_EQ(find_flag(n, argv.data(), "cadre", 4), 5);
  EXPECT_EQ(find_flag(n, argv.data(), "cad", 0), -1);
  EXPECT_EQ(find_flag(0, argv.data(), "cadre", 0), -1);
}

TEST(Nomfic, ReplacesExtensionOfLastComponent) {
  const std::string n(5000, 'n');
  // clang-format off
  const std::string cases[][3] = {  // name, suffix, result
      {"points.bin", ".asc", "points.asc"}, {"scene_MANU.bin", ".asc", "scene.asc"},
      {"data/run_MANU.bin", ".txt", "data/run.txt"}, {"out/dir.d/cloud", ".asc", "out/dir.d/cloud.asc"},
      {"cloud", ".txt", "cloud.txt"}, {"a.b.c", ".asc", "a.b.asc"}, {"_MANU", ".asc", ".asc"},
      {"MANU.x", ".asc", "MANU.asc"}, {"", ".asc", ".asc"}, {n + ".bin", ".asc", n + ".asc"}};
  // clang-format on
  for (const auto& c : cases) {
    char* s = nomfic(c[0].c_str(), c[1].c_str());
    EXPECT_EQ(std::string(s), c[2]) << c[0];
    std::free(s);
  }
}

TEST(TestTiff, PrefixOfExtensionFromLastDot) {
  const struct {
    const char* name;
    int expected;
  } cases[] = {{"image.tif", 1}, {"image.tiff", 1}, {"image.tifx", 1},    {"image.TIF", 0},
               {"image.png", 0}, {"image", 0},      {"dir.tif/image", 1}, {"a.ti", 0},
               {".tif", 1},      {"x.tif.gz", 0}};
  for (const auto& c : cases) EXPECT_EQ(TestTiff(c.name), c.expected) << c.name;
}

TEST(Compare, SortsBytesAndSignedShortsAscending) {
  unsigned char bytes[] = {200, 3, 17};
  std::qsort(bytes, 3, 1, CompareByte);
  EXPECT_EQ(std::vector<int>(bytes, bytes + 3), (std::vector<int>{3, 17, 200}));
  short shorts[] = {-5, 3, -300};
  std::qsort(shorts, 3, sizeof(short), CompareShort);
  EXPECT_EQ(std::vector<int>(shorts, shorts + 3), (std::vector<int>{-300, -5, 3}));
  unsigned char a = 7, b = 7;
  EXPECT_EQ(CompareT(&a, &b), 0);
}

TEST(FindAttribut, LooksUpDashNameAndTakesNextWord) {
  TempDir dir;
  const std::string path = dir.file("attr.txt"), v(1000, 'v');
  // The last word of a file without a final line end is not seen; words far
  // longer than any line buffer are kept whole.
  // clang-format off
  const std::string cases[][3] = {  // file, attribute, value ("-": none)
      {"-a 1 -b 2\n", "a", "1"}, {"-a 1 -b 2\n", "b", "2"}, {"-a 1 -b 2\n", "c", "-"},
      {"-a 1\t-b 2", "a", "1"}, {"-a 1\t-b 2", "b", "-"}, {"-focal " + v + "\n", "focal", v}};
  // clang-format on
  for (const auto& c : cases) {
    WriteFile(path, c[0]);
    const char* value = find_attribut_in_file(path.c_str(), c[1].c_str());
    EXPECT_EQ(value ? value : "-", c[2]) << c[0] << c[1];
  }
  auto r = RunInChild([] { find_attribut_in_file("/nonexistent/attr.txt", "a"); });
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "*** probleme pour ouvrir le fichier </nonexistent/attr.txt> ***\n");
}

}  // namespace
