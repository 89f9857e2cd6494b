// Minimum and maximum, and overlap of intervals and of boxes.
#ifndef KLUTEIDA_GEOMETRY_OVERLAP_H
#define KLUTEIDA_GEOMETRY_OVERLAP_H

// These live in the global namespace on purpose. Qualified std::min and
// std::max are unaffected; code that says `using std::min;` in a scope sees
// only the standard one there.

// a when a <= b, else b.
template <class T>
T min(T a, T b) {
  return a <= b ? a : b;
}
// a when b < a, else b.
template <class T>
T max(T a, T b) {
  return b < a ? a : b;
}
inline int min(int a, int b) { return a <= b ? a : b; }
inline int max(int a, int b) { return b < a ? a : b; }

// 1 when v lies in the closed interval spanned by a and b, in either order.
template <class T>
unsigned char Overlap(T a, T b, T v) {
  return ::min(a, b) <= v && v <= ::max(a, b);
}

// 1 when the closed intervals spanned by (a1, a2) and (b1, b2) meet.
template <class T>
unsigned char MutualOverlap(T a1, T a2, T b1, T b2) {
  return Overlap(a1, a2, b1) || Overlap(a1, a2, b2) || Overlap(b1, b2, a1) || Overlap(b1, b2, a2);
}

// 1 when the boxes with corners (a1, a2) and (b1, b2) overlap in x and y. A 3D
// point type is compared in plan only: the heights are not looked at.
template <class P>
unsigned char BoxOverlap(const P& a1, const P& a2, const P& b1, const P& b2) {
  return MutualOverlap(a1.x, a2.x, b1.x, b2.x) && MutualOverlap(a1.y, a2.y, b1.y, b2.y);
}

#endif  // KLUTEIDA_GEOMETRY_OVERLAP_H
