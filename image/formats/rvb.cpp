// "rvb": an 8-bit colour image as interleaved rows (red, green, blue for each
// pixel, 3 x width bytes per row, top row first), with the geometry in the
// ".dim" companion. In memory the image holds three planes. Only 8-bit
// three-frame images are written.
#include <immintrin.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "image/formats/formats.h"
#include "image/timage.h"
#include "util/error_msg.h"

namespace image_formats {

namespace {

void InterleavePortable(const unsigned char* r, const unsigned char* g, const unsigned char* b,
                        size_t width, unsigned char* out) {
  for (size_t x = 0; x < width; ++x) {
    out[3 * x] = r[x];
    out[3 * x + 1] = g[x];
    out[3 * x + 2] = b[x];
  }
}

// Byte shuffles that place 16 pixels of one plane into the three 16-byte
// blocks of their triplets (0x80: a zero byte).
struct TripletMasks {
  alignas(16) unsigned char m[3][3][16];  // [block][plane][byte]
  TripletMasks() {
    for (int p = 0; p < 48; ++p)
      for (int plane = 0; plane < 3; ++plane)
        m[p / 16][plane][p % 16] = static_cast<unsigned char>(p % 3 == plane ? p / 3 : 0x80);
  }
};

__attribute__((target("ssse3"))) void InterleaveSsse3(const unsigned char* r,
                                                      const unsigned char* g,
                                                      const unsigned char* b, size_t width,
                                                      unsigned char* out) {
  static const TripletMasks masks;
  size_t x = 0;
  for (; x + 16 <= width; x += 16) {
    const __m128i planes[3] = {_mm_loadu_si128(reinterpret_cast<const __m128i*>(r + x)),
                               _mm_loadu_si128(reinterpret_cast<const __m128i*>(g + x)),
                               _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + x))};
    for (int block = 0; block < 3; ++block) {
      __m128i v = _mm_setzero_si128();
      for (int plane = 0; plane < 3; ++plane) {
        const __m128i m = _mm_load_si128(reinterpret_cast<const __m128i*>(masks.m[block][plane]));
        v = _mm_or_si128(v, _mm_shuffle_epi8(planes[plane], m));
      }
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 3 * x + 16 * block), v);
    }
  }
  InterleavePortable(r + x, g + x, b + x, width - x, out + 3 * x);
}

// The triplets (red, green, blue) of one row of the three planes.
void Interleave(const unsigned char* red, size_t plane, size_t width, unsigned char* out) {
  static const bool ssse3 = __builtin_cpu_supports("ssse3");
  (ssse3 ? InterleaveSsse3 : InterleavePortable)(red, red + plane, red + 2 * plane, width, out);
}

}  // namespace

int ReadRvb(TImage& image, const char* name, const std::string&) {
  const int status = ApplyCompanion(image, name, 3, kTypeByte);
  if (status != kRead) return status;
  File f = OpenForReading(name);
  if (!f) return kOpenFailed;
  const long long left = BytesLeft(f.get());
  if (left >= 0 && static_cast<unsigned long long>(left) < PixelCount(image)) return kShortRead;
  if (!AllocatePixels(image)) return kNoMemory;
  const size_t width = image.width;
  const size_t plane = width * image.height;
  std::vector<unsigned char> row(3 * width);
  for (size_t y = 0; y < image.height; ++y) {
    if (std::fread(row.data(), 1, row.size(), f.get()) != row.size()) return kShortRead;
    unsigned char* out = image.data + y * width;
    for (size_t x = 0; x < width; ++x) {
      out[x] = row[3 * x];
      out[plane + x] = row[3 * x + 1];
      out[2 * plane + x] = row[3 * x + 2];
    }
  }
  return kRead;
}

int WriteRvb(const TImage& image, const char* name, File& f) {
  std::printf(" rvb, \n");
  if (image.Type() != kTypeByte || image.frames != 3) {
    f.reset();
    error_msg("ER_FILE_TYPE");
  }
  const size_t width = image.width;
  const size_t plane = width * image.height;
  // A progress mark every 32 rows; the rows between two marks go out together.
  constexpr size_t kRowsPerMark = 32;
  std::vector<unsigned char> rows(3 * width * std::min<size_t>(kRowsPerMark, image.height));
  for (size_t y0 = 0; y0 < image.height; y0 += kRowsPerMark) {
    std::printf("#");
    const size_t count = std::min<size_t>(kRowsPerMark, image.height - y0);
    for (size_t y = 0; y < count; ++y)
      Interleave(image.data + (y0 + y) * width, plane, width, rows.data() + 3 * width * y);
    WriteBytes(f, rows.data(), 3 * width * count);
  }
  CloseWritten(f);
  WriteCompanion(image, name);
  return 1;
}

}  // namespace image_formats
