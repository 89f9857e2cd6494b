// Radix-2 decimation-in-frequency transforms with kept twiddle tables.
//
// Every value is the one the plain form of the algorithm gives: each stage
// applies the same butterflies to the same operands (t = a + b, d = a - b,
// then d times its twiddle factor, in TComplex single-precision arithmetic),
// and the butterflies of one stage are independent of each other. So the
// order in which they run is free: the stages whose blocks fit the cache run
// block by block, and the butterflies of a stage run four at a time in AVX
// registers where the processor has them.
#include "image/fft.h"

#include <immintrin.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <new>
#include <utility>
#include <vector>

namespace {

// Butterflies of a block of this many values or fewer run stage after stage
// within the block while it stays in the cache.
constexpr std::size_t kCacheBlock = std::size_t{1} << 14;
// Largest exponent: n = 2^m must fit an int.
constexpr int kMaxExponent = 30;

struct Twiddles {
  int mstore = 0;  // m of the table now built; 0 before the first call
  int n = 0;
  std::vector<TComplex> w;  // W^1 .. W^(n/2 - 1)
  // For the stage with le butterflies per block, the factors of j = 1 ..
  // le - 1 in order (w[j * n / (2 le) - 1]), stage after stage.
  std::vector<TComplex> staged;
  std::vector<std::size_t> stage_start;  // offset in `staged` of each stage

  void Release() {
    w = {};
    staged = {};
    stage_start = {};
  }
};

Twiddles& ForwardTable() {
  static Twiddles table;
  return table;
}

Twiddles& InverseTable() {
  static Twiddles table;
  return table;
}

// W^1 .. W^(le - 1) by repeated multiplication of W = (cos arg, sign sin arg),
// arg = pi / le in single precision.
void BuildFactors(Twiddles& t, int le, float sign) {
  const float arg = static_cast<float>(4.0 * std::atan(1.0) / le);
  const TComplex unit(static_cast<float>(std::cos(arg)), static_cast<float>(sign * std::sin(arg)));
  TComplex u = unit;
  t.w.assign(static_cast<std::size_t>(le - 1), TComplex(0.0f, 0.0f));
  for (int j = 0; j < le - 1; ++j) {
    t.w[static_cast<std::size_t>(j)] = u;
    u = u * unit;
  }
}

void BuildStages(Twiddles& t, int m) {
  const std::size_t n = static_cast<std::size_t>(t.n);
  t.stage_start.assign(static_cast<std::size_t>(m) + 1, 0);
  std::size_t total = 0;
  for (int s = 0; s < m; ++s) {
    t.stage_start[static_cast<std::size_t>(s)] = total;
    const std::size_t le = n >> (s + 1);
    total += le > 0 ? le - 1 : 0;
  }
  t.stage_start[static_cast<std::size_t>(m)] = total;
  t.staged.resize(total);
  for (int s = 0; s < m; ++s) {
    const std::size_t le = n >> (s + 1);
    const std::size_t windex = std::size_t{1} << s;
    TComplex* out = t.staged.data() + t.stage_start[static_cast<std::size_t>(s)];
    for (std::size_t j = 1; j < le; ++j) out[j - 1] = t.w[j * windex - 1];
  }
}

// Makes the table of exponent m, or releases it for m = 0 (then 1). 4 when
// memory runs out, 0 otherwise.
int Rebuild(Twiddles& t, int m, float sign) {
  std::printf("constructing w array... ");
  std::fflush(stdout);
  t.Release();
  t.mstore = m;
  if (m == 0) return 1;
  t.n = 1 << m;
  try {
    BuildFactors(t, t.n / 2, sign);
    BuildStages(t, m);
  } catch (const std::bad_alloc&) {
    // Nothing half-built is kept: the next call starts over.
    t.Release();
    t.mstore = 0;
    return 4;
  }
  std::puts("OK");
  return 0;
}

inline void Butterfly(TComplex* a, TComplex* b) {
  const TComplex t = *a + *b;
  *b = *a - *b;
  *a = t;
}

inline void TwiddledButterfly(TComplex* a, TComplex* b, const TComplex& u) {
  const TComplex t = *a + *b;
  const TComplex d = *a - *b;
  *b = d * u;
  *a = t;
}

// One block of a stage: x[j] with x[j + le] for j < le; tw[j - 1] is the
// factor of j >= 1.
void BlockPortable(TComplex* x, std::size_t le, const TComplex* tw) {
  Butterfly(x, x + le);
  for (std::size_t j = 1; j < le; ++j) TwiddledButterfly(x + j, x + j + le, tw[j - 1]);
}

#define KLUTEIDA_AVX __attribute__((target("avx")))

// The same four butterflies at a time: d times u as (dr ur - di ui,
// di ur + dr ui), each product rounded on its own, as TComplex does.
KLUTEIDA_AVX void BlockAvx(TComplex* x, std::size_t le, const TComplex* tw) {
  Butterfly(x, x + le);
  std::size_t j = 1;
  float* p = reinterpret_cast<float*>(x);
  const float* pw = reinterpret_cast<const float*>(tw);
  for (; j + 4 <= le; j += 4) {
    const __m256 a = _mm256_loadu_ps(p + 2 * j);
    const __m256 b = _mm256_loadu_ps(p + 2 * (j + le));
    const __m256 u = _mm256_loadu_ps(pw + 2 * (j - 1));
    const __m256 t = _mm256_add_ps(a, b);
    const __m256 d = _mm256_sub_ps(a, b);
    const __m256 ur = _mm256_moveldup_ps(u);
    const __m256 ui = _mm256_movehdup_ps(u);
    const __m256 swapped = _mm256_permute_ps(d, 0xB1);  // (di, dr) pairs
    const __m256 product = _mm256_addsub_ps(_mm256_mul_ps(d, ur), _mm256_mul_ps(swapped, ui));
    _mm256_storeu_ps(p + 2 * (j + le), product);
    _mm256_storeu_ps(p + 2 * j, t);
  }
  for (; j < le; ++j) TwiddledButterfly(x + j, x + j + le, tw[j - 1]);
}

using BlockFn = void (*)(TComplex*, std::size_t, const TComplex*);

BlockFn ChooseBlock() { return __builtin_cpu_supports("avx") ? BlockAvx : BlockPortable; }

// Stages s_begin .. s_end - 1 over the values [x, x + count).
void Stages(const Twiddles& t, TComplex* x, std::size_t count, int s_begin, int s_end,
            BlockFn block) {
  const std::size_t n = static_cast<std::size_t>(t.n);
  for (int s = s_begin; s < s_end; ++s) {
    const std::size_t le = n >> (s + 1);
    const TComplex* tw = t.staged.data() + t.stage_start[static_cast<std::size_t>(s)];
    if (le == 1) {
      for (std::size_t i = 0; i < count; i += 2) Butterfly(x + i, x + i + 1);
      continue;
    }
    for (std::size_t i = 0; i < count; i += 2 * le) block(x + i, le, tw);
  }
}

void Transform(const Twiddles& t, TComplex* x) {
  static const BlockFn block = ChooseBlock();
  const std::size_t n = static_cast<std::size_t>(t.n);
  const int m = t.mstore;
  // Stages whose blocks are larger than the cache run over the whole array.
  int s = 0;
  while (s < m && (n >> s) > kCacheBlock) ++s;
  Stages(t, x, n, 0, s, block);
  const std::size_t chunk = n >> s;
  for (std::size_t i = 0; i < n; i += chunk) Stages(t, x + i, chunk, s, m, block);
  // The bit reversal as described; the exchanges are moves, exact in any order.
  const int nn = t.n;
  int j = 0;
  for (int i = 1; i < nn - 1; ++i) {
    int k = nn / 2;
    while (k <= j) {
      j -= k;
      k /= 2;
    }
    j += k;
    if (i < j) std::swap(x[i], x[j]);
  }
}

int Run(Twiddles& t, TComplex* x, int m, float sign) {
  if (m < 0 || m > kMaxExponent) return 4;
  if (m != t.mstore) {
    const int status = Rebuild(t, m, sign);
    if (status != 0) return status;
  }
  if (m == 0) return 1;
  Transform(t, x);
  return 0;
}

}  // namespace

int FFT(TComplex* x, int m) { return Run(ForwardTable(), x, m, -1.0f); }

int IFFT(TComplex* x, int m) {
  const int status = Run(InverseTable(), x, m, 1.0f);
  if (status != 0) return status;
  const int n = InverseTable().n;
  const double scale = 1.0 / n;
  for (int i = 0; i < n; ++i) x[i] = x[i] * scale;
  return 0;
}
