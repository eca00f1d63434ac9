// The collection base shared by every list of named items (columns, expressions,
// conditions...). Items are owned by their collection through shared pointers so that
// a consumer holding an item keeps it alive after it leaves the list. A change of an
// item is reported to its collection, which reports it to the collection's observer
// (typically the data source that owns the list) unless an update bracket is open;
// the bracket's end reports once if anything changed inside it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lv {

class TLVCollection;

class TLVCollectionItem {
 public:
  TLVCollectionItem() = default;
  TLVCollectionItem(const TLVCollectionItem&) = delete;
  TLVCollectionItem& operator=(const TLVCollectionItem&) = delete;
  virtual ~TLVCollectionItem() = default;

  const std::string& GetName() const { return name_; }
  void SetName(std::string_view name);
  // The caption; an item without one shows its Name.
  const std::string& GetDisplayName() const { return displayName_.empty() ? name_ : displayName_; }
  void SetDisplayName(std::string_view caption);
  // The caption as stored (empty when it falls back to Name).
  const std::string& StoredDisplayName() const { return displayName_; }

  TLVCollection* Collection() const { return collection_; }
  int32_t GetIndex() const;

 protected:
  // Tells the owning collection that `property` (a published property name) changed.
  void Changed(std::string_view property);

 private:
  friend class TLVCollection;
  std::string name_;
  std::string displayName_;
  TLVCollection* collection_ = nullptr;
};

class TLVCollection {
 public:
  // Called for every reported change: the item (null when the list itself changed)
  // and the property name (empty for a structural change).
  using Observer = std::function<void(TLVCollectionItem* item, std::string_view property)>;

  TLVCollection() = default;
  TLVCollection(const TLVCollection&) = delete;
  TLVCollection& operator=(const TLVCollection&) = delete;
  virtual ~TLVCollection();

  int32_t Count() const { return static_cast<int32_t>(items_.size()); }
  TLVCollectionItem& ItemAt(int32_t index) const { return *items_.at(static_cast<size_t>(index)); }
  std::shared_ptr<TLVCollectionItem> SharedItemAt(int32_t index) const {
    return items_.at(static_cast<size_t>(index));
  }
  // Position of the item called `name` (exact match), or -1.
  int32_t IndexOfName(std::string_view name) const;
  int32_t IndexOf(const TLVCollectionItem* item) const;

  void Add(std::shared_ptr<TLVCollectionItem> item);
  void Insert(int32_t index, std::shared_ptr<TLVCollectionItem> item);
  void Delete(int32_t index);
  void Move(int32_t from, int32_t to);
  void Clear();

  void SetObserver(Observer observer) { observer_ = std::move(observer); }
  void BeginUpdate() { ++updateCount_; }
  void EndUpdate();
  bool Updating() const { return updateCount_ > 0; }
  // Reports a change of the list as a whole (at the end of the bracket when inside one).
  void MarkChanged() { Notify(nullptr, {}); }

  void ItemChanged(TLVCollectionItem* item, std::string_view property);

 protected:
  // Refuses structural changes when the owner cannot take them (an open source).
  virtual void CheckCanModify() const {}

 private:
  void Notify(TLVCollectionItem* item, std::string_view property);

  std::vector<std::shared_ptr<TLVCollectionItem>> items_;
  Observer observer_;
  int updateCount_ = 0;
  bool changedInUpdate_ = false;
};

// Typed access to a collection whose items are all of class T.
template <class T>
class TLVCollectionOf : public TLVCollection {
 public:
  T& operator[](int32_t index) const { return static_cast<T&>(ItemAt(index)); }
  std::shared_ptr<T> Shared(int32_t index) const {
    return std::static_pointer_cast<T>(SharedItemAt(index));
  }
  T* Find(std::string_view name) const {
    int32_t i = IndexOfName(name);
    return i < 0 ? nullptr : &(*this)[i];
  }
  T& AddNew() {
    auto item = std::make_shared<T>();
    T& ref = *item;
    Add(std::move(item));
    return ref;
  }
};

}  // namespace lv
