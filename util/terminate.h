// How the library ends the process on a fatal error. Internal to the library:
// a harness that must survive those ends (the fuzz targets) installs its own.
#ifndef KLUTEIDA_UTIL_TERMINATE_H
#define KLUTEIDA_UTIL_TERMINATE_H

namespace kluteida_internal {

// Ends the process with `status` (std::exit), or calls the installed hook,
// which must not return (it may throw: every caller unwinds cleanly).
[[noreturn]] void Terminate(int status);

using TerminateHook = void (*)(int status);
// Installs a hook in place of std::exit (null restores std::exit).
void SetTerminateHook(TerminateHook hook);

}  // namespace kluteida_internal

#endif  // KLUTEIDA_UTIL_TERMINATE_H
