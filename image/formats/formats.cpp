#include "image/formats/formats.h"

#include <sys/stat.h>

#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "image/timage.h"
#include "util/error_msg.h"
#include "util/large_buffer.h"

namespace image_formats {

namespace {

// "tiff" is cut to "tif" before the look-up, so one entry serves both. A
// "txt" image is read but written as an empty file.
const Format kFormats[] = {
    {"uml", ReadUml, WriteUml},   {"txt", ReadTxt, nullptr},  {"xv", ReadViff, WriteViff},
    {"ima", ReadRaw, WriteRaw},   {"imw", ReadRaw, WriteRaw}, {"rvb", ReadRvb, WriteRvb},
    {"tif", ReadTiff, WriteTiff}, {"pgm", ReadPgm, WritePgm}, {"imf", ReadRaw, WriteRaw},
};

const char kWriteFailed[] = "ER_FILE_WRITE";

[[noreturn]] void WriteFailed(File& f) {
  f.reset();
  error_msg(kWriteFailed);
}

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

bool AllocatePixels(TImage& image, bool cleared) {
  const unsigned long long count = PixelCount(image);
  // Size() and FrameSize() count bytes in 32 bits: a larger image cannot be
  // described by them, so it is refused rather than allocated.
  if (count * static_cast<unsigned>(image.BytesPerPixel()) > UINT32_MAX) return false;
  // At least one element, so that an empty image still owns a buffer.
  const size_t bytes = (count ? count : 1) * static_cast<size_t>(image.BytesPerPixel());
  image.data = static_cast<unsigned char*>(AllocateLarge(bytes));
  if (!image.data) return false;
  if (cleared) std::memset(image.data, 0, bytes);
  return true;
}

int ReadPixels(TImage& image, std::FILE* f, int short_status) {
  const unsigned long long count = PixelCount(image);
  const unsigned size = static_cast<unsigned>(image.BytesPerPixel());
  const long long left = BytesLeft(f);
  if (left >= 0 && static_cast<unsigned long long>(left) / size < count) return short_status;
  if (!AllocatePixels(image, false)) return kNoMemory;
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

void WriteBytes(File& f, const void* bytes, size_t count) {
  if (count != 0 && std::fwrite(bytes, 1, count, f.get()) != count) WriteFailed(f);
}

void WritePixels(File& f, const TImage& image) {
  WriteBytes(f, image.data, PixelCount(image) * static_cast<size_t>(image.BytesPerPixel()));
}

void WriteText(File& f, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int written = std::vfprintf(f.get(), format, args);
  va_end(args);
  if (written < 0) WriteFailed(f);
}

void CloseWritten(File& f) {
  std::FILE* stream = f.release();
  if (std::fclose(stream) != 0) error_msg(kWriteFailed);
}

void PutLe(unsigned char* out, unsigned long long value, int bytes) {
  for (int i = 0; i < bytes; ++i) out[i] = static_cast<unsigned char>(value >> (8 * i));
}

unsigned long long GetLe(const unsigned char* in, int bytes) {
  unsigned long long value = 0;
  for (int i = bytes - 1; i >= 0; --i) value = value << 8 | in[i];
  return value;
}

}  // namespace image_formats
