// kluteida-stereo's methods on the bundled real pairs, and the whole tool's
// time on a 1024 x 768 pair.
//
// 1. The four Middlebury pairs of <shared data>/stereo (grey views for ncc,
//    colour for the three-band methods), each method over the pair's usual
//    search range: the share of the pixels with a known true disparity that
//    the method accepts, and of those the share within 1 px of the truth.
// 2. The tool on a 1024 x 768 textured pair with the sample's camera
//    geometry, 64 disparities: correlation time, and the rest of the run
//    (reading, intersection, raster, cloud, PLY).
//
// usage: bench_stereo [shared data directory]
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench_util.h"
#include "samples/scene.h"
#include "tools/stereo.h"

namespace {

namespace fs = std::filesystem;

struct PairSet {
  const char* name;
  int search;  // disparities 0 .. search (the right view's columns lie to the left)
  int scale;   // ground truth value per pixel of disparity
};
constexpr PairSet kSets[] = {
    {"tsukuba", 15, 16}, {"venus", 19, 8}, {"cones", 59, 4}, {"teddy", 59, 4}};

std::string Slurp(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

// A PGM without a comment line ("P5\n<w> <h>\n255\n" and the bytes).
std::vector<unsigned char> ReadTruth(const std::string& path, int width, int height) {
  const std::string s = Slurp(path);
  const size_t size = static_cast<size_t>(width) * height;
  if (s.size() < size) return {};
  return std::vector<unsigned char>(s.end() - static_cast<long>(size), s.end());
}

std::unique_ptr<TImage> Read(const std::string& path) {
  bench::QuietStdout quiet;
  return std::make_unique<TImage>(path.c_str());
}

void RealPairs(const std::string& data) {
  const struct {
    const char* name;
    StereoMethod method;
  } methods[] = {{"ncc", StereoMethod::kNcc},
                 {"3band", StereoMethod::kThreeBand},
                 {"3band-hier", StereoMethod::kThreeBandHier},
                 {"support", StereoMethod::kSupport}};
  std::printf("| pair | size | method | accepted | within 1 px of the truth | time |\n");
  std::printf("|---|---|---|---|---|---|\n");
  for (const PairSet& set : kSets) {
    const std::string dir = data + "/stereo/" + set.name + "/";
    if (!fs::exists(dir + "gt.pgm")) {
      std::printf("| %s | missing | | | | |\n", set.name);
      continue;
    }
    const auto grey_l = Read(dir + "left_grey.pgm"), grey_r = Read(dir + "right_grey.pgm");
    const auto rgb_l = Read(dir + "left.rvb"), rgb_r = Read(dir + "right.rvb");
    const int w = grey_l->width, h = grey_l->height;
    const std::vector<unsigned char> truth = ReadTruth(dir + "gt.pgm", w, h);
    for (const auto& m : methods) {
      const bool colour = NeedsThreeBands(m.method);
      std::unique_ptr<TDispImage> d;
      const double seconds = bench::Seconds([&] {
        bench::QuietStdout quiet;
        d = Correlate(colour ? *rgb_l : *grey_l, colour ? *rgb_r : *grey_r, m.method,
                      -set.search, 1, 0.5);
      });
      long long known = 0, accepted = 0, good = 0;
      for (size_t i = 0; i < truth.size(); ++i) {
        if (truth[i] == 0) continue;
        ++known;
        if (d->data[i] == 0) continue;
        ++accepted;
        const double found = d->data[i] - 128.0, expected = -truth[i] / double(set.scale);
        good += std::fabs(found - expected) <= 1.0;
      }
      std::printf("| %s | %d x %d | %s | %.1f %% | %.1f %% | %.2f s |\n", set.name, w, h, m.name,
                  100.0 * accepted / known, accepted ? 100.0 * good / accepted : 0.0, seconds);
    }
  }
}

// Runs the tool in `dir`; its summary line.
std::string RunTool(const std::string& dir, const std::vector<std::string>& args) {
  const std::string log = dir + "/log.txt";
  std::fflush(stdout);
  const pid_t pid = fork();
  if (pid == 0) {
    if (chdir(dir.c_str()) != 0 || !std::freopen(log.c_str(), "w", stdout)) _exit(127);
    std::vector<char*> argv = {const_cast<char*>(KLUTEIDA_STEREO_TOOL)};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(KLUTEIDA_STEREO_TOOL, argv.data());
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  const std::string out = Slurp(log);
  const size_t done = out.rfind("Done in");
  return done == std::string::npos ? "FAILED" : out.substr(done, out.find('\n', done) - done);
}

void WholeTool() {
  constexpr int kW = 1024, kH = 768;
  char name[] = "/tmp/bench_stereo_XXXXXX";
  if (!mkdtemp(name)) return;
  const std::string dir = name;
  // A textured left view, and the right one holding it shifted by a smooth
  // disparity field in -20 .. 20.
  std::mt19937 gen(7);
  std::vector<unsigned char> noise(static_cast<size_t>(kW + 64) * kH * 3);
  for (auto& v : noise) v = static_cast<unsigned char>(gen());
  std::string left(static_cast<size_t>(kW) * kH * 3, 0), right = left;
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x) {
      const int d = static_cast<int>(std::lround(20 * std::sin(x * 0.01) * std::cos(y * 0.013)));
      for (int b = 0; b < 3; ++b) {
        const auto at = [&](int xx) {
          return noise[(static_cast<size_t>(y) * (kW + 64) + xx + 32) * 3 + b];
        };
        left[(static_cast<size_t>(y) * kW + x) * 3 + b] = static_cast<char>((at(x) + at(x + 1)) / 2);
        right[(static_cast<size_t>(y) * kW + x) * 3 + b] =
            static_cast<char>((at(x - d) + at(x - d + 1)) / 2);
      }
    }
  std::ofstream(dir + "/l.rvb", std::ios::binary) << left;
  std::ofstream(dir + "/r.rvb", std::ios::binary) << right;
  std::ofstream(dir + "/l.dim") << kW << " " << kH << "\n";
  std::ofstream(dir + "/r.dim") << kW << " " << kH << "\n";
  std::ofstream(dir + "/l.cam") << sample::CameraFile(0, kW, kH);
  std::ofstream(dir + "/r.cam") << sample::CameraFile(1, kW, kH);
  for (const char* method : {"ncc", "3band"}) {
    const std::string summary =
        RunTool(dir, {"l.rvb", "r.rvb", "l.cam", "r.cam", "out.tif", "--disparity", "-32:32",
                      "--method", method, "--ply"});
    std::printf("1024 x 768, 64 disparities, %s, --ply: %s\n", method, summary.c_str());
  }
  std::error_code ec;
  fs::remove_all(dir, ec);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string data = fs::absolute(argc > 1 ? argv[1] : KLUTEIDA_SHARED_DATA).string();
  // The three-band methods write their diagnostics ("cc.txt") into the
  // current directory: a scratch one.
  char scratch[] = "/tmp/bench_stereo_cwd_XXXXXX";
  if (!mkdtemp(scratch) || chdir(scratch) != 0) return 1;
  RealPairs(data);
  std::printf("\n");
  WholeTool();
  std::error_code ec;
  fs::remove_all(scratch, ec);
  return 0;
}
