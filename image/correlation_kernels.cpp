#include "image/correlation_kernels.h"

#include <immintrin.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <type_traits>

#include "image/median.h"

// Every sum below is the plain left-to-right sum of the described order, one
// rounding per operation: the order of the sums is part of the result, and
// products are never fused with the additions.

namespace correlation {
namespace {

// ---------------------------------------------------------------- plain form

void NormalizePortable(const double* strip, size_t strip_stride, int k, size_t count, double* elems,
                       size_t stride, double* sigma) {
  const double kk = static_cast<double>(k * k);
  for (size_t j = 0; j < count; ++j) {
    double sum = 0.0;
    for (int r = 0; r < k; ++r) {
      for (int c = 0; c < k; ++c) sum = sum + strip[r * strip_stride + j + c];
    }
    const double avg = sum / kk;
    double squares = 0.0;
    size_t i = 0;
    for (int r = 0; r < k; ++r) {
      for (int c = 0; c < k; ++c, ++i) {
        const double e = strip[r * strip_stride + j + c] - avg;
        elems[i * stride + j] = e;
        squares = squares + e * e;
      }
    }
    sigma[j] = std::sqrt(squares / kk);
  }
}

void ScorePortable(const WindowRowView& a, size_t a0, const WindowRowView& b, size_t b0, int chunks,
                   double divisor, double* out) {
  const size_t n = static_cast<size_t>(chunks) * kLanes;
  for (size_t t = 0; t < n; ++t) {
    double acc[kLanes] = {};
    const double* pa = a.elems + a0;
    const double* pb = b.elems + b0 + t;
    for (int i = 0; i < a.kk; ++i, pa += a.stride, pb += b.stride) {
      for (int l = 0; l < kLanes; ++l) acc[l] = acc[l] + pb[l] * pa[l];
    }
    for (int l = 0; l < kLanes; ++l) {
      out[t * kLanes + l] = acc[l] / (a.sigma[a0 + l] * b.sigma[b0 + t + l] * divisor);
    }
  }
}

void RawPairsPortable(const RawRowView* a, const RawRowView* b, int sets, const long long* ai,
                      const long long* bi, double divisor, double* out) {
  for (int set = 0; set < sets; ++set) {
    const RawRowView& va = a[set];
    const RawRowView& vb = b[set];
    const double kk = static_cast<double>(va.k * va.k);
    for (int l = 0; l < kLanes; ++l) {
      const long long ia = ai[set * kLanes + l];
      const long long ib = bi[set * kLanes + l];
      const double ma = va.mean[ia];
      const double mb = vb.mean[ib];
      double acc = 0.0;
      double squares_a = 0.0;
      double squares_b = 0.0;
      for (int r = 0; r < va.k; ++r) {
        const double* pa = va.rows[r] + ia;
        const double* pb = vb.rows[r] + ib;
        for (int c = 0; c < va.k; ++c) {
          const double ea = pa[c] - ma;
          const double eb = pb[c] - mb;
          acc = acc + eb * ea;
          squares_a = squares_a + ea * ea;
          squares_b = squares_b + eb * eb;
        }
      }
      const double sa = std::sqrt(squares_a / kk);
      const double sb = std::sqrt(squares_b / kk);
      out[set * kLanes + l] = acc / (sa * sb * divisor);
    }
  }
}

// How a set's window indices can be loaded without a gather: as at most
// kMaxRuns runs idx[l] = base[r] + l over lanes [start[r], start[r + 1]).
// Unused runs repeat the first one over no lanes.
inline constexpr int kMaxRuns = 3;

struct LaneRuns {
  bool fits = true;  // false: more runs than kMaxRuns
  long long base[kMaxRuns];
  int start[kMaxRuns + 1];
};

inline LaneRuns RunsOf(const long long* idx) {
  LaneRuns runs;
  int count = 0;
  for (int l = 0; l < kLanes; ++l) {
    if (l > 0 && idx[l] == idx[l - 1] + 1) continue;
    if (count == kMaxRuns) {
      runs.fits = false;
      break;
    }
    runs.base[count] = idx[l] - l;
    runs.start[count] = l;
    ++count;
  }
  for (int r = count; r < kMaxRuns; ++r) {
    runs.base[r] = runs.base[0];
    runs.start[r] = kLanes;
  }
  runs.start[kMaxRuns] = kLanes;
  return runs;
}

void Median3Portable(const double* s0, const double* s1, const double* s2, size_t count,
                     double* out) {
  for (size_t i = 0; i < count; ++i) out[i] = Median(s0[i], s1[i], s2[i]);
}

void ScanPortable(const double* curve, int count, double first, double* best, double* index) {
  for (int k = 0; k < count; ++k) {
    for (int l = 0; l < kLanes; ++l) {
      const double v = curve[k * kLanes + l];
      if (v > best[l]) {
        best[l] = v;
        index[l] = first + k;
      }
    }
  }
}

// ------------------------------------------------------------------- AVX2

#define KLUTEIDA_AVX2 __attribute__((target("avx2")))

KLUTEIDA_AVX2 void NormalizeAvx2(const double* strip, size_t strip_stride, int k, size_t count,
                                 double* elems, size_t stride, double* sigma) {
  const __m256d kk = _mm256_set1_pd(static_cast<double>(k * k));
  for (size_t j = 0; j < count; j += 4) {
    __m256d sum = _mm256_setzero_pd();
    for (int r = 0; r < k; ++r) {
      const double* p = strip + r * strip_stride + j;
      for (int c = 0; c < k; ++c) sum = _mm256_add_pd(sum, _mm256_loadu_pd(p + c));
    }
    const __m256d avg = _mm256_div_pd(sum, kk);
    __m256d squares = _mm256_setzero_pd();
    size_t i = 0;
    for (int r = 0; r < k; ++r) {
      const double* p = strip + r * strip_stride + j;
      for (int c = 0; c < k; ++c, ++i) {
        const __m256d e = _mm256_sub_pd(_mm256_loadu_pd(p + c), avg);
        _mm256_storeu_pd(elems + i * stride + j, e);
        squares = _mm256_add_pd(squares, _mm256_mul_pd(e, e));
      }
    }
    _mm256_storeu_pd(sigma + j, _mm256_sqrt_pd(_mm256_div_pd(squares, kk)));
  }
}

KLUTEIDA_AVX2 void ScoreAvx2(const WindowRowView& a, size_t a0, const WindowRowView& b, size_t b0,
                             int chunks, double divisor, double* out) {
  const __m256d kk = _mm256_set1_pd(divisor);
  for (int half = 0; half < 2; ++half) {
    const size_t ah = a0 + 4 * half;
    const __m256d sa = _mm256_loadu_pd(a.sigma + ah);
    for (int chunk = 0; chunk < chunks; ++chunk) {
      const size_t bh = b0 + static_cast<size_t>(chunk) * kLanes + 4 * half;
      __m256d acc[kLanes];
#pragma GCC unroll 8
      for (int t = 0; t < kLanes; ++t) acc[t] = _mm256_setzero_pd();
      const double* pa = a.elems + ah;
      const double* pb = b.elems + bh;
      for (int i = 0; i < a.kk; ++i, pa += a.stride, pb += b.stride) {
        const __m256d va = _mm256_loadu_pd(pa);
#pragma GCC unroll 8
        for (int t = 0; t < kLanes; ++t) {
          acc[t] = _mm256_add_pd(acc[t], _mm256_mul_pd(_mm256_loadu_pd(pb + t), va));
        }
      }
      double* o = out + static_cast<size_t>(chunk) * kLanes * kLanes + 4 * half;
#pragma GCC unroll 8
      for (int t = 0; t < kLanes; ++t) {
        const __m256d den = _mm256_mul_pd(_mm256_mul_pd(sa, _mm256_loadu_pd(b.sigma + bh + t)), kk);
        _mm256_storeu_pd(o + t * kLanes, _mm256_div_pd(acc[t], den));
      }
    }
  }
}

// A set's lanes [4 * half, 4 * half + 4) for the AVX2 pass: the runs of its
// window indices, each with the lanes it fills, and their gather index.
struct HalfLoad {
  long long base[kMaxRuns];
  __m256d lanes[kMaxRuns];  // all ones in the lanes of run r (r > 0)
  __m256i index;
};

KLUTEIDA_AVX2 inline HalfLoad MakeHalfLoad(const long long* idx, int half) {
  const LaneRuns runs = RunsOf(idx);
  HalfLoad h;
  const __m256i lane = _mm256_setr_epi64x(4 * half, 4 * half + 1, 4 * half + 2, 4 * half + 3);
  for (int r = 0; r < kMaxRuns; ++r) {
    h.base[r] = runs.base[r] + 4 * half;
    const __m256i from = _mm256_set1_epi64x(runs.start[r] - 1);
    const __m256i to = _mm256_set1_epi64x(runs.start[r + 1]);
    h.lanes[r] = _mm256_castsi256_pd(
        _mm256_and_si256(_mm256_cmpgt_epi64(lane, from), _mm256_cmpgt_epi64(to, lane)));
  }
  h.index = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(idx + 4 * half));
  return h;
}

// kRuns runs (kRuns = 0: gathered).
template <int kRuns>
KLUTEIDA_AVX2 inline __m256d LoadHalf(const HalfLoad& h, const double* p) {
  if (kRuns == 0) return _mm256_i64gather_pd(p, h.index, 8);
  __m256d v = _mm256_loadu_pd(p + h.base[0]);
  for (int r = 1; r < kRuns; ++r) {
    v = _mm256_blendv_pd(v, _mm256_loadu_pd(p + h.base[r]), h.lanes[r]);
  }
  return v;
}

template <int kSets, int kRuns>
KLUTEIDA_AVX2 inline void RawPairsAvx2Sets(const RawRowView* a, const RawRowView* b,
                                           const long long* ai, const long long* bi, double divisor,
                                           double* out, int half) {
  const int k = a[0].k;
  const __m256d kk = _mm256_set1_pd(static_cast<double>(k * k));
  HalfLoad la[kSets], lb[kSets];
  __m256d ma[kSets], mb[kSets], acc[kSets], squares_a[kSets], squares_b[kSets];
  for (int s = 0; s < kSets; ++s) {
    la[s] = MakeHalfLoad(ai + s * kLanes, half);
    lb[s] = MakeHalfLoad(bi + s * kLanes, half);
    ma[s] = _mm256_i64gather_pd(a[s].mean, la[s].index, 8);
    mb[s] = _mm256_i64gather_pd(b[s].mean, lb[s].index, 8);
    acc[s] = squares_a[s] = squares_b[s] = _mm256_setzero_pd();
  }
  for (int r = 0; r < k; ++r) {
    for (int c = 0; c < k; ++c) {
#pragma GCC unroll 3
      for (int s = 0; s < kSets; ++s) {
        const __m256d ea = _mm256_sub_pd(LoadHalf<kRuns>(la[s], a[s].rows[r] + c), ma[s]);
        const __m256d eb = _mm256_sub_pd(LoadHalf<kRuns>(lb[s], b[s].rows[r] + c), mb[s]);
        acc[s] = _mm256_add_pd(acc[s], _mm256_mul_pd(eb, ea));
        squares_a[s] = _mm256_add_pd(squares_a[s], _mm256_mul_pd(ea, ea));
        squares_b[s] = _mm256_add_pd(squares_b[s], _mm256_mul_pd(eb, eb));
      }
    }
  }
  for (int s = 0; s < kSets; ++s) {
    const __m256d sa = _mm256_sqrt_pd(_mm256_div_pd(squares_a[s], kk));
    const __m256d sb = _mm256_sqrt_pd(_mm256_div_pd(squares_b[s], kk));
    _mm256_storeu_pd(
        out + s * kLanes + 4 * half,
        _mm256_div_pd(acc[s], _mm256_mul_pd(_mm256_mul_pd(sa, sb), _mm256_set1_pd(divisor))));
  }
}

// The runs a pass needs: the most of any set's windows, 0 when some set needs
// more than kMaxRuns (then every set is gathered).
inline int RunsOfPass(int sets, const long long* ai, const long long* bi) {
  int runs = 1;
  for (int s = 0; s < sets; ++s) {
    for (const long long* idx : {ai + s * kLanes, bi + s * kLanes}) {
      const LaneRuns r = RunsOf(idx);
      if (!r.fits) return 0;
      for (int n = 1; n < kMaxRuns; ++n) {
        if (r.start[n] < kLanes) runs = std::max(runs, n + 1);
      }
    }
  }
  return runs;
}

// Calls body.template operator()<kSets, kRuns>() for the pass's sets and runs.
template <typename Body>
inline void ForPass(int sets, int runs, Body body) {
  const auto with_runs = [&](auto sets_constant) {
    constexpr int kSets = decltype(sets_constant)::value;
    switch (runs) {
      case 0:
        body(std::integral_constant<int, kSets>(), std::integral_constant<int, 0>());
        break;
      case 1:
        body(std::integral_constant<int, kSets>(), std::integral_constant<int, 1>());
        break;
      case 2:
        body(std::integral_constant<int, kSets>(), std::integral_constant<int, 2>());
        break;
      default:
        body(std::integral_constant<int, kSets>(), std::integral_constant<int, 3>());
        break;
    }
  };
  switch (sets) {
    case 1:
      with_runs(std::integral_constant<int, 1>());
      break;
    case 2:
      with_runs(std::integral_constant<int, 2>());
      break;
    default:
      with_runs(std::integral_constant<int, 3>());
      break;
  }
}

KLUTEIDA_AVX2 void RawPairsAvx2(const RawRowView* a, const RawRowView* b, int sets,
                                const long long* ai, const long long* bi, double divisor,
                                double* out) {
  ForPass(sets, RunsOfPass(sets, ai, bi), [&](auto kSets, auto kRuns) KLUTEIDA_AVX2 {
    for (int half = 0; half < 2; ++half) {
      RawPairsAvx2Sets<kSets, kRuns>(a, b, ai, bi, divisor, out, half);
    }
  });
}

KLUTEIDA_AVX2 inline __m256d Median3Avx2(__m256d a, __m256d b, __m256d c) {
  // blendv(x, y, m) takes y where m is set.
  const __m256d first = _mm256_blendv_pd(_mm256_blendv_pd(c, b, _mm256_cmp_pd(b, c, _CMP_LT_OQ)), a,
                                         _mm256_cmp_pd(a, c, _CMP_GT_OQ));
  const __m256d second = _mm256_blendv_pd(_mm256_blendv_pd(c, b, _mm256_cmp_pd(b, c, _CMP_GE_OQ)),
                                          a, _mm256_cmp_pd(c, a, _CMP_GT_OQ));
  return _mm256_blendv_pd(second, first, _mm256_cmp_pd(b, a, _CMP_GE_OQ));
}

KLUTEIDA_AVX2 void Median3OfAvx2(const double* s0, const double* s1, const double* s2, size_t count,
                                 double* out) {
  for (size_t i = 0; i < count; i += 4) {
    _mm256_storeu_pd(out + i, Median3Avx2(_mm256_loadu_pd(s0 + i), _mm256_loadu_pd(s1 + i),
                                          _mm256_loadu_pd(s2 + i)));
  }
}

KLUTEIDA_AVX2 void ScanAvx2(const double* curve, int count, double first, double* best,
                            double* index) {
  for (int half = 0; half < 2; ++half) {
    __m256d b = _mm256_loadu_pd(best + 4 * half);
    __m256d idx = _mm256_loadu_pd(index + 4 * half);
    for (int k = 0; k < count; ++k) {
      const __m256d v = _mm256_loadu_pd(curve + k * kLanes + 4 * half);
      const __m256d m = _mm256_cmp_pd(v, b, _CMP_GT_OQ);
      b = _mm256_blendv_pd(b, v, m);
      idx = _mm256_blendv_pd(idx, _mm256_set1_pd(first + k), m);
    }
    _mm256_storeu_pd(best + 4 * half, b);
    _mm256_storeu_pd(index + 4 * half, idx);
  }
}

// ----------------------------------------------------------------- AVX-512

#define KLUTEIDA_AVX512 __attribute__((target("avx512f")))

KLUTEIDA_AVX512 void NormalizeAvx512(const double* strip, size_t strip_stride, int k, size_t count,
                                     double* elems, size_t stride, double* sigma) {
  const __m512d kk = _mm512_set1_pd(static_cast<double>(k * k));
  for (size_t j = 0; j < count; j += 8) {
    __m512d sum = _mm512_setzero_pd();
    for (int r = 0; r < k; ++r) {
      const double* p = strip + r * strip_stride + j;
      for (int c = 0; c < k; ++c) sum = _mm512_add_pd(sum, _mm512_loadu_pd(p + c));
    }
    const __m512d avg = _mm512_div_pd(sum, kk);
    __m512d squares = _mm512_setzero_pd();
    size_t i = 0;
    for (int r = 0; r < k; ++r) {
      const double* p = strip + r * strip_stride + j;
      for (int c = 0; c < k; ++c, ++i) {
        const __m512d e = _mm512_sub_pd(_mm512_loadu_pd(p + c), avg);
        _mm512_storeu_pd(elems + i * stride + j, e);
        squares = _mm512_add_pd(squares, _mm512_mul_pd(e, e));
      }
    }
    // The zero-masked form of the square root (all lanes kept) avoids a
    // spurious uninitialised-value warning of the plain form's header.
    _mm512_storeu_pd(sigma + j, _mm512_maskz_sqrt_pd(0xFF, _mm512_div_pd(squares, kk)));
  }
}

KLUTEIDA_AVX512 void ScoreAvx512(const WindowRowView& a, size_t a0, const WindowRowView& b,
                                 size_t b0, int chunks, double divisor, double* out) {
  const __m512d kk = _mm512_set1_pd(divisor);
  const __m512d sa = _mm512_loadu_pd(a.sigma + a0);
  for (int chunk = 0; chunk < chunks; ++chunk) {
    const size_t bc = b0 + static_cast<size_t>(chunk) * kLanes;
    __m512d acc[kLanes];
#pragma GCC unroll 8
    for (int t = 0; t < kLanes; ++t) acc[t] = _mm512_setzero_pd();
    const double* pa = a.elems + a0;
    const double* pb = b.elems + bc;
    for (int i = 0; i < a.kk; ++i, pa += a.stride, pb += b.stride) {
      const __m512d va = _mm512_loadu_pd(pa);
#pragma GCC unroll 8
      for (int t = 0; t < kLanes; ++t) {
        acc[t] = _mm512_add_pd(acc[t], _mm512_mul_pd(_mm512_loadu_pd(pb + t), va));
      }
    }
    double* o = out + static_cast<size_t>(chunk) * kLanes * kLanes;
#pragma GCC unroll 8
    for (int t = 0; t < kLanes; ++t) {
      const __m512d den = _mm512_mul_pd(_mm512_mul_pd(sa, _mm512_loadu_pd(b.sigma + bc + t)), kk);
      _mm512_storeu_pd(o + t * kLanes, _mm512_div_pd(acc[t], den));
    }
  }
}

// The masked gather with a zero source (all lanes loaded) avoids a spurious
// uninitialised-value warning of the plain form's header.
KLUTEIDA_AVX512 inline __m512d Gather512(__m512i index, const double* base) {
  return _mm512_mask_i64gather_pd(_mm512_setzero_pd(), 0xFF, index, base, 8);
}

// A set's eight lanes for the AVX-512 pass: the runs of its window indices,
// each with the lanes it fills, and their gather index.
struct Load512 {
  long long base[kMaxRuns];
  __mmask8 lanes[kMaxRuns];
  __m512i index;
};

KLUTEIDA_AVX512 inline Load512 MakeLoad512(const long long* idx) {
  const LaneRuns runs = RunsOf(idx);
  Load512 h;
  for (int r = 0; r < kMaxRuns; ++r) {
    h.base[r] = runs.base[r];
    h.lanes[r] =
        static_cast<__mmask8>(((1u << runs.start[r + 1]) - 1) & ~((1u << runs.start[r]) - 1));
  }
  h.index = _mm512_loadu_si512(idx);
  return h;
}

// kRuns runs (kRuns = 0: gathered).
template <int kRuns>
KLUTEIDA_AVX512 inline __m512d Load(const Load512& h, const double* p) {
  if (kRuns == 0) return Gather512(h.index, p);
  __m512d v = _mm512_loadu_pd(p + h.base[0]);
  for (int r = 1; r < kRuns; ++r) v = _mm512_mask_loadu_pd(v, h.lanes[r], p + h.base[r]);
  return v;
}

template <int kSets, int kRuns>
KLUTEIDA_AVX512 inline void RawPairsAvx512Sets(const RawRowView* a, const RawRowView* b,
                                               const long long* ai, const long long* bi,
                                               double divisor, double* out) {
  const int k = a[0].k;
  const __m512d kk = _mm512_set1_pd(static_cast<double>(k * k));
  Load512 la[kSets], lb[kSets];
  __m512d ma[kSets], mb[kSets], acc[kSets], squares_a[kSets], squares_b[kSets];
  for (int s = 0; s < kSets; ++s) {
    la[s] = MakeLoad512(ai + s * kLanes);
    lb[s] = MakeLoad512(bi + s * kLanes);
    ma[s] = Gather512(la[s].index, a[s].mean);
    mb[s] = Gather512(lb[s].index, b[s].mean);
    acc[s] = squares_a[s] = squares_b[s] = _mm512_setzero_pd();
  }
  for (int r = 0; r < k; ++r) {
    for (int c = 0; c < k; ++c) {
#pragma GCC unroll 3
      for (int s = 0; s < kSets; ++s) {
        const __m512d ea = _mm512_sub_pd(Load<kRuns>(la[s], a[s].rows[r] + c), ma[s]);
        const __m512d eb = _mm512_sub_pd(Load<kRuns>(lb[s], b[s].rows[r] + c), mb[s]);
        acc[s] = _mm512_add_pd(acc[s], _mm512_mul_pd(eb, ea));
        squares_a[s] = _mm512_add_pd(squares_a[s], _mm512_mul_pd(ea, ea));
        squares_b[s] = _mm512_add_pd(squares_b[s], _mm512_mul_pd(eb, eb));
      }
    }
  }
  for (int s = 0; s < kSets; ++s) {
    const __m512d sa = _mm512_maskz_sqrt_pd(0xFF, _mm512_div_pd(squares_a[s], kk));
    const __m512d sb = _mm512_maskz_sqrt_pd(0xFF, _mm512_div_pd(squares_b[s], kk));
    _mm512_storeu_pd(
        out + s * kLanes,
        _mm512_div_pd(acc[s], _mm512_mul_pd(_mm512_mul_pd(sa, sb), _mm512_set1_pd(divisor))));
  }
}

KLUTEIDA_AVX512 void RawPairsAvx512(const RawRowView* a, const RawRowView* b, int sets,
                                    const long long* ai, const long long* bi, double divisor,
                                    double* out) {
  ForPass(sets, RunsOfPass(sets, ai, bi), [&](auto kSets, auto kRuns) KLUTEIDA_AVX512 {
    RawPairsAvx512Sets<kSets, kRuns>(a, b, ai, bi, divisor, out);
  });
}

KLUTEIDA_AVX512 void Median3OfAvx512(const double* s0, const double* s1, const double* s2,
                                     size_t count, double* out) {
  for (size_t i = 0; i < count; i += 8) {
    const __m512d a = _mm512_loadu_pd(s0 + i);
    const __m512d b = _mm512_loadu_pd(s1 + i);
    const __m512d c = _mm512_loadu_pd(s2 + i);
    // mask_blend(m, x, y) takes y where m is set.
    const __m512d first =
        _mm512_mask_blend_pd(_mm512_cmp_pd_mask(a, c, _CMP_GT_OQ),
                             _mm512_mask_blend_pd(_mm512_cmp_pd_mask(b, c, _CMP_LT_OQ), c, b), a);
    const __m512d second =
        _mm512_mask_blend_pd(_mm512_cmp_pd_mask(c, a, _CMP_GT_OQ),
                             _mm512_mask_blend_pd(_mm512_cmp_pd_mask(b, c, _CMP_GE_OQ), c, b), a);
    _mm512_storeu_pd(out + i,
                     _mm512_mask_blend_pd(_mm512_cmp_pd_mask(b, a, _CMP_GE_OQ), second, first));
  }
}

KLUTEIDA_AVX512 void ScanAvx512(const double* curve, int count, double first, double* best,
                                double* index) {
  __m512d b = _mm512_loadu_pd(best);
  __m512d idx = _mm512_loadu_pd(index);
  for (int k = 0; k < count; ++k) {
    const __m512d v = _mm512_loadu_pd(curve + k * kLanes);
    const __mmask8 m = _mm512_cmp_pd_mask(v, b, _CMP_GT_OQ);
    b = _mm512_mask_blend_pd(m, b, v);
    idx = _mm512_mask_blend_pd(m, idx, _mm512_set1_pd(first + k));
  }
  _mm512_storeu_pd(best, b);
  _mm512_storeu_pd(index, idx);
}

const Kernels kPortable = {NormalizePortable, ScorePortable, RawPairsPortable, Median3Portable,
                           ScanPortable};
const Kernels kAvx2 = {NormalizeAvx2, ScoreAvx2, RawPairsAvx2, Median3OfAvx2, ScanAvx2};
const Kernels kAvx512 = {NormalizeAvx512, ScoreAvx512, RawPairsAvx512, Median3OfAvx512, ScanAvx512};

KernelLevel DetectLevel() {
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f")) return KernelLevel::kAvx512;
  if (__builtin_cpu_supports("avx2")) return KernelLevel::kAvx2;
  return KernelLevel::kPortable;
}

// The level chosen, -1 until the first use picks the best one. Read by
// every correlation thread, so atomic.
std::atomic<int> active_level{-1};

}  // namespace

KernelLevel BestKernelLevel() {
  static const KernelLevel level = DetectLevel();
  return level;
}

const Kernels& KernelsFor(KernelLevel level) {
  switch (level) {
    case KernelLevel::kAvx512:
      return kAvx512;
    case KernelLevel::kAvx2:
      return kAvx2;
    default:
      return kPortable;
  }
}

const Kernels& ActiveKernels() { return KernelsFor(ActiveKernelLevel()); }

KernelLevel ActiveKernelLevel() {
  const int level = active_level.load(std::memory_order_relaxed);
  return level < 0 ? BestKernelLevel() : static_cast<KernelLevel>(level);
}

bool SetKernelLevel(KernelLevel level) {
  if (static_cast<int>(level) > static_cast<int>(BestKernelLevel())) return false;
  active_level.store(static_cast<int>(level), std::memory_order_relaxed);
  return true;
}

}  // namespace correlation
