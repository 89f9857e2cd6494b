// The coordinate raster's file pair: a ".dim" header and the raw file.
#include <memory>

#include "fuzz_support.h"
#include "geometry/tcoord.h"
#include "image/timage.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  fuzz::File("r.dim", in.Part());
  const std::string name = fuzz::File("r.cor", in.Rest());
  fuzz::Survives([&] {
    TCoord c(name.c_str());
    c.SetMinMax();
    c.GetCoord(c.x0, c.y0);
    std::unique_ptr<TImage> heights(c.Copy2Image(4, 4, c.x0 - 1, c.y0 - 1, 100));
  });
  return 0;
}
