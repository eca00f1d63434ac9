// The clean-up buffer: where row blocks of the row cache wait until nothing points
// into them any more.
//
// A cache cannot free a closed or cleared row block at once, because values it handed
// out (TLVText of string cells) point into the block's text chunks. It hands the block
// over instead; a background thread walks the buffer every few seconds and returns a
// block to the system once none of its texts is referenced from outside (reference
// count above the cache's own 1).
//
// Threads: there is one buffer per process (Instance()), shared by all caches, which
// may live on different threads. Every public method is safe from any thread; the
// entries are guarded by one mutex, taken by the clean-up thread for a whole pass and
// by callers for each hand-over. Texts handed out by caches must not outlive
// Shutdown(): it frees whatever is still waiting.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "core/platform/LV_Platform.h"

namespace lv {

struct TLVTextItem;

// One row block as the cache gives it up: its records, the chunks its texts were
// placed in, and the texts that were overwritten while someone else still held them
// (no record points to those any more, but their holders still point into a chunk).
struct TLVRowBlockMemory {
  TLVPageBlock records;
  std::vector<TLVPageBlock> textChunks;
  std::vector<TLVTextItem*> replacedTexts;
  // Records in use at hand-over (the last block of a cache is usually not full).
  uint32_t rowCount = 0;

  size_t Bytes() const;
};

class TLVDataCacheCleanupBuffer {
 public:
  static constexpr std::chrono::milliseconds kDefaultInterval{3000};
  // The longest Shutdown() waits for a pass in progress.
  static constexpr std::chrono::milliseconds kShutdownWait{3500};

  static TLVDataCacheCleanupBuffer& Instance();

  // Separate buffers exist only for tests; the program uses Instance().
  TLVDataCacheCleanupBuffer();
  ~TLVDataCacheCleanupBuffer();
  TLVDataCacheCleanupBuffer(const TLVDataCacheCleanupBuffer&) = delete;
  TLVDataCacheCleanupBuffer& operator=(const TLVDataCacheCleanupBuffer&) = delete;

  // Takes over the blocks of one cache. `stringSlotOffsets` are the offsets of the flag
  // bytes of the string slots within a record of `recordSize` bytes; the slot's value
  // is a TLVTextItem* (nullptr for an empty text). Blocks that never received a text
  // are freed at once. Starts the clean-up thread on first use. If the hand-over
  // itself fails (out of memory) the blocks are leaked rather than freed, since texts
  // may still point into them.
  void Submit(std::vector<TLVRowBlockMemory> blocks, const std::vector<size_t>& stringSlotOffsets,
              size_t recordSize) noexcept;

  // Runs one clean-up pass on the calling thread (for tests and for callers that want
  // the memory back now).
  void RunPassNow();

  // Signals the thread to stop, raises its priority, waits at most kShutdownWait for
  // it, frees every remaining block and deletes the temporary data files. Returns false
  // when the thread did not finish in time: it is then left to finish on its own and
  // frees the blocks itself. The buffer may be used again afterwards (a new thread is
  // started on the next hand-over).
  bool Shutdown();

  // Deletes the "*.lvd" files directly inside TempFolder(); failures are ignored.
  void DeleteTemporaryFiles();

  // Folder of the cache's temporary data files; by default "Lumivera" under the
  // system's temporary folder.
  std::filesystem::path TempFolder() const;
  void SetTempFolder(std::filesystem::path folder);

  // Time between passes; applies from the next wait of the thread.
  void SetInterval(std::chrono::milliseconds interval);

  // Called under the lock before each entry of every pass, to make passes slow in
  // tests. Must not use the buffer itself.
  void SetPassHookForTesting(std::function<void()> hook);

  size_t EntryCount() const;
  // Bytes of records and text chunks waiting in the buffer.
  size_t HeldBytes() const;

 private:
  struct TState;
  static void ThreadMain(std::shared_ptr<TState> state) noexcept;
  static void RunPass(TState& state);
  static void FreeAll(TState& state) noexcept;

  mutable std::mutex controlMutex_;
  // The thread keeps its own reference, so a thread left behind by Shutdown() still
  // has its state after this object has moved on to a new one or been destroyed.
  std::shared_ptr<TState> state_;     // guarded by controlMutex_
  std::thread thread_;                // guarded by controlMutex_
  std::filesystem::path tempFolder_;  // guarded by controlMutex_
  // Settings carried over to the state of the next thread.
  std::function<void()> passHook_;  // guarded by controlMutex_
};

}  // namespace lv
