// Small helpers shared by the geometry tests.
#ifndef KLUTEIDA_TESTS_GEOMETRY_TEST_UTIL_H
#define KLUTEIDA_TESTS_GEOMETRY_TEST_UTIL_H

#include <array>

#include "geometry/tpoint3d.h"
#include "geometry/tpointimg.h"

namespace geotest {

// Image points are declared row first; tests spell them column first.
inline TPointImg Img(int x, int y) {
  TPointImg p;
  p.x = x;
  p.y = y;
  return p;
}

// Column, row: comparable and printable by GoogleTest.
inline std::array<int, 2> Xy(const TPointImg& p) { return {p.x, p.y}; }
inline std::array<int, 3> Xyz(const TPoint3Di& p) { return {p.x, p.y, p.z}; }
inline std::array<double, 3> Xyz(const TPoint3Dd& p) { return {p.x, p.y, p.z}; }

}  // namespace geotest

#endif  // KLUTEIDA_TESTS_GEOMETRY_TEST_UTIL_H
