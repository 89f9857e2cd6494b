// The point cloud as a binary little-endian PLY file.
#ifndef KLUTEIDA_TOOLS_PLY_H
#define KLUTEIDA_TOOLS_PLY_H

#include <string>

#include "geometry/tcoord.h"
#include "image/timage.h"
#include "tools/export.h"

// Writes the points of the raster's walk that AcceptPoint takes, `count` of
// them, as vertices with x, y, z in metres (doubles) and red, green, blue
// (uchar), their colours fetched from `image` as in the ".asc" file. The file
// is written beside `path` and renamed when complete; false (and no file)
// when it cannot be written.
bool WritePly(const std::string& path, const TCoord& coord, TImage& image, const ExportBox* box,
              long long count);

#endif  // KLUTEIDA_TOOLS_PLY_H
