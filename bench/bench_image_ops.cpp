// Whole-image operations on a 4000 x 4000 image against a memcpy of the same
// bytes, in one run.
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "bench_util.h"
#include "image/timage.h"

namespace {

constexpr int kSide = 4000;

std::unique_ptr<TImage> Filled(unsigned char type) {
  auto image = std::make_unique<TImage>(kSide, kSide, type, 1, nullptr, 0, 0);
  for (unsigned i = 0; i < image->Size(); ++i)
    image->data[i] = static_cast<unsigned char>(i * 13 + i / 7);
  return image;
}

}  // namespace

int main() {
  const auto bytes = Filled(kTypeByte);
  const auto shorts = Filled(kTypeShort);
  std::vector<unsigned char> copy(shorts->Size());
  const double memcpy8 =
      bench::Best([&] { std::memcpy(copy.data(), bytes->data, bytes->Size()); }, [] {}, 7);
  const double memcpy16 =
      bench::Best([&] { std::memcpy(copy.data(), shorts->data, shorts->Size()); }, [] {}, 7);
  std::printf("memcpy of 16 MB %.4f s, of 32 MB %.4f s\n", memcpy8, memcpy16);
  TImage target(kSide, kSide, kTypeByte, 1, nullptr, 0, 0);
  const struct {
    const char* name;
    double base;
    std::function<void()> run;
  } cases[] = {
      {"Copy", memcpy8, [&] { target.Copy(*bytes); }},
      {"Subsampling(2)", memcpy8, [&] { delete bytes->Subsampling(2); }},
      {"IncrementByValue", memcpy8, [&] { bytes->IncrementByValue(3); }},
      {"Replace", memcpy8, [&] { bytes->Replace(17, 18); }},
      {"Stretch", memcpy8, [&] { delete bytes->Stretch(20, 200, 0, 255); }},
      {"Short2Byte", memcpy16, [&] { delete shorts->Short2Byte(); }},
  };
  for (const auto& c : cases) {
    const double t = bench::Best(
        c.run, [] {}, 7);
    std::printf("%-17s %.4f s, %.2fx memcpy\n", c.name, t, t / c.base);
  }
  return 0;
}
