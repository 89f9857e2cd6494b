#include "util/error_msg.h"
#include "util/terminate.h"

#include <cstdio>
#include <cstdlib>

void error_msg(const char* text) {
  std::printf(" %s. Terminated\n", text);
  kluteida_internal::Terminate(-1);
}
