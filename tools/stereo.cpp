#include "tools/stereo.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "geometry/calc_coord.h"

std::string CheckCameras(const TCamera& left, const TCamera& right, int width, int height, int mind,
                         int maxd) {
  if (!(left.Ainv->elem[0][1] != 0 && right.Ainv->elem[0][1] != 0))
    return "the film x of a camera does not change along the image rows";
  if (!(std::isfinite(left.Focal) && left.Focal != 0 && std::isfinite(right.Focal) &&
        right.Focal != 0))
    return "a camera has no usable focal length";
  const int rows[] = {0, height / 2, height - 1}, cols[] = {0, width / 2, width - 1};
  for (const int a : rows)
    for (const int b : cols) {
      const TPoint3Di low = Image2Object(a, b, static_cast<double>(mind), left, right);
      const TPoint3Di high = Image2Object(a, b, static_cast<double>(maxd - 1), left, right);
      const bool none = (low.x == 0 && low.y == 0 && low.z == 0) ||
                        (high.x == 0 && high.y == 0 && high.z == 0);
      if (none) return "the cameras' rays do not meet (parallel rays or no base between them)";
      if (maxd - 1 > mind && low.x == high.x && low.y == high.y && low.z == high.z)
        return "every disparity gives the same point (no base between the cameras)";
    }
  return "";
}

namespace {

// The three-band disparities of the pair at half size, as a guide for the
// full size: each coarse disparity doubled, on the 2 x 2 pixels it covers.
std::unique_ptr<TImage> HalfSizeGuide(TImage& left, TImage& right, int mind, int maxd,
                                      double threshold) {
  const std::unique_ptr<TImage> l(left.Subsampling(2)), r(right.Subsampling(2));
  TDispImage coarse(static_cast<unsigned short>(l->width), static_cast<unsigned short>(l->height));
  const int lo = static_cast<int>(std::floor(mind / 2.0));
  const int hi = static_cast<int>(std::ceil(maxd / 2.0));
  coarse.CalculateCorrelations3Band(l.get(), r.get(), lo, hi, threshold);
  auto guide = std::make_unique<TImage>(left.width, left.height, kTypeByte, 1, nullptr, 0, 0);
  for (int y = 0; y < left.height; ++y)
    for (int x = 0; x < left.width; ++x) {
      const int cx = std::min(x / 2, coarse.width - 1), cy = std::min(y / 2, coarse.height - 1);
      const int byte = coarse.data[static_cast<size_t>(cy) * coarse.width + cx];
      if (byte == 0) continue;
      const int d = std::clamp(2 * (byte - 128), -127, 127);
      guide->data[static_cast<size_t>(y) * left.width + x] = static_cast<unsigned char>(d + 128);
    }
  return guide;
}

}  // namespace

std::unique_ptr<TDispImage> Correlate(TImage& left, TImage& right, StereoMethod method, int mind,
                                      int maxd, double threshold) {
  auto out = std::make_unique<TDispImage>(left.width, left.height);
  switch (method) {
    case StereoMethod::kNcc:
      out->CalculateCorrelations(&left, &right, mind, maxd, threshold);
      break;
    case StereoMethod::kThreeBand:
      out->CalculateCorrelations3Band(&left, &right, mind, maxd, threshold);
      break;
    case StereoMethod::kThreeBandHier: {
      const std::unique_ptr<TImage> guide = HalfSizeGuide(left, right, mind, maxd, threshold);
      out->CalculateCorrelations3BandHier(&left, &right, guide.get(), mind, maxd, threshold);
      break;
    }
    case StereoMethod::kSupport: {
      // The three-band result outside the support block, and as the support
      // inside it: its pixels are kept, its holes filled by support.
      out->CalculateCorrelations3Band(&left, &right, mind, maxd, threshold);
      TImage support(*out);
      out->CalculateCorrelations3BandSupport(&left, &right, &support, mind, maxd, threshold);
      break;
    }
  }
  return out;
}

std::unique_ptr<TCoord> Intersect(const TDispImage& disparity, const TImage& left,
                                  const TCamera& camera1, const TCamera& camera2,
                                  long long* points) {
  auto raster = std::make_unique<TCoord>(left.width, left.height, 0, TPoint3Di(0, 0, 0),
                                         left.offset_x, left.offset_y);
  *points = 0;
  TPoint3Di* cells = raster->data.data();
  for (int a = 0; a < disparity.height; ++a)
    for (int b = 0; b < disparity.width; ++b) {
      const unsigned char d = disparity.data[static_cast<size_t>(a) * disparity.width + b];
      if (d == 0) continue;
      // The raster's element (b, a) holds the point as it is (offset 0); a
      // point of height 0 cannot be told from no point.
      const TPoint3Di p = Image2Object(a, b, d, camera1, camera2);
      cells[static_cast<size_t>(a) * raster->width + b] = p;
      *points += p.z != 0;
    }
  return raster;
}
