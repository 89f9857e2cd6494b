#include "camera/tcamera.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>

#include "camera/camera_files.h"

namespace {

using camera_files::MatrixOf;

// The two lines read after the offsets are read as fgets reads them into
// a buffer of this many characters.
constexpr size_t kOrientationLineLimit = 100;

const char kSingularAffine[] = "Affine transform of camera file %s is singular\n";

// Ainv and PixToFilmShift from Affine and Shift; false when Affine is
// singular.
bool InvertAffine(TCamera& c) {
  c.Ainv = c.Affine->Inverse();
  if (!c.Ainv) return false;
  const TMatrix minus_ainv = -*c.Ainv;
  c.PixToFilmShift = minus_ainv * *c.Shift;
  return true;
}

}  // namespace

TCamera::TCamera()
    : Affine(nullptr),
      Shift(new TMatrix(2, 1)),
      Ainv(nullptr),
      PixToFilmShift(nullptr),
      Rot(nullptr),
      RotInv(nullptr),
      PixelOffset(new TMatrix(2, 1)),
      Angles(new TMatrix(3, 1)),
      Center(new TMatrix(3, 1)),
      Focal(1.0) {
  const double swap[] = {0, 1, 1, 0};
  Affine = MatrixOf(2, 2, swap);
  InvertAffine(*this);
  CalculateRotMatrices();
}

TCamera::TCamera(const char* path)
    : Affine(nullptr),
      Shift(nullptr),
      Ainv(nullptr),
      PixToFilmShift(nullptr),
      Rot(nullptr),
      RotInv(nullptr),
      PixelOffset(nullptr),
      Angles(new TMatrix(3, 1)),
      Center(nullptr),
      Focal(0.0) {
  camera_files::File f = camera_files::Open(path, "r");
  double v[9];
  camera_files::ReadNumbers(f.get(), v, 8);
  Affine = MatrixOf(2, 2, v);
  Shift = MatrixOf(2, 1, v + 4);
  PixelOffset = MatrixOf(2, 1, v + 6);
  if (!InvertAffine(*this)) {
    // The camera is not complete, so its destructor will not run.
    for (TMatrix** m : {&Affine, &Shift, &PixelOffset, &Angles}) delete std::exchange(*m, nullptr);
    camera_files::Refuse(kSingularAffine, path);
  }

  // The rest of the offsets' line, then the orientation line.
  camera_files::ReadLine(f.get(), kOrientationLineLimit);
  const std::string line = camera_files::ReadLine(f.get(), kOrientationLineLimit);
  if (std::sscanf(line.c_str(), "%lf%lf%lf", &v[0], &v[1], &v[2]) == 3) {
    camera_files::ReadNumbers(f.get(), v + 3, 6);
    Rot = MatrixOf(3, 3, v);
    RotInv = Rot->Transpose();
  } else {
    if (std::sscanf(line.c_str(), "%lf", &Angles->elem[0][0]) != 1) Angles->elem[0][0] = 0.0;
    camera_files::ReadNumbers(f.get(), v, 2);
    Angles->elem[1][0] = v[0];
    Angles->elem[2][0] = v[1];
    CalculateRotMatrices();
  }
  camera_files::ReadNumbers(f.get(), v, 4);
  Center = MatrixOf(3, 1, v);
  Focal = v[3];
}

TCamera::~TCamera() {
  for (TMatrix* m : {Affine, Shift, Ainv, PixToFilmShift, Rot, RotInv, PixelOffset, Angles, Center})
    delete m;
}

int TCamera::Save(const char* path) const {
  camera_files::File f = camera_files::Open(path, "w");
  std::FILE* out = f.get();
  double** a = Affine->elem;
  std::fprintf(out, "%15.10lf %15.10lf\n %15.10lf %15.10lf\n", a[0][0], a[0][1], a[1][0], a[1][1]);
  std::fprintf(out, "%15.5lf %15.5lf\n", Shift->elem[0][0], Shift->elem[1][0]);
  std::fprintf(out, "%15.5lf %15.5lf\n", PixelOffset->elem[0][0], PixelOffset->elem[1][0]);
  for (int r = 0; r < 3; ++r)
    std::fprintf(out, "%15.10lf%15.10lf%15.10lf\n", Rot->elem[r][0], Rot->elem[r][1],
                 Rot->elem[r][2]);
  std::fprintf(out, "%15.5lf %15.5lf %15.5lf\n", Center->elem[0][0], Center->elem[1][0],
               Center->elem[2][0]);
  std::fprintf(out, "%15.5lf", Focal);
  return 1;
}

void TCamera::CalculateRotMatrices() {
  delete Rot;
  delete RotInv;
  const double omega = Angles->elem[0][0], phi = Angles->elem[1][0], kappa = Angles->elem[2][0];
  const double rx[] = {
      1, 0, 0, 0, std::cos(omega), std::sin(omega), 0, -std::sin(omega), std::cos(omega)};
  const double ry[] = {std::cos(phi), 0, -std::sin(phi), 0, 1, 0, std::sin(phi), 0, std::cos(phi)};
  const double rz[] = {
      std::cos(kappa), std::sin(kappa), 0, -std::sin(kappa), std::cos(kappa), 0, 0, 0, 1};
  const std::unique_ptr<TMatrix> x(MatrixOf(3, 3, rx)), y(MatrixOf(3, 3, ry)),
      z(MatrixOf(3, 3, rz));
  const std::unique_ptr<TMatrix> xy(*x * *y);
  Rot = *z * *xy;
  RotInv = Rot->Inverse();
  // Angles that are not numbers can leave no inverse: the transpose stands in.
  if (!RotInv) RotInv = Rot->Transpose();
}

TMatrix* TCamera::PixelToFilm(const TMatrix& pixel) const {
  const std::unique_ptr<TMatrix> sum(*PixelOffset + pixel);
  const std::unique_ptr<TMatrix> product(*Ainv * *sum);
  return product ? *product + *PixToFilmShift : nullptr;  // null: not a 2 x 1 point
}

TMatrix* TCamera::FilmToPixel(const TMatrix& film) const {
  const std::unique_ptr<TMatrix> product(*Affine * film);
  if (!product) return nullptr;
  const std::unique_ptr<TMatrix> sum(*product + *Shift);
  return *sum - *PixelOffset;
}
