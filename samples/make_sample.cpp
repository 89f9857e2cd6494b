// Writes the bundled sample: a coordinate raster of a small synthetic terrain
// and the colour image it belongs to, both on the same pixel grid.
//
// usage: kluteida_make_sample <directory>
//   <directory>/terrain.cor, terrain.dim        the coordinate raster pair
//   <directory>/terrain_rgb.rvb, terrain_rgb.dim the image (hypsometric colours)
//
// The raster covers columns 40..279 and rows 30..189 of a larger scene, 50 cm
// pixels, coordinates in centimetres of a local site frame around (2500 m,
// 1800 m, 300 m), stored relative to that offset. (Coordinates of a national
// grid would not survive the single-precision division of the point cloud.) A lake and a few
// scattered pixels have no point (z = 0), as a stereo restitution leaves them.
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "geometry/tcoord.h"

namespace {

constexpr int kWidth = 240;
constexpr int kHeight = 160;
constexpr int kOriginX = 40;
constexpr int kOriginY = 30;
constexpr int kPixel = 50;  // centimetres
const TPoint3Di kOffset(250000, 180000, 30000);

// Height above the offset in centimetres: two hills and a valley.
double Height(int c, int r) {
  const double x = c / static_cast<double>(kWidth), y = r / static_cast<double>(kHeight);
  const double hill1 = 4200.0 * std::exp(-((x - 0.3) * (x - 0.3) + (y - 0.35) * (y - 0.35)) / 0.03);
  const double hill2 = 2600.0 * std::exp(-((x - 0.75) * (x - 0.75) + (y - 0.6) * (y - 0.6)) / 0.02);
  const double valley = 900.0 * x + 300.0 * std::sin(9.0 * y) + 60.0 * std::sin(31.0 * x + 7.0 * y);
  return 400.0 + hill1 + hill2 + valley;
}

bool NoPoint(int c, int r) {
  const double dx = (c - 190) / 28.0, dy = (r - 40) / 16.0;
  if (dx * dx + dy * dy < 1.0) return true;  // the lake: no texture to match
  return (c * 7919 + r * 104729) % 97 == 0;  // scattered failures
}

// Hypsometric tint: green lowlands, yellow, brown, white tops.
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
    rgb[0] =
        static_cast<unsigned char>(std::lround(stops[k].r + t * (stops[k + 1].r - stops[k].r)));
    rgb[1] =
        static_cast<unsigned char>(std::lround(stops[k].g + t * (stops[k + 1].g - stops[k].g)));
    rgb[2] =
        static_cast<unsigned char>(std::lround(stops[k].b + t * (stops[k + 1].b - stops[k].b)));
    return;
  }
}

bool WriteText(const std::string& path, const std::string& text) {
  std::FILE* f = std::fopen(path.c_str(), "w");
  if (!f) return false;
  const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
  return std::fclose(f) == 0 && ok;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::printf("Usage: kluteida_make_sample <directory>\n");
    return 1;
  }
  const std::string dir = argv[1];

  TCoord coord(kWidth, kHeight, 0, kOffset, kOriginX, kOriginY);
  // Interleaved rows of the image: red, green, blue per pixel.
  std::vector<unsigned char> rgb(3u * kWidth * kHeight, 0);
  unsigned char lake[3] = {60, 90, 150};
  for (int r = 0; r < kHeight; ++r)
    for (int c = 0; c < kWidth; ++c) {
      unsigned char* px = &rgb[3u * (static_cast<unsigned>(r) * kWidth + c)];
      const int h = static_cast<int>(std::lround(Height(c, r)));
      if (NoPoint(c, r)) {
        coord.SetCoord(kOriginX + c, kOriginY + r, TPoint3Di(0, 0, 0));
        if ((c - 190) * (c - 190) / 784.0 + (r - 40) * (r - 40) / 256.0 < 1.0) {
          px[0] = lake[0], px[1] = lake[1], px[2] = lake[2];
          continue;
        }
      } else {
        // The point of the ground, in the scene's frame: 50 cm steps east and
        // south from the raster's corner.
        coord.SetCoord(kOriginX + c, kOriginY + r,
                       TPoint3Di(kOffset.x + (kOriginX + c) * kPixel,
                                 kOffset.y - (kOriginY + r) * kPixel, kOffset.z + h));
      }
      Tint((kOffset.z + h) / 100.0, px);
    }

  const std::string cor = dir + "/terrain.cor";
  if (coord.Save(cor.c_str(), 0, 0, 0, 0) != 1) {
    std::printf("Cannot write %s\n", cor.c_str());
    return 1;
  }
  const std::string image = dir + "/terrain_rgb.rvb";
  const bool written =
      WriteText(image, std::string(rgb.begin(), rgb.end())) &&
      WriteText(dir + "/terrain_rgb.dim", std::to_string(kWidth) + " " + std::to_string(kHeight) +
                                              "\n-offset_x " + std::to_string(kOriginX) +
                                              " -offset_y " + std::to_string(kOriginY) + "\n");
  if (!written) {
    std::printf("Cannot write %s\n", image.c_str());
    return 1;
  }
  std::printf("Image written to %s\n", image.c_str());
  return 0;
}
