// The heights of a coordinate raster as a 16-bit image.
#include <memory>

#include "geometry/tcoord.h"
#include "geometry/wrapint.h"
#include "image/timage.h"
#include "util/error_msg.h"

namespace {

constexpr int kMaxImageSide = 65535;

void SetShort(TImage& image, int x, int y, int value) {
  const unsigned short v = static_cast<unsigned short>(value);  // the low 16 bits
  image.SetIntensity(x, y, reinterpret_cast<const unsigned char*>(&v));
}

}  // namespace

TImage* TCoord::Copy2Image(int w, int h, int xs, int ys, int zshift) {
  using geometry_detail::WrapAdd;
  using geometry_detail::WrapSub;
  if (w == 0) w = width;
  if (h == 0) h = height;
  if (w < 0 || h < 0 || w > kMaxImageSide || h > kMaxImageSide) return nullptr;
  auto* image = new TImage(static_cast<unsigned short>(w), static_cast<unsigned short>(h),
                           kTypeShort, 1, nullptr, 0, 0);
  for (int j = 0; j < h; ++j) {
    for (int i = 0; i < w; ++i) {
      const int z = GetCoord(WrapAdd(xs, i), WrapAdd(ys, j)).z;
      SetShort(*image, i, j, z != 0 ? WrapSub(z, zshift) : 0);
    }
  }
  return image;
}

void TCoord::Copy2Image(TImage& image, int xs, int ys) {
  using geometry_detail::WrapAdd;
  if (image.Type() != kTypeShort) error_msg("Image type must be short in Copy2Image\n");
  for (int j = 0; j < image.Height(); ++j) {
    for (int i = 0; i < image.Width(); ++i)
      SetShort(image, i, j, GetCoord(WrapAdd(xs, i), WrapAdd(ys, j)).z);
  }
}

int TCoord::SaveAsImage(const char* name, int zshift) {
  const std::unique_ptr<TImage> image(Copy2Image(0, 0, 0, 0, zshift));
  return image ? image->Save(name) : 0;
}
