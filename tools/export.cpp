#include "tools/export.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "util/error_msg.h"
#include "util/find_flag.h"

const char kExportUsage[] =
    "Usage: <nbr images> <coor 1> <image 1> ... <coor N> <image N> <point.bin> "
    "[-cadre Xmin Xmax Ymin Ymax Zmin Zmax]";

namespace {

constexpr std::size_t kCloudBufferSize = 1 << 20;

// The cloud being written, for the exit handler.
PointCloudFile* pending_cloud = nullptr;

void AbandonPendingCloud() {
  if (pending_cloud) pending_cloud->Abandon();
}

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

PointCloudFile::PointCloudFile(std::string path)
    : path_(std::move(path)),
      part_path_(path_ + ".part"),
      buffer_(kCloudBufferSize),
      next_(buffer_.data()),
      end_(buffer_.data() + buffer_.size()),
      formatter_(std::make_unique<PointLineFormatter>()) {
  ::unlink(path_.c_str());  // a file only, never a directory of that name
  file_ = std::fopen(part_path_.c_str(), "w");
  if (!file_) error_msg(CannotCreate(path_).c_str());
  static const bool registered = std::atexit(AbandonPendingCloud) == 0;
  (void)registered;
  pending_cloud = this;
}

PointCloudFile::~PointCloudFile() {
  if (file_) Abandon();
}

void PointCloudFile::Flush() {
  const std::size_t n = static_cast<std::size_t>(next_ - buffer_.data());
  next_ = buffer_.data();
  if (std::fwrite(buffer_.data(), 1, n, file_) != n) error_msg("ER_FILE_WRITE");
}

void PointCloudFile::Commit() {
  Flush();
  std::FILE* file = std::exchange(file_, nullptr);
  if (std::fclose(file) != 0) {
    std::remove(part_path_.c_str());
    error_msg("ER_FILE_WRITE");
  }
  if (std::rename(part_path_.c_str(), path_.c_str()) != 0) {
    std::remove(part_path_.c_str());
    error_msg(CannotCreate(path_).c_str());
  }
  pending_cloud = nullptr;
}

void PointCloudFile::Abandon() {
  if (pending_cloud == this) pending_cloud = nullptr;
  if (!file_) return;
  std::fclose(std::exchange(file_, nullptr));
  std::remove(part_path_.c_str());
}

void WriteCountFile(const char* path, int count) {
  std::FILE* f = std::fopen(path, "w");
  if (!f) error_msg(CannotCreate(path).c_str());
  const bool written = std::fprintf(f, "nb points : %d\n", count) > 0;
  if (std::fclose(f) != 0 || !written) error_msg("ER_FILE_WRITE");
}
