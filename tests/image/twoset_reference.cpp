// The two-set methods window by window, in the steps of their description.
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "correlation_reference.h"
#include "image/median.h"

namespace reference {
namespace {

using namespace detail;

struct Variant {
  int k, bands;
  bool block;  // the fixed block of rows 350..572, columns 137..475; else the margin
  int margin;  // rows and columns left out, and the clip of the candidates
  bool merge;  // the hierarchical variant: one merged curve, the set-2 disparity written
};

// The curve entry of the windows at (x, y) and (u, y): one band, or the
// median of three.
double Score(TImage* left, TImage* right, int x, int u, int y, const Variant& v) {
  double s[3];
  for (int b = 0; b < v.bands; b++) {
    double sa, sb;
    std::unique_ptr<TMatrix> a = NormalisedWindow(left, x, y, b, v.k, &sa);
    std::unique_ptr<TMatrix> w = NormalisedWindow(right, u, y, b, v.k, &sb);
    s[b] = w->InnerProduct(a.get()) / (sa * sb * (v.k * v.k));
  }
  return v.bands == 1 ? s[0] : Median(s[0], s[1], s[2]);
}

void Debug(const char* name, int y, int x, int y2, int x2, const std::vector<double>& c1,
           const std::vector<double>& c2) {
  std::FILE* f = std::fopen(name, "w");
  if (!f) return;
  std::fprintf(f, "%d\t%d\t%d\t%d\t\n", y, x, y2, x2);
  for (double e : c1) std::fprintf(f, "%f\t", e);
  std::fprintf(f, "\n");
  for (double e : c2) std::fprintf(f, "%f\t", e);
  std::fprintf(f, "\n");
  std::fclose(f);
}

int TwoSet(const Variant& v, TDispImage& out, TImage* left1, TImage* right1, TImage* left2,
           TImage* right2, TImage* guide, TMatrix& rot, TMatrix& shift, int mind, int maxd,
           double scale, double offset, double threshold) {
  Start(out, mind, maxd);
  const int lo2 = static_cast<int>(std::floor(mind * scale + offset));
  const int hi2 = static_cast<int>(std::ceil(maxd * scale + offset));
  const int n1 = maxd - mind, n2 = hi2 - lo2;
  std::vector<double> c1(n1), c2(n2), merged(n2);
  const int W = left1->Width(), H = left1->Height();
  const int top = v.block ? 350 : v.margin, bottom = v.block ? 572 : H - 1 - v.margin;
  const int first = v.block ? 137 : v.margin, last = v.block ? 475 : W - 1 - v.margin;
  for (int y = top; y <= bottom; y++) {
    Row(y, 32);
    for (int x = first; x <= last; x++) {
      int g = 0, gd = 0;
      if (guide) {
        unsigned char byte[8] = {};
        guide->GetIntensity(x, y, byte);
        g = byte[0], gd = g - 128;
      }
      for (double& e : c1) e = 0;
      int lo = std::max(x + mind, v.margin), hi = std::min(x + maxd, W - v.margin);
      if (g != 0) lo = std::max(lo, x + gd - 5), hi = std::min(hi, x + gd + 5);
      for (int u = lo; u < hi; u++) c1[u - x - mind] = Score(left1, right1, x, u, y, v);
      const int y2 = static_cast<int>(
          std::floor(y * rot.elem[0][0] + x * rot.elem[0][1] + shift.elem[0][0] + 0.5));
      const int x2 = static_cast<int>(
          std::floor(y * rot.elem[1][0] + x * rot.elem[1][1] + shift.elem[1][0] + 0.5));
      for (double& e : c2) e = 0;
      lo = std::max(x2 + lo2, v.margin), hi = std::min(x2 + hi2, W - v.margin);
      if (g != 0) {
        const int p = x2 + static_cast<int>(std::floor(gd * scale + offset + 0.5));
        const int h = static_cast<int>(scale * 5.0);
        lo = std::max(lo, p - h), hi = std::min(hi, p + h);
      }
      for (int u = lo; u < hi; u++) c2[u - x2 - lo2] = Score(left2, right2, x2, u, y2, v);
      if (v.merge) {
        for (int k = 0; k < n2; k++) {
          int i = static_cast<int>(std::floor((lo2 + k) * 0.5 - 1.5 - mind + 0.5));
          if (i < 0) i = 0;
          if (i > n1 - 1) i = n1 - 1;
          merged[k] = (c1[i] + c2[k]) * 0.5;
        }
        double best;
        const int k = Winner(merged, n2, -2.01, &best);
        if (k >= 0 && best > threshold) Write(out, x, y, lo2 + k + 128);
      } else {
        double best1, best2;
        const int i1 = Winner(c1, n1, -2.01, &best1);
        const int i2 = Winner(c2, n2, -2.01, &best2);
        const int d1 = i1 + mind, d2 = i2 + lo2;
        const int p = static_cast<int>(std::floor(d1 * scale + offset + 0.5));
        if (i1 >= 0 && i2 >= 0 && best1 > threshold && best2 > threshold &&
            static_cast<unsigned>(d2 - p + 2) <= 4)
          Write(out, x, y, d1 + 128);
      }
      if (y == 354 && x == 321) Debug("1.txt", y, x, y2, x2, c1, c2);
      if (y == 362 && x == 362) Debug("2.txt", y, x, y2, x2, c1, c2);
      if (y == 354 && x == 235) Debug("3.txt", y, x, y2, x2, c1, c2);
    }
  }
  Done();
  return 1;
}

}  // namespace

int CalculateCorrelations2Set(TDispImage& out, TImage* left1, TImage* right1, TImage* left2,
                              TImage* right2, TMatrix& rot, TMatrix& shift, int mind, int maxd,
                              double scale, double offset, double threshold) {
  return TwoSet({5, 1, true, 2, false}, out, left1, right1, left2, right2, nullptr, rot, shift,
                mind, maxd, scale, offset, threshold);
}

int CalculateCorrelations2Set3Bands(TDispImage& out, TImage* left1, TImage* right1, TImage* left2,
                                    TImage* right2, TMatrix& rot, TMatrix& shift, int mind,
                                    int maxd, double scale, double offset, double threshold) {
  return TwoSet({5, 3, false, 2, false}, out, left1, right1, left2, right2, nullptr, rot, shift,
                mind, maxd, scale, offset, threshold);
}

int CalculateCorrelations2Set3BandsHier(TDispImage& out, TImage* left1, TImage* right1,
                                        TImage* left2, TImage* right2, TImage* guide, TMatrix& rot,
                                        TMatrix& shift, int mind, int maxd, double scale,
                                        double offset, double threshold) {
  return TwoSet({3, 3, false, 1, true}, out, left1, right1, left2, right2, guide, rot, shift, mind,
                maxd, scale, offset, threshold);
}

}  // namespace reference
