// Match candidates in bins of eight image rows, in three stores: open
// candidates, accepted matches, and lower matches (from the level of half
// resolution, read from a match file).
#ifndef KLUTEIDA_IMAGE_TCANDIDATELIST_H
#define KLUTEIDA_IMAGE_TCANDIDATELIST_H

#include <memory>

#include "image/tcandidate.h"

// A candidate belongs to bin row1 / 8 (rounded toward zero, so rows -7 to -1
// fall in bin 0). The list owns every candidate in its stores. Each bin's
// stores are allocated when first used and grow up to their capacities
// (64000 open candidates, 64000 matches, 2000 lower matches). A candidate
// whose row lies outside the bins is refused like one for a full bin. A
// stored candidate's rows and columns must not change (its similarity may):
// the stores are indexed by them, so that Support looks only at the entries
// within 8 columns and adds their contributions in store order.
class TCandidateList {
 public:
  static constexpr int kCandidateCapacity = 64000;
  static constexpr int kMatchCapacity = 64000;
  static constexpr int kLowerCapacity = 2000;

  int nitems = 0;    // open candidates
  int nmatches = 0;  // matches
  int lmatches = 0;  // lower matches
  int size;          // image rows covered
  int bins;          // size / 8 (0 for a negative size)
  double spatialWeight;
  double disparityWeight;

  TCandidateList(int size, double spatialWeight, double disparityWeight);
  TCandidateList(const TCandidateList&) = delete;
  TCandidateList& operator=(const TCandidateList&) = delete;
  ~TCandidateList();

  int BinNumber(const TCandidate* c) const { return c->row1 / 8; }

  // Append to the candidate's bin: 1, or 0 (nothing stored, the caller keeps
  // the candidate) when the bin is full or outside the list.
  int AddCandidate(TCandidate* c);
  int AddLowerMatch(TCandidate* c);
  // Appends a match, then deletes the open candidates of its row that share
  // an end with it or cross it. An open candidate promoted this way leaves
  // the open store without being destroyed.
  int AddMatch(TCandidate* c);
  // Deletes open candidate `index` of `bin`, moving the bin's last candidate
  // into its slot: 1, or 100 for an index (or bin) outside the store.
  int DeleteCandidate(int bin, int index);
  // The sum of Similarity(e) over the open candidates (itself included), the
  // matches and the lower matches (times 0.5) of its bin, then of the bin
  // below, then of the bin above, in that order; 0.0 for an index outside.
  double Support(int bin, int index) const;
  // Support(bin, index) > level, the same answer. When no entry's similarity
  // is negative (SimilaritiesNonNegative, which the caller vouches for by
  // `non_negative`), the sum only grows as terms are added, so it stops as
  // soon as it passes the level.
  bool SupportAbove(int bin, int index, double level, bool non_negative) const;
  // Whether every stored entry's similarity is >= 0 (none is negative or NaN).
  bool SimilaritiesNonNegative() const;
  int CheckConstraints() { return 1; }

  // The match file: "%d\n" with nmatches, then "row1 col1 row2 col2" of every
  // match, bin by bin. Save returns 1, or 3 when the file cannot be created.
  int Save(const char* path) const;
  // Reads a match file of the level of half resolution as lower matches,
  // every coordinate doubled: 1, or 3 when the file cannot be opened.
  // Reading stops at the first line that does not hold four numbers.
  int LoadLowerMatches(const char* path);

  int CandidateCount(int bin) const;
  int MatchCount(int bin) const;
  int LowerCount(int bin) const;
  TCandidate* Candidate(int bin, int index) const;  // null outside
  TCandidate* Match(int bin, int index) const;

 private:
  struct Bins;
  // The sum of Support, stopped as soon as it exceeds `stop`.
  double Sum(int bin, int index, double stop) const;
  std::unique_ptr<Bins> bins_;  // the bins in use, and the weighting table
};

#endif  // KLUTEIDA_IMAGE_TCANDIDATELIST_H
