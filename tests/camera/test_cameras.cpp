// The camera models, the epipolar pair transform and the map-to-ground
// conversion: files read and written byte for byte, answers derived here.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "camera/maptoground.h"
#include "camera/tcamera.h"
#include "camera/tcamvor.h"
#include "camera/tepipairtransform.h"
#include "test_support.h"

using namespace testsupport;

namespace {

using Vec = std::vector<double>;

Vec Column(const TMatrix* m) {
  Vec v;
  for (int r = 0; r < m->nRows; ++r) v.push_back(m->elem[r][0]);
  return v;
}

Vec Elements(const TMatrix* m) {
  Vec v;
  for (int r = 0; r < m->nRows; ++r)
    for (int c = 0; c < m->nCols; ++c) v.push_back(m->elem[r][c]);
  return v;
}

TMatrix Point(double a, double b) {
  TMatrix m(2, 1);
  m.elem[0][0] = a, m.elem[1][0] = b;
  return m;
}

void ExpectNear(const Vec& a, const Vec& b, double tolerance) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], tolerance) << i;
}

// 3 x 3 products written out, row-major.
Vec Product(const Vec& a, const Vec& b) {
  Vec p(9, 0.0);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k) p[i * 3 + j] += a[i * 3 + k] * b[k * 3 + j];
  return p;
}

const std::string kAngleCamera =
    "1.0 0.0 0.0 -1.0\n512.0 256.0\n3.0 4.0\n0.3\n-0.2 1.1\n1000.0 2000.0 1500.0\n0.153\n";

TEST(Camera, AngleFileRotationOrderAndPixelFilmRoundTrip) {
  TempDir dir;
  WriteFile(dir.file("a.cam"), kAngleCamera);
  const TCamera cam(dir.file("a.cam").c_str());
  EXPECT_EQ(Elements(cam.Affine), (Vec{1, 0, 0, -1}));
  EXPECT_EQ(Column(cam.Angles), (Vec{0.3, -0.2, 1.1}));
  EXPECT_EQ(Column(cam.Center), (Vec{1000, 2000, 1500}));
  EXPECT_EQ(cam.Focal, 0.153);
  // Rz(kappa) (Rx(omega) Ry(phi)); a swapped product differs by far more.
  const double o = 0.3, p = -0.2, k = 1.1;
  const Vec rx = {1, 0, 0, 0, cos(o), sin(o), 0, -sin(o), cos(o)};
  const Vec ry = {cos(p), 0, -sin(p), 0, 1, 0, sin(p), 0, cos(p)};
  const Vec rz = {cos(k), sin(k), 0, -sin(k), cos(k), 0, 0, 0, 1};
  ExpectNear(Elements(cam.Rot), Product(rz, Product(rx, ry)), 1e-15);
  std::unique_ptr<TMatrix> identity(*cam.Rot * *cam.RotInv);
  ExpectNear(Elements(identity.get()), {1, 0, 0, 0, 1, 0, 0, 0, 1}, 1e-15);

  const TMatrix pixel = Point(100.25, -7.5);
  std::unique_ptr<TMatrix> film(cam.PixelToFilm(pixel));
  ExpectNear(Column(film.get()), {100.25 + 3 - 512, -(-7.5 + 4 - 256)}, 1e-12);
  std::unique_ptr<TMatrix> back(cam.FilmToPixel(*film));
  ExpectNear(Column(back.get()), Column(&pixel), 1e-12);
  EXPECT_EQ(cam.PixelToFilm(TMatrix(1, 1)), nullptr);
}

TEST(Camera, MatrixFileDefaultCameraAndSave) {
  TempDir dir;
  const std::string rows = "1 2 0\n0.5 0.25 9\n3 4 5\n";
  WriteFile(dir.file("m.cam"), "1 0 0 1\n10 20\n1 2\n" + rows + "7 8 9\n100\n");
  const TCamera cam(dir.file("m.cam").c_str());
  EXPECT_EQ(Elements(cam.Rot), (Vec{1, 2, 0, 0.5, 0.25, 9, 3, 4, 5}));
  EXPECT_EQ(Elements(cam.RotInv), (Vec{1, 0.5, 3, 2, 0.25, 4, 0, 9, 5}));  // the transpose
  EXPECT_EQ(Column(cam.Angles), (Vec{0, 0, 0}));
  std::unique_ptr<TMatrix> pixel(cam.FilmToPixel(Point(0, 0)));
  EXPECT_EQ(Column(pixel.get()), (Vec{9, 18}));
  std::unique_ptr<TMatrix> film(cam.PixelToFilm(Point(9, 18)));
  EXPECT_EQ(Column(film.get()), (Vec{0, 0}));

  // Two numbers on the orientation line: omega, then phi and kappa follow.
  WriteFile(dir.file("o.cam"), "1 0 0 1\n0 0\n0 0\n0.1 0.2\n0.3 0.4\n0 0 0\n1\n");
  EXPECT_EQ(Column(TCamera(dir.file("o.cam").c_str()).Angles), (Vec{0.1, 0.3, 0.4}));

  ASSERT_EQ(cam.Save(dir.file("s.cam").c_str()), 1);
  EXPECT_EQ(ReadFile(dir.file("s.cam")),
            Format("%15.10lf %15.10lf\n %15.10lf %15.10lf\n", 1.0, 0.0, 0.0, 1.0) +
                Format("%15.5lf %15.5lf\n", 10.0, 20.0) + Format("%15.5lf %15.5lf\n", 1.0, 2.0) +
                Format("%15.10lf%15.10lf%15.10lf\n", 1.0, 2.0, 0.0) +
                Format("%15.10lf%15.10lf%15.10lf\n", 0.5, 0.25, 9.0) +
                Format("%15.10lf%15.10lf%15.10lf\n", 3.0, 4.0, 5.0) +
                Format("%15.5lf %15.5lf %15.5lf\n", 7.0, 8.0, 9.0) + Format("%15.5lf", 100.0));
  const TCamera again(dir.file("s.cam").c_str());
  EXPECT_EQ(Elements(again.Rot), Elements(cam.Rot));

  const TCamera standard;
  std::unique_ptr<TMatrix> swapped(standard.FilmToPixel(Point(3, 5)));
  EXPECT_EQ(Column(swapped.get()), (Vec{5, 3}));
  EXPECT_EQ(Elements(standard.Rot), (Vec{1, 0, 0, 0, 1, 0, 0, 0, 1}));
  EXPECT_EQ(standard.Focal, 1.0);
}

TEST(Camera, UnusableFilesAreRefused) {
  TempDir dir;
  WriteFile(dir.file("singular.cam"), "1 2 2 4\n0 0\n0 0\n0 0 0\n0 0 0\n1\n");
  WriteFile(dir.file("short.cam"), "2 0 0 2\n5\n");
  const std::string missing = dir.file("none.cam"), singular = dir.file("singular.cam");
  const struct {
    std::function<void()> run;
    std::string out;
  } cases[] = {
      {[&] { TCamera c(missing.c_str()); }, " File " + missing + " not found\n"},
      {[&] { TCamvor c(missing.c_str()); }, " File " + missing + " not found\n"},
      {[&] { TEpiPairTransform t(missing.c_str()); }, " File " + missing + " not found\n"},
      {[&] { TCamera().Save((missing + "/x").c_str()); }, " File " + missing + "/x not found\n"},
      {[&] { TCamera c(singular.c_str()); },
       " Affine transform of camera file " + singular + " is singular\n"},
  };
  for (const auto& c : cases) {
    const ChildResult run = RunInChild(c.run);
    EXPECT_EQ(run.out, c.out);
    EXPECT_EQ(run.status, 1);
  }
  // Missing numbers are 0: no shift, no centre, angles 0 (Rot the identity).
  const TCamera cam(dir.file("short.cam").c_str());
  EXPECT_EQ(Column(cam.Shift), (Vec{5, 0}));
  EXPECT_EQ(Column(cam.Center), (Vec{0, 0, 0}));
  EXPECT_EQ(Elements(cam.Rot), (Vec{1, 0, 0, 0, 1, 0, 0, 0, 1}));
  EXPECT_EQ(cam.Focal, 0.0);
}

// A calibration file with 2 x 3 grids of step 16; `rotation` holds the three
// column lines.
std::string Calibration(const std::string& rotation, const std::string& fp_header = "6\n2 3 16\n",
                        const std::string& pf_header = "2 3 16\n") {
  return "TEXT\n1\n7\n1 2 3 4 5 6 7 8\n9 10 11 12 13 14\n1234\n500000 600000\n2\n100 200 300\n"
         "50000000\n" +
         rotation + "9 10\n1024 768\n512000 384000\n" + fp_header +
         "0 0\n1000000 0\n2000000 0\n0 0\n0 0\n0 4000000\n" + pf_header +
         "0 0\n-1000000 0\n0 0\n0 0\n0 0\n0 2000000\n\n";
}

const std::string kColumns = "0 1000000000 0\n-1000000000 0 0\n0 0 1000000000\n";

TEST(Camvor, CalibrationFileRoundTripAndCorrections) {
  TempDir dir;
  WriteFile(dir.file("c.txt"), Calibration(kColumns));
  const TCamvor cam(dir.file("c.txt").c_str());
  EXPECT_EQ(std::make_tuple(cam.GridOn, cam.Tag, cam.Info8[7], cam.Info6[5], cam.MapMode),
            std::make_tuple(1, 7, 8, 14, 2));
  EXPECT_EQ(Elements(cam.Rot), (Vec{0, -1, 0, 1, 0, 0, 0, 0, 1}));  // lines are columns
  EXPECT_EQ(std::make_tuple(cam.StoredValue, cam.FocalPix, cam.PixelSize, cam.GridStep),
            std::make_tuple(1.234, 50000.0, (9 / 1e6 + 10 / 1e6) * 0.5, 16));
  EXPECT_EQ(cam.Focal, 50000.0 * cam.PixelSize);
  EXPECT_EQ(Column(cam.PrincipalPoint), (Vec{512, 384}));
  ASSERT_EQ(cam.Save(dir.file("s.txt").c_str()), 1);
  EXPECT_EQ(ReadFile(dir.file("s.txt")), Calibration(kColumns));

  // Pixel (8, 8) is grid position (0.5, 0.5): pixel-to-film corrections
  // (-1 / 4, 0) from the nodes (0 -1 / 0 0) and (0 0 / 0 0).
  const double ps = cam.PixelSize;
  std::unique_ptr<TMatrix> film(cam.PixelToFilm(Point(8, 8)));
  ExpectNear(Column(film.get()), {(8 - 0.25 - 512) * ps, (8 - 384) * ps}, 1e-15);
  // Film to pixel (16, 8) before the correction, grid position (1, 0.5):
  // film-to-pixel corrections (1 / 2, 0) from the nodes (1 2 / 0 0).
  std::unique_ptr<TMatrix> pixel(cam.FilmToPixel(Point((16 - 512) * ps, (8 - 384) * ps)));
  ExpectNear(Column(pixel.get()), {16.5, 8}, 1e-9);

  TCamvor plain;
  plain.PixelSize = 0.000009;
  plain.PrincipalPoint->elem[0][0] = plain.PrincipalPoint->elem[1][0] = 512;
  film.reset(plain.PixelToFilm(Point(612, 512)));
  ExpectNear(Column(film.get()), {0.0009, 0}, 1e-15);
  EXPECT_EQ(plain.RotInv, nullptr);
}

TEST(Camvor, SaveRoundsAndTruncatesAndMismatchedGridsAreRefused) {
  TempDir dir;
  const std::string odd = "999999999.6 0 0\n0 1000000000 0\n0 0 1000000000\n";
  std::string text = Calibration(odd);
  text.replace(text.find("1234\n"), 5, "1234.5\n");
  WriteFile(dir.file("c.txt"), text);
  TCamvor(dir.file("c.txt").c_str()).Save(dir.file("s.txt").c_str());
  EXPECT_EQ(ReadFile(dir.file("s.txt")),
            Calibration("1000000000 0 0\n0 1000000000 0\n0 0 1000000000\n"));

  const std::string name = dir.file("b.txt");
  const std::string differ = " Correction grids of calibration file " + name + " do not match\n";
  const std::string size =
      " Correction grid of calibration file " + name + " has a size the file cannot hold\n";
  const struct {
    std::string fp, pf, out;
  } bad[] = {
      {"5\n2 3 16\n", "2 3 16\n", differ},
      {"6\n2 3 16\n", "3 2 16\n", differ},
      {"-6\n-2 3 16\n", "2 3 16\n", size},
      {"0\n60000 60000 16\n", "2 3 16\n", size},
  };
  for (const auto& b : bad) {
    WriteFile(name, Calibration(kColumns, b.fp, b.pf));
    const ChildResult run = RunInChild([&] { TCamvor c(name.c_str()); });
    EXPECT_EQ(run.out, b.out);
    EXPECT_EQ(run.status, 1);
  }
}

// Pixel size 0.5, focal 1, base -0.5, identity rotations: one pixel of
// disparity gives depth factor 1, so every step is exact.
std::string Epipolar(double origin_b0, double origin_b2) {
  return Format("1 0.5 -0.5 -0.5\n0 0 0\n%g 0 %g\n1 2\n3 4\n", origin_b0, origin_b2) +
         "1 0 0\n0 1 0\n0 0 1\n1 0 0\n0 1 0\n0 0 1\n";
}

TEST(EpiPairTransform, RoundsTiesToEvenAndClampsTheDisparity) {
  TempDir dir;
  const struct {
    double b0, b2;
    int col, row_out, col_out, disp_out;
  } cases[] = {
      {0, 0, 7, 5, 7, 1},          // unchanged
      {-0.25, -0.25, 2, 5, 2, 1},  // column 2.5: to 2
      {-0.25, -0.25, 3, 5, 4, 1},  // column 3.5: to 4
      {0, -149.5, 7, 5, 7, 127},   // disparity 300
      {0, 150.5, 7, 5, 7, -127},   // disparity -300
      {0, 64.5, 7, 5, 7, -127},    // disparity -128
  };
  for (const auto& c : cases) {
    WriteFile(dir.file("e.txt"), Epipolar(c.b0, c.b2));
    const TEpiPairTransform t(dir.file("e.txt").c_str());
    int row = 5, col = c.col, disp = 1;
    EXPECT_EQ(t.AToB(&row, &col, &disp), 1);
    EXPECT_EQ((std::vector<int>{row, col, disp}),
              (std::vector<int>{c.row_out, c.col_out, c.disp_out}))
        << c.b0 << " " << c.b2 << " " << c.col;
  }
  const TEpiPairTransform t(dir.file("e.txt").c_str());
  EXPECT_EQ(std::vector<int>(t.Limits, t.Limits + 4), (std::vector<int>{1, 2, 3, 4}));
  // From B (second image origin 64.5) back to A: depth factor 0.5 / 65, and
  // the disparity 0.5 / (k s) = 130.
  double row = 5, col = 7, disp = 1;
  t.BToAdp(&row, &col, &disp);
  ExpectNear({row, col, disp}, {5, 7, 130}, 1e-9);
}

TEST(MapToGround, ReferenceNumbersAndRoundTrip) {
  double X, Y, Z, x, y, h;
  MapToGround(5000, 7000, 12.5, X, Y, Z, 5000, 7000, 0);
  ExpectNear({X, Y, Z}, {0, 0, 12.5}, 1e-9);
  GroundToMap(0, 0, 12.5, x, y, h, 5000, 7000, 3);
  EXPECT_EQ((Vec{x, y, h}), (Vec{5000, 7000, 12.5}));
  MapToGround(1000, 0, 0, X, Y, Z, 0, 0, 0);
  EXPECT_NEAR(X, 999.999994, 1e-6);
  EXPECT_NEAR(Z, -0.0785, 1e-4);
  for (const Vec& p : {Vec{123456.7, -98765.4, 350.0}, Vec{-3e5, 2e5, -20.0}, Vec{1, 2, 3}}) {
    MapToGround(p[0], p[1], p[2], X, Y, Z, 1000, -2000, 1);
    GroundToMap(X, Y, Z, x, y, h, 1000, -2000, 7);
    ExpectNear({x, y, h}, p, 1e-6);
  }
}

}  // namespace
