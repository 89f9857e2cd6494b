// The stages of kluteida-stereo: a disparity image by one of the library's
// correlation methods, the coordinate raster of its pixels' object points,
// and the checks that make bad input fail before any work.
#ifndef KLUTEIDA_TOOLS_STEREO_H
#define KLUTEIDA_TOOLS_STEREO_H

#include <memory>
#include <string>

#include "camera/tcamera.h"
#include "geometry/tcoord.h"
#include "image/tdispimage.h"
#include "image/timage.h"

enum class StereoMethod {
  kNcc,            // CalculateCorrelations: band 0, 5 x 5
  kThreeBand,      // CalculateCorrelations3Band: 7 x 7, median of three bands
  kThreeBandHier,  // a three-band pass at half size guiding CalculateCorrelations3BandHier
  kSupport,        // a three-band pass, then CalculateCorrelations3BandSupport over its block
};

// Whether the method reads three bands.
inline bool NeedsThreeBands(StereoMethod m) { return m != StereoMethod::kNcc; }

// Empty when the two cameras give object points for the disparities
// [mind, maxd) of images of width x height (distinct, finite points at the
// corners and the centre); otherwise what is wrong.
std::string CheckCameras(const TCamera& left, const TCamera& right, int width, int height, int mind,
                         int maxd);

// The disparity image of the pair: (d + 128) mod 256 where disparity d
// passed `threshold`, 0 elsewhere.
std::unique_ptr<TDispImage> Correlate(TImage& left, TImage& right, StereoMethod method, int mind,
                                      int maxd, double threshold);

// The object point (centimetres) of every pixel with a disparity, by the
// closed-form intersection of the frame cameras' rays, in a coordinate raster
// on the left image's pixel grid (origin at its offset, z = 0 where there is
// no point, offset 0). `points` receives how many pixels have one.
std::unique_ptr<TCoord> Intersect(const TDispImage& disparity, const TImage& left,
                                  const TCamera& camera1, const TCamera& camera2,
                                  long long* points);

#endif  // KLUTEIDA_TOOLS_STEREO_H
