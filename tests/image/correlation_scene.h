// Test images for the correlation methods: textured stereo pairs with a known
// shift, flat patches, special float values, every pixel type, offsets.
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

#include "image/tcomplex.h"
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
// band) in the image's own type (kept to 8 or 16 bits for the integer types).
inline std::unique_ptr<TImage> Make(const Geometry& g,
                                    const std::function<double(int, int, int)>& value) {
  const size_t bpp = g.type == kTypeDouble || g.type == kTypeComplex ? 8
                     : g.type == kTypeFloat                          ? 4
                     : g.type == kTypeShort                          ? 2
                                                                     : 1;
  const size_t count = static_cast<size_t>(g.width) * g.height * g.frames;
  auto* data = static_cast<unsigned char*>(std::calloc(count * bpp + 1, 1));
  size_t i = 0;
  for (int b = 0; b < g.frames; ++b) {
    for (int y = 0; y < g.height; ++y) {
      for (int x = 0; x < g.width; ++x, ++i) {
        const double v = value(x, y, b);
        unsigned char* p = data + i * bpp;
        switch (g.type) {
          case kTypeDouble:
            std::memcpy(p, &v, 8);
            break;
          case kTypeFloat: {
            const float f = static_cast<float>(v);
            std::memcpy(p, &f, 4);
            break;
          }
          case kTypeComplex: {
            const TComplex c(static_cast<float>(v), static_cast<float>(v * 0.5));
            std::memcpy(p, &c, 8);
            break;
          }
          case kTypeShort: {
            const unsigned short s = static_cast<unsigned short>(static_cast<long long>(v));
            std::memcpy(p, &s, 2);
            break;
          }
          default:
            *p = static_cast<unsigned char>(static_cast<long long>(v));
            break;
        }
      }
    }
  }
  return std::make_unique<TImage>(g.width, g.height, g.type, g.frames, data, g.offset_x,
                                  g.offset_y);
}

// A random texture over a plane wide enough for shifted copies: value(x, y,
// band) for x in [-margin, width + margin). Neighbouring values are averaged a
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
      const size_t x = i % width_;
      const double right = x + 1 < static_cast<size_t>(width_) ? raw[i + 1] : raw[i];
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
    const TImage& out = method();
    testsupport::WriteFile("out.bin",
                           std::string(reinterpret_cast<const char*>(out.data), out.Size()));
  });
  o.image = testsupport::ReadFile(dir.file("out.bin"));
  o.has_debug = testsupport::FileExists(dir.file("cc.txt"));
  o.debug = testsupport::ReadFile(dir.file("cc.txt"));
  return o;
}

}  // namespace scene

#endif  // KLUTEIDA_TESTS_IMAGE_CORRELATION_SCENE_H
