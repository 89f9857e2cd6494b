// The single-pair correlation methods computed window by window, exactly in
// the steps of their description: every window is taken with GetWindow into a
// fresh TMatrix, normalised and scored on its own. Slow on purpose; the fast
// methods of TDispImage must give the same bytes, text and debug file.
#ifndef KLUTEIDA_TESTS_IMAGE_CORRELATION_REFERENCE_H
#define KLUTEIDA_TESTS_IMAGE_CORRELATION_REFERENCE_H

#include <memory>
#include <string>
#include <vector>

#include "candidate_reference.h"
#include "image/tdispimage.h"
#include "image/timage.h"
#include "math/tmatrix.h"

namespace reference {

// The steps every reference method shares.
namespace detail {
// A k x k window of `image` at (x, y), band `band`, normalised; its deviation
// goes to *deviation.
std::unique_ptr<TMatrix> NormalisedWindow(TImage* image, int x, int y, int band, int k,
                                          double* deviation);
void Write(TDispImage& out, int x, int y, int byte);
void Start(TDispImage& out, int mind, int maxd);  // the start text and the range
void Row(int y, int period);                      // the progress text of row y
void Done();
// Winner scan from `start`, strictly greater only; -1 when nothing beats it.
int Winner(const std::vector<double>& curve, int n, double start, double* best);
}  // namespace detail

int CalculateCorrelations(TDispImage& out, TImage* left, TImage* right, int mind, int maxd,
                          double threshold);
int CalculateCorrelations3Band(TDispImage& out, TImage* left, TImage* right, int mind, int maxd,
                               double threshold);
int CalculateCorrelations3BandHier(TDispImage& out, TImage* left, TImage* right, TImage* guide,
                                   int mind, int maxd, double threshold);
int CalculateCorrelations3BandSupport(TDispImage& out, TImage* left, TImage* right, TImage* support,
                                      int mind, int maxd, double threshold);

int CalculateCorrelations3BandRealSpace(TDispImage& out, TImage* left, TImage* right, int mind,
                                        int maxd, double threshold, LiteralList& list);

// The two-set methods: set 1 (left1, right1), set 2 (left2, right2) placed by
// rot and shift, disparities related by scale and offset.
int CalculateCorrelations2Set(TDispImage& out, TImage* left1, TImage* right1, TImage* left2,
                              TImage* right2, TMatrix& rot, TMatrix& shift, int mind, int maxd,
                              double scale, double offset, double threshold);
int CalculateCorrelations2Set3Bands(TDispImage& out, TImage* left1, TImage* right1, TImage* left2,
                                    TImage* right2, TMatrix& rot, TMatrix& shift, int mind,
                                    int maxd, double scale, double offset, double threshold);
int CalculateCorrelations2Set3BandsHier(TDispImage& out, TImage* left1, TImage* right1,
                                        TImage* left2, TImage* right2, TImage* guide, TMatrix& rot,
                                        TMatrix& shift, int mind, int maxd, double scale,
                                        double offset, double threshold);

// What "cc.txt" receives for the pixel (x, y) from the three-band method
// with k x k windows and the given margin (3 for 7 x 7, 4 for 9 x 9), guided
// when `guide` is not null: one line per candidate, computed literally for
// that one pixel.
std::string DebugLines(TImage* left, TImage* right, TImage* guide, int k, int margin, int mind,
                       int maxd, int x, int y);

}  // namespace reference

#endif  // KLUTEIDA_TESTS_IMAGE_CORRELATION_REFERENCE_H
