#include "transform/calc/LV_CalcData.h"

#include <cmath>
#include <limits>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

struct TLVCalcData::TCompiled {
  TLVCalcExprColumnItem* item = nullptr;
  int32_t column = -1;  // position among the node's columns
  TLineParser parser;
  // Cached expressions: every row's value, computed once per opening.
  bool filled = false;
  std::vector<double> numbers;
  std::vector<std::string> texts;
  std::vector<uint8_t> present;
};

namespace {

TLVCalcKind KindOf(TLVDataType type) {
  return type == TLVDataType::dtString ? TLVCalcKind::ckString : TLVCalcKind::ckNumber;
}

// The parent's block as the formula language sees it: numbers with NaN for missing,
// texts with a null view for missing.
TLVCalcVector BindBlock(const TLVBlock& block, double* numbers, std::string_view* texts) {
  const int32_t n = block.Count();
  const uint8_t* valid = block.Valid();
  switch (block.Type()) {
    case TLVDataType::dtString: {
      const std::string_view* in = block.Strings();
      for (int32_t i = 0; i < n; ++i) {
        texts[i] = valid[i] ? (in[i].data() ? in[i] : kLVCalcEmptyText) : std::string_view();
      }
      return {TLVCalcKind::ckString, nullptr, texts, 1};
    }
    case TLVDataType::dtInteger: {
      const int32_t* in = block.Integers();
      for (int32_t i = 0; i < n; ++i) numbers[i] = valid[i] ? in[i] : LVCalcNull();
      break;
    }
    default: {
      const double* in = block.Numbers();
      for (int32_t i = 0; i < n; ++i) numbers[i] = valid[i] ? in[i] : LVCalcNull();
      break;
    }
  }
  return {TLVCalcKind::ckNumber, numbers, nullptr, 1};
}

// Integers round to the nearest, halves away from zero as Round does (a formula's
// 2.9999999 is meant as 3); values outside the 32-bit range are missing.
bool ToInteger(double value, int32_t& out) {
  if (std::isnan(value)) return false;
  double rounded = std::round(value);
  if (rounded < std::numeric_limits<int32_t>::min() || rounded > std::numeric_limits<int32_t>::max()) {
    return false;
  }
  out = static_cast<int32_t>(rounded);
  return true;
}

// Writes `count` values of a formula result as a block of the column's type.
void WriteBlock(const TLVCalcVector& values, int32_t count, TLVDataType type, TLVBlock& out,
                std::string& scratch) {
  out.Reset(type, count);
  uint8_t* valid = out.Valid();
  if (type == TLVDataType::dtString) {
    std::string_view* texts = out.Strings();
    for (int32_t i = 0; i < count; ++i) {
      std::string_view text;
      if (values.IsString()) {
        text = values.String(i);
      } else if (!LVCalcIsNull(values.Number(i))) {
        NumberToCalcText(values.Number(i), scratch);
        text = scratch;
      }
      valid[i] = text.data() != nullptr;
      texts[i] = valid[i] ? out.Arena().Store(text) : std::string_view();
    }
    return;
  }
  for (int32_t i = 0; i < count; ++i) {
    double v = values.Number(i);
    switch (type) {
      case TLVDataType::dtInteger:
        valid[i] = ToInteger(v, out.Integers()[i]);
        break;
      case TLVDataType::dtBoolean:
        valid[i] = !std::isnan(v);
        out.Numbers()[i] = v != 0 ? 1.0 : 0.0;
        break;
      default:
        valid[i] = !std::isnan(v);
        out.Numbers()[i] = v;
        break;
    }
  }
}

}  // namespace

const TLVPropertyTable<TLVCalcVariable>& TLVCalcVariable::Properties() {
  static const auto table = [] {
    using C = TLVCalcVariable;
    TLVPropertyTable<C> t;
    t.Add("Name", &C::GetName, &C::SetName, std::string())
        .Add("DisplayName", &C::StoredDisplayName, &C::SetDisplayName, std::string())
        .Add("DataType", &C::GetDataType, &C::SetDataType, TLVDataType::dtNone);
    return t;
  }();
  return table;
}

TLVCalcData::TLVCalcData() {
  // A change of the expressions changes the node's columns.
  expressions_.SetObserver([this](TLVCollectionItem*, std::string_view) { RedefineColumns(); });
}

TLVCalcData::~TLVCalcData() = default;

const TLVPropertyTable<TLVCalcData>& TLVCalcData::Properties() {
  static const auto table = [] {
    TLVPropertyTable<TLVCalcData> t;
    t.AddCollection(
         "Variables", "Variable", [](auto& node) -> auto& { return node.Variables(); },
         TLVCalcVariable::Properties())
        .AddCollection(
            "Expressions", "Expression", [](auto& node) -> auto& { return node.ExprColumns(); },
            TLVCalcExprColumnItem::Properties());
    return t;
  }();
  return table;
}

void TLVCalcData::SaveSettingsTo(ILVSettingsSection& section) const {
  Properties().Save(*this, section);
}

void TLVCalcData::LoadSettingsFrom(const ILVSettingsSection& section) {
  Properties().Load(*this, section);
}

void TLVCalcData::CaptureVariables() {
  ILVDataSource& parent = RequireParent();
  const ILVColumnsInfo& columns = parent.GetColumnsInfo();
  variables_.BeginUpdate();
  variables_.Clear();
  for (int32_t i = 0; i < columns.GetColumnCount(); ++i) {
    auto column = columns.GetColumnInfo(i);
    TLVCalcVariable& v = variables_.AddNew();
    v.SetName(column->GetName());
    v.SetDisplayName(column->GetDisplayName());
    v.SetDataType(column->GetDataType());
  }
  variables_.EndUpdate();
}

void TLVCalcData::DefineColumns() {
  TLVDerivedDataSource::DefineColumns();
  for (int32_t i = 0; i < expressions_.Count(); ++i) {
    const TLVCalcExprColumnItem& item = expressions_[i];
    TLVDerivedColumn& column = AddComputed(item.GetName(), item.GetDataType());
    AssignColumnInfo(column, item);
  }
}

void TLVCalcData::DoOpen() {
  if (expressions_.Count() == 0) throw ELVDataError("ErrCalcNoExpressions");
  TLVDerivedDataSource::DoOpen();
  if (variables_.Count() == 0) CaptureVariables();
  CheckVariables();
  Compile();
}

void TLVCalcData::DoClose() {
  compiled_.clear();
  context_.Attach(nullptr);
  TLVDerivedDataSource::DoClose();
}

void TLVCalcData::CheckVariables() {
  const ILVColumnsInfo& columns = RequireParent().GetColumnsInfo();
  parentIndexOfVariable_.clear();
  for (int32_t i = 0; i < variables_.Count(); ++i) {
    const TLVCalcVariable& v = variables_[i];
    int32_t at = columns.IndexOfColumn(v.GetName());
    if (at < 0) throw ELVDataError("ErrCalcVariableMissing", {v.GetName(), v.GetDisplayName()});
    if (columns.GetColumnInfo(at)->GetDataType() != v.GetDataType()) {
      throw ELVDataError("ErrCalcVariableChanged", {v.GetName(), v.GetDisplayName()});
    }
    parentIndexOfVariable_.push_back(at);
  }
}

void TLVCalcData::Compile() {
  compiled_.clear();
  expressionOfColumn_.assign(static_cast<size_t>(Columns().Count()), -1);
  const int32_t passed = Columns().Count() - expressions_.Count();
  for (int32_t i = 0; i < expressions_.Count(); ++i) {
    TLVCalcExprColumnItem& item = expressions_[i];
    // An expression column may not hide one of the parent's.
    if (RequireParent().GetColumnsInfo().IndexOfColumn(item.GetName()) >= 0) {
      throw ELVDataError("ErrCalcColumnTaken", {item.GetName()});
    }
    auto compiled = std::make_unique<TCompiled>();
    compiled->item = &item;
    compiled->column = passed + i;
    compiled->parser.Functions().SetBase(&CalcDataFunctions());
    for (int32_t v = 0; v < variables_.Count(); ++v) {
      compiled->parser.Variables().Add(variables_[v].GetName(), KindOf(variables_[v].GetDataType()));
    }
    compiled->parser.Parse(item.GetExpression());
    if (item.GetDataType() != TLVDataType::dtString &&
        compiled->parser.ResultKind() == TLVCalcKind::ckString) {
      throw ELVDataError("ErrCalcStringExpression", {item.GetName()});
    }
    expressionOfColumn_[static_cast<size_t>(compiled->column)] = i;
    compiled_.push_back(std::move(compiled));
  }
  const size_t count = static_cast<size_t>(variables_.Count());
  inputBlocks_.resize(count);
  inputNumbers_.resize(count);
  inputTexts_.resize(count);
  inputs_.assign(count, TLVCalcVector{});
  context_.Attach(ParentSource());
}

TLVCalcVector TLVCalcData::Evaluate(TCompiled& compiled, TLVRowIndex first, int32_t count) {
  ILVDataSource& parent = RequireParent();
  constexpr auto kBlock = static_cast<size_t>(kLVBlockSize);
  for (int32_t v : compiled.parser.UsedVariables()) {
    const auto at = static_cast<size_t>(v);
    TLVBlock& block = inputBlocks_[at];
    parent.ReadBlock(parentIndexOfVariable_[at], first, count, block);
    if (!inputNumbers_[at]) inputNumbers_[at] = std::make_unique_for_overwrite<double[]>(kBlock);
    if (!inputTexts_[at]) inputTexts_[at] = std::make_unique<std::string_view[]>(kBlock);
    inputs_[at] = BindBlock(block, inputNumbers_[at].get(), inputTexts_[at].get());
  }
  context_.SetRows(first);
  context_.SetCurrentColumn(&Columns()[compiled.column]);
  return compiled.parser.EvaluateBlock(inputs_.data(), {nullptr, count}, &context_);
}

void TLVCalcData::FillCache(TCompiled& compiled) {
  const TLVRowIndex rows = GetRowCount();
  const TLVDataType type = compiled.item->GetDataType();
  const auto size = static_cast<size_t>(rows);
  compiled.present.assign(size, 0);
  if (type == TLVDataType::dtString) {
    compiled.texts.assign(size, std::string());
  } else {
    compiled.numbers.assign(size, LVCalcNull());
  }
  TLVBlock block;
  std::string scratch;
  for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
    auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
    // Through the same conversion as an uncached read, so both give the same values.
    WriteBlock(Evaluate(compiled, first, count), count, type, block, scratch);
    for (int32_t i = 0; i < count; ++i) {
      const auto r = static_cast<size_t>(first + i);
      compiled.present[r] = block.Valid()[i];
      if (!block.Valid()[i]) continue;
      if (type == TLVDataType::dtString) {
        compiled.texts[r] = block.Strings()[i];
      } else {
        compiled.numbers[r] = block.NumberAt(i);
      }
    }
  }
  compiled.filled = true;
}

void TLVCalcData::ComputeBlock(int32_t column, TLVRowIndex first, int32_t count, TLVBlock& out) {
  TCompiled& compiled = *compiled_[static_cast<size_t>(expressionOfColumn_[static_cast<size_t>(column)])];
  const TLVDataType type = compiled.item->GetDataType();
  std::string scratch;
  if (!compiled.item->GetCached()) {
    WriteBlock(Evaluate(compiled, first, count), count, type, out, scratch);
    return;
  }
  if (!compiled.filled) FillCache(compiled);
  const auto from = static_cast<size_t>(first);
  if (type == TLVDataType::dtString) {
    cachedViews_.resize(static_cast<size_t>(kLVBlockSize));
    for (int32_t i = 0; i < count; ++i) {
      const size_t r = from + static_cast<size_t>(i);
      cachedViews_[static_cast<size_t>(i)] =
          compiled.present[r] ? std::string_view(compiled.texts[r]) : std::string_view();
    }
    WriteBlock({TLVCalcKind::ckString, nullptr, cachedViews_.data(), 1}, count, type, out, scratch);
  } else {
    WriteBlock({TLVCalcKind::ckNumber, compiled.numbers.data() + from, nullptr, 1}, count, type, out,
               scratch);
  }
}

void RegisterCalcDataTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrCalcNoExpressions", "ErrCalcVariableMissing", "ErrCalcVariableChanged",
       "ErrCalcStringExpression", "ErrCalcColumnTaken", "CalcDataCaption", "CalcDataWizardCaption",
       "CalcDataCachedCaption", "CalcDataCachedHint"});
}

}  // namespace lv
