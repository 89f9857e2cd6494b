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

// Runs `body` with file descriptor 1 pointed at /dev/null.
void Silenced(const std::function<void()>& body) {
  std::fflush(stdout);
  const int saved = dup(1);
  const int null_fd = open("/dev/null", O_WRONLY);
  dup2(null_fd, 1);
  close(null_fd);
  body();
  std::fflush(stdout);
  dup2(saved, 1);
  close(saved);
}

}  // namespace

const char kReadFailed[] = " File opening/reading failed\n. Terminated\n";

ReadOutcome ReadWith(const std::function<TImage*()>& make) {
  testsupport::TempDir dir;
  const std::string error_file = dir.file("error");
  testsupport::ChildResult child = testsupport::RunInChild([&] {
    g_error_file = error_file;
    std::atexit(WriteError);
    std::unique_ptr<TImage> image(make());
    WriteError();
  });
  ReadOutcome r;
  r.status = child.status;
  r.signal = child.signal;
  r.out = child.out;
  r.err = child.err;
  const std::string text = testsupport::ReadFile(error_file);
  if (!text.empty()) r.error = std::atoi(text.c_str());
  if (r.status == 0 && r.signal == 0) Silenced([&] { r.image.reset(make()); });
  return r;
}

ReadOutcome Read(const std::string& name) {
  return ReadWith([name] { return new TImage(name.c_str()); });
}

std::string AllBytes(const TImage& image) {
  return std::string(reinterpret_cast<const char*>(image.data), image.Size());
}

std::string Opening(const std::string& name, const std::string& rest) {
  return "Opening file: " + name + "... " + rest;
}

}  // namespace imagetest
