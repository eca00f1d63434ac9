#include "mining/assoc/LV_AssociationRulesVendor.h"

#include "core/registry/LV_Vendor.h"
#include "core/registry/LV_VendorGroups.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"

namespace lv {

TLVAssociationRulesNode::TLVAssociationRulesNode()
    : tuned_(std::make_shared<TLVAssnRulesTunedSource>()),
      table_(std::make_shared<TLVAssnRulesTable>(model_, view_)) {
  Wire();
}

void TLVAssociationRulesNode::Wire() {
  data_.SetTunedSource(tuned_.get());
  teacher_.SetTeachDataSource(&data_);
  teacher_.SetAssociationRules(&model_);
}

void TLVAssociationRulesNode::Teach(ILVProgress* progress) {
  teacher_.Teach(progress);
  table_->Refresh();
}

std::string TLVAssociationRulesNode::TeachSummary() const {
  return Format(LVText("SAssnTeachSummary"),
                {model_.GetTransactionsCount(), static_cast<int32_t>(model_.LargeItemSets().size()),
                 static_cast<int32_t>(model_.Rules().size())});
}

void TLVAssociationRulesNode::SaveSettingsTo(ILVSettingsSection& section) const {
  tuned_->SaveSettingsTo(section.AddSection("TunedSource"));
  TLVAssociationRulesTeacher::Properties().Save(teacher_, section.AddSection("Teacher"));
  model_.SaveTo(section.AddSection("AssociationRules"));
  view_.SaveTo(section.AddSection("SortFilter"));
}

void TLVAssociationRulesNode::LoadSettingsFrom(const ILVSettingsSection& section) {
  auto tuned = std::make_shared<TLVAssnRulesTunedSource>();
  TLVAssociationRulesTeacher teacher;
  TLVAssociationRules model;
  TLVAssnRulesSortFilter view;
  if (const ILVSettingsSection* part = section.FindSection("TunedSource")) {
    tuned->LoadSettingsFrom(*part);
  }
  if (const ILVSettingsSection* part = section.FindSection("Teacher")) {
    TLVAssociationRulesTeacher::Properties().Load(teacher, *part);
  }
  if (const ILVSettingsSection* part = section.FindSection("AssociationRules")) {
    model.LoadFrom(*part);
  }
  if (const ILVSettingsSection* part = section.FindSection("SortFilter")) view.LoadFrom(*part);
  // Everything read: the new parts take the old ones' places.
  tuned->SetDataSource(parent_);
  tuned_ = std::move(tuned);
  teacher.OnCandidatesFindEvent = std::move(teacher_.OnCandidatesFindEvent);
  teacher_ = std::move(teacher);
  model_ = std::move(model);
  view_ = std::move(view);
  Wire();
  table_->Refresh();
}

void RegisterAssociationRulesVendor() {
  TLVLocalization::Instance().RegisterKeys({"SAssnTeachSummary"});
  TLVComponentVendorList& vendors = LVComponentVendors();
  // The identifier is what project files store: it never changes.
  if (!vendors.FindByID("AssociationRules")) {
    vendors.Add(TLVComponentVendor::Make<TLVAssociationRulesNode, TLVVendorGroupAnalyticDataMining>(
        {"AssociationRules", "AssociationRulesVendorCaption", "AssociationRulesVendorHint"}));
  }
}

}  // namespace lv
