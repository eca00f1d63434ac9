#include "core/registry/LV_VendorTree.h"

#include <gtest/gtest.h>

namespace lv {
namespace {

class TTestNode : public TLVComponent {};
class TTestLink : public TLVComponent {};

template <class TGroup>
std::shared_ptr<TLVComponentVendor> Kind(const std::string& id) {
  return TLVComponentVendor::Make<TTestNode, TGroup>({id, id, id + "Hint"});
}

TEST(VendorTree, ShowsVisibleKindsUnderTheirGroupsInCatalogueOrder) {
  TLVComponentVendorList list;
  // Registered out of catalogue order and across catalogues on purpose.
  auto filter = Kind<TLVVendorGroupAnalyticTransform>("Filter");
  auto hidden = Kind<TLVVendorGroupAnalyticTransform>("Hidden");
  auto cleaner = Kind<TLVVendorGroupAnalyticRefining>("Cleaner");
  auto importKind = Kind<TLVVendorGroupImportFile>("Import");
  auto loose = Kind<TLVVendorGroupAnalytic>("Loose");
  auto sorter = Kind<TLVVendorGroupAnalyticTransform>("Sorter");
  hidden->SetVisible(false);
  for (const auto& vendor : {filter, hidden, cleaner, importKind, loose, sorter}) list.Add(vendor);

  TLVVendorComponentTree tree(list, LVVendorGroup<TLVVendorGroupAnalytic>());
  // Vendors of the root first, then non-empty groups in catalogue order; empty groups
  // ("Зависимые", "Data Mining", "Прочее") and the hidden kind are left out.
  EXPECT_EQ(tree.ToText(),
            "Обработка\n"
            "  [Loose]\n"
            "  Очистка данных\n"
            "    [Cleaner]\n"
            "  Трансформация данных\n"
            "    [Filter]\n"
            "    [Sorter]\n");
  EXPECT_EQ(
      list.Catalogue(LVVendorGroup<TLVVendorGroupAnalytic>()),
      (std::vector<TLVComponentVendor*>{loose.get(), cleaner.get(), filter.get(), sorter.get()}));
  EXPECT_EQ(tree.FindVendor(*hidden), nullptr);
  EXPECT_EQ(tree.FindVendor(*importKind), nullptr);

  const TLVVisualClassVendorTreeNode* node = tree.FindVendor(*sorter);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(TLVVendorComponentTree::ComponentVendor(*node), sorter.get());
  EXPECT_EQ(node->Parent()->Group(), &LVVendorGroup<TLVVendorGroupAnalyticTransform>());
  EXPECT_EQ(node->Parent()->Parent(), &tree.Root());
  EXPECT_EQ(tree.Root().Parent(), nullptr);

  // Shown again after a rebuild, in its registration place.
  hidden->SetVisible(true);
  tree.Rebuild();
  const auto& transform = tree.Root()[2];
  ASSERT_EQ(transform.Count(), 3);
  EXPECT_EQ(transform[1].Vendor(), hidden.get());
  EXPECT_EQ(transform[1].Caption(), "[Hidden]");

  // A catalogue with nothing registered is its root alone.
  TLVVendorComponentTree exports(list, LVVendorGroup<TLVVendorGroupExport>());
  EXPECT_EQ(exports.ToText(), "Экспорт\n");
}

TEST(VendorTree, ConnectionTreeNestsWarehousesAndDatabasesUnderTheirCommonGroup) {
  TLVConnectionVendorList list;
  auto database =
      TLVConnectionVendor::Make<TTestLink, TLVVendorGroupDataBase>({"Sql", "Sql", "SqlHint"});
  auto warehouse =
      TLVConnectionVendor::Make<TTestLink, TLVVendorGroupWareHouse>({"Dw", "Dw", "DwHint"});
  auto business =
      TLVConnectionVendor::Make<TTestLink, TLVVendorGroupBusinessApp>({"Erp", "Erp", "ErpHint"});
  list.Add(database);
  list.Add(business);
  list.Add(warehouse);
  TLVConnectionVendorTree tree(list);
  EXPECT_EQ(tree.ToText(),
            "Подключения\n"
            "  Базы данных и хранилища\n"
            "    Хранилища данных\n"
            "      [Dw]\n"
            "    Базы данных\n"
            "      [Sql]\n"
            "  Бизнес-приложения\n"
            "    [Erp]\n");
  EXPECT_EQ(
      TLVConnectionVendorTree::ConnectionVendor(*tree.FindVendor(*business))->ConnectionType(),
      TLVConnectionType::cntBusinessApplication);
}

}  // namespace
}  // namespace lv
