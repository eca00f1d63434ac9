#include "core/registry/LV_Collection.h"

#include <stdexcept>

namespace lv {

void TLVCollectionItem::SetName(std::string_view name) {
  if (name_ == name) return;
  name_ = name;
  Changed("Name");
}

void TLVCollectionItem::SetDisplayName(std::string_view caption) {
  if (displayName_ == caption) return;
  displayName_ = caption;
  Changed("DisplayName");
}

int32_t TLVCollectionItem::GetIndex() const {
  return collection_ ? collection_->IndexOf(this) : -1;
}

void TLVCollectionItem::Changed(std::string_view property) {
  if (collection_) collection_->ItemChanged(this, property);
}

TLVCollection::~TLVCollection() {
  for (auto& item : items_) item->collection_ = nullptr;
}

int32_t TLVCollection::IndexOfName(std::string_view name) const {
  for (size_t i = 0; i < items_.size(); ++i) {
    if (items_[i]->name_ == name) return static_cast<int32_t>(i);
  }
  return -1;
}

int32_t TLVCollection::IndexOf(const TLVCollectionItem* item) const {
  for (size_t i = 0; i < items_.size(); ++i) {
    if (items_[i].get() == item) return static_cast<int32_t>(i);
  }
  return -1;
}

void TLVCollection::Add(std::shared_ptr<TLVCollectionItem> item) {
  Insert(Count(), std::move(item));
}

void TLVCollection::Insert(int32_t index, std::shared_ptr<TLVCollectionItem> item) {
  CheckCanModify();
  if (index < 0 || index > Count()) throw std::out_of_range("collection index");
  item->collection_ = this;
  items_.insert(items_.begin() + index, std::move(item));
  Notify(nullptr, {});
}

void TLVCollection::Delete(int32_t index) {
  CheckCanModify();
  auto& item = items_.at(static_cast<size_t>(index));
  item->collection_ = nullptr;
  items_.erase(items_.begin() + index);
  Notify(nullptr, {});
}

void TLVCollection::Move(int32_t from, int32_t to) {
  CheckCanModify();
  if (from < 0 || from >= Count() || to < 0 || to >= Count()) {
    throw std::out_of_range("collection index");
  }
  if (from == to) return;
  auto item = items_[static_cast<size_t>(from)];
  items_.erase(items_.begin() + from);
  items_.insert(items_.begin() + to, std::move(item));
  Notify(nullptr, {});
}

void TLVCollection::Clear() {
  if (items_.empty()) return;
  CheckCanModify();
  for (auto& item : items_) item->collection_ = nullptr;
  items_.clear();
  Notify(nullptr, {});
}

void TLVCollection::EndUpdate() {
  if (updateCount_ == 0) return;
  if (--updateCount_ == 0 && changedInUpdate_) {
    changedInUpdate_ = false;
    if (observer_) observer_(nullptr, {});
  }
}

void TLVCollection::ItemChanged(TLVCollectionItem* item, std::string_view property) {
  Notify(item, property);
}

void TLVCollection::Notify(TLVCollectionItem* item, std::string_view property) {
  if (updateCount_ > 0) {
    changedInUpdate_ = true;
    return;
  }
  if (observer_) observer_(item, property);
}

}  // namespace lv
