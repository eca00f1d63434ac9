#include "core/LV_RowParts.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace lv {

namespace {

constexpr TLVRowIndex kDefaultMinRowsPerPart = TLVRowIndex{1} << 17;
constexpr int kMaxParts = 8;
// How often the caller's progress is reported while it waits for the other parts.
constexpr std::chrono::milliseconds kReportInterval{50};

std::atomic<TLVRowIndex> minRowsPerPart{kDefaultMinRowsPerPart};

// What the parts of one job share.
struct TJobState {
  std::atomic<TLVRowIndex> done{0};
  std::atomic<bool> stop{false};
  std::mutex mutex;
  std::condition_variable finished;
  int running = 0;                 // guarded by mutex: helper parts still running
  std::exception_ptr error;        // guarded by mutex: the first error of a helper part

  void Fail(std::exception_ptr e) {
    std::lock_guard lock(mutex);
    if (!error) error = std::move(e);
    stop = true;
  }
};

// Joins the helper threads however the caller's part ends.
class TJoiner {
 public:
  TJoiner(std::vector<std::thread>& threads, TJobState& state) : threads_(threads), state_(state) {}
  ~TJoiner() {
    state_.stop = true;
    for (std::thread& thread : threads_) {
      if (thread.joinable()) thread.join();
    }
  }
  TJoiner(const TJoiner&) = delete;
  TJoiner& operator=(const TJoiner&) = delete;

 private:
  std::vector<std::thread>& threads_;
  TJobState& state_;
};

}  // namespace

TLVRowIndex LVMinRowsPerPart() {
  return minRowsPerPart.load(std::memory_order_relaxed);
}

void LVSetMinRowsPerPart(TLVRowIndex rows) {
  minRowsPerPart.store(std::max<TLVRowIndex>(rows, 1), std::memory_order_relaxed);
}

int LVRowPartCount(TLVRowIndex total) {
  const auto cores = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u,
                                                 static_cast<unsigned>(kMaxParts)));
  const TLVRowIndex bySize = total / LVMinRowsPerPart();
  return static_cast<int>(std::clamp<TLVRowIndex>(bySize, 1, cores));
}

void LVForBlocksInParts(int parts, TLVRowIndex total, TLVProgressScope& progress,
                        const std::function<void(int, TLVRowIndex, int32_t)>& block) {
  parts = std::max(parts, 1);
  // Part boundaries fall on whole blocks, so the blocks are those of a single pass.
  const TLVRowIndex blocks = (total + kLVBlockSize - 1) / kLVBlockSize;
  auto partBegin = [&](int part) {
    return std::min(total, blocks * part / parts * kLVBlockSize);
  };
  TJobState state;
  auto runPart = [&](int part, bool report) {
    const TLVRowIndex end = partBegin(part + 1);
    for (TLVRowIndex first = partBegin(part); first < end && !state.stop; first += kLVBlockSize) {
      const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, end - first));
      block(part, first, count);
      const TLVRowIndex done = state.done.fetch_add(count, std::memory_order_relaxed) + count;
      if (report) progress.Step(done);
    }
  };

  std::vector<std::thread> threads;
  threads.reserve(static_cast<size_t>(parts - 1));
  TJoiner joiner(threads, state);
  for (int part = 1; part < parts; ++part) {
    {
      std::lock_guard lock(state.mutex);
      ++state.running;
    }
    try {
      threads.emplace_back([&state, &runPart, part] {
      try {
        runPart(part, false);
      } catch (...) {
        state.Fail(std::current_exception());
      }
      std::lock_guard lock(state.mutex);
      --state.running;
      state.finished.notify_all();
    });
    } catch (...) {
      std::lock_guard lock(state.mutex);
      --state.running;
      throw;
    }
  }
  runPart(0, true);
  if (parts == 1) return;
  // The caller keeps reporting (and may cancel) until the other parts are done.
  bool finished = false;
  while (!finished) {
    {
      std::unique_lock lock(state.mutex);
      finished = state.finished.wait_for(lock, kReportInterval, [&] { return state.running == 0; });
      if (state.error) std::rethrow_exception(state.error);
    }
    progress.Step(state.done.load(std::memory_order_relaxed));
  }
}

}  // namespace lv
