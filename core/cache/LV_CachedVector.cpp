#include "core/cache/LV_CachedVector.h"

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

void LVRaiseVectorIndexError(TLVRowIndex index, TLVRowIndex last) {
  throw ELVError("ErrVectorIndex", {index, last});
}

void LVRaiseVectorCountError(TLVRowIndex count) {
  throw ELVError("ErrVectorCount", {count});
}

void LVRaiseVectorCapacityError(TLVRowIndex capacity, TLVRowIndex count) {
  throw ELVError("ErrVectorCapacity", {capacity, count});
}

void LVRaiseVectorLinkError(TLVRowIndex row, TLVRowIndex last) {
  throw ELVError("ErrVectorLink", {row, last});
}

void RegisterCachedVectorTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrVectorIndex", "ErrVectorCount", "ErrVectorCapacity", "ErrVectorLink"});
}

}  // namespace lv
