#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "test_support.h"
#include "util/compare.h"
#include "util/error_msg.h"
#include "util/find_flag.h"
#include "util/nomfic.h"
#include "util/testtiff.h"

using testsupport::RunInChild;
using testsupport::TempDir;
using testsupport::WriteFile;

namespace {

std::string Nomfic(const char* name, const char* suffix) {
  std::unique_ptr<char, decltype(&std::free)> s(nomfic(name, suffix), &std::free);
  return s.get();
}

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
  const int argc = static_cast<int>(argv.size());
  EXPECT_EQ(find_flag(argc, argv.data(), "cadre", 0), 3);
  EXPECT_EQ(find_flag(argc, argv.data(), "cadre", 3), 3);
  EXPECT_EQ(find_flag(argc, argv.data(), "cadre", 4), 5);
  EXPECT_EQ(find_flag(argc, argv.data(), "cad", 0), -1);
  EXPECT_EQ(find_flag(0, argv.data(), "cadre", 0), -1);
}

TEST(Nomfic, ReplacesExtensionOfLastComponent) {
  const struct {
    const char* name;
    const char* suffix;
    const char* expected;
  } cases[] = {
      {"points.bin", ".asc", "points.asc"},
      {"scene_MANU.bin", ".asc", "scene.asc"},
      {"data/run_MANU.bin", ".txt", "data/run.txt"},
      {"out/dir.d/cloud", ".asc", "out/dir.d/cloud.asc"},
      {"cloud", ".txt", "cloud.txt"},
      {"a.b.c", ".asc", "a.b.asc"},
      {"_MANU", ".asc", ".asc"},
      {"MANU.x", ".asc", "MANU.asc"},
      {"", ".asc", ".asc"},
  };
  for (const auto& c : cases) EXPECT_EQ(Nomfic(c.name, c.suffix), c.expected) << c.name;
  std::string long_name(5000, 'n');
  EXPECT_EQ(Nomfic((long_name + ".bin").c_str(), ".asc"), long_name + ".asc");
}

TEST(TestTiff, PrefixOfExtensionFromLastDot) {
  const struct {
    const char* name;
    int expected;
  } cases[] = {{"image.tif", 1},  {"image.tiff", 1}, {"image.tifx", 1}, {"image.TIF", 0},
               {"image.png", 0},  {"image", 0},      {"dir.tif/image", 1}, {"a.ti", 0},
               {".tif", 1},       {"x.tif.gz", 0}};
  for (const auto& c : cases) EXPECT_EQ(TestTiff(c.name), c.expected) << c.name;
}

TEST(Compare, SortsBytesAndSignedShortsAscending) {
  unsigned char bytes[] = {200, 3, 17};
  std::qsort(bytes, 3, 1, CompareByte);
  EXPECT_EQ(bytes[0], 3);
  EXPECT_EQ(bytes[1], 17);
  EXPECT_EQ(bytes[2], 200);
  short shorts[] = {-5, 3, -300};
  std::qsort(shorts, 3, sizeof(short), CompareShort);
  EXPECT_EQ(shorts[0], -300);
  EXPECT_EQ(shorts[1], -5);
  EXPECT_EQ(shorts[2], 3);
  unsigned char a = 7, b = 7;
  EXPECT_EQ(CompareT(&a, &b), 0);
}

TEST(FindAttribut, LooksUpDashNameAndTakesNextWord) {
  TempDir dir;
  const std::string with_eol = dir.file("with_eol.txt");
  const std::string without_eol = dir.file("without_eol.txt");
  WriteFile(with_eol, "-a 1 -b 2\n");
  WriteFile(without_eol, "-a 1\t-b 2");
  const char* v = find_attribut_in_file(with_eol.c_str(), "a");
  ASSERT_NE(v, nullptr);
  EXPECT_STREQ(v, "1");
  v = find_attribut_in_file(with_eol.c_str(), "b");
  ASSERT_NE(v, nullptr);
  EXPECT_STREQ(v, "2");
  EXPECT_EQ(find_attribut_in_file(with_eol.c_str(), "c"), nullptr);
  EXPECT_STREQ(find_attribut_in_file(without_eol.c_str(), "a"), "1");
  // The last word is not followed by white space, so it is not seen.
  EXPECT_EQ(find_attribut_in_file(without_eol.c_str(), "b"), nullptr);
  // Words far longer than any line buffer are kept whole.
  const std::string long_file = dir.file("long.txt");
  std::string long_value(1000, 'v');
  WriteFile(long_file, "-focal " + long_value + "\n");
  EXPECT_EQ(std::string(find_attribut_in_file(long_file.c_str(), "focal")), long_value);
}

TEST(FindAttribut, MissingFileEndsWithStatusOne) {
  auto r = RunInChild([] { find_attribut_in_file("/nonexistent/attr.txt", "a"); });
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "*** probleme pour ouvrir le fichier </nonexistent/attr.txt> ***\n");
}

}  // namespace
