#include "core/registry/LV_VendorGroups.h"

#include <array>
#include <typeinfo>

#include "core/registry/LV_ClassRef.h"
#include "core/text/LV_Localization.h"

namespace lv {

std::string TLVVendorGroup::DescriptionKey() const {
  std::string key(CaptionKey());
  if (key.ends_with("Name")) key.replace(key.size() - 4, 4, "Desc");
  return key;
}

std::string TLVVendorGroup::Caption() const {
  return LVText(CaptionKey());
}

std::string TLVVendorGroup::Description() const {
  return LVText(DescriptionKey());
}

std::string TLVVendorGroup::ClassName() const {
  return LVClassName(typeid(*this));
}

const TLVVendorGroup& TLVVendorGroup::Root() const {
  const TLVVendorGroup* group = this;
  while (group->Parent()) group = group->Parent();
  return *group;
}

bool TLVVendorGroup::IsWithin(const TLVVendorGroup& group) const {
  for (const TLVVendorGroup* g = this; g; g = g->Parent()) {
    if (g == &group) return true;
  }
  return false;
}

int32_t TLVVendorGroup::Order() const {
  auto groups = AllVendorGroups();
  for (size_t i = 0; i < groups.size(); ++i) {
    if (groups[i] == this) return static_cast<int32_t>(i);
  }
  return static_cast<int32_t>(groups.size());
}

std::span<const TLVVendorGroup* const> AllVendorGroups() {
  static const auto groups = std::to_array<const TLVVendorGroup*>({
      &LVVendorGroup<TLVVendorGroupImport>(),
      &LVVendorGroup<TLVVendorGroupImportWareHouse>(),
      &LVVendorGroup<TLVVendorGroupImportBA>(),
      &LVVendorGroup<TLVVendorGroupImportConnection>(),
      &LVVendorGroup<TLVVendorGroupImportFile>(),
      &LVVendorGroup<TLVVendorGroupImportOther>(),
      &LVVendorGroup<TLVVendorGroupExport>(),
      &LVVendorGroup<TLVVendorGroupExportWareHouse>(),
      &LVVendorGroup<TLVVendorGroupExportDataBase>(),
      &LVVendorGroup<TLVVendorGroupExportFile>(),
      &LVVendorGroup<TLVVendorGroupExportWebServer>(),
      &LVVendorGroup<TLVVendorGroupExportOther>(),
      &LVVendorGroup<TLVVendorGroupAnalytic>(),
      &LVVendorGroup<TLVVendorGroupAnalyticRelated>(),
      &LVVendorGroup<TLVVendorGroupAnalyticRefining>(),
      &LVVendorGroup<TLVVendorGroupAnalyticTransform>(),
      &LVVendorGroup<TLVVendorGroupAnalyticDataMining>(),
      &LVVendorGroup<TLVVendorGroupAnalyticOther>(),
      &LVVendorGroup<TLVVendorGroupViewer>(),
      &LVVendorGroup<TLVVendorGroupViewerDataMining>(),
      &LVVendorGroup<TLVVendorGroupViewerRefiningData>(),
      &LVVendorGroup<TLVVendorGroupViewerTransformData>(),
      &LVVendorGroup<TLVVendorGroupViewerTableData>(),
      &LVVendorGroup<TLVVendorGroupViewerDiagrams>(),
      &LVVendorGroup<TLVVendorGroupViewerOLAP>(),
      &LVVendorGroup<TLVVendorGroupViewerDataBase>(),
      &LVVendorGroup<TLVVendorGroupViewerWareHouse>(),
      &LVVendorGroup<TLVVendorGroupViewerCommon>(),
      &LVVendorGroup<TLVVendorGroupConnection>(),
      &LVVendorGroup<TLVVendorGroupWebServer>(),
      &LVVendorGroup<TLVVendorGroupConnectionUnknown>(),
      &LVVendorGroup<TLVVendorGroupDB>(),
      &LVVendorGroup<TLVVendorGroupWareHouse>(),
      &LVVendorGroup<TLVVendorGroupBusinessApp>(),
      &LVVendorGroup<TLVVendorGroupDataBase>(),
      &LVVendorGroup<TLVVendorGroupUniDBIntf>(),
      &LVVendorGroup<TLVVendorGroupFileDataBase>(),
      &LVVendorGroup<TLVVendorGroupMisc>(),
  });
  return groups;
}

TLVComponentType CatalogueComponentType(const TLVVendorGroup& group) {
  const TLVVendorGroup& root = group.Root();
  if (&root == &LVVendorGroup<TLVVendorGroupImport>()) return TLVComponentType::ctImport;
  if (&root == &LVVendorGroup<TLVVendorGroupExport>()) return TLVComponentType::ctExport;
  if (&root == &LVVendorGroup<TLVVendorGroupAnalytic>()) return TLVComponentType::ctAnalytic;
  if (&root == &LVVendorGroup<TLVVendorGroupViewer>()) return TLVComponentType::ctView;
  if (&root == &LVVendorGroup<TLVVendorGroupConnection>()) return TLVComponentType::ctConnection;
  return TLVComponentType::ctUnknown;
}

TLVConnectionType GroupConnectionType(const TLVVendorGroup& group) {
  if (group.IsWithin(LVVendorGroup<TLVVendorGroupWareHouse>())) {
    return TLVConnectionType::cntDataWarehouse;
  }
  if (group.IsWithin(LVVendorGroup<TLVVendorGroupBusinessApp>())) {
    return TLVConnectionType::cntBusinessApplication;
  }
  if (group.IsWithin(LVVendorGroup<TLVVendorGroupDataBase>()) ||
      group.IsWithin(LVVendorGroup<TLVVendorGroupUniDBIntf>()) ||
      group.IsWithin(LVVendorGroup<TLVVendorGroupFileDataBase>())) {
    return TLVConnectionType::cntDataBase;
  }
  return TLVConnectionType::cntUnknown;
}

void RegisterVendorGroupsTexts() {
  auto& table = TLVLocalization::Instance();
  for (const TLVVendorGroup* group : AllVendorGroups()) {
    table.RegisterKey(group->CaptionKey());
    table.RegisterKey(group->DescriptionKey());
  }
}

}  // namespace lv
