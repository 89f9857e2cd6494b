// The colour of a point: the byte-image fast path against the band-by-band
// reads, over pixels inside and outside the image; and which fetches do not
// depend on the colour before.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ostream>
#include <string>

#include "image/timage.h"
#include "tools/export.h"

namespace {

struct Layout {
  int width, height, frames, offset_x, offset_y;
};

std::ostream& operator<<(std::ostream& os, const Layout& l) {
  return os << l.width << "x" << l.height << ", " << l.frames << " bands, offset " << l.offset_x
            << " " << l.offset_y;
}

class FetchColourTest : public ::testing::TestWithParam<Layout> {};

TEST_P(FetchColourTest, SameBytesAsReadingEachBand) {
  const Layout l = GetParam();
  const size_t count = static_cast<size_t>(l.width) * l.height * l.frames;
  auto* data = static_cast<unsigned char*>(std::calloc(count, 1));
  for (size_t k = 0; k < count; ++k) data[k] = static_cast<unsigned char>(k * 29 + 7);
  TImage image(static_cast<unsigned short>(l.width), static_cast<unsigned short>(l.height),
               kTypeByte, static_cast<unsigned short>(l.frames), data, l.offset_x, l.offset_y);
  // Walk a window larger than the image, both buffers carried along as the
  // export carries its colour from point to point.
  unsigned char fast[3] = {1, 2, 3}, plain[3] = {1, 2, 3};
  for (int y = l.offset_y - 2; y < l.offset_y + l.height + 2; ++y)
    for (int x = l.offset_x - 2; x < l.offset_x + l.width + 2; ++x) {
      FetchColour(image, x, y, fast);
      FetchColourByBands(image, x, y, plain);
      ASSERT_EQ(std::string(fast, fast + 3), std::string(plain, plain + 3)) << x << " " << y;
      // A fetch said to set every byte gives the same from any start.
      unsigned char other[3] = {200, 1, 77};
      const ColourRow row(image, y);
      if (row.Determines(x)) {
        row.Fetch(x, other);
        ASSERT_EQ(std::string(other, other + 3), std::string(fast, fast + 3)) << x << " " << y;
      }
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, FetchColourTest,
                         ::testing::Values(Layout{5, 4, 1, 0, 0}, Layout{5, 4, 2, 3, -2},
                                           Layout{3, 6, 3, -7, 11}, Layout{4, 3, 5, 1, 1},
                                           Layout{1, 1, 3, 0, 0}, Layout{3, 2, 0, 0, 0}));

}  // namespace
