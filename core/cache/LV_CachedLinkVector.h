// A vector of row references into another vector: the rows a sort, filter or join
// picked from a column, without copying the column's values.
//
// TLVCachedLinkVector<TTarget> stores one TLVRowIndex per element; kLVNoLink (any
// negative value) refers to no row and reads as the target's blank value. The link
// vector does not own its target, which must outlive it; since it keeps the target
// and not element pointers, the target may grow or move its elements freely. A link
// is checked against the target when it is read, not when it is stored, so links may
// be written before the target is filled.
#pragma once

#include <type_traits>
#include <utility>

#include "core/cache/LV_CachedVector.h"

namespace lv {

inline constexpr TLVRowIndex kLVNoLink = -1;

template <class TTarget>
class TLVCachedLinkVector : public TLVCachedVector<TLVRowIndex> {
 public:
  // What the target's Get yields, held by value (a text adds a reference).
  using TValue = std::remove_cvref_t<decltype(std::declval<const TTarget&>().Get(0))>;

  explicit TLVCachedLinkVector(const TTarget& target)
      : TLVCachedVector<TLVRowIndex>(kLVNoLink), target_(&target) {}

  const TTarget& Target() const { return *target_; }
  void SetTarget(const TTarget& target) { target_ = &target; }

  bool IsLinked(TLVRowIndex index) const { return Get(index) >= 0; }

  // The target row of element `index`, or kLVNoLink. A link past the end of the
  // target raises ErrVectorLink.
  TLVRowIndex Resolve(TLVRowIndex index) const {
    TLVRowIndex row = Get(index);
    if (row < 0) return kLVNoLink;
    if (row >= target_->Count()) LVRaiseVectorLinkError(row, target_->Count() - 1);
    return row;
  }

  TValue ValueAt(TLVRowIndex index) const {
    TLVRowIndex row = Resolve(index);
    if (row < 0) return TValue(target_->Blank());
    return TValue(target_->Get(row));
  }

  // An element without a link is missing; so is one whose target value is.
  bool IsMissing(TLVRowIndex index) const {
    TLVRowIndex row = Resolve(index);
    if (row < 0) return true;
    if constexpr (requires { target_->IsMissing(row); }) {
      return target_->IsMissing(row);
    } else {
      return false;
    }
  }

 private:
  const TTarget* target_;
};

}  // namespace lv
