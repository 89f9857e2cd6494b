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
  const std::size_t pixels = static_cast<std::size_t>(chunk.rows.end - chunk.rows.begin) *
                             static_cast<std::size_t>(chunk.coord->width);
  const std::size_t room = pixels * kMaxPointLineLength + kPointLineRoom;
  if (worker.text.size() < room) worker.text.resize(room);
  char* out = worker.text.data();
  unsigned char rgb[3] = {0, 0, 0};
  bool known = false;  // whether rgb holds the colour the serial walk would
  ColourRow row(*chunk.image, 0);
  WalkRows(
      *chunk.coord, chunk.rows, [&](int y) { row = ColourRow(*chunk.image, y); },
      [&](int x, const TPoint3Di& p) {
        if (!AcceptPoint(p.x, p.y, p.z, chunk.box)) return;
        if (!known) {
          if (!row.Determines(x) && !StartColour(chunk.index, rgb)) throw Stopped{};
          known = true;
        }
        row.Fetch(x, rgb);
        out = worker.formatter->Format(p.x, p.y, p.z, rgb, out);
      });
  const std::size_t length = static_cast<std::size_t>(out - worker.text.data());
  {
    std::unique_lock<std::mutex> lock(mutex_);
    if (&worker == &helper_worker_) {
      --helper_busy_;  // the raster and image are no longer read
      changed_.notify_all();
    }
    changed_.wait(lock, [&] { return written_ == chunk.index || failed_ || stopping_; });
    if (failed_ || stopping_) return false;
    if (known) std::memcpy(colour_, rgb, 3);  // a chunk without points passes it on
    published_ = chunk.index + 1;
    changed_.notify_all();
  }
  const bool ok = WriteAll(fd_, worker.text.data(), length);
  std::lock_guard<std::mutex> lock(mutex_);
  if (ok) {
    written_ = chunk.index + 1;
  } else {
    failed_ = true;
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
  const RasterRows all = RowsOf(coord);
  const long long rows_per_chunk =
      std::max<long long>(1, static_cast<long long>(kChunkPixels) / std::max(1, int{coord.width}));
  std::vector<Chunk> own;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (long long y = all.begin; y < all.end; y += rows_per_chunk) {
      const Chunk chunk{chunks_++, &coord, &image, box, {y, std::min(y + rows_per_chunk, all.end)}};
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
    if (!ok) WriteFailed();
  }
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [&] { return helper_busy_ == 0 || failed_; });
  if (failed_) {
    lock.unlock();
    WriteFailed();
  }
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

void PointCloudFile::WriteFailed() {
  Abandon();
  error_msg("ER_FILE_WRITE");
}

void PointCloudFile::Commit() {
  {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return written_ == chunks_ || failed_; });
  }
  StopHelper();
  if (failed_ || ::close(std::exchange(fd_, -1)) != 0) WriteFailed();
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
