#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "math/tmatrix.h"
#include "test_support.h"

using testsupport::ReadFile;
using testsupport::RunInChild;
using testsupport::TempDir;
using testsupport::WriteFile;

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Builds a matrix from its elements listed row by row (none: all zero).
TMatrix Make(int rows, int cols, const std::vector<double>& values) {
  TMatrix m(rows, cols);
  for (size_t i = 0; i < values.size(); ++i) m.Set(i / cols, i % cols, values[i]);
  return m;
}

// Elements row by row, read through Get.
std::vector<double> Elements(const TMatrix& m) {
  std::vector<double> v;
  for (int r = 0; r < m.nRows; ++r) {
    for (int c = 0; c < m.nCols; ++c) {
      double x = 0.0;
      m.Get(r, c, &x);
      v.push_back(x);
    }
  }
  return v;
}

std::string Field(double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%15.10lf ", v);
  return buf;
}

TEST(MatrixStorage, SizesComeRowsFirstAndStartAtZero) {
  TMatrix m(2, 3);
  EXPECT_EQ(m.nRows, 2);
  EXPECT_EQ(m.nCols, 3);
  EXPECT_EQ(Elements(m), std::vector<double>(6, 0.0));
  m.elem[1][2] = 7.0;  // element (r, c) is elem[r][c]
  double x = 0.0;
  EXPECT_EQ(m.Get(1, 2, &x), 1);
  EXPECT_EQ(x, 7.0);

  TMatrix copy(m);
  m.Set(1, 2, 1.0);
  EXPECT_EQ(Elements(copy), (std::vector<double>{0, 0, 0, 0, 0, 7}));
}

TEST(MatrixStorage, SetAndGetOutsideReturn100AndChangeNothing) {
  TMatrix m = Make(2, 3, {1, 2, 3, 4, 5, 6});
  const int cases[][2] = {{-1, 0}, {2, 0}, {0, -1}, {0, 3}, {2, 3}, {-1, -1}};
  for (const auto& rc : cases) {
    double x = 42.0;
    EXPECT_EQ(m.Set(rc[0], rc[1], 9.0), 100) << rc[0] << "," << rc[1];
    EXPECT_EQ(m.Get(rc[0], rc[1], &x), 100) << rc[0] << "," << rc[1];
    EXPECT_EQ(x, 42.0);
  }
  EXPECT_EQ(Elements(m), (std::vector<double>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(m.Set(1, 2, 9.0), 1);
  EXPECT_EQ(m.Plus(1.0), 1);
  EXPECT_EQ(Elements(m), (std::vector<double>{2, 3, 4, 5, 6, 10}));
  EXPECT_EQ(m.Clear(), 1);
  EXPECT_EQ(Elements(m), std::vector<double>(6, 0.0));
}

TEST(MatrixStorage, EmptyAndNegativeSizesHoldNothing) {
  const int sizes[][2] = {{0, 0}, {0, 3}, {3, 0}, {-3, 4}, {-2, -2}};
  for (const auto& size : sizes) {
    TMatrix m(size[0], size[1]);
    EXPECT_EQ(m.nRows, size[0]);
    EXPECT_EQ(m.nCols, size[1]);
    double x = 0.0;
    EXPECT_EQ(m.Set(0, 0, 1.0), 100);
    EXPECT_EQ(m.Get(0, 0, &x), 100);
    EXPECT_EQ(m.Sum(), 0.0);
    EXPECT_EQ(m.NonZeroElem(), 0);
    EXPECT_EQ(m.MedianOfNonZeroElem(), 0.0);
    EXPECT_EQ(m.MaxAbs(), 0.0);
    EXPECT_EQ(m.Determinant(), 0.0);
    TMatrix copy(m);
    copy = m;
    -m;
    EXPECT_EQ(m.Convolve(Make(1, 1, {2})), 1);
    std::unique_ptr<TMatrix> t(m.Transpose());
    EXPECT_EQ(t->nRows, size[1]);
  }
}

TEST(MatrixArithmetic, ProductNeedsMatchingInnerSize) {
  TMatrix a = Make(2, 3, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(a * Make(2, 3, {}), nullptr);
  std::unique_ptr<TMatrix> p(a * Make(3, 1, {1, -1, 2}));
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->nRows, 2);
  EXPECT_EQ(p->nCols, 1);
  EXPECT_EQ(Elements(*p), (std::vector<double>{5, 11}));

  std::unique_ptr<TMatrix> s(2.0 * a);
  EXPECT_EQ(Elements(*s), (std::vector<double>{2, 4, 6, 8, 10, 12}));
  std::unique_ptr<TMatrix> d(a / 4.0);
  EXPECT_EQ(Elements(*d), (std::vector<double>{0.25, 0.5, 0.75, 1, 1.25, 1.5}));
  std::unique_ptr<TMatrix> t(a.Transpose());
  EXPECT_EQ(t->nRows, 3);
  EXPECT_EQ(Elements(*t), (std::vector<double>{1, 4, 2, 5, 3, 6}));
}

TEST(MatrixArithmetic, ElementWiseOperatorsUseTheOverlap) {
  TMatrix a = Make(2, 3, {1, 2, 3, 4, 5, 6});
  TMatrix b = Make(2, 3, {10, 20, 30, 40, 50, 60});
  std::unique_ptr<TMatrix> sum(a + b);
  EXPECT_EQ(Elements(*sum), (std::vector<double>{11, 22, 33, 44, 55, 66}));
  std::unique_ptr<TMatrix> diff(b - a);
  EXPECT_EQ(Elements(*diff), (std::vector<double>{9, 18, 27, 36, 45, 54}));

  // Unequal sizes: the result is the overlap, in both directions.
  TMatrix small = Make(1, 2, {100, 200});
  std::unique_ptr<TMatrix> r(a + small);
  EXPECT_EQ(r->nRows, 1);
  EXPECT_EQ(r->nCols, 2);
  EXPECT_EQ(Elements(*r), (std::vector<double>{101, 202}));
  r.reset(small + a);
  EXPECT_EQ(Elements(*r), (std::vector<double>{101, 202}));
  r.reset(a - small);
  EXPECT_EQ(Elements(*r), (std::vector<double>{-99, -198}));

  TMatrix c = a;  // copy constructor
  c += small;
  EXPECT_EQ(Elements(c), (std::vector<double>{101, 202, 3, 4, 5, 6}));
  c -= b;
  EXPECT_EQ(Elements(c), (std::vector<double>{91, 182, -27, -36, -45, -54}));
  small += a;
  EXPECT_EQ(Elements(small), (std::vector<double>{101, 202}));

  // Assignment copies the overlap into the existing storage.
  TMatrix big = Make(3, 2, {-1, -1, -1, -1, -1, -1});
  big = a;
  EXPECT_EQ(big.nRows, 3);
  EXPECT_EQ(big.nCols, 2);
  EXPECT_EQ(Elements(big), (std::vector<double>{1, 2, 4, 5, -1, -1}));
}

TEST(MatrixArithmetic, UnaryMinusFlipsTheSignBit) {
  TMatrix a = Make(1, 4, {0.0, -0.0, 2.5, kNaN});
  TMatrix n = -a;
  EXPECT_TRUE(std::signbit(n.elem[0][0]));
  EXPECT_FALSE(std::signbit(n.elem[0][1]));
  EXPECT_EQ(n.elem[0][2], -2.5);
  EXPECT_TRUE(std::isnan(n.elem[0][3]));
  EXPECT_TRUE(std::signbit(n.elem[0][3]) != std::signbit(a.elem[0][3]));
  EXPECT_EQ(a.elem[0][2], 2.5);
}

TEST(MatrixAlgebra, DeterminantByCofactors) {
  struct Case {
    int n;
    std::vector<double> values;
    double det;
  };
  const Case cases[] = {
      {1, {7}, 7},
      {2, {1, 2, 3, 4}, -2},
      {3, {6, 1, 1, 4, -2, 5, 2, 8, 7}, -306},
      // Exact in cofactors: 1*(50-48) - 2*(40-42) + 3*(32-35).
      {3, {1, 2, 3, 4, 5, 6, 7, 8, 10}, -3},
      // Upper triangular after swapping rows 0 and 1: -(2*3*5*7).
      {4, {0, 3, 1, 1, 2, 1, 1, 1, 0, 0, 5, 1, 0, 0, 0, 7}, -210},
      // The three minors of row 0 are all 1, so the terms are 1e16, 1, -1e16
      // in that order: 1e16 + 1 rounds back to 1e16 and the sum ends at 0.
      {3, {1e16, -1, -1e16, 1, 1, 0, 0, 1, 1}, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Make(c.n, c.n, c.values).Determinant(), c.det) << c.n;
  }
  EXPECT_EQ(Make(2, 3, {1, 2, 3, 4, 5, 6}).Determinant(), 0.0);
  EXPECT_EQ(TMatrix(0, 0).Determinant(), 0.0);
}

TEST(MatrixAlgebra, InverseOfSmallCases) {
  std::unique_ptr<TMatrix> swap(Make(2, 2, {0, 1, 1, 0}).Inverse());
  ASSERT_NE(swap, nullptr);
  EXPECT_EQ(Elements(*swap), (std::vector<double>{0, 1, 1, 0}));

  std::unique_ptr<TMatrix> diag(Make(3, 3, {2, 0, 0, 0, 4, 0, 0, 0, -8}).Inverse());
  ASSERT_NE(diag, nullptr);
  EXPECT_EQ(Elements(*diag), (std::vector<double>{0.5, 0, 0, 0, 0.25, 0, 0, 0, -0.125}));

  // Singular and non-square matrices give no inverse. For [[1,2],[2,4]] the
  // first pivot 4 turns row 0 into [1 - 0.5*2, -0.25*2] = [0, -0.5]: the last
  // pivot is an exact 0. A zero column or row leaves only zeros as candidates.
  EXPECT_EQ(Make(2, 2, {1, 2, 2, 4}).Inverse(), nullptr);
  EXPECT_EQ(Make(2, 3, {1, 0, 0, 0, 1, 0}).Inverse(), nullptr);
  EXPECT_EQ(TMatrix(3, 3).Inverse(), nullptr);
  EXPECT_EQ(Make(3, 3, {1, 0, 2, 3, 0, 4, 5, 0, 6}).Inverse(), nullptr);
  EXPECT_EQ(Make(2, 2, {1, 2, 0, 0}).Inverse(), nullptr);

  // NaN elements offer no pivot: the elimination still stays inside the matrix.
  std::unique_ptr<TMatrix> nan(Make(2, 2, {kNaN, kNaN, kNaN, kNaN}).Inverse());
  ASSERT_NE(nan, nullptr);
  for (double v : Elements(*nan)) EXPECT_TRUE(std::isnan(v));
}

TEST(MatrixAlgebra, InversePivotIsTheLastLargestMagnitude) {
  // [[1,3],[3,3]]: the magnitude 3 appears at (0,1), (1,0) and (1,1); the last
  // scanned, (1,1), is the first pivot. Row 1 becomes [3*(1/3), 1/3] = [1, 1/3]
  // and row 0 becomes [1 - 3, -3 * (1/3)] = [-2, -1]. The second pivot is -2:
  // row 0 becomes [-0.5, 0.5], row 1 becomes [0.5, 1/3 - 0.5], which is one unit
  // in the last place away from -1/6 (what a first pivot at (0,1) would give).
  const double third = 1.0 / 3.0;
  ASSERT_NE(third - 0.5, -1.0 / 6.0);
  std::unique_ptr<TMatrix> inv(Make(2, 2, {1, 3, 3, 3}).Inverse());
  ASSERT_NE(inv, nullptr);
  EXPECT_EQ(Elements(*inv), (std::vector<double>{-0.5, 0.5, 0.5, third - 0.5}));
}

TEST(MatrixAlgebra, InverseTimesMatrixIsIdentity) {
  std::mt19937 gen(12345);
  std::uniform_real_distribution<double> dist(-1.0, 1.0);
  for (int n = 1; n <= 6; ++n) {
    for (int trial = 0; trial < 5; ++trial) {
      TMatrix a(n, n);
      for (int r = 0; r < n; ++r) {
        for (int c = 0; c < n; ++c) a.elem[r][c] = dist(gen) + (r == c ? n : 0.0);
      }
      // Shuffle the rows so that pivots move off the diagonal.
      for (int r = n - 1; r > 0; --r) a.SwapRows(r, static_cast<int>(gen() % (r + 1)));
      std::unique_ptr<TMatrix> inv(a.Inverse());
      ASSERT_NE(inv, nullptr);
      std::unique_ptr<TMatrix> left(*inv * a);
      std::unique_ptr<TMatrix> right(a * *inv);
      for (int r = 0; r < n; ++r) {
        for (int c = 0; c < n; ++c) {
          EXPECT_NEAR(left->elem[r][c], r == c ? 1.0 : 0.0, 1e-12) << n << " " << r << "," << c;
          EXPECT_NEAR(right->elem[r][c], r == c ? 1.0 : 0.0, 1e-12) << n << " " << r << "," << c;
        }
      }
    }
  }
}

TEST(MatrixAlgebra, SwapRowsAndColumns) {
  TMatrix m = Make(2, 3, {1, 2, 3, 4, 5, 6});
  const int refused[][2] = {{1, 1}, {-1, 0}, {0, 2}, {2, 0}};
  for (const auto& ij : refused) EXPECT_EQ(m.SwapRows(ij[0], ij[1]), 0);
  const int refused_cols[][2] = {{2, 2}, {-1, 0}, {0, 3}};
  for (const auto& ij : refused_cols) EXPECT_EQ(m.SwapColumns(ij[0], ij[1]), 0);
  EXPECT_EQ(Elements(m), (std::vector<double>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(m.SwapRows(1, 0), 1);
  EXPECT_EQ(Elements(m), (std::vector<double>{4, 5, 6, 1, 2, 3}));
  EXPECT_EQ(m.SwapColumns(0, 2), 1);
  EXPECT_EQ(Elements(m), (std::vector<double>{6, 5, 4, 3, 2, 1}));
}

TEST(MatrixStatistics, SumsRunRowMajorFromZero) {
  // Row-major: ((1e16 + 1) - 1e16) + 1 = 1, while the exact sum is 2.
  const TMatrix m = Make(2, 2, {1e16, 1.0, -1e16, 1.0});
  EXPECT_EQ(m.Sum(), 1.0);
  EXPECT_EQ(m.Average(), 0.25);
  const TMatrix ones = Make(2, 2, {1, 1, 1, 1});
  EXPECT_EQ(m.InnerProduct(&ones), 1.0);
  // Column-major order would give 2.
  EXPECT_EQ(Make(2, 2, {1e16, -1e16, 1.0, 1.0}).Sum(), 2.0);
}

TEST(MatrixStatistics, MeanAndRootMeanSquare) {
  TMatrix m = Make(2, 3, {1, 2, 3, 4, 5, 9});
  EXPECT_EQ(m.Average(), 4.0);
  EXPECT_EQ(m.Normalize(), 4.0);
  EXPECT_EQ(Elements(m), (std::vector<double>{-3, -2, -1, 0, 1, 5}));
  EXPECT_EQ(m.Average(), 0.0);
  // Root mean square: (9 + 4 + 1 + 0 + 1 + 25) / 6 = 40 / 6.
  EXPECT_EQ(m.StandardDeviation(), std::sqrt(40.0 / 6.0));
  // The mean is not removed: a constant matrix has a non-zero result.
  EXPECT_EQ(Make(1, 2, {3, 3}).StandardDeviation(), 3.0);
  EXPECT_EQ(Make(1, 1, {3}).StandardDeviationComplex(Make(1, 1, {4})), 5.0);
  EXPECT_EQ(Make(1, 2, {1, 2}).StandardDeviationComplex(Make(1, 2, {2, 1})), std::sqrt(5.0));
}

TEST(MatrixStatistics, InnerProducts) {
  const TMatrix a = Make(2, 2, {1, 2, 3, 4});
  const TMatrix b = Make(2, 2, {5, -6, 7, 0.5});
  EXPECT_EQ(a.InnerProduct(&b), 5 - 12 + 21 + 2);
  // re(sum a * conj(b)) = 1*5 + 3*7 + 2*6 + 4*8.
  EXPECT_EQ(Make(1, 2, {1, 2})
                .InnerProductComplex(Make(1, 2, {3, 4}), Make(1, 2, {5, 6}), Make(1, 2, {7, 8})),
            70.0);
  // A smaller second operand contributes its overlap only.
  const TMatrix small = Make(1, 1, {10});
  EXPECT_EQ(a.InnerProduct(&small), 10.0);
  EXPECT_EQ(a.InnerProductComplex(small, small, small), 10.0 + 100.0);
}

TEST(MatrixStatistics, CountsAndMedians) {
  const TMatrix m = Make(2, 3, {0, 3, 1, -0.0, 2, 5});
  EXPECT_EQ(m.NonZeroElem(), 4);
  EXPECT_EQ(Make(1, 3, {kNaN, 0, 1}).NonZeroElem(), 2);
  // Even count: sorted 1, 2, 3, 5, index 2.
  EXPECT_EQ(m.MedianOfNonZeroElem(), 3.0);
  // Odd count: sorted -4, 1, 2, 7, 9, index 2.
  EXPECT_EQ(Make(1, 7, {9, 0, 1, -4, 0, 7, 2}).MedianOfNonZeroElem(), 2.0);
  EXPECT_EQ(Make(1, 1, {-2.5}).MedianOfNonZeroElem(), -2.5);
  EXPECT_EQ(TMatrix(2, 2).MedianOfNonZeroElem(), 0.0);

  const TMatrix d = Make(1, 6, {1.5, 0.5, 1.4, 0.6, 1.0, -1.0});
  EXPECT_EQ(d.ElemInDeltaNeig(1.0, 0.5), 3);  // 1.4, 0.6, 1.0; not 1.5 or 0.5
  EXPECT_EQ(d.ElemInDeltaNeig(0.0, 1.0), 2);  // 0.5, 0.6

  EXPECT_EQ(Make(2, 2, {-3, 2, 3, 1}).MaxAbs(), 3.0);
  EXPECT_EQ(Make(1, 3, {1, -7, 2}).MaxAbs(), 7.0);
  // The running maximum starts at |a(0,0)| and is replaced only by a larger value.
  EXPECT_TRUE(std::isnan(Make(1, 2, {kNaN, 5}).MaxAbs()));
  EXPECT_EQ(Make(1, 2, {5, kNaN}).MaxAbs(), 5.0);
}

TEST(MatrixStatistics, DoubleCompareOrdersAscending) {
  const double cases[][3] = {{1, 2, -1}, {2, 1, 1}, {-0.0, 0.0, 0}, {3, 3, 0}, {kNaN, 1, 0}};
  for (const auto& c : cases) EXPECT_EQ(DoubleCompare(&c[0], &c[1]), c[2]) << c[0] << " " << c[1];
}

TEST(MatrixConvolve, KernelIsNotFlippedAndTheBorderBecomesZero) {
  TMatrix m(4, 5);
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 5; ++c) m.elem[r][c] = 10 * r + c;
  }
  TMatrix copy(m);
  EXPECT_EQ(m.Convolve(Make(2, 3, {})), 0);
  EXPECT_EQ(m.Convolve(Make(3, 2, {})), 0);
  EXPECT_EQ(Elements(m), Elements(copy));

  // Kernel element (0,0) meets the element above and to the left.
  EXPECT_EQ(m.Convolve(Make(3, 3, {1, 0, 0, 0, 0, 0, 0, 0, 0})), 1);
  EXPECT_EQ(Elements(m), (std::vector<double>{0, 0,  0,  0,  0,  //
                                              0, 0,  1,  2,  0,  //
                                              0, 10, 11, 12, 0, 0, 0, 0, 0, 0}));

  // A 1x3 kernel leaves a border of one column on each side only.
  m = copy;
  EXPECT_EQ(m.Convolve(Make(1, 3, {1, 2, 4})), 1);
  EXPECT_EQ(Elements(m),
            (std::vector<double>{0, 1 * 0 + 2 * 1 + 4 * 2, 1 + 4 + 12,    2 + 6 + 16,    0,
                                 0, 10 + 22 + 48,          11 + 24 + 52,  12 + 26 + 56,  0,
                                 0, 20 + 42 + 88,          21 + 44 + 92,  22 + 46 + 96,  0,
                                 0, 30 + 62 + 128,         31 + 64 + 132, 32 + 66 + 136, 0}));

  // 3x3 kernel on a 3x3 matrix: only the centre survives.
  TMatrix s = Make(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  EXPECT_EQ(s.Convolve(Make(3, 3, {1, 1, 1, 1, 1, 1, 1, 1, 2})), 1);
  EXPECT_EQ(Elements(s), (std::vector<double>{0, 0, 0, 0, 54, 0, 0, 0, 0}));

  // A kernel larger than the matrix clears it.
  TMatrix t = Make(2, 2, {1, 2, 3, 4});
  EXPECT_EQ(t.Convolve(Make(3, 3, {1, 1, 1, 1, 1, 1, 1, 1, 1})), 1);
  EXPECT_EQ(Elements(t), std::vector<double>(4, 0.0));
}

TEST(MatrixInsert, CopiesTheBlockClippedToBothMatrices) {
  const TMatrix src = Make(2, 2, {1, 2, 3, 4});
  struct Case {
    int row0, col0, rows, cols;
    std::vector<double> expected;  // 3x3 destination, initially all -1
  };
  const Case cases[] = {
      {0, 0, 0, 0, {1, 2, -1, 3, 4, -1, -1, -1, -1}},
      {1, 1, 0, 0, {-1, -1, -1, -1, 1, 2, -1, 3, 4}},
      {2, 2, 0, 0, {-1, -1, -1, -1, -1, -1, -1, -1, 1}},
      {0, 1, 1, 0, {-1, 1, 2, -1, -1, -1, -1, -1, -1}},
      {0, 0, 5, 5, {1, 2, -1, 3, 4, -1, -1, -1, -1}},       // larger than src
      {-1, -1, 0, 0, {4, -1, -1, -1, -1, -1, -1, -1, -1}},  // before the start
      {0, 0, -1, 2, std::vector<double>(9, -1)},
  };
  for (const Case& c : cases) {
    TMatrix m(3, 3);
    m.Plus(-1.0);
    m.Insert(src, c.row0, c.col0, c.rows, c.cols);
    EXPECT_EQ(Elements(m), c.expected) << c.row0 << "," << c.col0 << " " << c.rows << "x" << c.cols;
  }
  TMatrix two(2, 2);
  two.Insert(src, 1, 1, 0, 0);
  EXPECT_EQ(Elements(two), (std::vector<double>{0, 0, 0, 1}));
}

TEST(MatrixFile, DumpWritesTheSizeLineAndFixedWidthFields) {
  TempDir dir;
  const TMatrix m = Make(2, 3, {0.5, -1.25, 1234.0625, 0, 3, -0.0001});
  ASSERT_EQ(m.Dump(dir.file("m.txt").c_str()), 1);
  EXPECT_EQ(ReadFile(dir.file("m.txt")),
            "2 3\n"
            "   0.5000000000   -1.2500000000 1234.0625000000 \n"
            "   0.0000000000    3.0000000000   -0.0001000000 \n");
  EXPECT_EQ(m.Dump((dir.path() + "/missing/m.txt").c_str()), 0);
}

TEST(MatrixFile, RoundTripIsByteForByte) {
  TempDir dir;
  const std::vector<double> values = {1.0 / 1024, -7.75, 100000, 0.0009765625, -3, 2.5,
                                      12.125,     0,     -0.5,   65.5,         1,  -2};
  const TMatrix m = Make(3, 4, values);
  std::string expected = "3 4\n";
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 4; ++c) expected += Field(values[4 * r + c]);
    expected += "\n";
  }
  const std::string path = dir.file("m.txt");
  ASSERT_EQ(m.Dump(path.c_str()), 1);
  ASSERT_EQ(ReadFile(path), expected);

  const TMatrix back(path.c_str());
  EXPECT_EQ(back.nRows, 3);
  EXPECT_EQ(back.nCols, 4);
  EXPECT_EQ(Elements(back), values);
  ASSERT_EQ(back.Dump(dir.file("again.txt").c_str()), 1);
  EXPECT_EQ(ReadFile(dir.file("again.txt")), expected);
}

TEST(MatrixFile, EmbeddedElementsHaveNoSizeLine) {
  TempDir dir;
  const std::string path = dir.file("embedded.txt");
  std::FILE* f = std::fopen(path.c_str(), "w");
  ASSERT_NE(f, nullptr);
  std::fprintf(f, "header\n");
  EXPECT_EQ(Make(1, 2, {1, -2}).Dump(f), 1);
  std::fprintf(f, "trailer\n");
  std::fclose(f);
  EXPECT_EQ(ReadFile(path), "header\n" + Field(1) + Field(-2) + "\ntrailer\n");

  // Line structure does not matter when reading.
  WriteFile(path, "1\n2 3\n\n4 5 6 7");
  f = std::fopen(path.c_str(), "r");
  ASSERT_NE(f, nullptr);
  TMatrix m(2, 3);
  m.InitFromFile(f);
  double next = 0.0;
  EXPECT_EQ(std::fscanf(f, "%lf", &next), 1);
  std::fclose(f);
  EXPECT_EQ(Elements(m), (std::vector<double>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(next, 7.0);
}

TEST(MatrixFile, MissingFileEndsTheProcess) {
  TempDir dir;
  const std::string path = dir.file("nothere.txt");
  const auto r = RunInChild([&] { TMatrix m(path.c_str()); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, "Failed opening " + path + "\n");
  EXPECT_EQ(r.err, "");
}

TEST(MatrixFile, MalformedFilesGiveZerosWhereValuesAreMissing) {
  struct Case {
    const char* text;
    int rows, cols;
    std::vector<double> elements;
  };
  const Case cases[] = {
      {"", 0, 0, {}},
      {"abc", 0, 0, {}},
      {"2", 2, 0, {}},
      {"2 2\n1 2 3", 2, 2, {1, 2, 3, 0}},
      {"2 2\n1 x 3 4", 2, 2, {1, 0, 0, 0}},
      {"1 3\n1e2 -2.5e-1 .5", 1, 3, {100, -0.25, 0.5}},
      {"-3 4\n1 2 3", -3, 4, {}},
      {"100000000 100000000\n1 2", 0, 0, {}},
      {"99999999999 2\n1 2", 0, 0, {}},
      {"5000 5000\n1 2", 0, 0, {}},
  };
  TempDir dir;
  for (const Case& c : cases) {
    WriteFile(dir.file("m.txt"), c.text);
    const TMatrix m(dir.file("m.txt").c_str());
    EXPECT_EQ(m.nRows, c.rows) << c.text;
    EXPECT_EQ(m.nCols, c.cols) << c.text;
    EXPECT_EQ(Elements(m), c.elements) << c.text;
  }
}

}  // namespace
