// kluteida: N pairs of (coordinate raster, image) in, an ASCII point cloud out.
// Pass 1 counts the accepted points and writes the ".txt" file, pass 2 writes
// one ".asc" line per accepted point with its colour.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "geometry/tcoord.h"
#include "image/timage.h"
#include "tools/export.h"
#include "util/nomfic.h"

namespace {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using OwnedText = std::unique_ptr<char, FreeText>;

// Calls visit(x, y, point) for every pixel of the raster's global grid, rows
// outer, columns inner.
template <class Visit>
void WalkRaster(TCoord& coord, Visit visit) {
  // Bounds in 64 bits: an origin near INT_MAX must not wrap the loop.
  const long long x_end = std::min<long long>(static_cast<long long>(coord.x0) + coord.width,
                                              static_cast<long long>(INT_MAX) + 1);
  const long long y_end = std::min<long long>(static_cast<long long>(coord.y0) + coord.height,
                                              static_cast<long long>(INT_MAX) + 1);
  for (long long y = coord.y0; y < y_end; ++y)
    for (long long x = coord.x0; x < x_end; ++x) {
      const TPoint3Di p = coord.GetCoord(static_cast<int>(x), static_cast<int>(y));
      visit(static_cast<int>(x), static_cast<int>(y), p);
    }
}

}  // namespace

int main(int argc, char** argv) {
  ExportArgs args;
  if (!ParseExportArgs(argc, argv, &args)) {
    std::printf("%s\n", kExportUsage);
    return 1;
  }
  const ExportBox* box = args.has_box ? &args.box : nullptr;
  const std::size_t pairs = args.coordinates.size();

  long long count = 0;
  for (std::size_t i = 0; i < pairs; ++i) {
    TCoord coord(args.coordinates[i]);
    coord.SetMinMax();
    WalkRaster(coord, [&](int, int, const TPoint3Di& p) {
      if (AcceptPoint(p.x, p.y, p.z, box)) ++count;
    });
  }
  // The total is a signed 32-bit count.
  const int total = static_cast<int>(static_cast<unsigned>(count));
  std::printf("Nombre de points : %d\n", total);
  WriteCountFile(OwnedText(nomfic(args.output, ".txt")).get(), total);

  PointCloudFile cloud(OwnedText(nomfic(args.output, ".asc")).get());
  // Lives for the whole pass: a pixel outside the image keeps what the
  // previous points left in it.
  unsigned char rgb[3] = {0, 0, 0};
  for (std::size_t i = 0; i < pairs; ++i) {
    TCoord coord(args.coordinates[i]);
    TImage image(args.images[i]);
    coord.SetMinMax();
    WalkRaster(coord, [&](int x, int y, const TPoint3Di& p) {
      if (!AcceptPoint(p.x, p.y, p.z, box)) return;
      FetchColour(image, x, y, rgb);
      cloud.Append(p.x, p.y, p.z, rgb);
    });
  }
  cloud.Commit();
  return 0;
}
