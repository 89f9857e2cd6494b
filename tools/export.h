// The pieces of the point-cloud export: arguments, the acceptance test, the
// colour of a pixel and the ".txt" file.
#ifndef KLUTEIDA_TOOLS_EXPORT_H
#define KLUTEIDA_TOOLS_EXPORT_H

#include <algorithm>
#include <climits>
#include <cstddef>
#include <vector>

#include "geometry/coordextent.h"
#include "geometry/tcoord.h"
#include "geometry/tcoordfile.h"
#include "image/timage.h"

extern const char kExportUsage[];

// The box of -cadre, in centimetres, bounds included.
struct ExportBox {
  double xmin, xmax, ymin, ymax, zmin, zmax;
};

struct ExportArgs {
  std::vector<const char*> coordinates;  // one per pair
  std::vector<const char*> images;
  const char* output = nullptr;
  bool has_box = false;
  ExportBox box{};
};

// Reads "<N> <coor 1> <image 1> ... <coor N> <image N> <output>" and a
// "-cadre" with six values anywhere. False when the arguments cannot hold what
// they announce: fewer than three, N negative, fewer than 2N + 2 behind the
// program name, or fewer than six values behind -cadre.
bool ParseExportArgs(int argc, char** argv, ExportArgs* args);

// Whether a raster point (centimetres) goes into the cloud: without a box the
// points with z >= 1, with a box those inside it.
inline bool AcceptPoint(int x, int y, int z, const ExportBox* box) {
  if (!box) return z >= 1;
  return box->xmin <= x && x <= box->xmax && box->ymin <= y && y <= box->ymax && box->zmin <= z &&
         z <= box->zmax;
}

// Updates `rgb` with the pixel (x, y) of the enclosing raster: band b into
// rgb[b] for the first three bands, and right after band 0 its byte into
// green and blue as well. A band that has no pixel there leaves its byte as
// it was. This form reads every band through GetIntensity; a band of a wide
// type gives the first byte of its element.
void FetchColourByBands(TImage& image, int x, int y, unsigned char rgb[3]);

// The colours of one row y of the enclosing raster, as FetchColourByBands
// gives them, with byte images read directly (the export reads millions of
// pixels): the bounds and the index are those of GetIntensity, the row's
// tested once.
class ColourRow {
 public:
  ColourRow(TImage& image, int y) : image_(&image), y_(y) {
    if (image.type != kTypeByte) return;
    direct_ = true;
    bands_ = image.frames < 3 ? image.frames : 3;
    const long long r = static_cast<long long>(y) - image.offset_y;
    if (r < 0 || r >= image.height) return;
    row_ = image.data + static_cast<std::size_t>(r) * image.width;
    frame_ = static_cast<std::size_t>(image.width) * image.height;
  }

  // Whether Fetch(x) sets all three bytes from the image alone, whatever
  // they held before.
  bool Determines(int x) const {
    if (!direct_ || !row_ || bands_ == 0) return false;
    const long long c = static_cast<long long>(x) - image_->offset_x;
    return c >= 0 && c < image_->width;
  }

  // Whether Fetch sets all three bytes from the image alone for every
  // column of [begin, end), a range that is not empty.
  bool DeterminesAll(long long begin, long long end) const {
    return direct_ && row_ && bands_ > 0 && begin >= image_->offset_x &&
           end <= static_cast<long long>(image_->offset_x) + image_->width;
  }
  // For a one-band byte image, the bytes of the row from column x on, x
  // being a column that Determines; else null.
  const unsigned char* GreyFrom(long long x) const {
    return direct_ && bands_ == 1 ? row_ + (x - image_->offset_x) : nullptr;
  }

  void Fetch(int x, unsigned char rgb[3]) const {
    if (!direct_) return FetchColourByBands(*image_, x, y_, rgb);
    const long long c = static_cast<long long>(x) - image_->offset_x;
    if (!row_ || c < 0 || c >= image_->width) {
      if (bands_ > 0) rgb[1] = rgb[2] = rgb[0];  // band 0 read nothing, then went on
      return;
    }
    const unsigned char* px = row_ + c;
    for (int b = 0; b < bands_; ++b) {
      rgb[b] = px[b * frame_];
      if (b == 0) rgb[1] = rgb[2] = rgb[0];
    }
  }

 private:
  TImage* image_;
  int y_;
  bool direct_ = false;
  int bands_ = 0;
  const unsigned char* row_ = nullptr;  // null: the row lies outside the image
  std::size_t frame_ = 0;
};

// The colour of one pixel, as ColourRow gives it.
inline void FetchColour(TImage& image, int x, int y, unsigned char rgb[3]) {
  ColourRow(image, y).Fetch(x, rgb);
}

// Where a raster lies on the global grid and what is added to its stored
// points: what a walk needs besides the points.
struct RasterGrid {
  int x0, y0;
  int width, height;
  TPoint3Di offset;
};
template <class Raster>  // TCoord or TCoordFile
RasterGrid GridOf(const Raster& raster) {
  return {raster.x0, raster.y0, raster.width, raster.height, raster.offset};
}

// The global rows y0 .. y0 + height - 1 of a raster, the last kept within
// the int range; likewise its columns.
struct RasterRows {
  long long begin, end;
};
inline RasterRows RowsOf(const RasterGrid& grid) {
  return {grid.y0, std::min<long long>(static_cast<long long>(grid.y0) + grid.height,
                                       static_cast<long long>(INT_MAX) + 1)};
}
inline RasterRows RowsOf(const TCoord& coord) { return RowsOf(GridOf(coord)); }
inline RasterRows ColumnsOf(const RasterGrid& grid) {
  return {grid.x0, std::min<long long>(static_cast<long long>(grid.x0) + grid.width,
                                       static_cast<long long>(INT_MAX) + 1)};
}

// Calls start_row(y) and then visit(x, point) for every pixel of the rows
// [rows.begin, rows.end) of the raster's global grid, columns in order; the
// points are what GetCoord gives. `stored` holds those rows, the first at
// stored[0]. Bounds are in 64 bits: an origin near INT_MAX cannot wrap the loop.
template <class StartRow, class Visit>
void WalkRows(const RasterGrid& grid, RasterRows rows, const TPoint3Di* stored, StartRow start_row,
              Visit visit) {
  const RasterRows columns = ColumnsOf(grid);
  for (long long y = rows.begin; y < rows.end; ++y) {
    start_row(static_cast<int>(y));
    const TPoint3Di* row = stored + static_cast<std::size_t>(y - rows.begin) * grid.width;
    for (long long x = columns.begin; x < columns.end; ++x) {
      const TPoint3Di& s = row[x - columns.begin];
      visit(static_cast<int>(x), s.z == 0 ? s : s + grid.offset);
    }
  }
}
// The same over a raster in memory.
template <class StartRow, class Visit>
void WalkRows(const TCoord& coord, RasterRows rows, StartRow start_row, Visit visit) {
  WalkRows(GridOf(coord), rows,
           coord.data.data() + static_cast<std::size_t>(rows.begin - coord.y0) * coord.width,
           start_row, visit);
}

// The number of the n stored points that AcceptPoint takes.
long long CountAcceptedRun(const TPoint3Di* stored, std::size_t n, TPoint3Di offset,
                           const ExportBox* box);

// The number of points of the raster's walk that AcceptPoint takes.
long long CountAccepted(const TCoord& coord, const ExportBox* box);

// One reading of a raster's file, on two threads: the extent SetMinMax would
// find and, when `accepted` is not null, the number of points of the walk
// that AcceptPoint takes. false when the rows could not be read.
bool ScanRaster(const TCoordFile& file, const ExportBox* box, CoordExtent* extent,
                long long* accepted);

// Writes the ".txt" file: "nb points : <count>\n". A file that cannot be
// created ends the process through error_msg.
void WriteCountFile(const char* path, int count);

#endif  // KLUTEIDA_TOOLS_EXPORT_H
