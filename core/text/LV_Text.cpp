#include "core/text/LV_Text.h"

#include <cstdlib>
#include <new>

namespace lv {

void TLVTextItem::Release() {
  // Block-owned items are never freed here: their block still holds a reference.
  if (refCount.fetch_sub(1, std::memory_order_acq_rel) == 1 && !BlockOwned()) {
    std::free(this);
  }
}

TLVText TLVText::Make(std::string_view text) {
  if (text.size() > kLVMaxTextLength) throw std::bad_alloc();
  void* storage = std::malloc(TLVTextItem::StorageSize(text.size()));
  if (!storage) throw std::bad_alloc();
  return TLVText(TLVTextItem::Place(storage, text, false));
}

}  // namespace lv
