#include "mining/teachers/LV_Teacher.h"

#include <algorithm>
#include <cmath>

#include "core/registry/LV_Properties.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

namespace {

constexpr TLVDataSourceType kSets[] = {TLVDataSourceType::dstTeach, TLVDataSourceType::dstTest};
// Rows of a set evaluated at once: large enough for the kernel's matrix products,
// small enough to keep the buffers modest on big tables.
constexpr TLVRowIndex kChunkRows = 65536;

}  // namespace

std::string TeachResultText(TLVTeachResult result) {
  return LVText("TeachResult" + std::to_string(static_cast<int>(result)));
}

// --- TLVTeacher ---

void TLVTeacher::SetInitKernel(bool value) {
  if (value == initKernel_) return;
  if (!value) {
    if (!kernel_) throw ELVError("ErrNoKernel");
    if (!CanContinueTeach()) throw ELVError("ErrNoContinueTeach");
  }
  initKernel_ = value;
}

TLVTeachDataSource& TLVTeacher::Data() const {
  if (!teach_ || !teach_->GetTunedNormDataSource()) throw ELVError("ErrNoTeachSet");
  return *teach_;
}

TLVAnalyticKernel& TLVTeacher::Kernel() const {
  if (!kernel_) throw ELVError("ErrNoKernel");
  return *kernel_;
}

void TLVTeacher::Teach(ILVProgress* progress) {
  CheckTeach();
  TLVAnalyticKernel& kernel = Kernel();
  TLVTeachDataSource& data = Data();
  TLVTunedNormDataSource& tuned = *data.GetTunedNormDataSource();
  if (tuned.InputColumns().empty()) throw ELVError("ErrModelNoInputs");
  if (kernel.NeedsOutputs() && tuned.OutputColumns().empty()) throw ELVError("ErrModelNoOutputs");
  data.CheckBeforeTraining(progress);
  if (!initKernel_ && kernel.CanContinueTeach()) {
    result_ = TLVTeachResult::trContinued;
    state_ = TLVTeacherState::tstContinueTeach;
  } else {
    const std::vector<int32_t> inputs = tuned.InputColumns();
    const std::vector<int32_t> outputs = tuned.OutputColumns();
    auto names = [&tuned](const std::vector<int32_t>& columns) {
      std::vector<std::string> list;
      for (int32_t index : columns) list.push_back(tuned.Columns()[index].GetName());
      return list;
    };
    kernel.InitKernel(names(inputs), tuned.WidthOf(inputs), names(outputs), tuned.WidthOf(outputs));
    result_ = TLVTeachResult::trStarted;
    state_ = TLVTeacherState::tstNewTeach;
  }
  try {
    StartTeach();
    DoTeach(progress);
  } catch (...) {
    result_ = TLVTeachResult::trAborted;
    state_ = TLVTeacherState::tstFinished;
    throw;
  }
  result_ = TLVTeachResult::trFinished;
  state_ = TLVTeacherState::tstFinished;
}

void TLVTeacher::SaveTo(ILVSettingsSection& section) const {
  section.Put("InitKernel", TLVPropertyCodec<bool>::ToText(initKernel_));
  section.Put("State", ValueName(state_));
  section.Put("Result", std::to_string(static_cast<int>(result_)));
}

void TLVTeacher::LoadFrom(const ILVSettingsSection& section) {
  const bool init = ReadSetting<bool>(section, "InitKernel", true);
  const TLVTeacherState state = ReadSetting(section, "State", TLVTeacherState::tstFinished);
  const int32_t result = ReadSetting<int32_t>(section, "Result", 5);
  if (result < 0 || result > 5) RaisePropertyValue("Result", std::to_string(result));
  initKernel_ = init;
  state_ = state;
  result_ = static_cast<TLVTeachResult>(result);
}

// --- TLVErrorCalcTeacher ---

void TLVErrorCalcTeacher::StartTeach() {
  for (TLVDataSourceType set : kSets) ResetErrors(set);
  TLVTunedNormDataSource& tuned = *Data().GetTunedNormDataSource();
  std::vector<double> widths;
  for (int32_t index : tuned.OutputColumns()) {
    AppendOutputWidths(tuned.RequireNormalizer(index), widths);
  }
  SetOutputRanges(std::move(widths));
}

void TLVErrorCalcTeacher::AddRow(std::span<const double> outputs, std::span<const double> targets,
                                 TLVDataSourceType set) {
  AddRows(outputs.data(), targets.data(), 1, 1, set);
}

void TLVErrorCalcTeacher::AddRows(const double* outputs, const double* targets, ptrdiff_t ld,
                                  TLVRowIndex rows, TLVDataSourceType set) {
  TLVSetErrors& errors = errors_[static_cast<size_t>(set)];
  for (TLVRowIndex i = 0; i < rows; ++i) {
    // Rows with a missing output or target stay out of the statistics.
    const double e = LVRowError(outputs + i, targets + i, ld, widths_);
    if (std::isnan(e)) continue;
    if (e > errors.maxError) errors.maxError = e;
    if (e < recognitionErr_) ++errors.recognized;
    errors.errorSum += e;
    ++errors.rows;
  }
}

void TLVErrorCalcTeacher::FinishErrors(TLVDataSourceType set) {
  TLVSetErrors& errors = errors_[static_cast<size_t>(set)];
  if (errors.rows == 0) {
    errors.avgError = 0;
    errors.percentRecognized = 0;
    return;
  }
  const auto rows = static_cast<double>(errors.rows);
  errors.avgError = errors.errorSum / rows;
  errors.percentRecognized = std::min(100.0, static_cast<double>(errors.recognized) / rows * 100);
}

void TLVErrorCalcTeacher::CalcErrors(TLVDataSourceType set, ILVProgress* progress) {
  ResetErrors(set);
  TLVTeachDataSource& data = Data();
  TLVTunedNormDataSource& tuned = *data.GetTunedNormDataSource();
  const TLVAnalyticKernel& kernel = Kernel();
  const std::vector<TLVRowIndex>& rows = data.Rows(set);
  const std::vector<int32_t> inputs = tuned.InputColumns();
  const std::vector<int32_t> outputs = tuned.OutputColumns();
  const auto total = static_cast<TLVRowIndex>(rows.size());
  const TLVRowIndex chunk = std::min(total, kChunkRows);
  std::vector<double> in(static_cast<size_t>(chunk * kernel.InputWidth()));
  std::vector<double> target(static_cast<size_t>(chunk * kernel.OutputWidth()));
  std::vector<double> out(target.size());
  for (TLVRowIndex at = 0; at < total; at += chunk) {
    const TLVRowIndex n = std::min(chunk, total - at);
    tuned.NormalizeRows(inputs, rows.data() + at, 0, n, in.data(), n);
    tuned.NormalizeRows(outputs, rows.data() + at, 0, n, target.data(), n);
    kernel.Compute(in.data(), n, n, out.data(), n);
    AddRows(out.data(), target.data(), n, n, set);
    ReportProgress(progress, at + n);
  }
  FinishErrors(set);
}

void TLVErrorCalcTeacher::SaveTo(ILVSettingsSection& section) const {
  TLVTeacher::SaveTo(section);
  section.Put("RecognitionErr", RealText(recognitionErr_));
  ILVSettingsSection& all = section.AddSection("Errors");
  for (TLVDataSourceType set : kSets) {
    const TLVSetErrors& errors = Errors(set);
    ILVSettingsSection& item = all.AddSection(ValueName(set));
    item.Put("Rows", std::to_string(errors.rows));
    item.Put("Recog", std::to_string(errors.recognized));
    item.Put("AvgError", RealText(errors.avgError));
    item.Put("MaxError", RealText(errors.maxError));
    item.Put("PercentRecognized", RealText(errors.percentRecognized));
  }
}

void TLVErrorCalcTeacher::LoadFrom(const ILVSettingsSection& section) {
  const double recognition = ReadSetting<double>(section, "RecognitionErr", 0.05);
  std::array<TLVSetErrors, 2> loaded;
  if (const ILVSettingsSection* all = section.FindSection("Errors")) {
    for (TLVDataSourceType set : kSets) {
      const ILVSettingsSection* item = all->FindSection(ValueName(set));
      if (!item) continue;
      TLVSetErrors& errors = loaded[static_cast<size_t>(set)];
      errors.rows = static_cast<TLVRowIndex>(ReadSetting<double>(*item, "Rows", 0));
      errors.recognized = static_cast<TLVRowIndex>(ReadSetting<double>(*item, "Recog", 0));
      errors.avgError = ReadSetting<double>(*item, "AvgError", 0);
      errors.maxError = ReadSetting<double>(*item, "MaxError", -1.7e308);
      errors.percentRecognized = ReadSetting<double>(*item, "PercentRecognized", 0);
      errors.errorSum = errors.avgError * static_cast<double>(errors.rows);
    }
  }
  TLVTeacher::LoadFrom(section);
  recognitionErr_ = recognition;
  errors_ = loaded;
}

// --- TLVEpochTeacher ---

void TLVEpochTeacher::SetMaxEpochCount(int32_t value) {
  if (value < 1) RaisePropertyValue("MaxEpochCount", std::to_string(value));
  maxEpochCount_ = value;
}

TLVEnumSet<TLVTeacherStopConditionType> TLVEpochTeacher::GetStopConditions() const {
  return GetKernel() ? stopConditions_ & GetKernel()->SupportedStopConditions() : stopConditions_;
}

std::optional<TLVTeacherStopConditionType> TLVEpochTeacher::StopTest() const {
  using C = TLVTeacherStopConditionType;
  const TLVEnumSet<C> checked = GetStopConditions();
  if (checked.Contains(C::tecEpochCount) && maxEpochCount_ <= currentEpoch_ + 1) {
    return C::tecEpochCount;
  }
  struct TSetConditions {
    TLVDataSourceType set;
    C avg, max, percent;
  };
  const TSetConditions sets[] = {{TLVDataSourceType::dstTeach, C::tecTeachAvgError,
                                  C::tecTeachMaxError, C::tecTeachPercentRecognized},
                                 {TLVDataSourceType::dstTest, C::tecTestAvgError,
                                  C::tecTestMaxError, C::tecTestPercentRecognized}};
  for (const TSetConditions& s : sets) {
    const TLVSetErrors& errors = Errors(s.set);
    if (errors.rows == 0) continue;
    const TThresholds& limit = thresholds_[static_cast<size_t>(s.set)];
    if (checked.Contains(s.avg) && errors.avgError <= limit.avgError) return s.avg;
    if (checked.Contains(s.max) && errors.maxError <= limit.maxError) return s.max;
    if (checked.Contains(s.percent) && errors.percentRecognized >= limit.percentRecognized) {
      return s.percent;
    }
  }
  return std::nullopt;
}

void TLVEpochTeacher::DoTeach(ILVProgress* progress) {
  if (GetInitKernel() || !CanContinueTeach()) currentEpoch_ = 0;
  TLVProgressScope scope(progress, LVText("TeachEpochsCaption"), maxEpochCount_);
  // The errors of a set cost a pass over its rows: after an epoch they are computed
  // only for the sets whose conditions are checked, and for both once training stops.
  using C = TLVTeacherStopConditionType;
  const TLVEnumSet<C> checked = GetStopConditions();
  const bool teachChecked = checked.Contains(C::tecTeachAvgError) ||
                            checked.Contains(C::tecTeachMaxError) ||
                            checked.Contains(C::tecTeachPercentRecognized);
  const bool testChecked = checked.Contains(C::tecTestAvgError) ||
                           checked.Contains(C::tecTestMaxError) ||
                           checked.Contains(C::tecTestPercentRecognized);
  for (;;) {
    TeachEpoch(progress);
    if (teachChecked) CalcErrors(TLVDataSourceType::dstTeach);
    if (testChecked) CalcErrors(TLVDataSourceType::dstTest);
    const std::optional<TLVTeacherStopConditionType> stop = StopTest();
    ++currentEpoch_;
    scope.Step(currentEpoch_);
    if (stop) {
      if (!teachChecked) CalcErrors(TLVDataSourceType::dstTeach);
      if (!testChecked) CalcErrors(TLVDataSourceType::dstTest);
      break;
    }
  }
}

void TLVEpochTeacher::SaveTo(ILVSettingsSection& section) const {
  TLVErrorCalcTeacher::SaveTo(section);
  section.Put("MaxEpochCount", std::to_string(maxEpochCount_));
  section.Put("CurrentEpoch", std::to_string(currentEpoch_));
  section.Put("StopConditions", EnumSetToText(stopConditions_));
  ILVSettingsSection& all = section.AddSection("StopCondition");
  for (TLVDataSourceType set : kSets) {
    const TThresholds& limit = thresholds_[static_cast<size_t>(set)];
    ILVSettingsSection& item = all.AddSection(ValueName(set));
    item.Put("AvgError", RealText(limit.avgError));
    item.Put("MaxError", RealText(limit.maxError));
    item.Put("PercentRecognized", RealText(limit.percentRecognized));
  }
}

void TLVEpochTeacher::LoadFrom(const ILVSettingsSection& section) {
  const int32_t maxEpochs = ReadSetting<int32_t>(section, "MaxEpochCount", 10000);
  if (maxEpochs < 1) RaisePropertyValue("MaxEpochCount", std::to_string(maxEpochs));
  const int32_t current = ReadSetting<int32_t>(section, "CurrentEpoch", 0);
  TLVEnumSet<TLVTeacherStopConditionType> conditions{TLVTeacherStopConditionType::tecEpochCount};
  if (std::optional<std::string> text = section.Get("StopConditions")) {
    auto set = EnumSetFromText<TLVTeacherStopConditionType>(*text);
    if (!set) RaisePropertyValue("StopConditions", *text);
    conditions = *set;
  }
  std::array<TThresholds, 2> limits;
  if (const ILVSettingsSection* all = section.FindSection("StopCondition")) {
    for (TLVDataSourceType set : kSets) {
      const ILVSettingsSection* item = all->FindSection(ValueName(set));
      if (!item) continue;
      TThresholds& limit = limits[static_cast<size_t>(set)];
      limit.avgError = ReadSetting<double>(*item, "AvgError", limit.avgError);
      limit.maxError = ReadSetting<double>(*item, "MaxError", limit.maxError);
      limit.percentRecognized = ReadSetting<double>(*item, "PercentRecognized", 100);
    }
  }
  TLVErrorCalcTeacher::LoadFrom(section);
  maxEpochCount_ = maxEpochs;
  currentEpoch_ = current;
  stopConditions_ = conditions;
  thresholds_ = limits;
}

void RegisterTeacherTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrNoKernel", "ErrNoContinueTeach", "ErrModelNoInputs", "ErrModelNoOutputs",
       "TeachResultCaption", "TeachResult0", "TeachResult1", "TeachResult2", "TeachResult3",
       "TeachResult4", "TeachResult5", "TeachEpochsCaption", "TeacherInitKernelCaption",
       "TeacherRecognitionErrCaption", "TeacherMaxEpochCountCaption",
       "TeacherCurrentEpochCaption"});
}

}  // namespace lv
