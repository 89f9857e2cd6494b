// 2D and 3D boxes given by two opposite corners, and the box file.
#ifndef KLUTEIDA_GEOMETRY_TBOX_H
#define KLUTEIDA_GEOMETRY_TBOX_H

#include "geometry/overlap.h"
#include "geometry/tpoint3d.h"
#include "geometry/tpointimg.h"

// The box file holds one corner per line, column first then row: written as
// "%12d %12d\n", read with any white space between the numbers.
class TBox2D {
 public:
  TPointImg p1;
  TPointImg p2;

  // Reads p1 and then p2 from the box file. A file that cannot be opened ends
  // the process.
  void Init(const char* name);
  // Writes the box file and returns 1. A file that cannot be created ends the
  // process.
  int Save(const char* name) const;
  unsigned char Overlap(const TBox2D& other) const {
    return BoxOverlap(p1, p2, other.p1, other.p2);
  }
};

class TBox3D {
 public:
  TPoint3Di p1;
  TPoint3Di p2;

  // Tested in plan only: boxes that overlap in x and y overlap whatever their
  // heights.
  unsigned char Overlap(const TBox3D& other) const {
    return BoxOverlap(p1, p2, other.p1, other.p2);
  }
};

#endif  // KLUTEIDA_GEOMETRY_TBOX_H
