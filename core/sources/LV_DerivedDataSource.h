// The output of a handler: a table computed from the parent's. Each output column is
// either one of the parent's, passed through by name, or computed by the handler
// (ComputeBlock). The default passes every parent column through; handlers override
// DefineColumns to add, drop or reorder.
#pragma once

#include <memory>
#include <string>

#include "core/sources/LV_DataSource.h"

namespace lv {

class TLVDerivedColumn : public TLVColumn {
 public:
  // The parent column passed through (empty for a computed column).
  const std::string& GetSourceName() const { return sourceName_; }
  void SetSourceName(std::string_view name) { sourceName_ = name; }
  bool Computed() const { return sourceName_.empty(); }
  // Resolved on open: the parent column's position (-1 for a computed column).
  int32_t SourceIndex() const { return sourceIndex_; }

  void Assign(const TLVColumnInfo& source) override;

 private:
  friend class TLVDerivedDataSource;
  std::string sourceName_;
  int32_t sourceIndex_ = -1;
};

class TLVDerivedColumns : public TLVColumns {
 public:
  using TLVColumns::TLVColumns;
  TLVDerivedColumn& Derived(int32_t index) const {
    return static_cast<TLVDerivedColumn&>((*this)[index]);
  }

 protected:
  std::shared_ptr<TLVColumnInfo> NewItem() const override;
};

class TLVDerivedDataSource : public TLVDataSource {
 public:
  TLVDerivedDataSource();

  ILVDataSource* GetDataSource() const { return ParentSource(); }
  void SetDataSource(std::shared_ptr<ILVDataSource> parent) { ReplaceParent(std::move(parent)); }

  TLVDerivedColumns& DerivedColumns() { return static_cast<TLVDerivedColumns&>(Columns()); }
  const TLVDerivedColumns& DerivedColumns() const {
    return static_cast<const TLVDerivedColumns&>(Columns());
  }

  // Rebuilds the output columns after a change of the handler's settings (a change of
  // the parent does it by itself).
  void RedefineColumns() { Restructure(); }

 protected:
  // Fills the empty column list; the default passes every parent column through.
  virtual void DefineColumns();
  TLVDerivedColumn& AddPassThrough(const ILVColumnInfo& parentColumn);
  TLVDerivedColumn& AddComputed(std::string_view name, TLVDataType type);

  // Values of a computed column.
  virtual void ComputeBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out);
  // Default: ComputeBlock once per run of consecutive rows.
  virtual void ComputeRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out);

  void DoOpen() override;
  TLVRowIndex DoGetRowCount() override;
  void DoReadBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) override;
  void DoReadRows(int32_t column, const TLVRowIndex* rows, int32_t count, TLVBlock& out) override;
  void RebuildColumns() override;
};

void RegisterDerivedDataSourceTexts();

}  // namespace lv
