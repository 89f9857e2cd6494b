// "pgm": binary PGM with exactly one comment line:
//   P5
//   # comment
//   width height
//   255
// then width x height bytes, top row first. The maximum value is not checked.
#include <cstdio>
#include <cstdlib>

#include "image/formats/formats.h"
#include "image/timage.h"

namespace image_formats {

namespace {

constexpr size_t kMagicLineLimit = 80;
const char kPgmMagicLine[] = "P5\n";
const char kNotPgm[] = "The input file isn't a PGM file. Stopped\n";

}  // namespace

int ReadPgm(TImage& image, const char* name, const std::string&) {
  File f = OpenForReading(name);
  if (!f) return kOpenFailed;
  if (ReadLine(f.get(), kMagicLineLimit) != kPgmMagicLine) {
    std::printf("%s", kNotPgm);
    std::exit(1);
  }
  // The line after the magic is taken for a comment, whatever it holds: a file
  // without one has its size line skipped and is misread.
  SkipLine(f.get());
  int width = 0, height = 0;
  std::fscanf(f.get(), "%d %d \n", &width, &height);
  if (width < 0 || height < 0) return kShortPixels;
  SkipLine(f.get());  // maximum value
  image.width = static_cast<unsigned short>(width);
  image.height = static_cast<unsigned short>(height);
  image.type = kTypeByte;
  image.frames = 1;
  return ReadPixels(image, f.get(), kShortPixels);
}

}  // namespace image_formats
