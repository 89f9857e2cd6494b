#include "samples/scene.h"

#include <cmath>
#include <cstdint>
#include <cstdio>

#include "camera/tcamera.h"
#include "math/tmatrix.h"

namespace sample {
namespace {

// The stereo rig: 0.02 mm pixels, 100 mm focal length (5000 pixels), the
// cameras 1650 m above the ground's mean height and 330 m apart.
constexpr double kPixelSize = 0.02;
constexpr double kFocal = 100.0;
constexpr double kFlyingHeight = 165000.0;
constexpr double kBase = 33000.0;

// The ground's mean height over the grid, absolute centimetres.
double MeanHeight() {
  static const double mean = [] {
    double sum = 0;
    for (int r = 0; r < kGridHeight; ++r)
      for (int c = 0; c < kGridWidth; ++c) sum += GridHeight(c, r);
    return kOffset.z + sum / (kGridWidth * kGridHeight);
  }();
  return mean;
}

// The centre of the grid on the ground.
double CentreX() { return kOffset.x + (kGridOriginX + kGridWidth / 2.0) * kGridPixel; }
double CentreY() { return kOffset.y - (kGridOriginY + kGridHeight / 2.0) * kGridPixel; }

// A smooth pseudo-random value in [0, 1) at (x, y) for a lattice of `step`.
double ValueNoise(double x, double y, double step, uint32_t seed) {
  const auto lattice = [&](int64_t i, int64_t j) {
    uint64_t h = static_cast<uint64_t>(i) * 0x9E3779B97F4A7C15ull ^
                 static_cast<uint64_t>(j) * 0xC2B2AE3D27D4EB4Full ^ seed;
    h ^= h >> 31;
    h *= 0xBF58476D1CE4E5B9ull;
    h ^= h >> 27;
    return static_cast<double>(h >> 11) / 9007199254740992.0;
  };
  const double u = x / step, v = y / step;
  const double fu = std::floor(u), fv = std::floor(v);
  const auto i = static_cast<int64_t>(fu), j = static_cast<int64_t>(fv);
  const auto smooth = [](double t) { return t * t * (3 - 2 * t); };
  const double s = smooth(u - fu), t = smooth(v - fv);
  const double top = lattice(i, j) * (1 - s) + lattice(i + 1, j) * s;
  const double bottom = lattice(i, j + 1) * (1 - s) + lattice(i + 1, j + 1) * s;
  return top * (1 - t) + bottom * t;
}

// The colour of the ground at (x, y).
void GroundColour(const Ground& g, double x, double y, double rgb[3]) {
  if (!g.on_terrain) {
    rgb[0] = rgb[1] = rgb[2] = 128;
    return;
  }
  if (!g.textured) {
    rgb[0] = 60, rgb[1] = 90, rgb[2] = 150;  // the lake
    return;
  }
  unsigned char tint[3];
  Tint(g.z / 100.0, tint);
  const double n = 0.5 * ValueNoise(x, y, 45, 1) + 0.3 * ValueNoise(x, y, 130, 2) +
                   0.2 * ValueNoise(x, y, 400, 3);
  for (int b = 0; b < 3; ++b) rgb[b] = tint[b] * (0.3 + 0.7 * n);
}

}  // namespace

double GridHeight(double c, double r) {
  const double x = c / kGridWidth, y = r / kGridHeight;
  const double hill1 = 4200.0 * std::exp(-((x - 0.3) * (x - 0.3) + (y - 0.35) * (y - 0.35)) / 0.03);
  const double hill2 = 2600.0 * std::exp(-((x - 0.75) * (x - 0.75) + (y - 0.6) * (y - 0.6)) / 0.02);
  const double valley = 900.0 * x + 300.0 * std::sin(9.0 * y) + 60.0 * std::sin(31.0 * x + 7.0 * y);
  return 400.0 + hill1 + hill2 + valley;
}

bool InLake(double c, double r) {
  const double dx = (c - 190) / 28.0, dy = (r - 40) / 16.0;
  return dx * dx + dy * dy < 1.0;
}

void Tint(double metres, unsigned char rgb[3]) {
  struct Stop {
    double h, r, g, b;
  } stops[] = {{300, 40, 120, 50}, {320, 200, 190, 80}, {340, 140, 90, 40}, {355, 245, 245, 245}};
  const int n = sizeof stops / sizeof stops[0];
  if (metres <= stops[0].h) metres = stops[0].h;
  if (metres >= stops[n - 1].h) metres = stops[n - 1].h;
  for (int k = 0; k + 1 < n; ++k) {
    if (metres > stops[k + 1].h) continue;
    const double t = (metres - stops[k].h) / (stops[k + 1].h - stops[k].h);
    rgb[0] = static_cast<unsigned char>(std::lround(stops[k].r + t * (stops[k + 1].r - stops[k].r)));
    rgb[1] = static_cast<unsigned char>(std::lround(stops[k].g + t * (stops[k + 1].g - stops[k].g)));
    rgb[2] = static_cast<unsigned char>(std::lround(stops[k].b + t * (stops[k + 1].b - stops[k].b)));
    return;
  }
}

Ground GroundAt(double x, double y) {
  const double c = (x - kOffset.x) / kGridPixel - kGridOriginX;
  const double r = (kOffset.y - y) / kGridPixel - kGridOriginY;
  Ground g;
  g.on_terrain = c >= 0 && c <= kGridWidth - 1 && r >= 0 && r <= kGridHeight - 1;
  g.textured = g.on_terrain && !InLake(c, r);
  g.z = kOffset.z + GridHeight(c, r);
  return g;
}

std::string CameraFile(int side, int width, int height) {
  const double cx = CentreX() + (side == 0 ? -kBase / 2 : kBase / 2);
  // The ground at mean height under the grid's centre falls on the image's
  // centre in both views.
  const double shift = kFocal * (kBase / 2) / kFlyingHeight / kPixelSize;
  char text[512];
  std::snprintf(text, sizeof text,
                "0 %.10f %.10f 0\n%.10f %.10f\n0 0\n1 0 0\n0 1 0\n0 0 1\n%.4f %.4f %.4f\n%.4f\n",
                -1 / kPixelSize, 1 / kPixelSize, height / 2.0,
                width / 2.0 + (side == 0 ? -shift : shift), cx, CentreY(),
                MeanHeight() + kFlyingHeight, kFocal);
  return text;
}

bool Intersect(const TCamera& camera, double row, double column, double* x, double* y, double* z) {
  const TMatrix& ainv = *camera.Ainv;
  const TMatrix& shift = *camera.PixToFilmShift;
  const TMatrix& offset = *camera.PixelOffset;
  const TMatrix& rot = *camera.Rot;
  const TMatrix& centre = *camera.Center;
  const double m0 = offset.elem[0][0] + row, m1 = offset.elem[1][0] + column;
  const double f[3] = {ainv.elem[0][0] * m0 + ainv.elem[0][1] * m1 + shift.elem[0][0],
                       ainv.elem[1][0] * m0 + ainv.elem[1][1] * m1 + shift.elem[1][0],
                       -camera.Focal};
  double d[3];
  for (int i = 0; i < 3; ++i)
    d[i] = rot.elem[i][0] * f[0] + rot.elem[i][1] * f[1] + rot.elem[i][2] * f[2];
  const double cx = centre.elem[0][0], cy = centre.elem[1][0], cz = centre.elem[2][0];
  if (!(d[2] < 0)) return false;
  // Fixed point on the ray parameter: the terrain's slopes stay well below
  // the rays' steepness, so it converges.
  double t = (MeanHeight() - cz) / d[2];
  for (int k = 0; k < 60; ++k) {
    const Ground g = GroundAt(cx + t * d[0], cy + t * d[1]);
    const double next = (g.z - cz) / d[2];
    const bool done = std::fabs(next - t) * std::fabs(d[2]) < 0.01;
    t = next;
    if (done) break;
  }
  *x = cx + t * d[0], *y = cy + t * d[1];
  const Ground g = GroundAt(*x, *y);
  *z = g.z;
  return g.on_terrain;
}

View Render(const TCamera& camera, int width, int height) {
  View v;
  v.width = width, v.height = height;
  v.rgb.assign(static_cast<size_t>(width) * height * 3, 0);
  v.textured.assign(static_cast<size_t>(width) * height, 0);
  for (int row = 0; row < height; ++row)
    for (int col = 0; col < width; ++col) {
      // Four rays a pixel.
      double sum[3] = {0, 0, 0};
      for (int k = 0; k < 4; ++k) {
        double x = 0, y = 0, z = 0, rgb[3];
        Ground g;
        if (Intersect(camera, row - 0.25 + 0.5 * (k / 2), col - 0.25 + 0.5 * (k % 2), &x, &y, &z))
          g = GroundAt(x, y);
        GroundColour(g, x, y, rgb);
        for (int b = 0; b < 3; ++b) sum[b] += rgb[b];
      }
      const size_t i = static_cast<size_t>(row) * width + col;
      for (int b = 0; b < 3; ++b)
        v.rgb[3 * i + b] = static_cast<unsigned char>(std::lround(sum[b] / 4));
      double x, y, z;
      v.textured[i] = Intersect(camera, row, col, &x, &y, &z) && GroundAt(x, y).textured;
    }
  return v;
}

}  // namespace sample
