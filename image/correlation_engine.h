// The parts every correlation method shares: normalised windows of a row,
// the correlation curve of a block of reference pixels, the winner rule, the
// disparity coding and the progress text.
#ifndef KLUTEIDA_IMAGE_CORRELATION_ENGINE_H
#define KLUTEIDA_IMAGE_CORRELATION_ENGINE_H

#include <cstddef>
#include <vector>

#include "image/correlation_kernels.h"
#include "image/timage.h"
#include "image/window_source.h"

namespace correlation {

// Start values of the winner scans.
inline constexpr double kWinnerStart = -2.01;
inline constexpr double kPeakStart = -30.0;

// Normalised k x k windows centred on one row of an image band.
class WindowRow {
 public:
  // Windows centred on (x, y) for first <= x < first + count. The count is
  // rounded up to a multiple of kLanes; the extra windows are computed as well.
  void Build(const WindowSource& source, int k, long long first, long long y, size_t count);
  WindowRowView View() const { return {elems_.data(), sigma_.data(), count_, kk_}; }
  long long first() const { return first_; }
  size_t count() const { return count_; }

 private:
  int kk_ = 0;
  long long first_ = 0;
  size_t count_ = 0;
  std::vector<double> strip_;
  std::vector<double> elems_;
  std::vector<double> sigma_;
};

// The windows of one row of a stereo pair, for each band in use.
class PairRows {
 public:
  PairRows(const TImage& left, const TImage& right, int bands, int k);
  // Reference windows centred on columns [x0, x1) and candidate windows for
  // the candidate columns [lo, hi) of the whole row (with the margins that
  // CurveBlock reads).
  void Build(long long y, long long x0, long long x1, long long lo, long long hi);
  int bands() const { return bands_; }
  double divisor() const { return static_cast<double>(k_ * k_); }
  const WindowRow& left(int band) const { return left_rows_[band]; }
  const WindowRow& right(int band) const { return right_rows_[band]; }

 private:
  int bands_;
  int k_;
  std::vector<WindowSource> left_sources_;
  std::vector<WindowSource> right_sources_;
  std::vector<WindowRow> left_rows_;
  std::vector<WindowRow> right_rows_;
};

// Candidate columns [lo, hi) of one reference pixel.
struct Span {
  long long lo = 0;
  long long hi = 0;
};

// The correlation curves of kLanes reference pixels x0 .. x0 + kLanes - 1 of
// a row. Entry i of a curve belongs to disparity mind + i. A candidate column
// u of the pixel's span stores its score (one band) or the median of its
// three band scores; every other entry is 0, like the entries of candidates
// that the scan skips.
class CurveBlock {
 public:
  // Scores the candidates of spans[l] for the pixel x0 + l. The spans lie
  // within the columns the rows were built for.
  void Compute(const PairRows& rows, long long x0, const Span* spans, long long mind);
  // Entry i of the curve of `lane`.
  double Value(int lane, long long i) const;
  // Entries [from, to) of the curve of `lane` into out[0 .. to - from); the
  // entries lie inside [begin(), end()).
  void Copy(int lane, long long from, long long to, double* out) const;
  // The score of band `band` for entry i of `lane`; i inside the lane's span.
  double BandScore(int band, int lane, long long i) const;
  // Entries [begin(), end()) may be non-zero; all others are 0.
  long long begin() const { return first_; }
  long long end() const { return first_ + length_; }
  // The winner of each curve of n entries: the scan starts with `start` and
  // takes an entry only when it is strictly greater, so among equal values
  // the lowest index wins. index[l] is -1 when no entry beat the start.
  void Winner(long long n, double start, double* best, long long* index) const;

 private:
  int bands_ = 0;
  long long first_ = 0;
  long long length_ = 0;
  std::vector<double> scores_[3];
  std::vector<double> median_;
  const double* curve_ = nullptr;  // scores_[0] or median_
};

// The byte of disparity d: (d + 128) mod 256.
inline unsigned char DisparityByte(long long d) { return static_cast<unsigned char>(d + 128); }

// Writes one byte pixel through SetIntensity (nothing outside the image).
void WritePixel(TImage& image, int x, int y, unsigned char value);
// The first byte of GetIntensity(x, y) (frame 0), 0 outside the image.
unsigned char ReadByte(TImage& image, int x, int y);

// Progress text: "finding correlations... " at the start, "%d " for every
// row that is a multiple of `period`, "OK" and a line end at the end, each
// flushed at once.
void PrintStart();
void PrintRow(int y, int period);
void PrintDone();

}  // namespace correlation

#endif  // KLUTEIDA_IMAGE_CORRELATION_ENGINE_H
