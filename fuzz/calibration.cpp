// The second camera's calibration file with its correction grids.
#include <memory>

#include "camera/tcamvor.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string name = fuzz::File("c.txt", fuzz::Input(data, size).Rest());
  fuzz::Survives([&] {
    TCamvor camera(name.c_str());
    TMatrix pixel(2, 1);
    pixel.elem[0][0] = 15.5, pixel.elem[1][0] = 20.25;
    std::unique_ptr<TMatrix> film(camera.PixelToFilm(pixel));
    std::unique_ptr<TMatrix> back(camera.FilmToPixel(*film));
    camera.Save(fuzz::Path("s.txt").c_str());
  });
  return 0;
}
