#include "mining/models/LV_ModelHandler.h"

#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MemorySection.h"

namespace lv {

namespace {

const ILVSettingsSection* Part(const ILVSettingsSection& section, std::string_view name) {
  return section.FindSection(name);
}

}  // namespace

TLVModelHandler::TLVModelHandler(TKind kind)
    : kind_(std::move(kind)),
      tuned_(std::make_shared<TLVTunedNormDataSource>()),
      teach_(std::make_unique<TLVTeachDataSource>()),
      teacher_(kind_.teacher()),
      executor_(std::make_shared<TLVDataExecutor>()) {
  tuned_->SetUnitRange(kind_.unitRange);
  teach_->SetTunedNormDataSource(tuned_);
  teacher_->SetTeachDataSource(teach_.get());
  executor_->SetTunedNormDataSource(tuned_);
  Attach(kind_.kernel());
}

void TLVModelHandler::Attach(std::shared_ptr<TLVAnalyticKernel> kernel) {
  kernel_ = std::move(kernel);
  teacher_->SetKernel(kernel_);
  executor_->SetKernel(kernel_);
}

void TLVModelHandler::Teach(ILVProgress* progress) {
  TLVMemorySection before;
  SaveSettingsTo(before);
  try {
    tuned_->PrepareNormalizers(progress);
    std::shared_ptr<TLVAnalyticKernel> trained = kernel_->Clone();
    teacher_->SetKernel(trained);
    teacher_->Teach(progress);
    Attach(std::move(trained));
  } catch (...) {
    LoadSettingsFrom(before);
    teacher_->MarkAborted();
    throw;
  }
}

std::string TLVModelHandler::TeachSummary() const {
  const TLVSetErrors& teach = teacher_->Errors(TLVDataSourceType::dstTeach);
  const TLVSetErrors& test = teacher_->Errors(TLVDataSourceType::dstTest);
  const double teachMax = teach.rows > 0 ? teach.maxError : 0.0;
  const double testMax = test.rows > 0 ? test.maxError : 0.0;
  return Format(LVText("SModelTeachSummary"),
                {TeachResultText(teacher_->GetResult()), teach.rows, teach.avgError, teachMax,
                 test.rows, test.avgError, testMax});
}

void TLVModelHandler::SaveSettingsTo(ILVSettingsSection& section) const {
  tuned_->SaveSettingsTo(section.AddSection("TunedNormDataSource"));
  teach_->SaveTo(section.AddSection("TeachDataSource"));
  teacher_->SaveTo(section.AddSection("Teacher"));
  kernel_->SaveTo(section.AddSection("Kernel"));
  executor_->SaveSettingsTo(section.AddSection("Executor"));
}

void TLVModelHandler::LoadSettingsFrom(const ILVSettingsSection& section) {
  auto tuned = std::make_shared<TLVTunedNormDataSource>();
  tuned->SetUnitRange(kind_.unitRange);
  auto teach = std::make_unique<TLVTeachDataSource>();
  std::unique_ptr<TLVErrorCalcTeacher> teacher = kind_.teacher();
  std::shared_ptr<TLVAnalyticKernel> kernel = kind_.kernel();
  if (const ILVSettingsSection* part = Part(section, "TunedNormDataSource")) {
    tuned->LoadSettingsFrom(*part);
  }
  if (const ILVSettingsSection* part = Part(section, "TeachDataSource")) teach->LoadFrom(*part);
  if (const ILVSettingsSection* part = Part(section, "Teacher")) teacher->LoadFrom(*part);
  if (const ILVSettingsSection* part = Part(section, "Kernel")) kernel->LoadFrom(*part);
  if (const ILVSettingsSection* part = Part(section, "Executor")) {
    executor_->LoadSettingsFrom(*part);
  }
  // Everything read: the new objects take the old ones' places in the wiring.
  tuned->SetDataSource(parent_);
  tuned_ = std::move(tuned);
  teach_ = std::move(teach);
  teacher_ = std::move(teacher);
  teach_->SetTunedNormDataSource(tuned_);
  teacher_->SetTeachDataSource(teach_.get());
  executor_->SetTunedNormDataSource(tuned_);
  Attach(std::move(kernel));
}

void RegisterModelHandlerTexts() {
  TLVLocalization::Instance().RegisterKeys({"SModelTeachSummary"});
}

}  // namespace lv
