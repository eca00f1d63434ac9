// A filter node's settings come from project files: any bytes must load as a
// condition list or fail with ELVError, and a loaded list must render its query and
// display texts and filter a table (or refuse with ELVError), never crash or hang.
// What loads must save and load again to the same list.
#include <cstdint>
#include <memory>
#include <string_view>

#include "app/LV_AppMain.h"
#include "core/sources/LV_CachedDataSource.h"
#include "core/text/LV_Errors.h"
#include "project/LV_ConfigXML.h"
#include "transform/filter/LV_FilterData.h"

namespace {

// I (integer), F (float), D (date), B (Boolean), S (text): a row of each kind of
// value, missing ones included.
class TFuzzTable : public lv::TLVCachedDataSource {
 public:
  TFuzzTable() {
    Columns().AddColumn("I", lv::TLVDataType::dtInteger);
    Columns().AddColumn("F", lv::TLVDataType::dtFloat);
    Columns().AddColumn("D", lv::TLVDataType::dtDateTime);
    Columns().AddColumn("B", lv::TLVDataType::dtBoolean);
    Columns().AddColumn("S", lv::TLVDataType::dtString);
  }

 protected:
  void FillCache(lv::TLVDataCache& cache) override {
    const char* texts[] = {"абв", "ABC", "a%b_c\\", "", "O'Brien", "ß"};
    for (int r = 0; r < 12; ++r) {
      cache.AppendRow();
      if (r % 6 == 5) continue;  // a row of missing values
      cache.SetInteger(r, 0, r - 4);
      cache.SetFloat(r, 1, r * 0.75 - 2);
      cache.SetDateTime(r, 2, r % 2 ? 45400.5 + r * 13 : -r * 1.25);
      cache.SetBoolean(r, 3, r % 3 == 0);
      cache.SetString(r, 4, texts[r % 6]);
    }
  }
};

void Exercise(lv::TLVFilterData& node) {
  for (auto form : {lv::TLVQueryForm::qfPlain, lv::TLVQueryForm::qfNullSafe}) {
    try {
      node.Filter().QueryText(form, node.Filter().Context());
    } catch (const lv::ELVError&) {
    }
  }
  node.Filter().DisplayText();
  try {
    node.Filter().Validate();
  } catch (const lv::ELVError&) {
  }
  try {
    node.Open();
    if (node.GetRowCount() > 12) __builtin_trap();
  } catch (const lv::ELVError&) {
  }
  node.Close();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool started = (lv::LumiveraStartup(), true);
  (void)started;
  static auto table = [] {
    auto t = std::make_shared<TFuzzTable>();
    t->Open();
    return t;
  }();
  lv::TLVConfig config("Handler");
  try {
    lv::TLVXMLConfig().Read(std::string_view(reinterpret_cast<const char*>(data), size), config);
  } catch (const lv::ELVError&) {
    return 0;
  }
  lv::TLVFilterData node;
  node.SetClock([] { return 45427.5; });
  node.SetDataSource(table);
  try {
    node.LoadSettingsFrom(config.Root());
  } catch (const lv::ELVError&) {
    if (node.Filter().Count() != 0) __builtin_trap();  // a refused list changes nothing
    return 0;
  }
  Exercise(node);

  lv::TLVConfig saved("Handler");
  node.SaveSettingsTo(saved.Root());
  lv::TLVFilterData again;
  again.SetClock([] { return 45427.5; });
  again.SetDataSource(table);
  again.LoadSettingsFrom(saved.Root());
  if (again.Filter().DisplayText() != node.Filter().DisplayText()) __builtin_trap();
  return 0;
}
