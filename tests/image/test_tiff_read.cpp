// Reading TIFF: files made with libtiff here or built byte by byte, and
// libtiff's sample images when the shared data folder is present.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "image/timage.h"
#include "image_read_support.h"
#include "test_support.h"

using namespace imagetest;
using namespace testsupport;

namespace {

// The refusals on the error stream, in ISO-8859-1 (0xE9 e acute, 0xE0 a grave).
std::string Refusal(int message, const std::string& name, unsigned value) {
  if (message == 1)
    return name +
           ": Il ne s'agit pas d'une image cod\xE9"
           "e sur \xE0"
           " niveaux de gris (0=noir).\n";
  if (message == 2) return name + ": mauvais nombre de bandes : " + std::to_string(value) + ".\n";
  return " " + name + ": Mauvais nombre de bits / pixel : " + std::to_string(value) + ".\n";
}

// Checks what reading `name` gives: refused (message 1 to 3 with `value`) or
// accepted as a width x height byte image, whose bytes are returned.
std::string ExpectRead(const std::string& name, int message, unsigned value, unsigned width = 0,
                       unsigned height = 0) {
  ReadOutcome r = Read(name);
  if (message) {
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, ImageOpening(name, ""));
    EXPECT_EQ(r.err, Refusal(message, name, value));
    return "";
  }
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_EQ(r.out, ImageOpening(name, Format("Lecture de l'image TIFF <%s>\nLargeurxHauteur : "
                                             "%ux%u\n\nwidth: %u, height: %u, Success!\n",
                                             name.c_str(), width, height, width, height)));
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.error, 1);
  if (!r.image) return "";
  EXPECT_EQ(r.image->type, 8);
  EXPECT_EQ(r.image->frames, 1);
  return AllBytes(*r.image);
}

TEST(TiffRead, EightBitMinIsBlackIsAcceptedOthersRefused) {
  TempDir dir;
  const std::string pixels("\x00\x01\x02\x10\x11\x12", 6);  // 3 x 2
  const struct {
    const char* file;
    unsigned photometric, samples, bits, compression;
    int message;  // 0: accepted
    unsigned value;
  } cases[] = {
      {"g.tif", PHOTOMETRIC_MINISBLACK, 1, 8, COMPRESSION_NONE, 0, 0},
      {"g.tiff", PHOTOMETRIC_MINISBLACK, 1, 8, COMPRESSION_PACKBITS, 0, 0},
      {"lzw.tiffany", PHOTOMETRIC_MINISBLACK, 1, 8, COMPRESSION_LZW, 0, 0},
      {"white.tif", PHOTOMETRIC_MINISWHITE, 1, 8, COMPRESSION_NONE, 1, 0},
      {"rgb.tif", PHOTOMETRIC_RGB, 3, 8, COMPRESSION_NONE, 1, 0},
      {"palette.tif", PHOTOMETRIC_PALETTE, 1, 8, COMPRESSION_NONE, 1, 0},
      {"alpha.tif", PHOTOMETRIC_MINISBLACK, 2, 8, COMPRESSION_NONE, 2, 2},
      {"16.tif", PHOTOMETRIC_MINISBLACK, 1, 16, COMPRESSION_NONE, 3, 16},
      {"4.tif", PHOTOMETRIC_MINISBLACK, 1, 4, COMPRESSION_NONE, 3, 4},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    WriteTiff(dir.file(c.file), 3, 2, pixels, c.photometric, c.samples, c.bits, c.compression);
    EXPECT_EQ(ExpectRead(dir.file(c.file), c.message, c.value, 3, 2), c.message ? "" : pixels);
  }
}

// A little-endian TIFF of one directory: entries (tag, type 3 SHORT or 4 LONG,
// values) in tag order, arrays longer than 4 bytes after the directory, then
// `pixels`; StripOffsets count from the start of `pixels`.
std::string BuildTiff(
    const std::vector<std::tuple<uint16_t, uint16_t, std::vector<uint32_t>>>& tags,
    const std::string& pixels) {
  const uint32_t after_dir = 8 + 2 + 12 * static_cast<uint32_t>(tags.size()) + 4;
  uint32_t pixel_start = after_dir;
  for (const auto& [tag, type, values] : tags)
    if (values.size() * (type == 3 ? 2 : 4) > 4) pixel_start += values.size() * (type == 3 ? 2 : 4);
  std::string dir = Le16(static_cast<unsigned>(tags.size())), extra;
  for (const auto& [tag, type, values] : tags) {
    std::string bytes;
    for (uint32_t v : values) {
      if (tag == TIFFTAG_STRIPOFFSETS) v += pixel_start;
      bytes += type == 3 ? Le16(v) : Le32(v);
    }
    dir += Le16(tag) + Le16(type) + Le32(static_cast<unsigned>(values.size()));
    if (bytes.size() > 4) {
      dir += Le32(after_dir + static_cast<uint32_t>(extra.size()));
      extra += bytes;
    } else {
      dir += bytes + std::string(4 - bytes.size(), '\0');
    }
  }
  return "II" + Le16(42) + Le32(8) + dir + Le32(0) + extra + pixels;
}

TEST(TiffRead, ByteBuiltFiles) {
  TempDir dir;
  const std::string name = dir.file("b.tif");
  // clang-format off
  // No SamplesPerPixel: one sample is assumed.
  WriteFile(name, BuildTiff({{256, 3, {3}}, {257, 3, {2}}, {258, 3, {8}}, {259, 3, {1}},
                             {262, 3, {1}}, {273, 4, {0}}, {278, 3, {2}}, {279, 4, {6}}}, "uvwxyz"));
  EXPECT_EQ(ExpectRead(name, 0, 0, 3, 2), "uvwxyz");
  // Four strips of one row, the file ends after the second: the rest stays
  // 0, and nothing is reported.
  WriteFile(name, BuildTiff({{256, 3, {4}}, {257, 3, {4}}, {258, 3, {8}}, {259, 3, {1}},
                             {262, 3, {1}}, {273, 4, {0, 4, 8, 12}}, {277, 3, {1}}, {278, 3, {1}},
                             {279, 4, {4, 4, 4, 4}}}, "abcdefgh"));
  // clang-format on
  EXPECT_EQ(ExpectRead(name, 0, 0, 4, 4), "abcdefgh" + std::string(8, '\0'));
  // A file of a few bytes declaring 65535 x 65535 pixels, or scanlines of 4 GB,
  // is refused as too short (5) before its buffers are allocated.
  for (const uint32_t w : {65535u, 0xFFFFFFFFu}) {
    const uint32_t h = w == 65535u ? 65535u : 1u;
    WriteFile(name, BuildTiff({{256, 4, {w}}, {257, 4, {h}}, {258, 3, {8}}, {259, 3, {1}},
                               {262, 3, {1}}, {273, 4, {0}}, {277, 3, {1}}, {278, 4, {h}},
                               {279, 4, {4}}}, "abcd"));
    const ReadOutcome r = Read(name);
    EXPECT_EQ(std::make_tuple(r.status, r.error), std::make_tuple(255, 5)) << w;
  }
}

TEST(TiffRead, FilesLibtiffCannotOpenFailWithError3) {
  TempDir dir;
  for (const std::string& b : {std::string(), std::string("not an image"), "II" + Le16(42),
                               "II" + Le16(42) + Le32(4096), "MM" + Le16(42) + Le32(8)}) {
    SCOPED_TRACE(b);
    WriteFile(dir.file("bad.tif"), b);
    ReadOutcome r = Read(dir.file("bad.tif"));
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, ImageOpening(dir.file("bad.tif"), kReadFailed));
    EXPECT_EQ(r.error, 3);
    EXPECT_NE(r.err, "");  // libtiff's reason
  }
  ReadOutcome r = Read(dir.file("none.tiff"));
  EXPECT_EQ(r.out, ImageOpening(dir.file("none.tiff"), kReadFailed));
  EXPECT_EQ(r.error, 3);
}

// libtiff's sample images with the verdicts of their INFO.txt: after a file
// name, "byte order XX, WxH," and "-> ACCEPT: ... pixel sum S, min A, max B"
// or "-> REFUSE msg N (... V)".
TEST(TiffSampleImages, EachFileIsAcceptedOrRefusedAsListed) {
  const std::string folder = std::string(KLUTEIDA_SHARED_DATA) + "/tiff";
  if (!std::filesystem::is_directory(folder)) GTEST_SKIP() << folder << " is absent";
  std::istringstream info(ReadFile(folder + "/INFO.txt"));
  std::string line, name;
  unsigned width = 0, height = 0, checked = 0;
  const auto after = [&line](const char* key) -> const char* {
    const size_t at = line.find(key);
    return at == std::string::npos ? nullptr : line.c_str() + at + std::strlen(key);
  };
  while (std::getline(info, line)) {
    const bool is_file = line.find_first_of(" \t") == std::string::npos &&
                         (line.size() > 4 && (line.compare(line.size() - 4, 4, ".tif") == 0 ||
                                              line.compare(line.size() - 5, 5, ".tiff") == 0));
    if (is_file) name = folder + "/" + line;
    if (const char* p = after("byte order ")) std::sscanf(p, "%*s %ux%u,", &width, &height);
    SCOPED_TRACE(name);
    int msg = 0;
    unsigned value = 0;
    unsigned long long sum = 0;
    unsigned min = 0, max = 0;
    const char* refuse = after("-> REFUSE msg ");
    const char* accept = after("-> ACCEPT:");
    if (refuse && std::sscanf(refuse, "%d (%*s %u)", &msg, &value) == 2) {
      ++checked;
      ExpectRead(name, msg, value);
    } else if (accept && after("pixel sum ") &&
               std::sscanf(after("pixel sum "), "%llu, min %u, max %u", &sum, &min, &max) == 3) {
      ++checked;
      unsigned long long got_sum = 0;
      unsigned lo = 255, hi = 0;
      for (unsigned char p : ExpectRead(name, 0, 0, width, height))
        got_sum += p, lo = std::min<unsigned>(lo, p), hi = std::max<unsigned>(hi, p);
      EXPECT_EQ(Format("%llu %u %u", got_sum, lo, hi), Format("%llu %u %u", sum, min, max));
    }
  }
  EXPECT_EQ(checked, 31u);
}

}  // namespace
