// Integer pixel position of the image code.
#ifndef KLUTEIDA_IMAGE_TPOINT_H
#define KLUTEIDA_IMAGE_TPOINT_H

struct TPoint {
  int x;
  int y;
  TPoint(int x = 0, int y = 0) : x(x), y(y) {}
};

#endif  // KLUTEIDA_IMAGE_TPOINT_H
