// The growable array under every typed value vector (LV_CachedVector*.h).
//
// A TLVCachedVector owns its elements in one raw block with an explicit count and
// capacity. The capacity follows our own growth rule (LVVectorGrowthStep) rather than
// the standard library's, so that memory use is predictable and the reported capacity
// is exact. Every indexed access is checked and raises ELVError; data() and the
// iterators are the unchecked way for hot loops. Growing or shrinking the capacity
// moves the elements, so it invalidates pointers and references into the vector.
// A vector is not guarded: one thread at a time.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

#include "core/columns/LV_Block.h"

namespace lv {

// How much a full vector of `capacity` elements grows on its next append. Large
// vectors grow by a quarter, so appends stay amortised constant without doubling the
// footprint; small ones grow by a fixed few elements.
constexpr TLVRowIndex LVVectorGrowthStep(TLVRowIndex capacity) {
  if (capacity > 64) return capacity / 4;
  if (capacity < 9) return 4;
  return 16;
}

// The failures of the vectors, kept out of line: they are the cold path.
[[noreturn]] void LVRaiseVectorIndexError(TLVRowIndex index, TLVRowIndex last);
[[noreturn]] void LVRaiseVectorCountError(TLVRowIndex count);
[[noreturn]] void LVRaiseVectorCapacityError(TLVRowIndex capacity, TLVRowIndex count);
[[noreturn]] void LVRaiseVectorLinkError(TLVRowIndex row, TLVRowIndex last);

inline void LVCheckVectorIndex(TLVRowIndex index, TLVRowIndex count) {
  if (index < 0 || index >= count) [[unlikely]] {
    LVRaiseVectorIndexError(index, count - 1);
  }
}

// Registers the message keys of the vectors with the text table.
void RegisterCachedVectorTexts();

template <class T>
class TLVCachedVector {
  // Growth moves elements into the new block; a move that could throw would leave
  // the vector half-moved.
  static_assert(std::is_nothrow_move_constructible_v<T> && std::is_nothrow_move_assignable_v<T>);

 public:
  using value_type = T;

  // Counts beyond this are refused before any allocation, which also keeps
  // count + step clear of overflow.
  static constexpr TLVRowIndex kMaxCount =
      static_cast<TLVRowIndex>(PTRDIFF_MAX / 2 / static_cast<std::ptrdiff_t>(sizeof(T)));

  // `blank` is what SetCount puts into new elements: the type's missing value where
  // it has one.
  explicit TLVCachedVector(T blank = T{}) : blank_(std::move(blank)) {}

  // A copy holds exactly the source's elements: its capacity equals its count.
  TLVCachedVector(const TLVCachedVector& other) : blank_(other.blank_) {
    if (other.count_ == 0) return;
    T* fresh = Allocate(other.count_);
    try {
      std::uninitialized_copy_n(other.data_, other.count_, fresh);
    } catch (...) {
      Deallocate(fresh, other.count_);
      throw;
    }
    data_ = fresh;
    count_ = capacity_ = other.count_;
  }
  TLVCachedVector(TLVCachedVector&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)),
        count_(std::exchange(other.count_, 0)),
        capacity_(std::exchange(other.capacity_, 0)),
        blank_(other.blank_) {}
  TLVCachedVector& operator=(TLVCachedVector other) noexcept {
    Swap(other);
    return *this;
  }
  ~TLVCachedVector() { Release(); }

  void Swap(TLVCachedVector& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(count_, other.count_);
    std::swap(capacity_, other.capacity_);
    std::swap(blank_, other.blank_);
  }

  TLVRowIndex Count() const { return count_; }
  TLVRowIndex Capacity() const { return capacity_; }
  bool Empty() const { return count_ == 0; }
  const T& Blank() const { return blank_; }

  // Shrinking drops (destroys) the elements beyond the new count first. Raising the
  // count above the capacity grows the capacity to the new count plus its step; new
  // elements are copies of the blank value.
  void SetCount(TLVRowIndex count) {
    if (count < 0 || count > kMaxCount) LVRaiseVectorCountError(count);
    if (count < count_) {
      std::destroy(data_ + count, data_ + count_);
    } else if (count > count_) {
      if (count > capacity_) Reallocate(count + LVVectorGrowthStep(count));
      std::uninitialized_fill(data_ + count_, data_ + count, blank_);
    }
    count_ = count;
  }

  // Sets the capacity exactly; it may not fall below the count.
  void SetCapacity(TLVRowIndex capacity) {
    if (capacity < count_ || capacity > kMaxCount) LVRaiseVectorCapacityError(capacity, count_);
    if (capacity != capacity_) Reallocate(capacity);
  }

  // Appends one value and returns its index. Taking the value by copy keeps
  // v.Add(v[0]) safe when the append moves the elements.
  TLVRowIndex Add(T value) {
    if (count_ == capacity_) Reallocate(GrownCapacity(count_ + 1));
    std::construct_at(data_ + count_, std::move(value));
    return count_++;
  }

  // Appends many values; the capacity grows as if they were added one by one.
  // The values may come from this vector itself.
  void Append(std::span<const T> values) {
    const auto n = static_cast<TLVRowIndex>(values.size());
    if (n == 0) return;
    if (n > kMaxCount - count_) LVRaiseVectorCountError(count_ + std::min(n, kMaxCount));
    if (count_ + n <= capacity_) {
      std::uninitialized_copy(values.begin(), values.end(), data_ + count_);
    } else {
      // The new values are copied before the old block goes, so they may alias it.
      const TLVRowIndex capacity = GrownCapacity(count_ + n);
      T* fresh = Allocate(capacity);
      try {
        std::uninitialized_copy(values.begin(), values.end(), fresh + count_);
      } catch (...) {
        Deallocate(fresh, capacity);
        throw;
      }
      Adopt(fresh, capacity);
    }
    count_ += n;
  }

  // Inserts before `index` (0..Count); later elements move up by one.
  void Insert(TLVRowIndex index, T value) {
    if (index < 0 || index > count_) LVRaiseVectorIndexError(index, count_);
    if (count_ == capacity_) Reallocate(GrownCapacity(count_ + 1));
    if (index == count_) {
      std::construct_at(data_ + count_, std::move(value));
    } else {
      std::construct_at(data_ + count_, std::move(data_[count_ - 1]));
      std::move_backward(data_ + index, data_ + count_ - 1, data_ + count_);
      data_[index] = std::move(value);
    }
    ++count_;
  }

  // Removes `n` elements starting at `index`; later elements move down. The
  // capacity stays.
  void Delete(TLVRowIndex index, TLVRowIndex n = 1) {
    if (n < 0) LVRaiseVectorCountError(n);
    if (n == 0) return;
    LVCheckVectorIndex(index, count_);
    if (n > count_ - index) LVRaiseVectorIndexError(count_, count_ - 1);
    std::move(data_ + index + n, data_ + count_, data_ + index);
    std::destroy(data_ + count_ - n, data_ + count_);
    count_ -= n;
  }

  // Drops every element and frees the storage.
  void Clear() { Release(); }

  T& operator[](TLVRowIndex index) {
    LVCheckVectorIndex(index, count_);
    return data_[index];
  }
  const T& operator[](TLVRowIndex index) const {
    LVCheckVectorIndex(index, count_);
    return data_[index];
  }
  const T& Get(TLVRowIndex index) const { return (*this)[index]; }
  void Set(TLVRowIndex index, T value) { (*this)[index] = std::move(value); }

  // Index of the first element equal to `value`, or -1.
  TLVRowIndex IndexOf(const T& value) const requires std::equality_comparable<T> {
    const T* at = std::find(data_, data_ + count_, value);
    return at == data_ + count_ ? -1 : at - data_;
  }

  template <class Pred>
  TLVRowIndex CountIf(Pred pred) const {
    return static_cast<TLVRowIndex>(std::count_if(data_, data_ + count_, pred));
  }

  // Unchecked access for hot loops, in the standard library's spelling so that the
  // vector also works with std::span and range-for.
  T* data() { return data_; }
  const T* data() const { return data_; }
  size_t size() const { return static_cast<size_t>(count_); }
  T* begin() { return data_; }
  T* end() { return data_ + count_; }
  const T* begin() const { return data_; }
  const T* end() const { return data_ + count_; }
  std::span<const T> Items() const { return {data_, size()}; }

 private:
  static T* Allocate(TLVRowIndex capacity) {
    return std::allocator<T>().allocate(static_cast<size_t>(capacity));
  }
  static void Deallocate(T* block, TLVRowIndex capacity) {
    if (block) std::allocator<T>().deallocate(block, static_cast<size_t>(capacity));
  }

  // The capacity that successive appends reach once `needed` elements fit.
  TLVRowIndex GrownCapacity(TLVRowIndex needed) const {
    if (needed > kMaxCount) LVRaiseVectorCountError(needed);
    TLVRowIndex capacity = capacity_;
    while (capacity < needed) capacity += LVVectorGrowthStep(capacity);
    return capacity;
  }

  void Reallocate(TLVRowIndex capacity) {
    T* fresh = capacity > 0 ? Allocate(capacity) : nullptr;
    Adopt(fresh, capacity);
  }

  // Moves the elements into `fresh` (whose slots beyond the count may already be
  // filled by the caller) and frees the old block.
  void Adopt(T* fresh, TLVRowIndex capacity) noexcept {
    if (count_ > 0) {
      std::uninitialized_move(data_, data_ + count_, fresh);
      std::destroy(data_, data_ + count_);
    }
    Deallocate(data_, capacity_);
    data_ = fresh;
    capacity_ = capacity;
  }

  void Release() noexcept {
    std::destroy(data_, data_ + count_);
    Deallocate(data_, capacity_);
    data_ = nullptr;
    count_ = capacity_ = 0;
  }

  T* data_ = nullptr;
  TLVRowIndex count_ = 0;
  TLVRowIndex capacity_ = 0;
  T blank_;
};

}  // namespace lv
