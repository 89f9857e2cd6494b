// Inverts a 2 x 2 matrix with the installed library.
#include <cstdio>
#include <memory>

#include "kluteida.h"

int main() {
  TMatrix m(2, 2);
  m.Set(0, 0, 2.0);
  m.Set(0, 1, 1.0);
  m.Set(1, 0, 0.0);
  m.Set(1, 1, 4.0);
  std::unique_ptr<TMatrix> inv(m.Inverse());
  if (!inv) return 1;
  std::printf("%f %f\n", inv->elem[0][0], inv->elem[0][1]);
  return 0;
}
