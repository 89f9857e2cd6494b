// Whether a file name names a TIFF file.
#ifndef KLUTEIDA_UTIL_TESTTIFF_H
#define KLUTEIDA_UTIL_TESTTIFF_H

// 1 when the text from the name's last '.' begins with ".tif" (so ".tiff" and
// ".tifx" count too), else 0; case-sensitive; a name without '.' gives 0.
int TestTiff(const char* name);

#endif  // KLUTEIDA_UTIL_TESTTIFF_H
