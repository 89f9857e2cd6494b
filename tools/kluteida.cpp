// kluteida: N pairs of (coordinate raster, image) in, an ASCII point cloud out.
// Pass 1 counts the accepted points and writes the ".txt" file, pass 2 writes
// one ".asc" line per accepted point with its colour.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "geometry/tcoord.h"
#include "image/timage.h"
#include "tools/cloud_file.h"
#include "tools/export.h"
#include "util/nomfic.h"

namespace {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using OwnedText = std::unique_ptr<char, FreeText>;

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
    count += CountAccepted(coord, box);
  }
  // The total is a signed 32-bit count.
  const int total = static_cast<int>(static_cast<unsigned>(count));
  std::printf("Nombre de points : %d\n", total);
  WriteCountFile(OwnedText(nomfic(args.output, ".txt")).get(), total);

  // The colour of each line is carried over from the previous point (and
  // pair) where the image has no pixel.
  PointCloudFile cloud(OwnedText(nomfic(args.output, ".asc")).get());
  for (std::size_t i = 0; i < pairs; ++i) {
    TCoord coord(args.coordinates[i]);
    TImage image(args.images[i]);
    coord.SetMinMax();
    cloud.AddPair(coord, image, box);
  }
  cloud.Commit();
  return 0;
}
