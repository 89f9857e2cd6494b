// Element reads and writes in coordinates of the enclosing raster, and the
// bilinear sub-pixel reads.
#include <climits>
#include <cmath>
#include <cstring>

#include "image/timage.h"

namespace {

// Local coordinate of enclosing coordinate v. Values that do not fit an int
// are outside every image and come back as -1.
int ToLocal(int v, int offset) {
  const long long local = static_cast<long long>(v) - offset;
  if (local < 0 || local > INT_MAX) return -1;
  return static_cast<int>(local);
}

// Local column or row of the top-left neighbour of a sub-pixel position:
// floor(v) as an int, minus the offset. False for NaN and for values whose
// floor does not fit an int.
bool FloorToLocal(double v, int offset, long long* local) {
  const double f = std::floor(v);
  if (!(f >= INT_MIN && f <= INT_MAX)) return false;
  *local = static_cast<long long>(f) - offset;
  return true;
}

// The top-left neighbour (ix, iy) of a sub-pixel read. False when the point
// is refused: the last column and the last row have no right or lower
// neighbour.
bool LocateSubPixel(const TImage& im, double x, double y, int* ix, int* iy) {
  long long lx = 0;
  long long ly = 0;
  if (!FloorToLocal(x, im.offset_x, &lx) || !FloorToLocal(y, im.offset_y, &ly)) return false;
  if (lx < 0 || lx >= im.width - 1 || ly < 0 || ly >= im.height - 1) return false;
  *ix = static_cast<int>(lx);
  *iy = static_cast<int>(ly);
  return true;
}

double Bilinear(double a, double b, double c, double d, double s, double t) {
  // order of the products and of the sum is part of the result
  return a * (1 - s) * (1 - t) + b * s * (1 - t) + c * (1 - s) * t + d * s * t;
}

// Truncation toward zero, low 8 bits kept. With offsets the weights are not
// fractions and the value can leave 0..255 or even the 64-bit range: the latter
// (and NaN) gives 0.
unsigned char TruncateToByte(double v) {
  if (!(v > -9.0e18 && v < 9.0e18)) return 0;
  return static_cast<unsigned char>(static_cast<long long>(v));
}

double DoubleAt(const unsigned char* data, size_t i) {
  double v;
  std::memcpy(&v, data + i * 8, sizeof v);
  return v;
}

// Bilinear value of the four byte neighbours from element index i on.
unsigned char ByteBilinear(const TImage& im, size_t i, double s, double t) {
  const unsigned char* p = im.data;
  return TruncateToByte(Bilinear(p[i], p[i + 1], p[i + im.width], p[i + im.width + 1], s, t));
}

}  // namespace

int TImage::GetIntensity(int x, int y, unsigned char* value) {
  return GetIntensityDirect(ToLocal(x, offset_x), ToLocal(y, offset_y), value);
}

int TImage::GetIntensity(TPoint& p, unsigned char* value) { return GetIntensity(p.x, p.y, value); }

int TImage::SetIntensity(int x, int y, const unsigned char* value) {
  return SetIntensityDirect(ToLocal(x, offset_x), ToLocal(y, offset_y), value);
}

int TImage::SetIntensity(int x, int y, const unsigned char* value, int band) {
  return SetIntensityDirect(ToLocal(x, offset_x), ToLocal(y, offset_y), value, band);
}

int TImage::SetIntensity(TPoint& p, const unsigned char* value) {
  return SetIntensity(p.x, p.y, value);
}

namespace {

// The sub-pixel read of frame `band`: double images are interpolated only when
// `interpolate_double`; float, complex and 16-bit images give the element at
// the integer position; every other type the bilinear byte.
int SubPixel(TImage& image, double x, double y, unsigned char* value, int band,
             bool interpolate_double) {
  int ix = 0;
  int iy = 0;
  if (band < 0 || band >= image.frames || !LocateSubPixel(image, x, y, &ix, &iy)) return 0;
  // From the local integer position: with offsets these are not fractions.
  const double s = x - ix;
  const double t = y - iy;
  const size_t i = timage_detail::ElementIndex(image, ix, iy, band);
  const unsigned char* data = image.data;
  const size_t width = image.width;
  switch (image.type) {
    case kTypeDouble:
      if (interpolate_double) {
        const double v = Bilinear(DoubleAt(data, i), DoubleAt(data, i + 1),
                                  DoubleAt(data, i + width), DoubleAt(data, i + width + 1), s, t);
        std::memcpy(value, &v, sizeof v);
        return 1;
      }
      [[fallthrough]];
    case kTypeFloat:
    case kTypeComplex:
    case kTypeShort:
      timage_detail::LoadElement(image.type, data, i, value);
      return 1;
    default:
      value[0] = ByteBilinear(image, i, s, t);
      return 1;
  }
}

}  // namespace

int TImage::GetSubPixelIntensity(double x, double y, unsigned char* value) {
  return SubPixel(*this, x, y, value, 0, true);
}

int TImage::GetSubPixelIntensity(double x, double y, unsigned char* value, int band) {
  return SubPixel(*this, x, y, value, band, false);
}

int TImage::Average(unsigned char*) { return 1; }

int TImage::Threshold(unsigned char*) { return 1; }
