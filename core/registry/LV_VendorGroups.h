// The groups of the catalogues in which node kinds are offered. Each group is a class;
// a group nested in another derives from it, so "is this vendor an import?" is both a
// question about the class tree and about the parent links. There is one instance per
// group class (LVVendorGroup<G>()), created on first use and never destroyed before
// exit; groups are immutable, so any thread may read them.
//
// A group's caption and description are text keys; the description key is the caption
// key with its ending "Name" replaced by "Desc".
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "core/columns/LV_Types.h"

namespace lv {

class TLVVendorGroup {
 public:
  TLVVendorGroup(const TLVVendorGroup&) = delete;
  TLVVendorGroup& operator=(const TLVVendorGroup&) = delete;
  virtual ~TLVVendorGroup() = default;

  virtual std::string_view CaptionKey() const = 0;
  std::string DescriptionKey() const;
  std::string Caption() const;
  std::string Description() const;
  std::string ClassName() const;

  // The enclosing group; null for the root of a catalogue.
  virtual const TLVVendorGroup* Parent() const { return nullptr; }
  const TLVVendorGroup& Root() const;
  // True when this group is `group` or lies anywhere below it.
  bool IsWithin(const TLVVendorGroup& group) const;
  // Position in the order of AllVendorGroups(): parents come before their children.
  int32_t Order() const;

 protected:
  TLVVendorGroup() = default;
};

// The single instance of group class G.
template <class G>
const G& LVVendorGroup() {
  static const G group;
  return group;
}

// Base of a group nested in TParent: the class derives from its parent group and
// reports the parent's instance as its Parent().
template <class TParent>
class TLVVendorGroupUnder : public TParent {
 public:
  const TLVVendorGroup* Parent() const override { return &LVVendorGroup<TParent>(); }
};

// Roots of the five catalogues, and the group of kinds that are offered in none.
class TLVVendorGroupImport : public TLVVendorGroup {
 public:
  std::string_view CaptionKey() const override { return "ImportGroupName"; }
};
class TLVVendorGroupExport : public TLVVendorGroup {
 public:
  std::string_view CaptionKey() const override { return "ExportGroupName"; }
};
class TLVVendorGroupAnalytic : public TLVVendorGroup {
 public:
  std::string_view CaptionKey() const override { return "AnalyticGroupName"; }
};
class TLVVendorGroupViewer : public TLVVendorGroup {
 public:
  std::string_view CaptionKey() const override { return "ViewerGroupName"; }
};
class TLVVendorGroupConnection : public TLVVendorGroup {
 public:
  std::string_view CaptionKey() const override { return "ConnectionGroupName"; }
};
class TLVVendorGroupMisc : public TLVVendorGroup {
 public:
  std::string_view CaptionKey() const override { return "MiscGroupName"; }
};

// Import.
class TLVVendorGroupImportWareHouse : public TLVVendorGroupUnder<TLVVendorGroupImport> {
 public:
  std::string_view CaptionKey() const override { return "ImportWareHouseGroupName"; }
};
class TLVVendorGroupImportBA : public TLVVendorGroupUnder<TLVVendorGroupImport> {
 public:
  std::string_view CaptionKey() const override { return "ImportBAGroupName"; }
};
class TLVVendorGroupImportConnection : public TLVVendorGroupUnder<TLVVendorGroupImport> {
 public:
  std::string_view CaptionKey() const override { return "ImportConnectionGroupName"; }
};
class TLVVendorGroupImportFile : public TLVVendorGroupUnder<TLVVendorGroupImport> {
 public:
  std::string_view CaptionKey() const override { return "ImportFileGroupName"; }
};
class TLVVendorGroupImportOther : public TLVVendorGroupUnder<TLVVendorGroupImport> {
 public:
  std::string_view CaptionKey() const override { return "ImportOtherGroupName"; }
};

// Export.
class TLVVendorGroupExportWareHouse : public TLVVendorGroupUnder<TLVVendorGroupExport> {
 public:
  std::string_view CaptionKey() const override { return "ExportWareHouseGroupName"; }
};
class TLVVendorGroupExportDataBase : public TLVVendorGroupUnder<TLVVendorGroupExport> {
 public:
  std::string_view CaptionKey() const override { return "ExportDataBaseGroupName"; }
};
class TLVVendorGroupExportFile : public TLVVendorGroupUnder<TLVVendorGroupExport> {
 public:
  std::string_view CaptionKey() const override { return "ExportFileGroupName"; }
};
class TLVVendorGroupExportWebServer : public TLVVendorGroupUnder<TLVVendorGroupExport> {
 public:
  std::string_view CaptionKey() const override { return "ExportWebServerGroupName"; }
};
class TLVVendorGroupExportOther : public TLVVendorGroupUnder<TLVVendorGroupExport> {
 public:
  std::string_view CaptionKey() const override { return "ExportOtherGroupName"; }
};

// Processing.
class TLVVendorGroupAnalyticRelated : public TLVVendorGroupUnder<TLVVendorGroupAnalytic> {
 public:
  std::string_view CaptionKey() const override { return "AnalyticRelatedGroupName"; }
};
class TLVVendorGroupAnalyticRefining : public TLVVendorGroupUnder<TLVVendorGroupAnalytic> {
 public:
  std::string_view CaptionKey() const override { return "AnalyticRefiningGroupName"; }
};
class TLVVendorGroupAnalyticTransform : public TLVVendorGroupUnder<TLVVendorGroupAnalytic> {
 public:
  std::string_view CaptionKey() const override { return "AnalyticTransformGroupName"; }
};
class TLVVendorGroupAnalyticDataMining : public TLVVendorGroupUnder<TLVVendorGroupAnalytic> {
 public:
  std::string_view CaptionKey() const override { return "AnalyticDataMiningGroupName"; }
};
class TLVVendorGroupAnalyticOther : public TLVVendorGroupUnder<TLVVendorGroupAnalytic> {
 public:
  std::string_view CaptionKey() const override { return "AnalyticOtherGroupName"; }
};

// Visualisers.
class TLVVendorGroupViewerDataMining : public TLVVendorGroupUnder<TLVVendorGroupViewer> {
 public:
  std::string_view CaptionKey() const override { return "ViewerDataMiningGroupName"; }
};
class TLVVendorGroupViewerRefiningData : public TLVVendorGroupUnder<TLVVendorGroupViewer> {
 public:
  std::string_view CaptionKey() const override { return "ViewerRefiningGroupName"; }
};
class TLVVendorGroupViewerTransformData : public TLVVendorGroupUnder<TLVVendorGroupViewer> {
 public:
  std::string_view CaptionKey() const override { return "ViewerTransformGroupName"; }
};
class TLVVendorGroupViewerTableData : public TLVVendorGroupUnder<TLVVendorGroupViewer> {
 public:
  std::string_view CaptionKey() const override { return "ViewerTableDataGroupName"; }
};
class TLVVendorGroupViewerDiagrams : public TLVVendorGroupUnder<TLVVendorGroupViewer> {
 public:
  std::string_view CaptionKey() const override { return "ViewerDiagramsGroupName"; }
};
class TLVVendorGroupViewerOLAP : public TLVVendorGroupUnder<TLVVendorGroupViewer> {
 public:
  std::string_view CaptionKey() const override { return "ViewerOLAPGroupName"; }
};
class TLVVendorGroupViewerDataBase : public TLVVendorGroupUnder<TLVVendorGroupViewer> {
 public:
  std::string_view CaptionKey() const override { return "ViewerDataBaseGroupName"; }
};
class TLVVendorGroupViewerWareHouse : public TLVVendorGroupUnder<TLVVendorGroupViewer> {
 public:
  std::string_view CaptionKey() const override { return "ViewerWarehouseGroupName"; }
};
class TLVVendorGroupViewerCommon : public TLVVendorGroupUnder<TLVVendorGroupViewer> {
 public:
  std::string_view CaptionKey() const override { return "ViewerCommonGroupName"; }
};

// Connections. Web services are reached through a connection like databases are.
class TLVVendorGroupWebServer : public TLVVendorGroupUnder<TLVVendorGroupConnection> {
 public:
  std::string_view CaptionKey() const override { return "WebServerGroupName"; }
};
class TLVVendorGroupConnectionUnknown : public TLVVendorGroupUnder<TLVVendorGroupConnection> {
 public:
  std::string_view CaptionKey() const override { return "ConnectionUnknownGroupName"; }
};
class TLVVendorGroupDB : public TLVVendorGroupUnder<TLVVendorGroupConnection> {
 public:
  std::string_view CaptionKey() const override { return "DBGroupName"; }
};
class TLVVendorGroupWareHouse : public TLVVendorGroupUnder<TLVVendorGroupDB> {
 public:
  std::string_view CaptionKey() const override { return "WareHouseGroupName"; }
};
class TLVVendorGroupBusinessApp : public TLVVendorGroupUnder<TLVVendorGroupConnection> {
 public:
  std::string_view CaptionKey() const override { return "BusinessAppGroupName"; }
};
class TLVVendorGroupDataBase : public TLVVendorGroupUnder<TLVVendorGroupDB> {
 public:
  std::string_view CaptionKey() const override { return "DataBaseGroupName"; }
};
class TLVVendorGroupUniDBIntf : public TLVVendorGroupUnder<TLVVendorGroupConnection> {
 public:
  std::string_view CaptionKey() const override { return "UniDBIntfGroupName"; }
};
class TLVVendorGroupFileDataBase : public TLVVendorGroupUnder<TLVVendorGroupConnection> {
 public:
  std::string_view CaptionKey() const override { return "FileDataBaseGroupName"; }
};

// Every group in catalogue order: each root followed by its groups, parents before
// children, siblings in the order the catalogue shows them.
std::span<const TLVVendorGroup* const> AllVendorGroups();

// The kind of node a catalogue offers (ctUnknown for the miscellaneous group).
TLVComponentType CatalogueComponentType(const TLVVendorGroup& group);
// The kind of connection a connection group stands for.
TLVConnectionType GroupConnectionType(const TLVVendorGroup& group);

void RegisterVendorGroupsTexts();

}  // namespace lv
