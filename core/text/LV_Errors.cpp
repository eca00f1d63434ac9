#include "core/text/LV_Errors.h"

#include "core/text/LV_Localization.h"

namespace lv {

namespace {

std::string FormatMessage(std::string_view key, std::initializer_list<TLVFormatArg> args) {
  std::string text = LVText(key);
  try {
    return Format(text, args);
  } catch (const ELVConvertError&) {
    // A text that does not fit its arguments is a defect of the text table; the
    // user still gets the text rather than a second, unrelated error.
    return text;
  }
}

}  // namespace

ELVError::ELVError(std::string_view key, std::initializer_list<TLVFormatArg> args)
    : std::runtime_error(FormatMessage(key, args)), key_(key) {}

ELVConvertError ELVConvertError::InvalidFormat(std::string_view pattern) {
  // Built without Format: this error is what Format itself raises.
  std::string text = LVText("SInvalidFormat");
  size_t at = text.find("%s");
  if (at != std::string::npos) text.replace(at, 2, pattern);
  return ELVConvertError(Raw{}, "SInvalidFormat", text);
}

ELVAbort::ELVAbort() : ELVError("SOperationAborted") {}

void RegisterErrorsTexts() {
  TLVLocalization::Instance().RegisterKeys({"SInvalidFormat", "SOperationAborted"});
}

}  // namespace lv
