// The real-space candidate method: against its window-by-window reference
// (with the plain candidate list) on a 256 x 192 three-band crop with 48
// disparities, then alone on 1024 x 768 and 2048 x 1536 with 64 disparities,
// each run in a child process for its peak memory.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench_util.h"
#include "correlation_reference.h"
#include "image/tcandidatelist.h"
#include "image/tdispimage.h"

namespace {

struct Pair {
  std::unique_ptr<TImage> left, right;
};

// A smoothed random texture; the right image holds the left pixel (x, y) at
// x + d, d a smooth field in [4, 4 + range).
Pair MakePair(int width, int height, int range) {
  std::mt19937 gen(5);
  const size_t plane = static_cast<size_t>(width) * height;
  auto* left = static_cast<unsigned char*>(std::malloc(plane * 3));
  auto* right = static_cast<unsigned char*>(std::malloc(plane * 3));
  std::vector<int> raw(plane * 3);
  for (int& v : raw) v = static_cast<int>(gen() % 256);
  for (size_t i = 0; i < raw.size(); ++i) {
    const size_t x = i % width;
    left[i] = static_cast<unsigned char>(
        (raw[i] * 2 + raw[x + 1 < static_cast<size_t>(width) ? i + 1 : i]) / 3);
    right[i] = static_cast<unsigned char>(gen() % 256);
  }
  for (int b = 0; b < 3; ++b)
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) {
        const int d =
            4 + static_cast<int>((range - 4) * (0.5 + 0.5 * std::sin(x * 0.01 + y * 0.005)));
        if (x + d < width) right[b * plane + y * width + x + d] = left[b * plane + y * width + x];
      }
  return {std::make_unique<TImage>(width, height, kTypeByte, 3, left, 0, 0),
          std::make_unique<TImage>(width, height, kTypeByte, 3, right, 0, 0)};
}

struct Run {
  double seconds = 0;  // the median of the calls
  double first = 0;    // the first call, which also pays for fresh memory
  long peak_kb = 0;
  std::string image;
};

// A method under test: fills the disparity image from the pair.
using Method = std::function<void(const Pair&, TDispImage&)>;

// In a child with standard output silenced, makes the pair (untimed), then
// calls `method` `calls` times: the first and the median time, the peak
// memory and the disparity image, passed back through a scratch file.
Run InChild(int width, int height, int maxd, int calls, const Method& method) {
  char path[] = "/tmp/kluteida_realspace_XXXXXX";
  const int fd = mkstemp(path);
  close(fd);
  std::fflush(stdout);
  const pid_t pid = fork();
  if (pid == 0) {
    const Pair pair = MakePair(width, height, maxd);
    std::vector<double> seconds;
    std::string image;
    {
      bench::QuietStdout quiet;
      for (int i = 0; i < calls; ++i) {
        TDispImage out(width, height);
        seconds.push_back(bench::Seconds([&] { method(pair, out); }));
        image.assign(reinterpret_cast<const char*>(out.data), out.Size());
      }
    }
    const double first = seconds[0];
    std::sort(seconds.begin(), seconds.end());
    std::FILE* f = std::fopen(path, "w");
    std::fprintf(f, "%.6f %.6f\n", seconds[seconds.size() / 2], first);
    std::fwrite(image.data(), 1, image.size(), f);
    std::fclose(f);
    _exit(0);
  }
  int status = 0;
  rusage usage{};
  wait4(pid, &status, 0, &usage);
  Run r;
  r.peak_kb = usage.ru_maxrss;
  std::FILE* f = std::fopen(path, "r");
  if (f && std::fscanf(f, "%lf %lf\n", &r.seconds, &r.first) == 2) {
    for (int c; (c = std::fgetc(f)) != EOF;) r.image += static_cast<char>(c);
  }
  if (f) std::fclose(f);
  unlink(path);
  return r;
}

Run Library(int width, int height, int maxd, int calls = 1) {
  return InChild(width, height, maxd, calls, [=](const Pair& p, TDispImage& out) {
    TCandidateList list(height, 10, 10);
    out.CalculateCorrelations3BandRealSpace(p.left.get(), p.right.get(), 0, maxd, 0.5, list);
  });
}

}  // namespace

int main() {
  SetCorrelationThreads(1);  // figures for one thread; bench_correlation --threads compares
  // Five calls on each side, in one process each: the median, and the first
  // call alone.
  const Run small = Library(256, 192, 48, 5);
  const Run literal = InChild(256, 192, 48, 5, [](const Pair& p, TDispImage& out) {
    reference::LiteralList list(192, 10, 10);
    reference::CalculateCorrelations3BandRealSpace(out, p.left.get(), p.right.get(), 0, 48, 0.5,
                                                   list);
  });
  std::printf(
      "256 x 192, 48 disparities: library %.3f s, reference %.3f s, %.0fx (target >= 30) %s; "
      "first calls %.3f s and %.3f s, %.0fx; %s\n",
      small.seconds, literal.seconds, literal.seconds / small.seconds,
      literal.seconds / small.seconds >= 30 ? "ok" : "MISSED", small.first, literal.first,
      literal.first / small.first, small.image == literal.image ? "same image" : "DIFFERENT");
  const Run full = Library(1024, 768, 64);
  const Run large = Library(2048, 1536, 64);
  std::printf("1024 x 768, 64 disparities: %.3f s, peak %ld MB\n", full.seconds,
              full.peak_kb / 1024);
  std::printf(
      "2048 x 1536, 64 disparities: %.3f s, peak %ld MB, %.2fx the time of 1024 x 768 (target <= "
      "5)\n",
      large.seconds, large.peak_kb / 1024, large.seconds / full.seconds);
  return small.image == literal.image ? 0 : 1;
}
