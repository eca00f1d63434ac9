// Operating-system services the core needs and the C++ library does not give: large
// page-aligned blocks of memory straight from the system, a best-effort raise of a
// thread's priority, and the process's resident memory for benchmarks.
//
// Everything here is safe to call from any thread. A TLVPageBlock is owned by one
// object at a time and returns its pages to the system when destroyed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <thread>
#include <utility>

namespace lv {

// The system's page size (4 KiB on the usual machines).
size_t LVPageSize();

// `bytes` rounded up to whole pages.
size_t LVRoundToPages(size_t bytes);

// Zero-filled, page-aligned memory of LVRoundToPages(bytes) bytes. Pages take physical
// memory only once touched. Throws std::bad_alloc when the system refuses.
void* LVAllocPages(size_t bytes);
// Has the system map `bytes` of memory from LVAllocPages now, in one call, rather than
// page by page at the first write to each: for memory about to be filled whole, it
// saves most of the system's work per page. Best effort: where the system cannot, the
// pages are mapped when first written, as usual.
void LVPrefaultPages(void* memory, size_t bytes) noexcept;
// Returns memory from LVAllocPages; `bytes` is the size it was asked for.
void LVFreePages(void* memory, size_t bytes) noexcept;
// Gives back the pages of memory from LVAllocPages (`bytes` long) after its first `keep`
// bytes (whole pages) and returns the bytes it still holds: `keep`, or `bytes` where the
// system can only give back a whole allocation (Windows), which is then kept.
size_t LVTrimPages(void* memory, size_t bytes, size_t keep) noexcept;

// A run of pages owned like a unique_ptr.
class TLVPageBlock {
 public:
  TLVPageBlock() = default;
  explicit TLVPageBlock(size_t bytes)
      : data_(static_cast<uint8_t*>(LVAllocPages(bytes))), bytes_(LVRoundToPages(bytes)) {}
  TLVPageBlock(TLVPageBlock&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}
  TLVPageBlock& operator=(TLVPageBlock&& other) noexcept {
    if (this != &other) {
      Reset();
      data_ = std::exchange(other.data_, nullptr);
      bytes_ = std::exchange(other.bytes_, 0);
    }
    return *this;
  }
  TLVPageBlock(const TLVPageBlock&) = delete;
  TLVPageBlock& operator=(const TLVPageBlock&) = delete;
  ~TLVPageBlock() { Reset(); }

  uint8_t* Data() const { return data_; }
  // The size actually taken from the system (whole pages).
  size_t Bytes() const { return bytes_; }
  explicit operator bool() const { return data_ != nullptr; }

  void Reset() noexcept {
    if (data_) LVFreePages(data_, bytes_);
    data_ = nullptr;
    bytes_ = 0;
  }
  // Gives back the pages after the first `keep` bytes (see LVTrimPages).
  void TrimTo(size_t keep) noexcept {
    if (data_ && keep < bytes_) bytes_ = LVTrimPages(data_, bytes_, keep);
  }
  // Forgets the pages without returning them: for the rare case where something that
  // cannot be tracked any more may still point into them.
  void Leak() noexcept {
    data_ = nullptr;
    bytes_ = 0;
  }

 private:
  uint8_t* data_ = nullptr;
  size_t bytes_ = 0;
};

// Asks the system to run `thread` at the highest priority it will grant. Best effort:
// without the needed rights nothing changes and false is returned.
bool LVRaiseThreadPriority(std::thread& thread) noexcept;

// Bytes of the process currently resident in physical memory; 0 where unknown.
size_t LVResidentBytes() noexcept;

}  // namespace lv
