// The single-pair correlation methods of TDispImage. Images of integer values
// go through the bounded candidate search (correlation_bounds.h): only the
// candidates that could win are scored. Float images, and searches too wide
// for its sums, have every candidate scored, kLanes reference pixels at a
// time, from windows normalised once per row. Either way every score, curve
// entry and winner is the one the window-by-window computation gives.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "image/correlation_bounds.h"
#include "image/correlation_engine.h"
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

// Every candidate of every pixel scored, kLanes pixels at a time.
void ExhaustiveSearch(const Search& s) {
  PairRows rows(s.left, s.right, s.method.bands, s.method.k);
  CurveBlock block;
  Span spans[kLanes];
  double best[kLanes];
  long long index[kLanes];
  for (int y = s.method.margin; y < s.height - s.method.margin; ++y) {
    correlation::PrintRow(y, s.method.period);
    if (s.x0 >= s.x1) continue;
    rows.Build(y, s.x0, s.x1, s.RowLo(), s.RowHi());
    for (int bx = s.x0; bx < s.x1; bx += kLanes) {
      for (int l = 0; l < kLanes; ++l) {
        spans[l] = bx + l < s.x1 ? s.CandidateSpan(bx + l, y) : Span();
      }
      block.Compute(rows, bx, spans, s.mind);
      for (int l = 0; l < kLanes && bx + l < s.x1; ++l) {
        if (!s.IsDebugPixel(bx + l, y)) continue;
        std::FILE* f = std::fopen(kDebugFile, "w");
        if (f == nullptr) continue;
        for (long long u = spans[l].lo; u < spans[l].hi; ++u) {
          const long long i = u - (bx + l) - s.mind;
          std::fprintf(f, kDebugLine, block.Value(l, i), block.BandScore(0, l, i),
                       block.BandScore(1, l, i), block.BandScore(2, l, i));
        }
        std::fclose(f);
      }
      block.Winner(s.n, correlation::kWinnerStart, best, index);
      for (int l = 0; l < kLanes && bx + l < s.x1; ++l) {
        if (index[l] >= 0 && best[l] > s.threshold) s.Write(bx + l, y, index[l]);
      }
    }
  }
}

// Candidates chosen by their score bounds, and only those scored exactly.
// The winner scan then runs over the chosen entries and the zero entries of
// the skipped candidates outside the span: every entry left out is below the
// best exact score, so the first maximum is the same.
template <typename T>
void BoundedSearch(const Search& s, long long d0, long long d1) {
  CandidateFilter<T> filter(s.left, s.right, s.method.bands, s.method.k, s.x0, s.x1, s.RowLo(),
                            s.RowHi(), d0, d1);
  std::vector<Span> spans(static_cast<size_t>(s.x1 - s.x0));
  std::vector<size_t> begin(spans.size() + 1);
  std::vector<long long> disparities;
  std::vector<long long> xs;
  std::vector<long long> us;
  std::vector<double> bands[3];
  std::vector<double> values;
  for (int y = s.method.margin; y < s.height - s.method.margin; ++y) {
    correlation::PrintRow(y, s.method.period);
    filter.StartRow(y);
    disparities.clear();
    xs.clear();
    us.clear();
    for (int x = s.x0; x < s.x1; ++x) {
      const size_t j = static_cast<size_t>(x - s.x0);
      spans[j] = s.CandidateSpan(x, y);
      begin[j] = disparities.size();
      filter.Select(x, spans[j].lo - x, spans[j].hi - x, s.IsDebugPixel(x, y), &disparities);
      for (size_t i = begin[j]; i < disparities.size(); ++i) {
        xs.push_back(x);
        us.push_back(x + disparities[i]);
      }
    }
    begin[spans.size()] = disparities.size();
    filter.Score(xs, us, bands, &values);

    for (int x = s.x0; x < s.x1; ++x) {
      const size_t j = static_cast<size_t>(x - s.x0);
      if (s.IsDebugPixel(x, y)) {
        std::FILE* f = std::fopen(kDebugFile, "w");
        if (f != nullptr) {
          for (size_t i = begin[j]; i < begin[j + 1]; ++i) {
            std::fprintf(f, kDebugLine, values[i], bands[0][i], bands[1][i], bands[2][i]);
          }
          std::fclose(f);
        }
      }
      // Entries [klo, khi) belong to the span, the others are 0.
      const long long klo = spans[j].lo - x - s.mind;
      const long long khi = spans[j].hi - x - s.mind;
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
        for (size_t i = begin[j]; i < begin[j + 1]; ++i) {
          if (values[i] > best) {
            best = values[i];
            index = disparities[i] - s.mind;
          }
        }
        zeros(khi, s.n);
      }
      if (index >= 0 && best > s.threshold) s.Write(x, y, index);
    }
  }
}

int CorrelateWithMargin(TDispImage& out, TImage& left, TImage& right, TImage* guide, int mind,
                        int maxd, double threshold, const Method& method) {
  correlation::PrintStart();
  out.MinDisparity = mind;
  out.MaxDisparity = maxd;
  const Search s(out, left, right, guide, mind, maxd, threshold, method);
  long long d0 = 0;
  long long d1 = 0;
  // Byte windows keep their cross sums exact in single precision.
  const bool bytes = correlation::HasByteWindows(left) && correlation::HasByteWindows(right);
  if (s.x0 < s.x1 && correlation::HasIntegerWindows(left) &&
      correlation::HasIntegerWindows(right) && s.Disparities(&d0, &d1) &&
      CandidateFilter<double>::Affordable(method.bands, method.k, s.x0, s.x1, d0, d1)) {
    if (bytes) {
      BoundedSearch<float>(s, d0, d1);
    } else {
      BoundedSearch<double>(s, d0, d1);
    }
  } else {
    ExhaustiveSearch(s);
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
  const long long n = static_cast<long long>(maxd) - mind;
  const long long clip_lo = 3;
  const long long clip_hi = static_cast<long long>(left->Width()) - 3;
  const int x1 = kSupportRight + 1;

  PairRows rows(*left, *right, 3, kSupportWindow);
  const WindowSource support_source(*support, 0);
  CurveBlock block;
  Span spans[kLanes];
  double best[kLanes];
  long long index[kLanes];
  double window[kSupportWindow * kSupportWindow];
  for (int y = kSupportTop; y <= kSupportBottom; ++y) {
    correlation::PrintRow(y, 16);
    rows.Build(y, kSupportLeft, x1, std::max(clip_lo, static_cast<long long>(kSupportLeft) + mind),
               std::min(clip_hi, static_cast<long long>(kSupportRight) + maxd));
    for (int bx = kSupportLeft; bx < x1; bx += kLanes) {
      unsigned char trusted[kLanes] = {};
      for (int l = 0; l < kLanes; ++l) {
        const int x = bx + l;
        spans[l] = Span();
        if (x >= x1) continue;
        // A non-zero support byte is kept as it stands: no need to score.
        trusted[l] = correlation::ReadByte(*support, x, y);
        if (trusted[l] != 0) continue;
        spans[l].lo = std::max(static_cast<long long>(x) + mind, clip_lo);
        spans[l].hi = std::min(static_cast<long long>(x) + maxd, clip_hi);
      }
      block.Compute(rows, bx, spans, mind);
      block.Winner(n, correlation::kPeakStart, best, index);
      for (int l = 0; l < kLanes && bx + l < x1; ++l) {
        const int x = bx + l;
        if (trusted[l] != 0) {
          correlation::WritePixel(*this, x, y, trusted[l]);
          continue;
        }
        if (index[l] < 0) continue;
        long long peak_index[3] = {index[l], -1, -1};
        double peak_value[3] = {best[l], 0.0, 0.0};
        int peaks = 1;
        if (n > 2) {
          peak_index[1] = LocalPeak(block, l, n, peak_index[0], -1, &peak_value[1]);
          if (peak_index[1] >= 0) {
            ++peaks;
            peak_index[2] = LocalPeak(block, l, n, peak_index[0], peak_index[1], &peak_value[2]);
            if (peak_index[2] >= 0) ++peaks;
          }
        }
        // The support window is read now, after the pixels written before.
        support_source.FillWindow(x, y, kSupportWindow, window);
        double win_score = kSupportStart;
        long long win_index = -1;
        for (int p = 0; p < peaks; ++p) {
          const double coded = static_cast<double>(mind + peak_index[p] + 128);
          int count = 0;
          for (const double e : window) {
            if (std::fabs(e - coded) < kSupportDelta) ++count;
          }
          const double score = peak_value[p] + kSupportWeight * count;
          if (score > win_score) {
            win_score = score;
            win_index = peak_index[p];
          }
        }
        if (win_index >= 0 && win_score > threshold) {
          correlation::WritePixel(*this, x, y, correlation::DisparityByte(mind + win_index));
        }
      }
    }
  }
  correlation::PrintDone();
  return 1;
}
