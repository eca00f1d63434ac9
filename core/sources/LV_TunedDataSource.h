// The tuned layer of a handler: the handler's settings laid over its parent's columns
// (which columns are inputs or outputs, which are switched off...). Its rows are the
// parent's rows; its column list is produced by a column vendor from the parent's.
//
// Design mode and execute mode: while DesignMode is true, a change of the parent's
// columns rebuilds the list at once, keeping the user's settings of columns that
// still exist with the same type. While ExecuteMode is true the list is frozen as it
// was tuned, and opening checks that the parent still offers every column with its
// type (a scenario run unattended must not silently retune itself).
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/registry/LV_Properties.h"
#include "core/sources/LV_DataSource.h"

namespace lv {

// Makes the column list of a tuned source from its parent's; handlers specialise it to
// add, hide or retype columns. Persisted by name ("ColumnsInfoVendorName").
class TLVColumnsInfoVendor {
 public:
  virtual ~TLVColumnsInfoVendor() = default;
  virtual std::string_view GetName() const = 0;
  // Fills the empty `columns` from `parent`; `previous` is the list before the rebuild.
  virtual void BuildColumns(const ILVColumnsInfo& parent, const TLVColumnsInfo& previous,
                            TLVColumnsInfo& columns) const = 0;
};

// Copies the parent's columns, keeping the purpose, kind and caption the user gave a
// column that is still there with the same type.
class TLVDefaultColumnsInfoVendor : public TLVColumnsInfoVendor {
 public:
  static constexpr std::string_view kName = "TLVDefaultColumnsInfoVendor";
  std::string_view GetName() const override { return kName; }
  void BuildColumns(const ILVColumnsInfo& parent, const TLVColumnsInfo& previous,
                    TLVColumnsInfo& columns) const override;
};

class TLVTunedDataSource : public TLVDataSource {
 public:
  TLVTunedDataSource();

  ILVDataSource* GetDataSource() const { return ParentSource(); }
  void SetDataSource(std::shared_ptr<ILVDataSource> parent) { ReplaceParent(std::move(parent)); }

  const TLVColumnsInfoVendor& GetColumnsInfoVendor() const { return *vendor_; }
  std::string GetColumnsInfoVendorName() const { return std::string(vendor_->GetName()); }
  void SetColumnsInfoVendor(std::shared_ptr<const TLVColumnsInfoVendor> vendor);
  // Finds the vendor among the registered ones ("ErrVendorNotFound" when absent).
  void SetColumnsInfoVendorName(const std::string& name);

  bool GetDesignMode() const { return designMode_; }
  void SetDesignMode(bool value);
  bool GetExecuteMode() const { return executeMode_; }
  void SetExecuteMode(bool value);

  // The persisted settings: "ColumnsInfoVendorName", "DesignMode", "ExecuteMode".
  static const TLVPropertyTable<TLVTunedDataSource>& Properties();
  void SaveSettings(const TSettingsWriter& put) const override { Properties().Save(*this, put); }
  void LoadSettings(const TSettingsReader& get) override { Properties().Load(*this, get); }

  // Rebuilds the column list from the parent through the vendor, whatever the mode.
  void RefreshColumns();

  // Checks every used column's purpose against what it needs (statistics or unique
  // values); raises the first failure.
  void ValidatePurposes() const;
  // Raises "В исходном наборе данных слишком мало данных" below `minimum` rows.
  void CheckEnoughRows(TLVRowIndex minimum);
  // Raises when a model meets a value of a discrete column that it never saw.
  static void CheckUniqueValueKnown(const TLVColumnInfo& column, const TLVValue& value);

  // The parent column that feeds column `index` (-1 when the list is not resolved yet).
  int32_t ParentIndexOf(int32_t index) const;

 protected:
  enum class TLVPurposeNeed : uint8_t { pnNothing, pnStatistics, pnUniqueValues };
  // What a used column with its purpose needs; handlers override.
  virtual TLVPurposeNeed PurposeNeed(const TLVColumnInfo& column) const;

  void DoOpen() override;
  void DoClose() override;
  TLVRowIndex DoGetRowCount() override;
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;
  void DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out) override;
  void RebuildColumns() override;

 private:
  void ResolveParentIndexes();
  void BuildColumnsFromVendor();

  std::shared_ptr<const TLVColumnsInfoVendor> vendor_;
  std::vector<int32_t> parentIndex_;
  bool designMode_ = true;
  bool executeMode_ = false;
};

void RegisterTunedDataSourceTexts();

}  // namespace lv
