#include "geometry/tpointimg.h"

int TPointImg::Read(std::FILE* stream) {
  int column = 0;
  int row = 0;
  const int converted = std::fscanf(stream, "%d%d", &column, &row);
  if (converted == EOF) return 0;
  if (converted == 2) {
    x = column;
    y = row;
  }
  return 1;
}
