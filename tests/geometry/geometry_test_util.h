// Small helpers shared by the geometry tests.
#ifndef KLUTEIDA_TESTS_GEOMETRY_TEST_UTIL_H
#define KLUTEIDA_TESTS_GEOMETRY_TEST_UTIL_H

#include <array>

#include "geometry/tpoint3d.h"
#include "geometry/tpointimg.h"

namespace geotest {

using Xy2 = std::array<int, 2>;
using Xyz3 = std::array<int, 3>;

// Image points are declared row first; the tests spell them column first.
inline TPointImg Img(int x, int y) { return TPointImg{y, x}; }
inline Xy2 Xy(const TPointImg& p) { return {p.x, p.y}; }
inline Xyz3 Xyz(const TPoint3Di& p) { return {p.x, p.y, p.z}; }

}  // namespace geotest

#endif  // KLUTEIDA_TESTS_GEOMETRY_TEST_UTIL_H
