// "xv": VIFF. A 1024-byte header block, then the pixel data as it lies in
// memory. Header fields are little-endian integers; the reader uses four of
// them (width, height, bands, storage type, low 16 bits of the first three),
// the writer fills these and the constants of a plain single image:
//
//   offset  size  field (value written)
//        0     1  identifier (0xAB)
//        1     1  file type (1)
//        2     1  release (1)
//        3     1  version (3)
//        4     1  machine dependency (2)
//      520     8  width
//      528     8  height
//      536     8  (0)
//      544     8  (-1)
//      552     8  (-1)
//      560     4  (1.0 as a single float)
//      564     4  (1.0 as a single float)
//      568     8  (1)
//      576     8  (0)
//      584     8  number of images (1)
//      592     8  number of data bands: frames
//      600     8  data storage type (see kStorage)
//      656     8  (1)
//      664     8  (0)
//      672     8  colour space model (15 for three bands, else 0)
//
// every other byte 0.
#include <array>
#include <cstdio>
#include <cstring>

#include "image/formats/formats.h"
#include "image/timage.h"

namespace image_formats {

namespace {

constexpr size_t kViffHeaderSize = 1024;
constexpr size_t kViffWidth = 520;
constexpr size_t kViffHeight = 528;
constexpr size_t kViffBands = 592;
constexpr size_t kViffStorageType = 600;
constexpr size_t kViffColourSpace = 672;

using ViffHeader = std::array<unsigned char, kViffHeaderSize>;

// Data storage types and the pixel types they stand for; any other storage
// type reads as bytes, and bytes (or any other type) are written as 1.
struct Storage {
  unsigned long long storage;
  unsigned char type;
};
constexpr Storage kStorage[] = {
    {2, kTypeShort}, {5, kTypeFloat}, {6, kTypeComplex}, {9, kTypeDouble}};
constexpr unsigned long long kByteStorage = 1;

unsigned long long Field(const ViffHeader& header, size_t offset) {
  return GetLe(header.data() + offset, 8);
}

unsigned char TypeOfStorage(unsigned long long storage) {
  for (const Storage& s : kStorage)
    if (s.storage == storage) return s.type;
  return kTypeByte;
}

unsigned long long StorageOfType(unsigned char type) {
  for (const Storage& s : kStorage)
    if (s.type == type) return s.storage;
  return kByteStorage;
}

ViffHeader HeaderOf(const TImage& image) {
  ViffHeader header{};
  const unsigned char identity[] = {0xAB, 1, 1, 3, 2};
  std::memcpy(header.data(), identity, sizeof identity);
  const auto put = [&](size_t offset, unsigned long long value) {
    PutLe(header.data() + offset, value, 8);
  };
  put(kViffWidth, image.width);
  put(kViffHeight, image.height);
  put(544, ~0ull);
  put(552, ~0ull);
  const float one = 1.0f;
  std::memcpy(header.data() + 560, &one, sizeof one);
  std::memcpy(header.data() + 564, &one, sizeof one);
  put(568, 1);
  put(584, 1);
  put(kViffBands, image.frames);
  put(kViffStorageType, StorageOfType(image.Type()));
  put(656, 1);
  put(kViffColourSpace, image.frames == 3 ? 15 : 0);
  return header;
}

}  // namespace

int ReadViff(TImage& image, const char* name, const std::string&) {
  std::printf(" viff, ");
  std::fflush(stdout);
  File f = OpenForReading(name);
  if (!f) return kOpenFailed;
  ViffHeader header{};
  if (std::fread(header.data(), 1, header.size(), f.get()) != header.size()) return kShortRead;
  image.frames = static_cast<unsigned short>(Field(header, kViffBands));
  // An image without bands has no pixels: it is 0 x 0 as well.
  image.width = image.frames ? static_cast<unsigned short>(Field(header, kViffWidth)) : 0;
  image.height = image.frames ? static_cast<unsigned short>(Field(header, kViffHeight)) : 0;
  image.type = TypeOfStorage(Field(header, kViffStorageType));
  return ReadPixels(image, f.get(), kShortRead);
}

int WriteViff(const TImage& image, const char*, File& f) {
  std::printf(" viff, ");
  std::fflush(stdout);
  const ViffHeader header = HeaderOf(image);
  WriteBytes(f, header.data(), header.size());
  WritePixels(f, image);
  CloseWritten(f);
  return 1;
}

}  // namespace image_formats
