// "txt": a text image of doubles. Two integers, the width and the height, then
// width x height numbers separated by white space, row by row from the top.
#include <cstdio>
#include <cstring>

#include "image/formats/formats.h"
#include "image/timage.h"

namespace image_formats {

int ReadTxt(TImage& image, const char* name, const std::string&) {
  std::printf(" txt ");
  std::fflush(stdout);
  File f = OpenForReading(name);
  if (!f) return kOpenFailed;
  int width = 0, height = 0;
  if (std::fscanf(f.get(), "%d%d", &width, &height) != 2 || width < 0 || height < 0)
    return kShortRead;
  image.width = static_cast<unsigned short>(width);
  image.height = static_cast<unsigned short>(height);
  image.type = kTypeDouble;
  image.frames = 1;
  image.comment[0] = '\0';
  // Every number takes at least one character: a file with fewer characters
  // left than numbers claimed is short without reading it.
  const unsigned long long count = PixelCount(image);
  const long long left = BytesLeft(f.get());
  if (left >= 0 && static_cast<unsigned long long>(left) < count) return kShortRead;
  if (!AllocatePixels(image)) return kNoMemory;
  for (unsigned long long i = 0; i < count; ++i) {
    double value;
    if (std::fscanf(f.get(), "%lf ", &value) != 1) return kShortRead;
    std::memcpy(image.data + i * sizeof value, &value, sizeof value);
  }
  return kRead;
}

}  // namespace image_formats
