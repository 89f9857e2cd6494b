// The single-pair correlation methods computed window by window, exactly in
// the steps of their description: every window is taken with GetWindow into a
// fresh TMatrix, normalised and scored on its own. Slow on purpose; the fast
// methods of TDispImage must give the same bytes, text and debug file.
#ifndef KLUTEIDA_TESTS_IMAGE_CORRELATION_REFERENCE_H
#define KLUTEIDA_TESTS_IMAGE_CORRELATION_REFERENCE_H

#include <string>

#include "candidate_reference.h"
#include "image/tdispimage.h"
#include "image/timage.h"

namespace reference {

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

// What "cc.txt" receives for the pixel (x, y) from the three-band method
// with k x k windows and the given margin (3 for 7 x 7, 4 for 9 x 9), guided
// when `guide` is not null: one line per candidate, computed literally for
// that one pixel.
std::string DebugLines(TImage* left, TImage* right, TImage* guide, int k, int margin, int mind,
                       int maxd, int x, int y);

}  // namespace reference

#endif  // KLUTEIDA_TESTS_IMAGE_CORRELATION_REFERENCE_H
