// Disparity image: a byte image whose pixels hold, for each pixel of a left
// image, the horizontal shift to the best-matching pixel of a right image on
// the same row, computed by normalised cross-correlation of windows.
#ifndef KLUTEIDA_IMAGE_TDISPIMAGE_H
#define KLUTEIDA_IMAGE_TDISPIMAGE_H

#include "image/timage.h"

class TCandidateList;
class TMatrix;

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
  // Two stereo pairs of one scene: set 1 (left1, right1) and set 2 (left2,
  // right2), whose pixel (x, y) of left1 lies at row floor(y rot00 + x rot01 +
  // shift0 + 0.5), column floor(y rot10 + x rot11 + shift1 + 0.5) of left2,
  // and whose set-1 disparity d is floor(d scale + offset + 0.5) in set 2.
  // Set 2 searches the disparities floor(mind scale + offset) .. ceil(maxd
  // scale + offset) - 1. Progress every 32 rows; the curves of the pixels
  // (321, 354), (362, 362) and (235, 354) go to "1.txt", "2.txt" and "3.txt".
  // Each returns 1, or 0 (nothing done or printed) when rot is not at least
  // 2 x 2 or shift 2 x 1, when the set-2 range is not a number or lies beyond
  // the int range, or when either range is longer than 65536.
  //
  // 5 x 5 windows of band 0 over the block of rows 350 to 572 and columns 137
  // to 475: a pixel gets its set-1 disparity when both winners exceed the
  // threshold and the set-2 winner lies within 2 of the predicted one.
  int CalculateCorrelations2Set(TImage* left1, TImage* right1, TImage* left2, TImage* right2,
                                TMatrix& rot, TMatrix& shift, int mind, int maxd, double scale,
                                double offset, double threshold);
  // The same with 5 x 5 windows of three bands (median) over the image less
  // a margin of 2.
  int CalculateCorrelations2Set3Bands(TImage* left1, TImage* right1, TImage* left2, TImage* right2,
                                      TMatrix& rot, TMatrix& shift, int mind, int maxd,
                                      double scale, double offset, double threshold);
  // 3 x 3 windows of three bands, margin 1, both searches narrowed around a
  // non-zero guide byte; the set-2 curve and the set-1 curve read back at
  // (set-2 disparity) / 2 - 1.5 are averaged, and the winner of that merged
  // curve is written as a set-2 disparity.
  int CalculateCorrelations2Set3BandsHier(TImage* left1, TImage* right1, TImage* left2,
                                          TImage* right2, TImage* guide, TMatrix& rot,
                                          TMatrix& shift, int mind, int maxd, double scale,
                                          double offset, double threshold);
  // 7 x 7 windows of three bands, margin 3, the disparities mind .. maxd
  // both included, scores smoothed across columns: sure matches and every
  // local peak above the threshold go into `list`, the matches are written,
  // then three passes promote the candidates whose support exceeds 30, 18
  // and 8. Progress every 16 rows, then every 4 bins.
  int CalculateCorrelations3BandRealSpace(TImage* left, TImage* right, int mind, int maxd,
                                          double threshold, TCandidateList& list);
};

// Sets the number of threads every later correlation call uses: 1 runs each
// method on the calling thread alone; 0 (or a negative count) restores the
// default, the number of processors the process may run on. The rows of a
// method are spread over the threads (the growing passes of the real-space
// method stay on one); results, printed text and files are the same
// whatever the count. A call whose disparity image shares memory with one of
// its input images runs on one thread.
void SetCorrelationThreads(int threads);

// The number of threads the correlation methods use now.
int CorrelationThreads();

#endif  // KLUTEIDA_IMAGE_TDISPIMAGE_H
