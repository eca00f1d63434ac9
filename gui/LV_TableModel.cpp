#include "gui/LV_TableModel.h"

#include <QBrush>
#include <QCollator>
#include <QFont>
#include <QLocale>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "core/columns/LV_Block.h"
#include "core/columns/LV_Convert.h"
#include "core/columns/LV_Types.h"
#include "core/columns/LV_Value.h"
#include "core/text/LV_FormatSettings.h"
#include "gui/LV_GuiText.h"

namespace lv {

namespace {

QString CellText(const TLVBlock& block, int32_t i) {
  switch (block.Type()) {
    case TLVDataType::dtString:
      return ToQ(block.Strings()[i]);
    case TLVDataType::dtInteger:
      return QString::number(block.Integers()[i]);
    case TLVDataType::dtBoolean:
      return ToQ(
          ValueToText(TLVValue::Boolean(block.Numbers()[i] != 0.0), DefaultFormatSettings()));
    case TLVDataType::dtDateTime:
      return ToQ(ValueToText(TLVValue::DateTime(block.Numbers()[i]), DefaultFormatSettings()));
    default:
      return ToQ(ValueToText(TLVValue::Float(block.Numbers()[i]), DefaultFormatSettings()));
  }
}

}  // namespace

TLVTableModel::TLVTableModel(QObject* parent) : QAbstractTableModel(parent) {}

TLVTableModel::~TLVTableModel() = default;

void TLVTableModel::Clear() {
  source_.reset();
  rows_ = 0;
  columns_ = 0;
  order_.clear();
  cache_.clear();
  recent_.clear();
}

void TLVTableModel::SetSource(std::shared_ptr<ILVDataSource> source) {
  beginResetModel();
  Clear();
  try {
    if (source) {
      source->Open();
      rows_ = source->GetRowCount();
      columns_ = source->GetColumnsInfo().GetColumnCount();
      source_ = std::move(source);
    }
  } catch (...) {
    Clear();
    endResetModel();
    throw;
  }
  endResetModel();
}

int TLVTableModel::rowCount(const QModelIndex& parent) const {
  if (parent.isValid()) return 0;
  // A view counts rows in int; a larger table shows its first 2^31 - 1 rows.
  return static_cast<int>(std::min<TLVRowIndex>(rows_, std::numeric_limits<int>::max()));
}

int TLVTableModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : columns_;
}

void TLVTableModel::ReadBlockInto(int32_t column, TLVRowIndex first, int32_t count,
                                  TCachedBlock& out) const {
  TLVBlock block;
  TLVLockGuard guard(*source_);
  if (order_.empty()) {
    source_->ReadBlock(column, first, count, block);
  } else {
    source_->ReadRows(column, order_.data() + first, count, block);
  }
  ++blockReads_;
  out.texts.resize(static_cast<size_t>(count));
  out.valid.assign(block.Valid(), block.Valid() + count);
  for (int32_t i = 0; i < count; ++i) {
    if (!block.IsNull(i)) out.texts[static_cast<size_t>(i)] = CellText(block, i);
  }
}

const TLVTableModel::TCachedBlock& TLVTableModel::BlockFor(int32_t column,
                                                           TLVRowIndex first) const {
  const TBlockKey key{column, first};
  auto found = cache_.find(key);
  if (found != cache_.end()) {
    recent_.remove(key);
    recent_.push_front(key);
    return found->second;
  }
  const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows_ - first));
  TCachedBlock block;
  ReadBlockInto(column, first, count, block);
  if (cache_.size() >= kCachedBlocks) {
    cache_.erase(recent_.back());
    recent_.pop_back();
  }
  recent_.push_front(key);
  return cache_.emplace(key, std::move(block)).first->second;
}

QVariant TLVTableModel::data(const QModelIndex& index, int role) const {
  if (!source_ || !index.isValid()) return {};
  if (role != Qt::DisplayRole && role != kIsNullRole && role != Qt::ForegroundRole &&
      role != Qt::FontRole && role != Qt::TextAlignmentRole) {
    return {};
  }
  const TLVRowIndex row = index.row();
  const TLVRowIndex first = row - row % kLVBlockSize;
  bool isNull = true;
  QString text;
  try {
    const TCachedBlock& block = BlockFor(index.column(), first);
    const auto at = static_cast<size_t>(row - first);
    isNull = block.valid[at] == 0;
    text = block.texts[at];
  } catch (const std::exception& e) {
    // A source that fails while scrolling shows its message in the cell rather than
    // bringing the window down.
    return role == Qt::DisplayRole ? QVariant(ToQ(e.what())) : QVariant();
  }
  switch (role) {
    case kIsNullRole:
      return isNull;
    case Qt::DisplayRole:
      return isNull ? GuiText("SGuiNullValue") : text;
    case Qt::ForegroundRole:
      return isNull ? QVariant(QBrush(Qt::gray)) : QVariant();
    case Qt::FontRole:
      if (isNull) {
        QFont font;
        font.setItalic(true);
        return font;
      }
      return {};
    default: {
      const TLVDataType type =
          source_->GetColumnsInfo().GetColumnInfo(index.column())->GetDataType();
      const bool number = type == TLVDataType::dtFloat || type == TLVDataType::dtInteger;
      return static_cast<int>((number ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
    }
  }
}

QVariant TLVTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation == Qt::Vertical) {
    return role == Qt::DisplayRole ? QVariant(section + 1) : QVariant();
  }
  if (!source_ || section < 0 || section >= columns_) return {};
  auto info = source_->GetColumnsInfo().GetColumnInfo(section);
  switch (role) {
    case Qt::DisplayRole:
      return ToQ(info->GetDisplayName().empty() ? info->GetName() : info->GetDisplayName());
    case Qt::ToolTipRole:
      return GuiText("SGuiColumnHint",
                     {info->GetName(), DisplayText(info->GetDataType()),
                      DisplayText(info->GetDataKind()), DisplayText(info->GetDataStatus())});
    default:
      return {};
  }
}

void TLVTableModel::sort(int column, Qt::SortOrder order) {
  if (!source_) return;
  std::vector<TLVRowIndex> sorted;
  if (column >= 0 && column < columns_) {
    // The keys are read in source order, block by block; texts compare as a Russian
    // reader expects (the collator), numbers as numbers, missing values first.
    const TLVDataType type = source_->GetColumnsInfo().GetColumnInfo(column)->GetDataType();
    std::vector<double> numbers;
    std::vector<QString> texts;
    std::vector<uint8_t> valid(static_cast<size_t>(rows_));
    TLVBlock block;
    TLVLockGuard guard(*source_);
    for (TLVRowIndex first = 0; first < rows_; first += kLVBlockSize) {
      const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows_ - first));
      source_->ReadBlock(column, first, count, block);
      for (int32_t i = 0; i < count; ++i) {
        valid[static_cast<size_t>(first + i)] = block.Valid()[i];
        if (type == TLVDataType::dtString) {
          texts.push_back(block.IsNull(i) ? QString() : ToQ(block.Strings()[i]));
        } else {
          numbers.push_back(block.NumberAt(i));
        }
      }
    }
    sorted.resize(static_cast<size_t>(rows_));
    std::iota(sorted.begin(), sorted.end(), TLVRowIndex{0});
    QCollator collator(QLocale(QLocale::Russian, QLocale::Russia));
    collator.setNumericMode(true);
    auto less = [&](TLVRowIndex a, TLVRowIndex b) {
      const auto ia = static_cast<size_t>(a);
      const auto ib = static_cast<size_t>(b);
      if (valid[ia] == 0 || valid[ib] == 0) return valid[ia] < valid[ib];
      if (type == TLVDataType::dtString) return collator.compare(texts[ia], texts[ib]) < 0;
      return numbers[ia] < numbers[ib];
    };
    if (order == Qt::AscendingOrder) {
      std::stable_sort(sorted.begin(), sorted.end(), less);
    } else {
      std::stable_sort(sorted.begin(), sorted.end(),
                       [&less](TLVRowIndex a, TLVRowIndex b) { return less(b, a); });
    }
  }
  beginResetModel();
  order_ = std::move(sorted);
  cache_.clear();
  recent_.clear();
  endResetModel();
}

void RegisterTableModelTexts() {
  TLVLocalization::Instance().RegisterKeys({"SGuiNullValue", "SGuiColumnHint"});
}

}  // namespace lv
