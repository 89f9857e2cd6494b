// The scores of every kernel level against the TMatrix arithmetic bit for bit
// (the comparison of whole methods sees only the bytes a score decides), and
// the score bound of the candidate search on windows chosen to strain it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

#include "correlation_scene.h"
#include "image/correlation_bounds.h"
#include "image/correlation_engine.h"
#include "image/correlation_rows.h"
#include "image/median.h"
#include "math/tmatrix.h"

namespace {

using correlation::KernelLevel;
using scene::Geometry;

// Restores the engine's kernel level at the end of a test.
struct LevelGuard {
  ~LevelGuard() { correlation::SetKernelLevel(correlation::BestKernelLevel()); }
};

bool SameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// The score of the window-by-window computation.
double MatrixScore(TImage& left, TImage& right, int x, int u, int y, int band, int k) {
  TMatrix a(k, k), b(k, k);
  left.GetWindow(x, y, &a, band);
  right.GetWindow(u, y, &b, band);
  a.Normalize();
  b.Normalize();
  return b.InnerProduct(&a) / (a.StandardDeviation() * b.StandardDeviation() * (k * k));
}

// Float values of very different magnitudes: any change in the order of a
// sum, or a fused multiply-add, shows in the last bits.
std::unique_ptr<TImage> WideRangeFloats(int w, int h, int frames, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> unit(-0.5, 0.5);
  std::uniform_real_distribution<double> exponent(-10.0, 10.0);
  return scene::Make(Geometry{w, h, kTypeFloat, frames, 0, 0},
                     [&](int, int, int) { return unit(gen) * std::pow(10.0, exponent(gen)); });
}

// The sequential sum of the products of two normalised windows against the
// same sum in pairs and with fused multiply-adds: they must differ somewhere,
// or the comparisons below could not see such a change.
TEST(ScoreKernels, DataShowsTheOrderOfTheSums) {
  const auto image = WideRangeFloats(40, 12, 1, 5);
  int reordered = 0, fused = 0;
  for (int x = 4; x < 30; ++x) {
    TMatrix a(9, 9), b(9, 9);
    image->GetWindow(x, 5, &a, 0);
    image->GetWindow(x + 3, 5, &b, 0);
    a.Normalize();
    b.Normalize();
    double sequential = 0.0, pairs[2] = {0.0, 0.0}, fma = 0.0;
    for (int i = 0; i < 81; ++i) {
      const double ea = a.elem[i / 9][i % 9], eb = b.elem[i / 9][i % 9];
      sequential = sequential + eb * ea;
      pairs[i % 2] = pairs[i % 2] + eb * ea;
      fma = std::fma(eb, ea, fma);
    }
    reordered += !SameBits(sequential, pairs[0] + pairs[1]);
    fused += !SameBits(sequential, fma);
  }
  EXPECT_GT(reordered, 5);
  EXPECT_GT(fused, 5);
}

// Every candidate of a block of reference pixels, one and three bands, every
// window size, at every kernel level.
TEST(ScoreKernels, BlockScoresAreTheMatrixScores) {
  LevelGuard guard;
  const auto left = WideRangeFloats(48, 14, 3, 1);
  const auto right = WideRangeFloats(44, 14, 3, 2);
  for (const KernelLevel level : scene::Levels()) {
    correlation::SetKernelLevel(level);
    for (const int k : {3, 5, 7, 9}) {
      for (const int bands : {1, 3}) {
        const int h = (k - 1) / 2, y = 6, x0 = 12, mind = -7;
        correlation::PairRows rows(*left, *right, bands, k);
        rows.Build(y, h, 48 - h, h, 44 - h);
        correlation::CurveBlock block;
        correlation::Span spans[correlation::kLanes];
        // Spans of different lengths and places.
        for (int l = 0; l < 8; ++l) spans[l] = {x0 + l - 7 + l % 3, x0 + l + 6 - l % 2};
        block.Compute(rows, x0, spans, mind);
        for (int l = 0; l < correlation::kLanes; ++l) {
          const int x = x0 + l;
          for (long long u = spans[l].lo; u < spans[l].hi; ++u) {
            const long long i = u - x - mind;
            double s[3];
            for (int b = 0; b < bands; ++b) {
              s[b] = MatrixScore(*left, *right, x, static_cast<int>(u), y, b, k);
              ASSERT_TRUE(SameBits(block.BandScore(b, l, i), s[b]))
                  << "level " << int(level) << " k " << k << " x " << x << " u " << u;
            }
            const double entry = bands == 3 ? Median(s[0], s[1], s[2]) : s[0];
            ASSERT_TRUE(SameBits(block.Value(l, i), entry));
          }
        }
      }
    }
  }
}

// Pairs of integer windows scored by the candidate search, in every pattern
// of columns its kernel loads differently (in a row, in two or three runs,
// scattered), at every kernel level.
template <typename T>
void CheckPairScores(unsigned char type, int bands, int k) {
  const int w = 60, h = 14, margin = (k - 1) / 2, y = 7;
  const scene::Texture texture(w, h, 3, 9, type == kTypeShort ? 65535.0 : 255.0);
  const auto left = scene::Make(Geometry{w, h, type, 3, 0, 0}, texture);
  const auto right = scene::Make(Geometry{w, h, type, 3, 2, 0}, texture);
  correlation::CandidateFilter<T> filter(*left, *right, bands, k, margin, w - margin, margin,
                                         w - margin, -20, 20);
  filter.StartRow(y);
  std::vector<long long> xs, us;
  const auto add = [&](long long x, long long u) {
    xs.push_back(x);
    us.push_back(u);
  };
  for (int l = 0; l < 8; ++l) add(10 + l, 14 + l);                     // one run
  for (int l = 0; l < 8; ++l) add(20 + l, 20 + l + (l < 5 ? 1 : 3));   // two runs
  for (int l = 0; l < 8; ++l) add(30 + l, 31 + l + (l % 7 == 3) * 4);  // three runs
  for (int l = 0; l < 8; ++l) add(10 + 3 * l, 40 - 2 * l);             // scattered
  for (int l = 0; l < 5; ++l) add(40 + l, 44 + l);                     // a short last batch
  std::vector<double> band_scores[3], values;
  filter.Score(xs, us, band_scores, &values);
  for (size_t i = 0; i < xs.size(); ++i) {
    double s[3];
    for (int b = 0; b < bands; ++b) {
      s[b] = MatrixScore(*left, *right, static_cast<int>(xs[i]), static_cast<int>(us[i]), y, b, k);
      ASSERT_TRUE(SameBits(band_scores[b][i], s[b])) << "pair " << i << " band " << b;
    }
    ASSERT_TRUE(SameBits(values[i], bands == 3 ? Median(s[0], s[1], s[2]) : s[0]));
  }
}

TEST(ScoreKernels, PairScoresAreTheMatrixScores) {
  LevelGuard guard;
  for (const KernelLevel level : scene::Levels()) {
    correlation::SetKernelLevel(level);
    SCOPED_TRACE(static_cast<int>(level));
    for (const int k : {5, 7, 9}) {
      for (const int bands : {1, 3}) {
        CheckPairScores<float>(kTypeByte, bands, k);
        CheckPairScores<double>(kTypeByte, bands, k);
        CheckPairScores<double>(kTypeShort, bands, k);
      }
    }
  }
}

// The normalised cross-correlation from exact integer sums (as the candidate
// search forms it, here in long double) against the window-by-window score,
// on windows with a large mean and a small spread: the case where the
// rounding of the mean weighs most.
TEST(ScoreBound, HoldsOnWindowsWithLargeMeanAndSmallSpread) {
  std::mt19937 gen(3);
  double worst = 0.0;
  for (const unsigned char type : {kTypeByte, kTypeShort}) {
    for (const int k : {3, 5, 7, 9}) {
      for (int trial = 0; trial < 300; ++trial) {
        // Values near the top of the range (16-bit windows read as signed
        // values, so near +-32767), a few spread by one or two.
        const double base = type == kTypeByte ? 250.0 : (trial % 2 ? 32760.0 : 32770.0);
        std::uniform_int_distribution<int> spread(0, trial % 3 == 0 ? 1 : 5);
        const auto value = [&](int, int, int) { return base + spread(gen); };
        const auto a = scene::Make(Geometry{k, k, type, 1, 0, 0}, value);
        const auto b = scene::Make(Geometry{k, k, type, 1, 0, 0}, value);
        const int h = (k - 1) / 2;
        TMatrix wa(k, k), wb(k, k);
        a->GetWindow(h, h, &wa, 0);
        b->GetWindow(h, h, &wb, 0);
        long double sa = 0, sb = 0, saa = 0, sbb = 0, sab = 0;
        for (int i = 0; i < k * k; ++i) {
          const long double va = wa.elem[i / k][i % k], vb = wb.elem[i / k][i % k];
          sa += va;
          sb += vb;
          saa += va * va;
          sbb += vb * vb;
          sab += va * vb;
        }
        const long double kk = k * k, da = kk * saa - sa * sa, db = kk * sbb - sb * sb;
        if (da == 0 || db == 0) continue;
        const long double approx = (kk * sab - sa * sb) / std::sqrt(da * db);
        worst = std::max(
            worst, static_cast<double>(std::fabs(approx - MatrixScore(*a, *b, h, h, h, 0, k))));
      }
    }
  }
  EXPECT_LT(worst, correlation::kScoreBound / 10);
  EXPECT_GT(worst, 0.0);  // the windows do strain the arithmetic
}

}  // namespace

TEST(RowQueue, TheCallerFinishesInOrderAndAFailureStopsEveryThread) {
  for (const long long fail_at : {-1LL, 57LL}) {
    std::vector<long long> finished;
    std::vector<std::thread::id> finishers;
    correlation::RowPlan plan;
    plan.begin = 1, plan.end = 200, plan.period = 1000, plan.threads = 3, plan.window = 4;
    plan.finish = [&](long long y) {
      finished.push_back(y);
      finishers.push_back(std::this_thread::get_id());
    };
    const auto run = [&] {
      correlation::ForEachRow(plan, [&]() -> correlation::RowWorker {
        return [&](long long y) {
          if (y == fail_at) throw std::runtime_error("row");
        };
      });
    };
    if (fail_at < 0) {
      run();
      ASSERT_EQ(finished.size(), 199u);
    } else {
      EXPECT_THROW(run(), std::runtime_error);
      ASSERT_LT(finished.size(), 57u);
    }
    for (size_t i = 0; i < finished.size(); ++i) {
      EXPECT_EQ(finished[i], static_cast<long long>(i) + 1);
      EXPECT_EQ(finishers[i], std::this_thread::get_id());
    }
  }
}
