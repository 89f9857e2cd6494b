// FFT and IFFT against the plain form of the algorithm, a direct DFT, and
// their kept tables.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "fft_literal.h"
#include "image/fft.h"
#include "test_support.h"

namespace {

std::vector<TComplex> Random(int m, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> dist(-1000.0f, 1000.0f);
  std::vector<TComplex> x(size_t{1} << m);
  for (TComplex& v : x) v = TComplex(dist(gen), dist(gen));
  return x;
}

bool SameBits(const std::vector<TComplex>& a, const std::vector<TComplex>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0;
}

TEST(Fft, BitIdenticalToThePlainFormAcrossSizeChanges) {
  // Sizes in an order that rebuilds each table, returns to an earlier size and
  // covers the cache-blocked stages (m above 14).
  for (const int m : {1, 2, 3, 5, 4, 10, 17, 5, 16}) {
    for (const bool inverse : {false, true}) {
      SCOPED_TRACE("m " + std::to_string(m) + (inverse ? " inverse" : " forward"));
      std::vector<TComplex> x = Random(m, static_cast<unsigned>(m) * 2 + inverse);
      std::vector<TComplex> expected = x;
      literal::Fft(expected.data(), m, inverse ? 1.0f : -1.0f);
      testing::internal::CaptureStdout();
      EXPECT_EQ(inverse ? IFFT(x.data(), m) : FFT(x.data(), m), 0);
      testing::internal::GetCapturedStdout();
      EXPECT_TRUE(SameBits(x, expected));
    }
  }
}

TEST(Fft, AgreesWithTheDirectTransformAndInvertsItself) {
  const int m = 7;
  const int n = 1 << m;
  std::vector<TComplex> x = Random(m, 7);
  std::vector<TComplex> y = x;
  testing::internal::CaptureStdout();
  FFT(y.data(), m);
  for (int k = 0; k < n; ++k) {
    std::complex<double> sum = 0;
    for (int j = 0; j < n; ++j)
      sum += std::complex<double>(x[j].re, x[j].im) * std::polar(1.0, -2 * M_PI * j * k / n);
    EXPECT_NEAR(y[k].re, sum.real(), 0.05) << k;
    EXPECT_NEAR(y[k].im, sum.imag(), 0.05) << k;
  }
  IFFT(y.data(), m);
  testing::internal::GetCapturedStdout();
  for (int j = 0; j < n; ++j) {
    EXPECT_NEAR(y[j].re, x[j].re, 0.01) << j;  // values up to 1000
    EXPECT_NEAR(y[j].im, x[j].im, 0.01) << j;
  }
}

TEST(Fft, TablesAreRebuiltOnlyOnASizeChangeAndKeptApart) {
  const testsupport::ChildResult run = testsupport::RunInChild([] {
    std::vector<TComplex> x(1 << 4);
    FFT(x.data(), 0), IFFT(x.data(), 0);  // no table left by earlier tests
    std::printf("[start]");
    const auto mark = [](const char* text) {
      std::printf("[%s]", text);
      std::fflush(stdout);
    };
    FFT(x.data(), 3), mark("F3");
    FFT(x.data(), 3), mark("F3 again");
    IFFT(x.data(), 3), mark("I3");  // its own table
    FFT(x.data(), 4), mark("F4");
    IFFT(x.data(), 3), mark("I3 kept");
    FFT(x.data(), 3), mark("F3 rebuilt");
    std::printf("%d", FFT(x.data(), 0)), mark("F0");  // releases the table
    std::printf("%d", FFT(x.data(), 0)), mark("F0 again");
    FFT(x.data(), 3), mark("F3 after 0");
  });
  const std::string built = "constructing w array... OK\n";
  EXPECT_EQ(run.out.substr(run.out.find("[start]") + 7),
            built + "[F3][F3 again]" + built + "[I3]" + built + "[F4][I3 kept]" + built +
                "[F3 rebuilt]constructing w array... 1[F0]1[F0 again]" + built + "[F3 after 0]");
  EXPECT_EQ(run.status, 0);
}

TEST(Fft, RefusesSizesItCannotTransform) {
  const testsupport::ChildResult run = testsupport::RunInChild([] {
    TComplex x[2] = {TComplex(1, 2), TComplex(3, 4)};
    FFT(x, 0), IFFT(x, 0);  // no table left by earlier tests
    std::printf("[start]");
    std::printf("%d %d %d %d ", FFT(x, -1), IFFT(x, -5), FFT(x, 31), IFFT(x, 0));
    std::printf("%g %g %g %g", x[0].re, x[0].im, x[1].re, x[1].im);
  });
  EXPECT_EQ(run.out.substr(run.out.find("[start]") + 7), "4 4 4 1 1 2 3 4");
}

TEST(Fft, ATableThatCannotBeAllocatedIsNotKept) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the address sanitizer reserves more address space than the limit allows";
#endif
  const testsupport::ChildResult run = testsupport::RunInChild([] {
    const rlimit limit = {size_t{1} << 31, size_t{1} << 31};
    setrlimit(RLIMIT_AS, &limit);
    std::vector<TComplex> x(8, TComplex(1, 0));
    FFT(x.data(), 0);
    std::printf("[start]");
    const int refused = FFT(x.data(), 30);  // a 4 GiB table
    const int done = FFT(x.data(), 3);
    std::printf("%d %d %g %g", refused, done, x[0].re, x[1].re);
  });
  EXPECT_EQ(run.out.substr(run.out.find("[start]") + 7),
            "constructing w array... constructing w array... OK\n4 0 8 0");
}

}  // namespace
