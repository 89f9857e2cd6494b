#include "tools/cloud_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include "util/error_msg.h"

namespace {

const char kErrFileRead[] = "ER_FILE_READ";
const char kErrFileWrite[] = "ER_FILE_WRITE";
const char kErrMemAlloc[] = "ER_MEM_ALLOC";

// The cloud being written, for the exit handler.
PointCloudFile* pending_cloud = nullptr;

void AbandonPendingCloud() {
  if (pending_cloud) pending_cloud->Abandon();
}

// Writes all of `bytes`; false on an error (disk full, file too large).
bool WriteAll(int fd, const char* bytes, std::size_t n) {
  while (n > 0) {
    const ssize_t done = ::write(fd, bytes, n);
    if (done < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes += done;
    n -= static_cast<std::size_t>(done);
  }
  return true;
}

// The lines of the points of one row with z >= 1 once offset, their colours
// fetched from `row`, which determines every column. Returns the column of
// the last line, -1 when none.
long long ValidRowLines(const TPoint3Di* points, RasterRows columns, TPoint3Di offset,
                        const ColourRow& row, PointLineFormatter& formatter, char** out) {
  const std::size_t n = static_cast<std::size_t>(columns.end - columns.begin);
  const unsigned char* grey = row.GreyFrom(columns.begin);
  char* o = *out;
  std::size_t last = n;
  for (std::size_t i = 0; i < n; ++i) {
    const TPoint3Di& s = points[i];
    if (s.z == 0) continue;  // an empty pixel keeps its stored z of 0
    const TPoint3Di p = s + offset;
    if (p.z < 1) continue;
    if (grey) {
      o = formatter.FormatGrey(p.x, p.y, p.z, grey[i], o);
    } else {
      unsigned char rgb[3];
      row.Fetch(static_cast<int>(columns.begin + static_cast<long long>(i)), rgb);
      o = formatter.Format(p.x, p.y, p.z, rgb, o);
    }
    last = i;
  }
  *out = o;
  return last == n ? -1 : columns.begin + static_cast<long long>(last);
}

}  // namespace

PointCloudFile::PointCloudFile(std::string path)
    : path_(std::move(path)), part_path_(path_ + ".part") {
  ::unlink(path_.c_str());  // a file only, never a directory of that name
  fd_ = ::open(part_path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd_ < 0) error_msg(("Cannot create the file " + path_).c_str());
  part_left_ = true;
  static const bool registered = std::atexit(AbandonPendingCloud) == 0;
  (void)registered;
  pending_cloud = this;
  try {
    helper_ = std::thread(&PointCloudFile::HelperLoop, this);
  } catch (const std::system_error&) {
    // No thread to be had: the main thread takes every chunk.
  }
}

PointCloudFile::~PointCloudFile() { Abandon(); }

bool PointCloudFile::StartColour(std::size_t index, unsigned char rgb[3]) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return published_ == index || failed_ || stopping_; });
  if (failed_ || stopping_) return false;
  std::memcpy(rgb, colour_, 3);
  return true;
}

bool PointCloudFile::Process(const Chunk& chunk, Worker& worker) {
  const std::size_t row_count = static_cast<std::size_t>(chunk.rows.end - chunk.rows.begin);
  const std::size_t pixels = row_count * static_cast<std::size_t>(chunk.grid.width);
  const std::size_t first_row = static_cast<std::size_t>(chunk.rows.begin - chunk.grid.y0);
  const TPoint3Di* stored = chunk.stored ? chunk.stored + first_row * chunk.grid.width : nullptr;
  char* out = worker.text.Reserve(pixels * kMaxPointLineLength + kPointLineRoom);
  if (chunk.file) {
    auto* rows = reinterpret_cast<TPoint3Di*>(worker.rows.Reserve(pixels * sizeof(TPoint3Di)));
    if (!out || !rows) return Stop(worker, kErrMemAlloc);
    if (!chunk.file->ReadRows(first_row, row_count, rows)) return Stop(worker, kErrFileRead);
    stored = rows;
  }
  if (!out) return Stop(worker, kErrMemAlloc);
  char* const text = out;
  // The chunk's share of the raster's extent, while its rows are at hand.
  CoordExtent extent(chunk.grid.offset);
  if (chunk.extent) {
    const CoordExtent::Window w =
        CoordExtent::WindowOf(chunk.grid.width, chunk.grid.height, chunk.grid.x0, chunk.grid.y0);
    for (std::size_t r = std::max(first_row, w.row_begin);
         r < std::min(first_row + row_count, w.row_end); ++r)
      extent.Add(stored + (r - first_row) * chunk.grid.width + w.col_begin,
                 w.col_end - w.col_begin);
  }
  unsigned char rgb[3] = {0, 0, 0};
  bool known = false;  // whether rgb holds the colour the serial walk would
  PointLineFormatter& formatter = *worker.formatter;
  const RasterRows columns = ColumnsOf(chunk.grid);
  for (long long y = chunk.rows.begin; y < chunk.rows.end; ++y) {
    const ColourRow row(*chunk.image, static_cast<int>(y));
    const TPoint3Di* points =
        stored + static_cast<std::size_t>(y - chunk.rows.begin) * chunk.grid.width;
    if (!chunk.box && columns.begin < columns.end &&
        row.DeterminesAll(columns.begin, columns.end)) {
      // Every point of the row takes its colour from the image: no colour
      // carried in, only the valid points.
      const long long last =
          ValidRowLines(points, columns, chunk.grid.offset, row, formatter, &out);
      if (last >= 0) {
        row.Fetch(static_cast<int>(last), rgb);
        known = true;
      }
      continue;
    }
    WalkRows(
        chunk.grid, {y, y + 1}, points, [](int) {},
        [&](int x, const TPoint3Di& p) {
          if (!AcceptPoint(p.x, p.y, p.z, chunk.box)) return;
          if (!known) {
            if (!row.Determines(x) && !StartColour(chunk.index, rgb)) throw Stopped{};
            known = true;
          }
          row.Fetch(x, rgb);
          out = formatter.Format(p.x, p.y, p.z, rgb, out);
        });
  }
  const std::size_t length = static_cast<std::size_t>(out - text);
  {
    std::unique_lock<std::mutex> lock(mutex_);
    if (&worker == &helper_worker_) {
      --helper_busy_;  // the raster and image are no longer read
      changed_.notify_all();
    }
    changed_.wait(lock, [&] { return written_ == chunk.index || failed_ || stopping_; });
    if (failed_ || stopping_) return false;
    if (known) std::memcpy(colour_, rgb, 3);         // a chunk without points passes it on
    if (chunk.extent) chunk.extent->Append(extent);  // in the order of the rows
    published_ = chunk.index + 1;
    changed_.notify_all();
  }
  const bool ok = WriteAll(fd_, text, length);
  std::lock_guard<std::mutex> lock(mutex_);
  if (ok) {
    written_ = chunk.index + 1;
  } else if (!failed_) {
    failed_ = true;
    failure_ = kErrFileWrite;
  }
  changed_.notify_all();
  return ok;
}

void PointCloudFile::HelperLoop() {
  for (;;) {
    Chunk chunk;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [&] { return !queue_.empty() || stopping_; });
      if (stopping_) return;
      chunk = queue_.front();
      queue_.pop_front();
    }
    try {
      if (!Process(chunk, helper_worker_)) return;
    } catch (const Stopped&) {
      return;
    }
  }
}

void PointCloudFile::AddPair(const TCoord& coord, TImage& image, const ExportBox* box) {
  if (!AddChunks(GridOf(coord), coord.data.data(), nullptr, image, box, nullptr)) Fail();
}

bool PointCloudFile::AddPair(const TCoordFile& file, TImage& image, const ExportBox* box,
                             CoordExtent* extent) {
  *extent = CoordExtent(file.offset);
  if (AddChunks(GridOf(file), nullptr, &file, image, box, extent)) return true;
  Abandon();
  return false;
}

bool PointCloudFile::AddChunks(const RasterGrid& grid, const TPoint3Di* stored,
                               const TCoordFile* file, TImage& image, const ExportBox* box,
                               CoordExtent* extent) {
  const RasterRows all = RowsOf(grid);
  const long long rows_per_chunk =
      std::max<long long>(1, static_cast<long long>(kChunkPixels) / std::max(1, grid.width));
  std::vector<Chunk> own;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (long long y = all.begin; y < all.end; y += rows_per_chunk) {
      const Chunk chunk{
          chunks_++, grid, stored, file, &image, box, {y, std::min(y + rows_per_chunk, all.end)},
          extent};
      if (chunk.index % 2 == 0 || !helper_.joinable()) {
        own.push_back(chunk);
      } else {
        queue_.push_back(chunk);
        ++helper_busy_;
      }
    }
    changed_.notify_all();
  }
  for (const Chunk& chunk : own) {
    bool ok = false;
    try {
      ok = Process(chunk, own_);
    } catch (const Stopped&) {
    }
    if (!ok) return false;
  }
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return helper_busy_ == 0 || failed_; });
  return !failed_;
}

void PointCloudFile::StopHelper() {
  if (!helper_.joinable()) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
    changed_.notify_all();
  }
  helper_.join();
}

bool PointCloudFile::Stop(Worker& worker, const char* failure) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (&worker == &helper_worker_) --helper_busy_;
  if (!failed_) {
    failed_ = true;
    failure_ = failure;
  }
  changed_.notify_all();
  return false;
}

void PointCloudFile::Fail() {
  Abandon();
  error_msg(failure_);
}

void PointCloudFile::Commit() {
  {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return written_ == chunks_ || failed_; });
  }
  StopHelper();
  if (failed_ || ::close(std::exchange(fd_, -1)) != 0) Fail();
  if (std::rename(part_path_.c_str(), path_.c_str()) != 0) {
    Abandon();
    error_msg(("Cannot create the file " + path_).c_str());
  }
  part_left_ = false;
  pending_cloud = nullptr;
}

void PointCloudFile::Abandon() {
  if (pending_cloud == this) pending_cloud = nullptr;
  StopHelper();
  if (fd_ >= 0) ::close(std::exchange(fd_, -1));
  if (std::exchange(part_left_, false)) std::remove(part_path_.c_str());
}
