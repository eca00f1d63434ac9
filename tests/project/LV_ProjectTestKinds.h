// Node kinds made for the project and app tests: an import with a number of rows, a
// pass-through handler with a collection setting, an export that writes a file, a
// view, a join-like node that refers to another node, and a node with a model. Each
// can be told to fail. RegisterProjectTestKinds() adds them to the registry once.
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/registry/LV_Properties.h"
#include "core/registry/LV_Vendor.h"
#include "core/sources/LV_DataSource.h"
#include "core/sources/LV_Progress.h"
#include "project/LV_Config.h"
#include "project/LV_ConfigConvert.h"

namespace lv::test {

// A source of `Rows` rows of one float column "x" (x = row number).
class TTestSource : public TLVDataSource {
 public:
  TTestSource() { Columns().AddColumn("x", TLVDataType::dtFloat); }
  int32_t GetRows() const { return rows_; }
  void SetRows(int32_t value) {
    if (value < 0) throw ELVError("ErrPropertyValue", {value, "Rows"});
    rows_ = value;
  }
  bool GetFail() const { return fail_; }
  void SetFail(bool value) { fail_ = value; }
  const std::string& GetLabel() const { return label_; }
  void SetLabel(const std::string& value) { label_ = value; }
  char GetSeparator() const { return separator_; }
  void SetSeparator(char value) { separator_ = value; }

  static const TLVPropertyTable<TTestSource>& Properties() {
    static const auto table = [] {
      TLVPropertyTable<TTestSource> t;
      t.Add("Rows", &TTestSource::GetRows, &TTestSource::SetRows, 3)
          .Add("Fail", &TTestSource::GetFail, &TTestSource::SetFail, false)
          .Add("Label", &TTestSource::GetLabel, &TTestSource::SetLabel, std::string())
          .Add("Separator", &TTestSource::GetSeparator, &TTestSource::SetSeparator, ';');
      return t;
    }();
    return table;
  }
  void SaveSettings(const TSettingsWriter& put) const override { Properties().Save(*this, put); }
  void LoadSettings(const TSettingsReader& get) override { Properties().Load(*this, get); }

 protected:
  void DoOpen() override {
    if (fail_) throw std::runtime_error("источник недоступен");
  }
  TLVRowIndex DoGetRowCount() override { return rows_; }
  void DoReadBlock(int32_t, TLVRowIndex first, int32_t count, TLVBlock& out) override {
    out.Reset(TLVDataType::dtFloat, count);
    for (int32_t i = 0; i < count; ++i) {
      out.Valid()[i] = 1;
      out.Numbers()[i] = static_cast<double>(first + i);
    }
  }

 private:
  int32_t rows_ = 3;
  bool fail_ = false;
  std::string label_;
  char separator_ = ';';
};

// An item of the handler's collection setting.
class TTestItem : public TLVCollectionItem {
 public:
  int32_t GetWeight() const { return weight_; }
  void SetWeight(int32_t value) { weight_ = value; }
  TLVDataStatus GetStatus() const { return status_; }
  void SetStatus(TLVDataStatus value) { status_ = value; }
  static const TLVPropertyTable<TTestItem>& Properties() {
    static const auto table = [] {
      TLVPropertyTable<TTestItem> t;
      t.Add("Name", &TTestItem::GetName, &TTestItem::SetName, std::string())
          .Add("Weight", &TTestItem::GetWeight, &TTestItem::SetWeight, 1)
          .Add("Status", &TTestItem::GetStatus, &TTestItem::SetStatus, TLVDataStatus::dsInput);
      return t;
    }();
    return table;
  }

 private:
  int32_t weight_ = 1;
  TLVDataStatus status_ = TLVDataStatus::dsInput;
};

// Passes its parent's rows through. Its settings are at version 2: version 1 called
// "Scale" "OldScale" (the converter registered with the kinds renames it).
class TTestHandler : public TLVDataSource {
 public:
  int32_t GetScale() const { return scale_; }
  void SetScale(int32_t value) { scale_ = value; }
  bool GetFail() const { return fail_; }
  void SetFail(bool value) { fail_ = value; }
  TLVCollectionOf<TTestItem>& Items() { return items_; }
  const TLVCollectionOf<TTestItem>& Items() const { return items_; }

  static const TLVPropertyTable<TTestHandler>& Properties() {
    static const auto table = [] {
      TLVPropertyTable<TTestHandler> t;
      t.Add("Scale", &TTestHandler::GetScale, &TTestHandler::SetScale, 1)
          .Add("Fail", &TTestHandler::GetFail, &TTestHandler::SetFail, false)
          .AddCollection(
              "Items", "Item", [](auto& o) -> auto& { return o.Items(); }, TTestItem::Properties());
      return t;
    }();
    return table;
  }
  void SaveSettingsTo(ILVSettingsSection& section) const override {
    Properties().Save(*this, section);
  }
  void LoadSettingsFrom(const ILVSettingsSection& section) override {
    Properties().Load(*this, section);
  }
  int32_t SettingsVersion() const override { return 2; }
  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    ReplaceParent(std::move(parent));
  }

 protected:
  void RebuildColumns() override {
    CopyColumnsOf(ParentSource() ? &ParentSource()->GetColumnsInfo() : nullptr);
  }
  void DoOpen() override {
    if (fail_) throw std::runtime_error("обработчик сломан");
    RequireParent().Open();
  }
  TLVRowIndex DoGetRowCount() override { return RequireParent().GetRowCount(); }
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override {
    RequireParent().ReadBlock(column, first, count, out);
  }

 private:
  int32_t scale_ = 1;
  bool fail_ = false;
  TLVCollectionOf<TTestItem> items_;
};

// A handler that refers to another node of the scenario by its identifier.
class TTestJoin : public TTestHandler {
 public:
  const std::string& GetOther() const { return other_; }
  void SetOther(const std::string& value) { other_ = value; }
  static const TLVPropertyTable<TTestJoin>& JoinProperties() {
    static const auto table = [] {
      TLVPropertyTable<TTestJoin> t;
      t.Add("Other", &TTestJoin::GetOther, &TTestJoin::SetOther, std::string());
      return t;
    }();
    return table;
  }
  void SaveSettingsTo(ILVSettingsSection& section) const override {
    JoinProperties().Save(*this, section);
  }
  void LoadSettingsFrom(const ILVSettingsSection& section) override {
    JoinProperties().Load(*this, section);
  }
  int32_t SettingsVersion() const override { return 1; }
  std::vector<std::string> NodeReferences() const override {
    return other_.empty() ? std::vector<std::string>{} : std::vector<std::string>{other_};
  }

 private:
  std::string other_;
};

// Writes the number of rows of its parent into FileName.
class TTestExport : public TLVComponent, public ILVExecutable {
 public:
  const std::string& GetFileName() const { return fileName_; }
  void SetFileName(const std::string& value) { fileName_ = value; }
  static const TLVPropertyTable<TTestExport>& Properties() {
    static const auto table = [] {
      TLVPropertyTable<TTestExport> t;
      t.Add("FileName", &TTestExport::GetFileName, &TTestExport::SetFileName, std::string());
      return t;
    }();
    return table;
  }
  void SaveSettings(const TSettingsWriter& put) const override { Properties().Save(*this, put); }
  void LoadSettings(const TSettingsReader& get) override { Properties().Load(*this, get); }
  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    source_ = std::move(parent);
  }
  void Execute(ILVProgress* progress) override {
    if (!source_) throw std::runtime_error("нет источника");
    TLVProgressScope scope(progress, "Экспорт", 1);
    WriteFileAtomically(fileName_, std::to_string(source_->GetRowCount()));
    scope.Step(1);
  }

 private:
  std::string fileName_;
  std::shared_ptr<ILVDataSource> source_;
};

class TTestView : public TLVComponent {
 public:
  const std::string& GetTitle() const { return title_; }
  void SetTitle(const std::string& value) { title_ = value; }
  static const TLVPropertyTable<TTestView>& Properties() {
    static const auto table = [] {
      TLVPropertyTable<TTestView> t;
      t.Add("Title", &TTestView::GetTitle, &TTestView::SetTitle, std::string());
      return t;
    }();
    return table;
  }
  void SaveSettings(const TSettingsWriter& put) const override { Properties().Save(*this, put); }
  void LoadSettings(const TSettingsReader& get) override { Properties().Load(*this, get); }
  void SetParentSource(std::shared_ptr<ILVDataSource> parent) override {
    shown = std::move(parent);
  }
  std::shared_ptr<ILVDataSource> shown;

 private:
  std::string title_;
};

// A node with a model: counts how often it was retrained.
class TTestModel : public TTestHandler, public ILVTeachable {
 public:
  void Teach(ILVProgress*) override { ++teachCount; }
  int32_t SettingsVersion() const override { return 1; }
  static inline int teachCount = 0;
};

inline void RegisterProjectTestKinds() {
  TLVComponentVendorList& vendors = LVComponentVendors();
  if (vendors.FindByID("TestSource")) return;
  vendors.Add(TLVComponentVendor::Make<TTestSource, TLVVendorGroupImportOther>(
      {"TestSource", "TestSourceCaption", "TestSourceHint"}));
  vendors.Add(TLVComponentVendor::Make<TTestHandler, TLVVendorGroupAnalyticOther>(
      {"TestHandler", "TestHandlerCaption", "TestHandlerHint"}));
  vendors.Add(TLVComponentVendor::Make<TTestJoin, TLVVendorGroupAnalyticOther>(
      {"TestJoin", "TestJoinCaption", "TestJoinHint"}));
  vendors.Add(TLVComponentVendor::Make<TTestModel, TLVVendorGroupAnalyticDataMining>(
      {"TestModel", "TestModelCaption", "TestModelHint"}));
  vendors.Add(TLVComponentVendor::Make<TTestExport, TLVVendorGroupExportOther>(
      {"TestExport", "TestExportCaption", "TestExportHint"}));
  vendors.Add(TLVViewVendor::Make<TTestView, TLVVendorGroupViewerCommon>(
      {"TestView", "TestViewCaption", "TestViewHint"}));
  LVConfigConvertVendors().Add(
      std::make_shared<TLVConfigConvertFunction>("TTestHandler", 1, 2, [](TLVConfigNode& element) {
        if (element.Params().Has("OldScale")) element.Params().Rename("OldScale", "Scale");
      }));
}

}  // namespace lv::test
