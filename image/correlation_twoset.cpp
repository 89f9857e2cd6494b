// The two-set correlation methods of TDispImage: two stereo pairs of one
// scene, the second placed by a 2 x 2 rotation and a shift, its disparities
// by a scale and an offset. Both sets are scored with the engine's curve
// blocks: set 1 a row at a time, set 2 on the rows its pixels map to, eight
// mapped pixels at a time where they fall on consecutive columns of one row.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <vector>

#include "image/correlation_engine.h"
#include "image/correlation_rows.h"
#include "image/tdispimage.h"
#include "math/tmatrix.h"
#include "util/int_conversion.h"

namespace {

using correlation::CurveBlock;
using correlation::kLanes;
using correlation::PairRows;
using correlation::Span;

struct Method {
  int k;       // window size
  int bands;   // 1: band 0; 3: median of bands 0, 1, 2
  bool block;  // the fixed block of rows 350..572, columns 137..475; else `margin` all round
  int margin;  // also the candidates' clip: [margin, W - margin)
  bool merge;  // one merged curve, guided, the set-2 disparity written
};

constexpr Method kTwoSet = {5, 1, true, 2, false};
constexpr Method kTwoSetThreeBands = {5, 3, false, 2, false};
constexpr Method kTwoSetHier = {3, 3, false, 1, true};

constexpr int kBlockTop = 350, kBlockBottom = 572, kBlockLeft = 137, kBlockRight = 475;
constexpr int kPeriod = 32;
constexpr long long kMaxCurve = 1 << 16;  // longer curves are refused
constexpr long long kNowhere = INT_MIN;   // a mapped position that is not a number or an int

struct DebugPixel {
  int x, y;
  const char* name;
};
constexpr DebugPixel kDebugPixels[] = {
    {321, 354, "1.txt"}, {362, 362, "2.txt"}, {235, 354, "3.txt"}};

// floor(v) as an integer; false when v is not a number or beyond the int range.
bool Floor(double v, long long* out) {
  const double f = std::floor(v);
  if (!(f >= INT_MIN && f <= INT_MAX)) return false;
  *out = static_cast<long long>(f);
  return true;
}

// Where a pixel of set 1 lies in set 2, and its set-2 candidates.
struct Mapped {
  long long x = kNowhere, y = kNowhere;
  Span span;
};

// The windows of set 2 on the row a block maps to, built for every pixel of
// the image row that maps to that row, and kept while the blocks use it.
class SetTwoRows {
 public:
  SetTwoRows(const TImage& left, const TImage& right, int bands, int k)
      : rows_(left, right, bands, k) {}

  struct Extent {
    long long x0, x1, lo, hi;  // reference columns [x0, x1), candidates [lo, hi)
  };

  const PairRows& For(long long y, const Extent& e) {
    if (!(built_ && y == y_ && e.x0 >= e_.x0 && e.x1 <= e_.x1 && e.lo >= e_.lo && e.hi <= e_.hi)) {
      rows_.Build(y, e.x0, e.x1, e.lo, e.hi);
      built_ = true, y_ = y, e_ = e;
    }
    return rows_;
  }

 private:
  PairRows rows_;
  bool built_ = false;
  long long y_ = 0;
  Extent e_{};
};

struct TwoSet {
  const Method& m;
  TDispImage& out;
  TImage &left1, &right1, &left2, &right2;
  TImage* guide;
  const TMatrix &rot, &shift;
  long long mind, maxd, lo2, hi2, n1, n2;
  double scale, offset, threshold;
  long long width;               // of left1: every clip
  std::vector<long long> back_;  // the merged curve's set-1 entries

  // Candidate columns of pixel x of set 1 with guide byte g.
  Span SetOneSpan(long long x, int g) const {
    Span s{std::max(x + mind, static_cast<long long>(m.margin)),
           std::min(x + maxd, width - m.margin)};
    if (g != 0) {
      const long long gd = g - 128;
      s.lo = std::max(s.lo, x + gd - 5);
      s.hi = std::min(s.hi, x + gd + 5);
    }
    return s;
  }

  Mapped Map(long long x, long long y, int g) const {
    Mapped p;
    const double yy = static_cast<double>(y), xx = static_cast<double>(x);
    if (!Floor(yy * rot.elem[0][0] + xx * rot.elem[0][1] + shift.elem[0][0] + 0.5, &p.y) ||
        !Floor(yy * rot.elem[1][0] + xx * rot.elem[1][1] + shift.elem[1][0] + 0.5, &p.x)) {
      p.x = p.y = kNowhere;
      return p;
    }
    p.span = {std::max(p.x + lo2, static_cast<long long>(m.margin)),
              std::min(p.x + hi2, width - m.margin)};
    if (g != 0) {
      long long centre = 0;
      if (!Floor((g - 128) * scale + offset + 0.5, &centre)) return p.span = Span(), p;
      const long long h = TruncateToInt(scale * 5.0), at = p.x + centre;
      p.span.lo = std::max(p.span.lo, at - h);
      p.span.hi = std::min(p.span.hi, at + h);
    }
    return p;
  }

  // The winner of entries [0, n) of one lane: start -2.01, strictly greater.
  static long long Winner(const CurveBlock& b, int lane, long long n, double* best) {
    double bests[kLanes];
    long long index[kLanes];
    b.Winner(n, correlation::kWinnerStart, bests, index);
    *best = bests[lane];
    return index[lane];
  }

  void Debug(const DebugPixel& d, const Mapped& p, const CurveBlock& b1, int l1,
             const CurveBlock& b2, int l2) const {
    std::FILE* f = std::fopen(d.name, "w");
    if (!f) return;
    std::fprintf(f, "%d\t%d\t%d\t%d\t\n", d.y, d.x, static_cast<int>(p.y), static_cast<int>(p.x));
    for (long long i = 0; i < n1; ++i) std::fprintf(f, "%f\t", b1.Value(l1, i));
    std::fprintf(f, "\n");
    for (long long i = 0; i < n2; ++i) std::fprintf(f, "%f\t", b2.Value(l2, i));
    std::fprintf(f, "\n");
    std::fclose(f);
  }

  // Entries [0, n) of the curve of one lane.
  static void Dense(const CurveBlock& b, int lane, long long n, std::vector<double>* out) {
    out->assign(static_cast<size_t>(std::max(n, 0LL)), 0.0);
    const long long from = std::clamp(b.begin(), 0LL, std::max(n, 0LL));
    const long long to = std::clamp(b.end(), from, std::max(n, 0LL));
    if (from < to) b.Copy(lane, from, to, out->data() + from);
  }

  // The set-1 entry each set-2 entry k of the merged curve is averaged with:
  // floor((lo2 + k) 0.5 - 1.5 - mind + 0.5), kept to 0 .. n1 - 1. The
  // constants are fixed: they assume set 2 has twice set 1's disparity plus 3.
  void BackMapping() {
    back_.resize(static_cast<size_t>(std::max(n2, 0LL)));
    for (long long k = 0; k < n2; ++k) {
      long long i = 0;
      if (!Floor(static_cast<double>(lo2 + k) * 0.5 - 1.5 - static_cast<double>(mind) + 0.5, &i))
        i = 0;
      back_[static_cast<size_t>(k)] = std::clamp(i, 0LL, std::max(n1 - 1, 0LL));
    }
  }

  // Decides pixel (x, y) from its set-1 curve (lane l1 of b1) and set-2
  // curve (lane l2 of b2); `dense` holds the two dense curves of a merge.
  void Decide(long long x, long long y, const CurveBlock& b1, int l1, const CurveBlock& b2, int l2,
              std::vector<double> dense[2]) const {
    if (m.merge) {
      // Both curves dense, zeros outside their computed entries.
      std::vector<double>& curve1_ = dense[0];
      std::vector<double>& curve2_ = dense[1];
      Dense(b1, l1, n1, &curve1_);
      Dense(b2, l2, n2, &curve2_);
      double best = correlation::kWinnerStart;
      long long winner = -1;
      for (long long k = 0; k < n2; ++k) {
        const double c1 =
            n1 > 0 ? curve1_[static_cast<size_t>(back_[static_cast<size_t>(k)])] : 0.0;
        const double v = (c1 + curve2_[static_cast<size_t>(k)]) * 0.5;
        if (v > best) best = v, winner = k;
      }
      if (winner >= 0 && best > threshold)
        correlation::WritePixel(out, static_cast<int>(x), static_cast<int>(y),
                                correlation::DisparityByte(lo2 + winner));
      return;
    }
    double best1, best2;
    const long long i1 = Winner(b1, l1, n1, &best1), i2 = Winner(b2, l2, n2, &best2);
    long long predicted = 0;
    const long long d1 = i1 + mind, d2 = i2 + lo2;
    if (i1 >= 0 && i2 >= 0 && best1 > threshold && best2 > threshold &&
        Floor(static_cast<double>(d1) * scale + offset + 0.5, &predicted) && d2 - predicted >= -2 &&
        d2 - predicted <= 2)
      correlation::WritePixel(out, static_cast<int>(x), static_cast<int>(y),
                              correlation::DisparityByte(d1));
  }

  // Rows and columns visited.
  long long Top() const { return m.block ? kBlockTop : m.margin; }
  long long Bottom() const { return m.block ? kBlockBottom : left1.Height() - 1 - m.margin; }
  long long Left() const { return m.block ? kBlockLeft : m.margin; }
  long long Right() const { return (m.block ? kBlockRight : width - 1 - m.margin) + 1; }

  void Run(int threads) {
    if (m.merge) BackMapping();
    correlation::ForEachRow(Top(), Bottom() + 1, kPeriod, 1, threads,
                            [&]() -> correlation::RowWorker {
                              auto rows = std::make_shared<Rows>(*this);
                              return [rows](long long y) { (*rows)(y); };
                            });
  }

  // One row at a time; one worker per thread.
  class Rows {
   public:
    explicit Rows(const TwoSet& s)
        : s_(s),
          x0_(s.Left()),
          x1_(s.Right()),
          count_(x1_ > x0_ ? static_cast<size_t>(x1_ - x0_) : 0),
          rows1_(s.left1, s.right1, s.m.bands, s.m.k),
          rows2_(s.left2, s.right2, s.m.bands, s.m.k),
          spans1_(count_ + kLanes),
          mapped_(count_ + kLanes) {}

    void operator()(long long y) {
      const TwoSet& s = s_;
      const long long x0 = x0_, x1 = x1_;
      if (count_ == 0) return;
      extents_.clear();
      long long lo1 = LLONG_MAX, hi1 = LLONG_MIN;
      for (size_t j = 0; j < count_; ++j) {
        const long long x = x0 + static_cast<long long>(j);
        const int g = s.guide ? correlation::ReadByte(*s.guide, static_cast<int>(x),
                                                      static_cast<int>(y))
                              : 0;
        spans1_[j] = s.SetOneSpan(x, g);
        lo1 = std::min(lo1, spans1_[j].lo), hi1 = std::max(hi1, spans1_[j].hi);
        mapped_[j] = s.Map(x, y, g);
        const Mapped& p = mapped_[j];
        if (p.x == kNowhere) continue;
        auto [it, fresh] =
            extents_.try_emplace(p.y, SetTwoRows::Extent{p.x, p.x + kLanes, p.span.lo, p.span.hi});
        SetTwoRows::Extent& e = it->second;
        if (!fresh) {
          e.x0 = std::min(e.x0, p.x), e.x1 = std::max(e.x1, p.x + kLanes);
          e.lo = std::min(e.lo, p.span.lo), e.hi = std::max(e.hi, p.span.hi);
        }
      }
      rows1_.Build(y, x0, x1, lo1, hi1);
      for (long long bx = x0; bx < x1; bx += kLanes) {
        const size_t j0 = static_cast<size_t>(bx - x0);
        Span s1[kLanes], s2[kLanes];
        bool regular = mapped_[j0].x != kNowhere;
        for (int l = 0; l < kLanes; ++l) {
          const bool inside = bx + l < x1;
          s1[l] = inside ? spans1_[j0 + l] : Span();
          s2[l] = inside ? mapped_[j0 + l].span : Span();
          regular = regular && (!inside || (mapped_[j0 + l].y == mapped_[j0].y &&
                                            mapped_[j0 + l].x == mapped_[j0].x + l));
        }
        block1_.Compute(rows1_, bx, s1, s.mind);
        if (regular)
          block2_.Compute(rows2_.For(mapped_[j0].y, extents_[mapped_[j0].y]), mapped_[j0].x, s2,
                          s.lo2);
        for (int l = 0; l < kLanes && bx + l < x1; ++l) {
          const long long x = bx + l;
          const Mapped& p = mapped_[j0 + l];
          const CurveBlock* b2 = &block2_;
          int l2 = l;
          if (!regular) {
            // This pixel alone, as lane 0 of its own block.
            Span alone[kLanes] = {p.x == kNowhere ? Span() : p.span};
            if (p.x == kNowhere) {
              single_.Compute(rows1_, bx, alone, s.lo2);  // no candidates: a curve of zeros
            } else {
              single_.Compute(rows2_.For(p.y, extents_[p.y]), p.x, alone, s.lo2);
            }
            b2 = &single_;
            l2 = 0;
          }
          s.Decide(x, y, block1_, l, *b2, l2, dense_);
          for (const DebugPixel& d : kDebugPixels)
            if (x == d.x && y == d.y) s.Debug(d, p, block1_, l, *b2, l2);
        }
      }
    }

   private:
    const TwoSet& s_;
    long long x0_, x1_;
    size_t count_;
    PairRows rows1_;
    SetTwoRows rows2_;
    CurveBlock block1_, block2_, single_;
    std::vector<Span> spans1_;
    std::vector<Mapped> mapped_;
    std::map<long long, SetTwoRows::Extent> extents_;  // of the set-2 rows of an image row
    std::vector<double> dense_[2];                       // dense curves of the pixel under way
  };
};

// Validates the call and runs it: 0, with nothing done or printed, for
// rot or shift of the wrong size, or a set-2 range that is not a number, lies
// beyond the int range, or is longer than kMaxCurve (as is set 1's).
int RunTwoSet(const Method& m, TDispImage& out, TImage* left1, TImage* right1, TImage* left2,
              TImage* right2, TImage* guide, TMatrix& rot, TMatrix& shift, int mind, int maxd,
              double scale, double offset, double threshold) {
  long long lo2 = 0, hi2 = 0;
  const double top = std::ceil(maxd * scale + offset);
  if (rot.nRows < 2 || rot.nCols < 2 || shift.nRows < 2 || shift.nCols < 1 ||
      !Floor(mind * scale + offset, &lo2) || !Floor(top, &hi2))
    return 0;
  const long long n1 = static_cast<long long>(maxd) - mind, n2 = hi2 - lo2;
  if (n1 > kMaxCurve || n2 > kMaxCurve) return 0;
  correlation::PrintStart();
  out.MinDisparity = mind;
  out.MaxDisparity = maxd;
  TwoSet run{m,     out,    *left1,    *right1,        *left2, *right2, guide, rot, shift,
             mind,  maxd,   lo2,       hi2,            n1,     n2,      scale, offset,
             threshold, left1->Width(), {}};
  run.Run(correlation::ThreadsFor(out, {left1, right1, left2, right2, guide}));
  correlation::PrintDone();
  return 1;
}

}  // namespace

int TDispImage::CalculateCorrelations2Set(TImage* left1, TImage* right1, TImage* left2,
                                          TImage* right2, TMatrix& rot, TMatrix& shift, int mind,
                                          int maxd, double scale, double offset, double threshold) {
  return RunTwoSet(kTwoSet, *this, left1, right1, left2, right2, nullptr, rot, shift, mind, maxd,
                   scale, offset, threshold);
}

int TDispImage::CalculateCorrelations2Set3Bands(TImage* left1, TImage* right1, TImage* left2,
                                                TImage* right2, TMatrix& rot, TMatrix& shift,
                                                int mind, int maxd, double scale, double offset,
                                                double threshold) {
  return RunTwoSet(kTwoSetThreeBands, *this, left1, right1, left2, right2, nullptr, rot, shift,
                   mind, maxd, scale, offset, threshold);
}

int TDispImage::CalculateCorrelations2Set3BandsHier(TImage* left1, TImage* right1, TImage* left2,
                                                    TImage* right2, TImage* guide, TMatrix& rot,
                                                    TMatrix& shift, int mind, int maxd,
                                                    double scale, double offset, double threshold) {
  return RunTwoSet(kTwoSetHier, *this, left1, right1, left2, right2, guide, rot, shift, mind, maxd,
                   scale, offset, threshold);
}
