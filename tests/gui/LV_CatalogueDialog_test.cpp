#include "gui/LV_CatalogueDialog.h"

#include <gtest/gtest.h>

#include <QTreeWidget>

#include "core/registry/LV_Vendor.h"
#include "project/LV_Project.h"

namespace lv {
namespace {

TEST(CatalogueDialog, OffersTheKindsThatFitUnderTheNodeAndHidesInvisibleOnes) {
  TLVProject project;
  TModelTreeNode& import = project.AddNode(nullptr, "TextFile");
  TModelTreeNode& exportNode = project.AddNode(&import, "ExportStd");

  TLVCatalogueDialog roots(nullptr);
  EXPECT_TRUE(roots.SelectVendor("TextFile"));
  EXPECT_EQ(roots.SelectedVendorID(), "TextFile");
  EXPECT_FALSE(roots.SelectVendor("Calc"));  // a handler needs a parent

  TLVCatalogueDialog handlers(&import);
  EXPECT_TRUE(handlers.SelectVendor("calc"));  // identifiers match without regard to case
  EXPECT_EQ(handlers.SelectedVendorID(), "Calc");
  EXPECT_TRUE(handlers.SelectVendor("GuiEndless"));
  EXPECT_FALSE(handlers.SelectVendor("TextFile"));
  // A group is not a kind: selecting it selects nothing to add.
  handlers.Tree()->setCurrentItem(handlers.Tree()->topLevelItem(0));
  EXPECT_EQ(handlers.SelectedVendorID(), "");

  EXPECT_EQ(TLVCatalogueDialog(&exportNode).Tree()->topLevelItemCount(), 0);

  TLVComponentVendor& endless = LVComponentVendors().VendorByID("GuiEndless");
  endless.SetVisible(false);
  EXPECT_FALSE(TLVCatalogueDialog(&import).SelectVendor("GuiEndless"));
  endless.SetVisible(true);
}

}  // namespace
}  // namespace lv
