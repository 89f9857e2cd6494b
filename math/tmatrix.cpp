#include "math/tmatrix.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "util/terminate.h"

namespace {

// Text of the matrix file.
constexpr const char kSizeLine[] = "%d %d\n";
constexpr const char kElementField[] = "%15.10lf ";
constexpr const char kOpenFailure[] = "Failed opening %s\n";

// Largest element count a matrix file may declare (128 MiB of doubles). A
// larger or unreadable size gives an empty 0 x 0 matrix instead of an
// allocation that could end the process.
constexpr long long kMaxFileElements = 1LL << 24;

// nCols x nRows formed in 32-bit int, as the statistics divide by it. The
// product is taken in 64 bits and wrapped so that overflow is not undefined.
int ElementCountInt(int rows, int cols) {
  return static_cast<int>(static_cast<unsigned>(static_cast<long long>(cols) * rows));
}

}  // namespace

void TMatrix::Allocate() {
  const bool has_elements = nRows > 0 && nCols > 0;
  store_.assign(has_elements ? static_cast<size_t>(nRows) * static_cast<size_t>(nCols) : 0, 0.0);
  rows_.assign(nRows > 0 ? static_cast<size_t>(nRows) : 0, nullptr);
  if (has_elements) {
    for (int r = 0; r < nRows; ++r) rows_[r] = store_.data() + static_cast<size_t>(r) * nCols;
  }
  elem = rows_.empty() ? nullptr : rows_.data();
}

TMatrix::TMatrix(int rows, int cols) : nCols(cols), nRows(rows), elem(nullptr) { Allocate(); }

TMatrix::TMatrix(const char* path) : nCols(0), nRows(0), elem(nullptr) {
  std::FILE* f = std::fopen(path, "r");
  if (f == nullptr) {
    std::printf(kOpenFailure, path);
    std::fflush(stdout);
    kluteida_internal::Terminate(-1);
  }
  // Sizes are read as wide integers so that an absurd value is seen as such.
  long long rows = 0;
  long long cols = 0;
  if (std::fscanf(f, "%lld", &rows) != 1) rows = 0;
  if (std::fscanf(f, "%lld", &cols) != 1) cols = 0;
  const long long kIntMin = std::numeric_limits<int>::min();
  const long long kIntMax = std::numeric_limits<int>::max();
  // Each count on its own is held to the limit too, so that a file with no
  // elements cannot claim a row table of billions of rows.
  const bool in_range = rows >= kIntMin && rows <= kIntMax && cols >= kIntMin && cols <= kIntMax;
  const bool too_many = in_range && (rows > kMaxFileElements || cols > kMaxFileElements ||
                                     (rows > 0 && cols > 0 && rows * cols > kMaxFileElements));
  // Every value takes at least one character and a separator: a regular file
  // with fewer characters left than that is refused (0 x 0) as well.
  struct stat st;
  const long position = std::ftell(f);
  // A file whose sizes give no elements gives 0 x 0 too (no row table).
  const bool holds = !in_range || fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode) ||
                     position < 0 ||
                     rows * cols <= (static_cast<long long>(st.st_size) - position + 1) / 2;
  if (in_range && !too_many && holds && rows > 0 && cols > 0) {
    nRows = static_cast<int>(rows);
    nCols = static_cast<int>(cols);
  }
  Allocate();
  InitFromFile(f);
  std::fclose(f);
}

TMatrix::TMatrix(const TMatrix& other) : nCols(other.nCols), nRows(other.nRows), elem(nullptr) {
  Allocate();
  std::copy(other.store_.begin(), other.store_.end(), store_.begin());
}

TMatrix::~TMatrix() = default;

int TMatrix::Set(int r, int c, double v) {
  if (r < 0 || r >= nRows || c < 0 || c >= nCols) return 100;
  elem[r][c] = v;
  return 1;
}

int TMatrix::Get(int r, int c, double* out) const {
  if (r < 0 || r >= nRows || c < 0 || c >= nCols) return 100;
  *out = elem[r][c];
  return 1;
}

int TMatrix::Clear() {
  for (double& e : store_) e = 0.0;
  return 1;
}

int TMatrix::Plus(double v) {
  for (double& e : store_) e += v;
  return 1;
}

void TMatrix::InitFromFile(std::FILE* f) {
  if (f == nullptr) return;
  // A missing or malformed value stops the reading; the rest keep their values.
  for (double& e : store_) {
    double v;
    if (std::fscanf(f, "%lf", &v) != 1) return;
    e = v;
  }
}

int TMatrix::Dump(const char* path) const {
  std::FILE* f = std::fopen(path, "w");
  if (f == nullptr) return 0;
  std::fprintf(f, kSizeLine, nRows, nCols);
  Dump(f);
  std::fclose(f);
  return 1;
}

int TMatrix::Dump(std::FILE* f) const {
  if (f == nullptr) return 0;
  for (int r = 0; r < nRows; ++r) {
    for (int c = 0; c < nCols; ++c) std::fprintf(f, kElementField, elem[r][c]);
    std::fprintf(f, "\n");
  }
  return 1;
}

void TMatrix::Insert(const TMatrix& src, int row0, int col0, int rows, int cols) {
  if (rows == 0) rows = src.nRows;
  if (cols == 0) cols = src.nCols;
  // Clipped to both matrices: rows and columns before 0 or past either end are skipped.
  const long long r_end =
      std::min({static_cast<long long>(row0) + rows, static_cast<long long>(nRows),
                static_cast<long long>(row0) + src.nRows});
  const long long c_end =
      std::min({static_cast<long long>(col0) + cols, static_cast<long long>(nCols),
                static_cast<long long>(col0) + src.nCols});
  for (long long r = std::max(0LL, static_cast<long long>(row0)); r < r_end; ++r) {
    for (long long c = std::max(0LL, static_cast<long long>(col0)); c < c_end; ++c) {
      elem[r][c] = src.elem[r - row0][c - col0];
    }
  }
}

TMatrix* TMatrix::operator*(const TMatrix& b) const {
  if (nCols != b.nRows) return nullptr;
  TMatrix* p = new TMatrix(nRows, b.nCols);
  for (int r = 0; r < nRows; ++r) {
    for (int c = 0; c < b.nCols; ++c) {
      double s = 0.0;
      // order of the sum is part of the result
      for (int k = 0; k < nCols; ++k) s += elem[r][k] * b.elem[k][c];
      p->elem[r][c] = s;
    }
  }
  return p;
}

TMatrix* TMatrix::operator+(const TMatrix& b) const {
  TMatrix* p = new TMatrix(std::min(nRows, b.nRows), std::min(nCols, b.nCols));
  for (int r = 0; r < p->nRows; ++r) {
    for (int c = 0; c < p->nCols; ++c) p->elem[r][c] = elem[r][c] + b.elem[r][c];
  }
  return p;
}

TMatrix* TMatrix::operator-(const TMatrix& b) const {
  TMatrix* p = new TMatrix(std::min(nRows, b.nRows), std::min(nCols, b.nCols));
  for (int r = 0; r < p->nRows; ++r) {
    for (int c = 0; c < p->nCols; ++c) p->elem[r][c] = elem[r][c] - b.elem[r][c];
  }
  return p;
}

TMatrix TMatrix::operator-() const {
  TMatrix m(*this);
  // Negation flips the sign bit only (0.0 becomes -0.0, NaN keeps its payload).
  for (double& e : m.store_) e = -e;
  return m;
}

void TMatrix::operator+=(const TMatrix& b) {
  const int rows = std::min(nRows, b.nRows);
  const int cols = std::min(nCols, b.nCols);
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < cols; ++c) elem[r][c] += b.elem[r][c];
  }
}

void TMatrix::operator-=(const TMatrix& b) {
  const int rows = std::min(nRows, b.nRows);
  const int cols = std::min(nCols, b.nCols);
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < cols; ++c) elem[r][c] -= b.elem[r][c];
  }
}

void TMatrix::operator=(const TMatrix& b) {
  const int rows = std::min(nRows, b.nRows);
  const int cols = std::min(nCols, b.nCols);
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < cols; ++c) elem[r][c] = b.elem[r][c];
  }
}

TMatrix* TMatrix::Transpose() const {
  TMatrix* t = new TMatrix(nCols, nRows);
  for (int r = 0; r < nRows; ++r) {
    for (int c = 0; c < nCols; ++c) t->elem[c][r] = elem[r][c];
  }
  return t;
}

double TMatrix::Determinant() const {
  if (nCols != nRows) return 0.0;
  const int n = nRows;
  if (n == 1) return elem[0][0];
  // Cofactor expansion along row 0; order of the sum is part of the result.
  double det = 0.0;
  for (int j = 0; j < n; ++j) {
    TMatrix minor(n - 1, n - 1);
    for (int r = 1; r < n; ++r) {
      for (int c = 0; c < j; ++c) minor.elem[r - 1][c] = elem[r][c];
      for (int c = j + 1; c < n; ++c) minor.elem[r - 1][c - 1] = elem[r][c];
    }
    const double sub = minor.Determinant();
    if (j % 2 == 0) {
      det += elem[0][j] * sub;
    } else {
      det += sub * (-elem[0][j]);
    }
  }
  return det;
}

TMatrix* TMatrix::Inverse() const {
  if (nCols != nRows) return nullptr;
  const int n = nRows;
  TMatrix* inv = new TMatrix(n, n);
  *inv = *this;
  double** a = inv->elem;
  const size_t count = n > 0 ? static_cast<size_t>(n) : 0;
  std::vector<int> use(count, 0);
  std::vector<int> pivot_row(count, 0);
  std::vector<int> pivot_col(count, 0);
  int prow = 0;
  int pcol = 0;
  for (int i = 0; i < n; ++i) {
    double big = 0.0;
    for (int j = 0; j < n; ++j) {
      if (use[j] == 1) continue;
      for (int k = 0; k < n; ++k) {
        if (use[k] == 0) {
          // ">=": among equal magnitudes the last one scanned is the pivot.
          if (std::fabs(a[j][k]) >= big) {
            big = std::fabs(a[j][k]);
            prow = j;
            pcol = k;
          }
        } else if (use[k] > 1) {
          delete inv;
          return nullptr;
        }
      }
    }
    ++use[pcol];
    inv->SwapRows(prow, pcol);
    pivot_row[i] = prow;
    pivot_col[i] = pcol;
    if (a[pcol][pcol] == 0.0) {
      delete inv;
      return nullptr;
    }
    const double p = 1.0 / a[pcol][pcol];
    a[pcol][pcol] = 1.0;
    for (int l = 0; l < n; ++l) a[pcol][l] *= p;
    for (int ll = 0; ll < n; ++ll) {
      if (ll == pcol) continue;
      const double d = a[ll][pcol];
      a[ll][pcol] = 0.0;
      for (int l = 0; l < n; ++l) a[ll][l] -= a[pcol][l] * d;
    }
  }
  for (int l = n - 1; l >= 0; --l) inv->SwapColumns(pivot_row[l], pivot_col[l]);
  return inv;
}

int TMatrix::SwapRows(int i, int j) {
  if (i == j || i < 0 || i >= nRows || j < 0 || j >= nRows) return 0;
  if (nCols <= 0) return 1;  // rows without elements: nothing to exchange
  std::vector<double> tmp(elem[i], elem[i] + nCols);
  for (int c = 0; c < nCols; ++c) elem[i][c] = elem[j][c];
  for (int c = 0; c < nCols; ++c) elem[j][c] = tmp[c];
  return 1;
}

int TMatrix::SwapColumns(int i, int j) {
  if (i == j || i < 0 || i >= nCols || j < 0 || j >= nCols) return 0;
  if (nRows <= 0) return 1;  // columns without elements: nothing to exchange
  std::vector<double> tmp(static_cast<size_t>(nRows));
  for (int r = 0; r < nRows; ++r) tmp[r] = elem[r][i];
  for (int r = 0; r < nRows; ++r) elem[r][i] = elem[r][j];
  for (int r = 0; r < nRows; ++r) elem[r][j] = tmp[r];
  return 1;
}

// The statistics run over the contiguous row-major store: the order of every
// sum below (row 0 first, columns left to right, starting from 0.0) is part of
// the result and is reproduced elsewhere by the correlation code.

double TMatrix::Sum() const {
  double s = 0.0;
  for (const double e : store_) s += e;  // order of the sum is part of the result
  return s;
}

double TMatrix::Average() const {
  return Sum() / static_cast<double>(ElementCountInt(nRows, nCols));
}

double TMatrix::Normalize() {
  const double avg = Average();
  for (double& e : store_) e -= avg;
  return avg;
}

double TMatrix::StandardDeviation() const {
  double s = 0.0;
  for (const double e : store_) s += e * e;  // order of the sum is part of the result
  return std::sqrt(s / static_cast<double>(ElementCountInt(nRows, nCols)));
}

double TMatrix::StandardDeviationComplex(const TMatrix& imag) const {
  double s = 0.0;
  if (imag.nRows == nRows && imag.nCols == nCols) {
    const double* im = imag.store_.data();
    // order of the sum is part of the result: re^2 + im^2 first, then added
    for (size_t i = 0; i < store_.size(); ++i) s += store_[i] * store_[i] + im[i] * im[i];
  } else {
    const int rows = std::min(nRows, imag.nRows);
    const int cols = std::min(nCols, imag.nCols);
    for (int r = 0; r < rows; ++r) {
      for (int c = 0; c < cols; ++c) {
        s += elem[r][c] * elem[r][c] + imag.elem[r][c] * imag.elem[r][c];
      }
    }
  }
  return std::sqrt(s / static_cast<double>(ElementCountInt(nRows, nCols)));
}

double TMatrix::InnerProduct(const TMatrix* b) const {
  if (b == nullptr) return 0.0;
  double s = 0.0;
  if (b->nRows == nRows && b->nCols == nCols) {
    const double* pb = b->store_.data();
    // order of the sum is part of the result
    for (size_t i = 0; i < store_.size(); ++i) s += store_[i] * pb[i];
  } else {
    const int rows = std::min(nRows, b->nRows);
    const int cols = std::min(nCols, b->nCols);
    for (int r = 0; r < rows; ++r) {
      for (int c = 0; c < cols; ++c) s += elem[r][c] * b->elem[r][c];
    }
  }
  return s;
}

double TMatrix::InnerProductComplex(const TMatrix& imA, const TMatrix& reB,
                                    const TMatrix& imB) const {
  const int rows = std::min({nRows, imA.nRows, reB.nRows, imB.nRows});
  const int cols = std::min({nCols, imA.nCols, reB.nCols, imB.nCols});
  double s = 0.0;
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < cols; ++c) {
      // order of the sum is part of the result: the term is formed, then added
      s += elem[r][c] * reB.elem[r][c] + imA.elem[r][c] * imB.elem[r][c];
    }
  }
  return s;
}

int TMatrix::NonZeroElem() const {
  int n = 0;
  for (const double e : store_) {
    if (e != 0.0) ++n;  // a NaN counts
  }
  return n;
}

double TMatrix::MedianOfNonZeroElem() const {
  std::vector<double> values;
  values.reserve(static_cast<size_t>(NonZeroElem()));
  for (const double e : store_) {
    if (e != 0.0) values.push_back(e);
  }
  if (values.empty()) return 0.0;
  std::qsort(values.data(), values.size(), sizeof(double), DoubleCompare);
  return values[values.size() / 2];
}

int TMatrix::ElemInDeltaNeig(double value, double delta) const {
  int n = 0;
  for (const double e : store_) {
    if (std::fabs(e - value) < delta) ++n;
  }
  return n;
}

double TMatrix::MaxAbs() const {
  if (store_.empty()) return 0.0;
  double m = std::fabs(store_[0]);
  for (const double e : store_) {
    if (m < std::fabs(e)) m = std::fabs(e);
  }
  return m;
}

int TMatrix::Convolve(const TMatrix& kernel) {
  // An even or negative kernel size is refused.
  if (kernel.nRows % 2 == 0 || kernel.nCols % 2 == 0 || kernel.nRows < 0 || kernel.nCols < 0) {
    return 0;
  }
  const int hr = (kernel.nRows - 1) / 2;
  const int hc = (kernel.nCols - 1) / 2;
  if (nRows <= 0 || nCols <= 0) return 1;
  if (&kernel == this) {
    const TMatrix copy(kernel);
    return Convolve(copy);
  }
  // The result of row r goes back over row r once no later row reads the
  // original: hr rows later. Until then it waits in a ring of hr + 1 rows.
  const size_t width = static_cast<size_t>(nCols);
  const size_t depth = static_cast<size_t>(hr) + 1;
  std::vector<double> ring(depth * width);
  const auto result = [&](int row) {
    return ring.data() + static_cast<size_t>(row) % depth * width;
  };
  for (int r = 0; r < nRows + hr; ++r) {
    if (r < nRows) {
      double* o = result(r);
      std::fill(o, o + width, 0.0);
      if (r >= hr && r < nRows - hr) {
        // Each output starts at 0.0 and adds its products kernel row by
        // kernel row, column by column: that order is part of the result.
        // A term is added to all outputs of the row at once, which keeps
        // each output's order.
        for (int i = 0; i <= 2 * hr; ++i) {
          const double* k = kernel.elem[i];
          for (int j = -hc; j <= hc; ++j) {
            const double w = k[hc + j];
            const double* src = elem[r + i - hr] + j;
            for (int c = hc; c < nCols - hc; ++c) o[c] += w * src[c];
          }
        }
      }
    }
    if (r >= hr) std::copy(result(r - hr), result(r - hr) + width, elem[r - hr]);
  }
  return 1;
}

TMatrix* operator*(double s, const TMatrix& m) {
  TMatrix* p = new TMatrix(m.nRows, m.nCols);
  for (int r = 0; r < m.nRows; ++r) {
    for (int c = 0; c < m.nCols; ++c) p->elem[r][c] = s * m.elem[r][c];
  }
  return p;
}

TMatrix* operator/(const TMatrix& m, double s) {
  TMatrix* p = new TMatrix(m.nRows, m.nCols);
  for (int r = 0; r < m.nRows; ++r) {
    for (int c = 0; c < m.nCols; ++c) p->elem[r][c] = m.elem[r][c] / s;
  }
  return p;
}

int DoubleCompare(void const* a, void const* b) {
  const double x = *static_cast<const double*>(a);
  const double y = *static_cast<const double*>(b);
  if (x > y) return 1;
  if (y > x) return -1;
  return 0;
}
