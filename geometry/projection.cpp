#include "geometry/projection.h"

#include <cmath>
#include <cstdio>
#include <memory>

#include "camera/maptoground.h"
#include "util/int_conversion.h"

namespace {

using Owned = std::unique_ptr<TMatrix>;

TMatrix Column(double a, double b) {
  TMatrix m(2, 1);
  m.elem[0][0] = a;
  m.elem[1][0] = b;
  return m;
}

TMatrix Column(double a, double b, double c) {
  TMatrix m(3, 1);
  m.elem[0][0] = a;
  m.elem[1][0] = b;
  m.elem[2][0] = c;
  return m;
}

const TPointImg kNoPixel = {-1, -1};

// Whether v rounds to an int (false for NaN).
bool RoundsToInt(double v) {
  const double r = std::rint(v);
  return r >= -2147483648.0 && r <= 2147483647.0;
}

// The rounded pixel (row r, column c), or kNoPixel when either is not a
// number or does not round to an int.
TPointImg Pixel(double r, double c) {
  if (!RoundsToInt(r) || !RoundsToInt(c)) return kNoPixel;
  return {RoundToInt(r), RoundToInt(c)};
}

// The sub-pixel value of a double grid at (x, y), 0 where the read is
// refused or there is no grid.
double GridValue(const TImage* grid, double x, double y) {
  double value = 0.0;
  if (grid)
    const_cast<TImage*>(grid)->GetSubPixelIntensity(x, y, reinterpret_cast<unsigned char*>(&value));
  return value;
}

// Row i of m times (x, y, z), summed left to right.
double RowDot(const TMatrix& m, int i, double x, double y, double z) {
  return m.elem[i][0] * x + m.elem[i][1] * y + m.elem[i][2] * z;
}

// The pixel (q0, q1) = (row, column) of a TCamera for object point
// (x, y, z), before rounding.
TMatrix* CameraPixel(const TCamera& c, double x, double y, double z) {
  const double d0 = x - c.Center->elem[0][0];
  const double d1 = y - c.Center->elem[1][0];
  const double d2 = z - c.Center->elem[2][0];
  const double den = RowDot(*c.RotInv, 2, d0, d1, d2);
  const double fx = -c.Focal * RowDot(*c.RotInv, 0, d0, d1, d2) / den;
  const double fy = -c.Focal * RowDot(*c.RotInv, 1, d0, d1, d2) / den;
  return c.FilmToPixel(Column(fx, fy));
}

// (col + dx, row + dy) of a TCamvor for a centimetre object point, or null
// without an inverse rotation.
TMatrix* CamvorPixel(const TCamvor& c, double x, double y, double z) {
  if (!c.RotInv) return nullptr;
  double gx, gy, gz;
  MapToGround(x / 100.0, y / 100.0, z / 100.0, gx, gy, gz, c.MapOriginX / 1000.0,
              c.MapOriginY / 1000.0, c.MapMode);
  const TMatrix d = Column(gx * 1000.0 - c.Center->elem[0][0], gy * 1000.0 - c.Center->elem[1][0],
                           gz * 1000.0 - c.Center->elem[2][0]);
  const Owned w(*c.RotInv * d);
  const double wx = c.Focal / w->elem[2][0] * w->elem[0][0];
  const double wy = c.Focal / w->elem[2][0] * w->elem[1][0];
  const double col = wx / c.PixelSize + c.PrincipalPoint->elem[0][0];
  const double row = wy / c.PixelSize + c.PrincipalPoint->elem[1][0];
  const double dx = GridValue(c.GridFP0, col / c.GridStep, row / c.GridStep);
  const double dy = GridValue(c.GridFP1, col / c.GridStep, row / c.GridStep);
  return new TMatrix(Column(col + dx, row + dy));
}

TPointImg CameraImage(const TCamera& c, double x, double y, double z) {
  if (x == 0 && y == 0 && z == 0) return kNoPixel;
  const Owned q(CameraPixel(c, x, y, z));
  return Pixel(q->elem[0][0], q->elem[1][0]);
}

TPointImg CamvorImage(const TCamvor& c, double x, double y, double z) {
  const Owned q(CamvorPixel(c, x, y, z));
  return q ? Pixel(q->elem[1][0], q->elem[0][0]) : kNoPixel;
}

// (s w0, s w1) with w = (c2.RotInv x c1.Rot) x (f0, f1, focal term) and
// s = scale / w2: the film point of camera 2 on the ray of camera 1.
TMatrix Transfer(const TMatrix& rot_inv2, const TMatrix& rot1, const TMatrix& f, double term,
                 double scale) {
  const Owned r(rot_inv2 * rot1);
  const Owned w(*r * Column(f.elem[0][0], f.elem[1][0], term));
  const double s = scale / w->elem[2][0];
  return Column(s * w->elem[0][0], s * w->elem[1][0]);
}

}  // namespace

template <>
TPoint3Dd TPoint3Dd::operator*(const TMatrix& m) const {
  if (m.nRows != 3 || m.nCols != 3) return TPoint3Dd(0, 0, 0);
  return TPoint3Dd(RowDot(m, 0, x, y, z), RowDot(m, 1, x, y, z), RowDot(m, 2, x, y, z));
}

TPointFilm TPointImg::Pixel2Film(const TCamera& c) const {
  const Owned f(c.PixelToFilm(Column(y, x)));
  TPointFilm film;
  film.x = f->elem[0][0];
  film.y = f->elem[1][0];
  return film;
}

TPointFilm TPointImg::Pixel2Film(const TCamvor& c) const {
  const double gx = static_cast<double>(x) / c.GridStep, gy = static_cast<double>(y) / c.GridStep;
  const double dx = GridValue(c.GridPF0, gx, gy);
  const double dy = GridValue(c.GridPF1, gx, gy);
  TPointFilm film;
  film.x = (x - c.PrincipalPoint->elem[0][0] + dx) * c.PixelSize;
  film.y = (y - c.PrincipalPoint->elem[1][0] + dy) * c.PixelSize;
  return film;
}

namespace {

TMatrix* UnitDirection(const TMatrix& rot, double x, double y, double z) {
  const Owned v(rot * Column(x, y, z));
  const double* e[3] = {v->elem[0], v->elem[1], v->elem[2]};
  const double length = std::sqrt(e[0][0] * e[0][0] + e[1][0] * e[1][0] + e[2][0] * e[2][0]);
  return *v / length;
}

}  // namespace

TMatrix* TPointFilm::Film2VecteurObjet(const TCamera& c) const {
  return UnitDirection(*c.Rot, x, y, -c.Focal);
}

TMatrix* TPointFilm::Film2VecteurObjet(const TCamvor& c) const {
  return UnitDirection(*c.Rot, x, y, c.Focal);
}

TPointImg Object2Image(const TCamera& c, const TPoint3Di& p) {
  return CameraImage(c, p.x, p.y, p.z);
}

TPointImg Object2Image(const TCamera& c, const TPoint3Dd& p) {
  return CameraImage(c, p.x, p.y, p.z);
}

TPointImg Object2Image(const TCamvor& c, const TPoint3Di& p) {
  return CamvorImage(c, p.x, p.y, p.z);
}

TPointImg Object2Image(const TCamvor& c, const TPoint3Dd& p) {
  return CamvorImage(c, p.x, p.y, p.z);
}

TMatrix Object2ImageMat(const TCamera& c, const TPoint3Di& p) {
  if (p.x == 0 && p.y == 0 && p.z == 0) return TMatrix(2, 1);
  const Owned q(CameraPixel(c, p.x, p.y, p.z));
  return Column(q->elem[1][0], q->elem[0][0]);
}

TMatrix Object2ImageMat(const TCamvor& c, const TPoint3Di& p) {
  const Owned q(CamvorPixel(c, p.x, p.y, p.z));
  return q ? *q : TMatrix(2, 1);
}

TPointImg Image2Image(const TCamera& c1, const TCamera& c2, const TPointImg& p) {
  const Owned f(c1.PixelToFilm(Column(p.y, p.x)));
  const Owned q(c2.FilmToPixel(Transfer(*c2.RotInv, *c1.Rot, *f, -c1.Focal, -c1.Focal)));
  return Pixel(q->elem[0][0], q->elem[1][0]);
}

TPointImg Image2Image(const TCamera& c1, const TCamvor& c2, const TPointImg& p) {
  if (!c2.RotInv) return kNoPixel;
  const Owned f(c1.PixelToFilm(Column(p.x, p.y)));
  const Owned q(c2.FilmToPixel(Transfer(*c2.RotInv, *c1.Rot, *f, -c1.Focal, c2.Focal)));
  return Pixel(q->elem[1][0], q->elem[0][0]);
}

TPointImg Image2Image(const TCamvor& c1, const TCamera& c2, const TPointImg& p) {
  const Owned f(c1.PixelToFilm(Column(p.x, p.y)));
  const Owned q(c2.FilmToPixel(Transfer(*c2.RotInv, *c1.Rot, *f, c1.Focal, -c2.Focal)));
  return Pixel(q->elem[1][0], q->elem[0][0]);
}

TPointImg Image2Image(const TCamvor& c1, const TCamvor& c2, const TPointImg& p) {
  if (!c2.RotInv) return kNoPixel;
  const Owned f(c1.PixelToFilm(Column(p.x, p.y)));
  const Owned q(c2.FilmToPixel(Transfer(*c2.RotInv, *c1.Rot, *f, c1.Focal, c1.Focal)));
  return Pixel(q->elem[1][0], q->elem[0][0]);
}

namespace {

// R x (f0, f1, term) scaled by focal / its z.
TPoint3Dd Rectified(const TMatrix& R, const TMatrix& f, double term, double focal) {
  TPoint3Dd q = TPoint3Dd(f.elem[0][0], f.elem[1][0], term) * R;
  q *= focal / q.z;
  return q;
}

TPointFilm FilmOf(const TPoint3Dd& q) {
  TPointFilm film;
  film.x = q.x;
  film.y = q.y;
  return film;
}

}  // namespace

TPointFilm Image2Film(const TCamera& c, const TMatrix& R, const TPointImg& p) {
  const Owned f(c.PixelToFilm(Column(p.x, p.y)));
  std::printf("Position image originale : %f %f %f\n", f->elem[0][0], f->elem[1][0], c.Focal);
  const TPoint3Dd q = Rectified(R, *f, -c.Focal, c.Focal);
  std::printf("Position image epipolaire : %f %f %f\n", q.x, q.y, q.z);
  return FilmOf(q);
}

TPointFilm Image2Film(const TCamvor& c, const TMatrix& R, const TPointImg& p) {
  const Owned f(c.PixelToFilm(Column(p.x, p.y)));
  return FilmOf(Rectified(R, *f, c.Focal, c.Focal));
}

TPoint3Di ImageZ2XY(int a, int b, int Z, const TCamera& c) {
  const Owned f(c.PixelToFilm(Column(a, b)));
  std::printf("%lf %lf\n", f->elem[0][0], f->elem[1][0]);
  const Owned d(*c.Rot * Column(f->elem[0][0], f->elem[1][0], -c.Focal));
  const double d0 = d->elem[0][0], d1 = d->elem[1][0], d2 = d->elem[2][0];
  std::printf("%lf %lf %lf\n", d0, d1, d2);
  const double t = Z - c.Center->elem[2][0];
  return TPoint3Di(RoundToInt(t * d0 / d2 + c.Center->elem[0][0]),
                   RoundToInt(t * d1 / d2 + c.Center->elem[1][0]), Z);
}

TPoint3Di ImageZ2XY(int a, int b, int Z, const TCamvor& c) {
  std::printf("ImageZ2XY : %d %d %d\n", a, b, Z);
  TPointImg q;
  q.x = a;
  q.y = b;
  std::printf("%d %d\n", q.y, q.x);
  std::printf("%d %d\n", q.x, q.y);
  const TPointFilm f = q.Pixel2Film(c);
  // The focal term is negative here, unlike Film2VecteurObjet for this camera.
  const Owned d(*c.Rot * Column(f.x, f.y, -c.Focal));
  const double d0 = d->elem[0][0], d1 = d->elem[1][0], d2 = d->elem[2][0];
  const int t = RoundToInt(Z - c.Center->elem[2][0]);
  std::printf("%d %f %d\n", Z, c.Center->elem[2][0], t);
  return TPoint3Di(RoundToInt(d0 / d2 * t + c.Center->elem[0][0]),
                   RoundToInt(d1 / d2 * t + c.Center->elem[1][0]), Z);
}
