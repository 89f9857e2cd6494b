// Writing image files: the bytes of every format built here from its layout,
// read back where the layouts allow, TIFFs opened with libtiff itself, and
// every failure with its fatal text.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <tiffio.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "image/timage.h"
#include "image_read_support.h"
#include "test_support.h"

using namespace imagetest;
using namespace testsupport;

namespace {

// A w x h image of `frames` frames whose bytes count up from 1.
std::unique_ptr<TImage> Counting(int w, int h, unsigned char type, int frames, int ox = 0,
                                 int oy = 0) {
  auto image = std::make_unique<TImage>(w, h, type, frames, nullptr, ox, oy);
  for (unsigned i = 0; i < image->Size(); ++i) image->data[i] = static_cast<unsigned char>(i + 1);
  return image;
}

std::string Span(const unsigned char* p, size_t n) {
  return std::string(reinterpret_cast<const char*>(p), n);
}

std::string ViffHeader(unsigned w, unsigned h, unsigned frames, unsigned storage) {
  std::string b(1024, '\0');
  b.replace(0, 5, "\xAB\x01\x01\x03\x02");
  const float one = 1.0f;
  const std::string ones = Span(reinterpret_cast<const unsigned char*>(&one), 4) +
                           Span(reinterpret_cast<const unsigned char*>(&one), 4);
  b.replace(520, 48, Le64(w) + Le64(h) + Le64(0) + Le64(~0ull) + Le64(~0ull) + ones);
  b.replace(568, 40, Le64(1) + Le64(0) + Le64(1) + Le64(frames) + Le64(storage));
  b.replace(656, 24, Le64(1) + Le64(0) + Le64(frames == 3 ? 15 : 0));
  return b;
}

// The rows of Counting(w, h, kTypeByte, 3) as the "rvb" file holds them.
std::string Triplets(int w, int h) {
  std::string bytes;
  for (int i = 0; i < w * h; ++i)
    for (int plane = 0; plane < 3; ++plane) bytes += static_cast<char>(plane * w * h + i + 1);
  return bytes;
}

TEST(ImageWrite, EachFormatWritesItsLayoutAndReadsBack) {
  const std::string dim57 = "-offset_x 5 -offset_y 7\n";
  const struct {
    std::string name, word;  // word: what the writer prints after the name's line
    std::unique_ptr<TImage> image;
    Files expected;  // the image file first
    int read_error;  // reading it back: 1 gives the same image
  } cases[] = {
      {"a.uml",
       " uml, ",
       Counting(3, 2, kTypeByte, 1),
       {{"a.uml", "\x45\x1F\x08" + Le16(3) + Le16(2) + "\x08" + Le16(1) + std::string(256, '\0') +
                      "\x01\x02\x03\x04\x05\x06"}},
       10},  // the type code lands in the version byte
      {"a.xv",
       " viff, ",
       Counting(2, 1, kTypeShort, 1),
       {{"a.xv", ViffHeader(2, 1, 1, 2) + "\x01\x02\x03\x04"}},
       1},
      {"c.xv",
       " viff, ",
       Counting(1, 1, kTypeByte, 3),
       {{"c.xv", ViffHeader(1, 1, 3, 1) + "\x01\x02\x03"}},
       1},
      {"a.rvb",
       " rvb, \n#",
       Counting(2, 1, kTypeByte, 3, 5, 7),
       {{"a.rvb", "\x01\x03\x05\x02\x04\x06"}, {"a.dim", "2 1\n" + dim57}},
       1},
      {"w.rvb", " rvb, \n##", Counting(21, 33, kTypeByte, 3), {{"w.rvb", Triplets(21, 33)}}, 1},
      {"a.imf",
       "",
       Counting(1, 2, kTypeFloat, 1, 5, 7),
       {{"a.imf", "\x01\x02\x03\x04\x05\x06\x07\x08"}, {"a.dim", "1 2\n" + dim57}},
       1},
      {"a.pgm",
       "",
       Counting(3, 2, kTypeByte, 1),
       {{"a.pgm", "P5\n# CREATOR TImage Class\n3 2 \n255\n\x01\x02\x03\x04\x05\x06"}},
       1},
      {"a.txt", "", Counting(2, 2, kTypeDouble, 1), {{"a.txt", ""}}, 5},
      {"e.pgm",
       "",
       Counting(0, 0, kTypeByte, 1),
       {{"e.pgm", "P5\n# CREATOR TImage Class\n0 0 \n255\n"}},
       1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TempDir dir;
    const std::string path = dir.file(c.name);
    const ChildResult run = RunInChild([&] { std::printf("[%d]", c.image->Save(path.c_str())); });
    EXPECT_EQ(run.out, "Saving file: " + path + "... \n" + c.word + "Success!\n[1]");
    for (const auto& [file, bytes] : c.expected) EXPECT_EQ(ReadFile(dir.file(file)), bytes) << file;
    const ReadOutcome back = Read(path);
    EXPECT_EQ(back.error, c.read_error);
    if (c.read_error != 1) continue;
    ASSERT_TRUE(back.image);
    EXPECT_EQ(std::make_tuple(back.image->width, back.image->height, back.image->frames,
                              back.image->offset_x, back.image->offset_y, AllBytes(*back.image)),
              std::make_tuple(c.image->width, c.image->height, c.image->frames, c.image->offset_x,
                              c.image->offset_y, AllBytes(*c.image)));
  }
}

TEST(ImageWrite, TiffTagsStripsAndRowsAsLibtiffSeesThem) {
  TempDir dir;
  const std::string path = dir.file("g.tiff");
  compression = 5, predictor = 2;  // forced back to no compression
  const ChildResult run = RunInChild([&] {
    std::printf("[%d]", Counting(3, 2, kTypeShort, 1)->Save(path.c_str()));  // 3 bytes a row
  });
  EXPECT_EQ(run.out, "Saving file: " + path + "... \nSuccess!\n[1]");
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  ASSERT_NE(tif, nullptr);
  uint32_t w = 0, h = 0, rows = 0;
  uint16_t bits = 0, samples = 0, planar = 0, scheme = 0, photometric = 9, pred = 9;
  char *description = nullptr, *software = nullptr;
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &w), TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &h);
  TIFFGetField(tif, TIFFTAG_BITSPERSAMPLE, &bits),
      TIFFGetField(tif, TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetField(tif, TIFFTAG_PLANARCONFIG, &planar), TIFFGetField(tif, TIFFTAG_COMPRESSION, &scheme);
  TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric),
      TIFFGetField(tif, TIFFTAG_ROWSPERSTRIP, &rows);
  TIFFGetField(tif, TIFFTAG_IMAGEDESCRIPTION, &description);
  TIFFGetField(tif, TIFFTAG_SOFTWARE, &software);
  EXPECT_EQ(std::make_tuple(w, h, bits, samples, planar, scheme, photometric, rows),
            std::make_tuple(3u, 2u, 8, 1, 1, 1, 1, 1u));
  EXPECT_EQ(TIFFGetField(tif, TIFFTAG_PREDICTOR, &pred), 0);
  EXPECT_STREQ(description, ("Sauvegarde de " + path).c_str());
  EXPECT_STREQ(software, "EcritureImageTiff");
  EXPECT_EQ(TIFFNumberOfStrips(tif), 2u);
  std::string row(3, '\0');
  for (uint32_t y = 0; y < 2; ++y) {
    TIFFReadScanline(tif, row.data(), y, 0);
    EXPECT_EQ(row, y == 0 ? "\x01\x02\x03" : "\x04\x05\x06");  // byte offset y * width
  }
  TIFFClose(tif);
  EXPECT_EQ(compression, 5);  // the child's write changed its own copy only
}

TEST(ImageWrite, FailuresEndWithTheirCode) {
  TempDir dir;
  symlink("/dev/full", dir.file("full.ima").c_str());
  symlink("/dev/full", dir.file("full.uml").c_str());
  symlink("/dev/full", dir.file("full.tif").c_str());
  const struct {
    std::string name;
    int frames, file_limit;  // frames of a 40 x 30 byte image (0: a 0 x 0 image); a file
                             // size limit or 0
    std::string tail;        // what follows the "Saving file" line
    int status;
  } cases[] = {
      {"nodot", 1, 0, Fatal("ER_EXTENSION"), 255},
      {"x.bmp", 1, 0, Fatal("ER_EXTENSION"), 255},
      {"none/x.pgm", 1, 0, Fatal("ER_FILE_OPEN"), 255},
      {"x.rvb", 1, 0, " rvb, \n" + Fatal("ER_FILE_TYPE"), 255},
      {"full.ima", 1, 0, Fatal("ER_FILE_WRITE"), 255},
      {"full.uml", 1, 0, " uml, " + Fatal("ER_FILE_WRITE"), 255},
      {"half.rvb", 3, 1000, " rvb, \n#" + Fatal("ER_FILE_WRITE"), 255},
      {"half.tif", 1, 1000, Fatal("ER_FILE_WRITE"), 255},
      {"full.tif", 1, 0, "[-1]", 0},  // libtiff cannot write the header
      {"empty.tif", 0, 0, "[-1]", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = dir.file(c.name);
    const ChildResult run = RunInChild([&] {
      if (c.file_limit) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {static_cast<rlim_t>(c.file_limit), static_cast<rlim_t>(c.file_limit)};
        setrlimit(RLIMIT_FSIZE, &limit);
      }
      const int w = c.frames ? 40 : 0, h = c.frames ? 30 : 0;
      std::printf("[%d]", Counting(w, h, kTypeByte, c.frames)->Save(path.c_str()));
    });
    EXPECT_EQ(run.out, "Saving file: " + path + "... \n" + c.tail);
    EXPECT_EQ(run.status, c.status);
    EXPECT_EQ(run.err, "");
  }
  EXPECT_FALSE(FileExists(dir.file("empty.tif")));
}

TEST(ImageWrite, DisplayBufferAndInfo) {
  const std::unique_ptr<TImage> bytes = Counting(3, 2, kTypeByte, 1);
  for (unsigned i = 0; i < 6; ++i) bytes->data[i] = static_cast<unsigned char>(40 * i + 3);
  std::unique_ptr<unsigned char, decltype(&std::free)> b(bytes->BmpData(), &std::free);
  EXPECT_EQ(Span(b.get(), 8), std::string("\x1E\x28\x32\x00\x00\x0A\x14\x00", 8));
  const double d[4] = {1023.0, -4.0, 8.0, 1.5};  // rows (1023, -4) and (8, 1.5)
  auto* data = static_cast<unsigned char*>(std::malloc(sizeof d));
  std::memcpy(data, d, sizeof d);
  TImage doubles(2, 2, kTypeDouble, 1, data, 0, 0);
  b.reset(doubles.BmpData());
  EXPECT_EQ(Span(b.get(), 4), std::string("\x02\x00\x02\x00", 4));  // the last row twice
  TImage frameless(3, 2, kTypeDouble, 0, nullptr, 0, 0);  // no frame 0: nothing to show
  b.reset(frameless.BmpData());
  EXPECT_EQ(Span(b.get(), 8), std::string(8, '\0'));
  EXPECT_EQ(bytes->ChangePallette(7), 1);
  EXPECT_EQ(bytes->pallette, 7);
  bytes->type = 3;
  const ChildResult run = RunInChild([&] { bytes->PrintInfo(), doubles.PrintInfo(); });
  EXPECT_EQ(run.out,
            "\nWidth: 3\nHeight: 2\nType: unknown!!!\nNumber of frames: 1\n"
            "\nWidth: 2\nHeight: 2\nType: double\nNumber of frames: 1\n");
}

}  // namespace
