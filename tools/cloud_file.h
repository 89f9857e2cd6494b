// The ".asc" point cloud being written, on two threads.
//
// The rows of each raster are cut into chunks of about kChunkPixels pixels.
// Chunks alternate between the calling thread and a helper thread; each
// thread walks its chunk, fetches the colours and formats the lines into its
// own buffer, then writes them when every chunk before has been written. A
// line's text is made and written on the same core, and while one thread
// writes the other formats.
//
// The colour carried from point to point is kept exactly: a chunk whose first
// colour fetch depends on the previous colour (a pixel outside the image, an
// image without bands or of a wide type) waits for the end colour of the
// chunk before it.
#ifndef KLUTEIDA_TOOLS_CLOUD_FILE_H
#define KLUTEIDA_TOOLS_CLOUD_FILE_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "geometry/tcoord.h"
#include "image/timage.h"
#include "tools/export.h"
#include "tools/point_format.h"
#include "util/large_buffer.h"

// The lines go to a temporary file beside the cloud ("<name>.part") that
// becomes the cloud on Commit. If the process ends before (a reader's fatal
// error, a failed write), the helper thread is stopped and the temporary
// file removed, so no cloud is left that could pass for a complete one.
class PointCloudFile {
 public:
  static constexpr std::size_t kChunkPixels = 32768;

  // Removes an earlier cloud of that name, creates the temporary file and
  // starts the helper; a file that cannot be created ends the process
  // through error_msg.
  explicit PointCloudFile(std::string path);
  ~PointCloudFile();
  PointCloudFile(const PointCloudFile&) = delete;
  PointCloudFile& operator=(const PointCloudFile&) = delete;

  // Adds a line for every accepted point of the raster's walk, with its
  // colour from `image`, continuing from the colour the previous pair left.
  // Returns once the helper no longer reads the raster or the image. A failed
  // write ends the process with ER_FILE_WRITE.
  void AddPair(const TCoord& coord, TImage& image, const ExportBox* box);
  // The same with the raster's rows read from its file as the lines are made,
  // gathering on the way the extent that SetMinMax would find. Returns false
  // when rows could not be read or a write failed: the cloud is then
  // abandoned, and Fail ends the process with the message.
  bool AddPair(const TCoordFile& file, TImage& image, const ExportBox* box, CoordExtent* extent);

  // Waits for every line to be written, closes and gives the file its final
  // name. A failed write ends the process with ER_FILE_WRITE.
  void Commit();

  // Stops the helper, closes and removes the temporary file (the process is
  // ending early).
  void Abandon();

  // Abandons the cloud and ends the process with the failure's message:
  // ER_FILE_READ, ER_FILE_WRITE or ER_MEM_ALLOC.
  [[noreturn]] void Fail();

 private:
  struct Chunk {
    std::size_t index;  // in the whole cloud: the order of writing
    RasterGrid grid;
    const TPoint3Di* stored;  // the raster's first row in memory, or null
    const TCoordFile* file;   // else where its rows are read
    TImage* image;
    const ExportBox* box;
    RasterRows rows;
    CoordExtent* extent;  // the pair's extent, gathered chunk by chunk; or null
  };
  // What one thread needs to format its chunks.
  struct Worker {
    std::unique_ptr<PointLineFormatter> formatter = std::make_unique<PointLineFormatter>();
    LargeBuffer text;
    LargeBuffer rows;  // the chunk's rows read from a file
  };
  class Stopped {};  // thrown in the helper when the cloud is abandoned

  // false on a failure.
  bool AddChunks(const RasterGrid& grid, const TPoint3Di* stored, const TCoordFile* file,
                 TImage& image, const ExportBox* box, CoordExtent* extent);
  // Formats and writes one chunk; false when it could not (a read or a write
  // failed, or the cloud is being abandoned).
  bool Process(const Chunk& chunk, Worker& worker);
  // The colour left by the chunks before `index`; false when stopped.
  bool StartColour(std::size_t index, unsigned char rgb[3]);
  void HelperLoop();
  void StopHelper();
  // Records a failure of the worker's chunk before its lines were made;
  // returns false.
  bool Stop(Worker& worker, const char* failure);

  std::string path_;
  std::string part_path_;
  int fd_ = -1;
  bool part_left_ = false;  // the temporary file exists and is not the cloud yet
  Worker own_;
  Worker helper_worker_;
  std::size_t chunks_ = 0;  // chunks handed out so far

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Chunk> queue_;              // the helper's chunks, in order
  std::size_t helper_busy_ = 0;          // of the helper's chunks, those not formatted yet
  std::size_t published_ = 0;            // chunks whose end colour is known, in order
  unsigned char colour_[3] = {0, 0, 0};  // the end colour of chunk published_ - 1
  std::size_t written_ = 0;              // chunks written, in order
  bool failed_ = false;
  const char* failure_ = "ER_FILE_WRITE";  // the message the process ends with
  bool stopping_ = false;
  std::thread helper_;
};

#endif  // KLUTEIDA_TOOLS_CLOUD_FILE_H
