#include "mining/assoc/LV_AssnRulesTable.h"

#include "core/text/LV_Localization.h"

namespace lv {

namespace {

enum TColumn : int32_t { kAntecedent, kConsequent, kSupport, kConfidence, kLift };

}  // namespace

TLVAssnRulesTable::TLVAssnRulesTable(const TLVAssociationRules& model,
                                     const TLVAssnRulesSortFilter& view)
    : model_(model), view_(view) {
  const std::pair<const char*, TLVDataType> columns[] = {{"Antecedent", TLVDataType::dtString},
                                                         {"Consequent", TLVDataType::dtString},
                                                         {"Support", TLVDataType::dtFloat},
                                                         {"Confidence", TLVDataType::dtFloat},
                                                         {"Lift", TLVDataType::dtFloat}};
  for (const auto& [name, type] : columns) {
    TLVColumnInfo& column = Columns().AddColumn(name, type);
    column.SetDisplayName(LVText(std::string("AssnRulesColumn") + name));
  }
}

void TLVAssnRulesTable::Refresh() {
  Close();
  NotifyListeners(TLVNotifyReason::nrDataChanged);
}

void TLVAssnRulesTable::DoOpen() {
  rows_ = view_.Apply(model_);
  antecedents_.clear();
  consequents_.clear();
  for (const int32_t i : rows_) {
    const TLVAssociationRule& rule = model_.Rules()[static_cast<size_t>(i)];
    antecedents_.push_back(model_.ItemSetText(rule.antecedentSet));
    consequents_.push_back(model_.ItemSetText(rule.consequentSet));
  }
}

void TLVAssnRulesTable::DoReadBlock(int32_t column, TLVRowIndex first, int32_t count,
                                    TLVBlock& out) {
  out.Reset(Columns()[column].GetDataType(), count);
  for (int32_t i = 0; i < count; ++i) {
    const auto row = static_cast<size_t>(first + i);
    const TLVAssociationRule& rule = model_.Rules()[static_cast<size_t>(rows_[row])];
    out.Valid()[i] = 1;
    switch (column) {
      case kAntecedent:
        out.Strings()[i] = antecedents_[row];
        break;
      case kConsequent:
        out.Strings()[i] = consequents_[row];
        break;
      case kSupport:
        out.Numbers()[i] = rule.support;
        break;
      case kConfidence:
        out.Numbers()[i] = rule.confidence;
        break;
      default:
        out.Numbers()[i] = rule.lift;
        break;
    }
  }
}

void RegisterAssnRulesTableTexts() {
  TLVLocalization::Instance().RegisterKeys({"AssnRulesColumnAntecedent",
                                            "AssnRulesColumnConsequent", "AssnRulesColumnSupport",
                                            "AssnRulesColumnConfidence", "AssnRulesColumnLift"});
}

}  // namespace lv
