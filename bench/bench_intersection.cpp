// The per-pixel intersection of a disparity image: Image2Object with a biased
// byte disparity over every pixel of 1024 x 768, against the same through the
// heap-returning closed form (calc_apr_XYZ), in one run.
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench_util.h"
#include "geometry/calc_coord.h"

int main() {
  char dir[] = "/tmp/kluteida_bench_XXXXXX";
  if (!mkdtemp(dir)) return 1;
  const std::string left = std::string(dir) + "/left.cam", right = std::string(dir) + "/right.cam";
  for (const auto& [name, x] : {std::pair{left, 0.0}, std::pair{right, 3000.0}}) {
    std::FILE* f = std::fopen(name.c_str(), "w");
    std::fprintf(f, "0 100 100 0\n384 512\n0 0\n1 0 0\n0 1 0\n0 0 1\n%g 0 100000\n15\n", x);
    std::fclose(f);
  }
  const TCamera c1(left.c_str()), c2(right.c_str());
  unlink(left.c_str()), unlink(right.c_str()), rmdir(dir);

  const int width = 1024, height = 768;
  std::vector<unsigned char> disparity(static_cast<size_t>(width) * height);
  std::mt19937 gen(1);
  for (auto& d : disparity) d = static_cast<unsigned char>(gen() % 64 ? 100 + gen() % 20 : 0);
  long long sum = 0;
  const auto fast = [&] {
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) {
        const TPoint3Di p =
            Image2Object(y, x, disparity[static_cast<size_t>(y) * width + x], c1, c2);
        sum += p.z;
      }
  };
  const auto heap = [&] {
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) {
        const unsigned char d = disparity[static_cast<size_t>(y) * width + x];
        if (d == 0) continue;
        TMatrix f1(3, 1), f2(3, 1);
        f1.elem[0][0] = x * c1.Ainv->elem[0][1] + c1.PixToFilmShift->elem[0][0];
        f1.elem[1][0] = y * c1.Ainv->elem[1][0] + c1.PixToFilmShift->elem[1][0];
        f1.elem[2][0] = -c1.Focal;
        f2.elem[0][0] = (x + (d - 128.0)) * c2.Ainv->elem[0][1] + c2.PixToFilmShift->elem[0][0];
        f2.elem[1][0] = f1.elem[1][0];
        f2.elem[2][0] = -c2.Focal;
        const std::unique_ptr<TMatrix> p(calc_apr_XYZ(c1, c2, f1, f2));
        sum += static_cast<long long>(std::rint(p->elem[2][0]));
      }
  };
  const double t_fast = bench::Best(
      fast, [] {}, 5);
  const double t_heap = bench::Best(
      heap, [] {}, 3);
  std::printf(
      "Image2Object over %d x %d: %.4f s (%.1f ns a pixel); through calc_apr_XYZ %.4f s (%.1fx)\n",
      width, height, t_fast, t_fast * 1e9 / (width * height), t_heap, t_heap / t_fast);
  return sum == 42 ? 1 : 0;  // keeps the work
}
