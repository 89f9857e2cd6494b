// Disparity image: a byte image whose pixels hold, for each pixel of a left
// image, the horizontal shift to the best-matching pixel of a right image on
// the same row, computed by normalised cross-correlation of windows.
#ifndef KLUTEIDA_IMAGE_TDISPIMAGE_H
#define KLUTEIDA_IMAGE_TDISPIMAGE_H

#include "image/timage.h"

class TCandidateList;

// A written pixel holds the byte (d + 128) mod 256 for the disparity d
// (candidate column minus reference column): 128 is 0, 127 is -1, 130 is +2.
// A pixel for which no candidate passes the threshold keeps what it held
// before the call; 0 is the usual value for "no match".
//
// Every CalculateCorrelations... method stores its search range in
// MinDisparity and MaxDisparity, tries the disparities mind .. maxd - 1,
// prints its progress on standard output and returns 1. The images are read
// through GetWindow: window elements outside an image (or in a band it does
// not have) count as 0. The disparity image must not be the left or the right
// image of its own call.
class TDispImage : public TImage {
 public:
  int MinDisparity;
  int MaxDisparity;

  // A zero-filled single-frame byte image of the given size and offset.
  TDispImage(unsigned short width, unsigned short height, int offset_x = 0, int offset_y = 0);
  // Reads an image file (any format TImage reads); a failure ends the process.
  explicit TDispImage(const char* name);
  TDispImage(const TDispImage& other) = default;

  void Initialize() override;

  // 5 x 5 windows of band 0, margin 2, progress every 32 rows.
  int CalculateCorrelations(TImage* left, TImage* right, int mind, int maxd, double threshold);
  // 7 x 7 windows, bands 0 to 2 scored apart and combined by their median,
  // margin 3, progress every 16 rows. The candidates of the pixel (362, 362)
  // are written to "cc.txt" in the current directory.
  int CalculateCorrelations3Band(TImage* left, TImage* right, int mind, int maxd, double threshold);
  // As CalculateCorrelations3Band with 9 x 9 windows and margin 4; where the
  // guide's byte g at (x, y) is not 0 the candidates are also limited to the
  // disparities g - 133 .. g - 124.
  int CalculateCorrelations3BandHier(TImage* left, TImage* right, TImage* guide, int mind, int maxd,
                                     double threshold);
  // 7 x 7 windows of three bands over the block of rows 236 to 572 and
  // columns 137 to 475. A non-zero support byte is copied as it stands;
  // otherwise up to three peaks of the curve compete, each helped by 0.01 per
  // support pixel of its 7 x 7 window within 3 of its coded disparity.
  int CalculateCorrelations3BandSupport(TImage* left, TImage* right, TImage* support, int mind,
                                        int maxd, double threshold);
  // 7 x 7 windows of three bands, margin 3, the disparities mind .. maxd
  // both included, scores smoothed across columns: sure matches and every
  // local peak above the threshold go into `list`, the matches are written,
  // then three passes promote the candidates whose support exceeds 30, 18
  // and 8. Progress every 16 rows, then every 4 bins.
  int CalculateCorrelations3BandRealSpace(TImage* left, TImage* right, int mind, int maxd,
                                          double threshold, TCandidateList& list);
};

#endif  // KLUTEIDA_IMAGE_TDISPIMAGE_H
