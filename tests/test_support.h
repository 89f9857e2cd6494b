// Helpers shared by the test programs: scratch files, byte builders for the
// file formats, the texts every reader prints, and running code in a child
// process to see its output and exit status.
#ifndef KLUTEIDA_TESTS_TEST_SUPPORT_H
#define KLUTEIDA_TESTS_TEST_SUPPORT_H

#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace testsupport {

using Files = std::vector<std::pair<std::string, std::string>>;  // names and bytes

// A fresh, empty directory for the running test, removed with the object.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  // Writes files (names relative to the directory), creating subdirectories.
  void Write(const Files& files) const;

 private:
  std::string path_;
};

void WriteFile(const std::string& path, const std::string& bytes);
std::string ReadFile(const std::string& path);
bool FileExists(const std::string& path);

// A scratch stream holding `text`, positioned at its start, and the whole
// content of a stream.
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
File TextStream(const std::string& text);
std::string ReadStream(std::FILE* f);

template <class... A>
std::string Format(const char* format, A... args) {
  std::vector<char> buf(static_cast<size_t>(std::snprintf(nullptr, 0, format, args...)) + 1);
  std::snprintf(buf.data(), buf.size(), format, args...);
  return buf.data();
}

// Little-endian encodings for building binary files byte by byte.
std::string Le16(unsigned v);
std::string Le32(unsigned v);
std::string Le64(unsigned long long v);

// A coordinate raster's elements: x, y, z of each point as 32-bit integers.
std::string CoordBytes(const std::vector<std::array<int, 3>>& points);
// A "uml" header: magic, version 1, sizes, type, frames, 256-byte comment.
std::string UmlHeader(unsigned w, unsigned h, unsigned type, unsigned frames,
                      std::string comment = "");
// A TIFF written by libtiff, one strip per row, the rows taken in turn from
// `pixels` (zero where it ends). Defaults: uncompressed 8-bit grey.
void WriteTiff(const std::string& path, unsigned w, unsigned h, const std::string& pixels,
               unsigned photometric = 1, unsigned samples = 1, unsigned bits = 8,
               unsigned compression = 1);

// What error_msg prints before the process ends with status 255.
std::string Fatal(const std::string& text);
// The coordinate raster's and the image reader's opening lines.
std::string CoordOpened(const std::string& name);
std::string ImageOpening(const std::string& name, const std::string& rest);

struct ChildResult {
  int status = -1;  // exit status as the shell sees it (0..255), or -1 when killed
  int signal = 0;   // the signal that ended the child, 0 when it exited
  std::string out;  // everything written to standard output
  std::string err;  // everything written to standard error
};

// Runs `body` in a forked child with standard output and error captured.
// A body that returns normally exits the child with status 0.
ChildResult RunInChild(const std::function<void()>& body);

// Runs a program with arguments (argv[0] is `program`) in directory `cwd`.
ChildResult RunProgram(const std::string& program, const std::vector<std::string>& args,
                       const std::string& cwd = ".");

}  // namespace testsupport

#endif  // KLUTEIDA_TESTS_TEST_SUPPORT_H
