// FFT: a 2^20-point forward transform with its table built, against the plain
// form of the algorithm (its table built too), in one run.
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "bench_util.h"
#include "fft_literal.h"
#include "image/fft.h"

int main() {
  const int m = 20;
  std::vector<TComplex> input(size_t{1} << m);
  std::mt19937 gen(1);
  std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
  for (TComplex& v : input) v = TComplex(dist(gen), dist(gen));

  std::vector<TComplex> library = input, plain = input;
  {
    bench::QuietStdout quiet;
    FFT(library.data(), m);  // builds the table
  }
  const std::vector<TComplex> table = literal::Table(m, -1.0f);
  const double t_library =
      bench::Best([&] { FFT(library.data(), m); }, [&] { library = input; }, 7);
  const double t_plain =
      bench::Best([&] { literal::Transform(plain.data(), m, table); }, [&] { plain = input; }, 5);
  const bool same = std::memcmp(library.data(), plain.data(), input.size() * sizeof(TComplex)) == 0;
  std::printf("FFT of 2^%d points: library %.4f s, plain form %.4f s, %.1fx, %s\n", m, t_library,
              t_plain, t_plain / t_library, same ? "bit-identical" : "DIFFERENT");
  return same ? 0 : 1;
}
