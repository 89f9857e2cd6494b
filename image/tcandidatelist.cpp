#include "image/tcandidatelist.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <vector>

#include "image/candidate_store.h"

namespace {

using candidate_store::Neighbours;
using candidate_store::Store;
using candidate_store::Weighting;

struct Bin {
  Store candidates;
  Store matches;
  Store lowers;
};

// A store of a bin that can take another entry.
bool HasRoom(const Store& s, int capacity) { return s.size() < static_cast<size_t>(capacity); }

}  // namespace

struct TCandidateList::Bins {
  std::map<int, Bin> used;
  Weighting weighting;
  Neighbours scratch;               // of the query under way: Support is not re-entrant
  std::vector<unsigned> conflicts;  // of the match under way

  const Bin* Find(int bin) const {
    const auto it = used.find(bin);
    return it == used.end() ? nullptr : &it->second;
  }
};

TCandidateList::TCandidateList(int size, double spatialWeight, double disparityWeight)
    : size(size),
      bins(size > 0 ? size / 8 : 0),
      spatialWeight(spatialWeight),
      disparityWeight(disparityWeight),
      bins_(std::make_unique<Bins>()) {}

TCandidateList::~TCandidateList() {
  for (auto& [number, bin] : bins_->used)
    for (Store* s : {&bin.candidates, &bin.matches, &bin.lowers})
      for (size_t i = 0; i < s->size(); ++i) delete s->at(i);
}

namespace {

Bin* BinFor(std::map<int, Bin>& used, int bin, int bins) {
  if (bin < 0 || bin >= bins) return nullptr;
  return &used[bin];
}

}  // namespace

int TCandidateList::AddCandidate(TCandidate* c) {
  Bin* bin = BinFor(bins_->used, BinNumber(c), bins);
  if (!bin || !HasRoom(bin->candidates, kCandidateCapacity)) return 0;
  bin->candidates.Append(c);
  ++nitems;
  return 1;
}

int TCandidateList::AddLowerMatch(TCandidate* c) {
  Bin* bin = BinFor(bins_->used, BinNumber(c), bins);
  if (!bin || !HasRoom(bin->lowers, kLowerCapacity)) return 0;
  bin->lowers.Append(c);
  ++lmatches;
  return 1;
}

int TCandidateList::AddMatch(TCandidate* c) {
  Bin* bin = BinFor(bins_->used, BinNumber(c), bins);
  if (!bin || !HasRoom(bin->matches, kMatchCapacity)) return 0;
  bin->matches.Append(c);
  ++nmatches;
  // The open candidates of the match's row that share an end with it or
  // cross it go, in the order of a walk from slot 0 in which the entry moved
  // into a freed slot is examined next: only those entries take part, so
  // only they are visited, in that order.
  Store& open = bin->candidates;
  // An entry nested in c starts in [c.col1, c.col2 + D], one that holds c
  // in [c.col2 - D, c.col1], D the largest |col2 - col1| of an entry.
  const long long c1 = c->col1, c2 = c->col2, d = open.MaxDisparity();
  std::vector<unsigned>& conflicts = bins_->conflicts;
  conflicts.clear();
  open.RowSlots(c->row1, std::min(c1, c2 - d), std::max(c1, c2 + d), conflicts);
  conflicts.erase(
      std::remove_if(conflicts.begin(), conflicts.end(),
                     [&](unsigned slot) {
                       const TCandidate* q = open.at(slot);
                       return !(q->row1 == c->row1 && ((q->col1 >= c->col1 && q->col2 <= c->col2) ||
                                                       (q->col1 <= c->col1 && q->col2 >= c->col2)));
                     }),
      conflicts.end());
  std::sort(conflicts.begin(), conflicts.end());
  for (size_t i = 0, end = conflicts.size(); i < end;) {
    const unsigned slot = conflicts[i];
    const unsigned last = static_cast<unsigned>(open.size() - 1);
    TCandidate* removed = open.Remove(slot);
    --nitems;
    if (removed != c) delete removed;  // the promoted candidate lives on as the match
    if (last != slot && conflicts[end - 1] == last) {
      conflicts[i] = slot;  // the moved conflict, examined again
      --end;
    } else {
      ++i;
    }
  }
  return 1;
}

int TCandidateList::DeleteCandidate(int bin, int index) {
  const auto it = bins_->used.find(bin);
  if (it == bins_->used.end() || index < 0 ||
      static_cast<size_t>(index) >= it->second.candidates.size())
    return 100;
  delete it->second.candidates.Remove(static_cast<size_t>(index));
  --nitems;
  return 1;
}

double TCandidateList::Support(int bin, int index) const {
  return Sum(bin, index, std::numeric_limits<double>::infinity());
}

bool TCandidateList::SupportAbove(int bin, int index, double level, bool non_negative) const {
  // Adding a term >= 0 never lowers a rounded sum, so once a partial sum of
  // such terms exceeds the level, the whole sum does.
  return (non_negative ? Sum(bin, index, level) : Support(bin, index)) > level;
}

bool TCandidateList::SimilaritiesNonNegative() const {
  for (const auto& [number, bin] : bins_->used)
    for (const Store* s : {&bin.candidates, &bin.matches, &bin.lowers})
      for (size_t i = 0; i < s->size(); ++i)
        if (!(s->at(i)->similarity >= 0.0)) return false;
  return true;
}

double TCandidateList::Sum(int bin, int index, double stop) const {
  const Bin* home = bins_->Find(bin);
  if (!home || index < 0 || static_cast<size_t>(index) >= home->candidates.size()) return 0.0;
  const TCandidate* q = home->candidates.at(static_cast<size_t>(index));
  Weighting& w = bins_->weighting;
  w.For(spatialWeight, disparityWeight);
  const int qd = q->Disparity();
  // Only entries within 8 rows, columns and disparities contribute; every
  // other term of the sum is +0.0, which never changes it (the sum is never
  // -0.0), so they are left out. The order of the sum is part of the result:
  // store by store, in store order.
  double sum = 0.0;
  const auto add = [&](const Store& s, bool half) {
    size_t count = 0;
    const size_t first = s.Near(q->row1, q->col1, qd, bins_->scratch, &count);
    const unsigned* slot = bins_->scratch.slot.data() + first;
    const unsigned* code = bins_->scratch.code.data() + first;
    for (size_t i = 0; i < count; ++i) {
      const double term = w.scale[code[i]] * s.at(slot[i])->similarity;
      sum += w.keep[code[i]] ? (half ? term * 0.5 : term) : 0.0;
      if (sum > stop) return true;
    }
    return false;
  };
  const auto add_bin = [&](const Bin& b) {
    return add(b.candidates, false) || add(b.matches, false) || add(b.lowers, true);
  };
  if (add_bin(*home)) return sum;
  if (bin > 0)
    if (const Bin* below = bins_->Find(bin - 1))
      if (add_bin(*below)) return sum;
  if (bin < bins - 1)
    if (const Bin* above = bins_->Find(bin + 1)) add_bin(*above);
  return sum;
}

int TCandidateList::Save(const char* path) const {
  std::printf("Saving to match file: %s... ", path);
  std::fflush(stdout);
  std::FILE* f = std::fopen(path, "w");
  if (!f) return 3;
  std::fprintf(f, "%d\n", nmatches);
  for (const auto& [number, bin] : bins_->used)
    for (size_t i = 0; i < bin.matches.size(); ++i) bin.matches.at(i)->Save(f);
  std::fclose(f);
  std::puts("Success");
  std::fflush(stdout);
  return 1;
}

int TCandidateList::LoadLowerMatches(const char* path) {
  std::printf("Opening match file: %s... ", path);
  std::fflush(stdout);
  std::FILE* f = std::fopen(path, "r");
  if (!f) return 3;
  int count = 0;
  if (std::fscanf(f, "%d\n", &count) != 1) count = 0;
  std::printf(" %d matches", count);
  const auto twice = [](int v) { return static_cast<int>(static_cast<unsigned>(v) * 2u); };
  for (int i = 0; i < count; ++i) {
    int r1, c1, r2, c2;
    if (std::fscanf(f, "%d %d %d %d\n", &r1, &c1, &r2, &c2) != 4) break;
    auto* c = new TCandidate(0, 1, twice(r1), twice(c1), twice(r2), twice(c2), 1.0);
    if (!AddLowerMatch(c)) delete c;
  }
  std::fclose(f);
  std::puts("Success");
  std::fflush(stdout);
  return 1;
}

int TCandidateList::CandidateCount(int bin) const {
  const Bin* b = bins_->Find(bin);
  return b ? static_cast<int>(b->candidates.size()) : 0;
}

int TCandidateList::MatchCount(int bin) const {
  const Bin* b = bins_->Find(bin);
  return b ? static_cast<int>(b->matches.size()) : 0;
}

int TCandidateList::LowerCount(int bin) const {
  const Bin* b = bins_->Find(bin);
  return b ? static_cast<int>(b->lowers.size()) : 0;
}

TCandidate* TCandidateList::Candidate(int bin, int index) const {
  const Bin* b = bins_->Find(bin);
  if (!b || index < 0 || static_cast<size_t>(index) >= b->candidates.size()) return nullptr;
  return b->candidates.at(static_cast<size_t>(index));
}

TCandidate* TCandidateList::Match(int bin, int index) const {
  const Bin* b = bins_->Find(bin);
  if (!b || index < 0 || static_cast<size_t>(index) >= b->matches.size()) return nullptr;
  return b->matches.at(static_cast<size_t>(index));
}
