// "xv": VIFF. A 1024-byte header block, then the pixel data as it lies in
// memory. The reader uses four 8-byte little-endian fields of the header:
//
//   offset  field
//      520  width (low 16 bits used)
//      528  height (low 16 bits used)
//      592  number of data bands, the frames (low 16 bits used)
//      600  data storage type: 2 16-bit, 5 float, 6 complex, 9 double,
//           anything else byte
#include <array>
#include <cstdio>

#include "image/formats/formats.h"
#include "image/timage.h"

namespace image_formats {

namespace {

constexpr size_t kViffHeaderSize = 1024;
constexpr size_t kViffWidth = 520;
constexpr size_t kViffHeight = 528;
constexpr size_t kViffBands = 592;
constexpr size_t kViffStorageType = 600;

using ViffHeader = std::array<unsigned char, kViffHeaderSize>;

unsigned long long Field(const ViffHeader& header, size_t offset) {
  unsigned long long value = 0;
  for (int i = 7; i >= 0; --i) value = value << 8 | header[offset + static_cast<size_t>(i)];
  return value;
}

unsigned char TypeOfStorage(unsigned long long storage) {
  switch (storage) {
    case 2:
      return kTypeShort;
    case 5:
      return kTypeFloat;
    case 6:
      return kTypeComplex;
    case 9:
      return kTypeDouble;
    default:
      return kTypeByte;
  }
}

}  // namespace

int ReadViff(TImage& image, const char* name, const std::string&) {
  std::printf(" viff, ");
  std::fflush(stdout);
  File f = OpenForReading(name);
  if (!f) return kOpenFailed;
  ViffHeader header{};
  if (std::fread(header.data(), 1, header.size(), f.get()) != header.size()) return kShortRead;
  image.width = static_cast<unsigned short>(Field(header, kViffWidth));
  image.height = static_cast<unsigned short>(Field(header, kViffHeight));
  image.frames = static_cast<unsigned short>(Field(header, kViffBands));
  image.type = TypeOfStorage(Field(header, kViffStorageType));
  return ReadPixels(image, f.get(), kShortRead);
}

}  // namespace image_formats
