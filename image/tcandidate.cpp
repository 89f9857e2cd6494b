#include "image/tcandidate.h"

#include <cmath>
#include <cstdlib>

namespace {

// |a - b| of two ints, exactly (in 64 bits).
long long Distance(int a, int b) { return std::llabs(static_cast<long long>(a) - b); }

}  // namespace

TCandidate::TCandidate(char firstImage, char secondImage, int row1, int col1, int row2, int col2,
                       double similarity)
    : firstImage(static_cast<signed char>(firstImage)),
      secondImage(static_cast<signed char>(secondImage)),
      row1(row1),
      col1(col1),
      row2(row2),
      col2(col2),
      similarity(similarity) {}

double TCandidate::Similarity(const TCandidate* other, double spatialWeight,
                              double disparityWeight) const {
  const long long dc = Distance(col1, other->col1);
  if (dc > 8) return 0;
  const long long dr = Distance(row1, other->row1);
  if (dr > 8) return 0;
  const long long dd = Distance(Disparity(), other->Disparity());
  if (static_cast<double>(dd) > 8.0) return 0;
  const double sr = static_cast<double>(dr) * spatialWeight;
  const double sc = static_cast<double>(dc) * spatialWeight;
  const double sd = static_cast<double>(dd) * disparityWeight;
  const double r = std::sqrt(sr * sr + sc * sc + sd * sd);
  if (r > 700.0) return 0;
  if (r < 400.0) return other->similarity;
  // The taper starts at 0.75: the step at r = 400 is part of the weighting.
  return (700.0 - r) / 400.0 * other->similarity;
}

int TCandidate::Save(std::FILE* f) const {
  std::fprintf(f, "%d %d %d %d\n", row1, col1, row2, col2);
  return 1;
}
