// Format patterns can come from users (the formula language's Format): any pattern with
// any arguments must either format or raise ELVConvertError.
#include <cstdint>
#include <string_view>

#include "core/LV_CoreStartup.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool started = (lv::CoreStartup(), true);
  (void)started;
  std::string_view pattern(reinterpret_cast<const char*>(data), size);
  const lv::TLVFormatArg args[] = {lv::TLVFormatArg(3), lv::TLVFormatArg(-2.5),
                                   lv::TLVFormatArg("текст"), lv::TLVFormatArg(int64_t{1} << 40),
                                   lv::TLVFormatArg(1e300)};
  try {
    (void)lv::Format(pattern, args);
  } catch (const lv::ELVConvertError&) {
  }
  return 0;
}
