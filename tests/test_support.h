// Helpers shared by the test programs: scratch files, whole-file reads and
// running a piece of code in a child process to see its output and exit status.
#ifndef KLUTEIDA_TESTS_TEST_SUPPORT_H
#define KLUTEIDA_TESTS_TEST_SUPPORT_H

#include <functional>
#include <string>
#include <vector>

namespace testsupport {

// A fresh, empty directory for the running test, removed with the object.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

void WriteFile(const std::string& path, const std::string& bytes);
std::string ReadFile(const std::string& path);
bool FileExists(const std::string& path);

// Little-endian encodings for building binary files byte by byte.
std::string Le16(unsigned v);
std::string Le32(unsigned v);
std::string Le64(unsigned long long v);

struct ChildResult {
  int status = -1;   // exit status as the shell sees it (0..255), or -1 when killed
  int signal = 0;    // the signal that ended the child, 0 when it exited
  std::string out;   // everything written to standard output
  std::string err;   // everything written to standard error
};

// Runs `body` in a forked child with standard output and error captured.
// A body that returns normally exits the child with status 0.
ChildResult RunInChild(const std::function<void()>& body);

// Runs a program with arguments (argv[0] is `program`) in directory `cwd`.
ChildResult RunProgram(const std::string& program, const std::vector<std::string>& args,
                       const std::string& cwd = ".");

}  // namespace testsupport

#endif  // KLUTEIDA_TESTS_TEST_SUPPORT_H
