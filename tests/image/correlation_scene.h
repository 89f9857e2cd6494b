// Test images for the correlation methods (textured pairs, every pixel type,
// offsets), a single entry point to the four methods of the library and of the
// window-by-window reference, and a run in a scratch directory.
#ifndef KLUTEIDA_TESTS_IMAGE_CORRELATION_SCENE_H
#define KLUTEIDA_TESTS_IMAGE_CORRELATION_SCENE_H

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "correlation_reference.h"
#include "image/correlation_kernels.h"
#include "image/tcomplex.h"
#include "image/tdispimage.h"
#include "image/timage.h"
#include "test_support.h"

namespace scene {

struct Geometry {
  int width = 0;
  int height = 0;
  unsigned char type = kTypeByte;
  int frames = 1;
  int offset_x = 0;
  int offset_y = 0;
};

// An image of the given geometry whose element (x, y, band) holds value(x, y,
// band) in the image's own type (complex: value + value / 2 i).
inline std::unique_ptr<TImage> Make(const Geometry& g,
                                    const std::function<double(int, int, int)>& value) {
  const size_t bpp = TImage(1, 1, g.type, 1, nullptr, 0, 0).BytesPerPixel();
  const size_t count = static_cast<size_t>(g.width) * g.height * g.frames;
  auto* data = static_cast<unsigned char*>(std::calloc(count * bpp + 1, 1));
  size_t i = 0;
  for (int b = 0; b < g.frames; ++b) {
    for (int y = 0; y < g.height; ++y) {
      for (int x = 0; x < g.width; ++x, ++i) {
        const double v = value(x, y, b);
        const float f[2] = {static_cast<float>(v), static_cast<float>(v * 0.5)};
        const auto s = static_cast<unsigned short>(static_cast<long long>(v));
        const auto c = static_cast<unsigned char>(static_cast<long long>(v));
        const void* src = g.type == kTypeDouble                            ? &v
                          : g.type == kTypeFloat || g.type == kTypeComplex ? f
                          : g.type == kTypeShort ? static_cast<const void*>(&s)
                                                 : &c;
        std::memcpy(data + i * bpp, src, bpp);
      }
    }
  }
  return std::make_unique<TImage>(g.width, g.height, g.type, g.frames, data, g.offset_x,
                                  g.offset_y);
}

// A random texture over a plane wide enough for shifted copies: value(x, y,
// band) for x in [-300, width + 300). Neighbouring values are averaged a
// little so that near shifts correlate too.
class Texture {
 public:
  Texture(int width, int height, int bands, unsigned seed, double scale = 255.0)
      : width_(width + 2 * kMargin), height_(height), values_(width_ * height * bands) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> dist(0.0, scale);
    std::vector<double> raw(values_.size());
    for (double& v : raw) v = dist(gen);
    for (size_t i = 0; i < raw.size(); ++i) {
      const double right = (i + 1) % width_ != 0 ? raw[i + 1] : raw[i];
      values_[i] = std::floor((raw[i] * 3 + right) / 4);
    }
  }
  double operator()(int x, int y, int band) const {
    const int xx = std::clamp(x + kMargin, 0, width_ - 1);
    const int yy = std::clamp(y, 0, height_ - 1);
    return values_[(static_cast<size_t>(band) * height_ + yy) * width_ + xx];
  }

 private:
  static constexpr int kMargin = 300;
  int width_;
  int height_;
  std::vector<double> values_;
};

enum class Method { kPlain, kThreeBand, kHier, kSupport };

// Runs method `m` of the library on `out`, or of the reference when `ref` is
// set, with left l, right r, guide or support g, range [lo, hi), threshold t.
inline int Call(bool ref, Method m, TDispImage& out, TImage* l, TImage* r, TImage* g, int lo,
                int hi, double t) {
  namespace rf = reference;
  switch (m) {
    case Method::kPlain:
      return ref ? rf::CalculateCorrelations(out, l, r, lo, hi, t)
                 : out.CalculateCorrelations(l, r, lo, hi, t);
    case Method::kThreeBand:
      return ref ? rf::CalculateCorrelations3Band(out, l, r, lo, hi, t)
                 : out.CalculateCorrelations3Band(l, r, lo, hi, t);
    case Method::kHier:
      return ref ? rf::CalculateCorrelations3BandHier(out, l, r, g, lo, hi, t)
                 : out.CalculateCorrelations3BandHier(l, r, g, lo, hi, t);
    case Method::kSupport:
      return ref ? rf::CalculateCorrelations3BandSupport(out, l, r, g, lo, hi, t)
                 : out.CalculateCorrelations3BandSupport(l, r, g, lo, hi, t);
  }
  return 0;
}

// Every kernel level this processor runs.
inline std::vector<correlation::KernelLevel> Levels() {
  std::vector<correlation::KernelLevel> levels;
  for (const auto level : {correlation::KernelLevel::kPortable, correlation::KernelLevel::kAvx2,
                           correlation::KernelLevel::kAvx512}) {
    if (correlation::BestKernelLevel() >= level) levels.push_back(level);
  }
  return levels;
}

inline std::string Bytes(const TImage& image) {
  return std::string(reinterpret_cast<const char*>(image.data), image.Size());
}

// Everything a run of a correlation method leaves behind.
struct Outcome {
  testsupport::ChildResult run;  // exit status and standard output
  std::string image;             // the disparity image's bytes
  bool has_debug = false;        // whether "cc.txt" was written
  std::string debug;             // and its bytes
};

// Runs `method` in a child process whose current directory is a fresh
// scratch directory; `method` returns the disparity image to collect.
inline Outcome RunInScratch(const std::function<const TImage&()>& method) {
  testsupport::TempDir dir;
  Outcome o;
  o.run = testsupport::RunInChild([&] {
    if (chdir(dir.path().c_str()) != 0) std::exit(3);
    testsupport::WriteFile("out.bin", Bytes(method()));
  });
  o.image = testsupport::ReadFile(dir.file("out.bin"));
  o.has_debug = testsupport::FileExists(dir.file("cc.txt"));
  o.debug = testsupport::ReadFile(dir.file("cc.txt"));
  return o;
}

}  // namespace scene

#endif  // KLUTEIDA_TESTS_IMAGE_CORRELATION_SCENE_H
