// Every image format, chosen by the first byte: the headerless ones as a
// ".dim" companion and the pixel file, the others whole; and the reader of
// raw files of given geometry.
#include <cstdlib>
#include <memory>

#include "fuzz_support.h"
#include "image/timage.h"
#include "math/tmatrix.h"

namespace {

const char* const kExtensions[] = {"uml", "txt", "xv", "ima", "imw", "imf", "rvb", "pgm", "tif"};
constexpr int kFormats = sizeof kExtensions / sizeof kExtensions[0];

// Reads a few pixels, a window and a subsampled copy, so that a buffer that
// does not match the geometry shows.
void Use(TImage& image) {
  unsigned char value[8] = {};
  for (int i = 0; i < 4; ++i) {
    image.GetIntensity(image.offset_x + i * image.width / 4, image.offset_y + i * image.height / 4,
                       value, i % (image.frames + 1));
    image.GetIntensityDirect(image.width - 1, image.height - 1, value);
  }
  TMatrix window(3, 3);
  if (image.type == kTypeByte) image.GetWindow(image.offset_x + 1, image.offset_y + 1, &window, 0);
  // Whole-image passes only on small images: a big one costs milliseconds
  // under the sanitizers and finds nothing a small one would not.
  if (static_cast<long long>(image.width) * image.height * image.frames > 65536) return;
  std::unique_ptr<TImage> half(image.Subsampling(2));
  std::free(image.BmpData());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const int choice = in.Byte() % (kFormats + 1);
  if (choice == kFormats) {  // raw file of given geometry
    const int w = in.Byte(), h = in.Byte(), skip = in.Byte();
    const unsigned char type = in.Byte() % 10;
    const std::string name = fuzz::File("r.raw", in.Rest());
    fuzz::Survives([&] {
      TImage image(name.c_str(), w, h, type, 1, skip);
      Use(image);
    });
    return 0;
  }
  const std::string ext = kExtensions[choice];
  if (ext == "ima" || ext == "imw" || ext == "imf" || ext == "rvb") fuzz::File("i.dim", in.Part());
  const std::string name = fuzz::File("i." + ext, in.Rest());
  fuzz::Survives([&] {
    TImage image(name.c_str());
    Use(image);
  });
  return 0;
}
