// Small byte window with a text file form, compared by the correlation engine.
#ifndef KLUTEIDA_IMAGE_TMASK_H
#define KLUTEIDA_IMAGE_TMASK_H

#include <cstdio>

class TMask {
 public:
  int nCols;
  int nRows;
  unsigned char* elem;  // nRows x nCols bytes, row by row

  TMask(int rows, int cols);
  // Reads a mask file: rows, columns, then rows x columns integers (low 8 bits
  // kept). A file that cannot be opened prints "Failed opening <name>" and ends
  // the process (-1).
  explicit TMask(const char* name);
  ~TMask();
  TMask(const TMask&) = delete;
  TMask& operator=(const TMask&) = delete;

  void Load(std::FILE* f);
  int And(const TMask& other) const;  // positions where both bytes are non-zero
  void Dump(std::FILE* f) const;      // "%4d " per element, "\n" per row

 private:
  // Replaces the buffer with an uncleared one of rows x cols bytes; a size
  // that is negative, beyond an int or cannot be allocated gives an empty mask.
  void Allocate(int rows, int cols);
};

#endif  // KLUTEIDA_IMAGE_TMASK_H
