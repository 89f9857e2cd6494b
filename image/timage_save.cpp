// Writing image files, and the display and diagnostic views of an image.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "image/formats/formats.h"
#include "image/timage.h"
#include "util/error_msg.h"

namespace {

// Truncation toward zero, low 8 bits kept; values beyond the 64-bit range
// and NaN give 0.
unsigned char TruncateToByte(double v) {
  if (!(v > -9.0e18 && v < 9.0e18)) return 0;
  return static_cast<unsigned char>(static_cast<long long>(v));
}

const char* TypeWord(unsigned char type) {
  switch (type) {
    case kTypeDouble:
      return "double";
    case kTypeFloat:
      return "float";
    case kTypeComplex:
      return "COMPLEX";
    case kTypeByte:
      return "BYTE";
    case kTypeShort:
      return "short";
    default:
      return "unknown!!!";
  }
}

}  // namespace

int TImage::Save(const char* name) {
  using namespace image_formats;
  error = kRead;
  std::printf("Saving file: %s... \n", name);
  std::fflush(stdout);
  std::string extension;
  const Format* format = ExtensionOf(name, &extension) ? FindFormat(extension) : nullptr;
  if (!format) error_msg("ER_EXTENSION");
  File f(std::fopen(name, "w"));
  if (!f) error_msg("ER_FILE_OPEN");
  int result = 1;
  if (format->write) {
    result = format->write(*this, name, f);
  } else {
    CloseWritten(f);
  }
  if (result == 1) std::printf("Success!\n");
  return result;
}

unsigned char* TImage::BmpData() {
  const size_t w = width;
  const size_t h = height;
  const size_t stride = w + w % 2;
  const size_t size = stride * h;
  auto* out = static_cast<unsigned char*>(std::calloc(size != 0 ? size : 1, 1));
  if (!out) return nullptr;
  if (frames == 0) return out;  // no frame 0 to show
  for (size_t r = 0; r < h; ++r) {
    unsigned char* row = out + r * stride;
    if (type == kTypeDouble) {
      // Every output row comes from the last image row.
      for (size_t x = 0; x < w; ++x) {
        double v;
        std::memcpy(&v, data + ((h - 1) * w + x) * sizeof v, sizeof v);
        row[x] = TruncateToByte(v * 0.25);
      }
    } else {
      const unsigned char* in = data + (h - 1 - r) * w;
      for (size_t x = 0; x < w; ++x) row[x] = static_cast<unsigned char>(in[x] >> 2);
    }
  }
  return out;
}

int TImage::ChangePallette(unsigned short value) {
  pallette = value;
  return 1;
}

int TImage::PrintInfo() {
  std::printf("\nWidth: %d\n", width);
  std::printf("Height: %d\n", height);
  std::printf("Type: %s\n", TypeWord(Type()));
  std::printf("Number of frames: %d\n", frames);
  return 1;
}
