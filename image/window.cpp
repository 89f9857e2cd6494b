// Windows around a pixel: into a matrix, into a mask, and the median.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "image/timage.h"
#include "image/tmask.h"
#include "math/tmatrix.h"
#include "util/compare.h"

namespace {

const char kMedianTypeMessage[] = "Not valid image type in TImage::GetWindowMedian\n";

// The part of window row r that lies inside the image: columns
// [begin, end) of the window, the first of them at element index `first`.
// An empty range when the row or the band lies outside.
struct RowSpan {
  int begin = 0;
  int end = 0;
  size_t first = 0;
};

// Window of `cols` columns whose element (0, 0) sits at local (x0, y0).
class WindowRows {
 public:
  WindowRows(const TImage& im, long long x0, long long y0, int cols, int band)
      : im_(im), x0_(x0), y0_(y0), cols_(cols), band_(band) {}

  RowSpan Row(int r) const {
    RowSpan span;
    const long long y = y0_ + r;
    if (band_ < 0 || band_ >= im_.frames || y < 0 || y >= im_.height) return span;
    span.begin = static_cast<int>(std::clamp<long long>(-x0_, 0, cols_));
    span.end = static_cast<int>(std::clamp<long long>(im_.width - x0_, 0, cols_));
    if (span.begin < span.end) {
      span.first = timage_detail::ElementIndex(im_, static_cast<int>(x0_ + span.begin),
                                               static_cast<int>(y), band_);
    } else {
      span.begin = span.end = 0;
    }
    return span;
  }

 private:
  const TImage& im_;
  long long x0_;
  long long y0_;
  int cols_;
  int band_;
};

// Window row from a float or 16-bit image, elements converted to double.
template <typename Element>
void ReadRow(const unsigned char* data, const RowSpan& span, double* out) {
  for (int c = span.begin; c < span.end; ++c) {
    Element v;
    std::memcpy(&v, data + (span.first + (c - span.begin)) * sizeof v, sizeof v);
    out[c] = static_cast<double>(v);
  }
}

// Enclosing coordinate v as an int, false when it does not fit one (then it
// lies outside every image).
bool FitsInt(long long v) { return v >= INT_MIN && v <= INT_MAX; }

// Reads the window column by column (rows inner), each value cleared first so
// that outside pixels count as 0, sorts the first n values and returns the one
// at index n / 2.
template <typename Element, typename Read>
Element MedianOfWindow(int x, int y, int hx, int hy, int n, size_t visited,
                       int (*compare)(void const*, void const*), Read read) {
  std::vector<Element> values(visited, 0);
  size_t k = 0;
  for (long long X = static_cast<long long>(x) - hx; X <= static_cast<long long>(x) + hx; ++X) {
    for (long long Y = static_cast<long long>(y) - hy; Y <= static_cast<long long>(y) + hy;
         ++Y, ++k) {
      if (FitsInt(X) && FitsInt(Y)) read(static_cast<int>(X), static_cast<int>(Y), &values[k]);
    }
  }
  std::qsort(values.data(), static_cast<size_t>(n), sizeof(Element), compare);
  return values[static_cast<size_t>(n / 2)];
}

}  // namespace

int TImage::GetWindow(int x, int y, TMatrix* window, int band) {
  const int rows = window->nRows;
  const int cols = window->nCols;
  if (rows <= 0 || cols <= 0) return 1;
  const int hx = (cols - 1) / 2;
  const int hy = (rows - 1) / 2;
  // Float and 16-bit windows are taken in local coordinates, every other
  // type in coordinates of the enclosing raster.
  const bool local = type == kTypeFloat || type == kTypeShort;
  long long x0 = static_cast<long long>(x) - hx;
  long long y0 = static_cast<long long>(y) - hy;
  if (!local) {
    x0 -= offset_x;
    y0 -= offset_y;
  }
  const WindowRows walk(*this, x0, y0, cols, band);
  // Of a wider element only the first byte counts, as the band read gives it.
  const size_t bpp = static_cast<size_t>(BytesPerPixel());
  for (int r = 0; r < rows; ++r) {
    double* out = window->elem[r];
    const RowSpan span = walk.Row(r);
    std::fill(out, out + span.begin, 0.0);
    std::fill(out + span.end, out + cols, 0.0);
    if (type == kTypeFloat) {
      ReadRow<float>(data, span, out);
    } else if (type == kTypeShort) {
      ReadRow<short>(data, span, out);
    } else {
      for (int c = span.begin; c < span.end; ++c) {
        out[c] = data[(span.first + (c - span.begin)) * bpp];
      }
    }
  }
  return 1;
}

int TImage::GetWindow(int x, int y, TMask* window, int band) {
  if (type != kTypeByte) return 0;
  const int h = window->nRows;
  const int w = window->nCols;
  if (h <= 0 || w <= 0) return 1;
  const long long x0 = static_cast<long long>(x) - (w - 1) / 2 - offset_x;
  const long long y0 = static_cast<long long>(y) - (h - 1) / 2 - offset_y;
  const WindowRows walk(*this, x0, y0, w, band);
  for (int r = 0; r < h; ++r) {
    unsigned char* out = window->elem + static_cast<size_t>(r) * w;
    const RowSpan span = walk.Row(r);
    std::fill(out, out + w, 0);
    std::copy(data + span.first, data + span.first + (span.end - span.begin), out + span.begin);
  }
  return 1;
}

void TImage::GetWindowMedian(int x, int y, int w, int h, unsigned char* value, int band) {
  if (type != kTypeByte && type != kTypeShort) {
    std::printf("%s", kMedianTypeMessage);
    return;
  }
  if (w <= 0 || h <= 0 || static_cast<long long>(w) * h > INT_MAX) return;
  const int n = w * h;
  const int hx = w / 2;
  const int hy = h / 2;
  // An even size visits one column or row more than n counts: the array holds
  // every visited value, and the first n of them are sorted.
  const size_t visited = static_cast<size_t>(2 * static_cast<long long>(hx) + 1) *
                         static_cast<size_t>(2 * static_cast<long long>(hy) + 1);
  if (type == kTypeByte) {
    value[0] = MedianOfWindow<unsigned char>(
        x, y, hx, hy, n, visited, CompareByte,
        [&](int X, int Y, unsigned char* v) { GetIntensity(X, Y, v, band); });
  } else {
    // 16-bit images are read without the band, so the elements stay whole.
    const short median = MedianOfWindow<short>(
        x, y, hx, hy, n, visited, CompareShort,
        [&](int X, int Y, short* v) { GetIntensity(X, Y, reinterpret_cast<unsigned char*>(v)); });
    std::memcpy(value, &median, sizeof median);
  }
}
