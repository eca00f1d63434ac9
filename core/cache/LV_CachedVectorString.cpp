#include "core/cache/LV_CachedVectorString.h"

#include <algorithm>

#include "core/text/LV_Format.h"

namespace lv {

TLVRowIndex TLVCachedVectorString::MaxLength() const {
  size_t longest = 0;
  for (const TLVText& text : *this) {
    // A text cannot have more characters than bytes: skip the count when it
    // cannot win.
    if (text.View().size() > longest) longest = std::max(longest, Utf8Length(text.View()));
  }
  return static_cast<TLVRowIndex>(longest);
}

}  // namespace lv
