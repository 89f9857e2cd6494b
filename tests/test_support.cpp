#include "test_support.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

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
  std::vector<char> buf(templ.begin(), templ.end());
  buf.push_back('\0');
  if (!mkdtemp(buf.data())) throw std::runtime_error("mkdtemp failed for " + templ);
  path_ = buf.data();
}

TempDir::~TempDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  if (!f) throw std::runtime_error("cannot write " + path);
  f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadFile(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  if (!f) return {};
  return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

bool FileExists(const std::string& path) { return fs::exists(path); }

std::string Le16(unsigned v) {
  return std::string{static_cast<char>(v & 0xFF), static_cast<char>((v >> 8) & 0xFF)};
}
std::string Le32(unsigned v) { return Le16(v & 0xFFFF) + Le16(v >> 16); }
std::string Le64(unsigned long long v) {
  return Le32(static_cast<unsigned>(v & 0xFFFFFFFFu)) + Le32(static_cast<unsigned>(v >> 32));
}

namespace {

std::string Slurp(int fd) {
  std::string text;
  char buf[65536];
  lseek(fd, 0, SEEK_SET);
  for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;) text.append(buf, static_cast<size_t>(n));
  return text;
}

int TempFd() {
  char name[] = "/tmp/kluteida_capture_XXXXXX";
  int fd = mkstemp(name);
  if (fd < 0) throw std::runtime_error("mkstemp failed");
  unlink(name);
  return fd;
}

ChildResult Collect(pid_t pid, int out_fd, int err_fd) {
  ChildResult r;
  int st = 0;
  while (waitpid(pid, &st, 0) < 0) {
  }
  if (WIFEXITED(st)) r.status = WEXITSTATUS(st);
  if (WIFSIGNALED(st)) r.signal = WTERMSIG(st);
  r.out = Slurp(out_fd);
  r.err = Slurp(err_fd);
  close(out_fd);
  close(err_fd);
  return r;
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
  return Collect(pid, out_fd, err_fd);
}

ChildResult RunProgram(const std::string& program, const std::vector<std::string>& args,
                       const std::string& cwd) {
  int out_fd = TempFd(), err_fd = TempFd();
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    dup2(out_fd, 1);
    dup2(err_fd, 2);
    if (chdir(cwd.c_str()) != 0) _exit(127);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  return Collect(pid, out_fd, err_fd);
}

}  // namespace testsupport
