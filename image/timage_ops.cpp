// Whole-image operations. Each runs once over the buffers with the results
// of the element-by-element walks they are defined by: where a walk reads
// through the enclosing raster and a refused read leaves its scratch value
// as it was (Copy, Stretch, Subsampling with offsets), the value written is
// that stale one.
#include <immintrin.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "image/timage.h"
#include "util/error_msg.h"
#include "util/int_conversion.h"

static_assert(std::numeric_limits<float>::is_iec559, "divisions by zero give infinities");

namespace {

const char kWrongType[] = "Wrong image type in TImage.Copy";

int WrapSub(int a, int b) { return static_cast<int>(static_cast<unsigned>(a) - b); }
int WrapMul(int a, int b) { return static_cast<int>(static_cast<unsigned>(a) * b); }

// A table entry of Short2Byte and Stretch: (i * gain + shift) in single
// precision, plus 0.4999, truncated; only its low byte is ever stored.
unsigned char TableEntry(int i, float gain, float shift) {
  const float linear = static_cast<float>(i) * gain + shift;
  return static_cast<unsigned char>(TruncateToInt(static_cast<double>(linear) + 0.4999));
}

// The range of Short2Byte over the non-zero values in scan order: a value
// above the running maximum raises it (and is not tested against the
// minimum); any other value may lower the minimum. Blocks whose values stay
// at or below the running maximum only lower the minimum, and are scanned
// as such.
// Loops that the compiler vectorises get an AVX2 clone, chosen at run time.
// (GCC's clones; clang, used for the fuzz targets, does not clone templates.)
#if defined(__clang__)
#define KLUTEIDA_VECTOR_CLONES
#else
#define KLUTEIDA_VECTOR_CLONES __attribute__((target_clones("avx2", "default")))
#endif

KLUTEIDA_VECTOR_CLONES void NonZeroRange(const uint16_t* v, size_t count, int* min, int* max) {
  constexpr size_t kBlock = 256;
  int lo = INT_MAX;
  int hi = 0;
  for (size_t start = 0; start < count; start += kBlock) {
    const size_t end = std::min(count, start + kBlock);
    uint16_t block_max = 0;
    for (size_t i = start; i < end; ++i) block_max = std::max(block_max, v[i]);
    if (block_max <= hi) {
      // v - 1 wraps 0 to 65535, above every non-zero value.
      uint16_t block_min = 65535;
      for (size_t i = start; i < end; ++i)
        block_min = std::min(block_min, static_cast<uint16_t>(v[i] - 1));
      if (block_min != 65535) lo = std::min(lo, block_min + 1);
      continue;
    }
    for (size_t i = start; i < end; ++i) {
      if (v[i] == 0) continue;
      if (v[i] > hi) {
        hi = v[i];
      } else if (v[i] < lo) {
        lo = v[i];
      }
    }
  }
  *min = lo;
  *max = hi;
}

KLUTEIDA_VECTOR_CLONES void AddBytes(unsigned char* p, size_t count, unsigned char d) {
  for (size_t i = 0; i < count; ++i) p[i] = static_cast<unsigned char>(p[i] + d);
}

KLUTEIDA_VECTOR_CLONES void AddClamped(uint16_t* p, size_t count, int d) {
  for (size_t i = 0; i < count; ++i) p[i] = static_cast<uint16_t>(std::clamp(p[i] + d, 0, 65535));
}

// out[i] = table[in[i]].
template <typename T>
KLUTEIDA_VECTOR_CLONES void Lookup(const T* in, size_t count, const unsigned char* table,
                                   unsigned char* out) {
  for (size_t i = 0; i < count; ++i) out[i] = table[in[i]];
}

// The same through a 256-byte table, 64 bytes at a time with AVX-512 VBMI
// byte permutes (two 128-byte halves, chosen by the index's top bit).
__attribute__((target("avx512f,avx512bw,avx512vbmi"))) void LookupVbmi(const unsigned char* in,
                                                                       size_t count,
                                                                       const unsigned char* table,
                                                                       unsigned char* out) {
  const __m512i t0 = _mm512_loadu_si512(table), t1 = _mm512_loadu_si512(table + 64);
  const __m512i t2 = _mm512_loadu_si512(table + 128), t3 = _mm512_loadu_si512(table + 192);
  size_t i = 0;
  for (; i + 64 <= count; i += 64) {
    const __m512i index = _mm512_loadu_si512(in + i);
    const __m512i low = _mm512_permutex2var_epi8(t0, index, t1);
    const __m512i high = _mm512_permutex2var_epi8(t2, index, t3);
    _mm512_storeu_si512(out + i, _mm512_mask_blend_epi8(_mm512_movepi8_mask(index), low, high));
  }
  Lookup(in + i, count - i, table, out + i);
}

void LookupBytes(const unsigned char* in, size_t count, const unsigned char* table,
                 unsigned char* out) {
  static const bool vbmi =
      __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw");
  (vbmi ? LookupVbmi : Lookup<unsigned char>)(in, count, table, out);
}

// out[i] = TableEntry(in[i], gain, shift) for min <= in[i] <= max, else 0:
// the table of Short2Byte computed per element, 16 at a time, with the same
// single-precision product and sum, the same double sum and the same
// conversion (whose out-of-range result is INT_MIN, as TruncateToInt's).
#if !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"  // GCC 12's AVX-512 headers
#endif
__attribute__((target("avx512f,avx512bw,avx512vl"))) void MapRangeAvx512(const uint16_t* in,
                                                                         size_t count, float gain,
                                                                         float shift, int min,
                                                                         int max,
                                                                         unsigned char* out) {
  const __m512 g = _mm512_set1_ps(gain), s = _mm512_set1_ps(shift);
  const __m512d half = _mm512_set1_pd(0.4999);
  const __m512i lo = _mm512_set1_epi32(min), hi = _mm512_set1_epi32(max);
  size_t i = 0;
  for (; i + 16 <= count; i += 16) {
    const __m512i v =
        _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i)));
    const __m512 linear = _mm512_add_ps(_mm512_mul_ps(_mm512_cvtepi32_ps(v), g), s);
    const __m256 first = _mm512_castps512_ps256(linear);
    const __m256 second = _mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(linear), 1));
    const __m256i a = _mm512_cvttpd_epi32(_mm512_add_pd(_mm512_cvtps_pd(first), half));
    const __m256i b = _mm512_cvttpd_epi32(_mm512_add_pd(_mm512_cvtps_pd(second), half));
    const __mmask16 inside = _mm512_cmpge_epi32_mask(v, lo) & _mm512_cmple_epi32_mask(v, hi);
    const __m512i entry =
        _mm512_maskz_mov_epi32(inside, _mm512_inserti64x4(_mm512_castsi256_si512(a), b, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm512_cvtepi32_epi8(entry));
  }
  for (; i < count; ++i) out[i] = in[i] >= min && in[i] <= max ? TableEntry(in[i], gain, shift) : 0;
}
#if !defined(__clang__)
#pragma GCC diagnostic pop
#endif

// A new image whose every element the caller is about to write: its buffer
// is not cleared first. A failed allocation goes the constructor's way.
TImage* Overwritten(unsigned short w, unsigned short h, unsigned char type, unsigned short frames,
                    int ox, int oy) {
  const size_t bytes =
      static_cast<size_t>(w) * h * frames * TImage(0, 0, type, 1, nullptr, 0, 0).BytesPerPixel();
  return new TImage(w, h, type, frames, static_cast<unsigned char*>(std::malloc(bytes ? bytes : 1)),
                    ox, oy);
}

void FillElements(unsigned char* out, size_t count, const unsigned char* value, size_t size) {
  for (size_t i = 0; i < count; ++i) std::memcpy(out + i * size, value, size);
}

template <typename T>
KLUTEIDA_VECTOR_CLONES void ReplaceAll(unsigned char* data, size_t count, T from, T to) {
  T* p = reinterpret_cast<T*>(data);
  // Every element is stored (the same one where it does not match), so that
  // the loop vectorises.
  for (size_t i = 0; i < count; ++i) p[i] = p[i] == from ? to : p[i];
}

struct FloatPair {
  float re, im;
  bool operator==(const FloatPair& o) const { return re == o.re && im == o.im; }
};

// Where the source of Copy has a value, in local columns and rows of the
// destination, and the source element behind each.
struct CopyOverlap {
  long long dx, dy;  // source local = destination local + (dx, dy)
  long long c0, c1, r0, r1;
  bool empty() const { return c0 >= c1 || r0 >= r1; }
};

CopyOverlap OverlapOf(const TImage& dst, const TImage& src) {
  CopyOverlap o;
  o.dx = static_cast<long long>(dst.offset_x) - src.offset_x;
  o.dy = static_cast<long long>(dst.offset_y) - src.offset_y;
  o.c0 = std::max(0LL, -o.dx);
  o.c1 = std::min<long long>(dst.width, src.width - o.dx);
  o.r0 = std::max(0LL, -o.dy);
  o.r1 = std::min<long long>(dst.height, src.height - o.dy);
  return o;
}

// Copy between images of the same type (bytes frame by frame, or 16-bit
// elements), in the order of the walk it stands for: columns outer, rows
// inner, frames innermost, a refused read leaving the last value read. So
// a destination element gets the source's element where the source covers
// it, in the last frame the source has when the destination has more
// frames; above the overlap, the value at the foot of the column before;
// below it, the value at the foot of its own column; right of it, the value
// at the foot of the last overlapping column; left of it, 0 (nothing read
// yet).
void CopySameType(TImage& dst, const TImage& src, int frames, int source_frames) {
  const size_t e = static_cast<size_t>(dst.BytesPerPixel());
  const size_t w = dst.width;
  const CopyOverlap o = OverlapOf(dst, src);
  const int bands = std::min(frames, source_frames);
  // The source element of destination column c (c >= o.c0) in row r.
  const auto at = [&](long long r, int b, size_t c) {
    return src.data +
           ((static_cast<size_t>(b) * src.height + static_cast<size_t>(r + o.dy)) * src.width +
            static_cast<size_t>(static_cast<long long>(c) + o.dx)) *
               e;
  };
  for (int b = 0; b < frames; ++b) {
    for (size_t r = 0; r < dst.height; ++r) {
      unsigned char* out = dst.data + ((static_cast<size_t>(b) * dst.height + r) * w) * e;
      if (o.empty() || bands == 0) {
        std::memset(out, 0, w * e);
        continue;
      }
      const size_t c0 = static_cast<size_t>(o.c0), c1 = static_cast<size_t>(o.c1);
      const unsigned char* foot = at(o.r1 - 1, bands - 1, c0);  // the foot of column c0
      const long long lr = static_cast<long long>(r);
      std::memset(out, 0, c0 * e);
      if (lr >= o.r0 && lr < o.r1) {
        std::memcpy(out + c0 * e, at(lr, std::min(b, bands - 1), c0), (c1 - c0) * e);
      } else if (lr < o.r0) {
        std::memset(out + c0 * e, 0, e);
        std::memcpy(out + (c0 + 1) * e, foot, std::min(c1 - c0, w - c0 - 1) * e);
      } else {
        std::memcpy(out + c0 * e, foot, (c1 - c0) * e);
      }
      if (c1 < w) FillElements(out + c1 * e, w - c1, foot + (c1 - 1 - c0) * e, e);
    }
  }
}

// Copy as its walk is described, element by element, for sources of another
// type than the destination.
void CopyLiteral(TImage& dst, TImage& src) {
  const CopyOverlap o = OverlapOf(dst, src);
  unsigned char scratch[8] = {};
  for (int c = 0; c < dst.width; ++c) {
    for (int r = 0; r < dst.height; ++r) {
      const long long sx = c + o.dx, sy = r + o.dy;
      const bool inside = sx >= 0 && sx < src.width && sy >= 0 && sy < src.height;
      if (dst.type == kTypeShort) {
        if (inside) src.GetIntensityDirect(static_cast<int>(sx), static_cast<int>(sy), scratch);
        dst.SetIntensityDirect(c, r, scratch);
        continue;
      }
      for (int b = 0; b < dst.frames; ++b) {
        if (inside) src.GetIntensityDirect(static_cast<int>(sx), static_cast<int>(sy), scratch, b);
        dst.SetIntensityDirect(c, r, scratch, b);
      }
    }
  }
}

// dst[c] = src[2 c] for c < count, 16 at a time while the 32 bytes read lie
// within the `available` bytes of src; returns how many were done.
size_t EvenBytes(const uint8_t* src, size_t available, size_t count, uint8_t* dst) {
  const __m128i low = _mm_set1_epi16(0xFF);
  size_t c = 0;
  for (; c + 16 <= count && 2 * c + 32 <= available; c += 16) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * c));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * c + 16));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + c),
                     _mm_packus_epi16(_mm_and_si128(a, low), _mm_and_si128(b, low)));
  }
  return c;
}

// Subsampling of an image without offsets, where every read and write lands:
// element (c * factor, r * factor) of each frame, with elements of T's size;
// a 16-bit one has its first byte taken from the buffer's byte at its
// element index, as the band read gives it.
template <typename T>
KLUTEIDA_VECTOR_CLONES void SubsampleFrames(const TImage& in, TImage& out, int factor) {
  const size_t f = static_cast<size_t>(factor);
  const bool shorts = in.type == kTypeShort;
  if (out.width == 0) return;  // rows without elements, however many
  for (size_t b = 0; b < in.frames; ++b) {
    for (size_t r = 0; r < out.height; ++r) {
      const size_t row = (b * in.height + r * f) * in.width;
      const T* src = reinterpret_cast<const T*>(in.data) + row;
      T* dst = reinterpret_cast<T*>(out.data) + (b * out.height + r) * out.width;
      size_t c = 0;
      if constexpr (sizeof(T) == 1) {
        if (f == 2) c = EvenBytes(src, in.width, out.width, dst);
      }
      for (; c < out.width; ++c) dst[c] = src[c * f];
      if (!shorts) continue;
      unsigned char* bytes = reinterpret_cast<unsigned char*>(dst);
      for (size_t c = 0; c < out.width; ++c) bytes[2 * c] = in.data[row + c * f];
    }
  }
}

}  // namespace

void TImage::InitValue(const unsigned char* value) {
  FillElements(data, static_cast<size_t>(width) * height, value,
               static_cast<size_t>(BytesPerPixel()));
}

TImage* TImage::Short2Byte() {
  if (type != kTypeShort) return nullptr;
  auto* out = Overwritten(width, height, kTypeByte, 1, offset_x, offset_y);
  const size_t count = static_cast<size_t>(width) * height;
  const uint16_t* in = reinterpret_cast<const uint16_t*>(data);
  int min = 0, max = 0;
  NonZeroRange(in, count, &min, &max);
  // 255 * min is an integer product (it wraps when no value lowered the
  // minimum from INT_MAX); max == min divides by zero into infinities.
  const float range = static_cast<float>(max - min);
  const float gain = static_cast<float>(255 - 0) / range;
  const float shift = static_cast<float>(WrapSub(0 * max, WrapMul(255, min))) / range;
  static const bool avx512 =
      __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");
  if (avx512) {
    MapRangeAvx512(in, count, gain, shift, min, max, out->data);
  } else {
    std::vector<unsigned char> table(65536, 0);  // zero and values outside min..max map to 0
    for (int v = min; v <= max; ++v) table[static_cast<size_t>(v)] = TableEntry(v, gain, shift);
    Lookup(in, count, table.data(), out->data);
  }
  return out;
}

TImage* TImage::Stretch(int in_low, int in_high, int out_low, int out_high) {
  if (type != kTypeByte) return nullptr;
  const float range = static_cast<float>(WrapSub(in_high, in_low));
  const float gain = static_cast<float>(WrapSub(out_high, out_low)) / range;
  const float shift =
      static_cast<float>(WrapSub(WrapMul(out_low, in_high), WrapMul(out_high, in_low))) / range;
  // Entries that no fill reaches (from out_high, or in_high + 1, up) hold
  // out_high: where the upper fill would have gone on to 255.
  unsigned char table[256];
  std::memset(table, static_cast<unsigned char>(out_high), sizeof table);
  const long long lo = in_low, hi = in_high;
  for (long long i = 0; i < std::min(lo, 256LL); ++i)
    table[i] = static_cast<unsigned char>(out_low);
  for (long long i = std::max(hi + 1, 0LL); i < std::min<long long>(out_high, 256); ++i)
    table[i] = static_cast<unsigned char>(out_high);
  for (long long i = std::max(lo, 0LL); i <= std::min(hi, 255LL); ++i)
    table[i] = TableEntry(static_cast<int>(i), gain, shift);

  auto* out = Overwritten(width, height, kTypeByte, 1, 0, 0);
  // Local (x, y) is read at (x, y) of the enclosing raster: rows and columns
  // the image does not cover repeat the last byte read (0 before any).
  unsigned char scratch = 0;
  const size_t w = width;
  const long long xa = std::max(0LL, static_cast<long long>(offset_x));
  const long long xb = std::min<long long>(width, static_cast<long long>(offset_x) + width);
  for (size_t y = 0; y < height; ++y) {
    unsigned char* dst = out->data + y * w;
    const long long ly = static_cast<long long>(y) - offset_y;
    if (ly < 0 || ly >= height || xa >= xb) {
      std::memset(dst, table[scratch], w);
      continue;
    }
    const unsigned char* src = data + static_cast<size_t>(ly) * w;  // local column 0
    std::memset(dst, table[scratch], static_cast<size_t>(xa));
    LookupBytes(src + (xa - offset_x), static_cast<size_t>(xb - xa), table, dst + xa);
    scratch = src[xb - 1 - offset_x];
    std::memset(dst + xb, table[scratch], w - static_cast<size_t>(xb));
  }
  return out;
}

TImage* R_G_B2RGB(TImage& red, TImage& green, TImage& blue) {
  if (red.width != green.width || red.width != blue.width || red.height != green.height ||
      red.height != blue.height)
    return nullptr;
  auto* out = new TImage(red.width, red.height, kTypeByte, 3, nullptr, 0, 0);
  TImage* planes[3] = {&red, &green, &blue};
  unsigned char value[8] = {};  // a refused read leaves the last value read
  for (int y = 0; y < out->height; ++y) {
    for (int x = 0; x < out->width; ++x) {
      for (int b = 0; b < 3; ++b) {
        planes[b]->GetIntensity(x, y, value);
        out->SetIntensityDirect(x, y, value, b);
      }
    }
  }
  return out;
}

void TImage::Copy(TImage& source) {
  if (!data) return;
  if (type != kTypeByte && type != kTypeShort) error_msg(kWrongType);
  if (source.type != type) return CopyLiteral(*this, source);
  // 16-bit elements are read without a band: frame 0 only.
  if (type == kTypeShort) return CopySameType(*this, source, 1, std::min<int>(1, source.frames));
  CopySameType(*this, source, frames, source.frames);
}

TImage* TImage::CutWindow(int x, int y, int w, int h) {
  std::unique_ptr<TImage> out(new TImage(static_cast<unsigned short>(w),
                                         static_cast<unsigned short>(h), type, frames, nullptr,
                                         static_cast<int>(static_cast<unsigned>(x) + offset_x),
                                         static_cast<int>(static_cast<unsigned>(y) + offset_y)));
  out->Copy(*this);
  return out.release();
}

TImage* TImage::Subsampling(int factor) {
  if (factor < 1) return nullptr;
  const int w = static_cast<int>((static_cast<long long>(width) + factor - 1) / factor);
  const int h = static_cast<int>((static_cast<long long>(height) + factor - 1) / factor);
  auto* out = new TImage(static_cast<unsigned short>(w), static_cast<unsigned short>(h), type,
                         frames, nullptr, offset_x, offset_y);
  if (offset_x == 0 && offset_y == 0) {
    switch (BytesPerPixel()) {
      case 1:
        SubsampleFrames<uint8_t>(*this, *out, factor);
        break;
      case 2:
        SubsampleFrames<uint16_t>(*this, *out, factor);
        break;
      case 4:
        SubsampleFrames<uint32_t>(*this, *out, factor);
        break;
      default:
        SubsampleFrames<uint64_t>(*this, *out, factor);
        break;
    }
    return out;
  }
  unsigned char scratch[8] = {};
  for (long long x = 0, c = 0; x < width; x += factor, ++c) {
    for (long long y = 0, r = 0; y < height; y += factor, ++r) {
      for (int b = 0; b < frames; ++b) {
        GetIntensity(static_cast<int>(x), static_cast<int>(y), scratch, b);
        out->SetIntensity(static_cast<int>(c), static_cast<int>(r), scratch, b);
      }
    }
  }
  return out;
}

void TImage::IncrementByValue(int delta) {
  if (!data) return;
  const size_t count = static_cast<size_t>(width) * height * frames;
  if (type == kTypeByte) {
    if (delta > 255) return;
    const unsigned char d = static_cast<unsigned char>(delta);  // modulo 256
    AddBytes(data, count, d);
  } else if (type == kTypeShort) {
    // A delta beyond +-65536 clamps every element as that delta would.
    const int d = std::clamp(delta, -65536, 65536);
    AddClamped(reinterpret_cast<uint16_t*>(data), count, d);
  } else {
    error_msg(kWrongType);
  }
}

TImage* TImage::GetFrame(int frame) {
  if (!data || frame < 0 || frame > 2 || frame >= frames) return nullptr;
  auto* out = Overwritten(width, height, type, 1, offset_x, offset_y);
  std::memcpy(out->data, data + static_cast<size_t>(frame) * FrameSize(), FrameSize());
  return out;
}

int TImage::Replace(double from, double to) {
  const size_t count = static_cast<size_t>(width) * height * frames;
  switch (type) {
    case kTypeDouble:
      ReplaceAll<double>(data, count, from, to);
      break;
    case kTypeFloat:
      ReplaceAll<float>(data, count, static_cast<float>(from), static_cast<float>(to));
      break;
    case kTypeComplex:
      ReplaceAll<FloatPair>(data, count, {static_cast<float>(from), 0.0f},
                            {static_cast<float>(to), 0.0f});
      break;
    case kTypeShort:
      ReplaceAll<uint16_t>(data, count, static_cast<uint16_t>(TruncateToInt(from)),
                           static_cast<uint16_t>(TruncateToInt(to)));
      break;
    default:
      ReplaceAll<unsigned char>(data, count, static_cast<unsigned char>(TruncateToInt(from)),
                                static_cast<unsigned char>(TruncateToInt(to)));
      break;
  }
  return 1;
}
