// Straight-line analysis of region boundaries: a least-squares line through
// a boundary, the distance of a point from a line, and the test that decides
// whether a stretch of the chain is straight.
#ifndef KLUTEIDA_GEOMETRY_REGBOUNDARY_H
#define KLUTEIDA_GEOMETRY_REGBOUNDARY_H

#include <vector>

#include "geometry/tpointimg.h"

// A region boundary: its points in order along the chain (indices from 0).
// The functions use the first nPoints points, never more than `points` holds.
template <class P>
struct RegBoundary_t {
  int nPoints = 0;        // the number of points along the boundary
  std::vector<P> points;  // the chain
};

// The line a x + b y + c = 0 (a^2 + b^2 = 1, c <= 0) fitted by regression of
// y on x, or of x on y for a chain close to vertical, and the mean distance
// of the points from it. 0 (all outputs 0) for fewer than three points, or
// when all points coincide.
unsigned char CalcLinearAprox(const RegBoundary_t<TPointImg>& boundary, double& a, double& b,
                              double& c, double& meanDist);

// The distance of p from the line through a and b; the distance of p from a
// when a equals b.
double dist_pnt_ln(TPointImg a, TPointImg b, TPointImg p);

// Whether the stretch first .. last is straight: its largest deviation from
// the chord, less its rate of zig-zag, below the tolerance. `last` beyond the
// chain is set to its last index. On 0, split names the point to split at
// (the largest deviation, or the middle of a stretch that winds); split is
// untouched when first >= last or first lies outside the chain.
unsigned char Collinear(const RegBoundary_t<TPointImg>& boundary, const double& tolerance,
                        const int& first, int& last, int& split);

#endif  // KLUTEIDA_GEOMETRY_REGBOUNDARY_H
