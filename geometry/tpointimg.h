// Image (pixel) point.
#ifndef KLUTEIDA_GEOMETRY_TPOINTIMG_H
#define KLUTEIDA_GEOMETRY_TPOINTIMG_H

#include <cstdio>

#include "geometry/tpointfilm.h"
#include "geometry/wrapint.h"

class TCamera;
class TCamvor;

// Declared row first: TPointImg{row, column}. Its text form is the other way
// round, column first. The operators wrap around on overflow.
struct TPointImg {
  int y = 0;  // row (line)
  int x = 0;  // column

  TPointImg operator-(const TPointImg& b) const {
    return {geometry_detail::WrapSub(y, b.y), geometry_detail::WrapSub(x, b.x)};
  }
  TPointImg operator+(const TPointImg& b) const {
    return {geometry_detail::WrapAdd(y, b.y), geometry_detail::WrapAdd(x, b.x)};
  }
  TPointImg operator-() const { return {geometry_detail::WrapNeg(y), geometry_detail::WrapNeg(x)}; }
  TPointImg operator*(int k) const {
    return {geometry_detail::WrapMul(y, k), geometry_detail::WrapMul(x, k)};
  }
  TPointImg& operator*=(int k) { return *this = *this * k; }
  // Truncates toward zero; see geometry_detail::TruncDiv for k of 0 and -1.
  TPointImg operator/(int k) const {
    return {geometry_detail::TruncDiv(y, k), geometry_detail::TruncDiv(x, k)};
  }
  TPointImg& operator/=(int k) { return *this = *this / k; }

  // Reads two integers, the column and then the row. 0 when the input ends
  // before the first number (the point is left unchanged), 1 otherwise; the
  // point changes only when both numbers were read.
  int Read(std::FILE* stream);

  // The film point of this pixel (geometry/projection.h): for a TCamera the
  // pixel is taken as (row, column); for a TCamvor as (column, row) with the
  // pixel-to-film grid corrections.
  TPointFilm Pixel2Film(const TCamera& c) const;
  TPointFilm Pixel2Film(const TCamvor& c) const;
};

#endif  // KLUTEIDA_GEOMETRY_TPOINTIMG_H
