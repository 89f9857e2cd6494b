#include "image/formats/formats.h"

#include <sys/stat.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "image/timage.h"

namespace image_formats {

namespace {

// "tiff" is cut to "tif" before the look-up, so one entry serves both.
const Format kFormats[] = {
    {"uml", ReadUml}, {"txt", ReadTxt},  {"xv", ReadViff}, {"ima", ReadRaw}, {"imw", ReadRaw},
    {"rvb", ReadRvb}, {"tif", ReadTiff}, {"pgm", ReadPgm}, {"imf", ReadRaw},
};

}  // namespace

bool ExtensionOf(const char* name, std::string* extension) {
  const char* dot = std::strrchr(name, '.');
  if (!dot) return false;
  *extension = std::string(dot + 1).substr(0, 3);
  return true;
}

const Format* FindFormat(const std::string& extension) {
  for (const Format& format : kFormats)
    if (extension == format.extension) return &format;
  return nullptr;
}

File OpenForReading(const char* name) { return File(std::fopen(name, "r")); }

long long BytesLeft(std::FILE* f) {
  struct stat st;
  if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
  const long position = std::ftell(f);
  if (position < 0) return -1;
  return static_cast<long long>(st.st_size) - position;
}

unsigned long long PixelCount(const TImage& image) {
  return static_cast<unsigned long long>(image.width) * image.height * image.frames;
}

bool AllocatePixels(TImage& image) {
  const unsigned long long count = PixelCount(image);
  // Size() and FrameSize() count bytes in 32 bits: a larger image cannot be
  // described by them, so it is refused rather than allocated.
  if (count * static_cast<unsigned>(image.BytesPerPixel()) > UINT32_MAX) return false;
  // At least one element, so that an empty image still owns a buffer.
  image.data = static_cast<unsigned char*>(
      std::calloc(count ? count : 1, static_cast<size_t>(image.BytesPerPixel())));
  return image.data != nullptr;
}

int ReadPixels(TImage& image, std::FILE* f, int short_status) {
  const unsigned long long count = PixelCount(image);
  const unsigned size = static_cast<unsigned>(image.BytesPerPixel());
  const long long left = BytesLeft(f);
  if (left >= 0 && static_cast<unsigned long long>(left) / size < count) return short_status;
  if (!AllocatePixels(image)) return kNoMemory;
  if (std::fread(image.data, size, count, f) < count) {
    std::free(image.data);
    image.data = nullptr;
    return short_status;
  }
  return kRead;
}

std::string ReadLine(std::FILE* f, size_t limit) {
  std::string line;
  for (int c; line.size() + 1 < limit && (c = std::fgetc(f)) != EOF;) {
    line.push_back(static_cast<char>(c));
    if (c == '\n') break;
  }
  return line;
}

void SkipLine(std::FILE* f) {
  for (int c; (c = std::fgetc(f)) != EOF && c != '\n';) {
  }
}

}  // namespace image_formats
