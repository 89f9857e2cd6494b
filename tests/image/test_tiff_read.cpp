// Reading TIFF: files made with libtiff here or built byte by byte, and
// libtiff's sample images when the shared data folder is present.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "image/timage.h"
#include "image_read_support.h"
#include "test_support.h"

using imagetest::AllBytes;
using imagetest::kReadFailed;
using imagetest::Opening;
using imagetest::Read;
using imagetest::ReadOutcome;
using testsupport::Le16;
using testsupport::Le32;
using testsupport::TempDir;
using testsupport::WriteFile;

namespace {

// The refusals, in ISO-8859-1 (0xE9 e acute, 0xE0 a grave).
std::string Refusal(int message, const std::string& name, unsigned value) {
  if (message == 1)
    return name +
           ": Il ne s'agit pas d'une image cod\xE9"
           "e sur \xE0"
           " niveaux de gris (0=noir).\n";
  if (message == 2) return name + ": mauvais nombre de bandes : " + std::to_string(value) + ".\n";
  return " " + name + ": Mauvais nombre de bits / pixel : " + std::to_string(value) + ".\n";
}

std::string Accepted(const std::string& name, unsigned width, unsigned height) {
  const std::string w = std::to_string(width), h = std::to_string(height);
  return Opening(name, "Lecture de l'image TIFF <" + name + ">\nLargeurxHauteur : " + w + "x" + h +
                           "\n\nwidth: " + w + ", height: " + h + ", Success!\n");
}

// A 3 x 2 TIFF written by libtiff; byte i of row y is y * 16 + i.
void WriteTiff(const std::string& path, uint16_t photometric, uint16_t samples, uint16_t bits,
               uint16_t compression = COMPRESSION_NONE) {
  TIFF* tif = TIFFOpen(path.c_str(), "w");
  ASSERT_NE(tif, nullptr);
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, 3u);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, 2u);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, bits);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, samples);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, photometric);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, compression);
  std::vector<uint16_t> colormap(3u << bits);
  if (photometric == PHOTOMETRIC_PALETTE)
    TIFFSetField(tif, TIFFTAG_COLORMAP, &colormap[0], &colormap[1u << bits], &colormap[2u << bits]);
  const uint16_t alpha = EXTRASAMPLE_ASSOCALPHA;
  if (samples == 2) TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, &alpha);
  std::vector<unsigned char> row(static_cast<size_t>(TIFFScanlineSize(tif)));
  for (uint32_t y = 0; y < 2; ++y) {
    for (size_t i = 0; i < row.size(); ++i) row[i] = static_cast<unsigned char>(y * 16 + i);
    ASSERT_GE(TIFFWriteScanline(tif, row.data(), y, 0), 0);
  }
  TIFFClose(tif);
}

TEST(TiffRead, EightBitMinIsBlackIsAcceptedOthersRefused) {
  TempDir dir;
  const struct {
    const char* file;
    uint16_t photometric, samples, bits, compression;
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
    const std::string name = dir.file(c.file);
    WriteTiff(name, c.photometric, c.samples, c.bits, c.compression);
    ReadOutcome r = Read(name);
    if (c.message) {
      EXPECT_EQ(r.status, 255);
      EXPECT_EQ(r.out, Opening(name, ""));
      EXPECT_EQ(r.err, Refusal(c.message, name, c.value));
      continue;
    }
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(r.out, Accepted(name, 3, 2));
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.error, 1);
    EXPECT_EQ(r.image->type, 8);
    EXPECT_EQ(r.image->frames, 1);
    EXPECT_EQ(AllBytes(*r.image), std::string("\x00\x01\x02\x10\x11\x12", 6));
  }
}

// A little-endian TIFF: entries (tag, type 3 SHORT or 4 LONG, values) with
// arrays longer than 4 bytes after the directory, then `pixels`;
// StripOffsets count from the start of `pixels`.
std::string BuildTiff(const std::map<uint16_t, std::pair<uint16_t, std::vector<uint32_t>>>& tags,
                      const std::string& pixels) {
  std::string dir = Le16(static_cast<unsigned>(tags.size())), extra;
  const uint32_t after_dir = 8 + 2 + 12 * static_cast<uint32_t>(tags.size()) + 4;
  uint32_t pixel_start = after_dir;
  for (const auto& [tag, entry] : tags) {
    const size_t bytes = entry.second.size() * (entry.first == 3 ? 2 : 4);
    if (bytes > 4) pixel_start += static_cast<uint32_t>(bytes);
  }
  for (const auto& [tag, entry] : tags) {
    std::string values;
    for (uint32_t v : entry.second) {
      if (tag == TIFFTAG_STRIPOFFSETS) v += pixel_start;
      values += entry.first == 3 ? Le16(v) : Le32(v);
    }
    dir += Le16(tag) + Le16(entry.first) + Le32(static_cast<unsigned>(entry.second.size()));
    if (values.size() > 4) {
      dir += Le32(after_dir + static_cast<uint32_t>(extra.size()));
      extra += values;
    } else {
      dir += values + std::string(4 - values.size(), '\0');
    }
  }
  return "II" + Le16(42) + Le32(8) + dir + Le32(0) + extra + pixels;
}

TEST(TiffRead, ByteBuiltFiles) {
  TempDir dir;
  const std::string name = dir.file("b.tif");
  // No SamplesPerPixel: one sample is assumed.
  WriteFile(name, BuildTiff({{256, {3, {3}}},
                             {257, {3, {2}}},
                             {258, {3, {8}}},
                             {259, {3, {1}}},
                             {262, {3, {1}}},
                             {273, {4, {0}}},
                             {278, {3, {2}}},
                             {279, {4, {6}}}},
                            "uvwxyz"));
  ReadOutcome r = Read(name);
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_EQ(r.out, Accepted(name, 3, 2));
  EXPECT_EQ(AllBytes(*r.image), "uvwxyz");
  // Four strips of one row, the file ends after the second: the rest stays
  // 0, and nothing is reported.
  WriteFile(name, BuildTiff({{256, {3, {4}}},
                             {257, {3, {4}}},
                             {258, {3, {8}}},
                             {259, {3, {1}}},
                             {262, {3, {1}}},
                             {273, {4, {0, 4, 8, 12}}},
                             {277, {3, {1}}},
                             {278, {3, {1}}},
                             {279, {4, {4, 4, 4, 4}}}},
                            "abcdefgh"));
  r = Read(name);
  ASSERT_EQ(r.status, 0) << r.out << r.err;
  EXPECT_EQ(r.out, Accepted(name, 4, 4));
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(AllBytes(*r.image), "abcdefgh" + std::string(8, '\0'));
}

TEST(TiffRead, FilesLibtiffCannotOpenFailWithError3) {
  TempDir dir;
  const std::string bytes[] = {"", "not an image", "II" + Le16(42), "II" + Le16(42) + Le32(4096),
                               "MM" + Le16(42) + Le32(8)};
  for (const std::string& b : bytes) {
    SCOPED_TRACE(b);
    WriteFile(dir.file("bad.tif"), b);
    ReadOutcome r = Read(dir.file("bad.tif"));
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, Opening(dir.file("bad.tif"), kReadFailed));
    EXPECT_EQ(r.error, 3);
    EXPECT_NE(r.err, "");  // libtiff's reason
  }
  ReadOutcome r = Read(dir.file("none.tiff"));
  EXPECT_EQ(r.out, Opening(dir.file("none.tiff"), kReadFailed));
  EXPECT_EQ(r.error, 3);
}

// libtiff's sample images with the verdicts of their INFO.txt: after a file
// name, "byte order XX, WxH," and "-> ACCEPT: ... pixel sum S, min A, max B"
// or "-> REFUSE msg N (... V)".
TEST(TiffSampleImages, EachFileIsAcceptedOrRefusedAsListed) {
  const std::string folder = std::string(KLUTEIDA_SHARED_DATA) + "/tiff";
  if (!std::filesystem::is_directory(folder)) GTEST_SKIP() << folder << " is absent";
  std::istringstream info(testsupport::ReadFile(folder + "/INFO.txt"));
  const std::regex file_line(R"(^(\S+\.tiff?)$)"), size(R"(byte order \w+, (\d+)x(\d+),)"),
      accept(R"(-> ACCEPT: .*pixel sum (\d+), min (\d+), max (\d+))"),
      refuse(R"(-> REFUSE msg (\d) \(\w+ (\d+)\))");
  std::string line, name;
  unsigned width = 0, height = 0, checked = 0;
  std::smatch m;
  while (std::getline(info, line)) {
    if (std::regex_search(line, m, file_line)) name = folder + "/" + m[1].str();
    if (std::regex_search(line, m, size)) {
      width = std::stoul(m[1]);
      height = std::stoul(m[2]);
    }
    const bool accepted = std::regex_search(line, m, accept);
    if (!accepted && !std::regex_search(line, m, refuse)) continue;
    SCOPED_TRACE(name);
    ReadOutcome r = Read(name);
    ++checked;
    if (!accepted) {
      EXPECT_EQ(r.status, 255);
      EXPECT_EQ(r.out, Opening(name, ""));
      EXPECT_EQ(r.err, Refusal(std::stoi(m[1]), name, std::stoul(m[2])));
      continue;
    }
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(r.out, Accepted(name, width, height));
    EXPECT_EQ(r.err, "");
    unsigned long long sum = 0;
    unsigned lo = 255, hi = 0;
    for (unsigned char p : AllBytes(*r.image)) {
      sum += p;
      lo = std::min<unsigned>(lo, p);
      hi = std::max<unsigned>(hi, p);
    }
    EXPECT_EQ(sum, std::stoull(m[1]));
    EXPECT_EQ(lo, std::stoul(m[2]));
    EXPECT_EQ(hi, std::stoul(m[3]));
  }
  EXPECT_EQ(checked, 31u);
}

}  // namespace
