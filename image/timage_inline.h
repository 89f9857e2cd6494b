// Element reads and writes in local coordinates: the fast path of the
// correlation engine. Index arithmetic only, no allocation, no offsets.
// Included at the end of image/timage.h; not meant to be included alone.
#ifndef KLUTEIDA_IMAGE_TIMAGE_INLINE_H
#define KLUTEIDA_IMAGE_TIMAGE_INLINE_H

#include <cstddef>
#include <cstring>

namespace timage_detail {

// Copies the element at element index i into `value`, as many bytes as the
// element has. A complex element moves as its two floats (8 bytes).
inline void LoadElement(unsigned char type, const unsigned char* data, size_t i,
                        unsigned char* value) {
  switch (type) {
    case kTypeDouble:
    case kTypeComplex:
      std::memcpy(value, data + i * 8, 8);
      return;
    case kTypeFloat:
      std::memcpy(value, data + i * 4, 4);
      return;
    case kTypeShort:
      std::memcpy(value, data + i * 2, 2);
      return;
    default:
      value[0] = data[i];
      return;
  }
}

// Stores the element held in `value` at element index i.
inline void StoreElement(unsigned char type, unsigned char* data, size_t i,
                         const unsigned char* value) {
  switch (type) {
    case kTypeDouble:
    case kTypeComplex:
      std::memcpy(data + i * 8, value, 8);
      return;
    case kTypeFloat:
      std::memcpy(data + i * 4, value, 4);
      return;
    case kTypeShort:
      std::memcpy(data + i * 2, value, 2);
      return;
    default:
      data[i] = value[0];
      return;
  }
}

// Element index of local (x, y) in frame `band`; the caller has checked all three.
inline size_t ElementIndex(const TImage& im, int x, int y, int band) {
  return (static_cast<size_t>(band) * im.height + static_cast<size_t>(y)) * im.width +
         static_cast<size_t>(x);
}

// True when local (x, y) and frame `band` lie inside the image.
inline bool HoldsLocal(const TImage& im, int x, int y, int band) {
  return x >= 0 && x < im.width && y >= 0 && y < im.height && band >= 0 && band < im.frames;
}

}  // namespace timage_detail

inline int TImage::GetIntensityDirect(int x, int y, unsigned char* value) {
  if (!timage_detail::HoldsLocal(*this, x, y, 0)) return 0;
  timage_detail::LoadElement(type, data, timage_detail::ElementIndex(*this, x, y, 0), value);
  return 1;
}

inline int TImage::GetIntensityDirect(int x, int y, unsigned char* value, int band) {
  if (!timage_detail::HoldsLocal(*this, x, y, band)) return 0;
  const size_t i = timage_detail::ElementIndex(*this, x, y, band);
  timage_detail::LoadElement(type, data, i, value);
  // A 16-bit element read with a band keeps only its second byte: the first
  // is byte number i of the buffer (the element index, not the offset 2i).
  if (type == kTypeShort) value[0] = data[i];
  return 1;
}

inline int TImage::SetIntensityDirect(int x, int y, const unsigned char* value) {
  if (!timage_detail::HoldsLocal(*this, x, y, 0)) return 0;
  timage_detail::StoreElement(type, data, timage_detail::ElementIndex(*this, x, y, 0), value);
  return 1;
}

inline int TImage::SetIntensityDirect(int x, int y, const unsigned char* value, int band) {
  if (!timage_detail::HoldsLocal(*this, x, y, band)) return 0;
  timage_detail::StoreElement(type, data, timage_detail::ElementIndex(*this, x, y, band), value);
  return 1;
}

#endif  // KLUTEIDA_IMAGE_TIMAGE_INLINE_H
