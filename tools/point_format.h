// Text of the point-cloud lines: "%f %f %f %d %d %d\n" without printf.
#ifndef KLUTEIDA_TOOLS_POINT_FORMAT_H
#define KLUTEIDA_TOOLS_POINT_FORMAT_H

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>

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
// Inline: the export calls it for every point.
class PointLineFormatter {
 public:
  PointLineFormatter();

  char* Format(int x, int y, int z, const unsigned char rgb[3], char* out) {
    out = Coordinates(x, y, z, out);
    if (rgb[0] == rgb[1] && rgb[1] == rgb[2]) return GreyEnd(rgb[0], out);
    return ColourEnd(rgb, out);
  }
  // The line of a point whose three colour bytes are v.
  char* FormatGrey(int x, int y, int z, unsigned char v, char* out) {
    return GreyEnd(v, Coordinates(x, y, z, out));
  }

 private:
  // A coordinate's text followed by its blank, at most 17 characters. The
  // key is the complement of the value, so that a slot of zero bytes holds
  // the key of -1, which only the last slot can be asked for.
  struct Entry {
    unsigned key;
    unsigned char length;
    char text[19];
  };
  static constexpr unsigned kSlots = 4096;  // per table, indexed by the low bits

  static void Fill(Entry& slot, int v);
  static char* Coordinate(Entry* table, int v, char* out) {
    Entry& slot = table[static_cast<unsigned>(v) & (kSlots - 1)];
    if (slot.key != ~static_cast<unsigned>(v)) Fill(slot, v);
    std::memcpy(out, slot.text, 16);
    out[16] = slot.text[16];
    return out + slot.length;
  }
  char* Coordinates(int x, int y, int z, char* out) {
    Entry* const x_table = tables_.get();
    return Coordinate(x_table + 2 * kSlots, z,
                      Coordinate(x_table + kSlots, y, Coordinate(x_table, x, out)));
  }
  // The line's end after the coordinates for each grey value, "v v v\n".
  struct GreyEnds {
    GreyEnds();
    char text[256][16];
    unsigned char length[256];
  };
  static const GreyEnds kGreyEnds;
  static char* GreyEnd(unsigned char v, char* out) {
    std::memcpy(out, kGreyEnds.text[v], 16);
    return out + kGreyEnds.length[v];
  }
  // "r g b\n".
  static char* ColourEnd(const unsigned char rgb[3], char* out);

  struct Free {
    void operator()(Entry* tables) const { std::free(tables); }
  };
  // The x, y and z tables in a row, from zeroed memory: a slot's page is
  // only touched once a value lands in it.
  std::unique_ptr<Entry[], Free> tables_;
};

#endif  // KLUTEIDA_TOOLS_POINT_FORMAT_H
