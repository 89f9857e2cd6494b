// A coordinate raster's file pair opened for reading by rows.
#ifndef KLUTEIDA_GEOMETRY_TCOORDFILE_H
#define KLUTEIDA_GEOMETRY_TCOORDFILE_H

#include <cstddef>
#include <string>

#include "geometry/tcoordbuffer.h"
#include "geometry/tpoint3d.h"

// The header of a coordinate raster and its open coordinate file, from which
// rows are read as they are needed: a tool that walks a large raster once
// need not hold all of it. TCoord reads its rasters through this class.
//
// Opening prints and fails exactly as TCoord(name) does up to its read:
// "Opening file <name>...", then the header and the coordinate file; a
// regular file too short for the header's size ends the process with
// ER_FILE_READ. Anything else (a pipe, a device) is read whole on opening,
// with TCoord's ER_MEM_ALLOC and ER_FILE_READ, and its rows served from
// memory.
class TCoordFile {
 public:
  unsigned short width = 0;
  unsigned short height = 0;
  unsigned char type = 0;
  TPoint3Di offset;
  int x0 = 0;
  int y0 = 0;

  explicit TCoordFile(const char* name);
  ~TCoordFile();
  TCoordFile(const TCoordFile&) = delete;
  TCoordFile& operator=(const TCoordFile&) = delete;

  // Prints the "  Success" that ends TCoord's reading: for a caller that
  // reads the rows later.
  void PrintSuccess() const;

  // Copies `count` stored rows from row `first` (0 for the first row of the
  // file) into `out`, width elements per row. false when they could not be
  // read (a read error, a file shortened since it was opened) or lie beyond
  // the raster. Callable from several threads at once.
  bool ReadRows(std::size_t first, std::size_t count, TPoint3Di* out) const;

  // Replaces `data` with every element; ends the process with ER_MEM_ALLOC
  // or ER_FILE_READ as TCoord's read does.
  void ReadAll(TCoordBuffer& data);

 private:
  int fd_ = -1;
  bool whole_ = false;  // the elements were read on opening, into held_
  TCoordBuffer held_;
};

namespace geometry_detail {

// The header's name: the coordinate file's name cut at its last '.' (anywhere
// in the path) with ".dim" appended. false when the name has no '.'.
bool CoordHeaderName(const char* name, std::string& header);

}  // namespace geometry_detail

#endif  // KLUTEIDA_GEOMETRY_TCOORDFILE_H
