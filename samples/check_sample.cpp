// How far a coordinate raster recovered from the sample's stereo pair lies
// from the terrain the pair was rendered from.
//
// usage: kluteida_check_sample <raster.cor> <left.cam> <right.cam>
//
// The raster is on the left image's pixel grid. A pixel is textured when the
// ray through its centre meets the terrain outside the lake; the share of
// those that have a point, and the height error of every point on the
// terrain (its Z against the terrain's height under its X and Y), are
// printed with the height of one disparity step at the image's centre.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "camera/tcamera.h"
#include "geometry/calc_coord.h"
#include "geometry/tcoord.h"
#include "samples/scene.h"

int main(int argc, char** argv) {
  if (argc != 4) {
    std::printf("Usage: kluteida_check_sample <raster.cor> <left.cam> <right.cam>\n");
    return 1;
  }
  TCoord raster(argv[1]);
  const TCamera left(argv[2]), right(argv[3]);
  long long textured = 0, recovered = 0;
  std::vector<double> errors;
  for (int row = 0; row < raster.height; ++row)
    for (int col = 0; col < raster.width; ++col) {
      const TPoint3Di p = raster.GetCoord(raster.x0 + col, raster.y0 + row);
      double x, y, z;
      const bool seen = sample::Intersect(left, row, col, &x, &y, &z) &&
                        sample::GroundAt(x, y).textured;
      textured += seen;
      if (p.z == 0) continue;
      recovered += seen;
      const sample::Ground g = sample::GroundAt(p.x, p.y);
      if (g.on_terrain) errors.push_back(std::fabs(p.z - g.z) / 100.0);
    }
  // One disparity step at the centre: the height between disparities 0 and 1.
  const int row = raster.height / 2, col = raster.width / 2;
  const double step =
      std::fabs(Image2Object(row, col, 1.0, left, right).z - Image2Object(row, col, 0.0, left, right).z) /
      100.0;
  std::sort(errors.begin(), errors.end());
  const auto quantile = [&](double q) {
    return errors.empty() ? NAN : errors[static_cast<size_t>(q * (errors.size() - 1))];
  };
  const double share = textured ? 100.0 * recovered / textured : 0.0;
  const double median = quantile(0.5);
  std::printf("\nRecovered %lld of the %lld textured pixels: %.1f %% (goal: at least 90 %%) %s\n",
              recovered, textured, share, share >= 90 ? "ok" : "MISSED");
  std::printf(
      "Height error of the %zu points: median %.2f m, 95th percentile %.2f m\n"
      "  (one disparity step is %.2f m at the centre; goal: median within one step) %s\n",
      errors.size(), median, quantile(0.95), step, median <= step ? "ok" : "MISSED");
  return 0;
}
