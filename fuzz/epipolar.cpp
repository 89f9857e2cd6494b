// The epipolar pair transform's file.
#include "camera/tepipairtransform.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string name = fuzz::File("e.txt", fuzz::Input(data, size).Rest());
  fuzz::Survives([&] {
    TEpiPairTransform t(name.c_str());
    int row = 10, col = 20, disp = 3;
    t.AToB(&row, &col, &disp);
    t.BToA(&row, &col, &disp);
    double r = 1.5, c = 2.5, d = -3;
    t.AToBdp(&r, &c, &d);
  });
  return 0;
}
