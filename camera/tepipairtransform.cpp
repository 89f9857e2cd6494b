#include "camera/tepipairtransform.h"

#include <algorithm>
#include <memory>

#include "camera/camera_files.h"
#include "util/int_conversion.h"

namespace {

struct Pair {
  const double* from;  // origins of the pair the point is in
  const double* to;    // and of the pair it goes to
  double base_from, base_to;
  const TMatrix* rot;
};

// The transform of a point (row, col) whose column plus disparity is
// `second` in the first pair's second image.
void Transform(const TEpiPairTransform& t, const Pair& p, double row, double col, double second,
               double* new_row, double* new_col, double* new_disp) {
  const double s = t.PixelSize, c = t.Focal;
  const double u = col * s + p.from[0];
  const double v = p.from[1] - row * s;
  const double w = second * s + p.from[2];
  const double k = p.base_from / (u - w);
  TMatrix point(3, 1);
  point.elem[0][0] = u * k;
  point.elem[1][0] = v * k;
  point.elem[2][0] = -c * k;
  const std::unique_ptr<TMatrix> r(*p.rot * point);
  const double r0 = r->elem[0][0], r1 = r->elem[1][0], r2 = r->elem[2][0];
  const double scale = -c / r2;
  const double x = r0 * scale;
  const double y = r1 * scale;
  *new_col = (x - p.to[0]) / s;
  *new_row = -(y - p.to[1]) / s;
  *new_disp = ((r0 - p.base_to) * (x / r0) - x - (p.to[2] - p.to[0])) / s;
}

void Rounded(const TEpiPairTransform& t, const Pair& p, int* row, int* col, int* disp) {
  // col + disp is an integer sum
  const int second = static_cast<int>(static_cast<unsigned>(*col) + static_cast<unsigned>(*disp));
  double r, c, d;
  Transform(t, p, *row, *col, second, &r, &c, &d);
  *row = RoundToInt(r);
  *col = RoundToInt(c);
  *disp = std::clamp(RoundToInt(d), -127, 127);
}

}  // namespace

TEpiPairTransform::TEpiPairTransform(const char* path) : RotAB(nullptr), RotBA(nullptr) {
  camera_files::File file = camera_files::Open(path, "r");
  std::FILE* f = file.get();
  double v[10];
  camera_files::ReadNumbers(f, v, 10);
  Focal = v[0];
  PixelSize = v[1];
  BaseA = v[2];
  BaseB = v[3];
  std::copy(v + 4, v + 7, OriginA);
  std::copy(v + 7, v + 10, OriginB);
  camera_files::ReadInts(f, Limits, 4);
  camera_files::ReadNumbers(f, v, 9);
  RotAB = camera_files::MatrixOf(3, 3, v);
  camera_files::ReadNumbers(f, v, 9);
  RotBA = camera_files::MatrixOf(3, 3, v);
}

TEpiPairTransform::~TEpiPairTransform() {
  delete RotAB;
  delete RotBA;
}

int TEpiPairTransform::AToB(int* row, int* col, int* disp) const {
  Rounded(*this, {OriginA, OriginB, BaseA, BaseB, RotAB}, row, col, disp);
  return 1;
}

int TEpiPairTransform::BToA(int* row, int* col, int* disp) const {
  Rounded(*this, {OriginB, OriginA, BaseB, BaseA, RotBA}, row, col, disp);
  return 1;
}

int TEpiPairTransform::AToBdp(double* row, double* col, double* disp) const {
  Transform(*this, {OriginA, OriginB, BaseA, BaseB, RotAB}, *row, *col, *col + *disp, row, col,
            disp);
  return 1;
}

int TEpiPairTransform::BToAdp(double* row, double* col, double* disp) const {
  Transform(*this, {OriginB, OriginA, BaseB, BaseA, RotBA}, *row, *col, *col + *disp, row, col,
            disp);
  return 1;
}
