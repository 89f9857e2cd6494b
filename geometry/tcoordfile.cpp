#include "geometry/tcoordfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "geometry/cfile.h"
#include "geometry/coord_texts.h"
#include "util/error_msg.h"

// The raster texts, CFile and the element count.
using namespace geometry_detail;

namespace {

const char kErrExtension[] = "ER_EXTENSION";
const char kErrFileOpen[] = "ER_FILE_OPEN";

constexpr std::size_t kBytesPerCoord = sizeof(TPoint3Di);

// Reads exactly n bytes at `at` (or, with at < 0, from the current position);
// false on an error or an early end of file.
bool ReadExactly(int fd, char* out, std::size_t n, long long at) {
  while (n > 0) {
    const std::size_t step = std::min<std::size_t>(n, std::size_t{1} << 30);
    const ssize_t got = at < 0 ? ::read(fd, out, step) : ::pread(fd, out, step, at);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    out += got;
    n -= static_cast<std::size_t>(got);
    if (at >= 0) at += got;
  }
  return true;
}

}  // namespace

bool geometry_detail::CoordHeaderName(const char* name, std::string& header) {
  const char* dot = std::strrchr(name, '.');
  if (!dot) return false;
  header.assign(name, dot);
  header += ".dim";
  return true;
}

TCoordFile::TCoordFile(const char* name) {
  std::printf(kCoordOpening, name);
  std::string header;
  if (!geometry_detail::CoordHeaderName(name, header)) error_msg(kErrExtension);

  CFile dim(std::fopen(header.c_str(), "r"));
  if (!dim) error_msg(kErrOpenPair);
  // Malformed numbers are not detected: whatever the scan did not convert
  // stays 0.
  int w = 0, h = 0, t = 0;
  int ox = 0, oy = 0, oz = 0;
  std::fscanf(dim.get(), kCoordHeaderLine, &w, &h, &t);
  std::fscanf(dim.get(), kCoordHeaderLine, &ox, &oy, &oz);
  width = static_cast<unsigned short>(w);
  height = static_cast<unsigned short>(h);
  type = static_cast<unsigned char>(t);
  offset = TPoint3Di(ox, oy, oz);
  char* line = nullptr;
  std::size_t capacity = 0;
  if (getline(&line, &capacity, dim.get()) != -1) std::sscanf(line, "%d %d", &x0, &y0);
  std::free(line);
  dim.reset();

  fd_ = ::open(name, O_RDONLY | O_CLOEXEC);
  if (fd_ < 0) error_msg(kErrFileOpen);
  const std::size_t count = CoordElementCount(width, height);
  struct stat st;
  const bool regular = fstat(fd_, &st) == 0 && S_ISREG(st.st_mode);
  if (regular) {
    // A file too short for the header's size is refused before anything is
    // read, so an absurd header cannot claim memory or time.
    if (static_cast<unsigned long long>(st.st_size) / kBytesPerCoord < count)
      error_msg(kErrFileRead);
    return;
  }
  // Not a file that can be read at any place: read it all now. The read fills
  // every element or the process ends: no need to clear them first.
  whole_ = true;
  if (!held_.Allocate(count, TCoordBuffer::Fill::kOverwritten)) error_msg(kErrMemAlloc);
  if (!ReadExactly(fd_, reinterpret_cast<char*>(held_.data()), count * kBytesPerCoord, -1))
    error_msg(kErrFileRead);
}

TCoordFile::~TCoordFile() {
  if (fd_ >= 0) ::close(fd_);
}

void TCoordFile::PrintSuccess() const { std::printf("%s", kCoordSuccess); }

bool TCoordFile::ReadRows(std::size_t first, std::size_t count, TPoint3Di* out) const {
  if (first > height || count > height - first) return false;
  const std::size_t at = first * width, n = count * width;
  if (whole_) {
    if (held_.size() < at + n) return false;  // handed over by ReadAll
    if (n > 0) std::memcpy(out, held_.data() + at, n * kBytesPerCoord);
    return true;
  }
  return ReadExactly(fd_, reinterpret_cast<char*>(out), n * kBytesPerCoord,
                     static_cast<long long>(at * kBytesPerCoord));
}

void TCoordFile::ReadAll(TCoordBuffer& data) {
  if (whole_) {
    data.Swap(held_);
    held_.Allocate(0);
    return;
  }
  if (!data.Allocate(CoordElementCount(width, height), TCoordBuffer::Fill::kOverwritten))
    error_msg(kErrMemAlloc);
  if (!ReadRows(0, height, data.data())) error_msg(kErrFileRead);
}
