// Writes the bundled sample: a coordinate raster of a small synthetic terrain
// and the colour image it belongs to, both on the same pixel grid; and the
// same terrain seen by two frame cameras as an epipolar pair.
//
// usage: kluteida_make_sample <directory> [width height]
//   <directory>/terrain.cor, terrain.dim        the coordinate raster pair
//   <directory>/terrain_rgb.rvb, terrain_rgb.dim the image (hypsometric colours)
//   <directory>/left.rvb, right.rvb (+ .dim)    the stereo pair (320 x 240 by default)
//   <directory>/left.cam, right.cam             their cameras
//
// The raster covers columns 40..279 and rows 30..189 of a larger scene, 50 cm
// pixels, coordinates in centimetres of a local site frame around (2500 m,
// 1800 m, 300 m), stored relative to that offset. (Coordinates of a national
// grid would not survive the single-precision division of the point cloud.) A lake and a few
// scattered pixels have no point (z = 0), as a stereo restitution leaves them.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "camera/tcamera.h"
#include "geometry/tcoord.h"
#include "samples/scene.h"

namespace {

using sample::kGridHeight;
using sample::kGridOriginX;
using sample::kGridOriginY;
using sample::kGridPixel;
using sample::kGridWidth;
using sample::kOffset;

// The stereo pair's size.
constexpr int kViewWidth = 320;
constexpr int kViewHeight = 240;

bool NoPoint(int c, int r) {
  if (sample::InLake(c, r)) return true;     // the lake: no texture to match
  return (c * 7919 + r * 104729) % 97 == 0;  // scattered failures
}

bool WriteText(const std::string& path, const std::string& text) {
  std::FILE* f = std::fopen(path.c_str(), "w");
  if (!f) return false;
  const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
  return std::fclose(f) == 0 && ok;
}

// One view of the stereo pair: its camera file, read back, and the image.
bool WriteView(const std::string& dir, const char* name, int side, int width, int height) {
  const std::string cam = dir + "/" + name + ".cam";
  if (!WriteText(cam, sample::CameraFile(side, width, height))) return false;
  const TCamera camera(cam.c_str());
  const sample::View view = sample::Render(camera, width, height);
  return WriteText(dir + "/" + name + ".rvb", std::string(view.rgb.begin(), view.rgb.end())) &&
         WriteText(dir + "/" + name + ".dim",
                   std::to_string(width) + " " + std::to_string(height) + "\n");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 4) {
    std::printf("Usage: kluteida_make_sample <directory> [width height]\n");
    return 1;
  }
  const std::string dir = argv[1];
  const int view_width = argc == 4 ? std::atoi(argv[2]) : kViewWidth;
  const int view_height = argc == 4 ? std::atoi(argv[3]) : kViewHeight;
  if (view_width < 8 || view_height < 8 || view_width > 4096 || view_height > 4096) {
    std::printf("The stereo pair's size must lie between 8 and 4096\n");
    return 1;
  }

  TCoord coord(kGridWidth, kGridHeight, 0, kOffset, kGridOriginX, kGridOriginY);
  // Interleaved rows of the image: red, green, blue per pixel.
  std::vector<unsigned char> rgb(3u * kGridWidth * kGridHeight, 0);
  unsigned char lake[3] = {60, 90, 150};
  for (int r = 0; r < kGridHeight; ++r)
    for (int c = 0; c < kGridWidth; ++c) {
      unsigned char* px = &rgb[3u * (static_cast<unsigned>(r) * kGridWidth + c)];
      const int h = static_cast<int>(std::lround(sample::GridHeight(c, r)));
      if (NoPoint(c, r)) {
        coord.SetCoord(kGridOriginX + c, kGridOriginY + r, TPoint3Di(0, 0, 0));
        if ((c - 190) * (c - 190) / 784.0 + (r - 40) * (r - 40) / 256.0 < 1.0) {
          px[0] = lake[0], px[1] = lake[1], px[2] = lake[2];
          continue;
        }
      } else {
        // The point of the ground, in the scene's frame: 50 cm steps east and
        // south from the raster's corner.
        coord.SetCoord(kGridOriginX + c, kGridOriginY + r,
                       TPoint3Di(kOffset.x + (kGridOriginX + c) * kGridPixel,
                                 kOffset.y - (kGridOriginY + r) * kGridPixel, kOffset.z + h));
      }
      sample::Tint((kOffset.z + h) / 100.0, px);
    }

  const std::string cor = dir + "/terrain.cor";
  if (coord.Save(cor.c_str(), 0, 0, 0, 0) != 1) {
    std::printf("Cannot write %s\n", cor.c_str());
    return 1;
  }
  const std::string image = dir + "/terrain_rgb.rvb";
  const bool written =
      WriteText(image, std::string(rgb.begin(), rgb.end())) &&
      WriteText(dir + "/terrain_rgb.dim", std::to_string(kGridWidth) + " " + std::to_string(kGridHeight) +
                                              "\n-offset_x " + std::to_string(kGridOriginX) +
                                              " -offset_y " + std::to_string(kGridOriginY) + "\n");
  if (!written) {
    std::printf("Cannot write %s\n", image.c_str());
    return 1;
  }
  std::printf("Image written to %s\n", image.c_str());
  if (!WriteView(dir, "left", 0, view_width, view_height) ||
      !WriteView(dir, "right", 1, view_width, view_height)) {
    std::printf("Cannot write the stereo pair into %s\n", dir.c_str());
    return 1;
  }
  std::printf("Stereo pair written to %s/left.rvb and %s/right.rvb, cameras left.cam and right.cam\n",
              dir.c_str(), dir.c_str());
  return 0;
}
