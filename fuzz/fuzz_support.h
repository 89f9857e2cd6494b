// What every fuzz target shares: the library's fatal ends (a described
// refusal of bad input, not a finding) turned into an exception caught around
// each read, the input written as files in a scratch directory in memory,
// and standard output silenced.
#ifndef KLUTEIDA_FUZZ_FUZZ_SUPPORT_H
#define KLUTEIDA_FUZZ_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace fuzz {

// Runs `read`; false when the library ended the process on it (its
// destructors have run, its files are closed).
bool Survives(const std::function<void()>& read);

// The input, consumed from the front.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  // The next byte (0 when none is left).
  uint8_t Byte();
  // A part whose length is the next two bytes (little-endian), cut to what
  // is left.
  std::string Part();
  // Everything that is left.
  std::string Rest();

 private:
  const uint8_t* data_;
  size_t size_;
};

// Writes `bytes` to the scratch file `name` and returns its path.
std::string File(const std::string& name, const std::string& bytes);
// The path of scratch file `name`, not written.
std::string Path(const std::string& name);

}  // namespace fuzz

#endif  // KLUTEIDA_FUZZ_FUZZ_SUPPORT_H
