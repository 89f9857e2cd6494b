// Images with a known byte in every position of the buffer, for the pixel
// access and window tests.
#ifndef KLUTEIDA_TESTS_IMAGE_PIXEL_FIXTURE_H
#define KLUTEIDA_TESTS_IMAGE_PIXEL_FIXTURE_H

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "image/timage.h"

namespace pixelfixture {

// Element sizes by type code, written out here rather than asked of the image.
inline size_t ElementBytes(unsigned char type) {
  return type == 2 || type == 6 ? 8 : type == 5 ? 4 : type == 9 ? 2 : 1;
}

// Byte k of a patterned buffer: all different for k < 256.
inline unsigned char Pattern(size_t k) { return static_cast<unsigned char>(k * 37 + 11); }

// Element index of local (x, y) in frame f.
inline size_t Index(int w, int h, int x, int y, int f) {
  return (static_cast<size_t>(f) * h + y) * w + x;
}

// An image adopting `bytes` (copied into a calloc'ed buffer).
inline std::unique_ptr<TImage> FromBytes(int w, int h, unsigned char type, int frames,
                                         const std::vector<unsigned char>& bytes, int ox = 0,
                                         int oy = 0) {
  auto* buf = static_cast<unsigned char*>(std::calloc(bytes.size() + 1, 1));
  std::memcpy(buf, bytes.data(), bytes.size());
  return std::make_unique<TImage>(w, h, type, frames, buf, ox, oy);
}

inline std::vector<unsigned char> PatternBytes(int w, int h, unsigned char type, int frames) {
  std::vector<unsigned char> bytes(static_cast<size_t>(w) * h * frames * ElementBytes(type));
  for (size_t k = 0; k < bytes.size(); ++k) bytes[k] = Pattern(k);
  return bytes;
}

inline std::unique_ptr<TImage> Patterned(int w, int h, unsigned char type, int frames, int ox = 0,
                                         int oy = 0) {
  return FromBytes(w, h, type, frames, PatternBytes(w, h, type, frames), ox, oy);
}

}  // namespace pixelfixture

#endif  // KLUTEIDA_TESTS_IMAGE_PIXEL_FIXTURE_H
