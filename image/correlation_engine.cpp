#include "image/correlation_engine.h"

#include <algorithm>
#include <cstdio>

namespace correlation {
namespace {

size_t RoundUpToLanes(size_t n) { return (n + kLanes - 1) / kLanes * kLanes; }

// CurveBlock reads candidate windows up to kLanes - 1 columns before the first
// candidate column and up to 2 * kLanes - 3 after the last one.
constexpr long long kCandidateMarginBefore = kLanes;
constexpr long long kCandidateMarginAfter = 2 * kLanes;

}  // namespace

void WindowRow::Build(const WindowSource& source, int k, long long first, long long y,
                      size_t count) {
  const int h = (k - 1) / 2;
  kk_ = k * k;
  first_ = first;
  count_ = RoundUpToLanes(count);
  const size_t strip_stride = count_ + static_cast<size_t>(k) - 1;
  strip_.resize(strip_stride * static_cast<size_t>(k));
  elems_.resize(count_ * static_cast<size_t>(kk_));
  sigma_.resize(count_);
  for (int r = 0; r < k; ++r) {
    source.FillRow(first - h, y - h + r, strip_stride, strip_.data() + r * strip_stride);
  }
  ActiveKernels().normalize(strip_.data(), strip_stride, k, count_, elems_.data(), count_,
                            sigma_.data());
}

PairRows::PairRows(const TImage& left, const TImage& right, int bands, int k)
    : bands_(bands), k_(k), left_rows_(bands), right_rows_(bands) {
  for (int b = 0; b < bands; ++b) {
    left_sources_.emplace_back(left, b);
    right_sources_.emplace_back(right, b);
  }
}

void PairRows::Build(long long y, long long x0, long long x1, long long lo, long long hi) {
  for (int b = 0; b < bands_; ++b) {
    left_rows_[b].Build(left_sources_[b], k_, x0, y, static_cast<size_t>(std::max(0LL, x1 - x0)));
    if (lo < hi) {
      right_rows_[b].Build(
          right_sources_[b], k_, lo - kCandidateMarginBefore, y,
          static_cast<size_t>(hi - lo + kCandidateMarginBefore + kCandidateMarginAfter));
    }
  }
}

void CurveBlock::Compute(const PairRows& rows, long long x0, const Span* spans, long long mind) {
  bands_ = rows.bands();
  // Disparities [dlo, dhi) cover every lane's span.
  long long dlo = 0;
  long long dhi = 0;
  bool any = false;
  for (int l = 0; l < kLanes; ++l) {
    if (spans[l].lo >= spans[l].hi) continue;
    const long long x = x0 + l;
    if (!any || spans[l].lo - x < dlo) dlo = spans[l].lo - x;
    if (!any || spans[l].hi - x > dhi) dhi = spans[l].hi - x;
    any = true;
  }
  length_ = any ? dhi - dlo : 0;
  first_ = dlo - mind;
  curve_ = nullptr;
  if (length_ == 0) return;

  const Kernels& kernels = ActiveKernels();
  const int chunks = static_cast<int>((length_ + kLanes - 1) / kLanes);
  const size_t entries = static_cast<size_t>(chunks) * kLanes * kLanes;
  for (int b = 0; b < bands_; ++b) {
    const WindowRow& a = rows.left(b);
    const WindowRow& c = rows.right(b);
    scores_[b].resize(entries);
    kernels.score(a.View(), static_cast<size_t>(x0 - a.first()), c.View(),
                  static_cast<size_t>(x0 + dlo - c.first()), chunks, rows.divisor(),
                  scores_[b].data());
  }
  double* curve = scores_[0].data();
  if (bands_ == 3) {
    median_.resize(entries);
    kernels.median3(scores_[0].data(), scores_[1].data(), scores_[2].data(), entries,
                    median_.data());
    curve = median_.data();
  }
  // Entries outside a lane's own span are 0.
  for (int l = 0; l < kLanes; ++l) {
    const long long x = x0 + l;
    long long t_lo = std::clamp(spans[l].lo - x - dlo, 0LL, length_);
    long long t_hi = std::clamp(spans[l].hi - x - dlo, 0LL, length_);
    if (t_hi < t_lo) t_hi = t_lo;
    for (long long t = 0; t < t_lo; ++t) curve[t * kLanes + l] = 0.0;
    for (long long t = t_hi; t < length_; ++t) curve[t * kLanes + l] = 0.0;
  }
  curve_ = curve;
}

double CurveBlock::Value(int lane, long long i) const {
  if (i < first_ || i >= first_ + length_) return 0.0;
  return curve_[(i - first_) * kLanes + lane];
}

void CurveBlock::Copy(int lane, long long from, long long to, double* out) const {
  const double* p = curve_ + (from - first_) * kLanes + lane;
  for (long long i = from; i < to; ++i, p += kLanes) *out++ = *p;
}

double CurveBlock::BandScore(int band, int lane, long long i) const {
  return scores_[band][static_cast<size_t>((i - first_) * kLanes + lane)];
}

void CurveBlock::Winner(long long n, double start, double* best, long long* index) const {
  double idx[kLanes];
  for (int l = 0; l < kLanes; ++l) {
    best[l] = start;
    idx[l] = -1.0;
  }
  // A run of zero entries is taken at its first index when 0 beats the best
  // so far; the computed entries [first_, first_ + length_) lie inside [0, n).
  const auto zero_run = [&](long long from, long long to) {
    if (from >= to) return;
    for (int l = 0; l < kLanes; ++l) {
      if (0.0 > best[l]) {
        best[l] = 0.0;
        idx[l] = static_cast<double>(from);
      }
    }
  };
  if (length_ == 0) {
    zero_run(0, n);
  } else {
    zero_run(0, first_);
    ActiveKernels().scan(curve_, static_cast<int>(length_), static_cast<double>(first_), best, idx);
    zero_run(first_ + length_, n);
  }
  for (int l = 0; l < kLanes; ++l) index[l] = static_cast<long long>(idx[l]);
}

void WritePixel(TImage& image, int x, int y, unsigned char value) {
  unsigned char buffer[8] = {value};
  image.SetIntensity(x, y, buffer);
}

unsigned char ReadByte(TImage& image, int x, int y) {
  unsigned char buffer[8] = {};
  image.GetIntensity(x, y, buffer);
  return buffer[0];
}

void PrintStart() {
  std::printf("finding correlations... ");
  std::fflush(stdout);
}

void PrintRow(int y, int period) {
  if (y % period != 0) return;
  std::printf("%d ", y);
  std::fflush(stdout);
}

void PrintDone() {
  std::puts("OK");
  std::fflush(stdout);
}

}  // namespace correlation
