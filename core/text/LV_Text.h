// Reference-counted immutable UTF-8 texts.
//
// A TLVTextItem is a small header (reference count and length) followed by the
// bytes. Items made by TLVText::Make live on the heap and are freed with their last
// reference. Items placed by the row cache live inside the cache's row blocks: the
// cache holds one reference for as long as the block exists, and its clean-up thread
// returns a block only when no text in it has any other reference. Reference counts
// are atomic, so texts may be handed between threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "core/platform/LV_Bytes.h"

namespace lv {

struct TLVTextItem {
  static constexpr uint32_t kBlockOwned = 0x80000000u;

  std::atomic<int32_t> refCount;
  uint32_t lengthAndFlags;

  uint32_t Length() const { return lengthAndFlags & ~kBlockOwned; }
  bool BlockOwned() const { return (lengthAndFlags & kBlockOwned) != 0; }
  const char* Data() const { return reinterpret_cast<const char*>(this + 1); }
  char* Data() { return reinterpret_cast<char*>(this + 1); }
  std::string_view View() const { return {Data(), Length()}; }

  // Bytes an item of `length` characters takes, rounded so that the next item stays
  // aligned for its reference count.
  static constexpr size_t StorageSize(size_t length) {
    return (sizeof(TLVTextItem) + length + alignof(TLVTextItem) - 1) & ~(alignof(TLVTextItem) - 1);
  }
  // Constructs an item in caller-provided storage of StorageSize(text.size()) bytes.
  static TLVTextItem* Place(void* storage, std::string_view text, bool blockOwned) {
    auto* item = ::new (storage)
        TLVTextItem{{1}, static_cast<uint32_t>(text.size()) | (blockOwned ? kBlockOwned : 0u)};
    CopyShortBytes(item->Data(), text.data(), text.size());
    return item;
  }

  void AddRef() { refCount.fetch_add(1, std::memory_order_relaxed); }
  void Release();
};
static_assert(sizeof(TLVTextItem) == 8);

// The largest text a single value may hold.
inline constexpr size_t kLVMaxTextLength = 0x7FFFFFFFu;

// An owning handle to a text item (or to nothing, which reads as empty).
class TLVText {
 public:
  TLVText() = default;
  static TLVText Make(std::string_view text);
  // Shares an existing item: adds a reference.
  static TLVText Share(TLVTextItem* item) {
    if (item) item->AddRef();
    return TLVText(item);
  }

  TLVText(const TLVText& other) : item_(other.item_) {
    if (item_) item_->AddRef();
  }
  TLVText(TLVText&& other) noexcept : item_(std::exchange(other.item_, nullptr)) {}
  TLVText& operator=(TLVText other) noexcept {
    std::swap(item_, other.item_);
    return *this;
  }
  ~TLVText() {
    if (item_) item_->Release();
  }

  std::string_view View() const { return item_ ? item_->View() : std::string_view{}; }
  std::string Str() const { return std::string(View()); }
  const TLVTextItem* Item() const { return item_; }
  bool operator==(const TLVText& other) const { return View() == other.View(); }

 private:
  explicit TLVText(TLVTextItem* item) : item_(item) {}
  TLVTextItem* item_ = nullptr;
};

}  // namespace lv
