#include "tools/export.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "util/error_msg.h"
#include "util/find_flag.h"
#include "util/large_buffer.h"

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

long long CountAcceptedRun(const TPoint3Di* stored, std::size_t n, TPoint3Di offset,
                           const ExportBox* box) {
  if (!box) {
    // z >= 1 once the offset is added: the valid points.
    return static_cast<long long>(CountValidPoints(stored, n, offset.z));
  }
  long long count = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const TPoint3Di& s = stored[i];
    const TPoint3Di p = s.z == 0 ? s : s + offset;
    count += AcceptPoint(p.x, p.y, p.z, box);
  }
  return count;
}

long long CountAccepted(const TCoord& coord, const ExportBox* box) {
  const RasterGrid grid = GridOf(coord);
  const RasterRows rows = RowsOf(grid), columns = ColumnsOf(grid);
  long long count = 0;
  for (long long y = rows.begin; y < rows.end; ++y)
    count +=
        CountAcceptedRun(coord.data.data() + static_cast<std::size_t>(y - rows.begin) * coord.width,
                         static_cast<std::size_t>(columns.end - columns.begin), grid.offset, box);
  return count;
}

namespace {

// Stored rows read at a time: few enough to stay in the core's cache between
// the read and the walks.
constexpr std::size_t kScanBlockBytes = std::size_t{256} << 10;

std::size_t BlockRows(std::size_t width) {
  return std::max<std::size_t>(
      1, kScanBlockBytes / sizeof(TPoint3Di) / std::max<std::size_t>(1, width));
}

// What one thread gathers over the stored rows [begin, end).
struct ScanPart {
  explicit ScanPart(TPoint3Di offset) : extent(offset) {}
  CoordExtent extent;
  long long accepted = 0;
  bool read = true;
};

void ScanRows(const TCoordFile& file, const ExportBox* box, bool count, std::size_t begin,
              std::size_t end, TPoint3Di* stored, ScanPart* part) {
  const RasterGrid grid = GridOf(file);
  const RasterRows rows = RowsOf(grid), columns = ColumnsOf(grid);
  const std::size_t walk_rows = static_cast<std::size_t>(rows.end - rows.begin);
  const std::size_t walk_columns = static_cast<std::size_t>(columns.end - columns.begin);
  const CoordExtent::Window window =
      CoordExtent::WindowOf(grid.width, grid.height, grid.x0, grid.y0);
  const std::size_t width = file.width;
  const std::size_t block = BlockRows(width);
  for (std::size_t first = begin; first < end; first += block) {
    const std::size_t n = std::min(block, end - first);
    if (!file.ReadRows(first, n, stored)) {
      part->read = false;
      return;
    }
    for (std::size_t r = first; r < first + n; ++r) {
      const TPoint3Di* row = stored + (r - first) * width;
      if (count && r < walk_rows)
        part->accepted += CountAcceptedRun(row, walk_columns, grid.offset, box);
      if (r >= window.row_begin && r < window.row_end)
        part->extent.Add(row + window.col_begin, window.col_end - window.col_begin);
    }
  }
}

}  // namespace

bool ScanRaster(const TCoordFile& file, const ExportBox* box, CoordExtent* extent,
                long long* accepted) {
  const RasterGrid grid = GridOf(file);
  const std::size_t walk_rows = static_cast<std::size_t>(RowsOf(grid).end - RowsOf(grid).begin);
  const std::size_t rows =
      file.width == 0
          ? 0
          : std::max(accepted ? walk_rows : 0,
                     CoordExtent::WindowOf(grid.width, grid.height, grid.x0, grid.y0).row_end);
  const std::size_t half = rows / 2;
  // One block for each thread, in one allocation.
  const std::size_t block = BlockRows(file.width) * file.width;
  LargeBuffer buffer;
  auto* stored = reinterpret_cast<TPoint3Di*>(buffer.Reserve(2 * block * sizeof(TPoint3Di)));
  if (!stored) error_msg("ER_MEM_ALLOC");
  ScanPart first(grid.offset), second(grid.offset);
  std::thread helper;
  try {
    helper = std::thread(ScanRows, std::cref(file), box, accepted != nullptr, half, rows,
                         stored + block, &second);
  } catch (const std::system_error&) {
    // No thread to be had: the calling thread reads both halves.
    ScanRows(file, box, accepted != nullptr, half, rows, stored + block, &second);
  }
  ScanRows(file, box, accepted != nullptr, 0, half, stored, &first);
  if (helper.joinable()) helper.join();
  if (!first.read || !second.read) return false;
  first.extent.Append(second.extent);
  *extent = first.extent;
  if (accepted) *accepted = first.accepted + second.accepted;
  return true;
}

void WriteCountFile(const char* path, int count) {
  std::FILE* f = std::fopen(path, "w");
  if (!f) error_msg(CannotCreate(path).c_str());
  const bool written = std::fprintf(f, "nb points : %d\n", count) > 0;
  if (std::fclose(f) != 0 || !written) error_msg("ER_FILE_WRITE");
}
