#include "util/error_msg.h"

#include <cstdio>
#include <cstdlib>

void error_msg(const char* text) {
  std::printf(" %s. Terminated\n", text);
  std::exit(-1);
}
