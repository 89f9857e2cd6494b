// Integer arithmetic that wraps around instead of overflowing, for the point
// types. Going through unsigned keeps it defined for every input.
#ifndef KLUTEIDA_GEOMETRY_WRAPINT_H
#define KLUTEIDA_GEOMETRY_WRAPINT_H

namespace geometry_detail {

inline int WrapAdd(int a, int b) {
  return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}
inline int WrapSub(int a, int b) {
  return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}
inline int WrapMul(int a, int b) {
  return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}
inline int WrapNeg(int a) { return static_cast<int>(0u - static_cast<unsigned>(a)); }
// Truncates toward zero. The one overflowing quotient, INT_MIN / -1, wraps to
// INT_MIN; a divisor of 0 leaves the dividend as it is.
inline int TruncDiv(int a, int k) {
  if (k == 0) return a;
  if (k == -1) return WrapNeg(a);
  return a / k;
}

// Floating-point components need no care.
template <class T>
T WrapAdd(T a, T b) {
  return a + b;
}
template <class T>
T WrapSub(T a, T b) {
  return a - b;
}
template <class T>
T WrapMul(T a, T b) {
  return a * b;
}
template <class T>
T WrapNeg(T a) {
  return -a;
}
template <class T>
T TruncDiv(T a, T k) {
  return a / k;
}

}  // namespace geometry_detail

#endif  // KLUTEIDA_GEOMETRY_WRAPINT_H
