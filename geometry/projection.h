// Points carried between pixel, film and object space for both camera kinds.
#ifndef KLUTEIDA_GEOMETRY_PROJECTION_H
#define KLUTEIDA_GEOMETRY_PROJECTION_H

#include "camera/tcamera.h"
#include "camera/tcamvor.h"
#include "geometry/tpoint3d.h"
#include "geometry/tpointfilm.h"
#include "geometry/tpointimg.h"
#include "math/tmatrix.h"

// Results are rounded to nearest, ties to even. A TCamera works with pixels
// as (row, column) and object points in centimetres; a TCamvor with pixels
// as (column, row) and a ground frame in millimetres, reached from
// centimetre object points through MapToGround.
//
// A point that cannot be projected (the TCamera's reserved zero point, or a
// point on the camera's principal plane, whose pixel is not a number or does
// not fit an int) gives the pixel (x -1, y -1); so does a TCamvor without an
// inverse rotation.

// The pixel of an object point: TCamera in centimetres, TCamvor through the
// map-to-ground conversion, with the film-to-pixel grid corrections.
TPointImg Object2Image(const TCamera& c, const TPoint3Di& p);
TPointImg Object2Image(const TCamera& c, const TPoint3Dd& p);
TPointImg Object2Image(const TCamvor& c, const TPoint3Di& p);
TPointImg Object2Image(const TCamvor& c, const TPoint3Dd& p);
// The same before rounding, as (x, y): the 2 x 1 zero matrix for the
// TCamera's zero point (and for a TCamvor without an inverse rotation).
TMatrix Object2ImageMat(const TCamera& c, const TPoint3Di& p);
TMatrix Object2ImageMat(const TCamvor& c, const TPoint3Di& p);

// The pixel of camera c2 that sees the direction of pixel p of camera c1.
// The scale is taken from the first camera's focal length for two cameras of
// one kind, from the second's for a mixed pair.
TPointImg Image2Image(const TCamera& c1, const TCamera& c2, const TPointImg& p);
TPointImg Image2Image(const TCamera& c1, const TCamvor& c2, const TPointImg& p);
TPointImg Image2Image(const TCamvor& c1, const TCamera& c2, const TPointImg& p);
TPointImg Image2Image(const TCamvor& c1, const TCamvor& c2, const TPointImg& p);

// The film point, in the frame rotated by R (3 x 3), of pixel p taken as
// (column, row). The TCamera form prints "Position image originale : %f %f
// %f\n" and "Position image epipolaire : %f %f %f\n".
TPointFilm Image2Film(const TCamera& c, const TMatrix& R, const TPointImg& p);
TPointFilm Image2Film(const TCamvor& c, const TMatrix& R, const TPointImg& p);

// The ground position (X, Y, Z) at height Z seen by pixel (a, b), with the
// intermediate values printed.
TPoint3Di ImageZ2XY(int a, int b, int Z, const TCamera& c);
TPoint3Di ImageZ2XY(int a, int b, int Z, const TCamvor& c);

#endif  // KLUTEIDA_GEOMETRY_PROJECTION_H
