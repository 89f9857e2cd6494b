// The flat element buffer of a coordinate raster.
#ifndef KLUTEIDA_GEOMETRY_TCOORDBUFFER_H
#define KLUTEIDA_GEOMETRY_TCOORDBUFFER_H

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "geometry/tpoint3d.h"

static_assert(sizeof(TPoint3Di) == 12, "a coordinate element is three packed 32-bit integers");

// Zero-filled array of TPoint3Di. It is taken from calloc rather than kept in
// a std::vector so that the pages of a large raster are first touched by the
// read that fills them, not by a separate zeroing pass.
class TCoordBuffer {
 public:
  // Replaces the contents with `count` elements (0, 0, 0). false, and empty,
  // when the memory cannot be had.
  bool Allocate(std::size_t count) {
    elements_.reset();
    size_ = 0;
    if (count == 0) return true;
    elements_.reset(static_cast<TPoint3Di*>(std::calloc(count, sizeof(TPoint3Di))));
    if (!elements_) return false;
    size_ = count;
    return true;
  }

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  TPoint3Di* data() { return elements_.get(); }
  const TPoint3Di* data() const { return elements_.get(); }
  TPoint3Di& operator[](std::size_t i) { return elements_[i]; }
  const TPoint3Di& operator[](std::size_t i) const { return elements_[i]; }
  TPoint3Di* begin() { return data(); }
  TPoint3Di* end() { return data() + size_; }
  const TPoint3Di* begin() const { return data(); }
  const TPoint3Di* end() const { return data() + size_; }

 private:
  struct Free {
    void operator()(TPoint3Di* p) const { std::free(p); }
  };
  std::unique_ptr<TPoint3Di[], Free> elements_;
  std::size_t size_ = 0;
};

#endif  // KLUTEIDA_GEOMETRY_TCOORDBUFFER_H
