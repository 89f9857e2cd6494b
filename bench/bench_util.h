// Timing and output helpers shared by the benchmark programs.
#ifndef KLUTEIDA_BENCH_BENCH_UTIL_H
#define KLUTEIDA_BENCH_BENCH_UTIL_H

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>

namespace bench {

// Wall-clock seconds of one run of `work`.
inline double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The best of `runs` runs of `work`: keeps other work on a shared machine out
// of the figure. `prepare` runs untimed before each run.
inline double Best(
    const std::function<void()>& work, const std::function<void()>& prepare = [] {}, int runs = 3) {
  double best = 1e30;
  for (int run = 0; run < runs; ++run) {
    prepare();
    best = std::min(best, Seconds(work));
  }
  return best;
}

// Standard output goes to /dev/null while it lives: the library's progress
// and reader messages stay out of the bench's report.
class QuietStdout {
 public:
  QuietStdout() : saved_(dup(1)) {
    std::fflush(stdout);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    close(null);
  }
  ~QuietStdout() {
    std::fflush(stdout);
    dup2(saved_, 1);
    close(saved_);
  }
  QuietStdout(const QuietStdout&) = delete;
  QuietStdout& operator=(const QuietStdout&) = delete;

 private:
  int saved_;
};

}  // namespace bench

#endif  // KLUTEIDA_BENCH_BENCH_UTIL_H
