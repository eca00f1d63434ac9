// The rules of a model as a table, one row per rule in the order and under the filters
// of a sort filter: "Antecedent" and "Consequent" (the item sets as "{a, b}"),
// "Support", "Confidence" and "Lift". This is what an association-rules node offers its
// children, so that an export writes the rules to a file like any table.
//
// The table reads the model and the sort filter it is given (the node owns both);
// Refresh must be called after either changes. Single-threaded, like every source.
#pragma once

#include <string>
#include <vector>

#include "core/sources/LV_DataSource.h"
#include "mining/assoc/LV_AssnRulesSortFilter.h"

namespace lv {

class TLVAssnRulesTable : public TLVDataSource {
 public:
  TLVAssnRulesTable(const TLVAssociationRules& model, const TLVAssnRulesSortFilter& view);

  // Takes the model's rules again and tells the children their rows changed.
  void Refresh();

 protected:
  void DoOpen() override;
  TLVRowIndex DoGetRowCount() override { return static_cast<TLVRowIndex>(rows_.size()); }
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;

 private:
  const TLVAssociationRules& model_;
  const TLVAssnRulesSortFilter& view_;
  std::vector<int32_t> rows_;
  std::vector<std::string> antecedents_;
  std::vector<std::string> consequents_;
};

void RegisterAssnRulesTableTexts();

}  // namespace lv
