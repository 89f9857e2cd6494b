// The pieces of the point-cloud export: arguments, the acceptance test, the
// colour of a pixel and the ".txt" file.
#ifndef KLUTEIDA_TOOLS_EXPORT_H
#define KLUTEIDA_TOOLS_EXPORT_H

#include <algorithm>
#include <climits>
#include <cstddef>
#include <vector>

#include "geometry/tcoord.h"
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

// The global rows y0 .. y0 + height - 1 of a raster, the last kept within
// the int range.
struct RasterRows {
  long long begin, end;
};
inline RasterRows RowsOf(const TCoord& coord) {
  return {coord.y0, std::min<long long>(static_cast<long long>(coord.y0) + coord.height,
                                        static_cast<long long>(INT_MAX) + 1)};
}

// Calls start_row(y) and then visit(x, point) for every pixel of the rows
// [rows.begin, rows.end) of the raster's global grid, columns in order; the
// points are what GetCoord gives, read along each row. Bounds are in 64 bits:
// an origin near INT_MAX cannot wrap the loop.
template <class StartRow, class Visit>
void WalkRows(const TCoord& coord, RasterRows rows, StartRow start_row, Visit visit) {
  const long long x_end = std::min<long long>(static_cast<long long>(coord.x0) + coord.width,
                                              static_cast<long long>(INT_MAX) + 1);
  const TPoint3Di offset = coord.offset;
  for (long long y = rows.begin; y < rows.end; ++y) {
    start_row(static_cast<int>(y));
    const TPoint3Di* row = coord.data.data() + static_cast<std::size_t>(y - coord.y0) * coord.width;
    for (long long x = coord.x0; x < x_end; ++x) {
      const TPoint3Di& stored = row[x - coord.x0];
      visit(static_cast<int>(x), stored.z == 0 ? stored : stored + offset);
    }
  }
}

// The number of points of the raster's walk that AcceptPoint takes.
long long CountAccepted(const TCoord& coord, const ExportBox* box);

// Writes the ".txt" file: "nb points : <count>\n". A file that cannot be
// created ends the process through error_msg.
void WriteCountFile(const char* path, int count);

#endif  // KLUTEIDA_TOOLS_EXPORT_H
