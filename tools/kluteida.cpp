// kluteida: N pairs of (coordinate raster, image) in, an ASCII point cloud out.
// Pass 1 counts the accepted points and writes the ".txt" file, pass 2 writes
// one ".asc" line per accepted point with its colour.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "geometry/coordextent.h"
#include "geometry/tcoordfile.h"
#include "image/timage.h"
#include "tools/cloud_file.h"
#include "tools/export.h"
#include "util/error_msg.h"
#include "util/nomfic.h"

namespace {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
using OwnedText = std::unique_ptr<char, FreeText>;

// Prints the extent as a raster just read prints it.
void ReportExtent(const CoordExtent& extent) {
  TPoint3Di min, max;
  extent.Report(min, max);
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

  // The rasters are read by rows as they are walked, never held whole; what
  // is printed is what reading each one and taking its extent prints.
  long long count = 0;
  for (std::size_t i = 0; i < pairs; ++i) {
    TCoordFile raster(args.coordinates[i]);
    raster.PrintSuccess();
    CoordExtent extent(raster.offset);
    long long accepted = 0;
    if (!ScanRaster(raster, box, &extent, &accepted)) error_msg("ER_FILE_READ");
    ReportExtent(extent);
    count += accepted;
  }
  // The total is a signed 32-bit count.
  const int total = static_cast<int>(static_cast<unsigned>(count));
  std::printf("Nombre de points : %d\n", total);
  WriteCountFile(OwnedText(nomfic(args.output, ".txt")).get(), total);

  // The colour of each line is carried over from the previous point (and
  // pair) where the image has no pixel.
  PointCloudFile cloud(OwnedText(nomfic(args.output, ".asc")).get());
  for (std::size_t i = 0; i < pairs; ++i) {
    TCoordFile raster(args.coordinates[i]);
    raster.PrintSuccess();
    TImage image(args.images[i]);
    // The extent is printed once the lines are made, with nothing printed in
    // between; a run stopped before prints it first, as a raster read whole would.
    CoordExtent extent(raster.offset);
    if (!cloud.AddPair(raster, image, box, &extent)) {
      if (ScanRaster(raster, nullptr, &extent, nullptr)) ReportExtent(extent);
      cloud.Fail();
    }
    ReportExtent(extent);
  }
  cloud.Commit();
  return 0;
}
