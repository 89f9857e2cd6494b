// The flat element buffer of a coordinate raster.
#ifndef KLUTEIDA_GEOMETRY_TCOORDBUFFER_H
#define KLUTEIDA_GEOMETRY_TCOORDBUFFER_H

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "geometry/tpoint3d.h"

static_assert(sizeof(TPoint3Di) == 12, "a coordinate element is three packed 32-bit integers");

// Zero-filled array of TPoint3Di. Large rasters are mapped straight from the
// kernel (zero pages, transparent huge pages where available) so that reading
// a file into them costs little more than the read itself; small ones come
// from calloc.
class TCoordBuffer {
 public:
  TCoordBuffer() = default;
  TCoordBuffer(const TCoordBuffer&) = delete;
  TCoordBuffer& operator=(const TCoordBuffer&) = delete;
  ~TCoordBuffer() { Release(); }

  // Replaces the contents with `count` elements (0, 0, 0). false, and empty,
  // when the memory cannot be had.
  bool Allocate(std::size_t count) {
    Release();
    if (count == 0) return true;
    if (count > SIZE_MAX / sizeof(TPoint3Di)) return false;
    const std::size_t bytes = count * sizeof(TPoint3Di);
    if (bytes >= kMapThreshold) {
      const std::size_t length = bytes + kHugePage;
      void* base =
          mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
      if (base == MAP_FAILED) return false;
      const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(base);
      const std::uintptr_t aligned = (at + kHugePage - 1) & ~(std::uintptr_t{kHugePage} - 1);
      madvise(reinterpret_cast<void*>(aligned), bytes, MADV_HUGEPAGE);
      map_base_ = base;
      map_length_ = length;
      elements_ = reinterpret_cast<TPoint3Di*>(aligned);
    } else {
      elements_ = static_cast<TPoint3Di*>(std::calloc(count, sizeof(TPoint3Di)));
      if (!elements_) return false;
    }
    size_ = count;
    return true;
  }

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  TPoint3Di* data() { return elements_; }
  const TPoint3Di* data() const { return elements_; }
  TPoint3Di& operator[](std::size_t i) { return elements_[i]; }
  const TPoint3Di& operator[](std::size_t i) const { return elements_[i]; }
  TPoint3Di* begin() { return data(); }
  TPoint3Di* end() { return data() + size_; }
  const TPoint3Di* begin() const { return data(); }
  const TPoint3Di* end() const { return data() + size_; }

 private:
  static constexpr std::size_t kHugePage = std::size_t{2} << 20;
  static constexpr std::size_t kMapThreshold = std::size_t{8} << 20;

  void Release() {
    if (map_base_)
      munmap(map_base_, map_length_);
    else
      std::free(elements_);
    map_base_ = nullptr;
    map_length_ = 0;
    elements_ = nullptr;
    size_ = 0;
  }

  TPoint3Di* elements_ = nullptr;
  void* map_base_ = nullptr;  // set when the elements live in their own mapping
  std::size_t map_length_ = 0;
  std::size_t size_ = 0;
};

#endif  // KLUTEIDA_GEOMETRY_TCOORDBUFFER_H
