// A possible correspondence between a pixel of a first image and a pixel of
// a second image, with a similarity weight.
#ifndef KLUTEIDA_IMAGE_TCANDIDATE_H
#define KLUTEIDA_IMAGE_TCANDIDATE_H

#include <cstdio>

class TCandidate {
 public:
  signed char firstImage;   // index of the image of the first point (0 in all uses)
  signed char secondImage;  // index of the image of the second point (1 in all uses)
  int row1;
  int col1;
  int row2;
  int col2;
  double similarity;  // a correlation value for an open candidate, 1.0 for a match

  TCandidate(char firstImage, char secondImage, int row1, int col1, int row2, int col2,
             double similarity);

  // The disparity col2 - col1 (wrapping around on overflow).
  int Disparity() const {
    return static_cast<int>(static_cast<unsigned>(col2) - static_cast<unsigned>(col1));
  }

  // What `other` adds to this candidate's support: 0 beyond 8 columns, 8
  // rows or 8 disparities; otherwise, with r the distance of the row,
  // column and disparity differences weighted by spatialWeight,
  // spatialWeight and disparityWeight, other.similarity for r < 400,
  // (700 - r) / 400 of it up to r = 700, and 0 beyond.
  double Similarity(const TCandidate* other, double spatialWeight, double disparityWeight) const;

  // Writes "row1 col1 row2 col2\n"; returns 1.
  int Save(std::FILE* f) const;
};

#endif  // KLUTEIDA_IMAGE_TCANDIDATE_H
