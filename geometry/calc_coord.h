// Object points from two views: the closed-form approximation, the two-ray
// least-squares intersection, the iterated collinearity solution, their
// least-squares solvers, and rotation matrices from three angles.
#ifndef KLUTEIDA_GEOMETRY_CALC_COORD_H
#define KLUTEIDA_GEOMETRY_CALC_COORD_H

#include "camera/tcamera.h"
#include "camera/tcamvor.h"
#include "geometry/tpoint3d.h"
#include "geometry/tpointimg.h"
#include "math/tmatrix.h"

// Film vectors f1, f2 are 3 x 1 matrices (film x, film y, focal term: -Focal
// for a TCamera). Object points are centimetres for TCamera, millimetres for
// TCamvor. Functions that return a matrix return a new one (the caller
// deletes it), or null when f1 or f2 has fewer than three rows.
//
// Degenerate geometry (parallel rays, a singular normal matrix) gives no
// point: the least-squares intersections return (0, 0, 0) and print no
// residual; the integer forms return (0, 0, 0), the coordinate raster's "no
// point", whenever the computed point is not a number or does not fit an
// int. The closed form and the iteration return what IEEE arithmetic gives
// (infinities or NaN); an iteration whose normal matrix is singular adds no
// correction.

// The unit direction of pixel p (row, column) in camera c, a new 3 x 1 matrix.
TMatrix* Pixel2Vecteur(TPointImg p, const TCamera& c);

// Least-squares intersection of the rays of p1 in c1 and p2 in c2. The
// TCamera form prints each film point ("\t\t\t\tfilm : %f %f\n") and the
// residual ("\nerreur (en cm) %lf\n"), the TCamvor form the residual
// ("erreur (en mm) %lf\n").
TPoint3Dd Pixel2Object(TPointImg p1, TPointImg p2, const TCamera& c1, const TCamera& c2);
TPoint3Dd Image2Object(TPointImg p1, TPointImg p2, const TCamvor& c1, const TCamvor& c2);

// The iterated collinearity solution (calc_XYZ) of two pixels, printing the
// first pixel, both film vectors and the point; each component truncated
// toward zero.
TPoint3Di Image2Object(TPointImg p1, TPointImg p2, const TCamera& c1, const TCamera& c2);

// An epipolar pair of TCamera: row a, column b of image 1 and column b + d of
// image 2 on the same row, by the closed form; each component rounded. The
// byte form takes a disparity biased by 128 (0: no disparity, (0, 0, 0)).
// Meant to run once per pixel of a disparity image: no heap allocation.
TPoint3Di Image2Object(int a, int b, double d, const TCamera& c1, const TCamera& c2);
TPoint3Di Image2Object(int a, int b, unsigned char d, const TCamera& c1, const TCamera& c2);

// Two TCamvor: column a, row b of image 1 and column a + d (d rounded; the
// byte form biased by 128) of image 2, by the least-squares intersection;
// each component rounded.
TPoint3Di Image2Object(int a, int b, double d, const TCamvor& c1, const TCamvor& c2);
TPoint3Di Image2Object(int a, int b, unsigned char d, const TCamvor& c1, const TCamvor& c2);

// Closed form from the x equations of the two rays: Z from both, X and Y
// from the first.
TMatrix* calc_apr_XYZ(const TCamera& c1, const TCamera& c2, const TMatrix& f1, const TMatrix& f2);
TMatrix* calc_apr_XYZ(const TCamvor& c1, const TCamvor& c2, const TMatrix& f1, const TMatrix& f2);
// The closed form refined by exactly three least-squares steps of the
// linearised collinearity equations.
TMatrix* calc_XYZ(const TCamera& c1, const TCamera& c2, const TMatrix& f1, const TMatrix& f2);
// Two rows of the design matrix (A[0], A[1], three columns each) and two
// observations (L[0][0], L[1][0]) of camera c at the point X.
void bld_pnt_matr(const TMatrix& f, const TMatrix& X, const TCamera& c, double** A, double** L);
// dX = (A^T A)^-1 (A^T L). 1, or 0 (dX untouched) for a singular normal matrix.
int adj_ata(const TMatrix& A, const TMatrix& L, TMatrix& dX);
// Combined adjustment: N = (A A^T)^-1, M = B^T N, X = (M B)^-1 (M L),
// V = A^T N (L - B X). 1, or 0 (X and V untouched) when a product or an
// inverse fails.
int adj_gen(const TMatrix& A, const TMatrix& B, const TMatrix& L, TMatrix& X, TMatrix& V);

// New 3 x 3 rotations: CalcRot_X(omega) CalcRot_Y(phi) CalcRot_Z(kappa), and
// the three elementary ones (the transposes of TCamera's).
TMatrix* CalculateRotMatrix(double omega, double phi, double kappa);
TMatrix* CalcRot_X(double w);
TMatrix* CalcRot_Y(double p);
TMatrix* CalcRot_Z(double k);

#endif  // KLUTEIDA_GEOMETRY_CALC_COORD_H
