#include "core/columns/LV_ColumnInfo.h"

#include <cmath>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

bool AlwaysDiscrete(TLVDataType type) {
  return type == TLVDataType::dtBoolean || type == TLVDataType::dtString;
}

template <class E>
E EnumFromByte(uint8_t b) {
  if (b >= EnumCount<E>()) throw ELVError("ErrStreamRead");
  return static_cast<E>(b);
}

}  // namespace

TLVValue TLVStatInfo::Value(TLVStatInfoType type) const {
  switch (type) {
    case TLVStatInfoType::sitMin:
      return TLVValue::Float(min);
    case TLVStatInfoType::sitMax:
      return TLVValue::Float(max);
    case TLVStatInfoType::sitAvg:
      return TLVValue::Float(avg);
    case TLVStatInfoType::sitSum:
      return TLVValue::Float(sum);
    case TLVStatInfoType::sitSumSq:
      return TLVValue::Float(sumSq);
    case TLVStatInfoType::sitStdDev:
      return TLVValue::Float(stdDev);
    case TLVStatInfoType::sitNullCount:
      return TLVValue::Float(static_cast<double>(nullCount));
    case TLVStatInfoType::sitUniqueValuesCount:
      return uniqueValuesFound ? TLVValue::Float(static_cast<double>(uniqueValuesCount))
                               : TLVValue::Null(TLVDataType::dtFloat);
    case TLVStatInfoType::sitTotalCount:
      return TLVValue::Float(static_cast<double>(totalCount));
    case TLVStatInfoType::sitUniqueValues:
      break;
  }
  return TLVValue::Null(TLVDataType::dtNone);
}

void TLVColumnInfo::SetDataType(TLVDataType type) {
  if (type == dataType_) return;
  dataType_ = type;
  if (AlwaysDiscrete(type)) {
    dataKind_ = TLVDataKind::dkDiscrete;
  } else if (dataKind_ == TLVDataKind::dkUndefined && type != TLVDataType::dtNone) {
    dataKind_ = TLVDataKind::dkContinuous;
  }
  Changed("citDataType");
}

void TLVColumnInfo::SetDataKind(TLVDataKind kind) {
  if (kind == dataKind_) return;
  if (kind == TLVDataKind::dkContinuous && AlwaysDiscrete(dataType_)) {
    throw ELVError("ErrColumnCantBeContinuous", {GetName(), DisplayText(dataType_)});
  }
  dataKind_ = kind;
  Changed("citDataKind");
}

void TLVColumnInfo::SetDataStatus(TLVDataStatus status) {
  if (status == dataStatus_) return;
  dataStatus_ = status;
  Changed("citDataStatus");
}

void TLVColumnInfo::SetUsable(bool usable) {
  if (usable == GetUsable()) return;
  SetDataStatus(usable ? TLVDataStatus::dsUsable : TLVDataStatus::dsUnUsable);
}

int32_t TLVColumnInfo::GetDataSize() const {
  if (dataType_ != TLVDataType::dtString) return 0;
  if (statInfo_ && statInfo_->maxTextLength) {
    return static_cast<int32_t>(std::lround(*statInfo_->maxTextLength));
  }
  if (dataSize_ >= 1) return dataSize_;
  return statInfo_ ? 1 : 0;
}

void TLVColumnInfo::SetDataSize(int32_t size) {
  if (size < 0) throw ELVError("ErrDataSize", {GetName(), size});
  if (size == dataSize_) return;
  dataSize_ = size;
  if (dataType_ == TLVDataType::dtString && !statInfo_) Changed("citDataSize");
}

void TLVColumnInfo::SetStatInfo(std::shared_ptr<const TLVStatInfo> stats) {
  statInfo_ = std::move(stats);
}

void TLVColumnInfo::Assign(const TLVColumnInfo& source) {
  if (&source == this) return;
  SetName(source.GetName());
  SetDisplayName(source.StoredDisplayName());
  dataType_ = source.dataType_;
  dataKind_ = source.dataKind_;
  dataStatus_ = source.dataStatus_;
  dataSize_ = source.dataSize_;
  statInfo_ = source.statInfo_;
  Changed("citDataType");
}

void TLVColumnInfo::WriteTo(TLVByteWriter& writer) const {
  writer.WriteString(GetName());
  writer.WriteString(StoredDisplayName());
  writer.WriteByte(static_cast<uint8_t>(dataKind_));
  writer.WriteByte(static_cast<uint8_t>(dataStatus_));
  writer.WriteByte(static_cast<uint8_t>(dataType_));
}

void TLVColumnInfo::ReadFrom(TLVByteReader& reader) {
  std::string name = reader.ReadString();
  std::string caption = reader.ReadString();
  auto kind = EnumFromByte<TLVDataKind>(reader.ReadByte());
  auto status = EnumFromByte<TLVDataStatus>(reader.ReadByte());
  auto type = EnumFromByte<TLVDataType>(reader.ReadByte());
  SetName(name);
  SetDisplayName(caption);
  SetDataKind(kind);
  SetDataStatus(status);
  SetDataType(type);
}

void TLVNormalColumnDef::Assign(const TLVColumnInfo& source) {
  TLVColumnInfo::Assign(source);
  if (auto* norm = dynamic_cast<const TLVNormalColumnDef*>(&source)) {
    normalizerIndex_ = norm->normalizerIndex_;
    normColumnIndex_ = norm->normColumnIndex_;
    normalizerName_ = norm->normalizerName_;
  }
}

void AssignColumnInfo(TLVColumnInfo& target, const ILVColumnInfo& source) {
  if (auto* info = dynamic_cast<const TLVColumnInfo*>(&source)) {
    target.Assign(*info);
    return;
  }
  target.SetName(source.GetName());
  target.SetDisplayName(source.GetDisplayName());
  target.SetDataType(source.GetDataType());
  target.SetDataKind(source.GetDataKind());
  target.SetDataStatus(source.GetDataStatus());
  target.SetDataSize(source.GetDataSize());
  if (const TLVStatInfo* stats = source.GetStatInfo()) {
    target.SetStatInfo(std::make_shared<TLVStatInfo>(*stats));
  }
}

int32_t TLVColumnsInfo::IndexOfStatus(TLVDataStatus status) const {
  for (int32_t i = 0; i < Count(); ++i) {
    if ((*this)[i].GetDataStatus() == status) return i;
  }
  return -1;
}

TLVColumnInfo& TLVColumnsInfo::ColumnByStatus(TLVDataStatus status) const {
  int32_t i = IndexOfStatus(status);
  if (i < 0) throw ELVError("ErrColumnByStatusNotFound", {DisplayText(status)});
  return (*this)[i];
}

TLVColumnInfo& TLVColumnsInfo::AddColumn(std::string_view name, TLVDataType type,
                                         TLVDataStatus status) {
  auto item = NewItem();
  item->SetName(name);
  item->SetDataType(type);
  item->SetDataStatus(status);
  TLVColumnInfo& ref = *item;
  Add(std::move(item));
  return ref;
}

void TLVColumnsInfo::AssignColumns(const TLVColumnsInfo& source) {
  CheckCanModify();
  BeginUpdate();
  try {
    Clear();
    for (int32_t i = 0; i < source.Count(); ++i) {
      auto item = NewItem();
      item->Assign(source[i]);
      Add(std::move(item));
    }
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void RegisterColumnInfoTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrDataSize", "ErrDataSourceActive",
                                            "ErrColumnByStatusNotFound",
                                            "ErrColumnCantBeContinuous"});
}

}  // namespace lv
