#include "util/terminate.h"

#include <cstdlib>

namespace kluteida_internal {

namespace {
TerminateHook hook = nullptr;
}  // namespace

void Terminate(int status) {
  if (hook) hook(status);
  std::exit(status);
}

void SetTerminateHook(TerminateHook h) { hook = h; }

}  // namespace kluteida_internal
