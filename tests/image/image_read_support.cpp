#include "image_read_support.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace imagetest {

namespace {

std::string g_error_file;

void WriteError() {
  if (std::FILE* f = std::fopen(g_error_file.c_str(), "w")) {
    std::fprintf(f, "%d", error);
    std::fclose(f);
  }
}

}  // namespace

ReadOutcome ReadWith(const std::function<TImage*()>& make) {
  testsupport::TempDir dir;
  const std::string error_file = dir.file("error");
  ReadOutcome r;
  static_cast<testsupport::ChildResult&>(r) = testsupport::RunInChild([&] {
    g_error_file = error_file;
    std::atexit(WriteError);
    std::unique_ptr<TImage> image(make());
    WriteError();
  });
  const std::string text = testsupport::ReadFile(error_file);
  if (!text.empty()) r.error = std::atoi(text.c_str());
  if (r.status == 0 && r.signal == 0) {
    // Again here, with file descriptor 1 pointed at /dev/null.
    std::fflush(stdout);
    const int saved = dup(1), null_fd = open("/dev/null", O_WRONLY);
    dup2(null_fd, 1);
    close(null_fd);
    r.image.reset(make());
    std::fflush(stdout);
    dup2(saved, 1);
    close(saved);
  }
  return r;
}

ReadOutcome Read(const std::string& name) {
  return ReadWith([name] { return new TImage(name.c_str()); });
}

std::string AllBytes(const TImage& image) {
  return std::string(reinterpret_cast<const char*>(image.data), image.Size());
}

}  // namespace imagetest
