// The ungrouping node: restores one dimension that its parent, a grouping node,
// summed away, by spreading each grouped fact over the values of that dimension.
//
// Let k be the number of distinct present values of the restored dimension
// (ExpandColumnName) in the grouping's own parent, the detailed table. Every input row
// (a group) becomes k output rows, the j-th carrying the j-th value in ascending order.
// Each fact (a column named Name, real) is the group's total of its RefColumnName
// times the share of the j-th value in the group's distribution: the sums of the
// control column (KeyColumnName) over the detailed rows of that group and value,
// divided by their total. detOverall takes every detailed row; detLatestData only the
// last KeyStatsDepth rows of each group. The shares are computed once per group when
// the node opens (k reals per input row); the other columns are gathered from the
// input row. The restored column follows the grouping's dimensions; a fact takes the
// place of its source column.
//
// Opening checks the settings against the descriptions and refuses, with the messages
// of the text table: a parent that is not a grouping node, no restored column or an
// unsuitable one, no control column or an unsuitable one (not a number of the detailed
// table), no fact or a fact without its source column, a control column without any
// value, and a group whose distribution sums to zero. KeyStatsDepth below 1 is refused
// by its setter. Settings: flat properties and the collection "Facts" of "Fact" items.
// Single-threaded.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/registry/LV_Collection.h"
#include "core/registry/LV_Properties.h"
#include "core/sources/LV_DataSource.h"
#include "transform/group/LV_GroupAggregates.h"

namespace lv {

enum class TLVDistribEvalType : uint8_t { detOverall, detLatestData };
const TLVEnumDescriptor& DescribeEnum(TLVDistribEvalType);

// A fact: the output column Name and the grouped column RefColumnName ("Исходный
// столбец") that holds its total.
class TLVUngroupDataColumn : public TLVCollectionItem {
 public:
  const std::string& GetRefColumnName() const { return ref_; }
  void SetRefColumnName(const std::string& value);
  static const TLVPropertyTable<TLVUngroupDataColumn>& Properties();

 private:
  std::string ref_;
};

class TLVUngroupDataColumns : public TLVCollectionOf<TLVUngroupDataColumn> {
 public:
  TLVUngroupDataColumn& AddFact(std::string_view name, std::string_view refColumnName);
};

class TLVUngroupData : public TLVDataSource {
 public:
  TLVUngroupData();
  ~TLVUngroupData() override;

  const std::string& GetExpandColumnName() const { return expand_; }
  void SetExpandColumnName(const std::string& value);
  const std::string& GetKeyColumnName() const { return key_; }
  void SetKeyColumnName(const std::string& value);
  TLVDistribEvalType GetDistribEvalType() const { return evalType_; }
  void SetDistribEvalType(TLVDistribEvalType value);
  int32_t GetKeyStatsDepth() const { return depth_; }
  void SetKeyStatsDepth(int32_t value);
  TLVUngroupDataColumns& Facts() { return facts_; }
  const TLVUngroupDataColumns& Facts() const { return facts_; }

  void SetDataSource(std::shared_ptr<ILVDataSource> parent) { ReplaceParent(std::move(parent)); }
  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    SetDataSource(std::move(parent));
  }

  // The columns of the detailed table that could be restored: those that are not a
  // dimension of the grouping. Refused with "Нет доступных измерений" when the
  // grouping has no dimension and "Нет столбцов для восстановления" when none is left.
  std::vector<std::string> RestorableColumns() const;

  static const TLVPropertyTable<TLVUngroupData>& Properties();
  void SaveSettingsTo(ILVSettingsSection& section) const override;
  void LoadSettingsFrom(const ILVSettingsSection& section) override;

 protected:
  void DoOpen() override;
  void DoClose() override;
  TLVRowIndex DoGetRowCount() override;
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;
  void RebuildColumns() override;

 private:
  // What an output column is made of.
  struct TOutput {
    enum class Kind : uint8_t { kCopy, kRestored, kFact } kind = Kind::kCopy;
    int32_t parentColumn = -1;  // copied column or the fact's total
  };
  void SettingsChanged();
  void Changed();

  std::string expand_;
  std::string key_;
  TLVDistribEvalType evalType_ = TLVDistribEvalType::detOverall;
  int32_t depth_ = 10;
  TLVUngroupDataColumns facts_;
  std::vector<TOutput> outputs_;
  // While open: the restored values, and k shares per input row.
  TLVGroupValues values_;
  std::vector<double> shares_;
  TLVRowIndex inputRows_ = 0;
};

void RegisterUngroupDataTexts();

}  // namespace lv
