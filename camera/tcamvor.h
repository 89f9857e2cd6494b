// The second camera model: an integer calibration file with fixed scale
// factors, a focal length in pixels, a principal point and pixel sizes, and
// lens corrections sampled on two pairs of grids.
#ifndef KLUTEIDA_CAMERA_TCAMVOR_H
#define KLUTEIDA_CAMERA_TCAMVOR_H

#include "image/timage.h"
#include "math/tmatrix.h"

// Pixel and film points travel as 2 x 1 matrices; for this camera a pixel
// is (column, row). Object space is millimetres in a local ground frame.
//
// Calibration file (integers and numbers, any white space), with the scale
// each stored value is divided by:
//   TEXT                                  a keyword, not checked
//   GridOn, Tag
//   Info8[0..7], Info6[0..5]
//   StoredValue                           / 1000
//   MapOriginX MapOriginY, MapMode
//   Center X Y Z
//   FocalPix                              / 1000
//   Rot, column by column (r00 r10 r20, r01 r11 r21, r02 r12 r22)   / 10^9
//   PixelSizeX PixelSizeY                 / 10^6
//   Extent1 Extent2
//   PrincipalPoint 0 and 1                / 1000
//   nodes, height, width, GridStep        film-to-pixel grid
//   height x width pairs, rows outer      GridFP0, GridFP1 / 10^6
//   height, width, GridStep               pixel-to-film grid
//   height x width pairs                  GridPF0, GridPF1 / 10^6
class TCamvor {
 public:
  int GridOn;  // non-zero: PixelToFilm and FilmToPixel add the grid corrections
  int Tag;     // Tag, Info8, Info6, StoredValue, Extent1, Extent2: kept and saved
  int Info8[8];
  int Info6[6];
  double StoredValue;
  double MapOriginX;  // tangent point of the map projection, in thousandths
  double MapOriginY;
  int MapMode;
  TMatrix* Center;  // 3 x 1
  double FocalPix;
  TMatrix* Rot;     // 3 x 3, camera to object
  TMatrix* RotInv;  // its inverse; null when Rot is singular
  double PixelSizeX;
  double PixelSizeY;
  double PixelSize;  // (PixelSizeX + PixelSizeY) x 0.5
  int Extent2;
  int Extent1;
  TMatrix* PrincipalPoint;  // 2 x 1, pixels
  double Focal;             // FocalPix x PixelSize
  int GridStep;             // pixels between grid nodes
  // Single-frame double images; node (x, y) stands for pixel (x GridStep,
  // y GridStep), x along point component 0. Null in a default camera.
  TImage* GridFP0;
  TImage* GridFP1;
  TImage* GridPF0;
  TImage* GridPF1;

  // A placeholder: Rot all zero, RotInv null, no grids, every number 0.
  TCamvor();
  // Reads a calibration file. One that cannot be opened prints " File <path>
  // not found" and ends the process with status 1; so do grids of a negative
  // size or larger than the rest of the file could hold (" Correction grid of
  // calibration file <path> has a size the file cannot hold"), and a node
  // count other than the grid's height x width or a pixel-to-film grid whose
  // size differs from the film-to-pixel grid's (" Correction grids of
  // calibration file <path> do not match"). Other numbers missing from the
  // file are 0, and grid nodes missing from it 0.
  explicit TCamvor(const char* path);
  TCamvor(const TCamvor&) = delete;
  TCamvor& operator=(const TCamvor&) = delete;
  ~TCamvor();

  // Writes the calibration file: every number as an integer, scaled back,
  // truncated (rotation and grid nodes rounded). Returns 1; a file that
  // cannot be created ends the process as in reading.
  int Save(const char* path) const;

  // New 2 x 1 matrices (the caller deletes them):
  // film = PixelSize x (pixel + correction(pixel / GridStep) - PrincipalPoint),
  // pixel = film / PixelSize + PrincipalPoint + correction(that / GridStep),
  // the corrections read bilinearly from GridPF and GridFP when GridOn.
  TMatrix* PixelToFilm(const TMatrix& pixel) const;
  TMatrix* FilmToPixel(const TMatrix& film) const;
};

#endif  // KLUTEIDA_CAMERA_TCAMVOR_H
