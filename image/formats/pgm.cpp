// "pgm": binary PGM with exactly one comment line:
//   P5
//   # comment
//   width height
//   255
// then width x height bytes, top row first. The maximum value is not checked.
// The writer writes the elements of any image as they are.
#include <cstdio>
#include <cstdlib>

#include "image/formats/formats.h"
#include "image/timage.h"
#include "util/terminate.h"

namespace image_formats {

namespace {

constexpr size_t kMagicLineLimit = 80;
const char kPgmMagicLine[] = "P5\n";
const char kPgmComment[] = "# CREATOR TImage Class\n";
const char kPgmSizeLine[] = "%d %d \n";
const char kPgmMaxLine[] = "255\n";
const char kNotPgm[] = "The input file isn't a PGM file. Stopped\n";

}  // namespace

int ReadPgm(TImage& image, const char* name, const std::string&) {
  File f = OpenForReading(name);
  if (!f) return kOpenFailed;
  if (ReadLine(f.get(), kMagicLineLimit) != kPgmMagicLine) {
    std::printf("%s", kNotPgm);
    kluteida_internal::Terminate(1);
  }
  // The line after the magic is taken for a comment, whatever it holds: a file
  // without one has its size line skipped and is misread.
  SkipLine(f.get());
  int width = 0, height = 0;
  std::fscanf(f.get(), kPgmSizeLine, &width, &height);
  if (width < 0 || height < 0) return kShortPixels;
  SkipLine(f.get());  // maximum value
  image.width = static_cast<unsigned short>(width);
  image.height = static_cast<unsigned short>(height);
  image.type = kTypeByte;
  image.frames = 1;
  return ReadPixels(image, f.get(), kShortPixels);
}

int WritePgm(const TImage& image, const char*, File& f) {
  WriteText(f, "%s%s", kPgmMagicLine, kPgmComment);
  WriteText(f, kPgmSizeLine, image.width, image.height);
  WriteText(f, "%s", kPgmMaxLine);
  WritePixels(f, image);
  CloseWritten(f);
  return 1;
}

}  // namespace image_formats
