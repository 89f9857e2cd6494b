// "ima", "imw", "imf": the pixel data alone (bytes, 16-bit values, floats),
// planar and top row first, with the geometry in the ".dim" companion.
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
  Dim dim;
  const int status = ReadCompanion(name, &dim);
  if (status != kRead) return status;
  image.width = static_cast<unsigned short>(dim.width);
  image.height = static_cast<unsigned short>(dim.height);
  image.offset_x = dim.offset_x;
  image.offset_y = dim.offset_y;
  image.frames = 1;
  image.type = TypeOfExtension(extension);
  File f = OpenForReading(name);
  if (!f) return kOpenFailed;
  return ReadPixels(image, f.get(), kShortPixels);
}

}  // namespace image_formats
