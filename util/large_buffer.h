// Memory for large buffers (pixels, lines of text, rows of a raster).
#ifndef KLUTEIDA_UTIL_LARGE_BUFFER_H
#define KLUTEIDA_UTIL_LARGE_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

// At least `bytes` bytes, not cleared, released with std::free; null when
// they cannot be had. From 1 MiB on they are aligned to 2 MiB and given to
// transparent huge pages where the system has them: on a virtual machine the
// first touch of every small page can cost more than filling it.
void* AllocateLarge(std::size_t bytes);

// A scratch buffer that keeps its memory from one use to the next and grows
// through AllocateLarge, always from at least 1 MiB so that it lies on huge
// pages (what is copied into it, rows of a file, goes faster).
class LargeBuffer {
 public:
  // The buffer, with room for at least `bytes` bytes (its contents lost when
  // it grows); null when the memory cannot be had.
  char* Reserve(std::size_t bytes);
  char* data() const { return memory_.get(); }

 private:
  struct Free {
    void operator()(char* p) const { std::free(p); }
  };
  std::unique_ptr<char, Free> memory_;
  std::size_t capacity_ = 0;
};

#endif  // KLUTEIDA_UTIL_LARGE_BUFFER_H
