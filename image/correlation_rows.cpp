#include "image/correlation_rows.h"

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "image/correlation_engine.h"
#include "image/tdispimage.h"

namespace {

std::atomic<int> chosen_threads{0};  // 0: the default

int AvailableProcessors() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) == 0) return std::max(1, CPU_COUNT(&set));
  return static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
}

// Whether the bytes of two images overlap.
bool Shares(const TImage& a, const TImage& b) {
  if (a.data == nullptr || b.data == nullptr) return false;
  const auto bytes = [](const TImage& im) {
    return static_cast<size_t>(im.width) * im.height * im.frames *
           static_cast<size_t>(im.BytesPerPixel());
  };
  const unsigned char* a_end = a.data + bytes(a);
  const unsigned char* b_end = b.data + bytes(b);
  return a.data < b_end && b.data < a_end;
}

}  // namespace

void SetCorrelationThreads(int threads) { chosen_threads = std::max(0, threads); }

int CorrelationThreads() {
  const int n = chosen_threads;
  return n > 0 ? n : AvailableProcessors();
}

namespace correlation {

int ThreadsFor(const TImage& out, std::initializer_list<const TImage*> inputs) {
  for (const TImage* in : inputs)
    if (in != nullptr && (in == &out || Shares(out, *in))) return 1;
  return CorrelationThreads();
}

void ForEachRow(const RowPlan& plan, const std::function<RowWorker()>& make_worker) {
  const long long begin = plan.begin, end = plan.end;
  if (end <= begin) return;
  const long long chunk = std::max(1LL, plan.chunk);
  const long long runs = (end - begin + chunk - 1) / chunk;
  const int threads = static_cast<int>(std::min<long long>(std::max(1, plan.threads), runs));
  const long long window = plan.finish && plan.window > 0 ? plan.window : end - begin;
  if (threads == 1) {
    const RowWorker work = make_worker();
    for (long long y = begin; y < end; ++y) {
      PrintRow(static_cast<int>(y), plan.period);
      work(y);
      if (plan.finish) plan.finish(y);
    }
    return;
  }

  std::mutex mutex;
  std::condition_variable finished_more;  // rows were finished, or a failure
  std::condition_variable row_done;       // a helper did a row, or a failure
  long long next_run = 0;
  std::vector<char> done(static_cast<size_t>(end - begin), 0);
  long long finished = begin;  // rows before this one are finished and printed
  std::exception_ptr failure;
  const auto fail = [&]() {
    std::lock_guard<std::mutex> lock(mutex);
    if (!failure) failure = std::current_exception();
    finished_more.notify_all();
    row_done.notify_all();
  };
  // The rows [first, last) on `work`, each marked done; without a finishing
  // step, the rows ready are printed at once.
  const auto run_rows = [&](const RowWorker& work, long long first, long long last) {
    for (long long y = first; y < last; ++y) {
      work(y);
      std::lock_guard<std::mutex> lock(mutex);
      done[static_cast<size_t>(y - begin)] = 1;
      if (plan.finish) {
        row_done.notify_all();
        continue;
      }
      for (; finished < end && done[static_cast<size_t>(finished - begin)]; ++finished)
        PrintRow(static_cast<int>(finished), plan.period);
      finished_more.notify_all();
    }
  };
  // A helper takes runs in order, waiting until the window lets them start.
  const auto helper = [&]() {
    try {
      RowWorker work;
      {
        std::lock_guard<std::mutex> lock(mutex);
        work = make_worker();
      }
      for (;;) {
        long long first;
        {
          std::unique_lock<std::mutex> lock(mutex);
          if (next_run == runs || failure) return;
          first = begin + next_run++ * chunk;
          finished_more.wait(lock, [&] { return first < finished + window || failure; });
          if (failure) return;
        }
        run_rows(work, first, std::min(first + chunk, end));
      }
    } catch (...) {
      fail();
    }
  };
  // With a finishing step, the calling thread alone finishes the rows, in
  // order, and does rows of its own while none is ready. Its list and
  // allocations then stay in one thread, and the finishing step never waits
  // for the lock of a helper.
  const auto caller = [&]() {
    try {
      RowWorker work;
      {
        std::lock_guard<std::mutex> lock(mutex);
        work = make_worker();
      }
      std::unique_lock<std::mutex> lock(mutex);
      while (finished < end && !failure) {
        if (done[static_cast<size_t>(finished - begin)]) {
          const long long row = finished;
          lock.unlock();
          PrintRow(static_cast<int>(row), plan.period);
          plan.finish(row);
          lock.lock();
          ++finished;
          finished_more.notify_all();
        } else if (next_run < runs && begin + next_run * chunk < finished + window) {
          // Never waits for the window: only this thread moves it.
          const long long first = begin + next_run++ * chunk;
          lock.unlock();
          run_rows(work, first, std::min(first + chunk, end));
          lock.lock();
        } else {
          // The row to finish is a helper's, under way.
          row_done.wait(lock);
        }
      }
    } catch (...) {
      fail();
    }
  };
  std::vector<std::thread> helpers;
  try {
    for (int t = 1; t < threads; ++t) helpers.emplace_back(helper);
  } catch (const std::system_error&) {
    // Fewer threads than asked for: the others take the remaining rows.
  }
  if (plan.finish)
    caller();
  else
    helper();
  for (std::thread& h : helpers) h.join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace correlation
