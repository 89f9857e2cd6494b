#include "util/testtiff.h"

#include <cstring>

int TestTiff(const char* name) {
  const char* dot = std::strrchr(name, '.');
  if (!dot) return 0;
  return std::strncmp(dot, ".tif", 4) == 0 ? 1 : 0;
}
