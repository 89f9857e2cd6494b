// "uml": a small binary header followed by the pixel data as it lies in memory.
//
//   offset  size  field
//        0     2  magic number 8005 (bytes 0x45 0x1F)
//        2     1  version, 1
//        3     2  width
//        5     2  height
//        7     1  type code
//        8     2  frames
//       10   256  comment
//      266        width x height x frames elements, planar, top row first
//
// Multi-byte fields are little-endian.
#include <cstdio>

#include "image/formats/formats.h"
#include "image/timage.h"

namespace image_formats {

namespace {

constexpr unsigned kUmlMagic = 8005;
constexpr unsigned kUmlVersion = 1;

// Reads a little-endian field of one or two bytes.
bool ReadField(std::FILE* f, int bytes, unsigned* value) {
  unsigned char b[2] = {0, 0};
  if (std::fread(b, 1, static_cast<size_t>(bytes), f) != static_cast<size_t>(bytes)) return false;
  *value = b[0] | (bytes == 2 ? static_cast<unsigned>(b[1]) << 8 : 0u);
  return true;
}

int ReadUmlHeader(TImage& image, std::FILE* f) {
  unsigned magic = 0, version = 0, width = 0, height = 0, type = 0, frames = 0;
  if (!ReadField(f, 2, &magic)) return kShortRead;
  if (magic != kUmlMagic) return kBadMagic;
  if (!ReadField(f, 1, &version)) return kShortRead;
  if (version != kUmlVersion) return kBadMagic;
  if (!ReadField(f, 2, &width) || !ReadField(f, 2, &height) || !ReadField(f, 1, &type) ||
      !ReadField(f, 2, &frames))
    return kShortRead;
  if (std::fread(image.comment, 1, sizeof image.comment, f) != sizeof image.comment)
    return kShortRead;
  // The comment is used as a C string: a header without a terminator in its
  // 256 bytes loses the last one.
  image.comment[sizeof image.comment - 1] = '\0';
  image.width = static_cast<unsigned short>(width);
  image.height = static_cast<unsigned short>(height);
  image.type = static_cast<unsigned char>(type);
  image.frames = static_cast<unsigned short>(frames);
  return kRead;
}

}  // namespace

int ReadUml(TImage& image, const char* name, const std::string&) {
  std::printf(" uml ");
  std::fflush(stdout);
  File f = OpenForReading(name);
  if (!f) return kOpenFailed;
  const int status = ReadUmlHeader(image, f.get());
  if (status != kRead) return status;
  return ReadPixels(image, f.get(), kShortRead);
}

}  // namespace image_formats
