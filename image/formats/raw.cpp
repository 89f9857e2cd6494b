// "ima", "imw", "imf": the pixel data alone (bytes, 16-bit values, floats),
// planar and top row first, with the geometry in the ".dim" companion. The
// writer writes any image's elements as they are: the extension gives the
// type only when reading.
#include "image/formats/formats.h"
#include "image/timage.h"

namespace image_formats {

namespace {

unsigned char TypeOfExtension(const std::string& extension) {
  switch (extension[2]) {
    case 'a':
      return kTypeByte;
    case 'w':
      return kTypeShort;
    default:
      return kTypeFloat;
  }
}

}  // namespace

int ReadRaw(TImage& image, const char* name, const std::string& extension) {
  const int status = ApplyCompanion(image, name, 1, TypeOfExtension(extension));
  if (status != kRead) return status;
  File f = OpenForReading(name);
  if (!f) return kOpenFailed;
  return ReadPixels(image, f.get(), kShortPixels);
}

int WriteRaw(const TImage& image, const char* name, File& f) {
  WritePixels(f, image);
  CloseWritten(f);
  WriteCompanion(image, name);
  return 1;
}

}  // namespace image_formats
