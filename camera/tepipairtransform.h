// Carries a point with its disparity from one epipolar image pair to another.
#ifndef KLUTEIDA_CAMERA_TEPIPAIRTRANSFORM_H
#define KLUTEIDA_CAMERA_TEPIPAIRTRANSFORM_H

#include "math/tmatrix.h"

// A point of a pair is (row, column, disparity): the disparity is the column
// offset of its match in the pair's second image. The point is rebuilt in
// space from its disparity, rotated into the other pair's frame and
// projected there.
//
// File (numbers in any white space): Focal, PixelSize, BaseA BaseB,
// OriginA[0..2], OriginB[0..2], Limits[0..3], the rows of RotAB, the rows of
// RotBA.
class TEpiPairTransform {
 public:
  // Film coordinates of a pair: [0] film x of column 0 of its first image,
  // [1] film y of row 0, [2] film x of column 0 of its second image.
  double OriginA[3];
  double OriginB[3];
  double BaseA;  // base terms of the two pairs
  double BaseB;
  int Limits[4];  // kept; the transforms do not use them
  double PixelSize;
  double Focal;
  TMatrix* RotAB;  // 3 x 3, from A's frame to B's
  TMatrix* RotBA;

  // Reads the file. One that cannot be opened prints " File <path> not
  // found" and ends the process with status 1; numbers missing from it are 0.
  explicit TEpiPairTransform(const char* path);
  TEpiPairTransform(const TEpiPairTransform&) = delete;
  TEpiPairTransform& operator=(const TEpiPairTransform&) = delete;
  ~TEpiPairTransform();

  // A point of pair A to pair B (and back), in place; 1. The integer forms
  // round each result to nearest (ties to even) and clamp the disparity to
  // -127 .. 127; the double forms neither round nor clamp. Results that are
  // not numbers or do not fit an int (zero parallax) become INT_MIN before
  // the clamp.
  int AToB(int* row, int* col, int* disp) const;
  int BToA(int* row, int* col, int* disp) const;
  int AToBdp(double* row, double* col, double* disp) const;
  int BToAdp(double* row, double* col, double* disp) const;
};

#endif  // KLUTEIDA_CAMERA_TEPIPAIRTRANSFORM_H
