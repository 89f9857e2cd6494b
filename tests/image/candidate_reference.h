// The match candidate list as described, with plain arrays: every query
// scans its stores whole. The library's indexed list must agree with it.
#ifndef KLUTEIDA_TESTS_IMAGE_CANDIDATE_REFERENCE_H
#define KLUTEIDA_TESTS_IMAGE_CANDIDATE_REFERENCE_H

#include <vector>

#include "image/tcandidate.h"

namespace reference {

class LiteralList {
 public:
  LiteralList(int size, double spatial_weight, double disparity_weight);
  ~LiteralList();
  LiteralList(const LiteralList&) = delete;
  LiteralList& operator=(const LiteralList&) = delete;

  int AddCandidate(TCandidate* c);
  int AddLowerMatch(TCandidate* c);
  int AddMatch(TCandidate* c);
  int DeleteCandidate(int bin, int index);
  double Support(int bin, int index) const;
  int Save(const char* path) const;
  int LoadLowerMatches(const char* path);

  int bins, nitems = 0, nmatches = 0, lmatches = 0;
  double sw, dw;
  std::vector<std::vector<TCandidate*>> candidates, matches, lowers;  // per bin
};

}  // namespace reference

#endif  // KLUTEIDA_TESTS_IMAGE_CANDIDATE_REFERENCE_H
