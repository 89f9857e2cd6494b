// "tif" (and "tiff"): 8-bit grey TIFF, min-is-black, one sample per pixel,
// read and written through libtiff scanline by scanline. Any other TIFF is
// refused with a message on standard error and exit status -1. The writer
// writes width bytes per row from the buffer whatever the image's type and
// frames, uncompressed, one row per strip.
#include <sys/stat.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "image/formats/formats.h"
#include "image/timage.h"
#include "util/error_msg.h"
#include "util/terminate.h"

unsigned short compression = 65535;
unsigned short predictor = 0;
int jpegcolormode = 1;
int quality = 75;

namespace image_formats {

namespace {

// ISO-8859-1 bytes: 0xE9 is e acute, 0xE0 a grave.
const char kNotGrey[] =
    "%s: Il ne s'agit pas d'une image cod\xE9"
    "e sur \xE0 niveaux de gris (0=noir).\n";
const char kBadBands[] = "%s: mauvais nombre de bandes : %u.\n";
const char kBadBits[] = " %s: Mauvais nombre de bits / pixel : %u.\n";
const char kReading[] = "Lecture de l'image TIFF <%s>\n";
const char kSize[] = "LargeurxHauteur : %dx%d\n\n";
const char kDescription[] = "Sauvegarde de %s";
const char kSoftware[] = "EcritureImageTiff";

struct TiffCloser {
  void operator()(TIFF* tif) const { TIFFClose(tif); }
};
using Tiff = std::unique_ptr<TIFF, TiffCloser>;

// libtiff's own messages about one file. The error stream carries this
// reader's refusals and nothing else, except when libtiff cannot open the file
// for reading at all: then its errors explain the "File opening/reading
// failed" that follows. Warnings, errors about a file that does open, errors
// while the rows are read (a failed scanline silently ends the reading) and
// every message about a file being written are dropped.
struct Diagnostics {
  bool opening = true;
  std::string open_errors;
};

// The text of one message as libtiff's default handler prints it.
std::string MessageText(const char* module, const char* format, va_list args) {
  std::string text = module ? std::string(module) + ": " : std::string();
  va_list copy;
  va_copy(copy, args);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (length > 0) {
    std::string message(static_cast<size_t>(length), '\0');
    std::vsnprintf(message.data(), message.size() + 1, format, args);
    text += message;
  }
  return text + ".\n";
}

int OnWarning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

int OnError(TIFF*, void* user_data, const char* module, const char* format, va_list args) {
  Diagnostics* diagnostics = static_cast<Diagnostics*>(user_data);
  if (diagnostics->opening) diagnostics->open_errors += MessageText(module, format, args);
  return 1;
}

Tiff Open(const char* name, const char* mode, Diagnostics* diagnostics) {
#if TIFFLIB_VERSION >= 20221213  // libtiff 4.5: handlers per file
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  if (options) {
    TIFFOpenOptionsSetErrorHandlerExtR(options, OnError, diagnostics);
    TIFFOpenOptionsSetWarningHandlerExtR(options, OnWarning, nullptr);
  }
  Tiff tif(TIFFOpenExt(name, mode, options));
  if (options) TIFFOpenOptionsFree(options);
  return tif;
#else
  (void)diagnostics;
  return Tiff(TIFFOpen(name, mode));
#endif
}

// Whether a file of this size could hold an image that needs `pixels` bytes
// and scanlines of `line_size`: the compressions libtiff reads for 8-bit grey
// rows stay below 4096 to 1 (deflate below 1032, LZW below 4096), and up to
// 1 MB is taken on trust. A tiny file that declares a huge image is refused
// before its buffers are allocated.
bool Plausible(TIFF* tif, unsigned long long pixels, tmsize_t line_size) {
  constexpr unsigned long long kTrusted = 1ull << 20;
  constexpr unsigned long long kRatio = 1ull << 12;
  struct stat st;
  if (fstat(TIFFFileno(tif), &st) != 0 || !S_ISREG(st.st_mode)) return true;
  const unsigned long long limit =
      std::max(kTrusted, kRatio * static_cast<unsigned long long>(st.st_size));
  const unsigned long long line = line_size > 0 ? static_cast<unsigned long long>(line_size) : 0;
  return pixels <= limit && line <= limit;
}

}  // namespace

int ReadTiff(TImage& image, const char* name, const std::string&) {
  Diagnostics diagnostics;
  Tiff tif = Open(name, "r", &diagnostics);
  diagnostics.opening = false;
  if (!tif) {
    std::fputs(diagnostics.open_errors.c_str(), stderr);
    return kOpenFailed;
  }

  uint16_t photometric = 0;
  TIFFGetField(tif.get(), TIFFTAG_PHOTOMETRIC, &photometric);
  if (photometric != PHOTOMETRIC_MINISBLACK) {
    tif.reset();
    std::fprintf(stderr, kNotGrey, name);
    kluteida_internal::Terminate(-1);
  }
  uint16_t samples = 0;
  TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLESPERPIXEL, &samples);
  if (samples != 1) {
    tif.reset();
    std::fprintf(stderr, kBadBands, name, static_cast<unsigned>(samples));
    kluteida_internal::Terminate(-1);
  }
  uint16_t bits = 0;
  TIFFGetFieldDefaulted(tif.get(), TIFFTAG_BITSPERSAMPLE, &bits);
  if (bits != 8) {
    tif.reset();
    std::fprintf(stderr, kBadBits, name, static_cast<unsigned>(bits));
    kluteida_internal::Terminate(-1);
  }
  uint32_t width = 0, height = 0;
  TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &height);
  std::printf(kReading, name);
  std::printf(kSize, static_cast<int>(width), static_cast<int>(height));

  image.width = static_cast<unsigned short>(width);
  image.height = static_cast<unsigned short>(height);
  image.frames = 1;
  image.type = kTypeByte;
  const tmsize_t line_size = TIFFScanlineSize(tif.get());
  if (!Plausible(tif.get(), static_cast<unsigned long long>(image.width) * image.height, line_size))
    return kShortRead;
  if (!AllocatePixels(image)) return kNoMemory;

  if (line_size <= 0) return kRead;  // no row can be read: the image stays 0
  std::vector<unsigned char> line(static_cast<size_t>(line_size));
  const size_t row_bytes = std::min<size_t>(image.width, line.size());
  for (uint32_t y = 0; y < image.height; ++y) {
    if (TIFFReadScanline(tif.get(), line.data(), y, 0) < 0) break;
    std::memcpy(image.data + static_cast<size_t>(y) * image.width, line.data(), row_bytes);
  }
  return kRead;
}

int WriteTiff(const TImage& image, const char* name, File& f) {
  f.reset();  // libtiff writes the file itself
  // libtiff writes a TIFF without rows, but cannot read it back: refused.
  if (image.width == 0 || image.height == 0) {
    std::remove(name);
    return -1;
  }
  Diagnostics silent;
  silent.opening = false;
  Tiff tif = Open(name, "w", &silent);
  if (!tif) return -1;
  TIFF* t = tif.get();
  TIFFSetField(t, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(image.width));
  TIFFSetField(t, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(image.height));
  TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  // Forced to 1 just before the test: the other branches never run.
  compression = COMPRESSION_NONE;
  TIFFSetField(t, TIFFTAG_COMPRESSION, compression);
  if (compression == COMPRESSION_JPEG) {
    TIFFSetField(t, TIFFTAG_JPEGQUALITY, quality);
    TIFFSetField(t, TIFFTAG_JPEGCOLORMODE, jpegcolormode);
  } else if ((compression == COMPRESSION_LZW || compression == 32946) && predictor != 0) {
    TIFFSetField(t, TIFFTAG_PREDICTOR, predictor);
  }
  TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  const int length = std::snprintf(nullptr, 0, kDescription, name);
  std::string description(static_cast<size_t>(length), '\0');
  std::snprintf(description.data(), description.size() + 1, kDescription, name);
  TIFFSetField(t, TIFFTAG_IMAGEDESCRIPTION, description.c_str());
  TIFFSetField(t, TIFFTAG_SOFTWARE, kSoftware);
  TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 1));
  // A failed scanline ends the rows; the file is then incomplete, and the
  // save fails below rather than reporting it written.
  bool complete = true;
  for (uint32_t y = 0; y < image.height; ++y) {
    if (TIFFWriteScanline(t, image.data + static_cast<size_t>(y) * image.width, y, 0) < 0) {
      complete = false;
      break;
    }
  }
  complete = TIFFFlush(t) == 1 && complete;
  tif.reset();
  if (!complete) error_msg("ER_FILE_WRITE");
  return 1;
}

}  // namespace image_formats
