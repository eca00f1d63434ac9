// Variables files come from users and scripts (/VARFILE): any text must either load or
// raise ELVError, and what loads must read back as written, in its own scope and type.
// The same text then goes through %NAME% expansion against the loaded variables.
#include <cstdint>
#include <string_view>

#include "core/LV_CoreStartup.h"
#include "core/text/LV_Errors.h"
#include "env/LV_EnvStartup.h"
#include "env/LV_VarFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool started = (lv::CoreStartup(), lv::EnvStartup(), true);
  (void)started;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  lv::TLVEnvVariables variables;
  try {
    auto entries = lv::ParseVarFile(text, "fuzz.var");
    lv::ApplyVarFile(variables, entries);
    for (const auto& entry : entries) {
      const auto* item = variables.Variables().FindInScope(entry.name, entry.scope);
      if (!item || item->GetTheValue() != entry.value || item->GetDataType() != entry.type) {
        __builtin_trap();
      }
      (void)item->GetValue();
    }
  } catch (const lv::ELVError&) {
  }
  (void)variables.Expand(text);
  return 0;
}
