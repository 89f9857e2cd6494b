// Score bounds for images whose window values are integers: the candidate
// search that computes exactly only the candidates that could win.
//
// For integer windows the sums Sa = sum(a), Saa = sum(a * a), Sab = sum(a * b)
// are exact in doubles, and so is N = k*k Sab - Sa Sb. The normalised
// cross-correlation N / sqrt(Da Db), Da = k*k Saa - Sa^2, computed from them
// with a few roundings differs from the score of the window-by-window
// computation (normalisation, deviations, inner product, each with its own
// roundings) by less than kScoreBound: the rounding of the mean moves each
// normalised element by at most u (|t| + |mean|), u = 2^-53, which turns the
// angle between the windows by at most u (1 + |mean| k / |t|) per window,
// |t| >= sqrt((k*k - 1) / (k*k)) for a window that is not flat and |mean| <=
// 32768 for 16-bit values; the sums of the score add (2 k*k + 7) u. In all
// less than 7e-11 for k <= 9, and kScoreBound leaves more than ten times that.
// A flat window (Da = 0) gives the exact score NaN, as its approximation.
//
// A candidate whose approximate score lies more than 2 kScoreBound below the
// best approximate score of its pixel therefore has an exact score below the
// exact score of that best candidate: it can never be the winner, and is not
// computed. Medians of three band scores keep the bound (the median is
// monotone in each band); an entry with a flat band is always computed, since
// the median of a NaN and two numbers depends on their order.
#ifndef KLUTEIDA_IMAGE_CORRELATION_BOUNDS_H
#define KLUTEIDA_IMAGE_CORRELATION_BOUNDS_H

#include <climits>
#include <cstddef>
#include <vector>

#include "image/correlation_kernels.h"
#include "image/timage.h"
#include "image/window_source.h"

namespace correlation {

inline constexpr double kScoreBound = 0x1p-30;

// True when every window value of the image is an integer of at most 16
// bits: every type but float (the others are read as bytes or as signed
// 16-bit values).
bool HasIntegerWindows(const TImage& image);
// True when every window value is a byte (every type but float and 16-bit):
// then all cross sums stay below 2^24 and single precision holds them
// exactly.
bool HasByteWindows(const TImage& image);

// Converted rows of one image band over the columns [x0, x1), as GetWindow
// reads them; the last `depth` rows asked for are kept.
class RowRing {
 public:
  RowRing(const TImage& image, int band, long long x0, long long x1, int depth);
  // Row y, column x0 first.
  const double* Row(long long y);
  long long x0() const { return x0_; }
  size_t width() const { return width_; }

 private:
  WindowSource source_;
  long long x0_;
  size_t width_;
  std::vector<double> data_;
  std::vector<long long> rows_;  // the row each slot holds
};

// The k x k windows centred on columns [x0, x1) of one row of a ring, with
// the exact sum Sa of each, inv = 1 / sqrt(Da) (NaN for a flat window) and the
// mean Sa / (k * k), which is the normalisation's mean since its sum is exact.
// The column sums are kept from row to row.
class RowWindows {
 public:
  RowWindows(int k, long long x0, long long x1);
  // The windows of row y; the ring covers columns [x0 - h, x1 + h).
  void Advance(RowRing& ring, long long y);
  RawRowView View() const { return {rows_.data(), k_, mean_.data()}; }
  long long first() const { return x0_; }
  const std::vector<double>& sum() const { return sum_; }
  const std::vector<double>& inv() const { return inv_; }

 private:
  int k_;
  long long x0_;
  size_t count_;
  long long row_ = LLONG_MIN;
  std::vector<const double*> rows_;  // window row r of window 0 starts at rows_[r]
  std::vector<double> col_, col2_;   // sums of the k rows of each column
  std::vector<double> sum_, inv_, mean_;
};

// Column sums of products sum over the k rows r of a(x, r) * b(x + d, r), for
// columns [x0, x1) of the left image and disparities [d0, d1), kept from row
// to row in type T (float for byte windows, else double): exact integers, so
// adding the new row and removing the old one gives the sums of the k rows.
template <typename T>
class CrossSums {
 public:
  CrossSums(int k, long long x0, long long x1, long long d0, long long d1);
  // The sums of the k rows centred on y; the left ring covers [x0, x1), the
  // right one [x0 + d0, x1 + d0 + padded()).
  void Advance(RowRing& left, RowRing& right, long long y);
  // The sums of column x, disparity d0 first; padded() entries.
  const T* Column(long long x) const {
    return col_.data() + static_cast<size_t>(x - x0_) * padded_;
  }
  size_t padded() const { return padded_; }

 private:
  // Row y of a ring from column `offset` on, as T.
  const T* Rows(RowRing& ring, long long y, size_t offset, size_t count, std::vector<T>* buffer);

  int k_;
  long long x0_;
  long long d0_;
  size_t columns_;
  size_t padded_;  // d1 - d0 rounded up to kLanes
  long long row_ = LLONG_MIN;
  std::vector<T> col_;
  std::vector<T> zeros_;
  std::vector<T> a_new_, b_new_, a_old_, b_old_;
};

// The candidate search of a stereo pair, row by row: for each reference
// pixel, the disparities whose exact score could be the winner, and then the
// exact scores of those. T is the type of the cross sums.
template <typename T>
class CandidateFilter {
 public:
  // Reference columns [x0, x1), candidate columns [lo, hi) at most,
  // disparities [d0, d1) at most; k x k windows of `bands` bands (1 or 3).
  CandidateFilter(const TImage& left, const TImage& right, int bands, int k, long long x0,
                  long long x1, long long lo, long long hi, long long d0, long long d1);
  // Whether the cross sums of such a search fit in memory comfortably.
  static bool Affordable(int bands, int k, long long x0, long long x1, long long d0, long long d1);

  void StartRow(long long y);
  // Pixel x of [x0, x1) (cheapest in increasing order): appends the
  // disparities of [dlo, dhi) that could win (all of them when `all`),
  // ascending.
  void Select(long long x, long long dlo, long long dhi, bool all, std::vector<long long>* out);
  // Exact scores of pairs of the row: the reference window at column xs[i]
  // against the candidate window at column us[i]. bands[b][i] receives the
  // score of band b, values[i] the curve entry (the score of the one band, or
  // the median of three).
  void Score(const std::vector<long long>& xs, const std::vector<long long>& us,
             std::vector<double> bands[3], std::vector<double>* values);

 private:
  // Makes running_ the cross sums of the window of pixel x.
  void MoveTo(long long x);

  int bands_;
  int k_;
  long long d0_;
  long long current_ = 0;  // the pixel whose sums running_ holds
  std::vector<RowRing> left_rings_, right_rings_;
  std::vector<RowWindows> left_, right_;
  std::vector<CrossSums<T>> cross_;
  std::vector<T> running_[3];
  std::vector<double> values_;
  std::vector<unsigned> chosen_;
};

extern template class CandidateFilter<float>;
extern template class CandidateFilter<double>;

}  // namespace correlation

#endif  // KLUTEIDA_IMAGE_CORRELATION_BOUNDS_H
