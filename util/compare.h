// Comparison functions for sorting pixel values (medians of windows).
#ifndef KLUTEIDA_UTIL_COMPARE_H
#define KLUTEIDA_UTIL_COMPARE_H

// 1 when *a > *b, -1 when *a < *b, else 0.
template <typename T>
int CompareT(const T* a, const T* b) {
  if (*a > *b) return 1;
  if (*a < *b) return -1;
  return 0;
}

// qsort comparators: ascending unsigned 8-bit and signed 16-bit values.
int CompareByte(void const* a, void const* b);
int CompareShort(void const* a, void const* b);

#endif  // KLUTEIDA_UTIL_COMPARE_H
