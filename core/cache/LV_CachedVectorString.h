// Vectors of texts. Each element holds one reference to a shared TLVText item, which
// it releases when it is overwritten, deleted, dropped by SetCount or Clear, or when
// the vector dies. An element without an item (the blank of new elements) is a
// missing value; TLVText::Make("") is an empty but present text.
#pragma once

#include <string_view>

#include "core/cache/LV_CachedVector.h"
#include "core/text/LV_Text.h"

namespace lv {

class TLVCachedVectorString : public TLVCachedVector<TLVText> {
 public:
  using TLVCachedVector<TLVText>::Add;
  using TLVCachedVector<TLVText>::Insert;
  using TLVCachedVector<TLVText>::Set;

  TLVRowIndex Add(std::string_view text) { return Add(TLVText::Make(text)); }
  void Insert(TLVRowIndex index, std::string_view text) { Insert(index, TLVText::Make(text)); }
  void Set(TLVRowIndex index, std::string_view text) { Set(index, TLVText::Make(text)); }
  void SetMissing(TLVRowIndex index) { Set(index, TLVText()); }

  // Valid while the element keeps its text.
  std::string_view View(TLVRowIndex index) const { return Get(index).View(); }
  bool IsMissing(TLVRowIndex index) const { return Get(index).Item() == nullptr; }
  TLVRowIndex MissingCount() const {
    return CountIf([](const TLVText& t) { return t.Item() == nullptr; });
  }
  // Length of the longest text in characters (code points), as column sizes count.
  TLVRowIndex MaxLength() const;
};

}  // namespace lv
