// The texts the coordinate raster's readers print, shared by TCoord and
// TCoordFile, and the element count of a raster. Internal to the library.
#ifndef KLUTEIDA_GEOMETRY_COORD_TEXTS_H
#define KLUTEIDA_GEOMETRY_COORD_TEXTS_H

#include <cstddef>

namespace geometry_detail {

inline constexpr char kCoordOpening[] = "Opening file %s...";
inline constexpr char kCoordSuccess[] = "  Success\n";
inline constexpr char kCoordHeaderLine[] = "%d %d %d\n";
inline constexpr char kErrOpenPair[] = "Error opening coor or dimention file\n";
inline constexpr char kErrMemAlloc[] = "ER_MEM_ALLOC";
inline constexpr char kErrFileRead[] = "ER_FILE_READ";

inline std::size_t CoordElementCount(unsigned short width, unsigned short height) {
  return static_cast<std::size_t>(width) * height;
}

}  // namespace geometry_detail

#endif  // KLUTEIDA_GEOMETRY_COORD_TEXTS_H
