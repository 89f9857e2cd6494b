// Image file formats: one reader and one writer per format, chosen by the
// file name's extension from one table. Internal to the image code.
#ifndef KLUTEIDA_IMAGE_FORMATS_FORMATS_H
#define KLUTEIDA_IMAGE_FORMATS_FORMATS_H

#include <cstdio>
#include <memory>
#include <string>

class TImage;

namespace image_formats {

// Values of the global `error` left by a read.
enum Status : int {
  kRead = 1,
  kOpenFailed = 3,
  kNoMemory = 4,
  kShortRead = 5,
  kShortPixels = 6,
  kUnknownExtension = 7,
  kBadMagic = 10,
};

// A reader fills the geometry, type, frames, offsets and `data` of a freshly
// constructed image and returns a Status. `extension` is the one the format
// was chosen by (three characters at most).
using ReadFn = int (*)(TImage& image, const char* name, const std::string& extension);

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// A writer writes the image to the stream that TImage::Save opened for
// `name` and closes it; every write failure ends the process with
// "ER_FILE_WRITE". It returns what Save returns: 1 when written (Save then
// prints "Success!"), -1 when the TIFF library cannot open the file. A null
// writer leaves the file empty ("txt").
using WriteFn = int (*)(const TImage& image, const char* name, File& f);

struct Format {
  const char* extension;
  ReadFn read;
  WriteFn write;
};

// The text after the last '.' of `name` cut to its first three characters,
// so that "tiff" reads as "tif". False when the name has no '.'.
bool ExtensionOf(const char* name, std::string* extension);
// The format for an extension as ExtensionOf gives it, or null.
const Format* FindFormat(const std::string& extension);

int ReadUml(TImage& image, const char* name, const std::string& extension);
int ReadTxt(TImage& image, const char* name, const std::string& extension);
int ReadViff(TImage& image, const char* name, const std::string& extension);
int ReadRaw(TImage& image, const char* name, const std::string& extension);  // ima, imw, imf
int ReadRvb(TImage& image, const char* name, const std::string& extension);
int ReadPgm(TImage& image, const char* name, const std::string& extension);
int ReadTiff(TImage& image, const char* name, const std::string& extension);

int WriteUml(const TImage& image, const char* name, File& f);
int WriteViff(const TImage& image, const char* name, File& f);
int WriteRaw(const TImage& image, const char* name, File& f);  // ima, imw, imf
int WriteRvb(const TImage& image, const char* name, File& f);
int WritePgm(const TImage& image, const char* name, File& f);
int WriteTiff(const TImage& image, const char* name, File& f);

// Geometry from a ".dim" companion file.
struct Dim {
  int width = 0;
  int height = 0;
  int offset_x = 0;
  int offset_y = 0;
};
// The companion of an image file: the name up to its last '.', then ".dim".
std::string CompanionName(const char* name);
// Reads the companion of the image file `name`. kOpenFailed when it cannot be
// opened or its first line does not give a width and a height of at least 0.
int ReadCompanion(const char* name, Dim* dim);
// Reads the companion of `name` and gives the image its geometry with the
// given frames and type; the companion's status.
int ApplyCompanion(TImage& image, const char* name, unsigned short frames, unsigned char type);
// Writes the companion of the image file `name` from the image's geometry.
void WriteCompanion(const TImage& image, const char* name);

// Shared pieces of the readers.
File OpenForReading(const char* name);
// Bytes between the stream position and the end of a regular file; -1 when
// the stream is not a regular file.
long long BytesLeft(std::FILE* f);
// width x height x frames elements of the image's type, counted in 64 bits.
unsigned long long PixelCount(const TImage& image);
// Gives the image a buffer for PixelCount elements, zero-filled unless the
// caller is about to overwrite all of it. False when the size does not fit
// the image's 32-bit byte counts or memory runs out.
bool AllocatePixels(TImage& image, bool cleared = true);
// Allocates and fills the buffer with one read of PixelCount elements.
// A file too short for the claimed size returns `short_status` before any
// allocation.
int ReadPixels(TImage& image, std::FILE* f, int short_status);
// One line as fgets reads it into a buffer of `limit` characters: at most
// limit - 1 characters, up to and including the line end. Empty at the end
// of the file.
std::string ReadLine(std::FILE* f, size_t limit);
// Skips the rest of the current line, its line end included.
void SkipLine(std::FILE* f);

// Shared pieces of the writers. Each ends the process with "ER_FILE_WRITE"
// (after closing the stream) when the bytes do not all reach the file.
void WriteBytes(File& f, const void* bytes, size_t count);
// The image's elements, width x height x frames of them, as they lie in memory.
void WritePixels(File& f, const TImage& image);
void WriteText(File& f, const char* format, ...) __attribute__((format(printf, 2, 3)));
// Closes the stream; a failure to flush what it holds ends the process.
void CloseWritten(File& f);
// Little-endian fields of 1, 2 or 8 bytes.
void PutLe(unsigned char* out, unsigned long long value, int bytes);
unsigned long long GetLe(const unsigned char* in, int bytes);

}  // namespace image_formats

#endif  // KLUTEIDA_IMAGE_FORMATS_FORMATS_H
