// Saving a 4000 x 4000 byte image in each format against a plain fwrite of
// the same bytes, and TIFF against libtiff's own scanline write, in one run.
#include <tiffio.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench_util.h"
#include "image/timage.h"

namespace {

constexpr int kSide = 4000;

void PlainWrite(const std::string& path, const unsigned char* data, size_t bytes) {
  std::FILE* f = std::fopen(path.c_str(), "w");
  std::fwrite(data, 1, bytes, f);
  std::fclose(f);
}

// libtiff's scanline write of the same rows, with its default strip size or
// one row per strip.
void LibtiffWrite(const std::string& path, const unsigned char* data, bool row_strips) {
  TIFF* tif = TIFFOpen(path.c_str(), "w");
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, kSide);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, kSide);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif, row_strips ? 1 : 0));
  for (int y = 0; y < kSide; ++y)
    TIFFWriteScanline(tif, const_cast<unsigned char*>(data) + static_cast<size_t>(y) * kSide, y, 0);
  TIFFClose(tif);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string dir = argc > 1 ? argv[1] : ".";
  TImage grey(kSide, kSide, kTypeByte, 1, nullptr, 0, 0);
  TImage colour(kSide, kSide, kTypeByte, 3, nullptr, 0, 0);
  for (unsigned i = 0; i < colour.Size(); ++i) colour.data[i] = static_cast<unsigned char>(i * 7);
  for (unsigned i = 0; i < grey.Size(); ++i) grey.data[i] = static_cast<unsigned char>(i * 3);

  const double plain =
      bench::Best([&] { PlainWrite(dir + "/plain.raw", grey.data, grey.Size()); }, [] {}, 5);
  const double plain3 =
      bench::Best([&] { PlainWrite(dir + "/plain3.raw", colour.data, colour.Size()); }, [] {}, 5);
  std::printf("fwrite of %u bytes: %.4f s; of %u bytes: %.4f s\n", grey.Size(), plain,
              colour.Size(), plain3);
  for (const char* ext : {"ima", "pgm", "uml", "xv", "rvb"}) {
    TImage& image = std::string(ext) == "rvb" ? colour : grey;
    const std::string path = dir + "/image." + ext;
    double t;
    {
      bench::QuietStdout quiet;
      t = bench::Best([&] { image.Save(path.c_str()); }, [] {}, 5);
    }
    const double base = &image == &colour ? plain3 : plain;
    std::printf("Save %-4s %.4f s, %.2fx fwrite\n", ext, t, t / base);
  }
  const double libtiff_rows =
      bench::Best([&] { LibtiffWrite(dir + "/libtiff1.tif", grey.data, true); }, [] {}, 5);
  const double libtiff_default =
      bench::Best([&] { LibtiffWrite(dir + "/libtiff.tif", grey.data, false); }, [] {}, 5);
  double t;
  {
    bench::QuietStdout quiet;
    t = bench::Best([&] { grey.Save((dir + "/image.tif").c_str()); }, [] {}, 5);
  }
  std::printf(
      "Save tif  %.4f s; libtiff scanlines, one row per strip %.4f s (%.2fx), default strips "
      "%.4f s (%.2fx)\n",
      t, libtiff_rows, t / libtiff_rows, libtiff_default, t / libtiff_default);
  for (const char* f :
       {"plain.raw", "plain3.raw", "image.ima", "image.dim", "image.pgm", "image.uml", "image.xv",
        "image.rvb", "image.tif", "libtiff.tif", "libtiff1.tif"})
    unlink((dir + "/" + f).c_str());
  return 0;
}
