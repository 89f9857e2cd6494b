// Correlation methods of TDispImage against the window-by-window computation
// and against a plain 5 x 5 SAD block matcher, on a 1024 x 768 textured pair
// whose right image is the left one shifted by a known disparity field.
// Single-threaded. Every library result is checked against the
// window-by-window one on the rows both computed. `--threads` times every
// method with one thread and with several instead, and checks that both give
// the same image.
//
//   bench_correlation [reference rows for the one-band method (all: 764)]
//                     [reference rows for the three-band methods (64)]
//   bench_correlation --library [level [methods [threads (1)]]]
//   bench_correlation --threads [threads (2) [method name...]]
//
// Where the window-by-window computation would take too long (the
// three-band methods, over a minute each) it is timed on a band of rows in
// the middle of the image (those rows and their window margins cut out of the
// pair) and scaled by the row count; the output says so.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
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
#include "image/correlation_kernels.h"
#include "image/tcandidatelist.h"
#include "image/tdispimage.h"
#include "image/timage.h"

namespace {

constexpr int kWidth = 1024;
constexpr int kHeight = 768;
constexpr int kMinDisparity = 0;
constexpr int kMaxDisparity = 64;
constexpr double kThreshold = 0.5;

// The true disparity of left pixel (x, y): a smooth field in [4, 52].
int TrueDisparity(int x, int y) {
  return static_cast<int>(
      std::lround(28.0 + 16.0 * std::sin(x * 0.006) + 8.0 * std::cos(y * 0.01)));
}

// A random texture, smoothed by a 3 x 3 box, one plane per band.
std::vector<unsigned char> Texture(int bands, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_int_distribution<int> dist(0, 255);
  const size_t plane = static_cast<size_t>(kWidth) * kHeight;
  std::vector<int> raw(plane * bands);
  for (int& v : raw) v = dist(gen);
  std::vector<unsigned char> out(raw.size());
  for (int b = 0; b < bands; ++b) {
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        int sum = 0;
        for (int dy = -1; dy <= 1; ++dy) {
          for (int dx = -1; dx <= 1; ++dx) {
            const int xx = std::clamp(x + dx, 0, kWidth - 1);
            const int yy = std::clamp(y + dy, 0, kHeight - 1);
            sum += raw[b * plane + static_cast<size_t>(yy) * kWidth + xx];
          }
        }
        out[b * plane + static_cast<size_t>(y) * kWidth + x] = static_cast<unsigned char>(sum / 9);
      }
    }
  }
  return out;
}

std::unique_ptr<TImage> ImageOf(const std::vector<unsigned char>& bytes, int width, int height,
                                int bands) {
  auto* data = static_cast<unsigned char*>(std::malloc(bytes.size()));
  std::memcpy(data, bytes.data(), bytes.size());
  return std::make_unique<TImage>(width, height, kTypeByte, bands, data, 0, 0);
}

struct Pair {
  std::unique_ptr<TImage> left;
  std::unique_ptr<TImage> right;
  std::unique_ptr<TImage> guide;  // the true disparity, coded
};

// Left texture; the right image holds at (x + d, y) the left pixel (x, y), d
// the true disparity (occluded right pixels keep their own texture).
Pair MakePair(int bands) {
  const std::vector<unsigned char> left = Texture(bands, 17);
  std::vector<unsigned char> right = Texture(bands, 99);
  std::vector<unsigned char> guide(static_cast<size_t>(kWidth) * kHeight);
  const size_t plane = guide.size();
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const int d = TrueDisparity(x, y);
      guide[static_cast<size_t>(y) * kWidth + x] = static_cast<unsigned char>(d + 128);
      if (x + d >= kWidth) continue;
      for (int b = 0; b < bands; ++b) {
        right[b * plane + static_cast<size_t>(y) * kWidth + x + d] =
            left[b * plane + static_cast<size_t>(y) * kWidth + x];
      }
    }
  }
  return {ImageOf(left, kWidth, kHeight, bands), ImageOf(right, kWidth, kHeight, bands),
          ImageOf(guide, kWidth, kHeight, 1)};
}

// Rows [top, top + rows) of an image, all bands.
std::unique_ptr<TImage> Rows(const TImage& image, int top, int rows) {
  std::vector<unsigned char> bytes;
  for (int b = 0; b < image.frames; ++b) {
    const unsigned char* p =
        image.data + (static_cast<size_t>(b) * image.height + top) * image.width;
    bytes.insert(bytes.end(), p, p + static_cast<size_t>(rows) * image.width);
  }
  return ImageOf(bytes, image.width, rows, image.frames);
}

using bench::Best;
using bench::QuietStdout;
using bench::Seconds;

// 5 x 5 sum of absolute differences over the same candidates as
// CalculateCorrelations (disparities [mind, maxd), columns clipped to
// [2, W - 2)), with column sums kept from row to row and a running box sum
// along the row. The lowest cost wins, the smallest disparity among equals.
std::vector<unsigned char> SadMatch(const TImage& left, const TImage& right, int mind, int maxd) {
  const int w = left.width;
  const int h = left.height;
  const int n = maxd - mind;
  const unsigned char* l = left.data;
  const unsigned char* r = right.data;
  std::vector<unsigned char> out(static_cast<size_t>(w) * h, 0);
  std::vector<int> columns(static_cast<size_t>(n) * w, 0);
  std::vector<int> best_cost(w);
  std::vector<int> best_d(w);
  // Columns x whose candidate x + d and whose neighbours x +- 2 stay inside.
  auto column_range = [&](int d, int* from, int* to) {
    *from = std::max(0, -d);
    *to = std::min(w, w - d);
  };
  for (int y = 2; y < h - 2; ++y) {
    std::fill(best_cost.begin(), best_cost.end(), INT_MAX);
    std::fill(best_d.begin(), best_d.end(), -1);
    for (int k = 0; k < n; ++k) {
      const int d = mind + k;
      int* col = columns.data() + static_cast<size_t>(k) * w;
      int from, to;
      column_range(d, &from, &to);
      if (y == 2) {
        for (int yy = 0; yy < 5; ++yy) {
          const unsigned char* lr = l + static_cast<size_t>(yy) * w;
          const unsigned char* rr = r + static_cast<size_t>(yy) * w + d;
          for (int x = from; x < to; ++x) col[x] += std::abs(lr[x] - rr[x]);
        }
      } else {
        const unsigned char* lin = l + static_cast<size_t>(y + 2) * w;
        const unsigned char* rin = r + static_cast<size_t>(y + 2) * w + d;
        const unsigned char* lout = l + static_cast<size_t>(y - 3) * w;
        const unsigned char* rout = r + static_cast<size_t>(y - 3) * w + d;
        for (int x = from; x < to; ++x) {
          col[x] += std::abs(lin[x] - rin[x]) - std::abs(lout[x] - rout[x]);
        }
      }
      // Reference columns whose candidate lies in [2, w - 2).
      const int x_lo = std::max(2, 2 - d);
      const int x_hi = std::min(w - 2, w - 2 - d);
      if (x_lo >= x_hi) continue;
      int box = col[x_lo - 2] + col[x_lo - 1] + col[x_lo] + col[x_lo + 1] + col[x_lo + 2];
      for (int x = x_lo;; ++x) {
        if (box < best_cost[x]) {
          best_cost[x] = box;
          best_d[x] = d;
        }
        if (x + 1 >= x_hi) break;
        box += col[x + 3] - col[x - 2];
      }
    }
    for (int x = 2; x < w - 2; ++x) {
      if (best_d[x] >= mind)
        out[static_cast<size_t>(y) * w + x] = static_cast<unsigned char>(best_d[x] + 128);
    }
  }
  return out;
}

// Share of the pixels at least `margin` from the border whose byte is the
// true disparity.
double Accuracy(const unsigned char* disparity, int margin) {
  long long good = 0, all = 0;
  for (int y = margin; y < kHeight - margin; ++y) {
    for (int x = margin; x < kWidth - margin - kMaxDisparity; ++x) {
      ++all;
      if (disparity[static_cast<size_t>(y) * kWidth + x] == TrueDisparity(x, y) + 128) ++good;
    }
  }
  return static_cast<double>(good) / static_cast<double>(all);
}

using Method = std::function<void(TDispImage&, TImage*, TImage*, TImage*)>;

struct Timing {
  double library = 0;
  double accuracy = 0;   // of the library's result
  double reference = 0;  // for the whole image, scaled when `scaled`
  bool scaled = false;
  bool identical = false;
};

// Times `library` on the whole pair and `reference` on rows
// [top, top + rows) (all rows when rows covers the image), compares the two
// results on those rows.
Timing Compare(const Pair& pair, int margin, int rows, const Method& library,
               const Method& reference) {
  Timing t;
  TDispImage fast(kWidth, kHeight);
  {
    QuietStdout quiet;
    t.library = Best([&] { library(fast, pair.left.get(), pair.right.get(), pair.guide.get()); });
  }
  t.accuracy = Accuracy(fast.data, margin);
  const int inner = kHeight - 2 * margin;
  rows = std::min(rows, inner);
  const int top = rows == inner ? 0 : (kHeight - rows) / 2 - margin;
  const int cut = rows + 2 * margin;
  const std::unique_ptr<TImage> left = Rows(*pair.left, top, cut);
  const std::unique_ptr<TImage> right = Rows(*pair.right, top, cut);
  const std::unique_ptr<TImage> guide = Rows(*pair.guide, top, cut);
  TDispImage slow(kWidth, cut);
  double seconds;
  {
    QuietStdout quiet;
    seconds = Seconds([&] { reference(slow, left.get(), right.get(), guide.get()); });
  }
  t.scaled = rows != inner;
  t.reference = seconds * inner / rows;
  t.identical = std::memcmp(slow.data + static_cast<size_t>(margin) * kWidth,
                            fast.data + static_cast<size_t>(top + margin) * kWidth,
                            static_cast<size_t>(rows) * kWidth) == 0;
  return t;
}

void Report(const char* name, const Timing& t, int rows, double target) {
  std::printf(
      "%-42s library %7.3f s   reference %8.2f s%s   ratio %6.1fx (target >= %.0fx)   %s, "
      "%.1f%% true disparities\n",
      name, t.library, t.reference, t.scaled ? "*" : " ", t.reference / t.library, target,
      t.identical ? "identical" : "DIFFERENT", 100.0 * t.accuracy);
  if (t.scaled) {
    std::printf("%42s * reference timed on %d rows and scaled to the whole image\n", "", rows);
  }
}

// Profiling aid: `--library [level [methods [threads]]]` runs the library
// methods alone (level 0 plain, 1 AVX2, 2 AVX-512; methods a bit mask: 1 one
// band, 2 three bands, 4 guided hierarchical, 8 real space) and prints their
// times.
int LibraryOnly(int argc, char** argv) {
  SetCorrelationThreads(argc > 4 ? std::atoi(argv[4]) : 1);
  if (argc > 2) {
    correlation::SetKernelLevel(static_cast<correlation::KernelLevel>(std::atoi(argv[2])));
  }
  const int methods = argc > 3 ? std::atoi(argv[3]) : 7;
  const Pair grey = MakePair(1);
  const Pair colour = MakePair(3);
  TDispImage out(kWidth, kHeight);
  double seconds[4] = {};
  {
    QuietStdout quiet;
    if (methods & 1) {
      seconds[0] = Seconds([&] {
        out.CalculateCorrelations(grey.left.get(), grey.right.get(), kMinDisparity, kMaxDisparity,
                                  kThreshold);
      });
    }
    if (methods & 2) {
      seconds[1] = Seconds([&] {
        out.CalculateCorrelations3Band(colour.left.get(), colour.right.get(), kMinDisparity,
                                       kMaxDisparity, kThreshold);
      });
    }
    if (methods & 4) {
      seconds[2] = Seconds([&] {
        out.CalculateCorrelations3BandHier(colour.left.get(), colour.right.get(),
                                           colour.guide.get(), kMinDisparity, kMaxDisparity,
                                           kThreshold);
      });
    }
    if (methods & 8) {
      seconds[3] = Seconds([&] {
        TCandidateList list(kHeight, 10, 10);
        out.CalculateCorrelations3BandRealSpace(colour.left.get(), colour.right.get(),
                                                kMinDisparity, kMaxDisparity, kThreshold, list);
      });
    }
  }
  std::printf("%.3f %.3f %.3f %.3f\n", seconds[0], seconds[1], seconds[2], seconds[3]);
  return 0;
}

// Whether `name` is among the `count` names of `names`, or there are none.
bool Chosen(const char* name, int count, char** names) {
  for (int i = 0; i < count; ++i)
    if (std::strcmp(name, names[i]) == 0) return true;
  return count <= 0;
}

// `--threads [n [name...]]`: every method (or the named ones) on one thread
// and on n, run in turn three times each (medians), with the images compared;
// the one-band method on n threads also against the SAD matcher on one.
int ThreadScaling(int argc, char** argv) {
  const int threads = argc > 2 ? std::atoi(argv[2]) : 2;
  const Pair grey = MakePair(1);
  const Pair colour = MakePair(3);
  // The support image: the true disparity on every fourth column, 0 (to be
  // computed) elsewhere.
  std::vector<unsigned char> support(grey.guide->data,
                                     grey.guide->data + static_cast<size_t>(kWidth) * kHeight);
  for (size_t i = 0; i < support.size(); ++i)
    if (i % 4 != 0) support[i] = 0;
  const std::unique_ptr<TImage> support_image = ImageOf(support, kWidth, kHeight, 1);
  TMatrix rot(2, 2), shift(2, 1);
  rot.elem[0][0] = rot.elem[1][1] = 1;
  using Run = std::function<void(TDispImage&)>;
  const struct {
    const char* name;
    Run run;
  } methods[] = {
      {"CalculateCorrelations",
       [&](TDispImage& o) {
         o.CalculateCorrelations(grey.left.get(), grey.right.get(), kMinDisparity, kMaxDisparity,
                                 kThreshold);
       }},
      {"CalculateCorrelations3Band",
       [&](TDispImage& o) {
         o.CalculateCorrelations3Band(colour.left.get(), colour.right.get(), kMinDisparity,
                                      kMaxDisparity, kThreshold);
       }},
      {"CalculateCorrelations3BandHier, guided",
       [&](TDispImage& o) {
         o.CalculateCorrelations3BandHier(colour.left.get(), colour.right.get(), colour.guide.get(),
                                          kMinDisparity, kMaxDisparity, kThreshold);
       }},
      {"CalculateCorrelations3BandSupport",
       [&](TDispImage& o) {
         o.CalculateCorrelations3BandSupport(colour.left.get(), colour.right.get(),
                                             support_image.get(), kMinDisparity, kMaxDisparity,
                                             kThreshold);
       }},
      {"CalculateCorrelations2Set (fixed block)",
       [&](TDispImage& o) {
         o.CalculateCorrelations2Set(grey.left.get(), grey.right.get(), grey.left.get(),
                                     grey.right.get(), rot, shift, kMinDisparity, kMaxDisparity, 1,
                                     0, kThreshold);
       }},
      {"CalculateCorrelations2Set3Bands",
       [&](TDispImage& o) {
         o.CalculateCorrelations2Set3Bands(colour.left.get(), colour.right.get(), colour.left.get(),
                                           colour.right.get(), rot, shift, kMinDisparity,
                                           kMaxDisparity, 1, 0, kThreshold);
       }},
      {"CalculateCorrelations2Set3BandsHier, guided",
       [&](TDispImage& o) {
         o.CalculateCorrelations2Set3BandsHier(colour.left.get(), colour.right.get(),
                                               colour.left.get(), colour.right.get(),
                                               colour.guide.get(), rot, shift, kMinDisparity,
                                               kMaxDisparity, 1, 0, kThreshold);
       }},
      {"CalculateCorrelations3BandRealSpace",
       [&](TDispImage& o) {
         TCandidateList list(kHeight, 10, 10);
         o.CalculateCorrelations3BandRealSpace(colour.left.get(), colour.right.get(),
                                               kMinDisparity, kMaxDisparity, kThreshold, list);
       }},
      // The score matrix, smoothed, and the sure matches: with a threshold
      // of 2, above every score, no candidate is collected and the growing
      // passes, which stay on one thread, have nothing to walk.
      {"CalculateCorrelations3BandRealSpace, scores",
       [&](TDispImage& o) {
         TCandidateList list(kHeight, 10, 10);
         o.CalculateCorrelations3BandRealSpace(colour.left.get(), colour.right.get(),
                                               kMinDisparity, kMaxDisparity, 2.0, list);
       }},
  };
  const auto median = [](std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
  };
  std::printf("%d x %d, disparities %d .. %d; 1 thread against %d, medians of 3 runs in turn\n",
              kWidth, kHeight, kMinDisparity, kMaxDisparity - 1, threads);
  bool all_same = true;
  double one_band = 0;
  for (const auto& m : methods) {
    if (!Chosen(m.name, argc - 3, argv + 3)) continue;
    std::vector<double> one, many;
    bool same = true;
    for (int run = 0; run < 3; ++run) {
      TDispImage a(kWidth, kHeight), b(kWidth, kHeight);
      QuietStdout quiet;
      SetCorrelationThreads(1);
      one.push_back(Seconds([&] { m.run(a); }));
      SetCorrelationThreads(threads);
      many.push_back(Seconds([&] { m.run(b); }));
      same = same && std::memcmp(a.data, b.data, static_cast<size_t>(kWidth) * kHeight) == 0;
    }
    const double t1 = median(one), tn = median(many);
    if (std::strcmp(m.name, "CalculateCorrelations") == 0) one_band = tn;
    all_same = all_same && same;
    std::printf("%-44s %7.3f s  %7.3f s  speed-up %.2f (target >= 1.7) %s  %s\n", m.name, t1, tn,
                t1 / tn, t1 / tn >= 1.7 ? "ok    " : "MISSED", same ? "same image" : "DIFFERENT");
  }
  std::vector<unsigned char> sad;
  const double sad_seconds =
      Best([&] { sad = SadMatch(*grey.left, *grey.right, kMinDisparity, kMaxDisparity); });
  if (one_band > 0) {
    std::printf("SAD 5 x 5 block matcher, one thread %7.3f s; CalculateCorrelations on %d threads "
                "/ SAD = %.2f (target <= 1)\n",
                sad_seconds, threads, one_band / sad_seconds);
  }
  return all_same ? 0 : 1;
}

}  // namespace

// The three-band and two-set methods write "cc.txt" and "1.txt" to "3.txt"
// into the current directory: the bench runs in a scratch directory, removed
// at the end.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    char name[] = "/tmp/bench_correlation_XXXXXX";
    if (mkdtemp(name) != nullptr && chdir(name) == 0) path_ = name;
  }
  ~ScratchDirectory() {
    if (path_.empty()) return;
    for (const char* name : {"/cc.txt", "/1.txt", "/2.txt", "/3.txt"})
      std::remove((path_ + name).c_str());
    if (chdir("/") == 0) rmdir(path_.c_str());
  }

 private:
  std::string path_;
};

int main(int argc, char** argv) {
  const ScratchDirectory scratch;
  if (argc > 1 && std::strcmp(argv[1], "--library") == 0) return LibraryOnly(argc, argv);
  if (argc > 1 && std::strcmp(argv[1], "--threads") == 0) return ThreadScaling(argc, argv);
  SetCorrelationThreads(1);
  const int plain_rows = argc > 1 ? std::atoi(argv[1]) : kHeight;
  const int band_rows = argc > 2 ? std::atoi(argv[2]) : 64;
  const char* levels[] = {"plain", "AVX2", "AVX-512"};
  std::printf("kernels: %s; %d x %d, disparities %d .. %d; library and SAD: best of %d runs\n",
              levels[static_cast<int>(correlation::BestKernelLevel())], kWidth, kHeight,
              kMinDisparity, kMaxDisparity - 1, 3);

  const Pair grey = MakePair(1);
  std::vector<unsigned char> sad;
  const double sad_seconds =
      Best([&] { sad = SadMatch(*grey.left, *grey.right, kMinDisparity, kMaxDisparity); });

  const Timing plain = Compare(
      grey, 2, plain_rows,
      [](TDispImage& out, TImage* l, TImage* r, TImage*) {
        out.CalculateCorrelations(l, r, kMinDisparity, kMaxDisparity, kThreshold);
      },
      [](TDispImage& out, TImage* l, TImage* r, TImage*) {
        reference::CalculateCorrelations(out, l, r, kMinDisparity, kMaxDisparity, kThreshold);
      });
  Report("CalculateCorrelations", plain, plain_rows, 50);
  std::printf("%-42s %7.3f s   library / SAD %.2f (target <= 3), %.1f%% true disparities\n",
              "SAD 5 x 5 block matcher", sad_seconds, plain.library / sad_seconds,
              100.0 * Accuracy(sad.data(), 2));

  const Pair colour = MakePair(3);
  const Timing three = Compare(
      colour, 3, band_rows,
      [](TDispImage& out, TImage* l, TImage* r, TImage*) {
        out.CalculateCorrelations3Band(l, r, kMinDisparity, kMaxDisparity, kThreshold);
      },
      [](TDispImage& out, TImage* l, TImage* r, TImage*) {
        reference::CalculateCorrelations3Band(out, l, r, kMinDisparity, kMaxDisparity, kThreshold);
      });
  Report("CalculateCorrelations3Band", three, band_rows, 30);

  const Timing hier = Compare(
      colour, 4, band_rows,
      [](TDispImage& out, TImage* l, TImage* r, TImage* g) {
        out.CalculateCorrelations3BandHier(l, r, g, kMinDisparity, kMaxDisparity, kThreshold);
      },
      [](TDispImage& out, TImage* l, TImage* r, TImage* g) {
        reference::CalculateCorrelations3BandHier(out, l, r, g, kMinDisparity, kMaxDisparity,
                                                  kThreshold);
      });
  Report("CalculateCorrelations3BandHier, guided", hier, band_rows, 30);

  const Timing unguided = Compare(
      colour, 4, band_rows,
      [](TDispImage& out, TImage* l, TImage* r, TImage*) {
        TImage none(kWidth, static_cast<unsigned short>(l->height), kTypeByte, 1, nullptr, 0, 0);
        out.CalculateCorrelations3BandHier(l, r, &none, kMinDisparity, kMaxDisparity, kThreshold);
      },
      [](TDispImage& out, TImage* l, TImage* r, TImage*) {
        TImage none(kWidth, static_cast<unsigned short>(l->height), kTypeByte, 1, nullptr, 0, 0);
        reference::CalculateCorrelations3BandHier(out, l, r, &none, kMinDisparity, kMaxDisparity,
                                                  kThreshold);
      });
  Report("CalculateCorrelations3BandHier, no guide", unguided, band_rows, 30);

  // The two-set methods with the pair as both sets (identity placement, scale
  // 1, offset 0): twice the candidates of one pair.
  TMatrix rot(2, 2), shift(2, 1);
  rot.elem[0][0] = rot.elem[1][1] = 1;
  const Timing two = Compare(
      grey, 2, kHeight,
      [&](TDispImage& out, TImage* l, TImage* r, TImage*) {
        out.CalculateCorrelations2Set(l, r, l, r, rot, shift, kMinDisparity, kMaxDisparity, 1, 0,
                                      kThreshold);
      },
      [&](TDispImage& out, TImage* l, TImage* r, TImage*) {
        reference::CalculateCorrelations2Set(out, l, r, l, r, rot, shift, kMinDisparity,
                                             kMaxDisparity, 1, 0, kThreshold);
      });
  Report("CalculateCorrelations2Set (fixed block)", two, kHeight, 30);
  const Timing two_three = Compare(
      colour, 2, band_rows,
      [&](TDispImage& out, TImage* l, TImage* r, TImage*) {
        out.CalculateCorrelations2Set3Bands(l, r, l, r, rot, shift, kMinDisparity, kMaxDisparity, 1,
                                            0, kThreshold);
      },
      [&](TDispImage& out, TImage* l, TImage* r, TImage*) {
        reference::CalculateCorrelations2Set3Bands(out, l, r, l, r, rot, shift, kMinDisparity,
                                                   kMaxDisparity, 1, 0, kThreshold);
      });
  Report("CalculateCorrelations2Set3Bands", two_three, band_rows, 30);
  const Timing two_hier = Compare(
      colour, 1, band_rows,
      [&](TDispImage& out, TImage* l, TImage* r, TImage* g) {
        out.CalculateCorrelations2Set3BandsHier(l, r, l, r, g, rot, shift, kMinDisparity,
                                                kMaxDisparity, 1, 0, kThreshold);
      },
      [&](TDispImage& out, TImage* l, TImage* r, TImage* g) {
        reference::CalculateCorrelations2Set3BandsHier(
            out, l, r, l, r, g, rot, shift, kMinDisparity, kMaxDisparity, 1, 0, kThreshold);
      });
  Report("CalculateCorrelations2Set3BandsHier, guided", two_hier, band_rows, 30);
  return plain.identical && three.identical && hier.identical && unguided.identical &&
                 two.identical && two_three.identical && two_hier.identical
             ? 0
             : 1;
}
