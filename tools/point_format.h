// Text of the point-cloud lines: "%f %f %f %d %d %d\n" without printf.
#ifndef KLUTEIDA_TOOLS_POINT_FORMAT_H
#define KLUTEIDA_TOOLS_POINT_FORMAT_H

#include <cstddef>

// Longest text FormatFixed6 produces: sign, 39 integer digits of FLT_MAX, the
// point and six decimals.
constexpr std::size_t kMaxFixed6Length = 47;

// Longest point line: three coordinates of at most 16 characters
// ("-21474836.480000"), three colours of at most 3 digits, five blanks and the
// line end.
constexpr std::size_t kMaxPointLineLength = 3 * 16 + 3 * 3 + 5 + 1;

// Room a line formatter needs at `out`: it copies short texts in whole blocks
// and may touch a few bytes behind the end of the line.
constexpr std::size_t kPointLineRoom = kMaxPointLineLength + 16;

// Writes what printf("%f", (double)value) writes (six decimals, the exact
// value rounded to nearest with ties to even, "-" for every negative value
// including -0) and returns the end of the text. Not NUL-terminated.
char* FormatFixed6(float value, char* out);

// A raster coordinate in centimetres as the point cloud writes it: the integer
// converted to single precision and divided by 100 in single precision.
inline float CentimetresToMetres(int v) { return static_cast<float>(v) / 100.0f; }

// Writes one point line, x, y, z in centimetres and the three colour bytes,
// with the bytes of "%f %f %f %d %d %d\n" of the coordinates in metres.
// Returns the end of the line, at most kMaxPointLineLength characters; `out`
// must have kPointLineRoom bytes.
char* FormatPointLine(int x, int y, int z, const unsigned char rgb[3], char* out);

// The same line, with the text of recent coordinate values kept in small
// direct-mapped tables, one per component: along a raster's rows x changes
// steadily, y hardly ever, z within a narrow range, so most values come back.
class PointLineFormatter {
 public:
  PointLineFormatter();
  char* Format(int x, int y, int z, const unsigned char rgb[3], char* out);

 private:
  struct Entry {
    int key;
    unsigned char length;
    char text[19];
  };
  static constexpr unsigned kSlots = 4096;  // per component, indexed by the low bits
  using Table = Entry[kSlots];

  static char* Coordinate(Table& table, int v, char* out);

  Table x_, y_, z_;
};

#endif  // KLUTEIDA_TOOLS_POINT_FORMAT_H
