// Match candidates: the list's bins, stores, constraints, support and files,
// against hand-made scenes and the plain list; and the real-space method
// against its window-by-window reference.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "candidate_reference.h"
#include "correlation_scene.h"
#include "image/tcandidatelist.h"
#include "image/tdispimage.h"

using testsupport::ReadFile;

namespace {

TCandidate* Cand(int row, int col, int disparity, double similarity = 0.5) {
  return new TCandidate(0, 1, row, col, row, col + disparity, similarity);
}

TEST(Candidate, SimilarityTaperAndCuts) {
  const TCandidate q(0, 1, 10, 20, 10, 25, 0.9);  // disparity 5
  const struct {
    int row, col, disparity;
    double expected;  // for other.similarity 0.8, weights 100 (rows, columns) and 50
  } cases[] = {
      {13, 20, 5, 0.8},          // r = 300
      {14, 20, 5, 0.8 * 0.75},   // r = 400: the taper starts at 0.75
      {13, 24, 5, 0.8 * 0.5},    // r = 500
      {17, 20, 5, 0.0},          // r = 700
      {10, 20, 13, 0.8 * 0.75},  // 8 disparities apart: r = 400
      {10, 29, 5, 0.0},          // 9 columns apart
      {19, 20, 5, 0.0},          // 9 rows apart
      {10, 20, 14, 0.0},         // 9 disparities apart
  };
  for (const auto& c : cases) {
    const TCandidate other(0, 1, c.row, c.col, c.row, c.col + c.disparity, 0.8);
    EXPECT_EQ(q.Similarity(&other, 100, 50), c.expected) << c.row << " " << c.col;
  }
}

TEST(CandidateList, BinsStoresAndConstraints) {
  TCandidateList list(24, 1, 1);  // bins 0 to 2
  EXPECT_EQ(list.bins, 3);
  for (int row : {-7, -1, 0, 7}) {
    const TCandidate c(0, 1, row, 0, row, 0, 0);
    EXPECT_EQ(list.BinNumber(&c), 0);
  }
  std::vector<std::unique_ptr<TCandidate>> refused;
  for (int row : {-8, 24, 1000}) {
    refused.emplace_back(Cand(row, 0, 0));
    EXPECT_EQ(list.AddCandidate(refused.back().get()), 0);
    EXPECT_EQ(list.AddMatch(refused.back().get()), 0);
  }
  // Deletion moves the last entry into the freed slot.
  TCandidate* a = Cand(9, 1, 1);
  TCandidate* b = Cand(9, 2, 1);
  TCandidate* c = Cand(10, 3, 1);
  TCandidate* d = Cand(9, 4, 1);
  for (TCandidate* e : {a, b, c, d}) EXPECT_EQ(list.AddCandidate(e), 1);
  EXPECT_EQ(list.DeleteCandidate(1, 1), 1);
  EXPECT_EQ(
      (std::vector<TCandidate*>{list.Candidate(1, 0), list.Candidate(1, 1), list.Candidate(1, 2)}),
      (std::vector<TCandidate*>{a, d, c}));
  for (int bad : {3, -1}) EXPECT_EQ(list.DeleteCandidate(1, bad), 100);
  EXPECT_EQ(list.DeleteCandidate(7, 0), 100);
  // A match on row 9 from column 1 to 5 takes a (inside it, sharing column
  // 1); e, moved into a's slot, is examined again and goes too (inside);
  // then c (another row) moves up and d (inside) goes.
  TCandidate* e = Cand(9, 3, 1);
  EXPECT_EQ(list.AddCandidate(e), 1);
  TCandidate* m = Cand(9, 1, 4);
  EXPECT_EQ(list.AddMatch(m), 1);
  EXPECT_EQ(list.CandidateCount(1), 1);
  EXPECT_EQ(list.Candidate(1, 0), c);
  EXPECT_EQ(std::make_tuple(list.nitems, list.nmatches), std::make_tuple(1, 1));
  // Promoting an open candidate keeps it alive as the match.
  c->similarity = 1.0;
  EXPECT_EQ(list.AddMatch(c), 1);
  EXPECT_EQ(list.Match(1, 1), c);
  EXPECT_EQ(std::make_tuple(list.nitems, list.nmatches, list.CandidateCount(1)),
            std::make_tuple(0, 2, 0));
  EXPECT_EQ(list.Match(1, 1)->col2, 4);

  TCandidateList full(8, 1, 1);
  for (int i = 0; i < TCandidateList::kCandidateCapacity; ++i)
    ASSERT_EQ(full.AddCandidate(Cand(i % 8, i, 0)), 1);
  std::unique_ptr<TCandidate> extra(Cand(3, 0, 0));
  EXPECT_EQ(full.AddCandidate(extra.get()), 0);
  for (int i = 0; i < TCandidateList::kLowerCapacity; ++i)
    ASSERT_EQ(full.AddLowerMatch(Cand(0, i, 0)), 1);
  EXPECT_EQ(full.AddLowerMatch(extra.get()), 0);
  EXPECT_EQ(std::make_tuple(full.nitems, full.lmatches), std::make_tuple(64000, 2000));
}

TEST(CandidateList, SupportAcrossBinsAndStores) {
  TCandidateList list(24, 1, 1);
  TCandidate* lone = Cand(2, 5, 3, 0.7);
  list.AddCandidate(lone);
  EXPECT_EQ(list.Support(0, 0), 0.7);  // its own neighbour
  EXPECT_EQ(list.Support(0, 1), 0.0);
  list.AddCandidate(Cand(8, 6, 3, 0.25));   // bin 1, across the edge
  list.AddMatch(Cand(17, 5, 3));            // bin 2: 15 rows away, no share
  list.AddLowerMatch(Cand(7, 13, 4, 1.0));  // 8 columns, 1 disparity: halved
  list.AddLowerMatch(Cand(7, 14, 4, 1.0));  // 9 columns: nothing
  EXPECT_EQ(list.Support(0, 0), 0.7 + 0.5 + 0.25);
  // Bin 1 (itself), then bin 0 (lone, both lower matches), then bin 2 (its
  // match is 9 rows away).
  EXPECT_EQ(list.Support(1, 0), 0.25 + 0.7 + 0.5 + 0.5);
  // A negative term after the sum has passed the level: only the whole sum
  // answers.
  EXPECT_TRUE(list.SimilaritiesNonNegative());
  list.AddCandidate(Cand(3, 5, 3, -1.0));
  EXPECT_FALSE(list.SimilaritiesNonNegative());
  EXPECT_FALSE(list.SupportAbove(0, 0, 0.6, false));  // 0.7 - 1.0 + 0.5 + 0.25
  EXPECT_TRUE(list.SupportAbove(0, 0, 0.4, false));
}

TEST(CandidateList, SupportMatchesThePlainListBitForBit) {
  std::mt19937 gen(11);
  const auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(gen); };
  for (const auto& [weights, lowest] :
       {std::pair(1.0, -100), std::pair(40.0, -100), std::pair(40.0, 0)}) {
    TCandidateList list(48, weights, weights * 1.5);
    reference::LiteralList plain(48, weights, weights * 1.5);
    for (int step = 0; step < 3000; ++step) {
      const int row = pick(-3, 50), col = pick(0, 60), disparity = pick(-6, 6), kind = pick(0, 10);
      const double s = pick(lowest, 1000) / 1000.0;  // similarity of an open candidate
      if (kind < 8) {
        TCandidate* c = Cand(row, col, disparity, kind == 7 ? 1.0 : s);
        TCandidate* copy = new TCandidate(*c);
        const int added = kind < 6    ? list.AddCandidate(c)
                          : kind == 6 ? list.AddLowerMatch(c)
                                      : list.AddMatch(c);
        const int copied = kind < 6    ? plain.AddCandidate(copy)
                           : kind == 6 ? plain.AddLowerMatch(copy)
                                       : plain.AddMatch(copy);
        ASSERT_EQ(added, copied);
        if (!added) delete c, delete copy;
      } else if (kind == 8) {
        const int bin = pick(0, 5), index = pick(0, 40);
        ASSERT_EQ(list.DeleteCandidate(bin, index), plain.DeleteCandidate(bin, index));
      } else {  // an open candidate promoted
        const int bin = pick(0, 5), index = pick(0, 40);
        if (index >= list.CandidateCount(bin)) continue;
        list.Candidate(bin, index)->similarity = 1.0;
        plain.candidates[bin][index]->similarity = 1.0;
        ASSERT_EQ(list.AddMatch(list.Candidate(bin, index)),
                  plain.AddMatch(plain.candidates[bin][index]));
      }
      const int bin = pick(0, 5), index = pick(0, list.CandidateCount(bin));
      const double exact = plain.Support(bin, index);
      ASSERT_EQ(list.Support(bin, index), exact) << step;
      // The early end, where it applies, gives the same answers.
      const bool non_negative = list.SimilaritiesNonNegative();
      if (lowest == 0) {
        ASSERT_TRUE(non_negative);
      }
      for (const double level : {exact * 0.5, exact, std::nextafter(exact, -1.0), exact - 1.0})
        ASSERT_EQ(list.SupportAbove(bin, index, level, non_negative), exact > level) << step;
      ASSERT_EQ(list.nitems, plain.nitems);
    }
  }
}

TEST(CandidateList, MatchFilesAndTheirTexts) {
  testsupport::TempDir dir;
  const std::string saved = dir.file("m.txt"), missing = dir.file("none/m.txt");
  const testsupport::ChildResult run = testsupport::RunInChild([&] {
    TCandidateList list(40, 1, 1);
    list.AddMatch(Cand(9, 3, 2));
    list.AddMatch(Cand(1, -4, 5));
    list.AddMatch(Cand(8, 7, -1));
    std::printf("[%d]", list.Save(saved.c_str()));
    std::printf("[%d]", list.Save(missing.c_str()));
    TCandidateList lower(40, 1, 1);
    std::printf("[%d]", lower.LoadLowerMatches(saved.c_str()));
    std::printf("[%d %d %d]", lower.lmatches, lower.LowerCount(0), lower.LowerCount(2));
    std::printf("[%d]", lower.LoadLowerMatches(missing.c_str()));
  });
  EXPECT_EQ(ReadFile(saved), "3\n1 -4 1 1\n9 3 9 5\n8 7 8 6\n");  // bin 0, then bin 1
  EXPECT_EQ(run.out, "Saving to match file: " + saved + "... Success\n[1]Saving to match file: " +
                         missing + "... [3]Opening match file: " + saved + "...  3 matches" +
                         "Success\n[1][3 1 2]Opening match file: " + missing + "... [3]");
}

// Real-space scenes: a textured pair, the right image shifted by a smooth
// disparity field within the range; `lower` adds a match file of the level
// below first.
struct RealSpaceScene {
  int width, height, mind, maxd;
  double threshold, weight;
  bool lower;
};

TEST(RealSpace, SameBytesTextAndMatchesAsTheReference) {
  const RealSpaceScene scenes[] = {
      {46, 40, -2, 9, 0.4, 10, false},
      {46, 40, 0, 12, 0.2, 30, true},
      {37, 27, -5, 5, -0.5, 100, true},
      {100, 24, -40, 40, 0.3, 10, false},  // more than 64 disparities a column
  };
  for (const RealSpaceScene& s : scenes) {
    const scene::Texture texture(s.width + 30, s.height, 3, 5);
    const auto shift = [&](int x, int y) { return (x / 7 + y / 9) % (s.maxd - s.mind) + s.mind; };
    const auto left = scene::Make({s.width, s.height, kTypeByte, 3, 0, 0}, texture);
    const auto right =
        scene::Make({s.width, s.height, kTypeByte, 3, 0, 0},
                    [&](int x, int y, int b) { return texture(x - shift(x, y), y, b); });
    // The reference when `threads` is 0, else the library on that many threads.
    const auto run = [&](int threads) {
      const bool ref = threads == 0;
      testsupport::TempDir dir;
      scene::Outcome o;
      o.run = testsupport::RunInChild([&] {
        if (chdir(dir.path().c_str()) != 0) std::exit(3);
        testsupport::WriteFile("lower.txt", "3\n2 5 2 7\n9 4 9 3\n30 1 30 1\n");
        TDispImage out(s.width, s.height);
        if (ref) {
          reference::LiteralList list(s.height, s.weight, s.weight);
          if (s.lower) list.LoadLowerMatches("lower.txt");
          reference::CalculateCorrelations3BandRealSpace(out, left.get(), right.get(), s.mind,
                                                         s.maxd, s.threshold, list);
          list.Save("matches.txt");
        } else {
          SetCorrelationThreads(threads);
          TCandidateList list(s.height, s.weight, s.weight);
          if (s.lower) list.LoadLowerMatches("lower.txt");
          out.CalculateCorrelations3BandRealSpace(left.get(), right.get(), s.mind, s.maxd,
                                                  s.threshold, list);
          list.Save("matches.txt");
        }
        testsupport::WriteFile("out.bin", scene::Bytes(out));
      });
      o.image = ReadFile(dir.file("out.bin"));
      o.debug = ReadFile(dir.file("matches.txt"));
      return o;
    };
    const scene::Outcome literal = run(0);
    SCOPED_TRACE(std::to_string(s.width) + " x " + std::to_string(s.height));
    for (const int threads : {1, 2, 3}) {
      SCOPED_TRACE(threads);
      const scene::Outcome library = run(threads);
      EXPECT_EQ(library.run.status, 0);
      EXPECT_EQ(library.run.out, literal.run.out);
      EXPECT_EQ(library.image, literal.image);
      EXPECT_EQ(library.debug, literal.debug);
    }
    EXPECT_NE(literal.debug.substr(0, 2), "0\n");  // the scene has matches
  }
}

}  // namespace
