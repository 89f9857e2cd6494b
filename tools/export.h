// The pieces of the point-cloud export: arguments, the acceptance test, the
// colour of a pixel and the ".asc" file.
#ifndef KLUTEIDA_TOOLS_EXPORT_H
#define KLUTEIDA_TOOLS_EXPORT_H

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "image/timage.h"
#include "tools/point_format.h"

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

// The same, with byte images read directly (the export reads millions of
// pixels): the bounds and the index are those of GetIntensity.
inline void FetchColour(TImage& image, int x, int y, unsigned char rgb[3]) {
  if (image.type != kTypeByte) return FetchColourByBands(image, x, y, rgb);
  const int bands = image.frames < 3 ? image.frames : 3;
  const long long c = static_cast<long long>(x) - image.offset_x;
  const long long r = static_cast<long long>(y) - image.offset_y;
  if (c < 0 || c >= image.width || r < 0 || r >= image.height) {
    if (bands > 0) rgb[1] = rgb[2] = rgb[0];  // band 0 read nothing, then went on
    return;
  }
  const std::size_t frame = static_cast<std::size_t>(image.width) * image.height;
  const unsigned char* px =
      image.data + static_cast<std::size_t>(r) * image.width + static_cast<std::size_t>(c);
  for (int b = 0; b < bands; ++b) {
    rgb[b] = px[b * frame];
    if (b == 0) rgb[1] = rgb[2] = rgb[0];
  }
}

// The ".asc" point cloud being written. The lines go to a temporary file
// beside it ("<name>.part") that becomes the cloud on Commit; if the process
// ends before (a reader's fatal error), the temporary file is removed, so no
// cloud is left that could pass for a complete one.
class PointCloudFile {
 public:
  // Removes an earlier cloud of that name and creates the temporary file; a
  // file that cannot be created ends the process through error_msg.
  explicit PointCloudFile(std::string path);
  ~PointCloudFile();
  PointCloudFile(const PointCloudFile&) = delete;
  PointCloudFile& operator=(const PointCloudFile&) = delete;

  void Append(int x, int y, int z, const unsigned char rgb[3]) {
    if (static_cast<std::size_t>(end_ - next_) < kPointLineRoom) Flush();
    next_ = formatter_->Format(x, y, z, rgb, next_);
  }

  // Writes what is left, closes and gives the file its final name.
  void Commit();

  // Closes and removes the temporary file (the process is ending early).
  void Abandon();

 private:
  void Flush();

  std::string path_;
  std::string part_path_;
  std::FILE* file_ = nullptr;
  std::vector<char> buffer_;
  char* next_;
  char* end_;
  std::unique_ptr<PointLineFormatter> formatter_;
};

// Writes the ".txt" file: "nb points : <count>\n". A file that cannot be
// created ends the process through error_msg.
void WriteCountFile(const char* path, int count);

#endif  // KLUTEIDA_TOOLS_EXPORT_H
