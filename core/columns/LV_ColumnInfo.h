// Column descriptions: one TLVColumnInfo per column, TLVColumnsInfo for the ordered
// list of one table, TLVNormalColumnDef for a column of a normalised source, and the
// statistics that may be attached to a description.
//
// The setters enforce the rules that keep a description consistent: a type sets the
// kind, a logical or text column is never continuous, a size is never negative. A
// refused write raises and stores nothing. Changes are reported to the owning list
// under the property's name (citDataType, citDataKind, citDataStatus...).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/LV_ByteStream.h"
#include "core/registry/LV_Collection.h"
#include "core/sources/LV_DataIntf.h"

namespace lv {

// Per-column statistics (see LV_ColumnStats.h for how they are computed). Numeric
// fields are NaN when the column has no values; for a text column only the counts,
// the unique values and the longest text are filled.
struct TLVStatInfo {
  double min = LVMissing();
  double max = LVMissing();
  double avg = LVMissing();
  double sum = LVMissing();
  double sumSq = LVMissing();
  double stdDev = LVMissing();
  int64_t nullCount = 0;
  int64_t totalCount = 0;  // rows seen, missing values included
  bool uniqueValuesFound = false;
  std::vector<TLVValue> uniqueValues;  // ascending
  int64_t uniqueValuesCount = 0;
  std::optional<double> maxTextLength;  // text columns: the longest text, in characters
  std::string longestText;

  // The value shown for a statistic (unique values themselves are a list: use the field).
  TLVValue Value(TLVStatInfoType type) const;
};

class TLVColumnInfo : public TLVCollectionItem, public ILVColumnInfo {
 public:
  TLVColumnInfo() = default;

  const std::string& GetName() const override { return TLVCollectionItem::GetName(); }
  void SetName(std::string_view name) override { TLVCollectionItem::SetName(name); }
  const std::string& GetDisplayName() const override { return TLVCollectionItem::GetDisplayName(); }
  void SetDisplayName(std::string_view caption) override {
    TLVCollectionItem::SetDisplayName(caption);
  }

  TLVDataKind GetDataKind() const override { return dataKind_; }
  void SetDataKind(TLVDataKind kind) override;
  // The kind as settings give it, after the type: dkUndefined (what a column written
  // without a kind reads as) keeps the kind the type chose, so a text column is
  // discrete and a number continuous; a kind the type forbids is still refused.
  void SetSettingsDataKind(TLVDataKind kind) {
    if (kind != TLVDataKind::dkUndefined) SetDataKind(kind);
  }
  TLVDataStatus GetDataStatus() const override { return dataStatus_; }
  void SetDataStatus(TLVDataStatus status) override;
  TLVDataType GetDataType() const override { return dataType_; }
  void SetDataType(TLVDataType type) override;
  int32_t GetDataSize() const override;
  void SetDataSize(int32_t size) override;
  int32_t StoredDataSize() const { return dataSize_; }
  bool GetUsable() const override { return dataStatus_ != TLVDataStatus::dsUnUsable; }
  void SetUsable(bool usable) override;
  int32_t GetColumnIndex() const override { return GetIndex(); }

  const TLVStatInfo* GetStatInfo() const override { return statInfo_.get(); }
  void SetStatInfo(std::shared_ptr<const TLVStatInfo> stats);

  // An exact copy of another description's properties and statistics (no rules run).
  virtual void Assign(const TLVColumnInfo& source);

  // The binary copy: the item's name and caption, then kind, status and type as one
  // byte each. Reading applies the bytes through the setters in that order.
  virtual void WriteTo(TLVByteWriter& writer) const;
  virtual void ReadFrom(TLVByteReader& reader);

 private:
  TLVDataKind dataKind_ = TLVDataKind::dkUndefined;
  TLVDataStatus dataStatus_ = TLVDataStatus::dsUnUsable;
  TLVDataType dataType_ = TLVDataType::dtNone;
  int32_t dataSize_ = 0;
  std::shared_ptr<const TLVStatInfo> statInfo_;
};

// A column of a normalised source: which normaliser and which of its columns feed it.
// Indexes are held 0-based (-1 = none) and stored 1-based.
class TLVNormalColumnDef : public TLVColumnInfo {
 public:
  int32_t GetNormalizerIndex() const { return normalizerIndex_; }
  void SetNormalizerIndex(int32_t index) { normalizerIndex_ = index; }
  int32_t GetNormColumnIndex() const { return normColumnIndex_; }
  void SetNormColumnIndex(int32_t index) { normColumnIndex_ = index; }
  // The normaliser's name; an empty stored name falls back to the column's Name.
  const std::string& GetNormalizerName() const {
    return normalizerName_.empty() ? GetName() : normalizerName_;
  }
  void SetNormalizerName(std::string_view name) { normalizerName_ = name; }

  // The stored forms of "NormalizerIndex" and "NormColumnIndex" (1-based, 0 = none).
  int32_t StoredNormalizerIndex() const { return normalizerIndex_ + 1; }
  int32_t StoredNormColumnIndex() const { return normColumnIndex_ + 1; }
  void LoadStoredIndexes(int32_t normalizerIndex1, int32_t normColumnIndex1) {
    normalizerIndex_ = normalizerIndex1 - 1;
    normColumnIndex_ = normColumnIndex1 - 1;
  }

  void Assign(const TLVColumnInfo& source) override;

 private:
  int32_t normalizerIndex_ = -1;
  int32_t normColumnIndex_ = -1;
  std::string normalizerName_;
};

class TLVColumnsInfo : public TLVCollectionOf<TLVColumnInfo>, public ILVColumnsInfo {
 public:
  int32_t GetColumnCount() const override { return Count(); }
  std::shared_ptr<ILVColumnInfo> GetColumnInfo(int32_t index) const override {
    return Shared(index);
  }
  int32_t IndexOfColumn(std::string_view name) const override { return IndexOfName(name); }

  // The first column with the given purpose; "ErrColumnByStatusNotFound" when none.
  TLVColumnInfo& ColumnByStatus(TLVDataStatus status) const;
  int32_t IndexOfStatus(TLVDataStatus status) const;

  // Adds a described column and returns it.
  TLVColumnInfo& AddColumn(std::string_view name, TLVDataType type,
                           TLVDataStatus status = TLVDataStatus::dsUsable);

  // Replaces the list with copies of another list's descriptions.
  void AssignColumns(const TLVColumnsInfo& source);

  // Lets the owner refuse structural changes (an open source).
  void SetModifyCheck(std::function<void()> check) { modifyCheck_ = std::move(check); }

 protected:
  // Makes the item for a copied description; lists of special columns override it.
  virtual std::shared_ptr<TLVColumnInfo> NewItem() const {
    return std::make_shared<TLVColumnInfo>();
  }
  void CheckCanModify() const override {
    if (modifyCheck_) modifyCheck_();
  }

 private:
  std::function<void()> modifyCheck_;
};

// Copies every property of a description reached through its interface.
void AssignColumnInfo(TLVColumnInfo& target, const ILVColumnInfo& source);

void RegisterColumnInfoTexts();

}  // namespace lv
