// The tuned layer of every model: the parent's columns with their purposes, and for
// each column that feeds the model (dsInput) or is learnt by it (dsOutput) the
// normalizer that codes it. Rows are the parent's rows.
//
// Normalizers are kept by column name, so a column list rebuilt from the parent keeps
// the user's choice. PrepareNormalizers computes the statistics of the used columns
// and fits every normalizer to them (the user's class while it still applies, else
// the first applicable one). NormalizeRows is the hot path: whole blocks of each column
// into a column-major matrix. Single-threaded, like every source.
#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "core/sources/LV_Progress.h"
#include "core/sources/LV_TunedDataSource.h"
#include "mining/normalizers/LV_Normalizer.h"

namespace lv {

class TLVNormalizerVendor;

class TLVTunedNormDataSource : public TLVTunedDataSource {
 public:
  // The indexes of the columns with the purpose, in column order.
  std::vector<int32_t> ColumnsOf(TLVDataStatus status) const;
  std::vector<int32_t> InputColumns() const { return ColumnsOf(TLVDataStatus::dsInput); }
  std::vector<int32_t> OutputColumns() const { return ColumnsOf(TLVDataStatus::dsOutput); }

  // The normalizer of column `index`, or null when it has none yet.
  TLVNormalizer* Normalizer(int32_t index) const;
  TLVNormalizer& RequireNormalizer(int32_t index) const;
  // Chooses the class of the column's normalizer; refused ("ErrNormalizerNotApplicable")
  // when the class cannot serve the column as its statistics stand.
  void SetNormalizerClass(int32_t index, std::string_view className);

  // Computes the statistics of the input and output columns and fits their normalizers;
  // a column no normalizer can serve is refused ("ErrColumnNotNormalizable").
  void PrepareNormalizers(ILVProgress* progress = nullptr);

  // Whether a normalizer created from now on maps to its helper's range ([0, 1] unless
  // changed) rather than passing values through: models whose functions saturate, like
  // a network's sigmoid, need their columns in that range.
  bool GetUnitRange() const { return unitRange_; }
  void SetUnitRange(bool value) { unitRange_ = value; }

  // Components of the columns together.
  int32_t WidthOf(std::span<const int32_t> columns) const;
  // The normalized values of `columns` for `count` rows into a column-major matrix with
  // leading dimension `ld`: the rows listed in `rows`, or the rows from `first` on
  // when `rows` is null.
  void NormalizeRows(std::span<const int32_t> columns, const TLVRowIndex* rows, TLVRowIndex first,
                     TLVRowIndex count, double* out, ptrdiff_t ld);

  // The tuned source's own settings, then "Columns" (every column's description) with
  // the normalizer of each column that has one under "Normalizer" ("ClassName" and its
  // keys): a trained model keeps reading a column the user has since switched off.
  void SaveSettingsTo(ILVSettingsSection& section) const override;
  void LoadSettingsFrom(const ILVSettingsSection& section) override;

 protected:
  // Rebuilds from the parent and gives every column back the purpose, kind and caption
  // the user chose, as long as its type is the same. The choices are remembered by
  // name across rebuilds: a project opens its nodes before their parents have columns,
  // and a rebuild over an empty parent must not forget them.
  void RebuildColumns() override;

 private:
  std::unique_ptr<TLVNormalizer> NewNormalizer(const TLVNormalizerVendor& vendor) const;

  std::map<std::string, std::unique_ptr<TLVNormalizer>, std::less<>> normalizers_;
  bool unitRange_ = false;
  TLVColumnsInfo remembered_;
};

void RegisterTunedNormDataSourceTexts();

}  // namespace lv
