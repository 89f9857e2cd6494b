#include "util/compare.h"

int CompareByte(void const* a, void const* b) {
  return CompareT(static_cast<const unsigned char*>(a), static_cast<const unsigned char*>(b));
}

int CompareShort(void const* a, void const* b) {
  return CompareT(static_cast<const short*>(a), static_cast<const short*>(b));
}
