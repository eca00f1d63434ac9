#include "mining/executors/LV_DataExecutor.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

namespace {

// Writes a cell into row i of a block of the cell's column type.
void PutValue(TLVBlock& block, int32_t i, const TLVValue& value) {
  block.Valid()[i] = !value.IsNull();
  if (value.IsNull()) return;
  switch (block.Type()) {
    case TLVDataType::dtString:
      block.Strings()[i] = block.Arena().Store(value.AsText());
      break;
    case TLVDataType::dtInteger:
      block.Integers()[i] = value.AsInteger();
      break;
    default:
      block.Numbers()[i] = value.AsDouble();
      break;
  }
}

}  // namespace

// --- TLVCustomExecutor ---

bool TLVCustomExecutor::IsValidPostfix(std::string_view postfix) {
  if (postfix.empty()) return false;
  for (unsigned char c : postfix) {
    // Bytes of multi-byte UTF-8 letters pass: Cyrillic suffixes are identifiers too.
    if (!(std::isalnum(c) || c == '_' || c >= 0x80)) return false;
  }
  return true;
}

void TLVCustomExecutor::CheckOpen(TLVTunedNormDataSource* source) const {
  if (!source || !source->GetActive()) {
    throw ELVError("ErrSourceNotActive", {source ? source->GetComponentName() : std::string()});
  }
  if (!kernel_) throw ELVError("ErrNoKernel");
  for (const std::string& postfix : {outputPostfix_, errorPostfix_}) {
    if (!IsValidPostfix(postfix)) throw ELVError("ErrBadPostfix", {postfix});
  }
  const TLVColumnsInfo& columns = source->Columns();
  for (const std::string& name : kernel_->InputNames()) {
    if (columns.IndexOfName(name) < 0) throw ELVError("ErrInputColumnMissing", {name});
  }
  for (const std::string& name : kernel_->OutputNames()) {
    const int32_t index = columns.IndexOfName(name);
    if (index < 0) throw ELVError("ErrInputColumnMissing", {name});
    const TLVDataStatus status = columns[index].GetDataStatus();
    if (status != TLVDataStatus::dsOutput) {
      throw ELVError("ErrColumnCantBeResult", {name, DisplayText(status)});
    }
  }
}

// --- TLVCustomDataExecutor ---

TLVTunedNormDataSource* TLVCustomDataExecutor::GetTunedNormDataSource() const {
  return dynamic_cast<TLVTunedNormDataSource*>(GetDataSource());
}

void TLVCustomDataExecutor::SetTunedNormDataSource(std::shared_ptr<TLVTunedNormDataSource> source) {
  SetDataSource(std::move(source));
}

void TLVCustomDataExecutor::Changed() {
  RedefineColumns();
}

void TLVCustomDataExecutor::SetKernel(std::shared_ptr<TLVAnalyticKernel> kernel) {
  kernel_ = std::move(kernel);
  Changed();
}

void TLVCustomDataExecutor::SetReplaceOutputs(bool value) {
  if (value == replaceOutputs_) return;
  replaceOutputs_ = value;
  Changed();
}

void TLVCustomDataExecutor::SetOutputPostfix(const std::string& value) {
  if (value == outputPostfix_) return;
  if (!IsValidPostfix(value)) throw ELVError("ErrBadPostfix", {value});
  outputPostfix_ = value;
  Changed();
}

void TLVCustomDataExecutor::SetErrorPostfix(const std::string& value) {
  if (value == errorPostfix_) return;
  if (!IsValidPostfix(value)) throw ELVError("ErrBadPostfix", {value});
  errorPostfix_ = value;
  Changed();
}

void TLVCustomDataExecutor::SetAddError(bool value) {
  if (value == addError_) return;
  addError_ = value;
  Changed();
}

void TLVCustomDataExecutor::SetUnUsableDataStatus(TLVEnumSet<TLVDataStatus> value) {
  if (value == unUsable_) return;
  unUsable_ = value;
  Changed();
}

void TLVCustomDataExecutor::DefineColumns() {
  columnTypes_.clear();
  outputIndexes_.clear();
  calculateIndexes_.clear();
  errorIndexes_.clear();
  computed_.clear();
  TLVTunedNormDataSource* source = GetTunedNormDataSource();
  if (!source) return;
  const TLVColumnsInfo& columns = source->Columns();
  // An untrained kernel has no shape yet: the outputs are those the source names, so a
  // model offers the same columns before and after its first training.
  std::vector<std::string>& outputs = outputNames_;
  outputs.clear();
  if (kernel_ && !kernel_->OutputNames().empty()) {
    outputs = kernel_->OutputNames();
  } else if (kernel_ && kernel_->NeedsOutputs()) {
    for (int32_t index : source->OutputColumns()) outputs.push_back(columns[index].GetName());
  }
  outputIndexes_.assign(outputs.size(), -1);
  calculateIndexes_.assign(outputs.size(), -1);
  errorIndexes_.assign(outputs.size(), -1);
  auto outputOf = [&outputs](const std::string& name) {
    auto it = std::find(outputs.begin(), outputs.end(), name);
    return it == outputs.end() ? -1 : static_cast<int32_t>(it - outputs.begin());
  };
  auto add = [this](TLVExecutorColumnType type, TComputed computed) {
    columnTypes_.push_back(type);
    computed_.push_back(computed);
    return static_cast<int32_t>(columnTypes_.size()) - 1;
  };
  for (int32_t i = 0; i < columns.Count(); ++i) {
    const TLVColumnInfo& column = columns[i];
    if (unUsable_.Contains(column.GetDataStatus())) continue;
    const int32_t output = outputOf(column.GetName());
    if (output >= 0 && replaceOutputs_) {
      AddComputed(column.GetName(), column.GetDataType());
      const int32_t at = add(TLVExecutorColumnType::ectOutput, {output, false});
      outputIndexes_[static_cast<size_t>(output)] = at;
      calculateIndexes_[static_cast<size_t>(output)] = at;
      continue;
    }
    AddPassThrough(column);
    TLVExecutorColumnType type = TLVExecutorColumnType::ectInfo;
    if (column.GetDataStatus() == TLVDataStatus::dsInput) type = TLVExecutorColumnType::ectInput;
    if (output >= 0) type = TLVExecutorColumnType::ectPattern;
    const int32_t at = add(type, {});
    if (output >= 0) outputIndexes_[static_cast<size_t>(output)] = at;
  }
  for (size_t k = 0; k < outputs.size(); ++k) {
    const int32_t index = columns.IndexOfName(outputs[k]);
    if (index < 0) continue;
    if (!replaceOutputs_) {
      AddComputed(outputs[k] + outputPostfix_, columns[index].GetDataType());
      calculateIndexes_[k] =
          add(TLVExecutorColumnType::ectCalculate, {static_cast<int32_t>(k), false});
    }
    if (addError_) {
      AddComputed(outputs[k] + errorPostfix_, TLVDataType::dtFloat);
      errorIndexes_[k] = add(TLVExecutorColumnType::ectError, {static_cast<int32_t>(k), true});
    }
  }
  if (!kernel_) return;
  const bool firstOutputShown = !outputs.empty() && columns.IndexOfName(outputs.front()) >= 0;
  const std::vector<TLVAnalyticKernel::TResultColumn> results = kernel_->ResultColumns();
  for (size_t k = 0; k < results.size(); ++k) {
    if (results[k].afterFirstOutput && !firstOutputShown) continue;
    AddComputed(results[k].afterFirstOutput ? outputs.front() + results[k].name : results[k].name,
                results[k].type);
    add(TLVExecutorColumnType::ectCalculate, {-1, false, static_cast<int32_t>(k)});
  }
}

void TLVCustomDataExecutor::DoOpen() {
  TLVTunedNormDataSource* source = GetTunedNormDataSource();
  CheckOpen(source);
  // A result column shows its output's values: the output's type must not have moved.
  for (size_t k = 0; k < calculateIndexes_.size(); ++k) {
    if (calculateIndexes_[k] < 0) continue;
    const TLVColumnInfo* column = source->Columns().Find(outputNames_[k]);
    if (!column) throw ELVError("ErrInputColumnMissing", {outputNames_[k]});
    if (column->GetDataType() != Columns()[calculateIndexes_[k]].GetDataType()) {
      throw ELVError("ErrResultTypeMismatch");
    }
  }
  TLVDerivedDataSource::DoOpen();
}

void TLVCustomDataExecutor::DoClose() {
  TLVDerivedDataSource::DoClose();
}

void TLVCustomDataExecutor::SaveSettingsTo(ILVSettingsSection& section) const {
  WriteSetting(section, "AutoRefresh", autoRefresh_);
  WriteSetting(section, "ReplaceOutputs", replaceOutputs_);
  WriteSetting(section, "OutputPostfix", outputPostfix_);
  WriteSetting(section, "ErrorPostfix", errorPostfix_);
  WriteSetting(section, "AddError", addError_);
  section.Put("UnUsableDataStatus", EnumSetToText(unUsable_));
}

void TLVCustomDataExecutor::LoadSettingsFrom(const ILVSettingsSection& section) {
  const bool autoRefresh = ReadSetting(section, "AutoRefresh", true);
  const bool replace = ReadSetting(section, "ReplaceOutputs", false);
  const std::string outputPostfix = ReadSetting<std::string>(section, "OutputPostfix", "_OUT");
  const std::string errorPostfix = ReadSetting<std::string>(section, "ErrorPostfix", "_ERR");
  const bool addError = ReadSetting(section, "AddError", true);
  TLVEnumSet<TLVDataStatus> unUsable{TLVDataStatus::dsUnUsable};
  if (std::optional<std::string> text = section.Get("UnUsableDataStatus")) {
    auto set = EnumSetFromText<TLVDataStatus>(*text);
    if (!set) RaisePropertyValue("UnUsableDataStatus", *text);
    unUsable = *set;
  }
  for (const std::string& postfix : {outputPostfix, errorPostfix}) {
    if (!IsValidPostfix(postfix)) throw ELVError("ErrBadPostfix", {postfix});
  }
  autoRefresh_ = autoRefresh;
  replaceOutputs_ = replace;
  outputPostfix_ = outputPostfix;
  errorPostfix_ = errorPostfix;
  addError_ = addError;
  unUsable_ = unUsable;
  Changed();
}

// --- TLVDataExecutor ---

void TLVDataExecutor::DoClose() {
  cachedFirst_ = -1;
  TLVCustomDataExecutor::DoClose();
}

void TLVDataExecutor::ComputeRun(TLVRowIndex first, int32_t count) {
  if (first == cachedFirst_ && count == cachedCount_) return;
  TLVTunedNormDataSource& source = *GetTunedNormDataSource();
  const TLVAnalyticKernel& kernel = *GetKernel();
  auto indexes = [&source](const std::vector<std::string>& names) {
    std::vector<int32_t> list;
    for (const std::string& name : names) list.push_back(source.Columns().IndexOfName(name));
    return list;
  };
  const std::vector<int32_t> inputs = indexes(kernel.InputNames());
  const std::vector<int32_t> outputs = indexes(kernel.OutputNames());
  outputOffsets_.clear();
  int32_t offset = 0;
  for (int32_t index : outputs) {
    outputOffsets_.push_back(offset);
    offset += source.RequireNormalizer(index).OutputWidth();
  }
  inputs_.resize(static_cast<size_t>(count) * static_cast<size_t>(kernel.InputWidth()));
  results_.resize(static_cast<size_t>(count) * static_cast<size_t>(kernel.OutputWidth()));
  targets_.resize(results_.size());
  source.NormalizeRows(inputs, nullptr, first, count, inputs_.data(), count);
  source.NormalizeRows(outputs, nullptr, first, count, targets_.data(), count);
  kernel.Compute(inputs_.data(), count, count, results_.data(), count);
  kernelResults_.resize(static_cast<size_t>(count) * kernel.ResultColumns().size());
  if (!kernelResults_.empty()) {
    kernel.ComputeResults(inputs_.data(), count, count, kernelResults_.data(), count);
  }
  cachedFirst_ = first;
  cachedCount_ = count;
}

void TLVDataExecutor::ComputeBlock(int32_t column, TLVRowIndex first, int32_t count,
                                   TLVBlock& out) {
  out.Reset(Columns()[column].GetDataType(), count);
  if (!GetKernel()->Trained()) {
    // An untrained kernel has learnt nothing to show.
    std::fill(out.Valid(), out.Valid() + count, uint8_t{0});
    return;
  }
  ComputeRun(first, count);
  const TComputed computed = Computed()[static_cast<size_t>(column)];
  if (computed.result >= 0) {
    const double* values = kernelResults_.data() + static_cast<ptrdiff_t>(computed.result) * count;
    const bool integer = out.Type() == TLVDataType::dtInteger;
    for (int32_t i = 0; i < count; ++i) {
      out.Valid()[i] = !std::isnan(values[i]);
      if (!out.Valid()[i]) continue;
      if (integer) {
        out.Integers()[i] = static_cast<int32_t>(values[i]);
      } else {
        out.Numbers()[i] = values[i];
      }
    }
    return;
  }
  TLVTunedNormDataSource& source = *GetTunedNormDataSource();
  const TLVNormalizer& normalizer = source.RequireNormalizer(source.Columns().IndexOfName(
      GetKernel()->OutputNames()[static_cast<size_t>(computed.output)]));
  const int32_t width = normalizer.OutputWidth();
  const int32_t offset = outputOffsets_[static_cast<size_t>(computed.output)];
  const double* results = results_.data() + static_cast<ptrdiff_t>(offset) * count;
  if (computed.error) {
    std::vector<double> widths;
    AppendOutputWidths(normalizer, widths);
    const double* targets = targets_.data() + static_cast<ptrdiff_t>(offset) * count;
    for (int32_t i = 0; i < count; ++i) {
      const double e = LVRowError(results + i, targets + i, count, widths);
      out.Valid()[i] = !std::isnan(e);
      out.Numbers()[i] = e;
    }
    return;
  }
  std::vector<double> components(static_cast<size_t>(width));
  for (int32_t i = 0; i < count; ++i) {
    for (int32_t j = 0; j < width; ++j) {
      components[static_cast<size_t>(j)] = results[static_cast<ptrdiff_t>(j) * count + i];
    }
    PutValue(out, i, normalizer.DenormalizeVector(components));
  }
}

void RegisterDataExecutorTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrSourceNotActive", "ErrBadPostfix", "ErrColumnCantBeResult", "ErrInputColumnMissing",
       "ErrResultTypeMismatch", "ExecutorReplaceOutputsCaption", "ExecutorOutputPostfixCaption",
       "ExecutorErrorPostfixCaption", "ExecutorAddErrorCaption", "ExecutorUnUsableCaption"});
}

}  // namespace lv
