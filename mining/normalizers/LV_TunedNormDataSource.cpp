#include "mining/normalizers/LV_TunedNormDataSource.h"

#include <algorithm>

#include "core/columns/LV_ColumnStats.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"
#include "mining/normalizers/LV_LinearNormalizer.h"
#include "mining/normalizers/LV_NormalizerVendor.h"

namespace lv {

namespace {

bool Consecutive(const TLVRowIndex* rows, int32_t count) {
  TLVRowIndex gaps = 0;
  for (int32_t i = 1; i < count; ++i) gaps |= rows[i] - rows[i - 1] - 1;
  return gaps == 0;
}

bool FeedsModel(TLVDataStatus status) {
  return status == TLVDataStatus::dsInput || status == TLVDataStatus::dsOutput;
}

}  // namespace

std::vector<int32_t> TLVTunedNormDataSource::ColumnsOf(TLVDataStatus status) const {
  std::vector<int32_t> indexes;
  for (int32_t i = 0; i < Columns().Count(); ++i) {
    if (Columns()[i].GetDataStatus() == status) indexes.push_back(i);
  }
  return indexes;
}

TLVNormalizer* TLVTunedNormDataSource::Normalizer(int32_t index) const {
  CheckColumnIndex(index);
  auto it = normalizers_.find(Columns()[index].GetName());
  return it == normalizers_.end() ? nullptr : it->second.get();
}

TLVNormalizer& TLVTunedNormDataSource::RequireNormalizer(int32_t index) const {
  TLVNormalizer* normalizer = Normalizer(index);
  if (!normalizer || !normalizer->HasColumn()) throw ELVError("ErrNormColumnsNotCreated");
  return *normalizer;
}

std::unique_ptr<TLVNormalizer> TLVTunedNormDataSource::NewNormalizer(
    const TLVNormalizerVendor& vendor) const {
  std::unique_ptr<TLVNormalizer> normalizer = vendor.Create();
  // Only the linear one: the range of a constant or one-valued column is empty, and
  // mapping from it would turn every value into NaN.
  if (unitRange_ && normalizer->ClassName() == TLVLinearNormalizer::kClassName) {
    normalizer->Helper()->SetEnabled(true);
  }
  return normalizer;
}

void TLVTunedNormDataSource::SetNormalizerClass(int32_t index, std::string_view className) {
  CheckColumnIndex(index);
  const TLVColumnInfo& column = Columns()[index];
  TLVNormalizer* current = Normalizer(index);
  if (current && current->ClassName() == className) return;
  auto vendor = LVNormalizers().Get(className);
  std::unique_ptr<TLVNormalizer> normalizer = NewNormalizer(*vendor);
  if (column.GetStatInfo()) {
    if (!vendor->IsApplicableTo(column)) {
      throw ELVError("ErrNormalizerNotApplicable", {vendor->Caption(), column.GetName()});
    }
    normalizer->SetColumn(column);
  }
  Close();
  normalizers_[column.GetName()] = std::move(normalizer);
  NotifyListeners(TLVNotifyReason::nrColumnsChanged);
}

void TLVTunedNormDataSource::PrepareNormalizers(ILVProgress* progress) {
  std::vector<int32_t> used;
  for (int32_t i = 0; i < Columns().Count(); ++i) {
    if (FeedsModel(Columns()[i].GetDataStatus())) used.push_back(i);
  }
  // Unique values are gathered for discrete columns only: a continuous column of
  // millions of distinct reals would cost memory and time for a list nobody reads.
  std::vector<int32_t> continuous, discrete;
  for (int32_t index : used) {
    (Columns()[index].GetDataKind() == TLVDataKind::dkDiscrete ? discrete : continuous)
        .push_back(index);
  }
  auto moments = ComputeColumnStats(*this, continuous, progress, {.uniqueValues = false});
  auto lists = ComputeColumnStats(*this, discrete, progress);
  std::vector<std::shared_ptr<TLVStatInfo>> stats;
  for (int32_t index : used) {
    const bool isDiscrete = Columns()[index].GetDataKind() == TLVDataKind::dkDiscrete;
    auto& from = isDiscrete ? lists : moments;
    const auto& order = isDiscrete ? discrete : continuous;
    stats.push_back(
        from[static_cast<size_t>(std::find(order.begin(), order.end(), index) - order.begin())]);
  }
  // Choose every class first, so that a column no normalizer serves changes nothing.
  std::vector<TLVColumnInfo> described(used.size());
  std::vector<std::shared_ptr<const TLVNormalizerVendor>> vendors;
  for (size_t u = 0; u < used.size(); ++u) {
    TLVColumnInfo& column = described[u];
    column.Assign(Columns()[used[u]]);
    column.SetStatInfo(stats[u]);
    TLVNormalizer* chosen = Normalizer(used[u]);
    std::shared_ptr<const TLVNormalizerVendor> vendor =
        chosen ? LVNormalizers().Find(chosen->ClassName()) : nullptr;
    if (!vendor || !vendor->IsApplicableTo(column)) {
      vendor = LVNormalizers().ApplicableTo(column).front();
    }
    if (vendor->GetName() == TLVUnUsableColumnNormalizer::kClassName) {
      throw ELVError("ErrColumnNotNormalizable", {column.GetName()});
    }
    vendors.push_back(std::move(vendor));
  }
  Close();
  for (size_t u = 0; u < used.size(); ++u) {
    Columns()[used[u]].SetStatInfo(stats[u]);
    std::unique_ptr<TLVNormalizer>& slot = normalizers_[Columns()[used[u]].GetName()];
    // The user's settings of a class that still applies carry over to the new statistics.
    if (!slot || slot->ClassName() != vendors[u]->GetName()) slot = NewNormalizer(*vendors[u]);
    slot->SetColumn(described[u]);
  }
}

void TLVTunedNormDataSource::RebuildColumns() {
  for (int32_t i = 0; i < Columns().Count(); ++i) {
    const TLVColumnInfo& column = Columns()[i];
    const int32_t at = remembered_.IndexOfName(column.GetName());
    TLVColumnInfo& kept =
        at >= 0 ? remembered_[at] : remembered_.AddColumn(column.GetName(), column.GetDataType());
    kept.Assign(column);
  }
  TLVTunedDataSource::RebuildColumns();
  for (int32_t i = 0; i < Columns().Count(); ++i) {
    TLVColumnInfo& column = Columns()[i];
    const TLVColumnInfo* kept = remembered_.Find(column.GetName());
    if (!kept || kept->GetDataType() != column.GetDataType()) continue;
    column.SetDataKind(kept->GetDataKind());
    column.SetDataStatus(kept->GetDataStatus());
    column.SetDisplayName(kept->StoredDisplayName());
  }
}

int32_t TLVTunedNormDataSource::WidthOf(std::span<const int32_t> columns) const {
  int32_t width = 0;
  for (int32_t index : columns) width += RequireNormalizer(index).OutputWidth();
  return width;
}

void TLVTunedNormDataSource::NormalizeRows(std::span<const int32_t> columns,
                                           const TLVRowIndex* rows, TLVRowIndex first,
                                           TLVRowIndex count, double* out, ptrdiff_t ld) {
  TLVLockGuard lock(*this);
  TLVBlock block;
  ptrdiff_t component = 0;
  for (int32_t index : columns) {
    const TLVNormalizer& normalizer = RequireNormalizer(index);
    for (TLVRowIndex at = 0; at < count; at += kLVBlockSize) {
      const auto n = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, count - at));
      // A run of consecutive rows (a training set in source order) reads as a block.
      if (rows && !Consecutive(rows + at, n)) {
        ReadRows(index, rows + at, n, block);
      } else if (rows) {
        ReadBlock(index, rows[at], n, block);
      } else {
        ReadBlock(index, first + at, n, block);
      }
      normalizer.NormalizeBlock(block, out + component * ld + at, ld);
    }
    component += normalizer.OutputWidth();
  }
}

void TLVTunedNormDataSource::SaveSettingsTo(ILVSettingsSection& section) const {
  TLVTunedDataSource::Properties().Save(*this, section);
  ILVSettingsSection& columns = section.AddSection("Columns");
  for (int32_t i = 0; i < Columns().Count(); ++i) {
    const TLVColumnInfo& column = Columns()[i];
    ILVSettingsSection& item = columns.AddItem("Column");
    item.Put("Name", column.GetName());
    item.Put("DisplayName", column.StoredDisplayName());
    item.Put("DataType", ValueName(column.GetDataType()));
    item.Put("DataKind", ValueName(column.GetDataKind()));
    item.Put("DataStatus", ValueName(column.GetDataStatus()));
    TLVNormalizer* normalizer = Normalizer(i);
    if (!normalizer) continue;
    ILVSettingsSection& saved = item.AddSection("Normalizer");
    saved.Put("ClassName", normalizer->ClassName());
    if (normalizer->HasColumn()) normalizer->SaveTo(saved);
  }
}

void TLVTunedNormDataSource::LoadSettingsFrom(const ILVSettingsSection& section) {
  // Read everything first: a bad section leaves the source as it was.
  auto columns = std::make_unique<TLVColumnsInfo>();
  std::map<std::string, std::unique_ptr<TLVNormalizer>, std::less<>> normalizers;
  if (const ILVSettingsSection* list = section.FindSection("Columns")) {
    for (const ILVSettingsSection* item : list->Items("Column")) {
      const std::string name = item->Get("Name").value_or("");
      TLVColumnInfo& column =
          columns->AddColumn(name, ReadSetting(*item, "DataType", TLVDataType::dtFloat));
      column.SetDisplayName(item->Get("DisplayName").value_or(""));
      column.SetDataKind(ReadSetting(*item, "DataKind", column.GetDataKind()));
      column.SetDataStatus(ReadSetting(*item, "DataStatus", TLVDataStatus::dsUsable));
      if (const ILVSettingsSection* saved = item->FindSection("Normalizer")) {
        auto normalizer = LVNormalizers().Create(saved->Get("ClassName").value_or(""));
        if (saved->Get("ColumnName")) normalizer->LoadFrom(*saved);
        normalizers[name] = std::move(normalizer);
      }
    }
  }
  Close();
  {
    TLVColumnsUpdate update(Columns());
    Columns().AssignColumns(*columns);
    remembered_.AssignColumns(*columns);
    normalizers_ = std::move(normalizers);
    update.Changed();
  }
  TLVTunedDataSource::Properties().Load(*this, section);
}

void RegisterTunedNormDataSourceTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrNormalizerNotApplicable", "ErrColumnNotNormalizable"});
}

}  // namespace lv
