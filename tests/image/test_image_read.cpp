// Reading the raster formats: files built here byte by byte, read back through
// TImage(name), checked for geometry, pixels, printed text and `error`.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "image/timage.h"
#include "image_read_support.h"
#include "test_support.h"

using namespace imagetest;
using namespace testsupport;

namespace {

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

// The word each reader prints before the sizes.
std::string Word(const std::string& name) {
  const std::string ext = name.substr(name.rfind('.') + 1);
  return ext.rfind("uml", 0) == 0 ? " uml " : ext == "txt" ? " txt " : ext == "xv" ? " viff, " : "";
}

TEST(ImageRead, EachFormatGivesGeometryPixelsAndText) {
  const std::string u16 = Le16(0x0102) + Le16(0x0304) + Le16(0x0506) + Le16(0xFFFF);
  const std::string pgm = std::string("\x0A\x20\xFF\x00", 4);
  const std::string dd = "d.d/" + kLong + ".v2";
  const struct {
    Files files;                  // the image last
    std::array<int, 6> geometry;  // width, height, type, frames, offset_x, offset_y
    std::string data, comment;
  } cases[] = {
      // clang-format off
      {{{"a.uml", UmlHeader(2, 1, 9, 2, "first light") + u16}}, {2, 1, 9, 2, 0, 0}, u16, "first light"},
      {{{kLong + ".umlx", UmlHeader(1, 1, 8, 1) + "\x7F"}}, {1, 1, 8, 1, 0, 0}, "\x7F", ""},
      {{{"c.uml", UmlHeader(1, 1, 8, 1, std::string(256, 'c')) + "x"}}, {1, 1, 8, 1, 0, 0}, "x",
       std::string(255, 'c')},
      {{{"t.txt", "3 2\n1 2.5 -3\n\t4e2   0.125\n-0\n"}}, {3, 2, 2, 1, 0, 0},
       Doubles({1, 2.5, -3, 400, 0.125, -0.0}), ""},
      // Only the low 16 bits of the 64-bit sizes count.
      {{{"w.xv", Viff(0x70002, 0xABCD00000001ull, 0x10001, 1) + "wxyz"}}, {2, 1, 8, 1, 0, 0}, "wx", ""},
      // No frames, no pixels: the declared sizes are dropped.
      {{{"z.uml", UmlHeader(65535, 65535, 8, 0)}}, {0, 0, 8, 0, 0, 0}, "", ""},
      {{{"z.xv", Viff(65535, 65535, 0, 1)}}, {0, 0, 8, 0, 0, 0}, "", ""},
      {{{"s.dim", "4 1\n-offset_x 10 -offset_y 20\n"}, {"s.ima", "abcdefgh"}}, {4, 1, 8, 1, 10, 20},
       "abcd", ""},
      {{{"s.dim", "2 1\n-offset_x -1 -offset_y 2\n"}, {"s.imw", "abcdefgh"}}, {2, 1, 9, 1, -1, 2},
       "abcd", ""},
      {{{"s.dim", "1 2\n"}, {"s.imf", "abcdefgh"}}, {1, 2, 5, 1, 0, 0}, "abcdefgh", ""},
      {{{"s.dim", "2 1"}, {"s.ima", "ab"}}, {2, 1, 8, 1, 0, 0}, "ab", ""},
      {{{"s.dim", "  2   1 \nno offsets\n"}, {"s.ima", "ab"}}, {2, 1, 8, 1, 0, 0}, "ab", ""},
      // The header is the name cut at its last dot, directories included.
      {{{dd + ".dim", "1 2\n-offset_x -5 -offset_y 7\n"}, {dd + ".imaging", "\x05\x06"}},
       {1, 2, 8, 1, -5, 7}, "\x05\x06", ""},
      {{{"c.dim", "2 1\n"}, {"c.rvb", "\x01\x02\x03\x04\x05\x06"}}, {2, 1, 8, 3, 0, 0},
       "\x01\x04\x02\x05\x03\x06", ""},
      {{{"m.dim", "3 2\n-offset_x 1 -offset_y 2\n"}, {"m.rvb", "ABCDEFGHIabcdefghi"}},
       {3, 2, 8, 3, 1, 2}, "ADGadgBEHbehCFIcfi", ""},
      {{{"g.pgm", "P5\n# CREATOR TImage Class\n2 2 \n255\n" + pgm + "rest"}}, {2, 2, 8, 1, 0, 0}, pgm, ""},
      {{{"g.pgm", "P5\n#" + kLong + kLong + "\n2 2\n15\n" + pgm}}, {2, 2, 8, 1, 0, 0}, pgm, ""},
      // Without a comment line "2 2" is taken for it; the size comes from
      // "255" and the data.
      {{{"n.pgm", std::string("P5\n2 2\n255\n\x01\x02\x03\x04", 15)}}, {255, 0, 8, 1, 0, 0}, "", ""},
      // clang-format on
  };
  for (const auto& c : cases) {
    const std::string name = c.files.back().first;
    SCOPED_TRACE(name);
    TempDir dir;
    dir.Write(c.files);
    ReadOutcome r = Read(dir.file(name));
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(r.out,
              ImageOpening(dir.file(name), Word(name) + Format("width: %d, height: %d, Success!\n",
                                                               c.geometry[0], c.geometry[1])));
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.error, 1);
    const TImage& im = *r.image;
    EXPECT_EQ(
        (std::array<int, 6>{im.width, im.height, im.type, im.frames, im.offset_x, im.offset_y}),
        c.geometry);
    EXPECT_EQ(AllBytes(im), c.data);
    EXPECT_EQ(std::string(im.comment), c.comment);
    if (im.frames == 3) {
      EXPECT_EQ(im.green, im.red + im.width * im.height);
      EXPECT_EQ(im.blue, im.green + im.width * im.height);
    }
  }
}

TEST(ImageRead, ViffStorageTypeGivesPixelType) {
  const int type_of[] = {8, 8, 9, 8, 8, 5, 6, 8, 8, 2, 8};  // storage 0 to 10
  const unsigned long long storages[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 1ull << 40};
  for (unsigned long long storage : storages) {
    SCOPED_TRACE(storage);
    const int type = storage <= 10 ? type_of[storage] : 8;
    const int size = type == 2 || type == 6 ? 8 : type == 5 ? 4 : type == 9 ? 2 : 1;
    std::string pixels;
    for (int i = 0; i < 3 * 2 * 2 * size; ++i) pixels += static_cast<char>(i * 7 + 1);
    TempDir dir;
    dir.Write({{"v.xv", Viff(3, 2, 2, storage) + pixels}});
    ReadOutcome r = Read(dir.file("v.xv"));
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(r.image->type, type);
    EXPECT_EQ(AllBytes(*r.image), pixels);
  }
}

TEST(ImageRead, BadFilesEndTheProcessWithTheirErrorValue) {
  const std::string uml = UmlHeader(3, 2, 8, 1) + "abcdef";
  std::string bad_magic = uml, bad_version = uml;
  bad_magic[0] = 0x46;
  bad_version[2] = 2;
  const struct {
    const char* label;
    Files files;
    std::string read;
    int error;
  } cases[] = {
      {"TIF", {{"a.TIF", "x"}}, "a.TIF", 7},
      {"bmp", {}, "a.bmp", 7},
      {"empty extension", {}, "a.", 7},
      {"um", {}, "a.um", 7},
      {"missing uml", {}, "m.uml", 3},
      {"missing txt", {}, "m.txt", 3},
      {"missing xv", {}, "m.xv", 3},
      {"missing pgm", {}, "m.pgm", 3},
      {"uml magic", {{"b.uml", bad_magic}}, "b.uml", 10},
      {"uml version 2", {{"b.uml", bad_version}}, "b.uml", 10},
      {"uml empty", {{"b.uml", ""}}, "b.uml", 5},
      {"uml no version", {{"b.uml", uml.substr(0, 2)}}, "b.uml", 5},
      {"uml cut in frames", {{"b.uml", uml.substr(0, 9)}}, "b.uml", 5},
      {"uml cut in comment", {{"b.uml", uml.substr(0, 265)}}, "b.uml", 5},
      {"uml short data", {{"b.uml", uml.substr(0, 271)}}, "b.uml", 5},
      // 65535^3 elements: far beyond 32 bits, and beyond the file.
      {"uml huge", {{"b.uml", UmlHeader(65535, 65535, 2, 65535) + "abc"}}, "b.uml", 5},
      {"txt empty", {{"b.txt", ""}}, "b.txt", 5},
      {"txt one size", {{"b.txt", "3"}}, "b.txt", 5},
      {"txt missing number", {{"b.txt", "2 2\n1 2 3"}}, "b.txt", 5},
      {"txt not a number", {{"b.txt", "2 1\n1 x"}}, "b.txt", 5},
      {"txt negative", {{"b.txt", "-2 1\n1 2"}}, "b.txt", 5},
      {"txt huge", {{"b.txt", "65535 65535\n1 2 3"}}, "b.txt", 5},
      {"xv short header", {{"b.xv", Viff(1, 1, 1, 1).substr(0, 1023)}}, "b.xv", 5},
      {"xv no data", {{"b.xv", Viff(1, 1, 1, 1)}}, "b.xv", 5},
      {"xv short data", {{"b.xv", Viff(2, 2, 1, 5) + std::string(15, 'd')}}, "b.xv", 5},
      {"xv huge", {{"b.xv", Viff(65535, 65535, 65535, 9) + "abc"}}, "b.xv", 5},
      {"no dim", {{"x.ima", "ab"}}, "x.ima", 3},
      {"no image", {{"x.dim", "2 1\n"}}, "x.ima", 3},
      {"empty dim", {{"x.dim", ""}, {"x.ima", "ab"}}, "x.ima", 3},
      {"garbage dim", {{"x.dim", "width height\n"}, {"x.ima", "ab"}}, "x.ima", 3},
      {"one number", {{"x.dim", "2\n"}, {"x.ima", "ab"}}, "x.ima", 3},
      {"negative width", {{"x.dim", "-2 1\n"}, {"x.imw", "ab"}}, "x.imw", 3},
      {"negative height", {{"x.dim", "2 -1\n"}, {"x.imf", "ab"}}, "x.imf", 3},
      {"short ima", {{"x.dim", "2 2\n"}, {"x.ima", "abc"}}, "x.ima", 6},
      {"short imw", {{"x.dim", "2 1\n"}, {"x.imw", "abc"}}, "x.imw", 6},
      {"huge ima", {{"x.dim", "65535 65535\n"}, {"x.ima", "abc"}}, "x.ima", 6},
      {"rvb no dim", {{"x.rvb", "abcdef"}}, "x.rvb", 3},
      {"rvb no image", {{"x.dim", "2 1\n"}}, "x.rvb", 3},
      {"rvb short", {{"x.dim", "2 2\n"}, {"x.rvb", "abcdefghijk"}}, "x.rvb", 5},
      {"rvb huge", {{"x.dim", "65535 65535\n"}, {"x.rvb", "abc"}}, "x.rvb", 5},
      {"pgm short", {{"s.pgm", "P5\n# c\n3 2\n255\nabcde"}}, "s.pgm", 6},
      {"pgm negative", {{"s.pgm", "P5\n# c\n-3 2\n255\nabcdef"}}, "s.pgm", 6},
      {"pgm huge", {{"s.pgm", "P5\n# c\n65535 65535\n255\nabc"}}, "s.pgm", 6},
      // Without a comment line, digits in the data make a height of 7.
      {"pgm misread", {{"s.pgm", "P5\n2 2\n255\n7 x\nab"}}, "s.pgm", 6},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    TempDir dir;
    dir.Write(c.files);
    const std::string name = dir.file(c.read);
    ReadOutcome r = Read(name);
    EXPECT_EQ(r.signal, 0);
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(r.out, ImageOpening(name, Word(c.read) + kReadFailed));
    EXPECT_EQ(r.error, c.error);
  }
  // The scratch directory's name has a dot: a bare name has none.
  const std::string bare(200, 'z');
  ReadOutcome r = Read(bare);
  EXPECT_EQ(r.out, ImageOpening(bare, kReadFailed));
  EXPECT_EQ(r.error, 7);

  for (const char* first : {"P6\n", "P5 \n", "P5\r\n", "P5", "", "p5\n", "P55\n"}) {
    SCOPED_TRACE(first);
    TempDir dir;
    dir.Write({{"r.pgm", std::string(first) + "# c\n1 1\n255\nx"}});
    ReadOutcome r = Read(dir.file("r.pgm"));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, ImageOpening(dir.file("r.pgm"), "The input file isn't a PGM file. Stopped\n"));
  }
}

TEST(ImageRead, RawFileOfKnownGeometry) {
  TempDir dir;
  const std::string name = dir.file("raw.bin");
  const auto raw = [&name](int w, int h, unsigned char type, unsigned short frames, int skip) {
    return ReadWith([=] { return new TImage(name.c_str(), w, h, type, frames, skip); });
  };
  dir.Write({{"raw.bin", "HDRabcdef"}});
  ReadOutcome r = raw(3, 2, 8, 1, 3);
  ASSERT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "Opening file: " + name + "...");
  EXPECT_EQ(r.error, 1);
  EXPECT_EQ(AllBytes(*r.image), "abcdef");
  // Two frames of 16-bit values land whole in the image.
  dir.Write({{"raw.bin", "S" + Le16(1) + Le16(2) + Le16(3) + Le16(4)}});
  r = raw(2, 1, 9, 2, 1);
  ASSERT_EQ(r.status, 0);
  EXPECT_EQ(AllBytes(*r.image), Le16(1) + Le16(2) + Le16(3) + Le16(4));
  // A short but non-empty read is accepted.
  r = raw(4, 4, 8, 1, 3);
  ASSERT_EQ(r.status, 0);
  EXPECT_EQ(AllBytes(*r.image), std::string("\x02\x00\x03\x00\x04\x00", 6) + std::string(10, '\0'));
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

TEST(ImageRead, GetImaDimReadsSizesAndOptionalOffsets) {
  TempDir dir;
  dir.Write({{"a.dim", "640 480\n-offset_x 12 -offset_y -34\n"},
             {"b.dim", "5 6\n"},
             {"c.dim", "garbage\n"}});
  const std::pair<const char*, std::array<int, 5>> cases[] = {// result, w, h, x, y
                                                              {"c.dim", {1, -1, -1, 77, 88}},
                                                              {"b.dim", {1, 5, 6, 77, 88}},
                                                              {"a.dim", {1, 640, 480, 12, -34}},
                                                              {"none.dim", {0, 640, 480, 12, -34}}};
  std::array<int, 5> got = {0, -1, -1, 77, 88};
  for (const auto& [file, want] : cases) {
    got[0] = GetImaDim(dir.file(file).c_str(), &got[1], &got[2], &got[3], &got[4]);
    EXPECT_EQ(got, want) << file;
  }
}

}  // namespace
