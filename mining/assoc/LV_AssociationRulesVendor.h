// The association-rules node ("Ассоциативные правила") and its registration in the
// catalogue of data-mining handlers.
//
// The node owns the tuned source over its parent's table (which columns are the
// transaction and the item), the teacher with its limits, the trained model, the sort
// filter of its rules and the table of the rules that it offers its children. It is
// not a model handler: its input is not normalized and its teacher is a batch search,
// not a kernel's training; it shares the handlers' interfaces for unattended
// retraining and the run log. Teach replaces the model only when the search succeeds.
#pragma once

#include <memory>

#include "core/sources/LV_Component.h"
#include "mining/assoc/LV_AssnRulesTable.h"
#include "mining/assoc/LV_AssociationRulesTeacher.h"
#include "mining/models/LV_ModelHandler.h"

namespace lv {

class TLVAssociationRulesNode : public TLVComponent, public ILVTeachable, public ILVModelSummary {
 public:
  TLVAssociationRulesNode();

  TLVAssnRulesTunedSource& TunedSource() { return *tuned_; }
  TLVAssociationRulesTeacher& Teacher() { return teacher_; }
  const TLVAssociationRules& Rules() const { return model_; }
  // Changing the view takes effect with RefreshRules.
  TLVAssnRulesSortFilter& SortFilter() { return view_; }
  void RefreshRules() { table_->Refresh(); }

  std::shared_ptr<ILVDataSource> GetDataSourceIntf() override { return table_; }
  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    parent_ = parent;
    tuned_->SetDataSource(std::move(parent));
  }

  void Teach(ILVProgress* progress) override;
  std::string TeachSummary() const override;

  // "TunedSource", "Teacher", "AssociationRules", "SortFilter".
  void SaveSettingsTo(ILVSettingsSection& section) const override;
  // Reads the whole section before anything changes: a bad one leaves the node as it was.
  void LoadSettingsFrom(const ILVSettingsSection& section) override;

 private:
  void Wire();

  std::shared_ptr<ILVDataSource> parent_;
  std::shared_ptr<TLVAssnRulesTunedSource> tuned_;
  TLVAssociationRulesTeachDataSource data_;
  TLVAssociationRulesTeacher teacher_;
  TLVAssociationRules model_;
  TLVAssnRulesSortFilter view_;
  std::shared_ptr<TLVAssnRulesTable> table_;
};

// Registers the node kind "AssociationRules" (once) and the texts it uses.
void RegisterAssociationRulesVendor();

}  // namespace lv
