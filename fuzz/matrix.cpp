// The matrix file.
#include <memory>

#include "fuzz_support.h"
#include "math/tmatrix.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string name = fuzz::File("m.mat", fuzz::Input(data, size).Rest());
  fuzz::Survives([&] {
    TMatrix m(name.c_str());
    m.SwapRows(0, 1);
    m.SwapColumns(0, 1);
    m.Sum();
    m.MedianOfNonZeroElem();
    TMatrix kernel(3, 3);
    kernel.Plus(0.5);
    m.Convolve(kernel);
    // The cofactor determinant grows as n!, the inverse as n^3: small ones only.
    if (m.nRows <= 6) m.Determinant();
    if (static_cast<long long>(m.nRows) * m.nCols <= 4096) {
      std::unique_ptr<TMatrix> inverse(m.Inverse()), t(m.Transpose());
    }
  });
  return 0;
}
