#include "geometry/tcoord.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "geometry/cfile.h"
#include "geometry/coord_texts.h"
#include "geometry/coordextent.h"
#include "geometry/overlap.h"
#include "geometry/tcoordfile.h"
#include "geometry/wrapint.h"
#include "util/error_msg.h"

// The raster texts, CFile and the element count.
using namespace geometry_detail;

namespace {

const char kSaved[] = "The output saved to files: %s%s\n";
const char kOutOfRange[] = "Point coord-s are out of range\n";
const char kOriginLine[] = "%d %d \n";

const char kErrSaveHeader[] = "Opening dimention file failed\n";
const char kErrSaveCoords[] = "Opening coor file failed";

// Size of a regular file, or -1 for anything else.
long long RegularFileSize(std::FILE* f) {
  struct stat st;
  if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
  return static_cast<long long>(st.st_size);
}

}  // namespace

TCoord::TCoord(const char* name) : width(0), height(0), type(0), x0(0), y0(0) {
  TCoordFile file(name);
  width = file.width;
  height = file.height;
  type = file.type;
  offset = file.offset;
  x0 = file.x0;
  y0 = file.y0;
  file.ReadAll(data);
  file.PrintSuccess();
}

TCoord::TCoord(int width, int height, unsigned char type, TPoint3Di offset, int x0, int y0)
    : width(static_cast<unsigned short>(width)),
      height(static_cast<unsigned short>(height)),
      type(type),
      offset(offset),
      x0(x0),
      y0(y0) {
  if (!data.Allocate(CoordElementCount(this->width, this->height))) error_msg(kErrMemAlloc);
}

TCoord::~TCoord() = default;

void TCoord::Initialize(TPoint3Di p) {
  for (TPoint3Di& e : data) e = p;
}

void TCoord::Initialize(const char* name) {
  std::printf(kCoordOpening, name);
  CFile file(std::fopen(name, "r"));
  if (!file) error_msg(kErrOpenPair);
  int w = 0, h = 0;
  std::fscanf(file.get(), "%d %d \n", &w, &h);
  width = static_cast<unsigned short>(w);
  height = static_cast<unsigned short>(h);
  const std::size_t count = CoordElementCount(width, height);
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
  std::printf("%s", kCoordSuccess);
}

int TCoord::Save(const char* name, int w, int h, int xs, int ys) {
  std::string header;
  if (!geometry_detail::CoordHeaderName(name, header)) return 7;
  if (w == 0) w = width;
  if (h == 0) h = height;
  if (w < 0 || h < 0 || xs < 0 || ys < 0 || static_cast<long long>(xs) + w > width ||
      static_cast<long long>(ys) + h > height)
    return 0;

  CFile dim(std::fopen(header.c_str(), "w"));
  if (!dim) error_msg(kErrSaveHeader);
  std::fprintf(dim.get(), kCoordHeaderLine, w, h, type);
  std::fprintf(dim.get(), kCoordHeaderLine, offset.x, offset.y, offset.z);
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
  const CoordExtent::Window w = CoordExtent::WindowOf(width, height, x0, y0);
  CoordExtent extent(offset);
  for (std::size_t r = w.row_begin; r < w.row_end; ++r)
    extent.Add(data.data() + r * width + w.col_begin, w.col_end - w.col_begin);
  extent.Report(min, max);
}
