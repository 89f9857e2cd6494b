// The candidate-based correlation method of TDispImage: a score matrix of the
// current row smoothed across columns, sure matches and candidate peaks
// collected in a TCandidateList, then grown by their support.
#include <immintrin.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "image/correlation_engine.h"
#include "image/correlation_rows.h"
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

// The largest of `start` and v[0 .. n), NaNs passed over: the best score a
// scan keeping the first strictly greater value finds (up to the sign of a
// zero). Four running maxima break the chain of comparisons.
double Largest(const double* v, int n, double start) {
  double m[4] = {start, start, start, start};
  int k = 0;
  for (; k + 4 <= n; k += 4)
    for (int j = 0; j < 4; ++j) m[j] = v[k + j] > m[j] ? v[k + j] : m[j];
  for (; k < n; ++k) m[0] = v[k] > m[0] ? v[k] : m[0];
  const double a = m[1] > m[0] ? m[1] : m[0], b = m[3] > m[2] ? m[3] : m[2];
  return b > a ? b : a;
}

// Bit k - k0 set for each disparity k in [k0, k1) (at most 64 of them, k0 >
// 0, k1 less than the curve's length) whose score exceeds both neighbours'
// and the threshold.
std::uint64_t PeaksPortable(const double* v, int k0, int k1, double threshold) {
  std::uint64_t peaks = 0;
  for (int k = k0; k < k1; ++k)
    peaks |= static_cast<std::uint64_t>((v[k] > v[k - 1]) & (v[k] > v[k + 1]) & (v[k] > threshold))
             << (k - k0);
  return peaks;
}

__attribute__((target("avx512f"))) std::uint64_t PeaksAvx512(const double* v, int k0, int k1,
                                                             double threshold) {
  const __m512d t = _mm512_set1_pd(threshold);
  std::uint64_t peaks = 0;
  for (int k = k0; k < k1; k += 8) {
    const __mmask8 live = k1 - k >= 8 ? 0xFF : static_cast<__mmask8>((1u << (k1 - k)) - 1);
    const __m512d a = _mm512_maskz_loadu_pd(live, v + k);
    const __m512d l = _mm512_maskz_loadu_pd(live, v + k - 1);
    const __m512d r = _mm512_maskz_loadu_pd(live, v + k + 1);
    // Ordered comparisons: a NaN is never a peak, as with `>`.
    const __mmask8 m = _mm512_mask_cmp_pd_mask(live, a, l, _CMP_GT_OQ) &
                       _mm512_cmp_pd_mask(a, r, _CMP_GT_OQ) & _mm512_cmp_pd_mask(a, t, _CMP_GT_OQ);
    peaks |= static_cast<std::uint64_t>(m) << (k - k0);
  }
  return peaks;
}

// Steps 3 and 4 for row y: sure matches, then candidate peaks, from the
// smoothed scores of columns 1 .. W - 2.
void Collect(const TMatrix& scores, int width, int y, int mind, double threshold,
             TCandidateList& list) {
  const int n = scores.nCols;
  const int last = std::min(width - 2, scores.nRows - 1);
  for (int x = 1; x <= last; ++x) {
    const double* v = scores.elem[x];
    const double best = Largest(v, n, kScanStart);
    if (!(best > kSureBest)) continue;
    // The first disparity holding the best score.
    const int b = static_cast<int>(std::find(v, v + n, best) - v);
    double second = kScanStart;
    for (int k = 0; k < n; ++k)
      if ((k < b - 2 || k > b + 2) && v[k] > second) second = v[k];
    if (second > kNoOther && second < kSureOther)
      Offer(list, new TCandidate(0, 1, y, x, y, x + b + mind, 1.0), true);
  }
  // Peaks found 64 disparities at a time, without a branch per disparity.
  static const auto peaks_of = __builtin_cpu_supports("avx512f") ? PeaksAvx512 : PeaksPortable;
  for (int x = 1; x <= last; ++x) {
    const double* v = scores.elem[x];
    for (int k0 = 1; k0 < n - 1; k0 += 64) {
      for (std::uint64_t peaks = peaks_of(v, k0, std::min(n - 1, k0 + 64), threshold); peaks;
           peaks &= peaks - 1) {
        const int k = k0 + __builtin_ctzll(peaks);
        Offer(list, new TCandidate(0, 1, y, x, y, x + k + mind, v[k]), false);
      }
    }
  }
}

// The scores of one row: for each column x the entries [first, last) of its
// curve. A worker computes them; where they go is the caller's choice.
class ScoreRows {
 public:
  // Where entries [first, last) of column x's curve go: copied out of
  // lane `lane` of the block by block.Copy.
  using Sink = std::function<void(long long y, long long x, long long first, long long last,
                                  const CurveBlock& block, int lane)>;

  ScoreRows(TImage& left, TImage& right, int width, int columns, long long mind, long long n,
            Sink sink)
      : rows_(left, right, 3, kWindow),
        width_(width),
        columns_(columns),
        mind_(mind),
        n_(n),
        sink_(std::move(sink)) {}

  void operator()(long long y) {
    const int x0 = kMargin, x1 = width_ - kMargin;  // reference columns [x0, x1)
    if (!(x0 < x1 && n_ > 0)) return;
    const long long top = mind_ + n_ - 1;  // the last disparity scored
    const long long clip_lo = kMargin, clip_hi = static_cast<long long>(width_) - kMargin + 1;
    rows_.Build(y, x0, x1, std::max(clip_lo, x0 + mind_), std::min(clip_hi, x1 - 1 + top + 1));
    for (int bx = x0; bx < x1; bx += kLanes) {
      for (int l = 0; l < kLanes; ++l) {
        const long long x = bx + l;
        spans_[l] = Span();
        if (x >= x1) continue;
        // Both ends included.
        spans_[l].lo = std::max(x + mind_, clip_lo);
        spans_[l].hi = std::min(x + top + 1, clip_hi);
      }
      block_.Compute(rows_, bx, spans_, mind_);
      for (int l = 0; l < kLanes && bx + l < x1 && bx + l < columns_; ++l) {
        if (spans_[l].lo >= spans_[l].hi) continue;
        const long long x = bx + l;
        sink_(y, x, spans_[l].lo - x - mind_, spans_[l].hi - x - mind_, block_, l);
      }
    }
  }

 private:
  PairRows rows_;
  int width_;
  int columns_;  // of the score matrix
  long long mind_;
  long long n_;
  Sink sink_;
  CurveBlock block_;
  Span spans_[kLanes];
};

// Rows of scores computed ahead by the other threads, kept until their turn.
struct ScoreSlot {
  std::vector<double> values;  // column x's entries at x * n
  std::vector<long long> first, last;
};
constexpr long long kSlotBytes = 64LL << 20;  // for all the rows computed ahead

// The three growing passes, run bin by bin while the rows are still being
// collected. A step on bin b reads and writes only bins b - 1 to b + 1 (its
// support sums) and bin b (its promotions), so it gives what the passes give
// one after the other once those bins are as they would then be: bin b + 1
// collected for the first pass, bin b + 1 through the previous pass for the
// others, bin b - 1 through this pass. Before its first pass, bin b's
// collected matches are written to the disparity image, as they would be
// after the collection. What each pass changes in the list's totals is kept
// for the lines printed at the end.
class Growth {
 public:
  Growth(TDispImage& out, TCandidateList& list, bool non_negative)
      : out_(out), list_(list), non_negative_(non_negative) {}

  // Runs every step that the bins below `ready`, all of whose rows have been
  // collected, allow.
  void Advance(int ready) {
    const int bins = list_.bins;
    for (bool more = true; more;) {
      more = false;
      for (int stage = 0; stage < 4; ++stage) {
        for (int& b = done_[stage]; b < bins; ++b) {
          const int needed = std::min(b + 2, bins);
          if (stage == 0 ? b >= ready : done_[stage - 1] < needed) break;
          stage == 0 ? WriteMatches(b) : Pass(stage, b);
          more = true;
        }
      }
    }
  }

  // The described lines, once every step has run: the totals after the
  // collection are the final ones without what the passes changed.
  void Print() const {
    int nmatches = list_.nmatches, nitems = list_.nitems;
    for (int stage = 1; stage < 4; ++stage)
      nmatches -= delta_matches_[stage], nitems -= delta_items_[stage];
    std::printf("lmatches: %d, nmatches: %d, nitems:%d\n", list_.lmatches, nmatches, nitems);
    for (int stage = 1; stage < 4; ++stage) {
      for (int bin = 0; bin < list_.bins; bin += kBinPeriod) std::printf("%d ", bin);
      nmatches += delta_matches_[stage], nitems += delta_items_[stage];
      std::printf("nmatches:  %d, nitems:%d \n", nmatches, nitems);
    }
    std::fflush(stdout);
  }

 private:
  void WriteMatches(int bin) {
    for (int i = 0; i < list_.MatchCount(bin); ++i) {
      const TCandidate* m = list_.Match(bin, i);
      correlation::WritePixel(out_, m->col1, m->row1, correlation::DisparityByte(m->Disparity()));
    }
  }

  void Pass(int stage, int bin) {
    const double level = kPassThresholds[stage - 1];
    const int nmatches = list_.nmatches, nitems = list_.nitems;
    // A promotion moves the last candidate into the freed slot, which the
    // walk then passes over: the order of the walk is part of the result.
    for (int i = 0; i < list_.CandidateCount(bin); ++i) {
      if (!list_.SupportAbove(bin, i, level, non_negative_)) continue;
      TCandidate* c = list_.Candidate(bin, i);
      correlation::WritePixel(out_, c->col1, c->row1, correlation::DisparityByte(c->Disparity()));
      c->similarity = 1.0;
      list_.AddMatch(c);
    }
    delta_matches_[stage] += list_.nmatches - nmatches;
    delta_items_[stage] += list_.nitems - nitems;
  }

  TDispImage& out_;
  TCandidateList& list_;
  bool non_negative_;
  int done_[4] = {0, 0, 0, 0};  // bins through each stage
  // What each pass (1 to 3) changed in the list's totals.
  int delta_matches_[4] = {0, 0, 0, 0}, delta_items_[4] = {0, 0, 0, 0};
};

}  // namespace

int TDispImage::CalculateCorrelations3BandRealSpace(TImage* left, TImage* right, int mind, int maxd,
                                                    double threshold, TCandidateList& list) {
  correlation::PrintStart();
  MinDisparity = mind;
  MaxDisparity = maxd;
  const int W = left->Width(), H = left->Height();
  long long n = static_cast<long long>(maxd) - mind + 1;
  n = std::min({n, kMaxRange, kMaxScores / std::max(1, static_cast<int>(Width()))});
  n = std::max(0LL, n);

  // Kept across rows: entries a row does not compute keep their (smoothed)
  // values. Each row's new scores go in, then the matrix is smoothed across
  // columns and the row's matches and candidates collected, row after row.
  TMatrix scores(Width(), static_cast<int>(n));
  TMatrix kernel(3, 1);
  for (int i = 0; i < 3; ++i) kernel.elem[i][0] = kSmoothing[i];
  // Collected candidates have similarities above the threshold and matches
  // 1.0, and the passes set only 1.0: the support sums can stop early when
  // the threshold and what the list already holds are not negative.
  Growth growth(*this, list, threshold >= 0.0 && list.SimilaritiesNonNegative());
  const auto smooth_and_collect = [&](long long y) {
    scores.Convolve(kernel);
    Collect(scores, W, static_cast<int>(y), mind, threshold, list);
    // Bins below (y + 1) / 8 hold all their rows.
    growth.Advance(static_cast<int>(std::min<long long>(list.bins, (y + 1) / 8)));
  };
  correlation::RowPlan plan;
  plan.begin = kMargin, plan.end = H - kMargin, plan.period = kRowPeriod;
  plan.threads = correlation::ThreadsFor(*this, {left, right});
  const size_t row_entries = static_cast<size_t>(scores.nRows) * static_cast<size_t>(n);
  const long long slots = std::min<long long>(
      4LL * plan.threads,
      kSlotBytes / std::max<long long>(1, static_cast<long long>(row_entries) * 8));
  if (plan.threads > 1 && slots >= 2) {
    // The other threads compute the scores of the rows ahead into slots.
    std::vector<ScoreSlot> slot(static_cast<size_t>(slots));
    for (ScoreSlot& s : slot) {
      s.values.resize(row_entries);
      s.first.assign(static_cast<size_t>(scores.nRows), 0);
      s.last.assign(static_cast<size_t>(scores.nRows), 0);
    }
    const auto slot_of = [&](long long y) -> ScoreSlot& {
      return slot[static_cast<size_t>((y - kMargin) % slots)];
    };
    plan.window = slots;
    plan.finish = [&](long long y) {
      ScoreSlot& s = slot_of(y);
      for (int x = 0; x < scores.nRows; ++x) {
        const long long first = s.first[static_cast<size_t>(x)],
                        last = s.last[static_cast<size_t>(x)];
        if (first < last)
          std::memcpy(scores.elem[x] + first, s.values.data() + static_cast<size_t>(x) * n + first,
                      static_cast<size_t>(last - first) * sizeof(double));
      }
      smooth_and_collect(y);
    };
    correlation::ForEachRow(plan, [&]() -> correlation::RowWorker {
      auto rows = std::make_shared<ScoreRows>(
          *left, *right, W, scores.nRows, mind, n,
          [&](long long y, long long x, long long first, long long last, const CurveBlock& block,
              int lane) {
            ScoreSlot& s = slot_of(y);
            block.Copy(lane, first, last, s.values.data() + static_cast<size_t>(x) * n + first);
            s.first[static_cast<size_t>(x)] = first;
            s.last[static_cast<size_t>(x)] = last;
          });
      return [rows, &slot_of](long long y) {
        ScoreSlot& s = slot_of(y);
        std::fill(s.first.begin(), s.first.end(), 0);
        std::fill(s.last.begin(), s.last.end(), 0);
        (*rows)(y);
      };
    });
  } else {
    // One thread: the scores go straight into the matrix.
    plan.threads = 1;
    plan.finish = smooth_and_collect;
    correlation::ForEachRow(plan, [&]() -> correlation::RowWorker {
      auto rows = std::make_shared<ScoreRows>(
          *left, *right, W, scores.nRows, mind, n,
          [&](long long, long long x, long long first, long long last, const CurveBlock& block,
              int lane) { block.Copy(lane, first, last, scores.elem[x] + first); });
      return [rows](long long y) { (*rows)(y); };
    });
  }

  growth.Advance(list.bins);
  growth.Print();
  correlation::PrintDone();
  return 1;
}
