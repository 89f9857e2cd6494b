// The synthetic scene of the bundled sample: a terrain of two hills, a valley
// and a lake in a local site frame, the coordinate raster of part of it, and
// two frame cameras that see it as an epipolar (row-aligned) pair.
//
// Ground coordinates are centimetres: X east, Y north, Z up, around
// (2500 m, 1800 m, 300 m). The terrain is defined on grid columns c in
// [0, 240) and rows r in [0, 160), 50 cm apart, c growing east and r south
// from the corner at grid column 40, row 30.
#ifndef KLUTEIDA_SAMPLES_SCENE_H
#define KLUTEIDA_SAMPLES_SCENE_H

#include <string>
#include <vector>

#include "geometry/tpoint3d.h"

class TCamera;

namespace sample {

constexpr int kGridWidth = 240;
constexpr int kGridHeight = 160;
constexpr int kGridOriginX = 40;
constexpr int kGridOriginY = 30;
constexpr int kGridPixel = 50;  // centimetres
const TPoint3Di kOffset(250000, 180000, 30000);

// Height above kOffset.z in centimetres at grid position (c, r).
double GridHeight(double c, double r);
// Whether grid position (c, r) lies in the lake (a flat surface, no texture).
bool InLake(double c, double r);
// Hypsometric tint of a height in metres.
void Tint(double metres, unsigned char rgb[3]);

// The ground point under (X, Y): its height Z (absolute centimetres) and
// whether it lies on the terrain and outside the lake, where the ground
// carries texture.
struct Ground {
  bool on_terrain = false;
  bool textured = false;
  double z = 0;
};
Ground GroundAt(double x, double y);

// The two cameras of the stereo pair for images of width x height pixels:
// nadir-looking, side by side along X at one height, with principal points
// shifted so that the ground at mean height has disparity 0. side 0 is the
// left camera, 1 the right. The text of the camera file (matrix form).
std::string CameraFile(int side, int width, int height);

// One view of the scene through a camera: interleaved RGB rows, and for each
// pixel whether its centre sees textured ground.
struct View {
  int width = 0, height = 0;
  std::vector<unsigned char> rgb;
  std::vector<char> textured;
};
View Render(const TCamera& camera, int width, int height);

// Where the ray of pixel (row, column) of the camera meets the terrain; false
// when it misses the terrain.
bool Intersect(const TCamera& camera, double row, double column, double* x, double* y, double* z);

}  // namespace sample

#endif  // KLUTEIDA_SAMPLES_SCENE_H
