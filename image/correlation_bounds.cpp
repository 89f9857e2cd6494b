#include "image/correlation_bounds.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "image/correlation_kernels.h"

// The sums here are exact integers, so their order does not matter; the
// approximate scores only need to stay within kScoreBound. Each loop is
// compiled once per instruction set.

namespace correlation {
namespace {

#define KLUTEIDA_INLINE inline __attribute__((always_inline))
#define KLUTEIDA_AVX2 __attribute__((target("avx2")))
#define KLUTEIDA_AVX512 __attribute__((target("avx512f")))

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kMargin = 2.5 * kScoreBound;

// Room for the cross sums of one search, in elements.
constexpr double kMaxCrossSums = 16.0 * 1024 * 1024;

size_t Padded(long long n) {
  return static_cast<size_t>((std::max(n, 0LL) + kLanes - 1) / kLanes * kLanes);
}

// col[x][d] += a_new[x] * b_new[x + d] - a_old[x] * b_old[x + d].
template <typename T>
KLUTEIDA_INLINE void UpdateBody(T* __restrict col, size_t columns, size_t padded,
                                const T* __restrict a_new, const T* __restrict b_new,
                                const T* __restrict a_old, const T* __restrict b_old) {
  for (size_t x = 0; x < columns; ++x) {
    const T an = a_new[x];
    const T ao = a_old[x];
    T* __restrict c = col + x * padded;
    const T* __restrict bn = b_new + x;
    const T* __restrict bo = b_old + x;
    for (size_t d = 0; d < padded; ++d) c[d] = c[d] + an * bn[d] - ao * bo[d];
  }
}

// running[d] += in[d] - out[d].
template <typename T>
KLUTEIDA_INLINE void SlideBody(T* __restrict running, size_t padded, const T* __restrict in,
                               const T* __restrict out) {
  for (size_t d = 0; d < padded; ++d) running[d] = running[d] + in[d] - out[d];
}

// The approximate scores of one pixel's candidates, per band: the cross sums,
// the pixel's window sum and inverse deviation, and the sums and inverse
// deviations of the candidate windows, each from the span's first candidate.
template <typename T>
struct SelectInput {
  int bands;
  double kk;
  const T* sab[3];
  double sa[3];
  double inv_a[3];
  const double* sb[3];
  const double* inv_b[3];
};

template <typename T>
inline double Approx(const SelectInput<T>& in, int b, size_t i) {
  return (in.kk * static_cast<double>(in.sab[b][i]) - in.sa[b] * in.sb[b][i]) * in.inv_a[b] *
         in.inv_b[b][i];
}

// The value that decides entry i: the band's approximation, or the median of
// three; +infinity for an entry with a flat band (always chosen, never the
// best), NaN for a flat entry of one band (never chosen).
template <typename T>
inline double Decisive(const SelectInput<T>& in, size_t i) {
  const double a = Approx(in, 0, i);
  if (in.bands == 1) return a;
  const double b = Approx(in, 1, i);
  const double c = Approx(in, 2, i);
  if (a != a || b != b || c != c) return kInfinity;
  const double lo = a < b ? a : b;
  const double hi = a < b ? b : a;
  const double m = hi < c ? hi : c;
  return lo < m ? m : lo;
}

// The entries within kMargin of the best one, and those at +infinity.
size_t Collect(const double* v, size_t count, double best, unsigned* chosen) {
  const double limit = best - kMargin;
  size_t n = 0;
  for (size_t i = 0; i < count; ++i) {
    if (v[i] >= limit) chosen[n++] = static_cast<unsigned>(i);
  }
  return n;
}

template <typename T>
size_t SelectPortable(const SelectInput<T>& in, size_t count, double* v, unsigned* chosen) {
  double best = -kInfinity;
  for (size_t i = 0; i < count; ++i) {
    v[i] = Decisive(in, i);
    if (v[i] != kInfinity && v[i] > best) best = v[i];
  }
  return Collect(v, count, best, chosen);
}

KLUTEIDA_AVX2 inline __m256d LoadSums(const double* p) { return _mm256_loadu_pd(p); }
KLUTEIDA_AVX2 inline __m256d LoadSums(const float* p) { return _mm256_cvtps_pd(_mm_loadu_ps(p)); }

template <typename T>
KLUTEIDA_AVX2 size_t SelectAvx2(const SelectInput<T>& in, size_t count, double* v,
                                unsigned* chosen) {
  const __m256d kk = _mm256_set1_pd(in.kk);
  const __m256d inf = _mm256_set1_pd(kInfinity);
  __m256d top = _mm256_set1_pd(-kInfinity);
  size_t i = 0;
  for (; i + 4 <= count; i += 4) {
    __m256d s[3] = {};
    for (int b = 0; b < in.bands; ++b) {
      const __m256d n =
          _mm256_sub_pd(_mm256_mul_pd(kk, LoadSums(in.sab[b] + i)),
                        _mm256_mul_pd(_mm256_set1_pd(in.sa[b]), _mm256_loadu_pd(in.sb[b] + i)));
      s[b] = _mm256_mul_pd(_mm256_mul_pd(n, _mm256_set1_pd(in.inv_a[b])),
                           _mm256_loadu_pd(in.inv_b[b] + i));
    }
    __m256d value = s[0];
    if (in.bands == 3) {
      const __m256d flat = _mm256_or_pd(_mm256_cmp_pd(s[0], s[1], _CMP_UNORD_Q),
                                        _mm256_cmp_pd(s[2], s[2], _CMP_UNORD_Q));
      const __m256d lo = _mm256_min_pd(s[0], s[1]);
      const __m256d hi = _mm256_max_pd(s[0], s[1]);
      value = _mm256_max_pd(lo, _mm256_min_pd(hi, s[2]));
      top = _mm256_max_pd(_mm256_blendv_pd(value, top, flat), top);
      value = _mm256_blendv_pd(value, inf, flat);
    } else {
      top = _mm256_max_pd(value, top);  // a NaN value leaves top
    }
    _mm256_storeu_pd(v + i, value);
  }
  double lanes[4];
  _mm256_storeu_pd(lanes, top);
  double best = lanes[0];
  for (int l = 1; l < 4; ++l) best = lanes[l] > best ? lanes[l] : best;
  for (; i < count; ++i) {
    v[i] = Decisive(in, i);
    if (v[i] != kInfinity && v[i] > best) best = v[i];
  }
  return Collect(v, count, best, chosen);
}

KLUTEIDA_AVX512 inline __m512d LoadSums(const double* p, __mmask8 m) {
  return _mm512_maskz_loadu_pd(m, p);
}
KLUTEIDA_AVX512 inline __m512d LoadSums(const float* p, __mmask8 m) {
  // The zero-masked forms avoid spurious uninitialised-value warnings of the
  // plain forms' header.
  const __m256d low =
      _mm512_maskz_extractf64x4_pd(0xF, _mm512_castps_pd(_mm512_maskz_loadu_ps(m, p)), 0);
  return _mm512_maskz_cvtps_pd(0xFF, _mm256_castpd_ps(low));
}

template <typename T>
KLUTEIDA_AVX512 size_t SelectAvx512(const SelectInput<T>& in, size_t count, double* v,
                                    unsigned* chosen) {
  const __m512d kk = _mm512_set1_pd(in.kk);
  const __m512d inf = _mm512_set1_pd(kInfinity);
  __m512d top = _mm512_set1_pd(-kInfinity);
  for (size_t i = 0; i < count; i += 8) {
    const __mmask8 m = count - i >= 8 ? 0xFF : static_cast<__mmask8>((1u << (count - i)) - 1);
    __m512d s[3] = {};
    for (int b = 0; b < in.bands; ++b) {
      const __m512d n = _mm512_sub_pd(
          _mm512_mul_pd(kk, LoadSums(in.sab[b] + i, m)),
          _mm512_mul_pd(_mm512_set1_pd(in.sa[b]), _mm512_maskz_loadu_pd(m, in.sb[b] + i)));
      s[b] = _mm512_mul_pd(_mm512_mul_pd(n, _mm512_set1_pd(in.inv_a[b])),
                           _mm512_maskz_loadu_pd(m, in.inv_b[b] + i));
    }
    __m512d value = s[0];
    __mmask8 usable = m;
    if (in.bands == 3) {
      const __mmask8 flat = _mm512_cmp_pd_mask(s[0], s[1], _CMP_UNORD_Q) |
                            _mm512_cmp_pd_mask(s[2], s[2], _CMP_UNORD_Q);
      // The zero-masked forms (all lanes kept) avoid spurious
      // uninitialised-value warnings of the plain forms' header.
      const __m512d lo = _mm512_maskz_min_pd(0xFF, s[0], s[1]);
      const __m512d hi = _mm512_maskz_max_pd(0xFF, s[0], s[1]);
      value = _mm512_maskz_max_pd(0xFF, lo, _mm512_maskz_min_pd(0xFF, hi, s[2]));
      usable = static_cast<__mmask8>(m & ~flat);
      value = _mm512_mask_blend_pd(flat, value, inf);
    }
    top = _mm512_mask_max_pd(top, usable, value, top);  // a NaN value leaves top
    _mm512_mask_storeu_pd(v + i, m, value);
  }
  double lanes[8];
  _mm512_storeu_pd(lanes, top);
  double best = lanes[0];
  for (int l = 1; l < 8; ++l) best = lanes[l] > best ? lanes[l] : best;
  const __m512d limit = _mm512_set1_pd(best - kMargin);
  size_t n = 0;
  for (size_t i = 0; i < count; i += 8) {
    const __mmask8 m = count - i >= 8 ? 0xFF : static_cast<__mmask8>((1u << (count - i)) - 1);
    unsigned bits = _mm512_mask_cmp_pd_mask(m, _mm512_maskz_loadu_pd(m, v + i), limit, _CMP_GE_OQ);
    for (; bits != 0; bits &= bits - 1) {
      chosen[n++] = static_cast<unsigned>(i) + static_cast<unsigned>(__builtin_ctz(bits));
    }
  }
  return n;
}

// inv[j] = 1 / sqrt(d[j]) where d[j] > 0, NaN where d[j] = 0 (a flat window).
void InversePortable(const double* d, size_t count, double* inv) {
  for (size_t j = 0; j < count; ++j) inv[j] = d[j] > 0.0 ? 1.0 / std::sqrt(d[j]) : kNaN;
}

KLUTEIDA_AVX2 void InverseAvx2(const double* d, size_t count, double* inv) {
  const __m256d one = _mm256_set1_pd(1.0);
  const __m256d nan = _mm256_set1_pd(kNaN);
  size_t j = 0;
  for (; j + 4 <= count; j += 4) {
    const __m256d v = _mm256_loadu_pd(d + j);
    const __m256d r = _mm256_div_pd(one, _mm256_sqrt_pd(v));
    _mm256_storeu_pd(inv + j,
                     _mm256_blendv_pd(nan, r, _mm256_cmp_pd(v, _mm256_setzero_pd(), _CMP_GT_OQ)));
  }
  InversePortable(d + j, count - j, inv + j);
}

KLUTEIDA_AVX512 void InverseAvx512(const double* d, size_t count, double* inv) {
  const __m512d one = _mm512_set1_pd(1.0);
  const __m512d nan = _mm512_set1_pd(kNaN);
  size_t j = 0;
  for (; j + 8 <= count; j += 8) {
    const __m512d v = _mm512_loadu_pd(d + j);
    const __m512d r = _mm512_div_pd(one, _mm512_maskz_sqrt_pd(0xFF, v));
    _mm512_storeu_pd(inv + j, _mm512_mask_blend_pd(
                                  _mm512_cmp_pd_mask(v, _mm512_setzero_pd(), _CMP_GT_OQ), nan, r));
  }
  InversePortable(d + j, count - j, inv + j);
}

template <typename T>
struct BoundKernels {
  void (*update)(T*, size_t, size_t, const T*, const T*, const T*, const T*);
  void (*slide)(T*, size_t, const T*, const T*);
  size_t (*select)(const SelectInput<T>&, size_t, double*, unsigned*);
};

template <typename T>
void UpdatePortable(T* col, size_t columns, size_t padded, const T* a_new, const T* b_new,
                    const T* a_old, const T* b_old) {
  UpdateBody(col, columns, padded, a_new, b_new, a_old, b_old);
}
template <typename T>
KLUTEIDA_AVX2 void UpdateAvx2(T* col, size_t columns, size_t padded, const T* a_new, const T* b_new,
                              const T* a_old, const T* b_old) {
  UpdateBody(col, columns, padded, a_new, b_new, a_old, b_old);
}
template <typename T>
KLUTEIDA_AVX512 void UpdateAvx512(T* col, size_t columns, size_t padded, const T* a_new,
                                  const T* b_new, const T* a_old, const T* b_old) {
  UpdateBody(col, columns, padded, a_new, b_new, a_old, b_old);
}
template <typename T>
void SlidePortable(T* running, size_t padded, const T* in, const T* out) {
  SlideBody(running, padded, in, out);
}
template <typename T>
KLUTEIDA_AVX2 void SlideAvx2(T* running, size_t padded, const T* in, const T* out) {
  SlideBody(running, padded, in, out);
}
template <typename T>
KLUTEIDA_AVX512 void SlideAvx512(T* running, size_t padded, const T* in, const T* out) {
  SlideBody(running, padded, in, out);
}

template <typename T>
const BoundKernels<T>& ActiveBoundKernels() {
  static const BoundKernels<T> portable = {UpdatePortable<T>, SlidePortable<T>, SelectPortable<T>};
  static const BoundKernels<T> avx2 = {UpdateAvx2<T>, SlideAvx2<T>, SelectAvx2<T>};
  static const BoundKernels<T> avx512 = {UpdateAvx512<T>, SlideAvx512<T>, SelectAvx512<T>};
  switch (ActiveKernelLevel()) {
    case KernelLevel::kAvx512:
      return avx512;
    case KernelLevel::kAvx2:
      return avx2;
    default:
      return portable;
  }
}

void Inverse(const double* d, size_t count, double* inv) {
  switch (ActiveKernelLevel()) {
    case KernelLevel::kAvx512:
      InverseAvx512(d, count, inv);
      break;
    case KernelLevel::kAvx2:
      InverseAvx2(d, count, inv);
      break;
    default:
      InversePortable(d, count, inv);
      break;
  }
}

}  // namespace

bool HasIntegerWindows(const TImage& image) { return image.type != kTypeFloat; }

bool HasByteWindows(const TImage& image) {
  return image.type != kTypeFloat && image.type != kTypeShort;
}

RowRing::RowRing(const TImage& image, int band, long long x0, long long x1, int depth)
    : source_(image, band),
      x0_(x0),
      width_(static_cast<size_t>(std::max(x1 - x0, 0LL))),
      data_(width_ * static_cast<size_t>(depth)),
      rows_(static_cast<size_t>(depth), LLONG_MIN) {}

const double* RowRing::Row(long long y) {
  const long long depth = static_cast<long long>(rows_.size());
  const size_t slot = static_cast<size_t>(((y % depth) + depth) % depth);
  double* row = data_.data() + slot * width_;
  if (rows_[slot] != y) {
    source_.FillRow(x0_, y, width_, row);
    rows_[slot] = y;
  }
  return row;
}

RowWindows::RowWindows(int k, long long x0, long long x1)
    : k_(k),
      x0_(x0),
      count_(static_cast<size_t>(std::max(x1 - x0, 0LL))),
      rows_(static_cast<size_t>(k)),
      col_(count_ + static_cast<size_t>(k) - 1),
      col2_(col_.size()),
      sum_(count_),
      inv_(count_),
      mean_(count_) {}

void RowWindows::Advance(RowRing& ring, long long y) {
  const int h = (k_ - 1) / 2;
  const size_t offset = static_cast<size_t>(x0_ - h - ring.x0());
  const size_t columns = col_.size();
  if (row_ != LLONG_MIN && row_ == y - 1) {
    const double* in = ring.Row(y + h) + offset;
    const double* out = ring.Row(y - h - 1) + offset;
    for (size_t j = 0; j < columns; ++j) {
      col_[j] += in[j] - out[j];
      col2_[j] += in[j] * in[j] - out[j] * out[j];
    }
  } else {
    std::fill(col_.begin(), col_.end(), 0.0);
    std::fill(col2_.begin(), col2_.end(), 0.0);
    for (int r = -h; r <= h; ++r) {
      const double* p = ring.Row(y + r) + offset;
      for (size_t j = 0; j < columns; ++j) {
        col_[j] += p[j];
        col2_[j] += p[j] * p[j];
      }
    }
  }
  row_ = y;
  for (int r = 0; r < k_; ++r) rows_[r] = ring.Row(y - h + r) + offset;

  const double kk = static_cast<double>(k_ * k_);
  double s = 0.0;
  double s2 = 0.0;
  for (int c = 0; c < k_ - 1; ++c) {
    s += col_[c];
    s2 += col2_[c];
  }
  for (size_t j = 0; j < count_; ++j) {
    s += col_[j + k_ - 1];
    s2 += col2_[j + k_ - 1];
    sum_[j] = s;
    inv_[j] = kk * s2 - s * s;  // Da, inverted below
    mean_[j] = s / kk;
    s -= col_[j];
    s2 -= col2_[j];
  }
  Inverse(inv_.data(), count_, inv_.data());
}

template <typename T>
CrossSums<T>::CrossSums(int k, long long x0, long long x1, long long d0, long long d1)
    : k_(k),
      x0_(x0),
      d0_(d0),
      columns_(static_cast<size_t>(std::max(x1 - x0, 0LL))),
      padded_(Padded(d1 - d0)),
      col_(columns_ * padded_),
      zeros_(columns_ + padded_, T(0)) {}

template <typename T>
const T* CrossSums<T>::Rows(RowRing& ring, long long y, size_t offset, size_t count,
                            std::vector<T>* buffer) {
  const double* row = ring.Row(y) + offset;
  if constexpr (std::is_same_v<T, double>) {
    return row;
  } else {
    buffer->resize(count);
    for (size_t i = 0; i < count; ++i) (*buffer)[i] = static_cast<T>(row[i]);
    return buffer->data();
  }
}

template <typename T>
void CrossSums<T>::Advance(RowRing& left, RowRing& right, long long y) {
  const BoundKernels<T>& kernels = ActiveBoundKernels<T>();
  const int h = (k_ - 1) / 2;
  const size_t a_offset = static_cast<size_t>(x0_ - left.x0());
  const size_t b_offset = static_cast<size_t>(x0_ + d0_ - right.x0());
  const size_t b_count = columns_ + padded_;
  if (row_ != LLONG_MIN && row_ == y - 1) {
    const T* an = Rows(left, y + h, a_offset, columns_, &a_new_);
    const T* bn = Rows(right, y + h, b_offset, b_count, &b_new_);
    const T* ao = Rows(left, y - h - 1, a_offset, columns_, &a_old_);
    const T* bo = Rows(right, y - h - 1, b_offset, b_count, &b_old_);
    kernels.update(col_.data(), columns_, padded_, an, bn, ao, bo);
  } else {
    std::fill(col_.begin(), col_.end(), T(0));
    for (int r = -h; r <= h; ++r) {
      const T* an = Rows(left, y + r, a_offset, columns_, &a_new_);
      const T* bn = Rows(right, y + r, b_offset, b_count, &b_new_);
      kernels.update(col_.data(), columns_, padded_, an, bn, zeros_.data(), zeros_.data());
    }
  }
  row_ = y;
}

template <typename T>
CandidateFilter<T>::CandidateFilter(const TImage& left, const TImage& right, int bands, int k,
                                    long long x0, long long x1, long long lo, long long hi,
                                    long long d0, long long d1)
    : bands_(bands), k_(k), d0_(d0) {
  const int h = (k - 1) / 2;
  hi = std::max(lo, hi);
  const long long padded = static_cast<long long>(Padded(d1 - d0));
  // Both kinds of windows extend kLanes columns further on both sides for
  // Score.
  const long long right_lo = std::min(lo - kLanes - h, x0 - h + d0);
  const long long right_hi = std::max(hi + kLanes + h, x1 + h + d0 + padded);
  for (int b = 0; b < bands; ++b) {
    left_rings_.emplace_back(left, b, x0 - kLanes - h, x1 + kLanes + h, k + 1);
    right_rings_.emplace_back(right, b, right_lo, right_hi, k + 1);
    left_.emplace_back(k, x0 - kLanes, x1 + kLanes);
    right_.emplace_back(k, lo - kLanes, hi + kLanes);
    cross_.emplace_back(k, x0 - h, x1 + h, d0, d1);
    running_[b].resize(cross_.back().padded());
  }
  values_.resize(static_cast<size_t>(padded));
  chosen_.resize(static_cast<size_t>(padded));
}

template <typename T>
bool CandidateFilter<T>::Affordable(int bands, int k, long long x0, long long x1, long long d0,
                                    long long d1) {
  const double columns = static_cast<double>(x1 - x0 + k);
  return static_cast<double>(Padded(d1 - d0)) * columns * bands <= kMaxCrossSums;
}

template <typename T>
void CandidateFilter<T>::StartRow(long long y) {
  for (int b = 0; b < bands_; ++b) {
    left_[b].Advance(left_rings_[b], y);
    right_[b].Advance(right_rings_[b], y);
    cross_[b].Advance(left_rings_[b], right_rings_[b], y);
  }
  current_ = LLONG_MIN;
}

template <typename T>
void CandidateFilter<T>::MoveTo(long long x) {
  const int h = (k_ - 1) / 2;
  if (current_ != LLONG_MIN && current_ <= x && x - current_ <= k_) {
    const BoundKernels<T>& kernels = ActiveBoundKernels<T>();
    for (; current_ < x; ++current_) {
      for (int b = 0; b < bands_; ++b) {
        kernels.slide(running_[b].data(), running_[b].size(), cross_[b].Column(current_ + 1 + h),
                      cross_[b].Column(current_ - h));
      }
    }
    return;
  }
  for (int b = 0; b < bands_; ++b) {
    std::fill(running_[b].begin(), running_[b].end(), T(0));
    for (int c = -h; c <= h; ++c) {
      const T* column = cross_[b].Column(x + c);
      for (size_t d = 0; d < running_[b].size(); ++d) running_[b][d] += column[d];
    }
  }
  current_ = x;
}

template <typename T>
void CandidateFilter<T>::Select(long long x, long long dlo, long long dhi, bool all,
                                std::vector<long long>* out) {
  if (dlo >= dhi) return;
  if (all) {
    for (long long d = dlo; d < dhi; ++d) out->push_back(d);
    return;
  }
  MoveTo(x);
  const size_t count = static_cast<size_t>(dhi - dlo);
  SelectInput<T> in;
  in.bands = bands_;
  in.kk = static_cast<double>(k_ * k_);
  for (int b = 0; b < bands_; ++b) {
    const size_t ia = static_cast<size_t>(x - left_[b].first());
    const size_t ib = static_cast<size_t>(x + dlo - right_[b].first());
    in.sab[b] = running_[b].data() + (dlo - d0_);
    in.sa[b] = left_[b].sum()[ia];
    in.inv_a[b] = left_[b].inv()[ia];
    in.sb[b] = right_[b].sum().data() + ib;
    in.inv_b[b] = right_[b].inv().data() + ib;
  }
  const size_t chosen = ActiveBoundKernels<T>().select(in, count, values_.data(), chosen_.data());
  for (size_t i = 0; i < chosen; ++i) out->push_back(dlo + chosen_[i]);
}

template <typename T>
void CandidateFilter<T>::Score(const std::vector<long long>& xs, const std::vector<long long>& us,
                               std::vector<double> bands[3], std::vector<double>* values) {
  const Kernels& kernels = ActiveKernels();
  const size_t count = xs.size();
  const double divisor = static_cast<double>(k_ * k_);
  for (int b = 0; b < bands_; ++b) bands[b].resize(count);
  values->resize(count);
  // A pass scores the three bands of kLanes pairs, or kMaxSets times kLanes
  // pairs of one band. Lanes past the last pair continue its columns (the
  // windows extend kLanes columns on both sides for that).
  RawRowView va[kMaxSets];
  RawRowView vb[kMaxSets];
  long long ai[kMaxSets * kLanes];
  long long bi[kMaxSets * kLanes];
  double out[kMaxSets * kLanes];
  const size_t per_pass = bands_ == 3 ? kLanes : kMaxSets * kLanes;
  for (size_t first = 0; first < count; first += per_pass) {
    const size_t pairs = std::min(per_pass, count - first);
    const int batches = static_cast<int>((pairs + kLanes - 1) / kLanes);
    const int sets = bands_ == 3 ? 3 : batches;
    for (int set = 0; set < sets; ++set) {
      const int b = bands_ == 3 ? set : 0;
      const size_t batch = first + (bands_ == 3 ? 0 : static_cast<size_t>(set) * kLanes);
      va[set] = left_[b].View();
      vb[set] = right_[b].View();
      for (int l = 0; l < kLanes; ++l) {
        const size_t i = batch + static_cast<size_t>(l);
        const size_t last = std::min(i, count - 1);
        const long long beyond = static_cast<long long>(i - last);
        ai[set * kLanes + l] = xs[last] - left_[b].first() + beyond;
        bi[set * kLanes + l] = us[last] - right_[b].first() + beyond;
      }
    }
    kernels.raw_pairs(va, vb, sets, ai, bi, divisor, out);
    for (int set = 0; set < sets; ++set) {
      const int b = bands_ == 3 ? set : 0;
      const size_t batch = first + (bands_ == 3 ? 0 : static_cast<size_t>(set) * kLanes);
      for (size_t l = 0; l < kLanes && batch + l < count; ++l) {
        bands[b][batch + l] = out[set * kLanes + static_cast<int>(l)];
      }
    }
  }
  if (bands_ == 3) {
    const size_t padded = Padded(static_cast<long long>(count));
    for (int b = 0; b < 3; ++b) bands[b].resize(padded);
    values->resize(padded);
    kernels.median3(bands[0].data(), bands[1].data(), bands[2].data(), padded, values->data());
    for (int b = 0; b < 3; ++b) bands[b].resize(count);
    values->resize(count);
  } else {
    std::copy(bands[0].begin(), bands[0].end(), values->begin());
  }
}

template class CrossSums<float>;
template class CrossSums<double>;
template class CandidateFilter<float>;
template class CandidateFilter<double>;

}  // namespace correlation
