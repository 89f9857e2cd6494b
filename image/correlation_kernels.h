// Arithmetic kernels of the correlation engine: window normalisation, scores,
// the median of three band scores and the running winner, each for kLanes
// reference pixels at once. Every kernel exists in a plain form and in AVX2
// and AVX-512 forms; all of them give the same bits, because each lane does
// exactly the operations of the plain form in the same order (no
// reassociation, no fused multiply-add).
#ifndef KLUTEIDA_IMAGE_CORRELATION_KERNELS_H
#define KLUTEIDA_IMAGE_CORRELATION_KERNELS_H

#include <cstddef>

namespace correlation {

// Reference pixels handled together; also the chunk of disparities.
inline constexpr int kLanes = 8;
// Sets of pairs scored in one pass.
inline constexpr int kMaxSets = 3;

// Normalised windows of one image row, structure of arrays: element i
// (row-major) of window j is elems[i * stride + j], its deviation sigma[j].
struct WindowRowView {
  const double* elems;
  const double* sigma;
  size_t stride;
  int kk;  // elements of a window
};

// Raw windows of one image row with their means: element (r, c) of window j
// is rows[r][j + c], its normalised value that minus mean[j].
struct RawRowView {
  const double* const* rows;
  int k;
  const double* mean;
};

struct Kernels {
  // Windows j < count (a multiple of kLanes) whose element (r, c) is
  // strip[r * strip_stride + j + c]: each is normalised (its mean, the sum in
  // row-major order divided by k * k, is subtracted from every element) and
  // its deviation is sqrt(sum of squares in row-major order / (k * k)).
  void (*normalize)(const double* strip, size_t strip_stride, int k, size_t count, double* elems,
                    size_t stride, double* sigma);
  // For t < chunks * kLanes and l < kLanes:
  //   out[t * kLanes + l] = InnerProduct(B, A) / (sA * sB * divisor)
  // with A window a0 + l of `a` and B window b0 + t + l of `b`.
  void (*score)(const WindowRowView& a, size_t a0, const WindowRowView& b, size_t b0, int chunks,
                double divisor, double* out);
  // Scores of up to kMaxSets independent sets of kLanes pairs of raw
  // windows: in set s, window ai[s * kLanes + l] of a[s] against window
  // bi[s * kLanes + l] of b[s], into out[s * kLanes + l]. Each element is
  // normalised as it is read, and the deviations are summed in the same pass,
  // in the same order as above; the sets only share the pass.
  void (*raw_pairs)(const RawRowView* a, const RawRowView* b, int sets, const long long* ai,
                    const long long* bi, double divisor, double* out);
  // out[i] = Median(s0[i], s1[i], s2[i]) for i < count (a multiple of kLanes).
  void (*median3)(const double* s0, const double* s1, const double* s2, size_t count, double* out);
  // Continues the winner scan of kLanes curves over entries
  // curve[k * kLanes + l], k < count, whose curve indices are first + k: an
  // entry replaces best[l] (and index[l]) only when strictly greater.
  void (*scan)(const double* curve, int count, double first, double* best, double* index);
};

enum class KernelLevel { kPortable, kAvx2, kAvx512 };

// The highest level this processor runs.
KernelLevel BestKernelLevel();
// The kernels of a level; the caller makes sure the processor runs it.
const Kernels& KernelsFor(KernelLevel level);
// The kernels the engine uses: the best level unless SetKernelLevel chose one.
const Kernels& ActiveKernels();
KernelLevel ActiveKernelLevel();
// Chooses the level the engine uses (tests and benchmarks compare them).
// Returns false, changing nothing, for a level above BestKernelLevel().
bool SetKernelLevel(KernelLevel level);

}  // namespace correlation

#endif  // KLUTEIDA_IMAGE_CORRELATION_KERNELS_H
