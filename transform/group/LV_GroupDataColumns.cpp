#include "transform/group/LV_GroupDataColumns.h"

#include <array>

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kFunctionNames{"gdSum"sv,       "gdCount"sv,  "gdMin"sv,    "gdMax"sv,
                                    "gdAvg"sv,       "gdMedian"sv, "gdStdDev"sv, "gdUniqueCount"sv,
                                    "gdNullCount"sv, "gdFirst"sv,  "gdLast"sv};
const TLVEnumDescriptor kFunction{"TLVGroupDataFunction", kFunctionNames, true, true};

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLVGroupDataFunction) {
  return kFunction;
}

bool GroupFunctionAccepts(TLVGroupDataFunction function, TLVDataType type) {
  using F = TLVGroupDataFunction;
  using enum TLVDataType;
  if (type == dtNone) return false;
  switch (function) {
    case F::gdSum:
    case F::gdStdDev:
      return type == dtInteger || type == dtFloat;
    case F::gdAvg:
    case F::gdMedian:
      return type == dtInteger || type == dtFloat || type == dtDateTime;
    default:
      return true;
  }
}

TLVDataType GroupFunctionResultType(TLVGroupDataFunction function, TLVDataType type) {
  using F = TLVGroupDataFunction;
  switch (function) {
    case F::gdCount:
    case F::gdNullCount:
    case F::gdUniqueCount:
      return TLVDataType::dtInteger;
    case F::gdSum:
    case F::gdStdDev:
      return TLVDataType::dtFloat;
    case F::gdAvg:
    case F::gdMedian:
      return type == TLVDataType::dtDateTime ? type : TLVDataType::dtFloat;
    default:
      return type;
  }
}

const TLVPropertyTable<TLVGroupDataDimension>& TLVGroupDataDimension::Properties() {
  static const auto table = [] {
    using I = TLVGroupDataDimension;
    TLVPropertyTable<I> t;
    t.Add("Name", &I::GetName, &I::SetName, std::string());
    return t;
  }();
  return table;
}

void TLVGroupDataColumn::SetGroupFunc(TLVGroupDataFunction value) {
  if (value == func_) return;
  func_ = value;
  Changed("GroupFunc");
}

const TLVPropertyTable<TLVGroupDataColumn>& TLVGroupDataColumn::Properties() {
  static const auto table = [] {
    using I = TLVGroupDataColumn;
    TLVPropertyTable<I> t;
    t.Add("Name", &I::GetName, &I::SetName, std::string())
        .Add("GroupFunc", &I::GetGroupFunc, &I::SetGroupFunc, TLVGroupDataFunction::gdSum);
    return t;
  }();
  return table;
}

TLVGroupDataDimension& TLVGroupDataDimensions::AddDimension(std::string_view name) {
  auto item = std::make_shared<TLVGroupDataDimension>();
  item->SetName(name);
  TLVGroupDataDimension& added = *item;
  Add(std::move(item));
  return added;
}

TLVGroupDataColumn& TLVGroupDataColumns::AddFact(std::string_view name, TLVGroupDataFunction func) {
  auto item = std::make_shared<TLVGroupDataColumn>();
  item->SetName(name);
  item->SetGroupFunc(func);
  TLVGroupDataColumn& added = *item;
  Add(std::move(item));
  return added;
}

void RegisterGroupDataColumnsTexts() {
  RegisterEnumTexts(kFunction);
}

}  // namespace lv
