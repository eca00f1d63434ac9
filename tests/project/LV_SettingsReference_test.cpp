#include "project/LV_SettingsReference.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "project/LV_Project.h"
#include "project/LV_ProjectTestHelpers.h"

namespace lv {
namespace {

// The source tree, from the data folder this program is told of (which need not exist).
const std::filesystem::path kSource =
    (std::filesystem::path(LV_TEST_DATA_DIR) / "../../..").lexically_normal();

// The product's node kinds: these tests register kinds of their own, named "Test...".
std::vector<const TLVComponentVendor*> ProductNodeKinds() {
  std::vector<const TLVComponentVendor*> kinds;
  const TLVComponentVendorList& vendors = LVComponentVendors();
  for (int32_t i = 0; i < vendors.Count(); ++i) {
    const TLVComponentVendor& vendor = vendors[i];
    TLVComponentType type = vendor.ComponentType();
    if (vendor.Identifier().starts_with("Test") || type == TLVComponentType::ctView ||
        type == TLVComponentType::ctConnection) {
      continue;
    }
    kinds.push_back(&vendor);
  }
  return kinds;
}

// The reference in docs/project-file.md is what the tables say. After a change of the
// tables, LV_UPDATE_DOCS=1 lets this test write the new reference into the document.
TEST(SettingsReference, TheProjectFileDocumentHasTheTablesReference) {
  std::filesystem::path path = kSource / "docs/project-file.md";
  std::string document = test::ReadText(path);
  std::string reference = SettingsReference(ProductNodeKinds());
  std::string expected = ReplaceSettingsReference(document, reference);
  ASSERT_FALSE(expected.empty()) << "the markers of the reference are missing";
  if (expected != document && std::getenv("LV_UPDATE_DOCS")) {
    test::WriteText(path, expected);
    document = expected;
  }
  EXPECT_EQ(document, expected) << "docs/project-file.md is out of date: run this test with "
                                   "LV_UPDATE_DOCS=1";
  // The kinds the demo and the users need most are there with their settings' values.
  for (const char* part : {"### `TextFile`", "### `Calc`", "### `FilterData`", "`DataKind`",
                           "`dkDiscrete` (Дискретный)", "one `Expression` per item",
                           "| `DelimiterChar` | character | `&#9;` |"}) {
    EXPECT_NE(reference.find(part), std::string::npos) << part;
  }
}

// A section, a list and an enumeration are described from a table; the describing
// goes as deep as the tables nest.
TEST(SettingsReference, SectionsAndListsAreDescribedWithTheirItems) {
  TLVComponentVendor* calc = LVComponentVendors().FindByID("Calc");
  ASSERT_NE(calc, nullptr);
  std::string text = SettingsReference({calc});
  EXPECT_NE(text.find("| `Calc` |"), std::string::npos) << text;
  EXPECT_NE(text.find("Section `Expressions`, one `Expression` per item:\n\n| setting |"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("| `Cached` | Boolean | `False` |  |"), std::string::npos) << text;
  TLVComponentVendor* filter = LVComponentVendors().FindByID("FilterData");
  ASSERT_NE(filter, nullptr);
  EXPECT_NE(SettingsReference({filter}).find(
                "Section `Filter/FilterColumns/FilterColumnItem/CompareValues`, one "
                "`CompareValueItem` per item"),
            std::string::npos);
  EXPECT_EQ(ReplaceSettingsReference("no markers", text), "");
}

// The complete example of the document is the demo project, and the demo uses no
// setting that the program would not know.
// LV_UPDATE_DOCS=1 copies the demo into the document's example as well.
TEST(SettingsReference, TheDocumentsExampleIsTheDemoProject) {
  const std::filesystem::path path = kSource / "docs/project-file.md";
  std::string document = test::ReadText(path);
  std::string demo = test::ReadText(kSource / "demo/sales.lvp");
  size_t heading = document.find("## A complete example");
  ASSERT_NE(heading, std::string::npos);
  size_t begin = document.find("```xml\n", heading);
  ASSERT_NE(begin, std::string::npos);
  begin += 7;
  size_t end = document.find("```", begin);
  ASSERT_NE(end, std::string::npos);
  if (document.compare(begin, end - begin, demo) != 0 && std::getenv("LV_UPDATE_DOCS")) {
    test::WriteText(path, document.replace(begin, end - begin, demo));
    end = begin + demo.size();
  }
  EXPECT_EQ(document.substr(begin, end - begin), demo)
      << "docs/project-file.md shows another project: run this test with LV_UPDATE_DOCS=1";

  TLVEnvVariables variables;
  test::TRecordingUI ui;
  TLVProject project(variables);
  project.SetStrictLoading(true);
  project.Open(kSource / "demo/sales.lvp", ui);
  EXPECT_GT(project.NodeCount(), 5);
  EXPECT_TRUE(ui.warnings.empty());
}

}  // namespace
}  // namespace lv
