#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "camera/tcamera.h"
#include "image/timage.h"
#include "math/tmatrix.h"
#include "test_support.h"
#include "util/compare.h"
#include "util/error_msg.h"
#include "util/find_flag.h"
#include "util/nomfic.h"
#include "util/terminate.h"
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


// A harness that keeps running after the library's fatal ends (the fuzz
// targets) gets back every file and buffer the failed read held: the open
// descriptors are counted here, the buffers by LeakSanitizer in the
// sanitizer build.
TEST(Terminate, AHookThatThrowsGetsBackWhatTheFailedReadHeld) {
  struct End {};
  kluteida_internal::SetTerminateHook([](int) { throw End{}; });
  TempDir dir;
  WriteFile(dir.file("empty.raw"), "");
  WriteFile(dir.file("singular.cam"), "1 2 2 4\n0 0\n0 0\n0 0 0\n0 0 0\n1\n");
  auto descriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
  };
  const auto before = descriptors();
  const std::vector<std::function<void()>> reads = {
      [] { error_msg("ER_FILE_READ"); },
      [&] { TImage(dir.file("empty.raw").c_str(), 64, 64, kTypeByte, 1, 0); },
      [&] { TCamera(dir.file("singular.cam").c_str()); },
      [&] { TMatrix(dir.file("none.mat").c_str()); },
  };
  testing::internal::CaptureStdout();
  for (const auto& read : reads) EXPECT_THROW(read(), End);
  testing::internal::GetCapturedStdout();
  kluteida_internal::SetTerminateHook(nullptr);
  EXPECT_EQ(descriptors(), before);
}

}  // namespace
