// A picture of a stereo result to judge at a glance: the disparity image and
// a shaded top view of the recovered heights, side by side, as a PNG file.
#ifndef KLUTEIDA_TOOLS_PREVIEW_H
#define KLUTEIDA_TOOLS_PREVIEW_H

#include <string>

#include "geometry/tcoord.h"
#include "image/tdispimage.h"

// Left panel: disparities mind .. maxd - 1 from dark to light, pixels
// without one in dark blue. Right panel: the heights of the raster (on the
// disparity image's grid) coloured from low (green) to high (white) and lit
// from the north-west; pixels without a point in black. False when the file
// cannot be written.
bool WritePreview(const std::string& path, const TDispImage& disparity, int mind, int maxd,
                  const TCoord& raster);

#endif  // KLUTEIDA_TOOLS_PREVIEW_H
