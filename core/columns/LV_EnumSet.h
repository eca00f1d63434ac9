// A set of values of one enumeration (up to 32 values), as the settings that say
// "which scopes", "which properties" are persisted: a value type, cheap to copy.
#pragma once

#include <cstdint>
#include <initializer_list>

namespace lv {

template <class E>
class TLVEnumSet {
 public:
  constexpr TLVEnumSet() = default;
  constexpr TLVEnumSet(std::initializer_list<E> items) {
    for (auto item : items) Include(item);
  }
  constexpr void Include(E value) { bits_ |= Bit(value); }
  constexpr void Exclude(E value) { bits_ &= ~Bit(value); }
  constexpr bool Contains(E value) const { return (bits_ & Bit(value)) != 0; }
  constexpr bool Empty() const { return bits_ == 0; }
  // The values of both sets.
  constexpr TLVEnumSet operator&(TLVEnumSet other) const {
    TLVEnumSet result;
    result.bits_ = bits_ & other.bits_;
    return result;
  }
  friend constexpr bool operator==(TLVEnumSet, TLVEnumSet) = default;

 private:
  static constexpr uint32_t Bit(E value) { return uint32_t{1} << static_cast<unsigned>(value); }
  uint32_t bits_ = 0;
};

}  // namespace lv
