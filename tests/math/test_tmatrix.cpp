#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "math/tmatrix.h"
#include "test_support.h"

using namespace testsupport;

namespace {

using Vals = std::vector<double>;
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Builds a matrix from its elements listed row by row (none: all zero).
TMatrix Make(int rows, int cols, const Vals& values = {}) {
  TMatrix m(rows, cols);
  for (size_t i = 0; i < values.size(); ++i) m.Set(i / cols, i % cols, values[i]);
  return m;
}

// Row count, column count, then the elements row by row, read through Get.
Vals All(const TMatrix& m) {
  Vals v = {static_cast<double>(m.nRows), static_cast<double>(m.nCols)};
  for (int r = 0; r < m.nRows; ++r)
    for (int c = 0; c < m.nCols; ++c) m.Get(r, c, &v.emplace_back());
  return v;
}

// The same for a result handed over on the heap, which is deleted; a null
// pointer gives an empty list.
Vals Take(TMatrix* p) {
  std::unique_ptr<TMatrix> owned(p);
  return p ? All(*p) : Vals{};
}

TEST(MatrixStorage, RowsFirstAndSetGetOutsideReturn100) {
  TMatrix m(2, 3);
  EXPECT_EQ(All(m), (Vals{2, 3, 0, 0, 0, 0, 0, 0}));
  m.elem[1][2] = 7.0;  // element (r, c) is elem[r][c]
  TMatrix copy(m);
  double x = 0.0;
  EXPECT_EQ(m.Get(1, 2, &x), 1);
  EXPECT_EQ(x, 7.0);
  EXPECT_EQ(m.Set(0, 1, 9.0), 1);
  for (const auto& [r, c] : {std::pair{-1, 0}, {2, 0}, {0, -1}, {0, 3}, {2, 3}, {-1, -1}}) {
    EXPECT_EQ(m.Set(r, c, 5.0), 100) << r << "," << c;
    EXPECT_EQ(m.Get(r, c, &x), 100) << r << "," << c;
    EXPECT_EQ(x, 7.0);
  }
  EXPECT_EQ(All(m), (Vals{2, 3, 0, 9, 0, 0, 0, 7}));
  EXPECT_EQ(All(copy), (Vals{2, 3, 0, 0, 0, 0, 0, 7}));  // a deep copy
  EXPECT_EQ(m.Plus(1.0), 1);
  EXPECT_EQ(All(m), (Vals{2, 3, 1, 10, 1, 1, 1, 8}));
  EXPECT_EQ(m.Clear(), 1);
  EXPECT_EQ(All(m), (Vals{2, 3, 0, 0, 0, 0, 0, 0}));
}

TEST(MatrixStorage, EmptyAndNegativeSizesHoldNothing) {
  for (const auto& [rows, cols] :
       {std::pair{0, 0}, {0, 3}, {3, 0}, {-3, 4}, {-2, -2}, {4, -8}, {-4, 2}}) {
    TMatrix m(rows, cols);
    // Swaps of rows or columns without elements exchange nothing.
    EXPECT_EQ(m.SwapRows(0, 1) + m.SwapColumns(0, 1), (rows >= 2) + (cols >= 2));
    EXPECT_EQ(m.nRows, rows);
    EXPECT_EQ(m.nCols, cols);
    double x = 0.0;
    EXPECT_EQ(m.Set(0, 0, 1.0), 100);
    EXPECT_EQ(m.Get(0, 0, &x), 100);
    EXPECT_EQ((Vals{m.Sum(), m.MedianOfNonZeroElem(), m.MaxAbs(), m.Determinant(),
                    static_cast<double>(m.NonZeroElem())}),
              Vals(5, 0.0));
    TMatrix copy(m);
    copy = m;
    -m;
    EXPECT_EQ(m.Convolve(Make(1, 1, {2})), 1);
    std::unique_ptr<TMatrix> t(m.Transpose());
    EXPECT_EQ(t->nRows, cols);
  }
}

TEST(MatrixArithmetic, ProductsScalarsAndTranspose) {
  const TMatrix a = Make(2, 3, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(a * Make(2, 3), nullptr);
  EXPECT_EQ(Take(a * Make(3, 1, {1, -1, 2})), (Vals{2, 1, 5, 11}));
  EXPECT_EQ(Take(2.0 * a), (Vals{2, 3, 2, 4, 6, 8, 10, 12}));
  EXPECT_EQ(Take(a / 4.0), (Vals{2, 3, 0.25, 0.5, 0.75, 1, 1.25, 1.5}));
  EXPECT_EQ(Take(a.Transpose()), (Vals{3, 2, 1, 4, 2, 5, 3, 6}));
}

TEST(MatrixArithmetic, ElementWiseOperatorsUseTheOverlap) {
  const TMatrix a = Make(2, 3, {1, 2, 3, 4, 5, 6});
  const TMatrix b = Make(2, 3, {10, 20, 30, 40, 50, 60});
  TMatrix small = Make(1, 2, {100, 200});
  EXPECT_EQ(Take(a + b), (Vals{2, 3, 11, 22, 33, 44, 55, 66}));
  EXPECT_EQ(Take(b - a), (Vals{2, 3, 9, 18, 27, 36, 45, 54}));
  // Unequal sizes: the result is the overlap, in both directions.
  EXPECT_EQ(Take(a + small), (Vals{1, 2, 101, 202}));
  EXPECT_EQ(Take(small + a), (Vals{1, 2, 101, 202}));
  EXPECT_EQ(Take(a - small), (Vals{1, 2, -99, -198}));

  TMatrix c = a;  // copy constructor
  c += small;
  EXPECT_EQ(All(c), (Vals{2, 3, 101, 202, 3, 4, 5, 6}));
  c -= b;
  EXPECT_EQ(All(c), (Vals{2, 3, 91, 182, -27, -36, -45, -54}));
  small += a;
  EXPECT_EQ(All(small), (Vals{1, 2, 101, 202}));
  // Assignment copies the overlap into the existing storage.
  TMatrix big = Make(3, 2, {-1, -1, -1, -1, -1, -1});
  big = a;
  EXPECT_EQ(All(big), (Vals{3, 2, 1, 2, 4, 5, -1, -1}));

  // Unary minus flips the sign bit, of zeros and NaN too.
  const TMatrix z = Make(1, 4, {0.0, -0.0, 2.5, kNaN}), n = -z;
  EXPECT_EQ(All(n)[4], -2.5);
  EXPECT_EQ(All(z)[4], 2.5);
  for (int c : {0, 1, 3}) EXPECT_NE(std::signbit(n.elem[0][c]), std::signbit(z.elem[0][c])) << c;
}

TEST(MatrixAlgebra, DeterminantByCofactors) {
  const struct {
    int n;
    Vals values;
    double det;
  } cases[] = {
      // clang-format off
      {1, {7}, 7}, {2, {1, 2, 3, 4}, -2}, {3, {6, 1, 1, 4, -2, 5, 2, 8, 7}, -306},
      // Exact in cofactors: 1*(50-48) - 2*(40-42) + 3*(32-35).
      {3, {1, 2, 3, 4, 5, 6, 7, 8, 10}, -3},
      // Upper triangular after swapping rows 0 and 1: -(2*3*5*7).
      {4, {0, 3, 1, 1, 2, 1, 1, 1, 0, 0, 5, 1, 0, 0, 0, 7}, -210},
      // The three minors of row 0 are all 1, so the terms are 1e16, 1, -1e16
      // in that order: 1e16 + 1 rounds back to 1e16 and the sum ends at 0.
      {3, {1e16, -1, -1e16, 1, 1, 0, 0, 1, 1}, 0},
      // clang-format on
  };
  for (const auto& c : cases) EXPECT_EQ(Make(c.n, c.n, c.values).Determinant(), c.det) << c.n;
  EXPECT_EQ(Make(2, 3, {1, 2, 3, 4, 5, 6}).Determinant(), 0.0);
}

TEST(MatrixAlgebra, InverseOfSmallAndSingularCases) {
  EXPECT_EQ(Take(Make(2, 2, {0, 1, 1, 0}).Inverse()), (Vals{2, 2, 0, 1, 1, 0}));
  EXPECT_EQ(Take(Make(3, 3, {2, 0, 0, 0, 4, 0, 0, 0, -8}).Inverse()),
            (Vals{3, 3, 0.5, 0, 0, 0, 0.25, 0, 0, 0, -0.125}));
  // For [[1,2],[2,4]] the first pivot 4 turns row 0 into [1 - 0.5*2, -0.25*2]
  // = [0, -0.5]: the last pivot is an exact 0. A zero column or row leaves
  // only zeros as candidates.
  for (const TMatrix& m : {Make(2, 2, {1, 2, 2, 4}), Make(2, 3, {1, 0, 0, 0, 1, 0}), TMatrix(3, 3),
                           Make(3, 3, {1, 0, 2, 3, 0, 4, 5, 0, 6}), Make(2, 2, {1, 2, 0, 0})})
    EXPECT_EQ(m.Inverse(), nullptr) << m.nRows << "x" << m.nCols;
  // NaN elements offer no pivot: the elimination still stays inside the matrix.
  const Vals nan = Take(Make(2, 2, {kNaN, kNaN, kNaN, kNaN}).Inverse());
  ASSERT_EQ(nan.size(), 6u);
  for (size_t i = 2; i < 6; ++i) EXPECT_TRUE(std::isnan(nan[i]));

  // [[1,3],[3,3]]: the magnitude 3 appears at (0,1), (1,0) and (1,1); the last
  // scanned, (1,1), is the first pivot. Row 1 becomes [3*(1/3), 1/3] = [1, 1/3]
  // and row 0 becomes [1 - 3, -3 * (1/3)] = [-2, -1]. The second pivot is -2:
  // row 0 becomes [-0.5, 0.5], row 1 becomes [0.5, 1/3 - 0.5], which is one unit
  // in the last place away from -1/6 (what a first pivot at (0,1) would give).
  const double third = 1.0 / 3.0;
  ASSERT_NE(third - 0.5, -1.0 / 6.0);
  EXPECT_EQ(Take(Make(2, 2, {1, 3, 3, 3}).Inverse()), (Vals{2, 2, -0.5, 0.5, 0.5, third - 0.5}));
}

TEST(MatrixAlgebra, InverseTimesMatrixIsIdentity) {
  std::mt19937 gen(12345);
  std::uniform_real_distribution<double> dist(-1.0, 1.0);
  for (int n = 1; n <= 6; ++n) {
    for (int trial = 0; trial < 5; ++trial) {
      TMatrix a(n, n);
      for (int r = 0; r < n; ++r)
        for (int c = 0; c < n; ++c) a.elem[r][c] = dist(gen) + (r == c ? n : 0.0);
      // Shuffle the rows so that pivots move off the diagonal.
      for (int r = n - 1; r > 0; --r) a.SwapRows(r, static_cast<int>(gen() % (r + 1)));
      std::unique_ptr<TMatrix> inv(a.Inverse());
      ASSERT_NE(inv, nullptr);
      for (TMatrix* p : {*inv * a, a * *inv}) {
        std::unique_ptr<TMatrix> product(p);
        for (int r = 0; r < n; ++r)
          for (int c = 0; c < n; ++c)
            EXPECT_NEAR(p->elem[r][c], r == c ? 1.0 : 0.0, 1e-12) << n << " " << r << "," << c;
      }
    }
  }
}

TEST(MatrixAlgebra, SwapRowsAndColumns) {
  TMatrix m = Make(2, 3, {1, 2, 3, 4, 5, 6});
  for (const auto& [i, j] : {std::pair{1, 1}, {-1, 0}, {0, 2}, {2, 0}})
    EXPECT_EQ(m.SwapRows(i, j), 0);
  for (const auto& [i, j] : {std::pair{2, 2}, {-1, 0}, {0, 3}}) EXPECT_EQ(m.SwapColumns(i, j), 0);
  EXPECT_EQ(All(m), (Vals{2, 3, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(m.SwapRows(1, 0), 1);
  EXPECT_EQ(All(m), (Vals{2, 3, 4, 5, 6, 1, 2, 3}));
  EXPECT_EQ(m.SwapColumns(0, 2), 1);
  EXPECT_EQ(All(m), (Vals{2, 3, 6, 5, 4, 3, 2, 1}));
}

TEST(MatrixStatistics, SumsRunRowMajorFromZero) {
  // Row-major: ((1e16 + 1) - 1e16) + 1 = 1, while the exact sum is 2.
  const TMatrix m = Make(2, 2, {1e16, 1.0, -1e16, 1.0});
  EXPECT_EQ(m.Sum(), 1.0);
  EXPECT_EQ(m.Average(), 0.25);
  const TMatrix ones = Make(2, 2, {1, 1, 1, 1});
  EXPECT_EQ(m.InnerProduct(&ones), 1.0);
  EXPECT_EQ(Make(2, 2, {1e16, -1e16, 1.0, 1.0}).Sum(), 2.0);  // column-major would give 1
}

TEST(MatrixStatistics, MeansRootMeanSquaresAndInnerProducts) {
  TMatrix m = Make(2, 3, {1, 2, 3, 4, 5, 9});
  EXPECT_EQ(m.Normalize(), 4.0);
  EXPECT_EQ(All(m), (Vals{2, 3, -3, -2, -1, 0, 1, 5}));
  EXPECT_EQ(m.Average(), 0.0);
  // Root mean square: (9 + 4 + 1 + 0 + 1 + 25) / 6 = 40 / 6.
  EXPECT_EQ(m.StandardDeviation(), std::sqrt(40.0 / 6.0));
  // The mean is not removed: a constant matrix has a non-zero result.
  EXPECT_EQ(Make(1, 2, {3, 3}).StandardDeviation(), 3.0);
  EXPECT_EQ(Make(1, 1, {3}).StandardDeviationComplex(Make(1, 1, {4})), 5.0);
  EXPECT_EQ(Make(1, 2, {1, 2}).StandardDeviationComplex(Make(1, 2, {2, 1})), std::sqrt(5.0));

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

TEST(MatrixStatistics, CountsMediansAndMaxima) {
  const TMatrix m = Make(2, 3, {0, 3, 1, -0.0, 2, 5});
  EXPECT_EQ(m.NonZeroElem(), 4);
  EXPECT_EQ(Make(1, 3, {kNaN, 0, 1}).NonZeroElem(), 2);
  EXPECT_EQ(m.MedianOfNonZeroElem(), 3.0);  // even count: sorted 1, 2, 3, 5, index 2
  // Odd count: sorted -4, 1, 2, 7, 9, index 2.
  EXPECT_EQ(Make(1, 7, {9, 0, 1, -4, 0, 7, 2}).MedianOfNonZeroElem(), 2.0);
  EXPECT_EQ(Make(1, 1, {-2.5}).MedianOfNonZeroElem(), -2.5);
  EXPECT_EQ(TMatrix(2, 2).MedianOfNonZeroElem(), 0.0);
  for (const auto& c : {Vals{1, 2, -1}, {2, 1, 1}, {-0.0, 0.0, 0}, {3, 3, 0}, {kNaN, 1, 0}})
    EXPECT_EQ(DoubleCompare(&c[0], &c[1]), c[2]) << c[0] << " " << c[1];

  const TMatrix d = Make(1, 6, {1.5, 0.5, 1.4, 0.6, 1.0, -1.0});
  EXPECT_EQ(d.ElemInDeltaNeig(1.0, 0.5), 3);  // 1.4, 0.6, 1.0; not 1.5 or 0.5
  EXPECT_EQ(d.ElemInDeltaNeig(0.0, 1.0), 2);  // 0.5, 0.6
  EXPECT_EQ(Make(2, 2, {-3, 2, 3, 1}).MaxAbs(), 3.0);
  EXPECT_EQ(Make(1, 3, {1, -7, 2}).MaxAbs(), 7.0);
  // The running maximum starts at |a(0,0)| and is replaced only by a larger value.
  EXPECT_TRUE(std::isnan(Make(1, 2, {kNaN, 5}).MaxAbs()));
  EXPECT_EQ(Make(1, 2, {5, kNaN}).MaxAbs(), 5.0);
}

TEST(MatrixConvolve, KernelIsNotFlippedAndTheBorderBecomesZero) {
  TMatrix m(4, 5);  // element (r, c) = 10 r + c
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 5; ++c) m.elem[r][c] = 10 * r + c;
  const TMatrix copy(m);
  EXPECT_EQ(m.Convolve(Make(2, 3)), 0);
  EXPECT_EQ(m.Convolve(Make(3, 2)), 0);
  EXPECT_EQ(All(m), All(copy));
  // Kernel element (0,0) meets the element above and to the left.
  EXPECT_EQ(m.Convolve(Make(3, 3, {1, 0, 0, 0, 0, 0, 0, 0, 0})), 1);
  EXPECT_EQ(All(m), (Vals{4, 5, 0, 0, 0, 0, 0, 0, 0, 1, 2, 0, 0, 10, 11, 12, 0, 0, 0, 0, 0, 0}));
  // A 1x3 kernel leaves a border of one column on each side only.
  m = copy;
  EXPECT_EQ(m.Convolve(Make(1, 3, {1, 2, 4})), 1);
  EXPECT_EQ(All(m), (Vals{4, 5,   0,   10,  17, 24, 0,   0,   80,  87, 94, 0,  //
                          0, 150, 157, 164, 0,  0,  220, 227, 234, 0}));
  // 3x3 kernel on a 3x3 matrix: only the centre survives.
  TMatrix s = Make(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  EXPECT_EQ(s.Convolve(Make(3, 3, {1, 1, 1, 1, 1, 1, 1, 1, 2})), 1);
  EXPECT_EQ(All(s), (Vals{3, 3, 0, 0, 0, 0, 54, 0, 0, 0, 0}));
  // A matrix convolved with itself reads the kernel as it was.
  s = Make(3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  EXPECT_EQ(s.Convolve(s), 1);
  EXPECT_EQ(All(s), (Vals{3, 3, 0, 0, 0, 0, 285, 0, 0, 0, 0}));
  // A 5x3 kernel against the sum written out.
  TMatrix r(7, 6), k(5, 3);
  for (int i = 0; i < 42; ++i) r.elem[i / 6][i % 6] = (i * 37 % 11) * 0.3 - 1;
  for (int i = 0; i < 15; ++i) k.elem[i / 3][i % 3] = (i * 7 % 5) * 0.7 - 0.5;
  const TMatrix before(r);
  EXPECT_EQ(r.Convolve(k), 1);
  for (int row = 0; row < 7; ++row)
    for (int col = 0; col < 6; ++col) {
      double sum = 0.0;
      const bool inside = row >= 2 && row < 5 && col >= 1 && col < 5;
      for (int i = 0; i < 5 && inside; ++i)
        for (int j = 0; j < 3; ++j) sum += k.elem[i][j] * before.elem[row + i - 2][col + j - 1];
      EXPECT_EQ(r.elem[row][col], sum) << row << " " << col;
    }
  // A kernel larger than the matrix clears it.
  TMatrix t = Make(2, 2, {1, 2, 3, 4});
  EXPECT_EQ(t.Convolve(Make(3, 3, {1, 1, 1, 1, 1, 1, 1, 1, 1})), 1);
  EXPECT_EQ(All(t), (Vals{2, 2, 0, 0, 0, 0}));
}

TEST(MatrixInsert, CopiesTheBlockClippedToBothMatrices) {
  const TMatrix src = Make(2, 2, {1, 2, 3, 4});
  // A 3x3 destination, initially all -1; rows or columns 0 mean all of src.
  // clang-format off
  const struct {
    int row0, col0, rows, cols;
    Vals expected;
  } cases[] = {{0, 0, 0, 0, {3, 3, 1, 2, -1, 3, 4, -1, -1, -1, -1}},
               {1, 1, 0, 0, {3, 3, -1, -1, -1, -1, 1, 2, -1, 3, 4}},
               {2, 2, 0, 0, {3, 3, -1, -1, -1, -1, -1, -1, -1, -1, 1}},
               {0, 1, 1, 0, {3, 3, -1, 1, 2, -1, -1, -1, -1, -1, -1}},
               {0, 0, 5, 5, {3, 3, 1, 2, -1, 3, 4, -1, -1, -1, -1}},
               {-1, -1, 0, 0, {3, 3, 4, -1, -1, -1, -1, -1, -1, -1, -1}},
               {0, 0, -1, 2, {3, 3, -1, -1, -1, -1, -1, -1, -1, -1, -1}}};
  // clang-format on
  for (const auto& c : cases) {
    TMatrix m(3, 3);
    m.Plus(-1.0);
    m.Insert(src, c.row0, c.col0, c.rows, c.cols);
    EXPECT_EQ(All(m), c.expected) << c.row0 << "," << c.col0 << " " << c.rows << "x" << c.cols;
  }
  TMatrix two(2, 2);
  two.Insert(src, 1, 1, 0, 0);
  EXPECT_EQ(All(two), (Vals{2, 2, 0, 0, 0, 1}));
}

TEST(MatrixFile, DumpWritesTheSizeLineAndFixedWidthFieldsAndReadsBack) {
  TempDir dir;
  const std::string path = dir.file("m.txt");
  const TMatrix m = Make(2, 3, {0.5, -1.25, 1234.0625, 1.0 / 1024, 100000, -0.0001});
  const std::string text =
      "2 3\n"
      "   0.5000000000   -1.2500000000 1234.0625000000 \n"
      "   0.0009765625 100000.0000000000   -0.0001000000 \n";
  ASSERT_EQ(m.Dump(path.c_str()), 1);
  EXPECT_EQ(ReadFile(path), text);
  const TMatrix back(path.c_str());
  EXPECT_EQ(All(back), All(m));
  EXPECT_EQ(m.Dump(dir.file("missing/m.txt").c_str()), 0);

  auto r = RunInChild([&] { TMatrix none(dir.file("none.txt").c_str()); });
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.out, "Failed opening " + dir.file("none.txt") + "\n");
  EXPECT_EQ(r.err, "");
}

TEST(MatrixFile, EmbeddedElementsHaveNoSizeLine) {
  File out = TextStream("header\n");
  std::fseek(out.get(), 0, SEEK_END);
  EXPECT_EQ(Make(1, 2, {1, -2}).Dump(out.get()), 1);
  EXPECT_EQ(ReadStream(out.get()), "header\n   1.0000000000   -2.0000000000 \n");
  // Line structure does not matter when reading, and the stream stays after
  // the last element.
  File in = TextStream("1\n2 3\n\n4 5 6 7");
  TMatrix m(2, 3);
  m.InitFromFile(in.get());
  double next = 0.0;
  EXPECT_EQ(std::fscanf(in.get(), "%lf", &next), 1);
  EXPECT_EQ(All(m), (Vals{2, 3, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(next, 7.0);
}

TEST(MatrixFile, MalformedFilesGiveZerosWhereValuesAreMissing) {
  // clang-format off
  const std::pair<const char*, Vals> cases[] = {  // text; rows, columns, elements
      {"", {0, 0}}, {"abc", {0, 0}}, {"2", {0, 0}}, {"-3 4\n1 2 3", {0, 0}},
      {"2 2\n1 2 3", {0, 0}}, {"2 2\n1 2 3 .", {2, 2, 1, 2, 3, 0}},
      {"2 2\n1 x 3 4", {2, 2, 1, 0, 0, 0}},
      {"1 3\n1e2 -2.5e-1 .5", {1, 3, 100, -0.25, 0.5}}, {"100000000 100000000\n1 2", {0, 0}},
      {"99999999999 2\n1 2", {0, 0}}, {"5000 5000\n1 2", {0, 0}},
      {"2000000000 0", {0, 0}}, {"4 -8", {0, 0}}};
  // clang-format on
  TempDir dir;
  for (const auto& [text, all] : cases) {
    WriteFile(dir.file("m.txt"), text);
    EXPECT_EQ(All(TMatrix(dir.file("m.txt").c_str())), all) << text;
  }
}

}  // namespace
