// The stores of TCandidateList and the index that lets Support visit only
// the entries near a candidate, in store order. Internal to the image code.
#ifndef KLUTEIDA_IMAGE_CANDIDATE_STORE_H
#define KLUTEIDA_IMAGE_CANDIDATE_STORE_H

#include <cstddef>
#include <map>
#include <utility>
#include <vector>

#include "image/tcandidate.h"

namespace candidate_store {

// Rows, columns and disparities farther apart than this contribute nothing.
inline constexpr int kReach = 8;
// A neighbour's row, column and disparity distances (each 0 .. 8) as one
// code, dr * 81 + dc * 9 + dd.
inline constexpr int kCodes = (kReach + 1) * (kReach + 1) * (kReach + 1);

// Entries near a query: slot[i] with distance code[i].
struct Neighbours {
  std::vector<unsigned> slot, code;
  void Reserve(size_t n) {
    if (slot.size() < n) slot.resize(n), code.resize(n);
  }
};

// One store of a bin: its entries in store order (insertion order, a
// deletion moving the last entry into the freed slot). Each entry's row,
// column and disparity, read when it is stored, are kept in buckets of 16
// columns, each bucket in slot order, so that the entries near a column
// come out of two buckets in store order; and the slots of each row are kept
// for the constraint step.
class Store {
 public:
  size_t size() const { return entries_.size(); }
  TCandidate* at(size_t i) const { return entries_[i]; }

  void Append(TCandidate* c);
  // Removes entry i, moving the last entry into its slot; returns it.
  TCandidate* Remove(size_t i);
  // The entries within reach of (row, col, disparity), in store order, with
  // their distance codes: `count` of them from the returned offset of
  // `scratch` (grown as needed, never shrunk).
  size_t Near(int row, int col, int disparity, Neighbours& scratch, size_t* count) const;
  // Appends to `out` the slots of the entries on `row` whose columns lie
  // in [lo, hi] (and some a little outside), in no particular order.
  void RowSlots(int row, long long lo, long long hi, std::vector<unsigned>& out) const;
  // The largest |col2 - col1| an entry has had.
  long long MaxDisparity() const { return max_disparity_; }

  // The entries of a bucket, as parallel arrays in slot order.
  struct Bucket {
    long long key = 0;
    std::vector<unsigned> slot;
    std::vector<int> row, col, disparity;
  };

 private:
  // The slots of one row, by buckets of 16 columns.
  using RowIndex = std::map<long long, std::vector<unsigned>>;
  Bucket& BucketFor(int col);
  std::vector<unsigned>& RowBucket(int row, int col);

  std::vector<TCandidate*> entries_;
  std::vector<Bucket> buckets_;                 // by key
  std::vector<std::pair<int, RowIndex>> rows_;  // a bin has at most 15 rows
  long long max_disparity_ = 0;
};

// What a neighbour at each distance code adds to a support, for one pair of
// weights: nothing, its similarity, or its similarity times (700 - r) / 400,
// with r computed once per code exactly as TCandidate::Similarity computes
// it. A term is keep ? scale * similarity : 0, and scale * similarity is
// the similarity itself where it is taken whole.
struct Weighting {
  double spatial, disparity;
  bool keep[kCodes];
  double scale[kCodes];

  Weighting() : spatial(0.0 / 0.0), disparity(0.0 / 0.0) {}
  // Makes the table the one of these weights.
  void For(double spatial_weight, double disparity_weight);
};

}  // namespace candidate_store

#endif  // KLUTEIDA_IMAGE_CANDIDATE_STORE_H
