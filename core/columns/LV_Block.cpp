#include "core/columns/LV_Block.h"

#include <cassert>
#include <cstring>

#include "core/columns/LV_Value.h"

namespace lv {

namespace {
constexpr size_t kArenaChunk = 64 * 1024;
}

std::string_view TLVBlockArena::Store(std::string_view text) {
  if (text.empty()) return {};
  if (text.size() > capacity_ - used_) {
    size_t size = text.size() > kArenaChunk ? text.size() : kArenaChunk;
    chunks_.push_back(std::make_unique<char[]>(size));
    used_ = 0;
    capacity_ = size;
  }
  char* at = chunks_.back().get() + used_;
  std::memcpy(at, text.data(), text.size());
  used_ += text.size();
  return {at, text.size()};
}

void TLVBlockArena::Clear() {
  // Keep the newest chunk: most blocks need no more than one.
  if (chunks_.size() > 1) {
    auto last = std::move(chunks_.back());
    chunks_.clear();
    chunks_.push_back(std::move(last));
  }
  if (chunks_.empty() || capacity_ > kArenaChunk) {
    chunks_.clear();
    capacity_ = 0;
  }
  used_ = 0;
}

void TLVBlock::Reset(TLVDataType type, int32_t count) {
  assert(count >= 0 && count <= kLVBlockSize);
  constexpr auto n = static_cast<size_t>(kLVBlockSize);
  type_ = type;
  count_ = count;
  if (!valid_) valid_ = std::make_unique_for_overwrite<uint8_t[]>(n);
  switch (type) {
    case TLVDataType::dtInteger:
      if (!integers_) integers_ = std::make_unique_for_overwrite<int32_t[]>(n);
      break;
    case TLVDataType::dtString:
      if (!strings_) strings_ = std::make_unique<std::string_view[]>(n);
      arena_.Clear();
      break;
    default:
      if (!numbers_) numbers_ = std::make_unique_for_overwrite<double[]>(n);
      break;
  }
}

double TLVBlock::NumberAt(int32_t i) const {
  if (IsNull(i)) return LVMissing();
  switch (type_) {
    case TLVDataType::dtInteger:
      return integers_[static_cast<size_t>(i)];
    case TLVDataType::dtString:
    case TLVDataType::dtNone:
      return LVMissing();
    default:
      return numbers_[static_cast<size_t>(i)];
  }
}

}  // namespace lv
