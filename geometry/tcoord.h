// Coordinate raster: one integer 3D point per pixel of an image.
#ifndef KLUTEIDA_GEOMETRY_TCOORD_H
#define KLUTEIDA_GEOMETRY_TCOORD_H

#include <cstddef>

#include "geometry/tcoordbuffer.h"
#include "geometry/tpoint3d.h"

class TImage;

// The raster covers columns x0 .. x0 + width - 1 and rows y0 .. y0 + height - 1
// of a larger pixel grid; every access takes coordinates of that grid. Points
// are stored relative to `offset`, which is added back on reading, except for a
// stored z of 0: that pixel has no point and its x and y come back raw.
//
// On disk a raster is a pair of files: the coordinate file, width x height raw
// triples of 32-bit integers in host byte order (row by row), and beside it a
// text header named after it with the extension replaced by ".dim":
//   width height type
//   offset.x offset.y offset.z
//   x0 y0            (optional; 0 0 when missing)
class TCoord {
 public:
  unsigned short width;
  unsigned short height;
  unsigned char type;  // carried along, never interpreted
  TPoint3Di offset;
  int x0;
  int y0;
  TPoint3Di min;  // extent of the valid points, set by SetMinMax
  TPoint3Di max;
  TCoordBuffer data;  // element (c, r) at r * width + c

  // Reads the file pair of coordinate file `name`. Any failure ends the process.
  explicit TCoord(const char* name);
  // A zero-filled raster; width and height are kept in 16 bits.
  TCoord(int width, int height, unsigned char type, TPoint3Di offset, int x0, int y0);
  TCoord(const TCoord&) = delete;
  TCoord& operator=(const TCoord&) = delete;
  virtual ~TCoord();

  // Stores p, as it is, in every element.
  void Initialize(TPoint3Di p);
  // Replaces width, height and the elements with those of a text coordinate
  // file: "width height" and then width x height triples of stored values.
  void Initialize(const char* name);

  // Writes the window of w x h elements from local column xs, row ys as a new
  // file pair (w or h 0: the full width or height). 1 when written, 7 when the
  // name has no '.', 0 when the window does not lie inside the raster.
  int Save(const char* name, int w, int h, int xs, int ys);

  // The point at global (x, y); (-9999, -9999, -9999) outside the raster.
  TPoint3Di GetCoord(int x, int y) const {
    const long long c = static_cast<long long>(x) - x0;
    const long long r = static_cast<long long>(y) - y0;
    if (c < 0 || c >= width || r < 0 || r >= height) return TPoint3Di(-9999, -9999, -9999);
    const TPoint3Di& p = data[static_cast<std::size_t>(r) * width + static_cast<std::size_t>(c)];
    return p.z == 0 ? p : p + offset;
  }
  // Whether GetCoord(x, y) has a z other than 0: true outside the raster too.
  unsigned char Set(int x, int y) const { return GetCoord(x, y).z != 0; }
  // Stores p at global (x, y), relative to the offset unless p.z is 0. Outside
  // the raster it prints a message and stores nothing.
  unsigned char SetCoord(int x, int y, TPoint3Di p);
  unsigned char BytesPerCoord() const { return 12; }

  // Sets min and max over the valid points (z > 0) and prints the extent
  // twice, after the seed and after the full walk. The walk runs over local
  // indices but looks them up as global coordinates, so with an origin other
  // than (0, 0) it sees only the part of the raster inside [0, width) x
  // [0, height).
  void SetMinMax();

  // The heights as a new one-frame 16-bit image (the caller deletes it) of
  // the w x h pixels from global (xs, ys) (w or h 0: the full width or
  // height): z - zshift where z is not 0, 0 where it is, -9999 - zshift
  // outside the raster, each kept to its low 16 bits. Null for a negative
  // size or one beyond 65535.
  TImage* Copy2Image(int w, int h, int xs, int ys, int zshift);
  // Sets pixel (i, j) of a 16-bit image (coordinates of its enclosing
  // raster) to the low 16 bits of the z at global (xs + i, ys + j), for i and
  // j over the image's width and height. Any other image type ends the
  // process.
  void Copy2Image(TImage& image, int xs, int ys);
  // Saves Copy2Image(0, 0, 0, 0, zshift) in the format of the name's
  // extension; what TImage::Save returns.
  int SaveAsImage(const char* name, int zshift);
};

#endif  // KLUTEIDA_GEOMETRY_TCOORD_H
