#include "candidate_reference.h"

#include <cstdio>

namespace reference {

LiteralList::LiteralList(int size, double spatial_weight, double disparity_weight)
    : bins(size / 8),
      sw(spatial_weight),
      dw(disparity_weight),
      candidates(bins),
      matches(bins),
      lowers(bins) {}

LiteralList::~LiteralList() {
  for (int b = 0; b < bins; b++) {
    for (TCandidate* c : candidates[b]) delete c;
    for (TCandidate* c : matches[b]) delete c;
    for (TCandidate* c : lowers[b]) delete c;
  }
}

int LiteralList::AddCandidate(TCandidate* c) {
  const int b = c->row1 / 8;
  if (b < 0 || b >= bins || candidates[b].size() >= 64000) return 0;
  candidates[b].push_back(c);
  nitems++;
  return 1;
}

int LiteralList::AddLowerMatch(TCandidate* c) {
  const int b = c->row1 / 8;
  if (b < 0 || b >= bins || lowers[b].size() >= 2000) return 0;
  lowers[b].push_back(c);
  lmatches++;
  return 1;
}

int LiteralList::AddMatch(TCandidate* c) {
  const int b = c->row1 / 8;
  if (b < 0 || b >= bins || matches[b].size() >= 64000) return 0;
  matches[b].push_back(c);
  nmatches++;
  std::vector<TCandidate*>& open = candidates[b];
  for (size_t i = 0; i < open.size();) {
    TCandidate* q = open[i];
    if (q->row1 == c->row1 && ((q->col1 >= c->col1 && q->col2 <= c->col2) ||
                               (q->col1 <= c->col1 && q->col2 >= c->col2))) {
      if (q == c) {  // promoted: stays alive as the match
        open[i] = open.back();
        open.pop_back();
        nitems--;
      } else {
        DeleteCandidate(b, static_cast<int>(i));
      }
    } else {
      i++;
    }
  }
  return 1;
}

int LiteralList::DeleteCandidate(int bin, int index) {
  if (index < 0 || index >= static_cast<int>(candidates[bin].size())) return 100;
  delete candidates[bin][index];
  candidates[bin][index] = candidates[bin].back();
  candidates[bin].pop_back();
  nitems--;
  return 1;
}

double LiteralList::Support(int bin, int index) const {
  if (index >= static_cast<int>(candidates[bin].size())) return 0.0;
  const TCandidate* q = candidates[bin][index];
  double sum = 0.0;
  for (int b : {bin, bin - 1, bin + 1}) {
    if (b < 0 || b >= bins) continue;
    for (const TCandidate* e : candidates[b]) sum += q->Similarity(e, sw, dw);
    for (const TCandidate* e : matches[b]) sum += q->Similarity(e, sw, dw);
    for (const TCandidate* e : lowers[b]) sum += q->Similarity(e, sw, dw) * 0.5;
  }
  return sum;
}

int LiteralList::Save(const char* path) const {
  std::printf("Saving to match file: %s... ", path);
  std::fflush(stdout);
  std::FILE* f = std::fopen(path, "w");
  if (!f) return 3;
  std::fprintf(f, "%d\n", nmatches);
  for (int b = 0; b < bins; b++)
    for (const TCandidate* m : matches[b]) m->Save(f);
  std::fclose(f);
  std::puts("Success");
  std::fflush(stdout);
  return 1;
}

int LiteralList::LoadLowerMatches(const char* path) {
  std::printf("Opening match file: %s... ", path);
  std::fflush(stdout);
  std::FILE* f = std::fopen(path, "r");
  if (!f) return 3;
  int count = 0;
  std::fscanf(f, "%d\n", &count);
  std::printf(" %d matches", count);
  for (int i = 0; i < count; i++) {
    int r1, c1, r2, c2;
    if (std::fscanf(f, "%d %d %d %d\n", &r1, &c1, &r2, &c2) != 4) break;
    TCandidate* c = new TCandidate(0, 1, 2 * r1, 2 * c1, 2 * r2, 2 * c2, 1.0);
    if (!AddLowerMatch(c)) delete c;
  }
  std::fclose(f);
  std::puts("Success");
  std::fflush(stdout);
  return 1;
}

}  // namespace reference
