// Reading the raster formats: files built here byte by byte, read back through
// TImage(name), checked for geometry, pixels, printed text and `error`.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "image/timage.h"
#include "image_read_support.h"
#include "test_support.h"

using imagetest::AllBytes;
using imagetest::kReadFailed;
using imagetest::Opening;
using imagetest::Read;
using imagetest::ReadOutcome;
using imagetest::ReadWith;
using testsupport::Le16;
using testsupport::Le64;
using testsupport::TempDir;

namespace {

using Files = std::vector<std::pair<std::string, std::string>>;  // name in the scratch dir, bytes

void Write(const TempDir& dir, const Files& files) {
  for (const auto& [name, bytes] : files) {
    std::filesystem::create_directories(std::filesystem::path(dir.file(name)).parent_path());
    testsupport::WriteFile(dir.file(name), bytes);
  }
}

std::string B(const char* bytes, size_t n) { return std::string(bytes, n); }

std::string Uml(unsigned w, unsigned h, unsigned type, unsigned frames, std::string comment = "") {
  comment.resize(256, '\0');
  return B("\x45\x1F\x01", 3) + Le16(w) + Le16(h) + static_cast<char>(type) + Le16(frames) +
         comment;
}

std::string Viff(unsigned long long w, unsigned long long h, unsigned long long bands,
                 unsigned long long storage) {
  std::string header(1024, '\0');
  header[0] = static_cast<char>(0xAB);
  header.replace(520, 8, Le64(w));
  header.replace(528, 8, Le64(h));
  header.replace(592, 8, Le64(bands));
  header.replace(600, 8, Le64(storage));
  return header;
}

std::string Doubles(std::vector<double> v) {
  return std::string(reinterpret_cast<const char*>(v.data()), v.size() * sizeof(double));
}

const std::string kLong(150, 'n');

struct Good {
  const char* label;
  Files files;
  std::string read, word;
  int width, height, type, frames, offset_x, offset_y;
  std::string data, comment;
};

TEST(ImageRead, EachFormatGivesGeometryPixelsAndText) {
  const std::string u16 = Le16(0x0102) + Le16(0x0304) + Le16(0x0506) + Le16(0xFFFF);
  const std::string pgm_data = B("\x0A\x20\xFF\x00", 4);
  // clang-format off
  const Good cases[] = {
      {"uml", {{"a.uml", Uml(2, 1, 9, 2, "first light") + u16}}, "a.uml", " uml ", 2, 1, 9, 2, 0,
       0, u16, "first light"},
      {"umlx, long name", {{kLong + ".umlx", Uml(1, 1, 8, 1) + "\x7F"}}, kLong + ".umlx", " uml ",
       1, 1, 8, 1, 0, 0, "\x7F", ""},
      {"uml comment cut", {{"c.uml", Uml(1, 1, 8, 1, std::string(256, 'c')) + "x"}}, "c.uml",
       " uml ", 1, 1, 8, 1, 0, 0, "x", std::string(255, 'c')},
      {"txt", {{"t.txt", "3 2\n1 2.5 -3\n\t4e2   0.125\n-0\n"}}, "t.txt", " txt ", 3, 2, 2, 1, 0,
       0, Doubles({1, 2.5, -3, 400, 0.125, -0.0}), ""},
      {"xv low 16 bits", {{"w.xv", Viff(0x70002, 0xABCD00000001ull, 0x10001, 1) + "wxyz"}}, "w.xv",
       " viff, ", 2, 1, 8, 1, 0, 0, "wx", ""},
      {"ima", {{"s.dim", "4 1\n-offset_x 10 -offset_y 20\n"}, {"s.ima", "abcdefgh"}}, "s.ima", "",
       4, 1, 8, 1, 10, 20, "abcd", ""},
      {"imw", {{"s.dim", "2 1\n-offset_x -1 -offset_y 2\n"}, {"s.imw", "abcdefgh"}}, "s.imw", "",
       2, 1, 9, 1, -1, 2, "abcd", ""},
      {"imf", {{"s.dim", "1 2\n"}, {"s.imf", "abcdefgh"}}, "s.imf", "", 1, 2, 5, 1, 0, 0,
       "abcdefgh", ""},
      {"dim without line end", {{"s.dim", "2 1"}, {"s.ima", "ab"}}, "s.ima", "", 2, 1, 8, 1, 0, 0,
       "ab", ""},
      {"dim offsets unparsed", {{"s.dim", "  2   1 \nno offsets\n"}, {"s.ima", "ab"}}, "s.ima", "",
       2, 1, 8, 1, 0, 0, "ab", ""},
      {"dots in directories", {{"d.d/" + kLong + ".v2.dim", "1 2\n-offset_x -5 -offset_y 7\n"},
       {"d.d/" + kLong + ".v2.imaging", "\x05\x06"}}, "d.d/" + kLong + ".v2.imaging", "", 1, 2, 8,
       1, -5, 7, "\x05\x06", ""},
      {"rvb", {{"c.dim", "2 1\n"}, {"c.rvb", "\x01\x02\x03\x04\x05\x06"}}, "c.rvb", "", 2, 1, 8, 3,
       0, 0, "\x01\x04\x02\x05\x03\x06", ""},
      {"rvb rows", {{"m.dim", "3 2\n-offset_x 1 -offset_y 2\n"}, {"m.rvb", "ABCDEFGHIabcdefghi"}},
       "m.rvb", "", 3, 2, 8, 3, 1, 2, "ADGadgBEHbehCFIcfi", ""},
      {"pgm", {{"g.pgm", "P5\n# CREATOR TImage Class\n2 2 \n255\n" + pgm_data + "rest"}}, "g.pgm",
       "", 2, 2, 8, 1, 0, 0, pgm_data, ""},
      {"pgm long comment", {{"g.pgm", "P5\n#" + kLong + kLong + "\n2 2\n15\n" + pgm_data}},
       "g.pgm", "", 2, 2, 8, 1, 0, 0, pgm_data, ""},
      // "2 2" is taken for the comment; the size comes from "255" and the data.
      {"pgm without comment", {{"n.pgm", B("P5\n2 2\n255\n\x01\x02\x03\x04", 15)}}, "n.pgm", "",
       255, 0, 8, 1, 0, 0, "", ""},
  };
  // clang-format on
  for (const Good& c : cases) {
    SCOPED_TRACE(c.label);
    TempDir dir;
    Write(dir, c.files);
    const std::string name = dir.file(c.read);
    ReadOutcome r = Read(name);
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(r.out, Opening(name, c.word + "width: " + std::to_string(c.width) +
                                       ", height: " + std::to_string(c.height) + ", Success!\n"));
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.error, 1);
    const TImage& im = *r.image;
    EXPECT_EQ(im.width, c.width);
    EXPECT_EQ(im.height, c.height);
    EXPECT_EQ(im.type, c.type);
    EXPECT_EQ(im.frames, c.frames);
    EXPECT_EQ(im.offset_x, c.offset_x);
    EXPECT_EQ(im.offset_y, c.offset_y);
    EXPECT_EQ(AllBytes(im), c.data);
    EXPECT_EQ(std::string(im.comment), c.comment);
    if (c.frames == 3) {
      EXPECT_EQ(im.green, im.red + im.width * im.height);
      EXPECT_EQ(im.blue, im.green + im.width * im.height);
    }
  }
}

TEST(ImageRead, ViffStorageTypeGivesPixelType) {
  const int type_of[] = {8, 8, 9, 8, 8, 5, 6, 8, 8, 2, 8};  // storage 0 to 10
  const unsigned long long storages[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 1ull << 40};
  for (unsigned long long storage : storages) {
    SCOPED_TRACE(storage);
    const int type = storage <= 10 ? type_of[storage] : 8;
    const size_t size = type == 2 || type == 6 ? 8 : type == 5 ? 4 : type == 9 ? 2 : 1;
    std::string pixels;
    for (size_t i = 0; i < 3 * 2 * 2 * size; ++i) pixels += static_cast<char>(i * 7 + 1);
    TempDir dir;
    Write(dir, {{"v.xv", Viff(3, 2, 2, storage) + pixels}});
    ReadOutcome r = Read(dir.file("v.xv"));
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(r.image->type, type);
    EXPECT_EQ(AllBytes(*r.image), pixels);
  }
}

struct Bad {
  const char* label;
  Files files;
  std::string read, word;
  int error;
};

TEST(ImageRead, BadFilesEndTheProcessWithTheirErrorValue) {
  const std::string uml = Uml(3, 2, 8, 1) + "abcdef";
  std::string bad_magic = uml, bad_version = uml;
  bad_magic[0] = 0x46;
  bad_version[2] = 2;
  const Bad cases[] = {
      {"TIF", {{"a.TIF", "x"}}, "a.TIF", "", 7},
      {"bmp", {}, "a.bmp", "", 7},
      {"empty extension", {}, "a.", "", 7},
      {"um", {}, "a.um", "", 7},
      {"missing uml", {}, "m.uml", " uml ", 3},
      {"missing txt", {}, "m.txt", " txt ", 3},
      {"missing xv", {}, "m.xv", " viff, ", 3},
      {"missing pgm", {}, "m.pgm", "", 3},
      {"uml magic", {{"b.uml", bad_magic}}, "b.uml", " uml ", 10},
      {"uml version 2", {{"b.uml", bad_version}}, "b.uml", " uml ", 10},
      {"uml empty", {{"b.uml", ""}}, "b.uml", " uml ", 5},
      {"uml no version", {{"b.uml", uml.substr(0, 2)}}, "b.uml", " uml ", 5},
      {"uml cut in frames", {{"b.uml", uml.substr(0, 9)}}, "b.uml", " uml ", 5},
      {"uml cut in comment", {{"b.uml", uml.substr(0, 265)}}, "b.uml", " uml ", 5},
      {"uml short data", {{"b.uml", uml.substr(0, 271)}}, "b.uml", " uml ", 5},
      // 65535^3 elements: far beyond 32 bits, and beyond the file.
      {"uml huge", {{"b.uml", Uml(65535, 65535, 2, 65535) + "abc"}}, "b.uml", " uml ", 5},
      {"txt empty", {{"b.txt", ""}}, "b.txt", " txt ", 5},
      {"txt one size", {{"b.txt", "3"}}, "b.txt", " txt ", 5},
      {"txt missing number", {{"b.txt", "2 2\n1 2 3"}}, "b.txt", " txt ", 5},
      {"txt not a number", {{"b.txt", "2 1\n1 x"}}, "b.txt", " txt ", 5},
      {"txt negative", {{"b.txt", "-2 1\n1 2"}}, "b.txt", " txt ", 5},
      {"txt huge", {{"b.txt", "65535 65535\n1 2 3"}}, "b.txt", " txt ", 5},
      {"xv short header", {{"b.xv", Viff(1, 1, 1, 1).substr(0, 1023)}}, "b.xv", " viff, ", 5},
      {"xv no data", {{"b.xv", Viff(1, 1, 1, 1)}}, "b.xv", " viff, ", 5},
      {"xv short data", {{"b.xv", Viff(2, 2, 1, 5) + std::string(15, 'd')}}, "b.xv", " viff, ", 5},
      {"xv huge", {{"b.xv", Viff(65535, 65535, 65535, 9) + "abc"}}, "b.xv", " viff, ", 5},
      {"no dim", {{"x.ima", "ab"}}, "x.ima", "", 3},
      {"no image", {{"x.dim", "2 1\n"}}, "x.ima", "", 3},
      {"empty dim", {{"x.dim", ""}, {"x.ima", "ab"}}, "x.ima", "", 3},
      {"garbage dim", {{"x.dim", "width height\n"}, {"x.ima", "ab"}}, "x.ima", "", 3},
      {"one number", {{"x.dim", "2\n"}, {"x.ima", "ab"}}, "x.ima", "", 3},
      {"negative width", {{"x.dim", "-2 1\n"}, {"x.imw", "ab"}}, "x.imw", "", 3},
      {"negative height", {{"x.dim", "2 -1\n"}, {"x.imf", "ab"}}, "x.imf", "", 3},
      {"short ima", {{"x.dim", "2 2\n"}, {"x.ima", "abc"}}, "x.ima", "", 6},
      {"short imw", {{"x.dim", "2 1\n"}, {"x.imw", "abc"}}, "x.imw", "", 6},
      {"huge ima", {{"x.dim", "65535 65535\n"}, {"x.ima", "abc"}}, "x.ima", "", 6},
      {"rvb no dim", {{"x.rvb", "abcdef"}}, "x.rvb", "", 3},
      {"rvb no image", {{"x.dim", "2 1\n"}}, "x.rvb", "", 3},
      {"rvb short", {{"x.dim", "2 2\n"}, {"x.rvb", "abcdefghijk"}}, "x.rvb", "", 5},
      {"rvb huge", {{"x.dim", "65535 65535\n"}, {"x.rvb", "abc"}}, "x.rvb", "", 5},
      {"pgm short", {{"s.pgm", "P5\n# c\n3 2\n255\nabcde"}}, "s.pgm", "", 6},
      {"pgm negative", {{"s.pgm", "P5\n# c\n-3 2\n255\nabcdef"}}, "s.pgm", "", 6},
      {"pgm huge", {{"s.pgm", "P5\n# c\n65535 65535\n255\nabc"}}, "s.pgm", "", 6},
      // Without a comment line, digits in the data make a height of 7.
      {"pgm misread", {{"s.pgm", "P5\n2 2\n255\n7 x\nab"}}, "s.pgm", "", 6},
  };
  for (const Bad& c : cases) {
    SCOPED_TRACE(c.label);
    TempDir dir;
    Write(dir, c.files);
    const std::string name = dir.file(c.read);
    ReadOutcome r = Read(name);
    EXPECT_EQ(r.signal, 0);
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, Opening(name, c.word + kReadFailed));
    EXPECT_EQ(r.error, c.error);
  }
  // The scratch directory's name has a dot: a bare name has none.
  const std::string bare(200, 'z');
  ReadOutcome r = Read(bare);
  EXPECT_EQ(r.out, Opening(bare, kReadFailed));
  EXPECT_EQ(r.error, 7);
}

TEST(ImageRead, PgmWithoutExactlyP5IsRefusedWithStatus1) {
  for (const char* first : {"P6\n", "P5 \n", "P5\r\n", "P5", "", "p5\n", "P55\n"}) {
    SCOPED_TRACE(first);
    TempDir dir;
    Write(dir, {{"r.pgm", std::string(first) + "# c\n1 1\n255\nx"}});
    ReadOutcome r = Read(dir.file("r.pgm"));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, Opening(dir.file("r.pgm"), "The input file isn't a PGM file. Stopped\n"));
  }
}

TEST(ImageRead, RawFileOfKnownGeometry) {
  TempDir dir;
  const std::string name = dir.file("raw.bin");
  const auto raw = [&name](int w, int h, unsigned char type, unsigned short frames, int skip) {
    return ReadWith([=] { return new TImage(name.c_str(), w, h, type, frames, skip); });
  };
  Write(dir, {{"raw.bin", "HDRabcdef"}});
  ReadOutcome r = raw(3, 2, 8, 1, 3);
  ASSERT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "Opening file: " + name + "...");
  EXPECT_EQ(r.error, 1);
  EXPECT_EQ(AllBytes(*r.image), "abcdef");
  // Two frames of 16-bit values land whole in the image.
  Write(dir, {{"raw.bin", "S" + Le16(1) + Le16(2) + Le16(3) + Le16(4)}});
  r = raw(2, 1, 9, 2, 1);
  ASSERT_EQ(r.status, 0);
  EXPECT_EQ(AllBytes(*r.image), Le16(1) + Le16(2) + Le16(3) + Le16(4));
  // A short but non-empty read is accepted.
  r = raw(4, 4, 8, 1, 3);
  ASSERT_EQ(r.status, 0);
  EXPECT_EQ(AllBytes(*r.image), B("\x02\x00\x03\x00\x04\x00", 6) + std::string(10, '\0'));
  // Nothing read, no file or a negative size: error 3.
  for (const auto& [w, h, skip] : {std::tuple{2, 2, 9}, {2, 2, 1000}, {-2, 2, 0}, {2, -2, 0}}) {
    r = raw(w, h, 8, 1, skip);
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, "Opening file: " + name + "..." + kReadFailed);
    EXPECT_EQ(r.error, 3);
  }
  std::filesystem::remove(name);
  EXPECT_EQ(raw(2, 2, 8, 1, 0).error, 3);
}

TEST(ImageRead, GetIntensityWithBand) {
  TempDir dir;
  // 16-bit elements 0x0111 and 0x0212: the first byte of the result is
  // replaced by buffer byte i (the element index), as the band read does.
  Write(dir,
        {{"g.dim", "2 1\n-offset_x 10 -offset_y 20\n"}, {"g.imw", Le16(0x0111) + Le16(0x0212)}});
  ReadOutcome r = Read(dir.file("g.imw"));
  ASSERT_EQ(r.status, 0);
  unsigned char v[8] = {0};
  ASSERT_EQ(r.image->GetIntensity(10, 20, v, 0), 1);
  EXPECT_EQ(B(reinterpret_cast<char*>(v), 2), "\x11\x01");
  ASSERT_EQ(r.image->GetIntensity(11, 20, v, 0), 1);
  EXPECT_EQ(B(reinterpret_cast<char*>(v), 2), "\x01\x02");
  // Elements k + 1 in a 2 x 1 image of two frames at offset (5, 7).
  for (const auto& [type, size] : {std::pair{2, 8}, {5, 4}, {6, 8}, {8, 1}}) {
    SCOPED_TRACE(type);
    unsigned char* buffer = static_cast<unsigned char*>(std::calloc(4, size));
    for (int k = 0; k < 4; ++k) buffer[k * size] = static_cast<unsigned char>(k + 1);
    TImage im(2, 1, static_cast<unsigned char>(type), 2, buffer, 5, 7);
    for (int i = 0; i < 4; ++i) {
      std::memset(v, 0, sizeof v);
      ASSERT_EQ(im.GetIntensity(5 + i % 2, 7, v, i / 2), 1);
      EXPECT_EQ(v[0], i + 1);
    }
    v[0] = 0xEE;
    for (const auto& [x, y, band] : {std::tuple{5, 7, 2},
                                     {5, 7, 65535},
                                     {5, 7, -1},
                                     {4, 7, 0},
                                     {7, 7, 0},
                                     {5, 8, 0},
                                     {5, 6, 0}})
      EXPECT_EQ(im.GetIntensity(x, y, v, band), 0);
    EXPECT_EQ(v[0], 0xEE);
  }
}

TEST(ImageRead, GetImaDimReadsSizesAndOptionalOffsets) {
  TempDir dir;
  Write(dir, {{"a.dim", "640 480\n-offset_x 12 -offset_y -34\n"},
              {"b.dim", "5 6\n"},
              {"c.dim", "garbage\n"}});
  int w = -1, h = -1, ox = 77, oy = 88;
  EXPECT_EQ(GetImaDim(dir.file("c.dim").c_str(), &w, &h, &ox, &oy), 1);
  EXPECT_EQ(std::vector<int>({w, h, ox, oy}), std::vector<int>({-1, -1, 77, 88}));
  EXPECT_EQ(GetImaDim(dir.file("b.dim").c_str(), &w, &h, &ox, &oy), 1);
  EXPECT_EQ(std::vector<int>({w, h, ox, oy}), std::vector<int>({5, 6, 77, 88}));
  EXPECT_EQ(GetImaDim(dir.file("a.dim").c_str(), &w, &h, &ox, &oy), 1);
  EXPECT_EQ(std::vector<int>({w, h, ox, oy}), std::vector<int>({640, 480, 12, -34}));
  EXPECT_EQ(GetImaDim(dir.file("none.dim").c_str(), &w, &h, &ox, &oy), 0);
}

}  // namespace
