// The coordinate raster's text form.
#include "fuzz_support.h"
#include "geometry/tcoord.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string name = fuzz::File("t.txt", fuzz::Input(data, size).Rest());
  fuzz::Survives([&] {
    TCoord c(2, 2, 0, TPoint3Di(1, 2, 3), 0, 0);
    c.Initialize(name.c_str());
    c.SetMinMax();
    c.SetCoord(0, 0, TPoint3Di(4, 5, 6));
  });
  return 0;
}
