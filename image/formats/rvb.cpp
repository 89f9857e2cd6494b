// "rvb": an 8-bit colour image as interleaved rows (red, green, blue for each
// pixel, 3 x width bytes per row, top row first), with the geometry in the
// ".dim" companion. In memory the image holds three planes.
#include <cstdio>
#include <vector>

#include "image/formats/formats.h"
#include "image/timage.h"

namespace image_formats {

int ReadRvb(TImage& image, const char* name, const std::string&) {
  const int status = ApplyCompanion(image, name, 3, kTypeByte);
  if (status != kRead) return status;
  File f = OpenForReading(name);
  if (!f) return kOpenFailed;
  const long long left = BytesLeft(f.get());
  if (left >= 0 && static_cast<unsigned long long>(left) < PixelCount(image)) return kShortRead;
  if (!AllocatePixels(image)) return kNoMemory;
  const size_t width = image.width;
  const size_t plane = width * image.height;
  std::vector<unsigned char> row(3 * width);
  for (size_t y = 0; y < image.height; ++y) {
    if (std::fread(row.data(), 1, row.size(), f.get()) != row.size()) return kShortRead;
    unsigned char* out = image.data + y * width;
    for (size_t x = 0; x < width; ++x) {
      out[x] = row[3 * x];
      out[plane + x] = row[3 * x + 1];
      out[2 * plane + x] = row[3 * x + 2];
    }
  }
  return kRead;
}

}  // namespace image_formats
