#include "image/window_source.h"

#include <algorithm>
#include <cstring>

namespace {

template <typename Element>
void Convert(const unsigned char* data, size_t first, size_t count, double* out) {
  for (size_t i = 0; i < count; ++i) {
    Element v;
    std::memcpy(&v, data + (first + i) * sizeof v, sizeof v);
    out[i] = static_cast<double>(v);
  }
}

}  // namespace

WindowSource::WindowSource(const TImage& image, int band)
    : image_(image), band_(band), local_(image.type == kTypeFloat || image.type == kTypeShort) {}

void WindowSource::FillRow(long long x0, long long y, size_t count, double* out) const {
  const long long ly = local_ ? y : y - image_.offset_y;
  const long long lx0 = local_ ? x0 : x0 - image_.offset_x;
  const long long n = static_cast<long long>(count);
  const long long w = image_.width;
  if (band_ < 0 || band_ >= image_.frames || ly < 0 || ly >= image_.height || lx0 >= w ||
      lx0 + n <= 0) {
    std::fill(out, out + count, 0.0);
    return;
  }
  // Columns [begin, end) of the output lie inside the image.
  const size_t begin = static_cast<size_t>(std::max(0LL, -lx0));
  const size_t end = static_cast<size_t>(std::min(n, w - lx0));
  std::fill(out, out + begin, 0.0);
  std::fill(out + end, out + count, 0.0);
  const size_t first =
      (static_cast<size_t>(band_) * image_.height + static_cast<size_t>(ly)) * image_.width +
      static_cast<size_t>(lx0 + static_cast<long long>(begin));
  const size_t inside = end - begin;
  switch (image_.type) {
    case kTypeFloat:
      Convert<float>(image_.data, first, inside, out + begin);
      break;
    case kTypeShort:
      Convert<short>(image_.data, first, inside, out + begin);
      break;
    default: {
      // Of a wider element only its first byte counts.
      const size_t bpp = static_cast<size_t>(image_.BytesPerPixel());
      const unsigned char* p = image_.data + first * bpp;
      for (size_t i = 0; i < inside; ++i) out[begin + i] = p[i * bpp];
      break;
    }
  }
}

void WindowSource::FillWindow(long long x, long long y, int k, double* out) const {
  const long long h = (k - 1) / 2;
  for (int r = 0; r < k; ++r) {
    FillRow(x - h, y - h + r, static_cast<size_t>(k), out + static_cast<size_t>(r) * k);
  }
}
