// Dense matrix of doubles with its text file form.
#ifndef KLUTEIDA_MATH_TMATRIX_H
#define KLUTEIDA_MATH_TMATRIX_H

#include <cstdio>
#include <vector>

// A rows x cols matrix of doubles, row count first. Element (r, c) is
// elem[r][c]; the elements live in one contiguous row-major block.
// Operations that compute a new matrix return it on the heap (the caller
// deletes it), or a null pointer on a size mismatch or a singular matrix.
class TMatrix {
 public:
  int nCols;
  int nRows;
  double** elem;

  TMatrix(int rows, int cols);
  // Reads a matrix file ("rows cols" then the elements row by row). A file that
  // cannot be opened prints "Failed opening <path>" and ends the process (-1).
  explicit TMatrix(const char* path);
  TMatrix(const TMatrix& other);
  ~TMatrix();

  int Set(int r, int c, double v);           // 100 outside, 1 stored
  int Get(int r, int c, double* out) const;  // 100 outside, 1 read
  int Clear();
  int Plus(double v);
  void InitFromFile(std::FILE* f);
  int Dump(const char* path) const;  // 0 when the file cannot be created, else 1
  int Dump(std::FILE* f) const;      // element lines only; 1 (0 for a null stream)
  void Insert(const TMatrix& src, int row0, int col0, int rows, int cols);

  TMatrix* operator*(const TMatrix& b) const;
  TMatrix* operator+(const TMatrix& b) const;
  TMatrix* operator-(const TMatrix& b) const;
  TMatrix operator-() const;
  void operator+=(const TMatrix& b);
  void operator-=(const TMatrix& b);
  // Copies the overlapping block into this matrix; the sizes never change.
  void operator=(const TMatrix& b);

  TMatrix* Transpose() const;
  double Determinant() const;
  TMatrix* Inverse() const;
  int SwapRows(int i, int j);
  int SwapColumns(int i, int j);

  double Sum() const;
  double Average() const;
  double Normalize();
  double StandardDeviation() const;
  double StandardDeviationComplex(const TMatrix& imag) const;
  double InnerProduct(const TMatrix* b) const;
  double InnerProductComplex(const TMatrix& imA, const TMatrix& reB, const TMatrix& imB) const;
  int NonZeroElem() const;
  double MedianOfNonZeroElem() const;
  int ElemInDeltaNeig(double value, double delta) const;
  double MaxAbs() const;
  int Convolve(const TMatrix& kernel);

 private:
  void Allocate();

  std::vector<double> store_;
  std::vector<double*> rows_;
};

TMatrix* operator*(double s, const TMatrix& m);
TMatrix* operator/(const TMatrix& m, double s);

// qsort comparator on doubles: 1 if *a > *b, -1 if *b > *a, else 0.
int DoubleCompare(void const* a, void const* b);

#endif  // KLUTEIDA_MATH_TMATRIX_H
