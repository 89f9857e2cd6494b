// Frame camera: an affine pixel-to-film transform, a rotation and a
// projection centre, and the focal length.
#ifndef KLUTEIDA_CAMERA_TCAMERA_H
#define KLUTEIDA_CAMERA_TCAMERA_H

#include "math/tmatrix.h"

// Pixel and film points travel as 2 x 1 matrices, component 0 first; for
// this camera a pixel is (row, column). The camera owns its nine matrices.
//
// Camera file (text, numbers in any white space):
//   a00 a01 a10 a11        Affine, film to pixel
//   t0 t1                  Shift
//   o0 o1                  PixelOffset
//   then the orientation, either as the rotation matrix (a line of three
//   numbers, its row 0, then rows 1 and 2), or as angles (a line whose first
//   number is omega, then phi and kappa)
//   X0 Y0 Z0               Center
//   f                      Focal
class TCamera {
 public:
  TMatrix* Affine;          // 2 x 2, film to pixel
  TMatrix* Shift;           // 2 x 1, pixel translation
  TMatrix* Ainv;            // inverse of Affine at construction
  TMatrix* PixToFilmShift;  // (-Ainv) x Shift at construction
  TMatrix* Rot;             // 3 x 3
  TMatrix* RotInv;          // 3 x 3
  TMatrix* PixelOffset;     // 2 x 1, subtracted after the affine transform
  TMatrix* Angles;          // 3 x 1: omega, phi, kappa in radians
  TMatrix* Center;          // 3 x 1, projection centre
  double Focal;

  // Affine [[0, 1], [1, 0]] (film (x, y) is pixel (y, x)), no shift or
  // offset, angles and centre 0 (Rot the identity), Focal 1.
  TCamera();
  // Reads a camera file. A file that cannot be opened prints " File <path>
  // not found" and ends the process with status 1; so does a file whose
  // affine transform cannot be inverted (" Affine transform of camera file
  // <path> is singular"). Numbers missing from the file are 0.
  explicit TCamera(const char* path);
  TCamera(const TCamera&) = delete;
  TCamera& operator=(const TCamera&) = delete;
  ~TCamera();

  // Writes the camera file in the matrix form:
  //   Affine, "%15.10lf %15.10lf\n %15.10lf %15.10lf\n"
  //   Shift and PixelOffset, "%15.5lf %15.5lf\n" each
  //   the rows of Rot, "%15.10lf%15.10lf%15.10lf\n" each
  //   Center, "%15.5lf %15.5lf %15.5lf\n"
  //   Focal, "%15.5lf" with no line end
  // Returns 1; a file that cannot be created ends the process as in reading.
  int Save(const char* path) const;

  // Rot = Rz(kappa) x (Rx(omega) x Ry(phi)) from Angles, RotInv its inverse.
  void CalculateRotMatrices();

  // New 2 x 1 matrices (the caller deletes them):
  // Ainv x (PixelOffset + pixel) + PixToFilmShift, and its inverse
  // (Affine x film + Shift) - PixelOffset. Null for a point with fewer than
  // two rows (FilmToPixel: other than two).
  TMatrix* PixelToFilm(const TMatrix& pixel) const;
  TMatrix* FilmToPixel(const TMatrix& film) const;
};

#endif  // KLUTEIDA_CAMERA_TCAMERA_H
