#include "core/platform/LV_RowParts.h"

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

// One job: its parts, the stop flag they share, and the helper threads, which are
// joined however the job ends.
class TJob {
 public:
  TJob(int parts, const TLVPartFn& part, const std::function<void()>& waiting)
      : parts_(parts), part_(part), waiting_(waiting) {}
  ~TJob() {
    stop_ = true;
    for (std::thread& thread : threads_) thread.join();
  }
  TJob(const TJob&) = delete;
  TJob& operator=(const TJob&) = delete;

  void Run() {
    threads_.reserve(static_cast<size_t>(parts_ - 1));
    for (int part = 1; part < parts_; ++part) StartHelper(part);
    part_(0, stop_);
    if (parts_ > 1) AwaitHelpers();
  }

 private:
  void StartHelper(int part) {
    std::lock_guard lock(mutex_);
    threads_.emplace_back([this, part] {
      try {
        part_(part, stop_);
      } catch (...) {
        Fail(std::current_exception());
      }
      std::lock_guard lock(mutex_);
      --running_;
      finished_.notify_all();
    });
    ++running_;  // counted only once the thread exists; it waits for the lock first
  }

  void Fail(std::exception_ptr error) {
    std::lock_guard lock(mutex_);
    if (!error_) error_ = std::move(error);
    stop_ = true;
  }

  // The caller keeps reporting (and may cancel) until the helpers are done.
  void AwaitHelpers() {
    bool finished = false;
    while (!finished) {
      {
        std::unique_lock lock(mutex_);
        finished = finished_.wait_for(lock, kReportInterval, [&] { return running_ == 0; });
        if (error_) std::rethrow_exception(error_);
      }
      if (waiting_) waiting_();
    }
  }

  const int parts_;
  const TLVPartFn& part_;
  const std::function<void()>& waiting_;
  std::vector<std::thread> threads_;
  std::atomic<bool> stop_{false};
  std::mutex mutex_;
  std::condition_variable finished_;
  int running_ = 0;            // guarded by mutex_: helpers still running
  std::exception_ptr error_;   // guarded by mutex_: the first error of a helper
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

void LVRunInParts(int parts, const TLVPartFn& part, const std::function<void()>& waiting) {
  TJob(std::max(parts, 1), part, waiting).Run();
}

void LVForBlocksInParts(int parts, TLVRowIndex total, TLVProgressScope& progress,
                        const std::function<void(int, TLVRowIndex, int32_t)>& block) {
  parts = std::max(parts, 1);
  // Part boundaries fall on whole blocks, so the blocks are those of a single pass.
  const TLVRowIndex blocks = (total + kLVBlockSize - 1) / kLVBlockSize;
  const auto begin = [&](int part) { return std::min(total, blocks * part / parts * kLVBlockSize); };
  std::atomic<TLVRowIndex> done{0};
  LVRunInParts(
      parts,
      [&](int part, const std::atomic<bool>& stop) {
        const TLVRowIndex end = begin(part + 1);
        for (TLVRowIndex first = begin(part); first < end && !stop; first += kLVBlockSize) {
          const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, end - first));
          block(part, first, count);
          const TLVRowIndex rows = done.fetch_add(count, std::memory_order_relaxed) + count;
          if (part == 0) progress.Step(rows);
        }
      },
      [&] { progress.Step(done.load(std::memory_order_relaxed)); });
}

}  // namespace lv
