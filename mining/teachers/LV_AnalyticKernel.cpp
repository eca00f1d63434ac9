#include "mining/teachers/LV_AnalyticKernel.h"

#include "core/registry/LV_Properties.h"

namespace lv {

namespace {

void SaveNames(ILVSettingsSection& section, std::string_view name,
               const std::vector<std::string>& names) {
  ILVSettingsSection& list = section.AddSection(name);
  for (const std::string& item : names) list.AddItem("Item").Put("Name", item);
}

std::vector<std::string> LoadNames(const ILVSettingsSection& section, std::string_view name) {
  std::vector<std::string> names;
  if (const ILVSettingsSection* list = section.FindSection(name)) {
    for (const ILVSettingsSection* item : list->Items("Item")) {
      names.push_back(item->Get("Name").value_or(""));
    }
  }
  return names;
}

int32_t LoadWidth(const ILVSettingsSection& section, std::string_view name) {
  const std::string text = section.Get(name).value_or("0");
  std::optional<int32_t> width = TLVPropertyCodec<int32_t>::FromText(text);
  if (!width || *width < 0) RaisePropertyValue(name, text);
  return *width;
}

}  // namespace

void TLVAnalyticKernel::InitKernel(std::vector<std::string> inputs, int32_t inputWidth,
                                   std::vector<std::string> outputs, int32_t outputWidth) {
  inputNames_ = std::move(inputs);
  outputNames_ = std::move(outputs);
  inputWidth_ = inputWidth;
  outputWidth_ = outputWidth;
  trained_ = false;
  DoInit();
}

void TLVAnalyticKernel::SaveTo(ILVSettingsSection& section) const {
  section.Put("KernelName", KernelName());
  SaveNames(section, "Inputs", inputNames_);
  SaveNames(section, "Outputs", outputNames_);
  section.Put("InputWidth", std::to_string(inputWidth_));
  section.Put("OutputWidth", std::to_string(outputWidth_));
  section.Put("Trained", TLVPropertyCodec<bool>::ToText(trained_));
  SaveState(section);
}

void TLVAnalyticKernel::LoadFrom(const ILVSettingsSection& section) {
  // A kernel of another kind (a section copied by hand between nodes) would read its
  // state as nonsense; refuse it by name instead.
  const std::string kernelName = section.Get("KernelName").value_or(std::string(KernelName()));
  if (kernelName != KernelName()) RaisePropertyValue("KernelName", kernelName);
  const int32_t inputWidth = LoadWidth(section, "InputWidth");
  const int32_t outputWidth = LoadWidth(section, "OutputWidth");
  const std::string trainedText = section.Get("Trained").value_or("False");
  std::optional<bool> trained = TLVPropertyCodec<bool>::FromText(trainedText);
  if (!trained) RaisePropertyValue("Trained", trainedText);
  InitKernel(LoadNames(section, "Inputs"), inputWidth, LoadNames(section, "Outputs"), outputWidth);
  LoadState(section);
  trained_ = *trained;
}

}  // namespace lv
