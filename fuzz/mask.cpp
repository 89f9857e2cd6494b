// The mask file.
#include <cstdio>

#include "fuzz_support.h"
#include "image/tmask.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string name = fuzz::File("m.msk", fuzz::Input(data, size).Rest());
  fuzz::Survives([&] {
    TMask mask(name.c_str());
    mask.And(mask);
    std::FILE* null = std::fopen("/dev/null", "w");
    mask.Dump(null);
    std::fclose(null);
  });
  return 0;
}
