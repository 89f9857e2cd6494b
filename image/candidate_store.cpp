#include "image/candidate_store.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace candidate_store {

namespace {

long long KeyOf(int col) { return static_cast<long long>(col) >> 4; }

// |a - b| of two ints as a 32-bit subtraction gives it, taken unsigned; a
// difference that overflows counts as out of reach.
unsigned Gap(int a, int b) {
  const long long d = static_cast<long long>(a) - b;
  return d < -kReach || d > kReach ? kReach + 1u : static_cast<unsigned>(d < 0 ? -d : d);
}

// The entries of bucket b within reach of (row, col, disparity), in bucket
// order, written to out; returns how many.
size_t WithinPortable(const Store::Bucket& b, int row, int col, int disparity, unsigned* slots,
                      unsigned* codes) {
  size_t n = 0;
  for (size_t i = 0; i < b.slot.size(); ++i) {
    const unsigned dr = Gap(b.row[i], row), dc = Gap(b.col[i], col);
    const unsigned dd = Gap(b.disparity[i], disparity);
    slots[n] = b.slot[i];
    codes[n] = dr * 81 + dc * 9 + dd;
    n += (dr <= kReach) & (dc <= kReach) & (dd <= kReach);
  }
  return n;
}

#if !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"  // GCC 12's AVX-512 headers
#endif
__attribute__((target("avx512f"))) size_t WithinAvx512(const Store::Bucket& b, int row, int col,
                                                       int disparity, unsigned* slots,
                                                       unsigned* codes) {
  const __m512i r = _mm512_set1_epi32(row), c = _mm512_set1_epi32(col);
  const __m512i d = _mm512_set1_epi32(disparity), reach = _mm512_set1_epi32(kReach);
  size_t n = 0;
  const size_t count = b.slot.size();
  for (size_t i = 0; i < count; i += 16) {
    const __mmask16 live =
        count - i >= 16 ? 0xFFFF : static_cast<__mmask16>((1u << (count - i)) - 1);
    const __m512i br = _mm512_maskz_loadu_epi32(live, b.row.data() + i);
    const __m512i bc = _mm512_maskz_loadu_epi32(live, b.col.data() + i);
    const __m512i bd = _mm512_maskz_loadu_epi32(live, b.disparity.data() + i);
    const __m512i bs = _mm512_maskz_loadu_epi32(live, b.slot.data() + i);
    const __m512i dr = _mm512_abs_epi32(_mm512_sub_epi32(br, r));
    const __m512i dc = _mm512_abs_epi32(_mm512_sub_epi32(bc, c));
    const __m512i diff = _mm512_sub_epi32(bd, d);
    const __m512i dd = _mm512_abs_epi32(diff);
    // Overflow: the operands' signs differ and the result's sign is not the
    // first operand's.
    const __mmask16 overflow = _mm512_cmplt_epi32_mask(
        _mm512_and_si512(_mm512_xor_si512(bd, d), _mm512_xor_si512(bd, diff)),
        _mm512_setzero_si512());
    // Unsigned comparisons: abs(INT_MIN) stays out of reach.
    const __mmask16 near = _mm512_mask_cmple_epu32_mask(live, dr, reach) &
                           _mm512_cmple_epu32_mask(dc, reach) & _mm512_cmple_epu32_mask(dd, reach) &
                           static_cast<__mmask16>(~overflow);
    const __m512i code =
        _mm512_add_epi32(_mm512_add_epi32(_mm512_mullo_epi32(dr, _mm512_set1_epi32(81)),
                                          _mm512_mullo_epi32(dc, _mm512_set1_epi32(9))),
                         dd);
    _mm512_mask_compressstoreu_epi32(slots + n, near, bs);
    _mm512_mask_compressstoreu_epi32(codes + n, near, code);
    n += static_cast<size_t>(__builtin_popcount(near));
  }
  return n;
}
#if !defined(__clang__)
#pragma GCC diagnostic pop
#endif

using WithinFn = size_t (*)(const Store::Bucket&, int, int, int, unsigned*, unsigned*);

WithinFn ChooseWithin() {
  return __builtin_cpu_supports("avx512f") ? WithinAvx512 : WithinPortable;
}

const Store::Bucket* FindBucket(const std::vector<Store::Bucket>& buckets, long long key) {
  const auto it = std::lower_bound(buckets.begin(), buckets.end(), key,
                                   [](const Store::Bucket& b, long long k) { return b.key < k; });
  return it != buckets.end() && it->key == key ? &*it : nullptr;
}

size_t PositionOf(const Store::Bucket& b, size_t slot) {
  return static_cast<size_t>(std::lower_bound(b.slot.begin(), b.slot.end(), slot) - b.slot.begin());
}

void Erase(Store::Bucket& b, size_t at) {
  b.slot.erase(b.slot.begin() + static_cast<long>(at));
  b.row.erase(b.row.begin() + static_cast<long>(at));
  b.col.erase(b.col.begin() + static_cast<long>(at));
  b.disparity.erase(b.disparity.begin() + static_cast<long>(at));
}

void Insert(Store::Bucket& b, size_t at, size_t slot, const TCandidate* c) {
  b.slot.insert(b.slot.begin() + static_cast<long>(at), static_cast<unsigned>(slot));
  b.row.insert(b.row.begin() + static_cast<long>(at), c->row1);
  b.col.insert(b.col.begin() + static_cast<long>(at), c->col1);
  b.disparity.insert(b.disparity.begin() + static_cast<long>(at), c->Disparity());
}

void Forget(std::vector<unsigned>& slots, size_t slot) {
  auto it = std::find(slots.begin(), slots.end(), static_cast<unsigned>(slot));
  *it = slots.back();
  slots.pop_back();
}

}  // namespace

Store::Bucket& Store::BucketFor(int col) {
  const long long key = KeyOf(col);
  auto it = std::lower_bound(buckets_.begin(), buckets_.end(), key,
                             [](const Bucket& b, long long k) { return b.key < k; });
  if (it == buckets_.end() || it->key != key) {
    it = buckets_.insert(it, Bucket());
    it->key = key;
  }
  return *it;
}

std::vector<unsigned>& Store::RowBucket(int row, int col) {
  for (auto& [r, index] : rows_)
    if (r == row) return index[KeyOf(col)];
  rows_.push_back({row, {}});
  return rows_.back().second[KeyOf(col)];
}

void Store::RowSlots(int row, long long lo, long long hi, std::vector<unsigned>& out) const {
  for (const auto& [r, index] : rows_) {
    if (r != row) continue;
    const auto end = index.upper_bound(hi >> 4);
    for (auto it = index.lower_bound(lo >> 4); it != end; ++it)
      out.insert(out.end(), it->second.begin(), it->second.end());
  }
}

void Store::Append(TCandidate* c) {
  const size_t slot = entries_.size();
  entries_.push_back(c);
  Bucket& b = BucketFor(c->col1);
  Insert(b, b.slot.size(), slot, c);
  RowBucket(c->row1, c->col1).push_back(static_cast<unsigned>(slot));
  max_disparity_ = std::max(max_disparity_, std::llabs(static_cast<long long>(c->col2) - c->col1));
}

TCandidate* Store::Remove(size_t i) {
  TCandidate* removed = entries_[i];
  Bucket& own = BucketFor(removed->col1);
  Erase(own, PositionOf(own, i));
  Forget(RowBucket(removed->row1, removed->col1), i);
  const size_t last = entries_.size() - 1;
  if (i != last) {
    // The last entry, the highest slot of its bucket, takes slot i.
    TCandidate* moved = entries_[last];
    Bucket& b = BucketFor(moved->col1);
    Erase(b, b.slot.size() - 1);
    Insert(b, PositionOf(b, i), i, moved);
    std::vector<unsigned>& row = RowBucket(moved->row1, moved->col1);
    *std::find(row.begin(), row.end(), static_cast<unsigned>(last)) = static_cast<unsigned>(i);
    entries_[i] = moved;
  }
  entries_.pop_back();
  return removed;
}

size_t Store::Near(int row, int col, int disparity, Neighbours& scratch, size_t* count) const {
  static const WithinFn within = ChooseWithin();
  // Columns col - 8 .. col + 8 lie in col's bucket of 16 and in one of its
  // two neighbours.
  const long long key = KeyOf(col);
  const long long other = (col & 15) < kReach ? key - 1 : key + 1;
  const Bucket* a = FindBucket(buckets_, std::min(key, other));
  const Bucket* b = FindBucket(buckets_, std::max(key, other));
  const size_t na = a ? a->slot.size() : 0, nb = b ? b->slot.size() : 0;
  // Room for both runs and their merge.
  scratch.Reserve(2 * (na + nb));
  unsigned* slot = scratch.slot.data();
  unsigned* code = scratch.code.data();
  const size_t cx = a ? within(*a, row, col, disparity, slot, code) : 0;
  const size_t cy = b ? within(*b, row, col, disparity, slot + na, code + na) : 0;
  // The two runs, [0, cx) and [na, na + cy), merged by slot from na + nb.
  const size_t merged = na + nb;
  size_t o = merged, i = 0, j = na;
  const size_t x_end = cx, y_end = na + cy;
  while (i < x_end && j < y_end) {
    const size_t from = slot[i] < slot[j] ? i++ : j++;
    slot[o] = slot[from];
    code[o++] = code[from];
  }
  for (; i < x_end; ++i, ++o) slot[o] = slot[i], code[o] = code[i];
  for (; j < y_end; ++j, ++o) slot[o] = slot[j], code[o] = code[j];
  *count = o - merged;
  return merged;
}

void Weighting::For(double spatial_weight, double disparity_weight) {
  if (spatial_weight == spatial && disparity_weight == disparity) return;
  spatial = spatial_weight;
  disparity = disparity_weight;
  for (int dr = 0; dr <= kReach; ++dr)
    for (int dc = 0; dc <= kReach; ++dc)
      for (int dd = 0; dd <= kReach; ++dd) {
        // As TCandidate::Similarity computes it.
        const double sr = dr * spatial_weight, sc = dc * spatial_weight;
        const double sd = dd * disparity_weight;
        const double r = std::sqrt(sr * sr + sc * sc + sd * sd);
        const int code = dr * 81 + dc * 9 + dd;
        keep[code] = !(r > 700.0);
        scale[code] = r < 400.0 ? 1.0 : (700.0 - r) / 400.0;
      }
}

}  // namespace candidate_store
