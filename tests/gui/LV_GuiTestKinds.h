// Node kinds made for the shell's tests: a generated table of any size (a number, a
// text and a column with gaps), and an export that keeps working until it is
// cancelled. RegisterGuiTestKinds() adds them to the registry once.
#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "core/registry/LV_Properties.h"
#include "core/registry/LV_Vendor.h"
#include "core/sources/LV_DataSource.h"
#include "core/sources/LV_Progress.h"
#include "core/text/LV_Errors.h"

namespace lv::test {

// Row i: "n" = i, "name" = kNames[i % 4], "gap" = i unless i is a multiple of 3.
class TGuiRows : public TLVDataSource {
 public:
  static constexpr const char* kNames[] = {"яблоко", "Ёж", "арбуз", "Береза"};

  TGuiRows() {
    Columns().AddColumn("n", TLVDataType::dtInteger);
    Columns().AddColumn("name", TLVDataType::dtString);
    Columns().AddColumn("gap", TLVDataType::dtFloat);
  }
  int32_t GetRows() const { return rows_; }
  void SetRows(int32_t value) {
    if (value < 0) throw ELVError("ErrPropertyValue", {value, "Rows"});
    if (value == rows_) return;
    rows_ = value;
    Close();
  }
  static const TLVPropertyTable<TGuiRows>& Properties() {
    static const auto table = [] {
      TLVPropertyTable<TGuiRows> t;
      t.Add("Rows", &TGuiRows::GetRows, &TGuiRows::SetRows, 10);
      return t;
    }();
    return table;
  }
  void SaveSettings(const TSettingsWriter& put) const override { Properties().Save(*this, put); }
  void LoadSettings(const TSettingsReader& get) override { Properties().Load(*this, get); }

 protected:
  TLVRowIndex DoGetRowCount() override { return rows_; }
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override {
    out.Reset(Columns()[column].GetDataType(), count);
    for (int32_t i = 0; i < count; ++i) {
      const TLVRowIndex row = first + i;
      out.Valid()[i] = 1;
      if (column == 0) {
        out.Integers()[i] = static_cast<int32_t>(row);
      } else if (column == 1) {
        out.Strings()[i] = kNames[row % 4];
      } else {
        out.Valid()[i] = row % 3 != 0;
        out.Numbers()[i] = static_cast<double>(row);
      }
    }
  }

 private:
  int32_t rows_ = 10;
};

// Works in steps of a millisecond, reporting each, until cancelled (or a minute has
// passed, so that a broken cancellation fails the test instead of hanging it).
class TGuiEndless : public TLVComponent, public ILVExecutable {
 public:
  void Execute(ILVProgress* progress) override {
    TLVProgressScope scope(progress, "Бесконечная работа", 60000);
    for (int64_t step = 0; step < 60000; ++step) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      scope.Step(step);
    }
  }
};

inline void RegisterGuiTestKinds() {
  TLVComponentVendorList& vendors = LVComponentVendors();
  if (vendors.FindByID("GuiRows")) return;
  vendors.Add(TLVComponentVendor::Make<TGuiRows, TLVVendorGroupImportOther>(
      {"GuiRows", "GuiRowsCaption", "GuiRowsHint"}));
  vendors.Add(TLVComponentVendor::Make<TGuiEndless, TLVVendorGroupExportOther>(
      {"GuiEndless", "GuiEndlessCaption", "GuiEndlessHint"}));
}

}  // namespace lv::test
