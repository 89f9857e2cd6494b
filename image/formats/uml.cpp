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
// Multi-byte fields are little-endian. The writer puts the type code where
// the version belongs, so the reader refuses (error 10) every file it writes
// unless the type code happens to be 1.
#include <cstdio>

#include "image/formats/formats.h"
#include "image/timage.h"

namespace image_formats {

namespace {

constexpr unsigned kUmlMagic = 8005;
constexpr unsigned kUmlVersion = 1;

// The header fields before the comment, in file order, and their sizes.
enum Field { kMagic, kVersion, kWidth, kHeight, kType, kFrames, kFieldCount };
constexpr int kFieldBytes[kFieldCount] = {2, 1, 2, 2, 1, 2};

// Reads field `field` into values[field]; false when the file ends first.
bool ReadField(std::FILE* f, Field field, unsigned* values) {
  unsigned char b[2] = {0, 0};
  const size_t n = static_cast<size_t>(kFieldBytes[field]);
  if (std::fread(b, 1, n, f) != n) return false;
  values[field] = static_cast<unsigned>(GetLe(b, kFieldBytes[field]));
  return true;
}

int ReadUmlHeader(TImage& image, std::FILE* f) {
  unsigned v[kFieldCount] = {};
  if (!ReadField(f, kMagic, v)) return kShortRead;
  if (v[kMagic] != kUmlMagic) return kBadMagic;
  if (!ReadField(f, kVersion, v)) return kShortRead;
  if (v[kVersion] != kUmlVersion) return kBadMagic;
  for (const Field field : {kWidth, kHeight, kType, kFrames})
    if (!ReadField(f, field, v)) return kShortRead;
  if (std::fread(image.comment, 1, sizeof image.comment, f) != sizeof image.comment)
    return kShortRead;
  // The comment is used as a C string: a header without a terminator in its
  // 256 bytes loses the last one.
  image.comment[sizeof image.comment - 1] = '\0';
  image.type = static_cast<unsigned char>(v[kType]);
  image.frames = static_cast<unsigned short>(v[kFrames]);
  // An image without frames has no pixels: it is 0 x 0 as well.
  image.width = image.frames ? static_cast<unsigned short>(v[kWidth]) : 0;
  image.height = image.frames ? static_cast<unsigned short>(v[kHeight]) : 0;
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

int WriteUml(const TImage& image, const char*, File& f) {
  std::printf(" uml, ");
  std::fflush(stdout);
  const unsigned values[kFieldCount] = {kUmlMagic,    image.type, image.width,
                                        image.height, image.type, image.frames};
  unsigned char header[16];
  size_t size = 0;
  for (int field = 0; field < kFieldCount; ++field) {
    PutLe(header + size, values[field], kFieldBytes[field]);
    size += static_cast<size_t>(kFieldBytes[field]);
  }
  WriteBytes(f, header, size);
  WriteBytes(f, image.comment, sizeof image.comment);
  WriteBytes(f, image.data, image.Size());
  CloseWritten(f);
  return 1;
}

}  // namespace image_formats
