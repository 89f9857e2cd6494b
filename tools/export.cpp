#include "tools/export.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "util/error_msg.h"
#include "util/find_flag.h"

const char kExportUsage[] =
    "Usage: <nbr images> <coor 1> <image 1> ... <coor N> <image N> <point.bin> "
    "[-cadre Xmin Xmax Ymin Ymax Zmin Zmax]";

namespace {

std::string CannotCreate(const std::string& path) { return "Cannot create the file " + path; }

}  // namespace

bool ParseExportArgs(int argc, char** argv, ExportArgs* args) {
  if (argc < 4) return false;
  const long long pairs = std::atoi(argv[1]);
  if (pairs < 0 || argc < 3 + 2 * pairs) return false;
  *args = ExportArgs{};
  for (long long i = 0; i < pairs; ++i) {
    args->coordinates.push_back(argv[2 + 2 * i]);
    args->images.push_back(argv[3 + 2 * i]);
  }
  args->output = argv[2 + 2 * pairs];
  const int flag = find_flag(argc, argv, "cadre", 0);
  if (flag > 0) {
    if (argc - 1 - flag < 6) return false;
    args->has_box = true;
    args->box =
        ExportBox{std::atof(argv[flag + 1]), std::atof(argv[flag + 2]), std::atof(argv[flag + 3]),
                  std::atof(argv[flag + 4]), std::atof(argv[flag + 5]), std::atof(argv[flag + 6])};
  }
  return true;
}

void FetchColourByBands(TImage& image, int x, int y, unsigned char rgb[3]) {
  // A band of a wide type fills up to 8 bytes; only its first byte is kept.
  unsigned char value[8];
  const int bands = std::min<int>(image.frames, 3);
  for (int b = 0; b < bands; ++b) {
    if (image.GetIntensity(x, y, value, b)) rgb[b] = value[0];
    if (b == 0) rgb[1] = rgb[2] = rgb[0];
  }
}

long long CountAccepted(const TCoord& coord, const ExportBox* box) {
  long long count = 0;
  WalkRows(
      coord, RowsOf(coord), [](int) {},
      [&](int, const TPoint3Di& p) {
        if (AcceptPoint(p.x, p.y, p.z, box)) ++count;
      });
  return count;
}

void WriteCountFile(const char* path, int count) {
  std::FILE* f = std::fopen(path, "w");
  if (!f) error_msg(CannotCreate(path).c_str());
  const bool written = std::fprintf(f, "nb points : %d\n", count) > 0;
  if (std::fclose(f) != 0 || !written) error_msg("ER_FILE_WRITE");
}
