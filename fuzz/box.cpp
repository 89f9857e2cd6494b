// The box file.
#include "fuzz_support.h"
#include "geometry/tbox.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string name = fuzz::File("b.box", fuzz::Input(data, size).Rest());
  fuzz::Survives([&] {
    TBox2D box;
    box.Init(name.c_str());
    box.Overlap(box);
  });
  return 0;
}
