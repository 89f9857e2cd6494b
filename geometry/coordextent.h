// The extent of a coordinate raster's valid points, gathered run by run.
#ifndef KLUTEIDA_GEOMETRY_COORDEXTENT_H
#define KLUTEIDA_GEOMETRY_COORDEXTENT_H

#include <cstddef>

#include "geometry/tpoint3d.h"

// What TCoord::SetMinMax finds and prints, gathered from runs of stored
// points given in the order of its walk, so that a raster read in pieces (or
// its pieces on several threads, joined in order) gives the same. A stored
// point is valid when its z is not 0 and z + offset.z > 0.
class CoordExtent {
 public:
  // The stored rows and columns the walk visits: it passes local indices as
  // global coordinates, so it sees only the part of the raster inside
  // [0, width) x [0, height) of the global grid.
  struct Window {
    std::size_t row_begin, row_end, col_begin, col_end;
  };
  static Window WindowOf(int width, int height, int x0, int y0);

  explicit CoordExtent(TPoint3Di offset) : offset_(offset) {}

  // Adds n stored points, after every point added before.
  void Add(const TPoint3Di* stored, std::size_t n);
  // Adds what `later` gathered over the part of the walk after this one's.
  void Append(const CoordExtent& later);

  // Prints the extent after the seed (the first valid point) and after the
  // whole walk, "min.x max.x min.y max.y min.z max.z" each, and leaves it in
  // min and max; without a valid point they are printed twice as they are.
  void Report(TPoint3Di& min, TPoint3Di& max) const;

 private:
  TPoint3Di offset_;
  bool seeded_ = false;
  TPoint3Di seed_, lo_, hi_;
};

// The number of the n stored points that are valid in that sense.
std::size_t CountValidPoints(const TPoint3Di* stored, std::size_t n, int offset_z);

#endif  // KLUTEIDA_GEOMETRY_COORDEXTENT_H
