#include "core/cache/LV_DataCacheCleanup.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <condition_variable>
#include <cstring>
#include <system_error>

#include "core/text/LV_Text.h"

namespace lv {

size_t TLVRowBlockMemory::Bytes() const {
  size_t bytes = records.Bytes();
  for (const auto& chunk : textChunks) bytes += chunk.Bytes();
  return bytes;
}

namespace {

struct TEntry {
  TLVRowBlockMemory block;
  std::shared_ptr<const std::vector<size_t>> stringSlotOffsets;
  size_t recordSize = 0;
  // Until the first pass every record counts as alive; afterwards liveRows lists the
  // records that still held a referenced text at the last pass.
  bool scanned = false;
  std::vector<uint32_t> liveRows;
  bool dead = false;
};

}  // namespace

struct TLVDataCacheCleanupBuffer::TState {
  std::mutex mutex;
  std::vector<TEntry> entries;     // guarded by mutex
  std::function<void()> passHook;  // guarded by mutex
  // Written under mutex; atomics so that statistics never wait for a pass.
  std::atomic<size_t> entryCount{0};
  std::atomic<size_t> heldBytes{0};

  // Signalling between Shutdown() and the thread. Separate from `mutex` so that a
  // shutdown can time out while a pass holds the buffer.
  std::mutex signalMutex;
  std::condition_variable wakeCv;
  std::condition_variable finishedCv;
  std::atomic<bool> stop{false};  // set under signalMutex, read by passes without it
  bool finished = false;          // guarded by signalMutex
  std::atomic<int64_t> intervalMs{kDefaultInterval.count()};
};

namespace {

// Whether any string slot of the record holds a text someone besides the block holds.
bool RecordHoldsReferencedText(const uint8_t* record, const std::vector<size_t>& offsets) {
  for (size_t offset : offsets) {
    if (record[offset] == 0) continue;
    TLVTextItem* item;
    std::memcpy(&item, record + offset + 1, sizeof(item));
    // Acquire pairs with the release of the last outside reference: whatever its
    // holder did with the text happens before the block is freed.
    if (item && item->refCount.load(std::memory_order_acquire) > 1) return true;
  }
  return false;
}

// Narrows the entry to its records and replaced texts still in use; true if any are.
// The entry is unchanged if this throws.
bool ScanEntry(TEntry& entry) {
  const uint8_t* records = entry.block.records.Data();
  const std::vector<size_t>& offsets = *entry.stringSlotOffsets;
  std::vector<uint32_t> alive;
  auto check = [&](uint32_t row) {
    if (RecordHoldsReferencedText(records + row * entry.recordSize, offsets)) {
      alive.push_back(row);
    }
  };
  if (entry.scanned) {
    for (uint32_t row : entry.liveRows) check(row);
  } else {
    for (uint32_t row = 0; row < entry.block.rowCount; ++row) check(row);
  }
  entry.liveRows.swap(alive);
  entry.scanned = true;
  std::erase_if(entry.block.replacedTexts, [](const TLVTextItem* item) {
    return item->refCount.load(std::memory_order_acquire) <= 1;
  });
  return !entry.liveRows.empty() || !entry.block.replacedTexts.empty();
}

void DeleteDataFilesIn(const std::filesystem::path& folder) {
  if (folder.empty()) return;
  std::error_code error;
  std::filesystem::directory_iterator it(folder, error);
  if (error) return;
  for (; it != std::filesystem::directory_iterator(); it.increment(error)) {
    if (error) return;
    std::string extension = it->path().extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    std::error_code ignored;
    if (extension == ".lvd" && it->is_regular_file(ignored)) {
      std::filesystem::remove(it->path(), ignored);
    }
  }
}

std::filesystem::path DefaultTempFolder() {
  std::error_code error;
  std::filesystem::path system = std::filesystem::temp_directory_path(error);
  return error ? std::filesystem::path() : system / "Lumivera";
}

}  // namespace

TLVDataCacheCleanupBuffer& TLVDataCacheCleanupBuffer::Instance() {
  static TLVDataCacheCleanupBuffer instance;
  return instance;
}

TLVDataCacheCleanupBuffer::TLVDataCacheCleanupBuffer()
    : state_(std::make_shared<TState>()), tempFolder_(DefaultTempFolder()) {}

TLVDataCacheCleanupBuffer::~TLVDataCacheCleanupBuffer() {
  Shutdown();
}

void TLVDataCacheCleanupBuffer::Submit(std::vector<TLVRowBlockMemory> blocks,
                                       const std::vector<size_t>& stringSlotOffsets,
                                       size_t recordSize) noexcept {
  std::vector<TEntry> waiting;
  try {
    auto offsets = std::make_shared<const std::vector<size_t>>(stringSlotOffsets);
    waiting.reserve(blocks.size());
    size_t bytes = 0;
    for (auto& block : blocks) {
      // Nothing can point into a block that never received a text, so waiting would
      // only keep the memory longer.
      if (block.textChunks.empty()) {
        block = TLVRowBlockMemory{};
        continue;
      }
      bytes += block.Bytes();
      TEntry& entry = waiting.emplace_back();
      entry.block = std::move(block);
      entry.stringSlotOffsets = offsets;
      entry.recordSize = recordSize;
    }
    if (waiting.empty()) return;

    std::shared_ptr<TState> state;
    {
      std::lock_guard control(controlMutex_);
      state = state_;
      if (!thread_.joinable()) {
        try {
          thread_ = std::thread(ThreadMain, state);
        } catch (const std::system_error&) {
          // Without the thread the blocks wait for RunPassNow() or Shutdown().
        }
      }
    }
    std::lock_guard lock(state->mutex);
    state->entries.reserve(state->entries.size() + waiting.size());
    for (auto& entry : waiting) state->entries.push_back(std::move(entry));
    state->entryCount.store(state->entries.size());
    state->heldBytes.fetch_add(bytes);
  } catch (...) {
    for (auto& block : blocks) {
      block.records.Leak();
      for (auto& chunk : block.textChunks) chunk.Leak();
    }
    for (auto& entry : waiting) {
      entry.block.records.Leak();
      for (auto& chunk : entry.block.textChunks) chunk.Leak();
    }
  }
}

void TLVDataCacheCleanupBuffer::RunPass(TState& state) {
  std::vector<TLVRowBlockMemory> freed;
  {
    std::lock_guard lock(state.mutex);
    auto& entries = state.entries;
    freed.reserve(entries.size());
    // Dead entries are collected even when a pass stops early or the hook throws.
    struct TCollect {
      TState& state;
      std::vector<TLVRowBlockMemory>& freed;
      ~TCollect() {
        size_t bytes = 0;
        for (auto& entry : state.entries) {
          if (!entry.dead) continue;
          bytes += entry.block.Bytes();
          freed.push_back(std::move(entry.block));
        }
        std::erase_if(state.entries, [](const TEntry& entry) { return entry.dead; });
        state.entryCount.store(state.entries.size());
        state.heldBytes.fetch_sub(bytes);
      }
    } collect{state, freed};
    for (auto& entry : entries) {
      if (state.stop.load(std::memory_order_relaxed)) break;
      if (state.passHook) state.passHook();
      entry.dead = !ScanEntry(entry);
    }
  }
  // Pages go back to the system outside the lock: caches handing over blocks need not
  // wait for it.
  freed.clear();
}

void TLVDataCacheCleanupBuffer::FreeAll(TState& state) noexcept {
  std::vector<TEntry> all;
  {
    std::lock_guard lock(state.mutex);
    all.swap(state.entries);
    state.entryCount.store(0);
    state.heldBytes.store(0);
  }
}

void TLVDataCacheCleanupBuffer::ThreadMain(std::shared_ptr<TState> state) noexcept {
  for (;;) {
    {
      std::unique_lock lock(state->signalMutex);
      const std::chrono::milliseconds interval(state->intervalMs.load());
      if (state->wakeCv.wait_for(lock, interval, [&] { return state->stop.load(); })) break;
    }
    try {
      RunPass(*state);
    } catch (...) {
      // Out of memory while narrowing an entry: it stays as it was until next time.
    }
  }
  // Also when Shutdown() has given up waiting: the blocks are then ours to free.
  FreeAll(*state);
  {
    std::lock_guard lock(state->signalMutex);
    state->finished = true;
  }
  state->finishedCv.notify_all();
}

void TLVDataCacheCleanupBuffer::RunPassNow() {
  std::shared_ptr<TState> state;
  {
    std::lock_guard control(controlMutex_);
    state = state_;
  }
  RunPass(*state);
}

bool TLVDataCacheCleanupBuffer::Shutdown() {
  std::lock_guard control(controlMutex_);
  std::shared_ptr<TState> state = state_;
  bool finished = true;
  if (thread_.joinable()) {
    {
      std::lock_guard lock(state->signalMutex);
      state->stop.store(true);
    }
    state->wakeCv.notify_all();
    LVRaiseThreadPriority(thread_);
    {
      std::unique_lock lock(state->signalMutex);
      finished = state->finishedCv.wait_for(lock, kShutdownWait, [&] { return state->finished; });
    }
    // A thread that does not finish in time keeps `state` alive through its own
    // reference and frees the remaining blocks when its pass ends.
    if (finished) {
      thread_.join();
    } else {
      thread_.detach();
    }
  }
  if (finished) FreeAll(*state);

  auto fresh = std::make_shared<TState>();
  fresh->intervalMs.store(state->intervalMs.load());
  fresh->passHook = passHook_;
  state_ = std::move(fresh);
  DeleteDataFilesIn(tempFolder_);
  return finished;
}

void TLVDataCacheCleanupBuffer::DeleteTemporaryFiles() {
  std::filesystem::path folder = TempFolder();
  DeleteDataFilesIn(folder);
}

std::filesystem::path TLVDataCacheCleanupBuffer::TempFolder() const {
  std::lock_guard control(controlMutex_);
  return tempFolder_;
}

void TLVDataCacheCleanupBuffer::SetTempFolder(std::filesystem::path folder) {
  std::lock_guard control(controlMutex_);
  tempFolder_ = std::move(folder);
}

void TLVDataCacheCleanupBuffer::SetInterval(std::chrono::milliseconds interval) {
  std::lock_guard control(controlMutex_);
  state_->intervalMs.store(interval.count());
}

void TLVDataCacheCleanupBuffer::SetPassHookForTesting(std::function<void()> hook) {
  std::shared_ptr<TState> state;
  {
    std::lock_guard control(controlMutex_);
    passHook_ = hook;
    state = state_;
  }
  std::lock_guard lock(state->mutex);
  state->passHook = std::move(hook);
}

size_t TLVDataCacheCleanupBuffer::EntryCount() const {
  std::lock_guard control(controlMutex_);
  return state_->entryCount.load();
}

size_t TLVDataCacheCleanupBuffer::HeldBytes() const {
  std::lock_guard control(controlMutex_);
  return state_->heldBytes.load();
}

}  // namespace lv
