// Projection, space intersection and line fitting: answers derived here
// (collinearity written out, cameras whose rays meet at a known point, an
// independent regression), and the printed texts.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "camera/maptoground.h"
#include "geometry/calc_coord.h"
#include "geometry/projection.h"
#include "geometry/regboundary.h"
#include "geometry_test_util.h"
#include "test_support.h"

using namespace geotest;
using namespace testsupport;

namespace {

using Vec = std::vector<double>;
using Owned = std::unique_ptr<TMatrix>;

std::unique_ptr<TCamera> CameraFile(const TempDir& dir, const std::string& name,
                                    const std::string& text) {
  WriteFile(dir.file(name), text);
  return std::make_unique<TCamera>(dir.file(name).c_str());
}

// Swap affine, identity rotation, focal 100, centre (cx, 0, 1000), shift t.
std::string Nadir(double cx, double t0 = 0, double t1 = 0) {
  return Format("0 1 1 0\n%.17g %.17g\n0 0\n1 0 0\n0 1 0\n0 0 1\n%.17g 0 1000\n100\n", t0, t1, cx);
}

void NearAll(const Vec& got, const Vec& expected, double tolerance) {
  for (size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], expected[i], tolerance) << i;
}

Vec Col(const TMatrix& m) {
  Vec v;
  for (int r = 0; r < m.nRows; ++r) v.push_back(m.elem[r][0]);
  return v;
}

TMatrix Film(double x, double y, double z) {
  TMatrix m(3, 1);
  m.elem[0][0] = x, m.elem[1][0] = y, m.elem[2][0] = z;
  return m;
}

TEST(Projection, CollinearityOfARotatedAffineCamera) {
  TempDir dir;
  const auto cam = CameraFile(dir, "c.cam",
                              "1.1 0.02 0.01 -0.9\n512 384\n3 -4\n0.02\n-0.03 0.4\n"
                              "1000 2000 50000\n15\n");
  // Collinearity with R = Rz(k) Rx(o) Ry(p) and its transpose as inverse.
  const double o = 0.02, p = -0.03, k = 0.4;
  const double rx[3][3] = {{1, 0, 0}, {0, cos(o), sin(o)}, {0, -sin(o), cos(o)}};
  const double ry[3][3] = {{cos(p), 0, -sin(p)}, {0, 1, 0}, {sin(p), 0, cos(p)}};
  const double rz[3][3] = {{cos(k), sin(k), 0}, {-sin(k), cos(k), 0}, {0, 0, 1}};
  double xy[3][3] = {}, r[3][3] = {};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int n = 0; n < 3; ++n) xy[i][j] += rx[i][n] * ry[n][j];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int n = 0; n < 3; ++n) r[i][j] += rz[i][n] * xy[n][j];
  const TPoint3Di point(3000, -1500, 250);
  const double d[3] = {3000 - 1000.0, -1500 - 2000.0, 250 - 50000.0};
  double v[3];
  for (int i = 0; i < 3; ++i) v[i] = r[0][i] * d[0] + r[1][i] * d[1] + r[2][i] * d[2];
  const double fx = -15 * v[0] / v[2], fy = -15 * v[1] / v[2];
  const double row = 1.1 * fx + 0.02 * fy + 512 - 3, col = 0.01 * fx - 0.9 * fy + 384 + 4;
  const TMatrix q = Object2ImageMat(*cam, point);
  EXPECT_NEAR(q.elem[0][0], col, 1e-9);
  EXPECT_NEAR(q.elem[1][0], row, 1e-9);
  const TPointImg pixel = Object2Image(*cam, point);
  EXPECT_EQ(Xy(pixel),
            (Xy2{static_cast<int>(std::lround(col)), static_cast<int>(std::lround(row))}));
  EXPECT_EQ(Xy(Object2Image(*cam, TPoint3Dd(3000, -1500, 250))), Xy(pixel));
  // The zero point is reserved; a point on the principal plane has no image.
  EXPECT_EQ(Xy(Object2Image(*cam, TPoint3Di(0, 0, 0))), (Xy2{-1, -1}));
  EXPECT_EQ(Col(Object2ImageMat(*cam, TPoint3Di(0, 0, 0))), (Vec{0, 0}));
  const auto flat = CameraFile(dir, "f.cam", Nadir(0));
  EXPECT_EQ(Xy(Object2Image(*flat, TPoint3Dd(5, 5, 1000))), (Xy2{-1, -1}));
  // Described example: film (1, 2), pixel (x 1, y 2).
  EXPECT_EQ(Xy(Object2Image(*flat, TPoint3Di(10, 20, 0))), (Xy2{1, 2}));
  EXPECT_EQ(Xy(Image2Image(*flat, *flat, Img(37, -5))), (Xy2{37, -5}));
}

TEST(Projection, PrintedTextsAndTheRectifiedFilm) {
  TempDir dir;
  const auto cam = CameraFile(dir, "n.cam", Nadir(0));
  const ChildResult run = RunInChild([&] {
    const TPoint3Di g = ImageZ2XY(2, 1, 0, *cam);
    std::printf("[%d %d %d]\n", g.x, g.y, g.z);
    TMatrix half_turn(3, 3);  // about the x axis: y and z change sign
    half_turn.elem[0][0] = 1, half_turn.elem[1][1] = -1, half_turn.elem[2][2] = -1;
    const TPointFilm f = Image2Film(*cam, half_turn, Img(4, 8));
    std::printf("[%g %g]\n", f.x, f.y);
  });
  EXPECT_EQ(run.out,
            "1.000000 2.000000\n1.000000 2.000000 -100.000000\n[10 20 0]\n"
            "Position image originale : 8.000000 4.000000 100.000000\n"
            "Position image epipolaire : 8.000000 -4.000000 100.000000\n[8 -4]\n");
  TMatrix odd(3, 4);
  const TPoint3Dd z = TPoint3Dd(1, 2, 3) * odd;
  EXPECT_EQ((Vec{z.x, z.y, z.z}), (Vec{0, 0, 0}));
  const Owned id(CalculateRotMatrix(0, 0, 0));
  const TPoint3Dd same = TPoint3Dd(1, 2, 3) * *id;
  EXPECT_EQ((Vec{same.x, same.y, same.z}), (Vec{1, 2, 3}));
  const Owned quarter(CalcRot_Z(M_PI / 2));
  const TPoint3Dd turned = TPoint3Dd(1, 0, 0) * *quarter;
  EXPECT_NEAR(turned.x, 0, 1e-16);
  EXPECT_EQ(turned.y, 1);
  // X(o) Y(p) Z(k), the transposes of the camera's factors.
  const Owned xyz(CalculateRotMatrix(0.3, -0.2, 1.1));
  const Owned x(CalcRot_X(0.3)), y(CalcRot_Y(-0.2)), zz(CalcRot_Z(1.1));
  const Owned xy(*x * *y), expected(*xy * *zz);
  EXPECT_EQ(Col(*xyz), Col(*expected));
  EXPECT_EQ(y->elem[0][2], sin(-0.2));
}

TEST(Intersection, RaysThatMeetAndTheClosedFormOfAnEpipolarPair) {
  TempDir dir;
  // Shifts that put (12.9, -12.9, 0) on whole pixels: (row -1, column 1) in
  // the first camera, (row -1, column -9) in the second.
  const auto c1 = CameraFile(dir, "1.cam", Nadir(0, 0.29, -0.29));
  const auto c2 = CameraFile(dir, "2.cam", Nadir(100, 0.29, -0.29));
  const ChildResult run = RunInChild([&] {
    const TPoint3Dd p = Pixel2Object(Img(1, -1), Img(-9, -1), *c1, *c2);
    std::printf("[%.6f %.6f %.6f]\n", p.x, p.y, p.z);
    const TPoint3Di t = Image2Object(Img(1, -1), Img(-9, -1), *c1, *c2);
    std::printf("[%d %d %d]\n", t.x, t.y, t.z);
  });
  // The sign of a zero left by rounding is not part of the answer.
  std::string out = run.out;
  for (size_t at; (at = out.find("-0.000000")) != std::string::npos;) out.erase(at, 1);
  EXPECT_EQ(out,
            "\t\t\t\tfilm : 1.290000 -1.290000\n\t\t\t\tfilm : -8.710000 -1.290000\n"
            "\nerreur (en cm) 0.000000\n[12.900000 -12.900000 0.000000]\n"
            "point image : 1 -1\nfilm (3) : 1.290000 -1.290000 -100.000000\n"
            "film (3) : -8.710000 -1.290000 -100.000000\n12.900000 -12.900000 0.000000\n"
            "[12 -12 0]\n");

  const auto n1 = CameraFile(dir, "n1.cam", Nadir(0)), n2 = CameraFile(dir, "n2.cam", Nadir(100));
  EXPECT_EQ(Xyz(Image2Object(2, 1, -10.0, *n1, *n2)), (Xyz3{10, 20, 0}));
  EXPECT_EQ(Xyz(Image2Object(2, 1, static_cast<unsigned char>(118), *n1, *n2)), (Xyz3{10, 20, 0}));
  EXPECT_EQ(Xyz(Image2Object(2, 1, static_cast<unsigned char>(0), *n1, *n2)), (Xyz3{0, 0, 0}));
  // Disparity 0: parallel rays, no point.
  EXPECT_EQ(Xyz(Image2Object(2, 1, static_cast<unsigned char>(128), *n1, *n2)), (Xyz3{0, 0, 0}));
  const ChildResult parallel = RunInChild([&] {
    const TPoint3Dd p = Pixel2Object(Img(1, 2), Img(1, 2), *n1, *n1);
    std::printf("[%g %g %g]", p.x, p.y, p.z);
  });
  EXPECT_EQ(parallel.out.substr(parallel.out.find('[')), "[0 0 0]");
}

TEST(Intersection, ClosedFormSumsAsTheMatrixProductsAndThreeIterations) {
  TempDir dir;
  const auto c1 = CameraFile(dir, "1.cam", "1 0.1 0 1\n5 6\n0 0\n0.05\n-0.1 0.3\n0 0 900\n80\n");
  const auto c2 =
      CameraFile(dir, "2.cam", "1 0 0.2 1\n0 0\n0 0\n-0.02\n0.15 -0.2\n400 50 950\n80\n");
  std::mt19937 gen(3);
  std::uniform_real_distribution<double> u(-30, 30);
  for (int i = 0; i < 50; ++i) {
    const TMatrix f1 = Film(u(gen), u(gen), -80), f2 = Film(u(gen), u(gen), -80);
    const Owned x(calc_apr_XYZ(*c1, *c2, f1, f2));
    const Owned a(*c1->Rot * f1), b(*c2->Rot * f2);
    const double ax = a->elem[0][0] / a->elem[2][0], ay = a->elem[1][0] / a->elem[2][0];
    const double bx = b->elem[0][0] / b->elem[2][0];
    const double z = (400 - 0 + ax * 900 - bx * 950) / (ax - bx);
    ASSERT_EQ(Col(*x), (Vec{ax * (z - 900) + 0, ay * (z - 900) + 0, z})) << i;
  }
  // Rays that miss each other: the iteration keeps moving, and calc_XYZ
  // stops after exactly three steps.
  const TMatrix f1 = Film(3, -4, -80), f2 = Film(-25, 7, -80);
  const auto steps = [&](int n) {
    Owned x(calc_apr_XYZ(*c1, *c2, f1, f2));
    for (int i = 0; i < n; ++i) {
      TMatrix A(4, 3), L(4, 1), dx(3, 1);
      bld_pnt_matr(f1, *x, *c1, A.elem, L.elem);
      bld_pnt_matr(f2, *x, *c2, A.elem + 2, L.elem + 2);
      EXPECT_EQ(adj_ata(A, L, dx), 1);
      *x += dx;
    }
    return Col(*x);
  };
  const Owned refined(calc_XYZ(*c1, *c2, f1, f2));
  EXPECT_EQ(Col(*refined), steps(3));
  EXPECT_NE(Col(*refined), steps(2));
  EXPECT_NE(Col(*refined), steps(4));
  EXPECT_EQ(calc_XYZ(*c1, *c2, TMatrix(2, 1), f2), nullptr);

  // adj_gen with A = I is ordinary least squares; V the residual.
  TMatrix I(3, 3), B(3, 2), L(3, 1), X(2, 1), V(3, 1), dx(2, 1);
  for (int i = 0; i < 3; ++i)
    I.elem[i][i] = 1, B.elem[i][0] = 1, B.elem[i][1] = i, L.elem[i][0] = i * i;
  ASSERT_EQ(adj_gen(I, B, L, X, V), 1);
  ASSERT_EQ(adj_ata(B, L, dx), 1);
  for (int i = 0; i < 2; ++i) EXPECT_NEAR(X.elem[i][0], dx.elem[i][0], 1e-12);
  EXPECT_NEAR(V.elem[0][0], 0 - X.elem[0][0], 1e-12);
  TMatrix singular(3, 2);
  EXPECT_EQ(adj_gen(I, singular, L, X, V), 0);
}

// A calibration file: identity rotation, centre cx 0 3000 mm, focal 100 000
// pixels of 10 um, principal point (500, 500), zero grids of step 100.
std::string Camvor(int cx) {
  return Format(
      "TEXT\n1\n0\n0 0 0 0 0 0 0 0\n0 0 0 0 0 0\n0\n0 0\n0\n%d 0 3000\n100000000\n"
      "1000000000 0 0\n0 1000000000 0\n0 0 1000000000\n10 10\n1000 1000\n500000 500000\n"
      "4\n2 2 100\n0 0\n0 0\n0 0\n0 0\n2 2 100\n0 0\n0 0\n0 0\n0 0\n",
      cx);
}

TEST(Intersection, SecondCameraModelRoundTrip) {
  TempDir dir;
  WriteFile(dir.file("a.txt"), Camvor(0));
  WriteFile(dir.file("b.txt"), Camvor(500));
  const TCamvor a(dir.file("a.txt").c_str()), b(dir.file("b.txt").c_str());
  const TPoint3Di point(12, 34, 56);  // centimetres on the map, origin (0, 0)
  double gx, gy, gz;
  MapToGround(0.12, 0.34, 0.56, gx, gy, gz, 0, 0, 0);
  const TPointImg pa = Object2Image(a, point), pb = Object2Image(b, point);
  const ChildResult run = RunInChild([&] {
    const TPoint3Di g = Image2Object(pa.x, pa.y, static_cast<double>(pb.x - pa.x), a, b);
    std::printf("[%d %d %d]", g.x, g.y, g.z);
  });
  const size_t at = run.out.find('[');
  ASSERT_NE(at, std::string::npos) << run.out;
  EXPECT_EQ(run.out.substr(0, 16), "erreur (en mm) 0");
  int x = 0, y = 0, z = 0;
  std::sscanf(run.out.c_str() + at, "[%d %d %d]", &x, &y, &z);
  // A pixel is 0.3 mm on the ground at 3 m with these cameras.
  EXPECT_NEAR(x, gx * 1000, 2);
  EXPECT_NEAR(y, gy * 1000, 2);
  EXPECT_NEAR(z, gz * 1000, 20);
  EXPECT_EQ(Xyz(Image2Object(1, 2, static_cast<unsigned char>(0), a, b)), (Xyz3{0, 0, 0}));
  EXPECT_EQ(Xy(Image2Image(a, b, Img(500, 500))), (Xy2{500, 500}));
}

RegBoundary_t<TPointImg> Chain(const std::vector<Xy2>& xy) {
  RegBoundary_t<TPointImg> b;
  for (const Xy2& p : xy) b.points.push_back(Img(p[0], p[1]));
  b.nPoints = static_cast<int>(xy.size());
  return b;
}

TEST(LineFit, RegressionDistancesAndStraightStretches) {
  double a, b, c, mean;
  EXPECT_EQ(CalcLinearAprox(Chain({{0, 1}, {1, 3}, {2, 5}, {3, 7}}), a, b, c, mean), 1);
  NearAll({a, b, c, mean}, {-2 / sqrt(5.0), 1 / sqrt(5.0), -1 / sqrt(5.0), 0}, 1e-12);
  EXPECT_EQ(CalcLinearAprox(Chain({{3, 0}, {3, 5}, {3, 9}}), a, b, c, mean), 1);
  EXPECT_EQ((Vec{std::fabs(a), b}), (Vec{1, 0}));
  for (const auto& few : {Chain({{0, 0}, {4, 4}}), Chain({{2, 2}, {2, 2}, {2, 2}})}) {
    EXPECT_EQ(CalcLinearAprox(few, a, b, c, mean), 0);
    EXPECT_EQ((Vec{a, b, c, mean}), (Vec{0, 0, 0, 0}));
  }
  // Noisy points against the regression of y on x from centred sums.
  std::mt19937 gen(9);
  std::vector<Xy2> noisy;
  for (int x = -20; x < 30; ++x) noisy.push_back({x, static_cast<int>(x * 0.7 + 5 + gen() % 5)});
  EXPECT_EQ(CalcLinearAprox(Chain(noisy), a, b, c, mean), 1);
  double mx = 0, my = 0, sxx = 0, sxy = 0;
  for (const Xy2& p : noisy) mx += p[0] / 50.0, my += p[1] / 50.0;
  for (const Xy2& p : noisy) sxx += (p[0] - mx) * (p[0] - mx), sxy += (p[0] - mx) * (p[1] - my);
  const double slope = sxy / sxx, norm = sqrt(slope * slope + 1);
  const double icept = my - slope * mx;
  NearAll({a, b, c}, {-slope / norm, 1 / norm, -icept / norm}, 1e-10);
  double dist = 0;
  for (const Xy2& p : noisy) dist += std::fabs(p[1] - slope * p[0] - icept) / norm / 50;
  EXPECT_NEAR(mean, dist, 1e-10);

  EXPECT_EQ(dist_pnt_ln(Img(0, 0), Img(10, 0), Img(3, 4)), 4);
  EXPECT_EQ(dist_pnt_ln(Img(1, 1), Img(1, 1), Img(4, 5)), 5);

  const auto chain = Chain({{0, 0}, {1, 0}, {2, 1}, {3, 0}, {4, -1}, {5, 0}, {6, 0}});
  int last = 50, split = -1;
  // Deviations x dy + y dx + c0 with dy = 0, dx = 6: 0, 6, 0, -6, 0 (the
  // zeros between hide the sign change): largest 6 / 6 at index 2.
  EXPECT_EQ(Collinear(chain, 1.0, 0, last, split), 0);
  EXPECT_EQ((Xy2{last, split}), (Xy2{6, 2}));
  EXPECT_EQ(Collinear(chain, 1.01, 0, last, split), 1);
  last = 4;  // 1..4: largest deviation 4 / sqrt(10) at index 2
  EXPECT_EQ(Collinear(chain, 0.5, 1, last, split), 0);
  const auto back = Chain({{0, 0}, {5, 0}, {1, 0}, {6, 0}});
  last = 3, split = -1;
  EXPECT_EQ(Collinear(back, 10.0, 0, last, split), 0);  // arc 14 over chord 6
  EXPECT_EQ(split, 1);
  const auto line = Chain({{0, 0}, {1, 1}, {2, 2}, {3, 3}});
  last = 3;
  EXPECT_EQ(Collinear(line, 0.001, 0, last, split), 1);
  EXPECT_EQ(Collinear(line, 0.001, 2, last, split), 1);  // last <= first + 2: no inner point
  EXPECT_EQ(Collinear(line, 0.001, 3, last, split), 0);  // first >= last
}

}  // namespace
