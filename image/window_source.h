// The values that TImage::GetWindow puts into window elements, read a row at
// a time into plain arrays of doubles for the correlation engine.
#ifndef KLUTEIDA_IMAGE_WINDOW_SOURCE_H
#define KLUTEIDA_IMAGE_WINDOW_SOURCE_H

#include <cstddef>

#include "image/timage.h"

// One band of an image as GetWindow sees it. Float and 16-bit images are read
// in local coordinates, as float and signed 16-bit values; every other type in
// coordinates of the enclosing raster, as the first byte of the element.
// Positions outside the image, and every position of a band the image does not
// have, read 0.
class WindowSource {
 public:
  WindowSource(const TImage& image, int band);

  // out[i] = the value at column x0 + i of row y, for i < count.
  void FillRow(long long x0, long long y, size_t count, double* out) const;
  // The k x k window centred on (x, y), row-major, as GetWindow fills it.
  void FillWindow(long long x, long long y, int k, double* out) const;

 private:
  const TImage& image_;
  int band_;
  bool local_;  // float and 16-bit images ignore the offsets
};

#endif  // KLUTEIDA_IMAGE_WINDOW_SOURCE_H
