#include "camera/camera_files.h"

#include <sys/stat.h>

#include <climits>
#include <cmath>
#include <cstdlib>

#include "math/tmatrix.h"
#include "util/terminate.h"

namespace camera_files {

File Open(const char* path, const char* mode) {
  File f(std::fopen(path, mode));
  if (!f) {
    std::printf(" File %s not found\n", path);
    kluteida_internal::Terminate(1);
  }
  return f;
}

void Refuse(const char* text, const char* path) {
  std::printf(" ");
  std::printf(text, path);
  kluteida_internal::Terminate(1);
}

void ReadNumbers(std::FILE* f, double* out, int count) {
  int i = 0;
  for (; i < count && std::fscanf(f, "%lf", &out[i]) == 1; ++i) {
  }
  for (; i < count; ++i) out[i] = 0.0;
}

void ReadInts(std::FILE* f, int* out, int count) {
  int i = 0;
  for (; i < count && std::fscanf(f, "%d", &out[i]) == 1; ++i) {
  }
  for (; i < count; ++i) out[i] = 0;
}

std::string ReadLine(std::FILE* f, size_t limit) {
  std::string line;
  for (int c; line.size() + 1 < limit && (c = std::fgetc(f)) != EOF;) {
    line.push_back(static_cast<char>(c));
    if (c == '\n') break;
  }
  return line;
}

long long BytesLeft(std::FILE* f) {
  struct stat st;
  if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
  const long position = std::ftell(f);
  return position < 0 ? -1 : static_cast<long long>(st.st_size) - position;
}

TMatrix* MatrixOf(int rows, int cols, const double* values) {
  auto* m = new TMatrix(rows, cols);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c) m->elem[r][c] = values[r * cols + c];
  return m;
}

}  // namespace camera_files
