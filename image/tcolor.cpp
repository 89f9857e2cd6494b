#include "image/tcolor.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

const unsigned char TColor::ColorTab[8][3] = {
    {0, 0, 0},     {255, 0, 0},     {0, 255, 0},   {0, 0, 255},
    {255, 255, 0}, {255, 255, 255}, {0, 255, 255}, {255, 0, 255},
};
int TColor::ColorTabSize = 8;
TColor TColor::scolor(8);

namespace {

constexpr int kRandomColor = 8;
constexpr int kSessionColor = 9;

// rand() scaled by 1/128 in single precision, truncated, low 8 bits.
unsigned char RandomByte() {
  const float scaled = static_cast<float>(std::rand()) * 0.0078125f;
  return static_cast<unsigned char>(static_cast<std::int64_t>(scaled) & 0xFF);
}

// Truncation toward zero kept to 8 bits.
unsigned char LowByte(double v) {
  return static_cast<unsigned char>(static_cast<std::int64_t>(v) & 0xFF);
}

}  // namespace

TColor::TColor(int index) : red(0), green(0), blue(0) {
  if (index >= 0 && index < ColorTabSize) {
    red = ColorTab[index][0];
    green = ColorTab[index][1];
    blue = ColorTab[index][2];
  } else if (index == kRandomColor) {
    red = RandomByte();
    green = RandomByte();
    blue = RandomByte();
  } else if (index == kSessionColor) {
    *this = scolor;
  }
}

unsigned char TColor::Intensity() const {
  return static_cast<unsigned char>((red + green + blue) / 3);
}

unsigned char TColor::Saturation() const {
  const unsigned char intensity = Intensity();
  // Intensity 0 (then the lowest channel is 0 too) would divide 0 by 0; the
  // NaN becomes 0 on the platforms this code comes from, so give 0.
  if (intensity == 0) return 0;
  const int lowest = std::min<int>(green, std::min<int>(red, blue));
  return LowByte((1.0 - static_cast<double>(lowest) / intensity) * 255.0);
}

unsigned char TColor::Hue() const {
  const double r = red, g = green, b = blue;
  const double x = std::sqrt(3.0) * (g - b);
  const double y = 2.0 * r - g - b;
  double h = M_PI / 2.0 - std::atan2(y, x);
  if (g < b) h += M_PI;
  return LowByte(h * 40.58451048843331);  // 255 / (2 pi)
}

unsigned char TColor::GetChannel(int channel) const {
  switch (channel) {
    case 1:
      return red;
    case 2:
      return green;
    case 3:
      return blue;
    default:
      return 0;
  }
}
