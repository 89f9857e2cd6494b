// The frame camera's file.
#include <memory>

#include "camera/tcamera.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string name = fuzz::File("c.cam", fuzz::Input(data, size).Rest());
  fuzz::Survives([&] {
    TCamera camera(name.c_str());
    TMatrix pixel(2, 1);
    pixel.elem[0][0] = 100, pixel.elem[1][0] = 200;
    std::unique_ptr<TMatrix> film(camera.PixelToFilm(pixel));
    std::unique_ptr<TMatrix> back(camera.FilmToPixel(*film));
    camera.Save(fuzz::Path("s.cam").c_str());
  });
  return 0;
}
