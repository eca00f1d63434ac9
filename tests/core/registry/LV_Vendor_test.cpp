#include "core/registry/LV_Vendor.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "LV_TestHelpers.h"
#include "core/sources/LV_TunedDataSource.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {
namespace {

// Node kinds that exist only for these tests.
class TTestImport : public TLVComponent {};
class TTestFilter : public TLVComponent {};
class TTestView : public TLVComponent {};
class TTestConnection : public TLVComponent {};

class TShape {
 public:
  virtual ~TShape() = default;
};
class TPolygon : public TShape {};
class TSquare : public TPolygon {};
class TCircle : public TShape {};
class TUnrelated {};

class TTestClassVendor : public TLVClassVendor {
 public:
  explicit TTestClassVendor(TLVClassRef cls) : TLVClassVendor(cls) {}
};
class TBareVendor : public TLVVendor {};

TEST(Vendor, RegistryFindsKindsByIdentifierAndClassAndCreatesNodes) {
  TLVComponentVendorList list;
  auto csv = TLVComponentVendor::Make<TTestImport, TLVVendorGroupImportFile>(
      {"TestCsv", "TestCsvCaption", "TestCsvHint"});
  // A second kind made from the same class, as presets of one handler are.
  auto preset = TLVComponentVendor::Make<TTestImport, TLVVendorGroupImportOther>(
      {"TestCsvPreset", "TestPresetCaption", "TestPresetHint"});
  auto filter = TLVComponentVendor::Make<TTestFilter, TLVVendorGroupAnalyticTransform>(
      {"TestFilter", "TestFilterCaption", "TestFilterHint"});
  list.Add(csv);
  list.Add(preset);
  list.Add(filter);

  EXPECT_EQ(list.FindByID("testcsv"), csv.get());
  EXPECT_EQ(list.FindByID("TestCsvPreset"), preset.get());
  EXPECT_EQ(list.FindByID("TestCs"), nullptr);
  EXPECT_EQ(list.FindByClass<TTestImport>(), csv.get());
  EXPECT_EQ(list.FindByClass<TTestView>(), nullptr);
  EXPECT_EQ(list.FindByClassName("ttestfilter"), filter.get());
  EXPECT_EQ(csv->ClassName(), "TTestImport");
  EXPECT_EQ(csv->ComponentType(), TLVComponentType::ctImport);
  EXPECT_EQ(filter->ComponentType(), TLVComponentType::ctAnalytic);
  EXPECT_EQ(&filter->Group(), &LVVendorGroup<TLVVendorGroupAnalyticTransform>());
  EXPECT_EQ(csv->Caption(), "[TestCsvCaption]");

  auto first = list.CreateComponent("TestFilter");
  auto second = list.CreateComponent("TESTFILTER");
  EXPECT_NE(dynamic_cast<TTestFilter*>(first.get()), nullptr);
  EXPECT_NE(first, second);
  EXPECT_NE(dynamic_cast<TTestImport*>(list.CreateComponent("TestCsvPreset").get()), nullptr);

  try {
    list.CreateComponent("TLVNoSuchKind");
    ADD_FAILURE();
  } catch (const ELVError& e) {
    EXPECT_EQ(e.Key(), "ErrVendorIDNotFound");
    EXPECT_NE(std::string(e.what()).find("\"TLVNoSuchKind\""), std::string::npos);
  }

  // Refusals leave the list as it was.
  auto clash = TLVComponentVendor::Make<TTestFilter, TLVVendorGroupAnalyticOther>(
      {"TESTCSV", "Other", "Other"});
  EXPECT_EQ(test::KeyOf([&] { list.Add(clash); }), "ErrVendorDuplicateID");
  auto nameless =
      TLVComponentVendor::Make<TTestFilter, TLVVendorGroupAnalyticOther>({"", "Other", "Other"});
  EXPECT_EQ(test::KeyOf([&] { list.Add(nameless); }), "ErrVendorEmptyID");
  EXPECT_EQ(test::KeyOf([&] { list.Add(filter); }), "ErrVendorTwice");
  EXPECT_EQ(test::KeyOf([&] { list.Add(nullptr); }), "ErrVendorNull");
  EXPECT_EQ(list.Count(), 3);
  EXPECT_EQ(&list[2], filter.get());
}

TEST(Vendor, FamiliesRefuseWhatTheyCannotHold) {
  // A view offered outside the visualisers' catalogue is a registration mistake.
  EXPECT_EQ(test::KeyOf([] {
              TLVViewVendor(TLVClassRef::Of<TTestView>(), LVVendorGroup<TLVVendorGroupImportFile>(),
                            {"V", "V", "V"}, [] { return std::make_shared<TTestView>(); });
            }),
            "ErrVendorGroupCatalogue");
  EXPECT_EQ(test::KeyOf([] {
              TLVConnectionVendor(TLVClassRef::Of<TTestConnection>(),
                                  LVVendorGroup<TLVVendorGroupViewerCommon>(), {"C", "C", "C"},
                                  [] { return std::make_shared<TTestConnection>(); });
            }),
            "ErrVendorGroupCatalogue");

  TLVConnectionVendorList connections;
  auto plain = TLVComponentVendor::Make<TTestConnection, TLVVendorGroupDataBase>({"P", "P", "P"});
  EXPECT_EQ(test::KeyOf([&] { connections.Add(plain); }), "ErrVendorWrongFamily");
  auto warehouse =
      TLVConnectionVendor::Make<TTestConnection, TLVVendorGroupWareHouse>({"WH", "WH", "WH"});
  auto database =
      TLVConnectionVendor::Make<TTestConnection, TLVVendorGroupDataBase>({"DB", "DB", "DB"});
  auto drivers =
      TLVConnectionVendor::Make<TTestConnection, TLVVendorGroupUniDBIntf>({"UD", "UD", "UD"});
  auto web = TLVConnectionVendor::Make<TTestConnection, TLVVendorGroupWebServer>({"W", "W", "W"});
  connections.Add(warehouse);
  connections.Add(database);
  EXPECT_EQ(connections.Count(), 2);
  EXPECT_EQ(warehouse->ConnectionType(), TLVConnectionType::cntDataWarehouse);
  EXPECT_EQ(database->ConnectionType(), TLVConnectionType::cntDataBase);
  EXPECT_EQ(drivers->ConnectionType(), TLVConnectionType::cntDataBase);
  EXPECT_EQ(web->ConnectionType(), TLVConnectionType::cntUnknown);
  EXPECT_EQ(database->ComponentType(), TLVComponentType::ctConnection);

  TLVClassVendorList classes;
  EXPECT_EQ(test::KeyOf([&] { classes.Add(std::make_shared<TBareVendor>()); }),
            "ErrVendorWrongFamily");
  TLVComponentVendorList components;
  EXPECT_EQ(test::KeyOf([&] {
              components.Add(std::make_shared<TTestClassVendor>(TLVClassRef::Of<TSquare>()));
            }),
            "ErrVendorWrongFamily");
  EXPECT_EQ(components.Count(), 0);

  auto grid = TLVViewVendor::Make<TTestView, TLVVendorGroupViewerTableData>(
      {"Grid", "G", "G"},
      [](const TLVComponent& node) { return dynamic_cast<const TTestFilter*>(&node) != nullptr; });
  EXPECT_TRUE(grid->CanShow(TTestFilter()));
  EXPECT_FALSE(grid->CanShow(TTestImport()));
  EXPECT_EQ(grid->ComponentType(), TLVComponentType::ctView);
  components.Add(grid);
  EXPECT_NE(dynamic_cast<TTestView*>(components.CreateComponent("grid").get()), nullptr);
}

TEST(Vendor, ParentClassListServesADescendantByItsNearestRegisteredAncestor) {
  EXPECT_TRUE(TLVClassRef::Of<TSquare>().InheritsFrom(TLVClassRef::Of<TShape>()));
  EXPECT_TRUE(TLVClassRef::Of<TSquare>().InheritsFrom(TLVClassRef::Of<TSquare>()));
  EXPECT_FALSE(TLVClassRef::Of<TShape>().InheritsFrom(TLVClassRef::Of<TPolygon>()));
  EXPECT_FALSE(TLVClassRef::Of<TCircle>().InheritsFrom(TLVClassRef::Of<TPolygon>()));
  EXPECT_FALSE(TLVClassRef::Of<TUnrelated>().InheritsFrom(TLVClassRef::Of<TShape>()));

  // Registered most derived first, so "the last ancestor found" would be wrong.
  TLVParentClassVendorList list;
  auto polygon = std::make_shared<TTestClassVendor>(TLVClassRef::Of<TPolygon>());
  auto polygonAgain = std::make_shared<TTestClassVendor>(TLVClassRef::Of<TPolygon>());
  auto shape = std::make_shared<TTestClassVendor>(TLVClassRef::Of<TShape>());
  list.Add(polygon);
  list.Add(shape);
  list.Add(polygonAgain);

  EXPECT_EQ(list.FindForClass<TSquare>(), polygon.get());
  EXPECT_EQ(list.FindForClass<TPolygon>(), polygon.get());
  EXPECT_EQ(list.FindForClass<TCircle>(), shape.get());
  EXPECT_EQ(list.FindForClass<TShape>(), shape.get());
  EXPECT_EQ(list.FindForClass<TUnrelated>(), nullptr);
  // The exact look-up never climbs.
  EXPECT_EQ(list.FindByClass<TSquare>(), nullptr);
}

TEST(Vendor, ClassNamesAreWrittenWithoutNamespaces) {
  EXPECT_EQ(LVClassName(typeid(TLVDefaultColumnsInfoVendor)), "TLVDefaultColumnsInfoVendor");
  EXPECT_EQ(LVClassName(typeid(TSquare)), "TSquare");  // in an anonymous namespace
  EXPECT_EQ(TLVClassRef::Of<TLVVendorGroupImportFile>().Name(), "TLVVendorGroupImportFile");
  // Template arguments keep their qualification; only the outer name loses it.
  EXPECT_TRUE(LVClassName(typeid(TLVVendorGroupUnder<TLVVendorGroupImport>))
                  .starts_with("TLVVendorGroupUnder<lv::TLVVendorGroupImport"));
  EXPECT_EQ(LVVendorGroup<TLVVendorGroupDB>().ClassName(), "TLVVendorGroupDB");
}

TEST(Vendor, ProcessRegistriesAfterStartUp) {
  // The core knows no node kind; each kind arrives with its own library's start-up.
  EXPECT_EQ(LVComponentVendors().Count(), 0);
  EXPECT_EQ(LVConnectionVendors().Count(), 0);

  auto& columns = LVColumnsInfoVendors();
  const int32_t count = columns.Count();
  auto standard = columns.Get("TLVDefaultColumnsInfoVendor");
  EXPECT_EQ(standard->GetName(), TLVDefaultColumnsInfoVendor::kName);
  EXPECT_EQ(columns.Find("tlvdefaultcolumnsinfovendor"), standard);
  EXPECT_EQ(test::KeyOf([&] { columns.Get("TLVNoSuchColumnsVendor"); }), "ErrVendorNotFound");
  EXPECT_EQ(test::KeyOf([&] { columns.Add(std::make_shared<TLVDefaultColumnsInfoVendor>()); }),
            "ErrVendorNameTaken");
  RegisterCoreVendors();  // a second start-up changes nothing
  EXPECT_EQ(columns.Count(), count);

  // A tuned source restored from a project file gets its vendor by the persisted name.
  TLVTunedDataSource tuned;
  tuned.SetColumnsInfoVendor(columns.Get(std::string(tuned.GetColumnsInfoVendorName())));
  EXPECT_EQ(tuned.GetColumnsInfoVendorName(), "TLVDefaultColumnsInfoVendor");
}

TEST(VendorGroups, CatalogueStructureCaptionsAndDescriptions) {
  auto groups = AllVendorGroups();
  std::set<const TLVVendorGroup*> seen;
  std::vector<std::string> roots;
  auto& table = TLVLocalization::Instance();
  for (const TLVVendorGroup* group : groups) {
    EXPECT_TRUE(seen.insert(group).second) << group->ClassName();
    // A parent is listed before its children.
    if (group->Parent()) {
      EXPECT_TRUE(seen.contains(group->Parent())) << group->ClassName();
    } else {
      roots.push_back(group->ClassName());
    }
    for (const std::string& key : {std::string(group->CaptionKey()), group->DescriptionKey()}) {
      EXPECT_TRUE(table.RegisteredKeys().contains(key)) << key;
      EXPECT_TRUE(table.HasText(key)) << key;
    }
    EXPECT_TRUE(group->DescriptionKey().ends_with("GroupDesc")) << group->DescriptionKey();
  }
  EXPECT_EQ(roots, (std::vector<std::string>{"TLVVendorGroupImport", "TLVVendorGroupExport",
                                             "TLVVendorGroupAnalytic", "TLVVendorGroupViewer",
                                             "TLVVendorGroupConnection", "TLVVendorGroupMisc"}));

  EXPECT_EQ(LVVendorGroup<TLVVendorGroupImportFile>().Caption(), "Файлы данных");
  EXPECT_EQ(LVVendorGroup<TLVVendorGroupViewerOLAP>().Caption(), "OLAP анализ");
  EXPECT_EQ(LVVendorGroup<TLVVendorGroupExportDataBase>().Caption(), "Настроенные подключения");
  EXPECT_EQ(LVVendorGroup<TLVVendorGroupViewerWareHouse>().CaptionKey(),
            "ViewerWarehouseGroupName");
  EXPECT_EQ(LVVendorGroup<TLVVendorGroupAnalyticDataMining>().DescriptionKey(),
            "AnalyticDataMiningGroupDesc");

  // Nesting is both the class tree and the parent links.
  static_assert(std::is_base_of_v<TLVVendorGroupDB, TLVVendorGroupWareHouse>);
  static_assert(std::is_base_of_v<TLVVendorGroupConnection, TLVVendorGroupDataBase>);
  static_assert(!std::is_base_of_v<TLVVendorGroupImport, TLVVendorGroupExportFile>);
  const auto& warehouse = LVVendorGroup<TLVVendorGroupWareHouse>();
  EXPECT_EQ(warehouse.Parent(), &LVVendorGroup<TLVVendorGroupDB>());
  EXPECT_EQ(&warehouse.Root(), &LVVendorGroup<TLVVendorGroupConnection>());
  EXPECT_TRUE(warehouse.IsWithin(LVVendorGroup<TLVVendorGroupDB>()));
  EXPECT_FALSE(
      LVVendorGroup<TLVVendorGroupBusinessApp>().IsWithin(LVVendorGroup<TLVVendorGroupDB>()));
  EXPECT_EQ(CatalogueComponentType(LVVendorGroup<TLVVendorGroupExportFile>()),
            TLVComponentType::ctExport);
  EXPECT_EQ(CatalogueComponentType(LVVendorGroup<TLVVendorGroupMisc>()),
            TLVComponentType::ctUnknown);
}

}  // namespace
}  // namespace lv
