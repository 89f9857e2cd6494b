// kluteida-stereo: an epipolar image pair and its two frame cameras in, a
// disparity image, a coordinate raster and a coloured point cloud out.
//
//   kluteida-stereo LEFT RIGHT CAMERA1 CAMERA2 OUTPUT --disparity MIN:MAX
//       [--method ncc|3band|3band-hier|support] [--threshold T]
//       [--box Xmin Xmax Ymin Ymax Zmin Zmax] [--ply] [--preview FILE.png] [--threads N]
//
// OUTPUT names the disparity image (its extension chooses the format); the
// raster pair, the cloud, its count and the PLY file take OUTPUT's name with
// ".cor"/".dim", ".asc", ".txt" and ".ply".
#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "camera/tcamera.h"
#include "geometry/tcoord.h"
#include "image/tdispimage.h"
#include "image/timage.h"
#include "tools/cloud_file.h"
#include "tools/export.h"
#include "tools/ply.h"
#include "tools/preview.h"
#include "tools/stereo.h"

#ifndef KLUTEIDA_VERSION
#define KLUTEIDA_VERSION "unknown"
#endif

namespace {

constexpr char kName[] = "kluteida-stereo";

[[noreturn]] void Fail(const std::string& message) {
  std::fflush(stdout);
  std::fprintf(stderr, "%s: error: %s\n", kName, message.c_str());
  std::exit(1);
}

// OUTPUT with its extension replaced by `extension` (or added).
std::string WithExtension(const std::string& output, const std::string& extension) {
  const size_t slash = output.rfind('/');
  const size_t dot = output.rfind('.');
  const bool has = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  return (has ? output.substr(0, dot) : output) + extension;
}

std::string ExtensionOf(const std::string& name) {
  const size_t slash = name.rfind('/');
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  return name.substr(dot + 1);
}

class Clock {
 public:
  double Lap() {
    const auto now = std::chrono::steady_clock::now();
    const double s = std::chrono::duration<double>(now - last_).count();
    last_ = now;
    return s;
  }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

void Stage(int n, const std::string& what) {
  std::printf("[%d/5] %s\n", n, what.c_str());
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "Correlates an epipolar image pair, intersects the rays of its two frame cameras for every "
      "pixel with a disparity, and writes the disparity image, the coordinate raster and the "
      "coloured point cloud.",
      kName};
  std::string left_name, right_name, camera1_name, camera2_name, output, disparity, preview;
  std::string method_name = "ncc";
  double threshold = 0.5;
  std::vector<double> box_values;
  bool ply = false;
  int threads = 0;
  app.add_option("LEFT", left_name, "left image (any format the library reads)")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("RIGHT", right_name, "right image, the same size, rows aligned with the left's")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("CAMERA1", camera1_name, "camera file of the left image")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("CAMERA2", camera2_name, "camera file of the right image")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("OUTPUT", output,
                 "disparity image (format by extension: tif, pgm, uml, xv, ima, rvb); the other "
                 "outputs take its name with .cor/.dim, .asc, .txt, .ply")
      ->required();
  app.add_option("--disparity", disparity,
                 "disparities MIN:MAX to search, MAX excluded (right column minus left column)")
      ->required();
  app.add_option("--method", method_name, "correlation method")
      ->check(CLI::IsMember({"ncc", "3band", "3band-hier", "support"}))
      ->capture_default_str();
  app.add_option("--threshold", threshold, "lowest correlation score accepted, excluded")
      ->check(CLI::Range(-1.0, 1.0))
      ->capture_default_str();
  app.add_option("--box", box_values,
                 "keep only the points inside Xmin Xmax Ymin Ymax Zmin Zmax (centimetres)")
      ->expected(6);
  app.add_flag("--ply", ply, "also write a binary PLY file");
  app.add_option("--preview", preview,
                 "write a PNG picture of the disparities and the shaded heights");
  app.add_option("--threads", threads, "correlation threads (0: every processor)")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.set_version_flag("--version", std::string(kName) + " " + KLUTEIDA_VERSION);
  CLI11_PARSE(app, argc, argv);

  // Arguments first: nothing is read or written before they hold.
  int mind = 0, maxd = 0;
  {
    const size_t colon = disparity.find(':');
    char* end = nullptr;
    bool ok = colon != std::string::npos;
    if (ok) {
      mind = static_cast<int>(std::strtol(disparity.c_str(), &end, 10));
      ok = end == disparity.c_str() + colon && colon > 0;
    }
    if (ok) {
      const char* hi = disparity.c_str() + colon + 1;
      maxd = static_cast<int>(std::strtol(hi, &end, 10));
      ok = end != hi && *end == '\0';
    }
    if (!ok) Fail("--disparity takes MIN:MAX, two integers, not \"" + disparity + "\"");
    if (mind >= maxd) Fail("the disparity range " + disparity + " is empty (MIN must be below MAX)");
    if (mind < -127 || maxd > 128)
      Fail("disparities must lie in -127 .. 127 (a disparity image holds them in one byte)");
  }
  const std::map<std::string, StereoMethod> methods = {{"ncc", StereoMethod::kNcc},
                                                       {"3band", StereoMethod::kThreeBand},
                                                       {"3band-hier", StereoMethod::kThreeBandHier},
                                                       {"support", StereoMethod::kSupport}};
  const StereoMethod method = methods.at(method_name);
  const std::string ext = ExtensionOf(output);
  if (!(ext == "tif" || ext == "tiff" || ext == "pgm" || ext == "uml" || ext == "xv" ||
        ext == "ima" || ext == "rvb"))
    Fail("OUTPUT must end in .tif, .tiff, .pgm, .uml, .xv, .ima or .rvb, not \"" + output + "\"");
  if (!preview.empty() && ExtensionOf(preview) != "png") Fail("--preview must name a .png file");
  ExportBox box{};
  if (!box_values.empty())
    box = {box_values[0], box_values[1], box_values[2], box_values[3], box_values[4], box_values[5]};
  const ExportBox* box_ptr = box_values.empty() ? nullptr : &box;
  SetCorrelationThreads(threads);

  Clock clock;
  std::printf("%s %s: %s and %s, disparities %d .. %d, method %s, threshold %g, %d threads\n",
              kName, KLUTEIDA_VERSION, left_name.c_str(), right_name.c_str(), mind, maxd - 1,
              method_name.c_str(), threshold, CorrelationThreads());
  Stage(1, "reading the images and the cameras");
  TImage left(left_name.c_str());
  TImage right(right_name.c_str());
  if (left.width != right.width || left.height != right.height)
    Fail("the images differ in size: " + std::to_string(left.width) + " x " +
         std::to_string(left.height) + " and " + std::to_string(right.width) + " x " +
         std::to_string(right.height));
  if (maxd - mind > left.width)
    Fail("the disparity range " + disparity + " is wider than the images (" +
         std::to_string(left.width) + " columns)");
  if (NeedsThreeBands(method) && (left.frames < 3 || right.frames < 3))
    Fail("method " + method_name + " needs images of three bands; these have " +
         std::to_string(left.frames) + " and " + std::to_string(right.frames) + " (use ncc)");
  const TCamera camera1(camera1_name.c_str()), camera2(camera2_name.c_str());
  const std::string wrong = CheckCameras(camera1, camera2, left.width, left.height, mind, maxd);
  if (!wrong.empty()) Fail("cameras " + camera1_name + " and " + camera2_name + ": " + wrong);
  const double reading = clock.Lap();

  Stage(2, "correlating " + std::to_string(left.width) + " x " + std::to_string(left.height) +
               " pixels over " + std::to_string(maxd - mind) + " disparities");
  const std::unique_ptr<TDispImage> disparities =
      Correlate(left, right, method, mind, maxd, threshold);
  if (disparities->Save(output.c_str()) != 1) Fail("cannot write " + output);
  const double correlation = clock.Lap();

  Stage(3, "intersecting the rays of the pixels with a disparity");
  long long points = 0;
  const std::unique_ptr<TCoord> raster = Intersect(*disparities, left, camera1, camera2, &points);
  const std::string cor = WithExtension(output, ".cor");
  if (raster->Save(cor.c_str(), 0, 0, 0, 0) != 1) Fail("cannot write " + cor);
  std::printf("%lld of the %d pixels have an object point\n", points, left.width * left.height);
  const double intersection = clock.Lap();

  Stage(4, "writing the point cloud");
  const long long count = CountAccepted(*raster, box_ptr);
  WriteCountFile(WithExtension(output, ".txt").c_str(), static_cast<int>(count));
  {
    PointCloudFile cloud(WithExtension(output, ".asc"));
    cloud.AddPair(*raster, left, box_ptr);
    cloud.Commit();
  }
  std::printf("%s: %lld points\n", WithExtension(output, ".asc").c_str(), count);
  if (ply) {
    const std::string name = WithExtension(output, ".ply");
    if (!WritePly(name, *raster, left, box_ptr, count)) Fail("cannot write " + name);
    std::printf("%s: %lld points\n", name.c_str(), count);
  }
  const double cloud_time = clock.Lap();

  Stage(5, preview.empty() ? "no preview asked for" : "drawing the preview " + preview);
  if (!preview.empty() && !WritePreview(preview, *disparities, mind, maxd, *raster))
    Fail("cannot write " + preview);
  const double total = reading + correlation + intersection + cloud_time + clock.Lap();
  std::printf(
      "Done in %.2f s: %lld points (reading %.2f s, correlation %.2f s, intersection and raster "
      "%.2f s, cloud %.2f s)\n",
      total, count, reading, correlation, intersection, cloud_time);
  return 0;
}
