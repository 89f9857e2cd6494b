#include "tools/point_format.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>

namespace {

constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// The decimal text of every colour byte, as "%d" writes it.
struct ByteTexts {
  char text[256][4];
  unsigned char length[256];
  ByteTexts() {
    for (int v = 0; v < 256; ++v)
      length[v] = static_cast<unsigned char>(std::snprintf(text[v], 4, "%d", v));
  }
};
const ByteTexts kByteTexts;

char* AppendByte(unsigned char v, char* out) {
  std::memcpy(out, kByteTexts.text[v], 4);  // the line has room for the spare byte
  return out + kByteTexts.length[v];
}

char* AppendUnsigned(std::uint64_t v, char* out) {
  char buf[20];
  char* p = buf + sizeof buf;
  while (v >= 100) {
    const unsigned pair = static_cast<unsigned>(v % 100);
    v /= 100;
    p -= 2;
    std::memcpy(p, kDigitPairs + 2 * pair, 2);
  }
  if (v >= 10) {
    p -= 2;
    std::memcpy(p, kDigitPairs + 2 * v, 2);
  } else {
    *--p = static_cast<char>('0' + v);
  }
  const std::size_t n = static_cast<std::size_t>(buf + sizeof buf - p);
  std::memcpy(out, p, n);
  return out + n;
}

// Six decimals of a value below one million, leading zeros kept.
char* AppendSixDecimals(unsigned v, char* out) {
  std::memcpy(out, kDigitPairs + 2 * (v / 10000), 2);
  std::memcpy(out + 2, kDigitPairs + 2 * (v / 100 % 100), 2);
  std::memcpy(out + 4, kDigitPairs + 2 * (v % 100), 2);
  return out + 6;
}

}  // namespace

char* FormatFixed6(float value, char* out) {
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  const bool negative = (bits >> 31) != 0;
  const unsigned biased = (bits >> 23) & 0xFF;
  const std::uint64_t fraction = bits & 0x7FFFFF;
  // value = m * 2^e exactly, m below 2^24.
  const std::uint64_t m = biased == 0 ? fraction : fraction | 0x800000;
  const int e = biased == 0 ? -149 : static_cast<int>(biased) - 150;
  // m * 10^6 * 2^e must fit in 64 bits: beyond 2^43 (and for inf and NaN)
  // printf does the work.
  if (biased == 0xFF || e > 19) {
    char buf[64];
    const int n = std::snprintf(buf, sizeof buf, "%f", static_cast<double>(value));
    std::memcpy(out, buf, static_cast<std::size_t>(n));
    return out + n;
  }
  // q = |value| * 10^6 rounded to nearest, ties to even, as printf rounds.
  const std::uint64_t scaled = m * 1000000u;  // below 2^44
  std::uint64_t q;
  if (e >= 0) {
    q = scaled << e;
  } else if (-e >= 64) {
    q = 0;  // below 2^44, so under half of 2^-e
  } else {
    const int s = -e;
    q = scaled >> s;
    const std::uint64_t rest = scaled & ((std::uint64_t{1} << s) - 1);
    const std::uint64_t half = std::uint64_t{1} << (s - 1);
    if (rest > half || (rest == half && (q & 1) != 0)) ++q;
  }
  if (negative) *out++ = '-';
  out = AppendUnsigned(q / 1000000u, out);
  *out++ = '.';
  return AppendSixDecimals(static_cast<unsigned>(q % 1000000u), out);
}

char* FormatPointLine(int x, int y, int z, const unsigned char rgb[3], char* out) {
  out = FormatFixed6(CentimetresToMetres(x), out);
  *out++ = ' ';
  out = FormatFixed6(CentimetresToMetres(y), out);
  *out++ = ' ';
  out = FormatFixed6(CentimetresToMetres(z), out);
  *out++ = ' ';
  out = AppendByte(rgb[0], out);
  *out++ = ' ';
  out = AppendByte(rgb[1], out);
  *out++ = ' ';
  out = AppendByte(rgb[2], out);
  *out++ = '\n';
  return out;
}

const PointLineFormatter::GreyEnds PointLineFormatter::kGreyEnds;

PointLineFormatter::GreyEnds::GreyEnds() {
  for (int v = 0; v < 256; ++v)
    length[v] = static_cast<unsigned char>(std::snprintf(text[v], 16, "%d %d %d\n", v, v, v));
}

PointLineFormatter::PointLineFormatter()
    : tables_(static_cast<Entry*>(std::calloc(3 * kSlots, sizeof(Entry)))) {
  if (!tables_) throw std::bad_alloc();
  for (int t = 0; t < 3; ++t) Fill(tables_[t * kSlots + kSlots - 1], -1);
}

void PointLineFormatter::Fill(Entry& slot, int v) {
  slot.key = ~static_cast<unsigned>(v);
  char* end = FormatFixed6(CentimetresToMetres(v), slot.text);
  *end++ = ' ';
  slot.length = static_cast<unsigned char>(end - slot.text);
}

char* PointLineFormatter::ColourEnd(const unsigned char rgb[3], char* out) {
  out = AppendByte(rgb[0], out);
  *out++ = ' ';
  out = AppendByte(rgb[1], out);
  *out++ = ' ';
  out = AppendByte(rgb[2], out);
  *out++ = '\n';
  return out;
}
