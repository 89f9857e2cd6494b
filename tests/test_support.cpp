#include "test_support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace testsupport {
namespace fs = std::filesystem;

TempDir::TempDir() {
  const char* base = std::getenv("KLUTEIDA_TEST_TMP");
  std::string root = base && *base ? base : fs::temp_directory_path().string();
  const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
  std::string name = info ? std::string(info->test_suite_name()) + "." + info->name() : "test";
  for (char& c : name)
    if (c == '/') c = '_';
  std::string templ = root + "/tmp_" + name + "_XXXXXX";
  if (!mkdtemp(templ.data())) throw std::runtime_error("mkdtemp failed for " + templ);
  path_ = templ;
}

TempDir::~TempDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

void TempDir::Write(const Files& files) const {
  for (const auto& [name, bytes] : files) {
    fs::create_directories(fs::path(file(name)).parent_path());
    WriteFile(file(name), bytes);
  }
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  if (!f) throw std::runtime_error("cannot write " + path);
  f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadFile(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

bool FileExists(const std::string& path) { return fs::exists(path); }

File TextStream(const std::string& text) {
  File f(std::tmpfile(), &std::fclose);
  std::fputs(text.c_str(), f.get());
  std::rewind(f.get());
  return f;
}

std::string ReadStream(std::FILE* f) {
  std::string text;
  std::rewind(f);
  for (int c; (c = std::fgetc(f)) != EOF;) text += static_cast<char>(c);
  return text;
}

std::string Le16(unsigned v) {
  return std::string{static_cast<char>(v & 0xFF), static_cast<char>((v >> 8) & 0xFF)};
}
std::string Le32(unsigned v) { return Le16(v & 0xFFFF) + Le16(v >> 16); }
std::string Le64(unsigned long long v) {
  return Le32(static_cast<unsigned>(v & 0xFFFFFFFFu)) + Le32(static_cast<unsigned>(v >> 32));
}

std::string CoordBytes(const std::vector<std::array<int, 3>>& points) {
  std::string bytes;
  for (const auto& p : points)
    for (int v : p) bytes += Le32(static_cast<unsigned>(v));
  return bytes;
}

std::string UmlHeader(unsigned w, unsigned h, unsigned type, unsigned frames, std::string comment) {
  comment.resize(256, '\0');
  return std::string("\x45\x1F\x01", 3) + Le16(w) + Le16(h) + static_cast<char>(type) +
         Le16(frames) + comment;
}

void WriteTiff(const std::string& path, unsigned w, unsigned h, const std::string& pixels,
               unsigned photometric, unsigned samples, unsigned bits, unsigned compression) {
  TIFF* tif = TIFFOpen(path.c_str(), "w");
  ASSERT_NE(tif, nullptr);
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, w);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, h);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, bits);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, samples);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, photometric);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, compression);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 1);
  std::vector<uint16_t> colormap(3u << bits);
  if (photometric == PHOTOMETRIC_PALETTE)
    TIFFSetField(tif, TIFFTAG_COLORMAP, &colormap[0], &colormap[1u << bits], &colormap[2u << bits]);
  const uint16_t alpha = EXTRASAMPLE_ASSOCALPHA;
  if (samples == 2) TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, &alpha);
  const size_t n = static_cast<size_t>(TIFFScanlineSize(tif));
  for (uint32_t y = 0; y < h; ++y) {
    std::string row = pixels.substr(std::min(pixels.size(), y * n), n);
    row.resize(n, '\0');
    ASSERT_EQ(TIFFWriteScanline(tif, row.data(), y, 0), 1);
  }
  TIFFClose(tif);
}

std::string Fatal(const std::string& text) { return " " + text + ". Terminated\n"; }
std::string CoordOpened(const std::string& name) {
  return "Opening file " + name + "...  Success\n";
}
std::string ImageOpening(const std::string& name, const std::string& rest) {
  return "Opening file: " + name + "... " + rest;
}

namespace {

int TempFd() {
  char name[] = "/tmp/kluteida_capture_XXXXXX";
  int fd = mkstemp(name);
  if (fd < 0) throw std::runtime_error("mkstemp failed");
  unlink(name);
  return fd;
}

std::string Slurp(int fd) {
  std::string text;
  char buf[65536];
  lseek(fd, 0, SEEK_SET);
  for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;) text.append(buf, static_cast<size_t>(n));
  close(fd);
  return text;
}

}  // namespace

ChildResult RunInChild(const std::function<void()>& body) {
  int out_fd = TempFd(), err_fd = TempFd();
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    dup2(out_fd, 1);
    dup2(err_fd, 2);
    body();
    std::fflush(nullptr);
    _exit(0);
  }
  ChildResult r;
  int st = 0;
  while (waitpid(pid, &st, 0) < 0) {
  }
  if (WIFEXITED(st)) r.status = WEXITSTATUS(st);
  if (WIFSIGNALED(st)) r.signal = WTERMSIG(st);
  r.out = Slurp(out_fd);
  r.err = Slurp(err_fd);
  return r;
}

ChildResult RunProgram(const std::string& program, const std::vector<std::string>& args,
                       const std::string& cwd) {
  return RunInChild([&] {
    if (chdir(cwd.c_str()) != 0) _exit(127);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  });
}

}  // namespace testsupport
