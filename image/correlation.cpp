// The single-pair correlation methods of TDispImage. Images of integer values
// go through the bounded candidate search (correlation_bounds.h): only the
// candidates that could win are scored. Float images, and searches too wide
// for its sums, have every candidate scored, kLanes reference pixels at a
// time, from windows normalised once per row. Either way every score, curve
// entry and winner is the one the window-by-window computation gives.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "image/correlation_bounds.h"
#include "image/correlation_engine.h"
#include "image/correlation_rows.h"
#include "image/tdispimage.h"

namespace {

using correlation::CandidateFilter;
using correlation::CurveBlock;
using correlation::kLanes;
using correlation::PairRows;
using correlation::Span;

// The pixel whose candidates go to the debug file, and the file's line.
constexpr int kDebugX = 362;
constexpr int kDebugY = 362;
constexpr char kDebugFile[] = "cc.txt";
constexpr char kDebugLine[] = "%f %f %f %f\n";

struct Method {
  int k;       // window size
  int bands;   // 1: band 0; 3: median of bands 0, 1, 2
  int margin;  // rows and columns left out on every side
  int period;  // progress every `period` rows
  bool debug;  // candidates of (kDebugX, kDebugY) go to the debug file
};

constexpr Method kOneBand = {5, 1, 2, 32, false};
constexpr Method kThreeBand = {7, 3, 3, 16, true};
constexpr Method kThreeBandHier = {9, 3, 4, 16, true};

// The common frame of CalculateCorrelations and its three-band variants:
// every pixel at least `margin` from the border of the left image, candidates
// clipped to the same margin and, with a guide, around the guide's disparity.
struct Search {
  TDispImage& out;
  TImage& left;
  TImage& right;
  TImage* guide;
  long long mind;
  long long maxd;
  double threshold;
  const Method& method;
  long long n;  // curve entries
  int height;   // rows [margin, height - margin) are visited
  int x0;       // reference columns [x0, x1)
  int x1;
  long long clip_lo;  // candidate columns [clip_lo, clip_hi)
  long long clip_hi;

  Search(TDispImage& out, TImage& left, TImage& right, TImage* guide, int mind, int maxd,
         double threshold, const Method& method)
      : out(out),
        left(left),
        right(right),
        guide(guide),
        mind(mind),
        maxd(maxd),
        threshold(threshold),
        method(method),
        n(static_cast<long long>(maxd) - mind),
        height(left.Height()),
        x0(method.margin),
        x1(left.Width() - method.margin),
        clip_lo(method.margin),
        clip_hi(static_cast<long long>(left.Width()) - method.margin) {}

  // Candidate columns of the pixel (x, y).
  Span CandidateSpan(int x, int y) const {
    Span span;
    span.lo = std::max(x + mind, clip_lo);
    span.hi = std::min(x + maxd, clip_hi);
    if (guide != nullptr) {
      const int g = correlation::ReadByte(*guide, x, y);
      if (g != 0) {
        // The guide's disparity g - 128, from 5 below to 4 above.
        span.lo = std::max(span.lo, static_cast<long long>(x) + g - 133);
        span.hi = std::min(span.hi, static_cast<long long>(x) + g - 123);
      }
    }
    return span;
  }
  // The disparities [d0, d1) of all the spans; false when there are none.
  bool Disparities(long long* d0, long long* d1) const {
    *d0 = std::max(mind, clip_lo - (x1 - 1));
    *d1 = std::min(maxd, clip_hi - x0);
    if (guide == nullptr || *d0 >= *d1) return *d0 < *d1;
    // A guide can narrow every span: take their union.
    long long lo = *d1;
    long long hi = *d0;
    for (int y = method.margin; y < height - method.margin; ++y) {
      for (int x = x0; x < x1; ++x) {
        const Span span = CandidateSpan(x, y);
        if (span.lo >= span.hi) continue;
        lo = std::min(lo, span.lo - x);
        hi = std::max(hi, span.hi - x);
      }
    }
    *d0 = lo;
    *d1 = hi;
    return lo < hi;
  }
  // Candidate columns of a whole row.
  long long RowLo() const { return std::max(clip_lo, x0 + mind); }
  long long RowHi() const { return std::min(clip_hi, x1 - 1 + maxd); }
  bool IsDebugPixel(int x, int y) const { return method.debug && x == kDebugX && y == kDebugY; }
  void Write(int x, int y, long long index) const {
    correlation::WritePixel(out, x, y, correlation::DisparityByte(mind + index));
  }
};

// Every candidate of every pixel scored, kLanes pixels at a time; one worker
// per thread.
class ExhaustiveRows {
 public:
  explicit ExhaustiveRows(const Search& s) : s_(s), rows_(s.left, s.right, s.method.bands, s.method.k) {}

  void operator()(int y) {
    const Search& s = s_;
    if (s.x0 >= s.x1) return;
    rows_.Build(y, s.x0, s.x1, s.RowLo(), s.RowHi());
    for (int bx = s.x0; bx < s.x1; bx += kLanes) {
      for (int l = 0; l < kLanes; ++l) {
        spans_[l] = bx + l < s.x1 ? s.CandidateSpan(bx + l, y) : Span();
      }
      block_.Compute(rows_, bx, spans_, s.mind);
      for (int l = 0; l < kLanes && bx + l < s.x1; ++l) {
        if (!s.IsDebugPixel(bx + l, y)) continue;
        std::FILE* f = std::fopen(kDebugFile, "w");
        if (f == nullptr) continue;
        for (long long u = spans_[l].lo; u < spans_[l].hi; ++u) {
          const long long i = u - (bx + l) - s.mind;
          std::fprintf(f, kDebugLine, block_.Value(l, i), block_.BandScore(0, l, i),
                       block_.BandScore(1, l, i), block_.BandScore(2, l, i));
        }
        std::fclose(f);
      }
      block_.Winner(s.n, correlation::kWinnerStart, best_, index_);
      for (int l = 0; l < kLanes && bx + l < s.x1; ++l) {
        if (index_[l] >= 0 && best_[l] > s.threshold) s.Write(bx + l, y, index_[l]);
      }
    }
  }

 private:
  const Search& s_;
  PairRows rows_;
  CurveBlock block_;
  Span spans_[kLanes];
  double best_[kLanes];
  long long index_[kLanes];
};

// Candidates chosen by their score bounds, and only those scored exactly.
// The winner scan then runs over the chosen entries and the zero entries of
// the skipped candidates outside the span: every entry left out is below the
// best exact score, so the first maximum is the same.
template <typename T>
class BoundedRows {
 public:
  BoundedRows(const Search& s, long long d0, long long d1)
      : s_(s),
        filter_(s.left, s.right, s.method.bands, s.method.k, s.x0, s.x1, s.RowLo(), s.RowHi(), d0,
                d1),
        spans_(static_cast<size_t>(s.x1 - s.x0)),
        begin_(spans_.size() + 1) {}

  void operator()(int y) {
    const Search& s = s_;
    filter_.StartRow(y);
    disparities_.clear();
    xs_.clear();
    us_.clear();
    for (int x = s.x0; x < s.x1; ++x) {
      const size_t j = static_cast<size_t>(x - s.x0);
      spans_[j] = s.CandidateSpan(x, y);
      begin_[j] = disparities_.size();
      filter_.Select(x, spans_[j].lo - x, spans_[j].hi - x, s.IsDebugPixel(x, y), &disparities_);
      for (size_t i = begin_[j]; i < disparities_.size(); ++i) {
        xs_.push_back(x);
        us_.push_back(x + disparities_[i]);
      }
    }
    begin_[spans_.size()] = disparities_.size();
    filter_.Score(xs_, us_, bands_, &values_);

    for (int x = s.x0; x < s.x1; ++x) {
      const size_t j = static_cast<size_t>(x - s.x0);
      if (s.IsDebugPixel(x, y)) {
        std::FILE* f = std::fopen(kDebugFile, "w");
        if (f != nullptr) {
          for (size_t i = begin_[j]; i < begin_[j + 1]; ++i) {
            std::fprintf(f, kDebugLine, values_[i], bands_[0][i], bands_[1][i], bands_[2][i]);
          }
          std::fclose(f);
        }
      }
      // Entries [klo, khi) belong to the span, the others are 0.
      const long long klo = spans_[j].lo - x - s.mind;
      const long long khi = spans_[j].hi - x - s.mind;
      double best = correlation::kWinnerStart;
      long long index = -1;
      const auto zeros = [&](long long from, long long to) {
        if (from < to && 0.0 > best) {
          best = 0.0;
          index = from;
        }
      };
      if (klo >= khi) {
        zeros(0, s.n);
      } else {
        zeros(0, klo);
        for (size_t i = begin_[j]; i < begin_[j + 1]; ++i) {
          if (values_[i] > best) {
            best = values_[i];
            index = disparities_[i] - s.mind;
          }
        }
        zeros(khi, s.n);
      }
      if (index >= 0 && best > s.threshold) s.Write(x, y, index);
    }
  }

 private:
  const Search& s_;
  CandidateFilter<T> filter_;
  std::vector<Span> spans_;
  std::vector<size_t> begin_;
  std::vector<long long> disparities_, xs_, us_;
  std::vector<double> bands_[3];
  std::vector<double> values_;
};

// The rows of a search through workers of type Rows, made by make().
template <typename Make>
void RunRows(const Search& s, int threads, long long chunk, Make make) {
  correlation::ForEachRow(s.method.margin, s.height - s.method.margin, s.method.period, chunk,
                          threads, [&]() -> correlation::RowWorker {
                            auto rows = make();
                            return [rows](long long y) { (*rows)(static_cast<int>(y)); };
                          });
}

int CorrelateWithMargin(TDispImage& out, TImage& left, TImage& right, TImage* guide, int mind,
                        int maxd, double threshold, const Method& method) {
  correlation::PrintStart();
  out.MinDisparity = mind;
  out.MaxDisparity = maxd;
  const Search s(out, left, right, guide, mind, maxd, threshold, method);
  const int threads = correlation::ThreadsFor(out, {&left, &right, guide});
  long long d0 = 0;
  long long d1 = 0;
  // Byte windows keep their cross sums exact in single precision.
  const bool bytes = correlation::HasByteWindows(left) && correlation::HasByteWindows(right);
  if (s.x0 < s.x1 && correlation::HasIntegerWindows(left) &&
      correlation::HasIntegerWindows(right) && s.Disparities(&d0, &d1) &&
      CandidateFilter<double>::Affordable(method.bands, method.k, s.x0, s.x1, d0, d1)) {
    // The filter's sums carry from row to row: each thread takes runs of
    // consecutive rows, and starts its sums afresh at the head of a run.
    const long long chunk = std::max(4, (s.height - 2 * method.margin) / (8 * threads));
    if (bytes) {
      RunRows(s, threads, chunk, [&] { return std::make_shared<BoundedRows<float>>(s, d0, d1); });
    } else {
      RunRows(s, threads, chunk, [&] { return std::make_shared<BoundedRows<double>>(s, d0, d1); });
    }
  } else {
    RunRows(s, threads, 1, [&] { return std::make_shared<ExhaustiveRows>(s); });
  }
  correlation::PrintDone();
  return 1;
}

// The highest strict local maximum of a curve of n entries among the indices
// 1 .. n - 2 other than `skip1` and `skip2`, if it exceeds 0 (-1 if none).
// Entries outside the computed ones are 0 and never qualify.
long long LocalPeak(const CurveBlock& block, int lane, long long n, long long skip1,
                    long long skip2, double* value) {
  double best = 0.0;
  long long found = -1;
  const long long first = std::max(1LL, block.begin());
  const long long last = std::min(n - 2, block.end() - 1);
  for (long long i = first; i <= last; ++i) {
    if (i == skip1 || i == skip2) continue;
    const double v = block.Value(lane, i);
    if (v > block.Value(lane, i - 1) && v > block.Value(lane, i + 1) && v > best) {
      best = v;
      found = i;
    }
  }
  *value = best;
  return found;
}

// Rows and columns of the block that the support method visits (inclusive).
constexpr int kSupportTop = 236;
constexpr int kSupportBottom = 572;
constexpr int kSupportLeft = 137;
constexpr int kSupportRight = 475;
constexpr int kSupportWindow = 7;
constexpr double kSupportDelta = 3.0;
constexpr double kSupportWeight = 0.01;
constexpr double kSupportStart = -10.0;
constexpr long long kSupportClip = 3;  // candidates in [3, W - 3)

struct SupportSearch {
  TDispImage& out;
  TImage& left;
  TImage& right;
  TImage& support;
  int mind;
  int maxd;
  double threshold;
  long long n;        // curve entries
  long long clip_hi;  // W - 3
};

// One row of the support method's block; one worker per thread.
class SupportRows {
 public:
  explicit SupportRows(const SupportSearch& s)
      : s_(s), rows_(s.left, s.right, 3, kSupportWindow), support_source_(s.support, 0) {}

  void operator()(int y) {
    const SupportSearch& s = s_;
    const long long n = s.n;
    const int x1 = kSupportRight + 1;
    rows_.Build(y, kSupportLeft, x1,
                std::max(kSupportClip, static_cast<long long>(kSupportLeft) + s.mind),
                std::min(s.clip_hi, static_cast<long long>(kSupportRight) + s.maxd));
    for (int bx = kSupportLeft; bx < x1; bx += kLanes) {
      unsigned char trusted[kLanes] = {};
      for (int l = 0; l < kLanes; ++l) {
        const int x = bx + l;
        spans_[l] = Span();
        if (x >= x1) continue;
        // A non-zero support byte is kept as it stands: no need to score.
        trusted[l] = correlation::ReadByte(s.support, x, y);
        if (trusted[l] != 0) continue;
        spans_[l].lo = std::max(static_cast<long long>(x) + s.mind, kSupportClip);
        spans_[l].hi = std::min(static_cast<long long>(x) + s.maxd, s.clip_hi);
      }
      block_.Compute(rows_, bx, spans_, s.mind);
      block_.Winner(n, correlation::kPeakStart, best_, index_);
      for (int l = 0; l < kLanes && bx + l < x1; ++l) {
        const int x = bx + l;
        if (trusted[l] != 0) {
          correlation::WritePixel(s.out, x, y, trusted[l]);
          continue;
        }
        if (index_[l] < 0) continue;
        long long peak_index[3] = {index_[l], -1, -1};
        double peak_value[3] = {best_[l], 0.0, 0.0};
        int peaks = 1;
        if (n > 2) {
          peak_index[1] = LocalPeak(block_, l, n, peak_index[0], -1, &peak_value[1]);
          if (peak_index[1] >= 0) {
            ++peaks;
            peak_index[2] = LocalPeak(block_, l, n, peak_index[0], peak_index[1], &peak_value[2]);
            if (peak_index[2] >= 0) ++peaks;
          }
        }
        // The support window is read now, after the pixels written before
        // (the support image is the output itself only on one thread).
        support_source_.FillWindow(x, y, kSupportWindow, window_);
        double win_score = kSupportStart;
        long long win_index = -1;
        for (int p = 0; p < peaks; ++p) {
          const double coded = static_cast<double>(s.mind + peak_index[p] + 128);
          int count = 0;
          for (const double e : window_) {
            if (std::fabs(e - coded) < kSupportDelta) ++count;
          }
          const double score = peak_value[p] + kSupportWeight * count;
          if (score > win_score) {
            win_score = score;
            win_index = peak_index[p];
          }
        }
        if (win_index >= 0 && win_score > s.threshold) {
          correlation::WritePixel(s.out, x, y, correlation::DisparityByte(s.mind + win_index));
        }
      }
    }
  }

 private:
  const SupportSearch& s_;
  PairRows rows_;
  const WindowSource support_source_;
  CurveBlock block_;
  Span spans_[kLanes];
  double best_[kLanes];
  long long index_[kLanes];
  double window_[kSupportWindow * kSupportWindow];
};

}  // namespace

int TDispImage::CalculateCorrelations(TImage* left, TImage* right, int mind, int maxd,
                                      double threshold) {
  return CorrelateWithMargin(*this, *left, *right, nullptr, mind, maxd, threshold, kOneBand);
}

int TDispImage::CalculateCorrelations3Band(TImage* left, TImage* right, int mind, int maxd,
                                           double threshold) {
  return CorrelateWithMargin(*this, *left, *right, nullptr, mind, maxd, threshold, kThreeBand);
}

int TDispImage::CalculateCorrelations3BandHier(TImage* left, TImage* right, TImage* guide, int mind,
                                               int maxd, double threshold) {
  return CorrelateWithMargin(*this, *left, *right, guide, mind, maxd, threshold, kThreeBandHier);
}

int TDispImage::CalculateCorrelations3BandSupport(TImage* left, TImage* right, TImage* support,
                                                  int mind, int maxd, double threshold) {
  correlation::PrintStart();
  MinDisparity = mind;
  MaxDisparity = maxd;
  const SupportSearch s{*this, *left, *right, *support, mind, maxd, threshold,
                        static_cast<long long>(maxd) - mind,
                        static_cast<long long>(left->Width()) - 3};
  correlation::ForEachRow(kSupportTop, kSupportBottom + 1, 16, 1,
                          correlation::ThreadsFor(*this, {left, right, support}),
                          [&]() -> correlation::RowWorker {
                            auto rows = std::make_shared<SupportRows>(s);
                            return [rows](long long y) { (*rows)(static_cast<int>(y)); };
                          });
  correlation::PrintDone();
  return 1;
}
