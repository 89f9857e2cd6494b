// The flat element buffer of a coordinate raster.
#ifndef KLUTEIDA_GEOMETRY_TCOORDBUFFER_H
#define KLUTEIDA_GEOMETRY_TCOORDBUFFER_H

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

#include "geometry/tpoint3d.h"

static_assert(sizeof(TPoint3Di) == 12, "a coordinate element is three packed 32-bit integers");

// Array of TPoint3Di. Large rasters are mapped straight from the kernel
// (transparent huge pages where available) so that reading a file into them
// costs little more than the read itself; small ones come from calloc. The
// last large mapping released is kept for the next large raster, so that a
// raster read again neither faults nor clears its pages a second time.
class TCoordBuffer {
 public:
  // What the new elements hold: (0, 0, 0), or whatever the caller is about to
  // overwrite completely (a buffer filled by one read).
  enum class Fill { kZero, kOverwritten };

  TCoordBuffer() = default;
  TCoordBuffer(const TCoordBuffer&) = delete;
  TCoordBuffer& operator=(const TCoordBuffer&) = delete;
  ~TCoordBuffer() { Release(); }

  // Replaces the contents with `count` elements. false, and empty, when the
  // memory cannot be had.
  bool Allocate(std::size_t count, Fill fill = Fill::kZero) {
    Release();
    if (count == 0) return true;
    if (count > SIZE_MAX / sizeof(TPoint3Di)) return false;
    const std::size_t bytes = count * sizeof(TPoint3Di);
    if (bytes >= kMapThreshold) {
      const std::size_t length = bytes + kHugePage;
      Mapping m = TakeSpare(length);
      if (m.base) {
        if (fill == Fill::kZero) std::memset(Aligned(m.base), 0, bytes);
      } else {
        m.base = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (m.base == MAP_FAILED) return false;
        m.length = length;
        madvise(Aligned(m.base), bytes, MADV_HUGEPAGE);
      }
      map_ = m;
      elements_ = static_cast<TPoint3Di*>(Aligned(m.base));
    } else {
      elements_ = static_cast<TPoint3Di*>(std::calloc(count, sizeof(TPoint3Di)));
      if (!elements_) return false;
    }
    size_ = count;
    return true;
  }

  void Swap(TCoordBuffer& other) {
    std::swap(elements_, other.elements_);
    std::swap(map_, other.map_);
    std::swap(size_, other.size_);
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

  struct Mapping {
    void* base = nullptr;
    std::size_t length = 0;
  };

  static void* Aligned(void* base) {
    const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(base);
    return reinterpret_cast<void*>((at + kHugePage - 1) & ~(std::uintptr_t{kHugePage} - 1));
  }

  // The one mapping kept between rasters.
  static Mapping& Spare() {
    static Mapping spare;
    return spare;
  }
  static std::mutex& SpareLock() {
    static std::mutex lock;
    return lock;
  }
  // The kept mapping when it holds at least `length` bytes, else nothing.
  static Mapping TakeSpare(std::size_t length) {
    std::lock_guard<std::mutex> guard(SpareLock());
    Mapping m = Spare();
    if (!m.base || m.length < length) return {};
    Spare() = {};
    return m;
  }

  void Release() {
    if (map_.base) {
      std::unique_lock<std::mutex> guard(SpareLock());
      Mapping& spare = Spare();
      if (spare.length < map_.length) std::swap(spare, map_);
      guard.unlock();
      if (map_.base) munmap(map_.base, map_.length);
    } else {
      std::free(elements_);
    }
    map_ = {};
    elements_ = nullptr;
    size_ = 0;
  }

  TPoint3Di* elements_ = nullptr;
  Mapping map_;  // set when the elements live in their own mapping
  std::size_t size_ = 0;
};

#endif  // KLUTEIDA_GEOMETRY_TCOORDBUFFER_H
