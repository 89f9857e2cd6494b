#include "image/timage.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "image/formats/formats.h"
#include "util/error_msg.h"

int error = 1;

namespace {

// Zero-filled buffer of `count` elements of `size` bytes, or null when the
// count does not fit in memory.
unsigned char* ZeroBuffer(unsigned long long count, int size) {
  if (count == 0) count = 1;  // keep a valid pointer for empty images
  return static_cast<unsigned char*>(std::calloc(count, static_cast<size_t>(size)));
}

const char kReadFailed[] = "File opening/reading failed\n";

}  // namespace

TImage::TImage(const char* name) {
  using namespace image_formats;
  error = kRead;
  std::printf("Opening file: %s... ", name);
  std::fflush(stdout);
  std::string extension;
  const Format* format = ExtensionOf(name, &extension) ? FindFormat(extension) : nullptr;
  error = format ? format->read(*this, name, extension) : kUnknownExtension;
  if (error != kRead) Fail();
  Initialize();
  std::printf("width: %d, height: %d, ", width, height);
  std::printf("Success!\n");
}

TImage::TImage(const char* name, int width, int height, unsigned char type, unsigned short frames,
               int skip)
    : width(static_cast<unsigned short>(width)),
      height(static_cast<unsigned short>(height)),
      type(type),
      frames(frames) {
  using namespace image_formats;
  error = kRead;
  std::printf("Opening file: %s...", name);
  std::fflush(stdout);
  // The buffer holds every frame the read may deliver.
  File f = width < 0 || height < 0 ? nullptr : OpenForReading(name);
  if (!f || !AllocatePixels(*this)) {
    error = kOpenFailed;
  } else {
    for (int i = 0; i < skip && std::fgetc(f.get()) != EOF; ++i) {
    }
    if (std::fread(data, static_cast<size_t>(BytesPerPixel()), PixelCount(*this), f.get()) == 0)
      error = kOpenFailed;
  }
  f.reset();
  if (error != kRead) Fail();
  Initialize();
}

TImage::TImage(unsigned short width, unsigned short height, unsigned char type,
               unsigned short frames, unsigned char* data, int offset_x, int offset_y)
    : width(width),
      height(height),
      type(type),
      frames(frames),
      offset_x(offset_x),
      offset_y(offset_y),
      data(data) {
  if (!this->data) {
    this->data =
        ZeroBuffer(static_cast<unsigned long long>(width) * height * frames, BytesPerPixel());
    if (!this->data) error = 4;
  }
  // An earlier failure left in the status ends the process here as well.
  if (error == 4) error_msg("Memory allocation failed\n");
  Initialize();
}

TImage::TImage(const TImage& other)
    : width(other.width),
      height(other.height),
      type(other.type),
      frames(other.frames),
      pallette(other.pallette),
      itype(other.itype),
      offset_x(other.offset_x),
      offset_y(other.offset_y) {
  std::memcpy(comment, other.comment, strnlen(other.comment, sizeof comment - 1));
  // The copy takes width * height * frames bytes (twice that for 16-bit
  // images) into a buffer of as many elements: 16-bit images are copied whole,
  // wider types only in part, the rest left zero.
  unsigned long long count = static_cast<unsigned long long>(width) * height * frames;
  if (type == kTypeShort) count *= 2;
  data = ZeroBuffer(count, BytesPerPixel());
  if (!data) error = 4;
  if (error == 4) error_msg("Memory allocation failed\n");
  if (other.data) std::memcpy(data, other.data, count);
  Initialize();
}

TImage::~TImage() { std::free(data); }

void TImage::Fail() {
  // The image is not complete, so its destructor will not run.
  std::free(data);
  data = nullptr;
  error_msg(kReadFailed);
}

void TImage::Initialize() {
  pallette = 1;
  itype = 10;
  if (type == kTypeByte && frames == 3) {
    red = data;
    green = data + FrameSize();
    blue = green + FrameSize();
  }
}

int TImage::BytesPerPixel() const {
  switch (type) {
    case kTypeDouble:
    case kTypeComplex:
      return 8;
    case kTypeFloat:
      return 4;
    case kTypeShort:
      return 2;
    default:
      return 1;
  }
}

unsigned TImage::FrameSize() const {
  return static_cast<unsigned>(width) * height * static_cast<unsigned>(BytesPerPixel());
}

unsigned TImage::Size() const { return FrameSize() * frames; }

int TImage::GetIntensity(int x, int y, unsigned char* value, int band) {
  // In 64 bits, so that extreme coordinates cannot overflow into the image.
  const long long lx = static_cast<long long>(x) - offset_x;
  const long long ly = static_cast<long long>(y) - offset_y;
  if (lx < 0 || lx >= width || ly < 0 || ly >= height) return 0;
  if (band < 0 || band >= frames) return 0;  // no such frame: nothing to read
  const size_t i = (static_cast<size_t>(band) * height + static_cast<size_t>(ly)) * width +
                   static_cast<size_t>(lx);
  switch (type) {
    case kTypeDouble:
      std::memcpy(value, data + i * 8, 8);
      return 1;
    case kTypeFloat:
      std::memcpy(value, data + i * 4, 4);
      return 1;
    case kTypeComplex:
      std::memcpy(value, data + i * 8, 8);
      return 1;
    case kTypeShort:
      std::memcpy(value, data + i * 2, 2);
      // The 16-bit element is then overwritten in its first byte by byte i of
      // the buffer (the element index, not the byte offset 2i).
      value[0] = data[i];
      return 1;
    default:
      value[0] = data[i];
      return 1;
  }
}
