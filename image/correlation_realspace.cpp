// The candidate-based correlation method of TDispImage: a score matrix of the
// current row smoothed across columns, sure matches and candidate peaks
// collected in a TCandidateList, then grown by their support.
#include <algorithm>
#include <cstdio>

#include "image/correlation_engine.h"
#include "image/tcandidatelist.h"
#include "image/tdispimage.h"
#include "math/tmatrix.h"

namespace {

using correlation::CurveBlock;
using correlation::kLanes;
using correlation::PairRows;
using correlation::Span;

constexpr int kWindow = 7;
constexpr int kMargin = 3;
constexpr int kRowPeriod = 16;
constexpr int kBinPeriod = 4;
constexpr double kSmoothing[3] = {0.3, 0.4, 0.3};
constexpr double kScanStart = -10.0;
constexpr double kSureBest = 0.8;    // a sure match's score exceeds this
constexpr double kSureOther = 0.65;  // and every score farther than 2 disparities stays below
constexpr double kNoOther = -9.0;
constexpr double kPassThresholds[3] = {30.0, 18.0, 8.0};
// The score matrix holds at most this many doubles (512 MB): a wider range
// is cut to its first disparities.
constexpr long long kMaxScores = 1LL << 26;
constexpr long long kMaxRange = 65536;

// Adds a new candidate or match; one that the list refuses is released.
void Offer(TCandidateList& list, TCandidate* c, bool match) {
  if (!(match ? list.AddMatch(c) : list.AddCandidate(c))) delete c;
}

// Steps 3 and 4 for row y: sure matches, then candidate peaks, from the
// smoothed scores of columns 1 .. W - 2.
void Collect(const TMatrix& scores, int width, int y, int mind, double threshold,
             TCandidateList& list) {
  const int n = scores.nCols;
  const int last = std::min(width - 2, scores.nRows - 1);
  for (int x = 1; x <= last; ++x) {
    const double* v = scores.elem[x];
    double best = kScanStart;
    int b = -1;
    for (int k = 0; k < n; ++k)
      if (v[k] > best) best = v[k], b = k;
    if (!(best > kSureBest)) continue;
    double second = kScanStart;
    for (int k = 0; k < n; ++k)
      if ((k < b - 2 || k > b + 2) && v[k] > second) second = v[k];
    if (second > kNoOther && second < kSureOther)
      Offer(list, new TCandidate(0, 1, y, x, y, x + b + mind, 1.0), true);
  }
  for (int x = 1; x <= last; ++x) {
    const double* v = scores.elem[x];
    for (int k = 1; k < n - 1; ++k)
      if (v[k] > v[k - 1] && v[k] > v[k + 1] && v[k] > threshold)
        Offer(list, new TCandidate(0, 1, y, x, y, x + k + mind, v[k]), false);
  }
}

}  // namespace

int TDispImage::CalculateCorrelations3BandRealSpace(TImage* left, TImage* right, int mind, int maxd,
                                                    double threshold, TCandidateList& list) {
  correlation::PrintStart();
  MinDisparity = mind;
  MaxDisparity = maxd;
  const int W = left->Width(), H = left->Height();
  long long n = static_cast<long long>(maxd) - mind + 1;
  n = std::min({n, kMaxRange, kMaxScores / std::max(1, static_cast<int>(Width()))});
  const long long top = static_cast<long long>(mind) + n - 1;  // the last disparity scored

  // Kept across rows: entries a row does not compute keep their (smoothed)
  // values.
  TMatrix scores(Width(), static_cast<int>(std::max(0LL, n)));
  PairRows rows(*left, *right, 3, kWindow);
  CurveBlock block;
  Span spans[kLanes];
  const int x0 = kMargin, x1 = W - kMargin;  // reference columns [x0, x1)
  const long long clip_lo = kMargin, clip_hi = static_cast<long long>(W) - kMargin + 1;
  for (int y = kMargin; y < H - kMargin; ++y) {
    correlation::PrintRow(y, kRowPeriod);
    if (x0 < x1 && n > 0) {
      rows.Build(y, x0, x1, std::max(clip_lo, x0 + static_cast<long long>(mind)),
                 std::min(clip_hi, x1 - 1 + top + 1));
      for (int bx = x0; bx < x1; bx += kLanes) {
        for (int l = 0; l < kLanes; ++l) {
          const long long x = bx + l;
          spans[l] = Span();
          if (x >= x1) continue;
          // Both ends included.
          spans[l].lo = std::max(x + mind, clip_lo);
          spans[l].hi = std::min(x + top + 1, clip_hi);
        }
        block.Compute(rows, bx, spans, mind);
        for (int l = 0; l < kLanes && bx + l < x1 && bx + l < scores.nRows; ++l) {
          if (spans[l].lo >= spans[l].hi) continue;
          const long long x = bx + l, first = spans[l].lo - x - mind;
          block.Copy(l, first, spans[l].hi - x - mind, scores.elem[x] + first);
        }
      }
    }
    TMatrix kernel(3, 1);
    for (int i = 0; i < 3; ++i) kernel.elem[i][0] = kSmoothing[i];
    scores.Convolve(kernel);
    Collect(scores, W, y, mind, threshold, list);
  }

  for (int bin = 0; bin < list.bins; ++bin)
    for (int i = 0; i < list.MatchCount(bin); ++i) {
      const TCandidate* m = list.Match(bin, i);
      correlation::WritePixel(*this, m->col1, m->row1, correlation::DisparityByte(m->Disparity()));
    }
  std::printf("lmatches: %d, nmatches: %d, nitems:%d\n", list.lmatches, list.nmatches, list.nitems);

  for (const double pass : kPassThresholds) {
    for (int bin = 0; bin < list.bins; ++bin) {
      if (bin % kBinPeriod == 0) {
        std::printf("%d ", bin);
        std::fflush(stdout);
      }
      // A promotion moves the last candidate into the freed slot, which the
      // walk then passes over: the order of the walk is part of the result.
      for (int i = 0; i < list.CandidateCount(bin); ++i) {
        if (!(list.Support(bin, i) > pass)) continue;
        TCandidate* c = list.Candidate(bin, i);
        correlation::WritePixel(*this, c->col1, c->row1,
                                correlation::DisparityByte(c->Disparity()));
        c->similarity = 1.0;
        list.AddMatch(c);
      }
    }
    std::printf("nmatches:  %d, nitems:%d \n", list.nmatches, list.nitems);
  }
  correlation::PrintDone();
  return 1;
}
