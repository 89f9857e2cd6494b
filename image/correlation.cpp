// The single-pair correlation methods of TDispImage. Each row's windows are
// normalised once and scored kLanes reference pixels at a time; every score,
// curve entry and winner is the one the window-by-window computation gives.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "image/correlation_engine.h"
#include "image/tdispimage.h"

namespace {

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

// One line per candidate of the debug pixel: the median, then the three band
// scores. The file is created even when there is no candidate.
void WriteDebugFile(const CurveBlock& block, int lane, const Span& span, long long x,
                    long long mind) {
  std::FILE* f = std::fopen(kDebugFile, "w");
  if (f == nullptr) return;
  for (long long u = span.lo; u < span.hi; ++u) {
    const long long i = u - x - mind;
    std::fprintf(f, kDebugLine, block.Value(lane, i), block.BandScore(0, lane, i),
                 block.BandScore(1, lane, i), block.BandScore(2, lane, i));
  }
  std::fclose(f);
}

// The scheme of CalculateCorrelations and its three-band variants: every
// pixel at least `margin` from the border, candidates clipped to the same
// margin and, with a guide, around the guide's disparity.
int CorrelateWithMargin(TDispImage& out, TImage& left, TImage& right, TImage* guide, int mind,
                        int maxd, double threshold, const Method& method) {
  correlation::PrintStart();
  out.MinDisparity = mind;
  out.MaxDisparity = maxd;
  const long long n = static_cast<long long>(maxd) - mind;
  const int width = left.Width();
  const int height = left.Height();
  const int x0 = method.margin;
  const int x1 = width - method.margin;
  const long long clip_lo = method.margin;
  const long long clip_hi = width - method.margin;

  PairRows rows(left, right, method.bands, method.k);
  CurveBlock block;
  Span spans[kLanes];
  double best[kLanes];
  long long index[kLanes];
  for (int y = method.margin; y < height - method.margin; ++y) {
    correlation::PrintRow(y, method.period);
    if (x0 >= x1) continue;
    rows.Build(y, x0, x1, std::max(clip_lo, static_cast<long long>(x0) + mind),
               std::min(clip_hi, static_cast<long long>(x1) - 1 + maxd));
    for (int bx = x0; bx < x1; bx += kLanes) {
      for (int l = 0; l < kLanes; ++l) {
        const int x = bx + l;
        spans[l] = Span();
        if (x >= x1) continue;
        spans[l].lo = std::max(static_cast<long long>(x) + mind, clip_lo);
        spans[l].hi = std::min(static_cast<long long>(x) + maxd, clip_hi);
        if (guide != nullptr) {
          const int g = correlation::ReadByte(*guide, x, y);
          if (g != 0) {
            // The guide's disparity g - 128, from 5 below to 4 above.
            spans[l].lo = std::max(spans[l].lo, static_cast<long long>(x) + g - 133);
            spans[l].hi = std::min(spans[l].hi, static_cast<long long>(x) + g - 123);
          }
        }
      }
      block.Compute(rows, bx, spans, mind);
      if (method.debug && y == kDebugY && bx <= kDebugX && kDebugX < bx + kLanes && kDebugX < x1) {
        WriteDebugFile(block, kDebugX - bx, spans[kDebugX - bx], kDebugX, mind);
      }
      block.Winner(n, correlation::kWinnerStart, best, index);
      for (int l = 0; l < kLanes && bx + l < x1; ++l) {
        if (index[l] >= 0 && best[l] > threshold) {
          correlation::WritePixel(out, bx + l, y, correlation::DisparityByte(mind + index[l]));
        }
      }
    }
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
