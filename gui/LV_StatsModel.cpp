#include "gui/LV_StatsModel.h"

#include <array>
#include <cmath>
#include <numeric>

#include "core/columns/LV_ColumnStats.h"
#include "core/columns/LV_Convert.h"
#include "core/columns/LV_Types.h"
#include "core/text/LV_FormatSettings.h"
#include "gui/LV_GuiText.h"

namespace lv {

namespace {

// The statistics shown, in this order; the unique values themselves are a list and
// are counted instead.
constexpr std::array kShown{TLVStatInfoType::sitTotalCount,
                            TLVStatInfoType::sitNullCount,
                            TLVStatInfoType::sitUniqueValuesCount,
                            TLVStatInfoType::sitMin,
                            TLVStatInfoType::sitMax,
                            TLVStatInfoType::sitAvg,
                            TLVStatInfoType::sitStdDev,
                            TLVStatInfoType::sitSum};
constexpr int kFixedColumns = 2;  // caption, type

}  // namespace

void TLVStatsModel::SetStats(std::vector<TColumnStats> columns) {
  beginResetModel();
  columns_ = std::move(columns);
  endResetModel();
}

std::vector<TLVStatsModel::TColumnStats> TLVStatsModel::Compute(ILVDataSource& source,
                                                                ILVProgress& progress) {
  source.Open();
  const ILVColumnsInfo& info = source.GetColumnsInfo();
  std::vector<int32_t> indexes(static_cast<size_t>(info.GetColumnCount()));
  std::iota(indexes.begin(), indexes.end(), 0);
  auto stats = ComputeColumnStats(source, indexes, &progress);
  std::vector<TColumnStats> columns;
  for (int32_t i = 0; i < info.GetColumnCount(); ++i) {
    auto column = info.GetColumnInfo(i);
    columns.push_back(
        {ToQ(column->GetDisplayName().empty() ? column->GetName() : column->GetDisplayName()),
         column->GetDataType(), stats[static_cast<size_t>(i)]});
  }
  return columns;
}

int TLVStatsModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(columns_.size());
}

int TLVStatsModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kFixedColumns + static_cast<int>(kShown.size());
}

QVariant TLVStatsModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || role != Qt::DisplayRole) return {};
  const TColumnStats& column = columns_.at(static_cast<size_t>(index.row()));
  if (index.column() == 0) return column.caption;
  if (index.column() == 1) return ToQ(DisplayText(column.type));
  if (!column.stats) return {};
  const TLVStatInfoType stat = kShown.at(static_cast<size_t>(index.column() - kFixedColumns));
  TLVValue value = column.stats->Value(stat);
  // Moments a column does not have (a text's mean) are left blank, and a date's
  // extremes and mean are shown as dates.
  if (value.IsNull() || (value.Type() != TLVDataType::dtString && std::isnan(value.AsDouble()))) {
    return {};
  }
  const bool dateValue = stat == TLVStatInfoType::sitMin || stat == TLVStatInfoType::sitMax ||
                         stat == TLVStatInfoType::sitAvg;
  if (column.type == TLVDataType::dtDateTime && dateValue) {
    value = TLVValue::DateTime(value.AsDouble());
  }
  return ToQ(ValueToText(value, DefaultFormatSettings()));
}

QVariant TLVStatsModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  if (section == 0) return GuiText("SGuiColumnCaption");
  if (section == 1) return ToQ(EnumCaption(DescribeEnum(TLVDataType{})));
  if (section >= columnCount()) return {};
  return ToQ(DisplayText(kShown.at(static_cast<size_t>(section - kFixedColumns))));
}

void RegisterStatsModelTexts() {
  TLVLocalization::Instance().RegisterKeys({"SGuiColumnCaption"});
}

}  // namespace lv
