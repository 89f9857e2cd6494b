#include "geometry/coordextent.h"

#include <immintrin.h>

#include <algorithm>
#include <climits>
#include <cstdio>

#include "geometry/wrapint.h"

namespace {

const char kExtent[] = "%d %d %d %d %d %d\n";

}  // namespace

CoordExtent::Window CoordExtent::WindowOf(int width, int height, int x0, int y0) {
  const long long i_lo = std::max(0LL, static_cast<long long>(x0));
  const long long i_hi =
      std::min(static_cast<long long>(width), static_cast<long long>(x0) + width);
  const long long j_lo = std::max(0LL, static_cast<long long>(y0));
  const long long j_hi =
      std::min(static_cast<long long>(height), static_cast<long long>(y0) + height);
  // A walk over no column or no row reads nothing.
  if (i_hi <= i_lo || j_hi <= j_lo) return {0, 0, 0, 0};
  return {static_cast<std::size_t>(j_lo - y0), static_cast<std::size_t>(j_hi - y0),
          static_cast<std::size_t>(i_lo - x0), static_cast<std::size_t>(i_hi - x0)};
}

namespace {

// The running extent over valid points, component by component.
struct Bounds {
  int lo_x, lo_y, lo_z, hi_x, hi_y, hi_z;
};

void AddPortable(const TPoint3Di* stored, std::size_t n, TPoint3Di offset, Bounds& b) {
  for (std::size_t i = 0; i < n; ++i) {
    // Branch-free: invalid points leave the running extent as it is.
    const TPoint3Di p = stored[i] + offset;
    const bool ok = stored[i].z != 0 && p.z > 0;
    b.lo_x = ok && p.x < b.lo_x ? p.x : b.lo_x;
    b.hi_x = ok && p.x > b.hi_x ? p.x : b.hi_x;
    b.lo_y = ok && p.y < b.lo_y ? p.y : b.lo_y;
    b.hi_y = ok && p.y > b.hi_y ? p.y : b.hi_y;
    b.lo_z = ok && p.z < b.lo_z ? p.z : b.lo_z;
    b.hi_z = ok && p.z > b.hi_z ? p.z : b.hi_z;
  }
}

#define KLUTEIDA_AVX2 __attribute__((target("avx2")))

// Eight points at a time, as three vectors of 24 interleaved components; each
// lane always holds the same component, so lane-wise minima and maxima over
// the valid points reduce to the extent at the end (the order of minima does
// not change them).
KLUTEIDA_AVX2 void AddAvx2(const TPoint3Di* stored, std::size_t n, TPoint3Di offset, Bounds& b) {
  const std::size_t blocks = n / 8;
  const __m256i off[3] = {_mm256_setr_epi32(offset.x, offset.y, offset.z, offset.x, offset.y,
                                            offset.z, offset.x, offset.y),
                          _mm256_setr_epi32(offset.z, offset.x, offset.y, offset.z, offset.x,
                                            offset.y, offset.z, offset.x),
                          _mm256_setr_epi32(offset.y, offset.z, offset.x, offset.y, offset.z,
                                            offset.x, offset.y, offset.z)};
  // For each lane, the lane holding its point's z (in the same vector or the next).
  const __m256i z_of0 = _mm256_setr_epi32(2, 2, 2, 5, 5, 5, 0, 0);
  const __m256i z_of1 = _mm256_setr_epi32(0, 3, 3, 3, 6, 6, 6, 1);
  const __m256i z_of2 = _mm256_setr_epi32(1, 1, 4, 4, 4, 7, 7, 7);
  const __m256i zero = _mm256_setzero_si256();
  __m256i lo[3], hi[3];
  for (int k = 0; k < 3; ++k) {
    lo[k] = _mm256_set1_epi32(INT_MAX);
    hi[k] = _mm256_set1_epi32(INT_MIN);
  }
  const auto* in = reinterpret_cast<const __m256i*>(stored);
  for (std::size_t i = 0; i < blocks; ++i) {
    __m256i p[3], ok[3];
    for (int k = 0; k < 3; ++k) {
      const __m256i v = _mm256_loadu_si256(in + 3 * i + k);
      p[k] = _mm256_add_epi32(v, off[k]);  // wraps, as the point's sum does
      // Meaningful in the z lanes: a stored z other than 0 and z > 0 after the offset.
      ok[k] = _mm256_andnot_si256(_mm256_cmpeq_epi32(v, zero), _mm256_cmpgt_epi32(p[k], zero));
    }
    __m256i m[3];
    m[0] = _mm256_blend_epi32(_mm256_permutevar8x32_epi32(ok[0], z_of0),
                              _mm256_permutevar8x32_epi32(ok[1], z_of0), 0xC0);
    m[1] = _mm256_blend_epi32(_mm256_permutevar8x32_epi32(ok[1], z_of1),
                              _mm256_permutevar8x32_epi32(ok[2], z_of1), 0x80);
    m[2] = _mm256_permutevar8x32_epi32(ok[2], z_of2);
    for (int k = 0; k < 3; ++k) {
      lo[k] = _mm256_min_epi32(lo[k], _mm256_blendv_epi8(_mm256_set1_epi32(INT_MAX), p[k], m[k]));
      hi[k] = _mm256_max_epi32(hi[k], _mm256_blendv_epi8(_mm256_set1_epi32(INT_MIN), p[k], m[k]));
    }
  }
  alignas(32) int l[3][8], h[3][8];
  for (int k = 0; k < 3; ++k) {
    _mm256_store_si256(reinterpret_cast<__m256i*>(l[k]), lo[k]);
    _mm256_store_si256(reinterpret_cast<__m256i*>(h[k]), hi[k]);
  }
  // Lane j of vector k holds component (8 k + j) % 3.
  for (int k = 0; k < 3; ++k)
    for (int j = 0; j < 8; ++j) {
      switch ((8 * k + j) % 3) {
        case 0:
          b.lo_x = std::min(b.lo_x, l[k][j]);
          b.hi_x = std::max(b.hi_x, h[k][j]);
          break;
        case 1:
          b.lo_y = std::min(b.lo_y, l[k][j]);
          b.hi_y = std::max(b.hi_y, h[k][j]);
          break;
        default:
          b.lo_z = std::min(b.lo_z, l[k][j]);
          b.hi_z = std::max(b.hi_z, h[k][j]);
      }
    }
  AddPortable(stored + 8 * blocks, n - 8 * blocks, offset, b);
}

using AddFn = void (*)(const TPoint3Di*, std::size_t, TPoint3Di, Bounds&);
AddFn ChooseAdd() { return __builtin_cpu_supports("avx2") ? AddAvx2 : AddPortable; }

bool Valid(const TPoint3Di& stored, int offset_z) {
  return stored.z != 0 && geometry_detail::WrapAdd(stored.z, offset_z) > 0;
}

std::size_t CountValidPortable(const TPoint3Di* stored, std::size_t n, int offset_z) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < n; ++i) count += Valid(stored[i], offset_z);
  return count;
}

// Eight points at a time as in AddAvx2, looking at the z lanes only.
__attribute__((target("avx2,popcnt"))) std::size_t CountValidAvx2(const TPoint3Di* stored,
                                                                  std::size_t n, int offset_z) {
  const std::size_t blocks = n / 8;
  const __m256i oz = _mm256_set1_epi32(offset_z), zero = _mm256_setzero_si256();
  const int z_lanes[3] = {0x24, 0x49, 0x92};
  std::size_t count = 0;
  const auto* in = reinterpret_cast<const __m256i*>(stored);
  for (std::size_t i = 0; i < blocks; ++i)
    for (int k = 0; k < 3; ++k) {
      const __m256i v = _mm256_loadu_si256(in + 3 * i + k);
      const __m256i ok = _mm256_andnot_si256(_mm256_cmpeq_epi32(v, zero),
                                             _mm256_cmpgt_epi32(_mm256_add_epi32(v, oz), zero));
      count += static_cast<std::size_t>(_mm_popcnt_u32(
          static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(ok)) & z_lanes[k])));
    }
  return count + CountValidPortable(stored + 8 * blocks, n - 8 * blocks, offset_z);
}

}  // namespace

void CoordExtent::Add(const TPoint3Di* stored, std::size_t n) {
  std::size_t i = 0;
  if (!seeded_) {
    while (i < n && !Valid(stored[i], offset_.z)) ++i;
    if (i == n) return;
    seed_ = lo_ = hi_ = stored[i] + offset_;
    seeded_ = true;
  }
  static const AddFn add = ChooseAdd();
  Bounds b{lo_.x, lo_.y, lo_.z, hi_.x, hi_.y, hi_.z};
  add(stored + i, n - i, offset_, b);
  lo_ = TPoint3Di(b.lo_x, b.lo_y, b.lo_z);
  hi_ = TPoint3Di(b.hi_x, b.hi_y, b.hi_z);
}

std::size_t CountValidPoints(const TPoint3Di* stored, std::size_t n, int offset_z) {
  static const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt");
  return avx2 ? CountValidAvx2(stored, n, offset_z) : CountValidPortable(stored, n, offset_z);
}

void CoordExtent::Append(const CoordExtent& later) {
  if (!later.seeded_) return;
  if (!seeded_) {
    *this = later;
    return;
  }
  lo_ = TPoint3Di(std::min(lo_.x, later.lo_.x), std::min(lo_.y, later.lo_.y),
                  std::min(lo_.z, later.lo_.z));
  hi_ = TPoint3Di(std::max(hi_.x, later.hi_.x), std::max(hi_.y, later.hi_.y),
                  std::max(hi_.z, later.hi_.z));
}

void CoordExtent::Report(TPoint3Di& min, TPoint3Di& max) const {
  if (seeded_) min = max = seed_;
  std::printf(kExtent, min.x, max.x, min.y, max.y, min.z, max.z);
  if (seeded_) {
    min = lo_;
    max = hi_;
  }
  std::printf(kExtent, min.x, max.x, min.y, max.y, min.z, max.z);
}
