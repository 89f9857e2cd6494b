#include "image/tmask.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "image/formats/formats.h"
#include "util/terminate.h"

namespace {

// Masks are counted in int: negative sizes and sizes beyond an int are refused.
bool ValidSize(int rows, int cols) {
  return rows >= 0 && cols >= 0 && static_cast<long long>(rows) * cols <= INT_MAX;
}

}  // namespace

TMask::TMask(int rows, int cols) : nCols(0), nRows(0), elem(nullptr) { Allocate(rows, cols); }

TMask::TMask(const char* name) : nCols(0), nRows(0), elem(nullptr) {
  image_formats::File f = image_formats::OpenForReading(name);
  if (!f) {
    std::printf("Failed opening %s\n", name);
    kluteida_internal::Terminate(-1);
  }
  Load(f.get());
}

TMask::~TMask() { std::free(elem); }

void TMask::Load(std::FILE* f) {
  int rows = 0, cols = 0;
  std::fscanf(f, "%d", &rows);
  std::fscanf(f, "%d", &cols);
  // Every value takes at least one character: a size beyond what is left of
  // the file is refused like a negative one, before anything is allocated. A
  // mask file with no elements gives a 0 x 0 mask, whatever its one count.
  const long long left = image_formats::BytesLeft(f);
  const long long claimed = static_cast<long long>(rows) * cols;
  if (claimed == 0 || (left >= 0 && rows > 0 && cols > 0 && claimed > left)) rows = cols = 0;
  Allocate(rows, cols);
  const int count = nRows * nCols;
  for (int i = 0; i < count; ++i) {
    int value = 0;
    if (std::fscanf(f, "%d", &value) != 1) {
      // A file that ends early leaves the missing values 0.
      std::memset(elem + i, 0, static_cast<size_t>(count - i));
      return;
    }
    elem[i] = static_cast<unsigned char>(value & 0xFF);
  }
}

void TMask::Allocate(int rows, int cols) {
  std::free(elem);
  elem = nullptr;
  nRows = nCols = 0;
  if (!ValidSize(rows, cols)) return;
  const size_t count = static_cast<size_t>(rows) * static_cast<size_t>(cols);
  if (count > 0) {
    elem = static_cast<unsigned char*>(std::malloc(count));  // not cleared
    if (!elem) return;
  }
  nRows = rows;
  nCols = cols;
}

int TMask::And(const TMask& other) const {
  // Only positions both masks have are compared.
  const long long count = std::min(static_cast<long long>(nRows) * nCols,
                                   static_cast<long long>(other.nRows) * other.nCols);
  int both = 0;
  for (long long i = 0; i < count; ++i)
    if (elem[i] && other.elem[i]) ++both;
  return both;
}

void TMask::Dump(std::FILE* f) const {
  for (int y = 0; y < nRows; ++y) {
    for (int x = 0; x < nCols; ++x) std::fprintf(f, "%4d ", elem[y * nCols + x]);
    std::fprintf(f, "\n");
  }
}
