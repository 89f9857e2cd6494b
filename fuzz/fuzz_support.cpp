#include "fuzz_support.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "util/terminate.h"

namespace fuzz {

namespace {

struct FatalEnd {};

[[noreturn]] void Throw(int) { throw FatalEnd{}; }

// The scratch directory, made once, and the fatal ends hooked.
// Kept for the life of the process: the exit handler that removes the
// directory runs after static strings are destroyed.
const std::string& Directory() {
  static const std::string* const dir = [] {
    char name[] = "/dev/shm/kluteida_fuzz_XXXXXX";
    char tmp[] = "/tmp/kluteida_fuzz_XXXXXX";
    const char* made = mkdtemp(name);
    if (!made) made = mkdtemp(tmp);
    if (!made) std::abort();
    std::atexit([] { std::filesystem::remove_all(Directory()); });
    kluteida_internal::SetTerminateHook(Throw);
    // The readers' progress text is of no interest here.
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    close(null);
    return new std::string(made);
  }();
  return *dir;
}

}  // namespace

bool Survives(const std::function<void()>& read) {
  Directory();
  try {
    read();
    return true;
  } catch (const FatalEnd&) {
    return false;
  }
}

uint8_t Input::Byte() {
  if (size_ == 0) return 0;
  --size_;
  return *data_++;
}

std::string Input::Part() {
  size_t n = Byte();
  n |= static_cast<size_t>(Byte()) << 8;
  n = std::min(n, size_);
  std::string part(reinterpret_cast<const char*>(data_), n);
  data_ += n;
  size_ -= n;
  return part;
}

std::string Input::Rest() {
  std::string rest(reinterpret_cast<const char*>(data_), size_);
  data_ += size_;
  size_ = 0;
  return rest;
}

std::string Path(const std::string& name) { return Directory() + "/" + name; }

std::string File(const std::string& name, const std::string& bytes) {
  const std::string path = Path(name);
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) std::abort();
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
  return path;
}

}  // namespace fuzz
