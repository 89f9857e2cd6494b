// Rows of a correlation method spread over the correlation threads, with the
// progress text in row order.
#ifndef KLUTEIDA_IMAGE_CORRELATION_ROWS_H
#define KLUTEIDA_IMAGE_CORRELATION_ROWS_H

#include <functional>
#include <initializer_list>

#include "image/timage.h"

namespace correlation {

// Processes one row; each thread has its own, with its own buffers.
using RowWorker = std::function<void(long long y)>;

// The threads a method may use to write `out` from `inputs` (null entries are
// skipped): the count set for the library, or 1 when out's pixels share
// memory with an input's, since a row would then read what another wrote.
int ThreadsFor(const TImage& out, std::initializer_list<const TImage*> inputs);

// How ForEachRow spreads its rows.
struct RowPlan {
  long long begin = 0;  // rows [begin, end)
  long long end = 0;
  int period = 1;       // progress every `period` rows
  long long chunk = 1;  // rows handed out together, consecutive
  int threads = 1;
  // Called for every row in row order once it and the rows before are done,
  // always on the calling thread, while the others go on with later rows;
  // may be empty.
  std::function<void(long long y)> finish;
  // With `finish`: a row starts only when fewer than `window` rows before it
  // are unfinished (0: no limit), so that per-row buffers can be reused.
  long long window = 0;
};

// Runs the rows of `plan` through workers made by make_worker, called once by
// each thread used, one at a time, before its first row: a worker's buffers
// are then in its own thread's memory, away from the cache lines another
// thread writes. make_worker must not touch process-wide state. Rows are handed out in runs of
// plan.chunk consecutive rows, in increasing order; a worker sees the rows
// of a run in increasing order. PrintRow(y, period) is printed for every row
// in row order: before the row on one thread (as a plain loop would), as the
// rows are finished on several.
void ForEachRow(const RowPlan& plan, const std::function<RowWorker()>& make_worker);

// The same without a finishing step.
inline void ForEachRow(long long begin, long long end, int period, long long chunk, int threads,
                       const std::function<RowWorker()>& make_worker) {
  RowPlan plan;
  plan.begin = begin, plan.end = end, plan.period = period, plan.chunk = chunk;
  plan.threads = threads;
  ForEachRow(plan, make_worker);
}

}  // namespace correlation

#endif  // KLUTEIDA_IMAGE_CORRELATION_ROWS_H
