#include "correlation_reference.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "image/median.h"
#include "math/tmatrix.h"

namespace reference {

namespace detail {

// A k x k window of `image` at (x, y), band `band`, normalised; its deviation
// goes to *deviation.
std::unique_ptr<TMatrix> NormalisedWindow(TImage* image, int x, int y, int band, int k,
                                          double* deviation) {
  auto window = std::make_unique<TMatrix>(k, k);
  image->GetWindow(x, y, window.get(), band);
  window->Normalize();
  *deviation = window->StandardDeviation();
  return window;
}

void Write(TDispImage& out, int x, int y, int byte) {
  unsigned char value[8] = {static_cast<unsigned char>(byte)};
  out.SetIntensity(x, y, value);
}

void Start(TDispImage& out, int mind, int maxd) {
  std::printf("finding correlations... ");
  std::fflush(stdout);
  out.MinDisparity = mind;
  out.MaxDisparity = maxd;
}

void Row(int y, int period) {
  if (y % period == 0) {
    std::printf("%d ", y);
    std::fflush(stdout);
  }
}

void Done() {
  std::puts("OK");
  std::fflush(stdout);
}

// Winner scan from `start`, strictly greater only; -1 when nothing beats it.
int Winner(const std::vector<double>& curve, int n, double start, double* best) {
  int index = -1;
  *best = start;
  for (int i = 0; i < n; i++) {
    if (curve[i] > *best) {
      *best = curve[i];
      index = i;
    }
  }
  return index;
}

}  // namespace detail

namespace {

using namespace detail;

// The candidate columns [*lo, *hi) of the pixel (x, y) with the given margin,
// narrowed to x + g - 133 .. x + g - 124 where the guide byte g is set.
void Candidates(TImage* left, TImage* guide, int x, int y, int margin, int mind, int maxd,
                long long* lo, long long* hi) {
  *lo = std::max(static_cast<long long>(x) + mind, static_cast<long long>(margin));
  *hi = std::min(static_cast<long long>(x) + maxd, static_cast<long long>(left->Width() - margin));
  unsigned char g[8] = {};
  if (guide != nullptr) guide->GetIntensity(x, y, g);
  if (g[0] != 0) {
    *lo = std::max(*lo, static_cast<long long>(x) + g[0] - 133);
    *hi = std::min(*hi, static_cast<long long>(x) + g[0] - 123);
  }
}

// The median three-band curve of the pixel (x, y) over candidates [lo, hi),
// with k x k windows; when `text` is given, one "cc.txt" line per candidate.
void ThreeBandCurve(TImage* left, TImage* right, int x, int y, int k, int mind, long long lo,
                    long long hi, std::vector<double>& curve, int n, std::string* text) {
  double sa[3];
  std::unique_ptr<TMatrix> a[3];
  for (int b = 0; b < 3; b++) a[b] = NormalisedWindow(left, x, y, b, k, &sa[b]);
  for (int i = 0; i < n; i++) curve[i] = 0;
  for (long long u = lo; u < hi; u++) {
    double s[3];
    for (int b = 0; b < 3; b++) {
      double sb;
      std::unique_ptr<TMatrix> w = NormalisedWindow(right, static_cast<int>(u), y, b, k, &sb);
      s[b] = w->InnerProduct(a[b].get()) / (sa[b] * sb * (k * k));
    }
    const double med = Median(s[0], s[1], s[2]);
    curve[u - x - mind] = med;
    if (text) {
      char line[256];
      std::snprintf(line, sizeof line, "%f %f %f %f\n", med, s[0], s[1], s[2]);
      *text += line;
    }
  }
}

// The three-band curve of (x, y), written to "cc.txt" for the pixel (362, 362).
void DebuggedCurve(TImage* left, TImage* right, int x, int y, int k, int mind, long long lo,
                   long long hi, std::vector<double>& curve, int n) {
  if (x != 362 || y != 362)
    return ThreeBandCurve(left, right, x, y, k, mind, lo, hi, curve, n, nullptr);
  std::string text;
  ThreeBandCurve(left, right, x, y, k, mind, lo, hi, curve, n, &text);
  if (std::FILE* f = std::fopen("cc.txt", "w")) {
    std::fputs(text.c_str(), f);
    std::fclose(f);
  }
}

}  // namespace

int CalculateCorrelations(TDispImage& out, TImage* left, TImage* right, int mind, int maxd,
                          double threshold) {
  Start(out, mind, maxd);
  const int W = left->Width();
  const int H = left->Height();
  const int n = maxd - mind;
  std::vector<double> curve(std::max(n, 0), 0.0);
  for (int y = 2; y < H - 2; y++) {
    Row(y, 32);
    for (int x = 2; x < W - 2; x++) {
      double sa;
      std::unique_ptr<TMatrix> a = NormalisedWindow(left, x, y, 0, 5, &sa);
      for (int i = 0; i < n; i++) curve[i] = 0;
      const long long lo = std::max(static_cast<long long>(x) + mind, 2LL);
      const long long hi = std::min(static_cast<long long>(x) + maxd, W - 2LL);
      for (long long u = lo; u < hi; u++) {
        double sb;
        std::unique_ptr<TMatrix> b = NormalisedWindow(right, static_cast<int>(u), y, 0, 5, &sb);
        curve[u - x - mind] = b->InnerProduct(a.get()) / (sa * sb * 25);
      }
      double best;
      const int index = Winner(curve, n, -2.01, &best);
      if (index >= 0 && best > threshold) Write(out, x, y, mind + index + 128);
    }
  }
  Done();
  return 1;
}

namespace {

// The three-band search with k x k windows over the pixels `margin` from the
// border, narrowed around a non-zero guide byte when there is a guide.
int ThreeBandSearch(TDispImage& out, TImage* left, TImage* right, TImage* guide, int k, int margin,
                    int mind, int maxd, double threshold) {
  Start(out, mind, maxd);
  const int W = left->Width();
  const int H = left->Height();
  const int n = maxd - mind;
  std::vector<double> curve(std::max(n, 0), 0.0);
  for (int y = margin; y < H - margin; y++) {
    Row(y, 16);
    for (int x = margin; x < W - margin; x++) {
      long long lo, hi;
      Candidates(left, guide, x, y, margin, mind, maxd, &lo, &hi);
      DebuggedCurve(left, right, x, y, k, mind, lo, hi, curve, n);
      double best;
      const int index = Winner(curve, n, -2.01, &best);
      if (index >= 0 && best > threshold) Write(out, x, y, mind + index + 128);
    }
  }
  Done();
  return 1;
}

}  // namespace

int CalculateCorrelations3Band(TDispImage& out, TImage* left, TImage* right, int mind, int maxd,
                               double threshold) {
  return ThreeBandSearch(out, left, right, nullptr, 7, 3, mind, maxd, threshold);
}

int CalculateCorrelations3BandHier(TDispImage& out, TImage* left, TImage* right, TImage* guide,
                                   int mind, int maxd, double threshold) {
  return ThreeBandSearch(out, left, right, guide, 9, 4, mind, maxd, threshold);
}

int CalculateCorrelations3BandSupport(TDispImage& out, TImage* left, TImage* right, TImage* support,
                                      int mind, int maxd, double threshold) {
  Start(out, mind, maxd);
  const int n = maxd - mind;
  std::vector<double> curve(std::max(n, 0), 0.0);
  for (int y = 236; y <= 572; y++) {
    Row(y, 16);
    for (int x = 137; x <= 475; x++) {
      unsigned char s[8] = {};
      support->GetIntensity(x, y, s);
      if (s[0] != 0) {
        Write(out, x, y, s[0]);
        continue;
      }
      long long lo, hi;
      Candidates(left, nullptr, x, y, 3, mind, maxd, &lo, &hi);
      ThreeBandCurve(left, right, x, y, 7, mind, lo, hi, curve, n, nullptr);

      int index[3];
      double value[3];
      int peaks = 0;
      index[0] = Winner(curve, n, -30.0, &value[0]);
      if (index[0] < 0) continue;
      peaks = 1;
      for (int p = 1; p < 3 && n > 2 && peaks == p; p++) {
        double best = 0.0;
        int found = -1;
        for (int i = 1; i <= n - 2; i++) {
          if (i == index[0] || (p == 2 && i == index[1])) continue;
          if (curve[i] > curve[i - 1] && curve[i] > curve[i + 1] && curve[i] > best) {
            best = curve[i];
            found = i;
          }
        }
        if (found >= 0) {
          index[p] = found;
          value[p] = best;
          peaks++;
        }
      }
      TMatrix window(7, 7);
      support->GetWindow(x, y, &window, 0);
      double best = -10.0;
      int winner = -1;
      for (int p = 0; p < peaks; p++) {
        const int count = window.ElemInDeltaNeig(mind + index[p] + 128, 3.0);
        const double score = value[p] + 0.01 * count;
        if (score > best) {
          best = score;
          winner = index[p];
        }
      }
      if (winner >= 0 && best > threshold) Write(out, x, y, mind + winner + 128);
    }
  }
  Done();
  return 1;
}

int CalculateCorrelations3BandRealSpace(TDispImage& out, TImage* left, TImage* right, int mind,
                                        int maxd, double threshold, LiteralList& list) {
  Start(out, mind, maxd);
  const int W = left->Width();
  const int H = left->Height();
  const int n = maxd - mind + 1;
  TMatrix scores(out.Width(), n);
  for (int y = 3; y < H - 3; y++) {
    Row(y, 16);
    for (int x = 3; x < W - 3; x++) {
      double sa[3];
      std::unique_ptr<TMatrix> a[3];
      for (int b = 0; b < 3; b++) a[b] = NormalisedWindow(left, x, y, b, 7, &sa[b]);
      const int lo = std::max(x + mind, 3), hi = std::min(x + maxd, W - 3);
      for (int u = lo; u <= hi; u++) {
        double s[3];
        for (int b = 0; b < 3; b++) {
          double sb;
          std::unique_ptr<TMatrix> w = NormalisedWindow(right, u, y, b, 7, &sb);
          s[b] = w->InnerProduct(a[b].get()) / (sa[b] * sb * 49);
        }
        scores.Set(x, u - x - mind, Median(s[0], s[1], s[2]));
      }
    }
    TMatrix kernel(3, 1);
    kernel.Set(0, 0, 0.3), kernel.Set(1, 0, 0.4), kernel.Set(2, 0, 0.3);
    scores.Convolve(kernel);
    for (int x = 1; x <= W - 2; x++) {
      double best = -10.0, second = -10.0;
      int b = -1;
      for (int k = 0; k < n; k++)
        if (scores.elem[x][k] > best) best = scores.elem[x][k], b = k;
      if (best <= 0.8) continue;
      for (int k = 0; k < n; k++)
        if (std::abs(k - b) > 2 && scores.elem[x][k] > second) second = scores.elem[x][k];
      if (second > -9.0 && second < 0.65) {
        TCandidate* m = new TCandidate(0, 1, y, x, y, x + b + mind, 1.0);
        if (!list.AddMatch(m)) delete m;
      }
    }
    for (int x = 1; x <= W - 2; x++)
      for (int k = 1; k <= n - 2; k++) {
        const double v = scores.elem[x][k];
        if (v > scores.elem[x][k - 1] && v > scores.elem[x][k + 1] && v > threshold) {
          TCandidate* c = new TCandidate(0, 1, y, x, y, x + k + mind, v);
          if (!list.AddCandidate(c)) delete c;
        }
      }
  }
  for (int b = 0; b < list.bins; b++)
    for (const TCandidate* m : list.matches[b])
      Write(out, m->col1, m->row1, m->col2 - m->col1 + 128);
  std::printf("lmatches: %d, nmatches: %d, nitems:%d\n", list.lmatches, list.nmatches, list.nitems);
  for (double pass : {30.0, 18.0, 8.0}) {
    for (int b = 0; b < list.bins; b++) {
      if (b % 4 == 0) {
        std::printf("%d ", b);
        std::fflush(stdout);
      }
      for (int i = 0; i < static_cast<int>(list.candidates[b].size()); i++) {
        if (list.Support(b, i) > pass) {
          TCandidate* c = list.candidates[b][i];
          Write(out, c->col1, c->row1, c->col2 - c->col1 + 128);
          c->similarity = 1.0;
          list.AddMatch(c);
        }
      }
    }
    std::printf("nmatches:  %d, nitems:%d \n", list.nmatches, list.nitems);
  }
  Done();
  return 1;
}

std::string DebugLines(TImage* left, TImage* right, TImage* guide, int k, int margin, int mind,
                       int maxd, int x, int y) {
  long long lo, hi;
  Candidates(left, guide, x, y, margin, mind, maxd, &lo, &hi);
  std::vector<double> curve(std::max(maxd - mind, 0));
  std::string text;
  ThreeBandCurve(left, right, x, y, k, mind, lo, hi, curve, maxd - mind, &text);
  return text;
}

}  // namespace reference
