#include "tools/preview.h"

#include <png.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <vector>

namespace {

constexpr int kGap = 4;  // columns between the panels

// Colour ramp of t in [0, 1]: green, yellow, brown, white.
void Ramp(double t, unsigned char rgb[3]) {
  static const double stops[4][3] = {{40, 120, 50}, {200, 190, 80}, {140, 90, 40}, {245, 245, 245}};
  t = std::clamp(t, 0.0, 1.0) * 3;
  const int k = std::min(2, static_cast<int>(t));
  const double f = t - k;
  for (int b = 0; b < 3; ++b)
    rgb[b] = static_cast<unsigned char>(std::lround(stops[k][b] + f * (stops[k + 1][b] - stops[k][b])));
}

bool Save(const std::string& path, int width, int height, const std::vector<unsigned char>& rgb) {
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  bool ok = png && info;
  if (ok && setjmp(png_jmpbuf(png)) != 0) ok = false;  // libpng's errors come back here
  if (ok) {
    png_init_io(png, f);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
                 PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int r = 0; r < height; ++r)
      png_write_row(png, rgb.data() + static_cast<size_t>(r) * width * 3);
    png_write_end(png, info);
  }
  png_destroy_write_struct(&png, &info);
  ok = std::fclose(f) == 0 && ok;
  if (!ok) std::remove(path.c_str());
  return ok;
}

}  // namespace

bool WritePreview(const std::string& path, const TDispImage& disparity, int mind, int maxd,
                  const TCoord& raster) {
  const int w = disparity.width, h = disparity.height;
  const int width = 2 * w + kGap;
  std::vector<unsigned char> rgb(static_cast<size_t>(width) * h * 3, 255);
  const auto pixel = [&](int panel, int c, int r) {
    return rgb.data() + (static_cast<size_t>(r) * width + panel * (w + kGap) + c) * 3;
  };
  // Disparities.
  const double span = std::max(1, maxd - 1 - mind);
  for (int r = 0; r < h; ++r)
    for (int c = 0; c < w; ++c) {
      unsigned char* px = pixel(0, c, r);
      const int byte = disparity.data[static_cast<size_t>(r) * w + c];
      if (byte == 0) {
        px[0] = 20, px[1] = 30, px[2] = 90;
        continue;
      }
      const double t = std::clamp((byte - 128 - mind) / span, 0.0, 1.0);
      px[0] = px[1] = px[2] = static_cast<unsigned char>(std::lround(30 + 225 * t));
    }
  // Heights, shaded.
  const auto point = [&](int c, int r, TPoint3Di* p) {
    if (c < 0 || c >= raster.width || r < 0 || r >= raster.height) return false;
    *p = raster.GetCoord(raster.x0 + c, raster.y0 + r);
    return p->z != 0;
  };
  int zmin = INT_MAX, zmax = INT_MIN;
  TPoint3Di p;
  for (int r = 0; r < h; ++r)
    for (int c = 0; c < w; ++c)
      if (point(c, r, &p)) zmin = std::min(zmin, p.z), zmax = std::max(zmax, p.z);
  const double light[3] = {-0.5, 0.5, 0.7071};  // from the north-west, 45 degrees up
  for (int r = 0; r < h; ++r)
    for (int c = 0; c < w; ++c) {
      unsigned char* px = pixel(1, c, r);
      if (!point(c, r, &p)) {
        px[0] = px[1] = px[2] = 0;
        continue;
      }
      unsigned char colour[3];
      Ramp(zmax > zmin ? static_cast<double>(p.z - zmin) / (zmax - zmin) : 0.5, colour);
      double shade = 0.8;
      TPoint3Di east, south;
      if (point(c + 1, r, &east) && point(c, r + 1, &south)) {
        const double u[3] = {static_cast<double>(east.x) - p.x, static_cast<double>(east.y) - p.y,
                             static_cast<double>(east.z) - p.z};
        const double v[3] = {static_cast<double>(south.x) - p.x,
                             static_cast<double>(south.y) - p.y,
                             static_cast<double>(south.z) - p.z};
        double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                       u[0] * v[1] - u[1] * v[0]};
        const double len = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        if (len > 0) {
          if (n[2] < 0) for (double& e : n) e = -e;  // the side facing up
          shade = std::clamp((n[0] * light[0] + n[1] * light[1] + n[2] * light[2]) / len, 0.2, 1.0);
        }
      }
      for (int b = 0; b < 3; ++b) px[b] = static_cast<unsigned char>(std::lround(colour[b] * shade));
    }
  return Save(path, width, h, rgb);
}
