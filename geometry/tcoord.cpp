#include "geometry/tcoord.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "geometry/cfile.h"
#include "geometry/overlap.h"
#include "geometry/wrapint.h"
#include "util/error_msg.h"

using geometry_detail::CFile;

namespace {

const char kOpening[] = "Opening file %s...";
const char kSuccess[] = "  Success\n";
const char kSaved[] = "The output saved to files: %s%s\n";
const char kOutOfRange[] = "Point coord-s are out of range\n";
const char kExtent[] = "%d %d %d %d %d %d\n";
const char kHeaderLine[] = "%d %d %d\n";
const char kOriginLine[] = "%d %d \n";

const char kErrExtension[] = "ER_EXTENSION";
const char kErrOpenPair[] = "Error opening coor or dimention file\n";
const char kErrFileOpen[] = "ER_FILE_OPEN";
const char kErrMemAlloc[] = "ER_MEM_ALLOC";
const char kErrFileRead[] = "ER_FILE_READ";
const char kErrSaveHeader[] = "Opening dimention file failed\n";
const char kErrSaveCoords[] = "Opening coor file failed";

// The header's name: the coordinate file's name cut at its last '.' (anywhere
// in the path) with ".dim" appended. false when the name has no '.'.
bool HeaderName(const char* name, std::string& header) {
  const char* dot = std::strrchr(name, '.');
  if (!dot) return false;
  header.assign(name, dot);
  header += ".dim";
  return true;
}

// Size of a regular file, or -1 for anything else.
long long RegularFileSize(std::FILE* f) {
  struct stat st;
  if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
  return static_cast<long long>(st.st_size);
}

std::size_t ElementCount(unsigned short width, unsigned short height) {
  return static_cast<std::size_t>(width) * height;
}

}  // namespace

TCoord::TCoord(const char* name) : width(0), height(0), type(0), x0(0), y0(0) {
  std::printf(kOpening, name);
  std::string header;
  if (!HeaderName(name, header)) error_msg(kErrExtension);

  CFile dim(std::fopen(header.c_str(), "r"));
  if (!dim) error_msg(kErrOpenPair);
  // Malformed numbers are not detected: whatever the scan did not convert
  // stays 0.
  int w = 0, h = 0, t = 0;
  int ox = 0, oy = 0, oz = 0;
  std::fscanf(dim.get(), kHeaderLine, &w, &h, &t);
  std::fscanf(dim.get(), kHeaderLine, &ox, &oy, &oz);
  width = static_cast<unsigned short>(w);
  height = static_cast<unsigned short>(h);
  type = static_cast<unsigned char>(t);
  offset = TPoint3Di(ox, oy, oz);
  char* line = nullptr;
  std::size_t capacity = 0;
  if (getline(&line, &capacity, dim.get()) != -1) std::sscanf(line, "%d %d", &x0, &y0);
  std::free(line);
  dim.reset();

  CFile coords(std::fopen(name, "rb"));
  if (!coords) error_msg(kErrFileOpen);
  const std::size_t count = ElementCount(width, height);
  // A regular file too short for the header's size is refused before the
  // buffer is allocated, so an absurd header cannot claim memory.
  const long long available = RegularFileSize(coords.get());
  if (available >= 0 && static_cast<unsigned long long>(available) / BytesPerCoord() < count) {
    coords.reset();
    error_msg(kErrFileRead);
  }
  // The read fills every element or the process ends: no need to clear them first.
  if (!data.Allocate(count, TCoordBuffer::Fill::kOverwritten)) error_msg(kErrMemAlloc);
  if (count != 0 && std::fread(data.data(), BytesPerCoord(), count, coords.get()) < count) {
    coords.reset();
    error_msg(kErrFileRead);
  }
  coords.reset();
  std::printf("%s", kSuccess);
}

TCoord::TCoord(int width, int height, unsigned char type, TPoint3Di offset, int x0, int y0)
    : width(static_cast<unsigned short>(width)),
      height(static_cast<unsigned short>(height)),
      type(type),
      offset(offset),
      x0(x0),
      y0(y0) {
  if (!data.Allocate(ElementCount(this->width, this->height))) error_msg(kErrMemAlloc);
}

TCoord::~TCoord() = default;

void TCoord::Initialize(TPoint3Di p) {
  for (TPoint3Di& e : data) e = p;
}

void TCoord::Initialize(const char* name) {
  std::printf(kOpening, name);
  CFile file(std::fopen(name, "r"));
  if (!file) error_msg(kErrOpenPair);
  int w = 0, h = 0;
  std::fscanf(file.get(), "%d %d \n", &w, &h);
  width = static_cast<unsigned short>(w);
  height = static_cast<unsigned short>(h);
  const std::size_t count = ElementCount(width, height);
  // Three numbers and their separators take at least six characters, less
  // one for the last: a regular file too short for the declared size is
  // refused before any memory is claimed.
  const long long available = RegularFileSize(file.get());
  const long long position = std::ftell(file.get());
  if (available >= 0 && position >= 0 && count > 0 &&
      static_cast<unsigned long long>(available - position + 1) / 6 < count) {
    file.reset();
    error_msg(kErrFileRead);
  }
  if (!data.Allocate(count)) error_msg(kErrMemAlloc);
  // The first triple that cannot be read ends the reading; the elements from
  // there on stay (0, 0, 0).
  for (TPoint3Di& e : data) {
    int x, y, z;
    if (std::fscanf(file.get(), "%d%d%d", &x, &y, &z) != 3) break;
    e = TPoint3Di(x, y, z);
  }
  file.reset();
  std::printf("%s", kSuccess);
}

int TCoord::Save(const char* name, int w, int h, int xs, int ys) {
  std::string header;
  if (!HeaderName(name, header)) return 7;
  if (w == 0) w = width;
  if (h == 0) h = height;
  if (w < 0 || h < 0 || xs < 0 || ys < 0 || static_cast<long long>(xs) + w > width ||
      static_cast<long long>(ys) + h > height)
    return 0;

  CFile dim(std::fopen(header.c_str(), "w"));
  if (!dim) error_msg(kErrSaveHeader);
  std::fprintf(dim.get(), kHeaderLine, w, h, type);
  std::fprintf(dim.get(), kHeaderLine, offset.x, offset.y, offset.z);
  std::fprintf(dim.get(), kOriginLine, geometry_detail::WrapAdd(xs, x0),
               geometry_detail::WrapAdd(ys, y0));
  dim.reset();

  CFile coords(std::fopen(name, "wb"));
  if (!coords) error_msg(kErrSaveCoords);
  if (w > 0) {
    for (int r = ys; r < ys + h; ++r)
      std::fwrite(&data[static_cast<std::size_t>(r) * width + static_cast<std::size_t>(xs)],
                  BytesPerCoord(), static_cast<std::size_t>(w), coords.get());
  }
  coords.reset();
  std::printf(kSaved, name, header.c_str());
  return 1;
}

unsigned char TCoord::SetCoord(int x, int y, TPoint3Di p) {
  const long long c = static_cast<long long>(x) - x0;
  const long long r = static_cast<long long>(y) - y0;
  if (c < 0 || c >= width || r < 0 || r >= height) {
    std::printf("%s", kOutOfRange);
    return 0;
  }
  if (p.z != 0) p -= offset;
  data[static_cast<std::size_t>(r) * width + static_cast<std::size_t>(c)] = p;
  return 1;
}

void TCoord::SetMinMax() {
  // The walk passes local indices i, j in [0, width) x [0, height) as global
  // coordinates, so it sees exactly the pixels whose global position lies in
  // both that range and the raster: walk that overlap straight in the buffer.
  const long long i_lo = std::max(0LL, static_cast<long long>(x0));
  const long long i_hi =
      std::min(static_cast<long long>(width), static_cast<long long>(x0) + width);
  const long long j_lo = std::max(0LL, static_cast<long long>(y0));
  const long long j_hi =
      std::min(static_cast<long long>(height), static_cast<long long>(y0) + height);
  const auto row_of = [&](long long j) {
    return data.data() + static_cast<std::size_t>(j - y0) * width +
           static_cast<std::size_t>(i_lo - x0);
  };
  const std::size_t run = i_hi > i_lo ? static_cast<std::size_t>(i_hi - i_lo) : 0;
  // A walk over no column (or a raster without elements) reads no row.
  const long long rows_end = run > 0 ? j_hi : j_lo;
  // A stored z of 0 is an empty pixel; the others count when z + offset > 0.
  const auto valid = [&](const TPoint3Di& s) {
    return s.z != 0 && geometry_detail::WrapAdd(s.z, offset.z) > 0;
  };

  bool seeded = false;
  for (long long j = j_lo; j < rows_end && !seeded; ++j) {
    const TPoint3Di* row = row_of(j);
    for (std::size_t i = 0; i < run; ++i) {
      if (valid(row[i])) {
        min = max = row[i] + offset;
        seeded = true;
        break;
      }
    }
  }
  std::printf(kExtent, min.x, max.x, min.y, max.y, min.z, max.z);
  int lo_x = min.x, lo_y = min.y, lo_z = min.z, hi_x = max.x, hi_y = max.y, hi_z = max.z;
  for (long long j = j_lo; j < rows_end; ++j) {
    const TPoint3Di* row = row_of(j);
    for (std::size_t i = 0; i < run; ++i) {
      // Branch-free so that the walk vectorises: invalid points leave the
      // running extent as it is.
      const TPoint3Di p = row[i] + offset;
      const bool ok = row[i].z != 0 && p.z > 0;
      lo_x = ok && p.x < lo_x ? p.x : lo_x;
      hi_x = ok && p.x > hi_x ? p.x : hi_x;
      lo_y = ok && p.y < lo_y ? p.y : lo_y;
      hi_y = ok && p.y > hi_y ? p.y : hi_y;
      lo_z = ok && p.z < lo_z ? p.z : lo_z;
      hi_z = ok && p.z > hi_z ? p.z : hi_z;
    }
  }
  min = TPoint3Di(lo_x, lo_y, lo_z);
  max = TPoint3Di(hi_x, hi_y, hi_z);
  std::printf(kExtent, min.x, max.x, min.y, max.y, min.z, max.z);
}
