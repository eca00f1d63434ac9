#include "transform/formula/LV_CalcPlugin.h"

#include <dlfcn.h>

#include <algorithm>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"
#include "transform/formula/LV_CalcPluginApi.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

std::vector<TLVPlugin>& Plugins() {
  static std::vector<TLVPlugin> plugins;
  return plugins;
}

// The arguments of one call in the library's form. Kernels run on one thread at a
// time, so one buffer per thread serves every call.
const LVCalcValue* PluginArgs(const TLVCalcArgs& args) {
  thread_local std::vector<LVCalcValue> values;
  values.resize(static_cast<size_t>(args.Count()));
  for (int32_t i = 0; i < args.Count(); ++i) {
    LVCalcValue& v = values[static_cast<size_t>(i)];
    v.isString = args.IsString(i) ? 1 : 0;
    v.number = v.isString ? LVCalcNull() : args.Number(i);
    std::string_view text = v.isString ? args.String(i) : std::string_view();
    v.text = text.data();
    v.length = static_cast<int32_t>(text.size());
  }
  return values.data();
}

const LVCalcFunctionInfo& InfoOf(const TLVCalcArgs& args) {
  return *static_cast<const LVCalcFunctionInfo*>(args.Function().userData);
}

double CallNumber(const TLVCalcArgs& args) {
  return InfoOf(args).number(PluginArgs(args), args.Count());
}

void CallString(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  const LVCalcFunctionInfo& info = InfoOf(args);
  const LVCalcValue* values = PluginArgs(args);
  std::string& out = result.Build();
  out.resize(64);
  int32_t length = info.string(values, args.Count(), out.data(), static_cast<int32_t>(out.size()));
  if (length > static_cast<int32_t>(out.size())) {
    out.resize(static_cast<size_t>(length));
    length = info.string(values, args.Count(), out.data(), length);
  }
  if (length < 0 || length > static_cast<int32_t>(out.size())) return result.SetNull();
  out.resize(static_cast<size_t>(length));
}

TPFunction FunctionOf(const LVCalcFunctionInfo& info) {
  TPFunction f;
  f.names = {info.name ? std::string(info.name) : std::string()};
  f.minArgs = info.minArgs;
  f.maxArgs = info.maxArgs;
  f.argKinds = info.argKinds ? info.argKinds : "";
  f.group = TLVCalcFunctionGroup::fgOther;
  // The library sees missing values itself, as NaN or a null text.
  f.flags = 0;
  f.userData = &info;
  f.descriptionText = info.description ? info.description : " ";
  f.argumentsText = info.argumentNames ? info.argumentNames : "";
  if (info.resultKind == LV_CALC_STRING) {
    f.resultKind = TLVCalcKind::ckString;
    if (info.string) f.strKernel = CallString;
  } else {
    if (info.number) f.numKernel = CallNumber;
  }
  return f;
}

bool ValidKinds(const LVCalcFunctionInfo& info) {
  if (info.resultKind != LV_CALC_NUMBER && info.resultKind != LV_CALC_STRING) return false;
  if (info.minArgs < 0 || (info.maxArgs >= 0 && info.maxArgs < info.minArgs)) return false;
  std::string_view kinds = info.argKinds ? info.argKinds : "";
  return kinds.find_first_not_of("NSA") == std::string_view::npos;
}

}  // namespace

std::filesystem::path DefaultPluginFolder() {
  std::error_code error;
  std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::filesystem::path("plugins") : program.parent_path() / "plugins";
}

std::vector<std::string> LoadCalcPlugins(const std::filesystem::path& folder,
                                         TLVFunctionCollection& functions) {
  std::vector<std::string> messages;
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) return messages;
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.is_regular_file(error) && entry.path().extension() == ".so") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
      messages.push_back(Format(LVText("ErrCalcPluginLoad"), {file.string(), std::string(dlerror())}));
      continue;
    }
    auto entry = reinterpret_cast<LVGetCalcFunctionInfo>(dlsym(handle, "DllGetCalcFunctionInfo"));
    if (!entry) {
      messages.push_back(Format(LVText("ErrCalcPluginNoEntry"), {file.string()}));
      dlclose(handle);
      continue;
    }
    TLVPlugin plugin(file);
    // The records must outlive the functions: they are kept for the program's life.
    static std::vector<std::unique_ptr<LVCalcFunctionInfo>> infos;
    // A library that never says it is done is cut off: no real one has this many.
    constexpr int32_t kMaxFunctions = 10000;
    for (int32_t index = 0; index < kMaxFunctions; ++index) {
      auto info = std::make_unique<LVCalcFunctionInfo>();
      info->structSize = sizeof(LVCalcFunctionInfo);
      if (entry(index, info.get()) == 0) break;
      try {
        if (!ValidKinds(*info)) throw ENoFuncError();
        TPFunction& added = functions.Add(FunctionOf(*info));
        plugin.names_.push_back(added.Name());
        infos.push_back(std::move(info));
      } catch (const ELVError& e) {
        messages.push_back(Format(LVText("ErrCalcPluginFunction"), {file.string(), std::string(e.what())}));
      }
    }
    Plugins().push_back(std::move(plugin));
  }
  return messages;
}

const std::vector<TLVPlugin>& LoadedCalcPlugins() { return Plugins(); }

void RegisterCalcPluginTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrCalcPluginLoad", "ErrCalcPluginNoEntry", "ErrCalcPluginFunction"});
}

}  // namespace lv
