#include "geometry/calc_coord.h"

#include <cmath>
#include <cstdio>
#include <memory>

#include "util/int_conversion.h"

namespace {

using Owned = std::unique_ptr<TMatrix>;

TMatrix Column(double a, double b, double c) {
  TMatrix m(3, 1);
  m.elem[0][0] = a;
  m.elem[1][0] = b;
  m.elem[2][0] = c;
  return m;
}

TMatrix* Rotation(double r00, double r01, double r02, double r10, double r11, double r12,
                  double r20, double r21, double r22) {
  auto* m = new TMatrix(3, 3);
  const double v[9] = {r00, r01, r02, r10, r11, r12, r20, r21, r22};
  for (int i = 0; i < 9; ++i) m->elem[i / 3][i % 3] = v[i];
  return m;
}

bool IsFilmVector(const TMatrix& f) { return f.nRows >= 3 && f.nCols >= 1; }

// m x v for a 3 x 3 matrix, as TMatrix::operator* sums it: from 0.0, in
// column order.
void Times(const TMatrix& m, const double v[3], double out[3]) {
  for (int i = 0; i < 3; ++i) {
    double s = 0.0;
    for (int k = 0; k < 3; ++k) s += m.elem[i][k] * v[k];
    out[i] = s;
  }
}

// The closed form of both camera kinds, on plain arrays.
void Approximate(const TMatrix& rot1, const TMatrix& centre1, const TMatrix& rot2,
                 const TMatrix& centre2, const double f1[3], const double f2[3], double out[3]) {
  double a[3], b[3];
  Times(rot1, f1, a);
  Times(rot2, f2, b);
  const double ax = a[0] / a[2], ay = a[1] / a[2], bx = b[0] / b[2];
  const double c1x = centre1.elem[0][0], c1y = centre1.elem[1][0], c1z = centre1.elem[2][0];
  const double c2x = centre2.elem[0][0], c2z = centre2.elem[2][0];
  const double z = (c2x - c1x + ax * c1z - bx * c2z) / (ax - bx);
  out[0] = ax * (z - c1z) + c1x;
  out[1] = ay * (z - c1z) + c1y;
  out[2] = z;
}

TMatrix* ApproximateMatrix(const TMatrix& rot1, const TMatrix& centre1, const TMatrix& rot2,
                           const TMatrix& centre2, const TMatrix& f1, const TMatrix& f2) {
  if (!IsFilmVector(f1) || !IsFilmVector(f2)) return nullptr;
  const double v1[3] = {f1.elem[0][0], f1.elem[1][0], f1.elem[2][0]};
  const double v2[3] = {f2.elem[0][0], f2.elem[1][0], f2.elem[2][0]};
  double x[3];
  Approximate(rot1, centre1, rot2, centre2, v1, v2, x);
  return new TMatrix(Column(x[0], x[1], x[2]));
}

// Whether every component rounds (or truncates) to an int.
bool FitsInt(double v) { return v > -2147483649.0 && v < 2147483648.0; }

TPoint3Di Rounded(double x, double y, double z) {
  const double r[3] = {std::rint(x), std::rint(y), std::rint(z)};
  for (const double v : r)
    if (!FitsInt(v)) return TPoint3Di(0, 0, 0);
  return TPoint3Di(static_cast<int>(r[0]), static_cast<int>(r[1]), static_cast<int>(r[2]));
}

TPoint3Di Truncated(double x, double y, double z) {
  for (const double v : {x, y, z})
    if (!FitsInt(v)) return TPoint3Di(0, 0, 0);
  return TPoint3Di(static_cast<int>(x), static_cast<int>(y), static_cast<int>(z));
}

// Rays whose unit directions make an angle below this (in radians, about
// 2e-7 arc seconds) have no intersection: their normal matrix is singular up
// to rounding.
constexpr double kParallel = 1e-12;

// The least-squares intersection of the unit rays u from c1 and v from c2
// (3 x 1): X = (A^T A)^-1 A^T L, its residual printed with `residual`;
// (0, 0, 0) and nothing printed for parallel rays or a singular normal
// matrix.
TPoint3Dd Intersect(const TMatrix& u, const TMatrix& v, const TMatrix& c1, const TMatrix& c2,
                    const char* residual) {
  const double u0 = u.elem[0][0], u1 = u.elem[1][0], u2 = u.elem[2][0];
  const double v0 = v.elem[0][0], v1 = v.elem[1][0], v2 = v.elem[2][0];
  const double cross[3] = {u1 * v2 - u2 * v1, u2 * v0 - u0 * v2, u0 * v1 - u1 * v0};
  const double sine2 = cross[0] * cross[0] + cross[1] * cross[1] + cross[2] * cross[2];
  if (!(sine2 >= kParallel * kParallel)) return TPoint3Dd(0, 0, 0);
  const double c1x = c1.elem[0][0], c1y = c1.elem[1][0], c1z = c1.elem[2][0];
  const double c2x = c2.elem[0][0], c2y = c2.elem[1][0], c2z = c2.elem[2][0];
  TMatrix A(4, 3), L(4, 1);
  const double a[12] = {u2, 0, -u0, 0, u2, -u1, v2, 0, -v0, 0, v2, -v1};
  for (int i = 0; i < 12; ++i) A.elem[i / 3][i % 3] = a[i];
  L.elem[0][0] = u2 * c1x - u0 * c1z;
  L.elem[1][0] = u2 * c1y - u1 * c1z;
  L.elem[2][0] = v2 * c2x - v0 * c2z;
  L.elem[3][0] = v2 * c2y - v1 * c2z;
  const Owned at(A.Transpose());
  const Owned normal(*at * A);
  const Owned inverse(normal->Inverse());
  if (!inverse) return TPoint3Dd(0, 0, 0);
  const Owned solver(*inverse * *at);
  const Owned x(*solver * L);
  const Owned ax(A * *x);
  const Owned r(*ax - L);
  const Owned rt(r->Transpose());
  const Owned rr(*rt * *r);
  std::printf(residual, std::sqrt(rr->elem[0][0] * 0.25));
  return TPoint3Dd(x->elem[0][0], x->elem[1][0], x->elem[2][0]);
}

// The unit direction of pixel p of a TCamvor.
TMatrix* Direction(TPointImg p, const TCamvor& c) { return p.Pixel2Film(c).Film2VecteurObjet(c); }

}  // namespace

TMatrix* Pixel2Vecteur(TPointImg p, const TCamera& c) {
  return p.Pixel2Film(c).Film2VecteurObjet(c);
}

TPoint3Dd Pixel2Object(TPointImg p1, TPointImg p2, const TCamera& c1, const TCamera& c2) {
  const TPointFilm f1 = p1.Pixel2Film(c1);
  std::printf("\t\t\t\tfilm : %f %f\n", f1.x, f1.y);
  const Owned u(f1.Film2VecteurObjet(c1));
  const TPointFilm f2 = p2.Pixel2Film(c2);
  std::printf("\t\t\t\tfilm : %f %f\n", f2.x, f2.y);
  const Owned v(f2.Film2VecteurObjet(c2));
  return Intersect(*u, *v, *c1.Center, *c2.Center, "\nerreur (en cm) %lf\n");
}

TPoint3Dd Image2Object(TPointImg p1, TPointImg p2, const TCamvor& c1, const TCamvor& c2) {
  const Owned u(Direction(p1, c1));
  const Owned v(Direction(p2, c2));
  return Intersect(*u, *v, *c1.Center, *c2.Center, "erreur (en mm) %lf\n");
}

TPoint3Di Image2Object(TPointImg p1, TPointImg p2, const TCamera& c1, const TCamera& c2) {
  std::printf("point image : %d %d\n", p1.x, p1.y);
  TMatrix f[2] = {TMatrix(3, 1), TMatrix(3, 1)};
  const TPointImg* p[2] = {&p1, &p2};
  const TCamera* c[2] = {&c1, &c2};
  for (int i = 0; i < 2; ++i) {
    TMatrix pixel(2, 1);
    pixel.elem[0][0] = p[i]->y;
    pixel.elem[1][0] = p[i]->x;
    const Owned film(c[i]->PixelToFilm(pixel));
    f[i] = *film;  // the first two entries
    f[i].elem[2][0] = -c[i]->Focal;
  }
  for (const TMatrix& v : f)
    std::printf("film (3) : %f %f %f\n", v.elem[0][0], v.elem[1][0], v.elem[2][0]);
  const Owned x(calc_XYZ(c1, c2, f[0], f[1]));
  std::printf("%f %f %f\n", x->elem[0][0], x->elem[1][0], x->elem[2][0]);
  return Truncated(x->elem[0][0], x->elem[1][0], x->elem[2][0]);
}

TPoint3Di Image2Object(int a, int b, double d, const TCamera& c1, const TCamera& c2) {
  // Only the off-diagonal terms of Ainv and no PixelOffset: rectified cameras.
  const double f1[3] = {b * c1.Ainv->elem[0][1] + c1.PixToFilmShift->elem[0][0],
                        a * c1.Ainv->elem[1][0] + c1.PixToFilmShift->elem[1][0], -c1.Focal};
  const double f2[3] = {(b + d) * c2.Ainv->elem[0][1] + c2.PixToFilmShift->elem[0][0], f1[1],
                        -c2.Focal};
  double x[3];
  Approximate(*c1.Rot, *c1.Center, *c2.Rot, *c2.Center, f1, f2, x);
  return Rounded(x[0], x[1], x[2]);
}

TPoint3Di Image2Object(int a, int b, unsigned char d, const TCamera& c1, const TCamera& c2) {
  if (d == 0) return TPoint3Di(0, 0, 0);
  return Image2Object(a, b, static_cast<double>(d - 128), c1, c2);
}

namespace {

TPoint3Di CamvorPair(int a, int b, int column2, const TCamvor& c1, const TCamvor& c2) {
  TPointImg p1, p2;
  p1.x = a, p1.y = b;
  p2.x = column2, p2.y = b;
  const TPoint3Dd x = Image2Object(p1, p2, c1, c2);
  return Rounded(x.x, x.y, x.z);
}

int WrapAdd(int a, int b) { return static_cast<int>(static_cast<unsigned>(a) + b); }

}  // namespace

TPoint3Di Image2Object(int a, int b, double d, const TCamvor& c1, const TCamvor& c2) {
  return CamvorPair(a, b, WrapAdd(a, RoundToInt(d)), c1, c2);
}

TPoint3Di Image2Object(int a, int b, unsigned char d, const TCamvor& c1, const TCamvor& c2) {
  if (d == 0) return TPoint3Di(0, 0, 0);
  return CamvorPair(a, b, WrapAdd(a, d - 128), c1, c2);
}

TMatrix* calc_apr_XYZ(const TCamera& c1, const TCamera& c2, const TMatrix& f1, const TMatrix& f2) {
  return ApproximateMatrix(*c1.Rot, *c1.Center, *c2.Rot, *c2.Center, f1, f2);
}

TMatrix* calc_apr_XYZ(const TCamvor& c1, const TCamvor& c2, const TMatrix& f1, const TMatrix& f2) {
  return ApproximateMatrix(*c1.Rot, *c1.Center, *c2.Rot, *c2.Center, f1, f2);
}

TMatrix* calc_XYZ(const TCamera& c1, const TCamera& c2, const TMatrix& f1, const TMatrix& f2) {
  TMatrix* x = calc_apr_XYZ(c1, c2, f1, f2);
  if (!x) return nullptr;
  for (int iteration = 0; iteration < 3; ++iteration) {  // no convergence test
    TMatrix A(4, 3), L(4, 1), dx(3, 1);
    bld_pnt_matr(f1, *x, c1, A.elem, L.elem);
    bld_pnt_matr(f2, *x, c2, A.elem + 2, L.elem + 2);
    adj_ata(A, L, dx);
    *x += dx;
  }
  return x;
}

void bld_pnt_matr(const TMatrix& f, const TMatrix& X, const TCamera& c, double** A, double** L) {
  double** R = c.Rot->elem;
  const double d[3] = {X.elem[0][0] - c.Center->elem[0][0], X.elem[1][0] - c.Center->elem[1][0],
                       X.elem[2][0] - c.Center->elem[2][0]};
  const double p = R[0][0] * d[0] + R[1][0] * d[1] + R[2][0] * d[2];
  const double q = R[0][1] * d[0] + R[1][1] * d[1] + R[2][1] * d[2];
  const double w = R[0][2] * d[0] + R[1][2] * d[1] + R[2][2] * d[2];
  const double k = -c.Focal / (w * w);
  for (int j = 0; j < 3; ++j) {
    A[0][j] = (w * R[j][0] - p * R[j][2]) * k;
    A[1][j] = (w * R[j][1] - q * R[j][2]) * k;
  }
  L[0][0] = p * c.Focal / w + f.elem[0][0];
  L[1][0] = q * c.Focal / w + f.elem[1][0];
}

int adj_ata(const TMatrix& A, const TMatrix& L, TMatrix& dX) {
  const Owned at(A.Transpose());
  const Owned normal(*at * A);
  const Owned inverse(normal ? normal->Inverse() : nullptr);
  const Owned atl(*at * L);
  if (!inverse || !atl) return 0;
  const Owned x(*inverse * *atl);
  if (!x) return 0;
  dX = *x;
  return 1;
}

int adj_gen(const TMatrix& A, const TMatrix& B, const TMatrix& L, TMatrix& X, TMatrix& V) {
  const Owned at(A.Transpose()), bt(B.Transpose());
  const Owned aat(A * *at);
  const Owned n(aat ? aat->Inverse() : nullptr);
  if (!n) return 0;
  const Owned m(*bt * *n);
  const Owned mb(m ? *m * B : nullptr);
  const Owned mb_inverse(mb ? mb->Inverse() : nullptr);
  const Owned ml(m ? *m * L : nullptr);
  if (!mb_inverse || !ml) return 0;
  const Owned x(*mb_inverse * *ml);
  const Owned bx(x ? B * *x : nullptr);
  if (!bx || bx->nRows != L.nRows || bx->nCols != L.nCols) return 0;
  const Owned residual(L - *bx);
  const Owned atn(*at * *n);
  const Owned v(atn ? *atn * *residual : nullptr);
  if (!v) return 0;
  X = *x;
  V = *v;
  return 1;
}

TMatrix* CalcRot_X(double w) {
  return Rotation(1, 0, 0, 0, std::cos(w), -std::sin(w), 0, std::sin(w), std::cos(w));
}

TMatrix* CalcRot_Y(double p) {
  return Rotation(std::cos(p), 0, std::sin(p), 0, 1, 0, -std::sin(p), 0, std::cos(p));
}

TMatrix* CalcRot_Z(double k) {
  return Rotation(std::cos(k), -std::sin(k), 0, std::sin(k), std::cos(k), 0, 0, 0, 1);
}

TMatrix* CalculateRotMatrix(double omega, double phi, double kappa) {
  const Owned x(CalcRot_X(omega)), y(CalcRot_Y(phi)), z(CalcRot_Z(kappa));
  const Owned xy(*x * *y);
  return *xy * *z;
}
