#include "project/LV_ProjectProperties.h"

#include <algorithm>

#include "core/text/LV_Localization.h"

namespace lv {

void TProjectProperties::ForgetPasswords() {
  for (auto& password : passwords_) {
    // Overwritten before release, so the text does not linger in freed memory.
    std::fill(password.begin(), password.end(), '\0');
    password.clear();
  }
}

const TLVPropertyTable<TProjectProperties>& TProjectProperties::Properties() {
  static const auto table = [] {
    TLVPropertyTable<TProjectProperties> t;
    using P = TProjectProperties;
    t.Add("Author", &P::GetAuthor, &P::SetAuthor, std::string())
        .Add("CompanyName", &P::GetCompanyName, &P::SetCompanyName, std::string())
        .Add("Description", &P::GetDescription, &P::SetDescription, std::string())
        .Add("DisplayName", &P::GetDisplayName, &P::SetDisplayName, std::string())
        .Add("ProjectVersion", &P::GetProjectVersion, &P::SetProjectVersion, std::string());
    return t;
  }();
  return table;
}

std::string TProjectProperties::PropertyCaption(std::string_view name) {
  return LVText("SProjectProperty" + std::string(name));
}

std::string MissingPasswordMessage(TProjectAccess access) {
  static constexpr std::string_view kKeys[] = {
      "ErrProjectPasswordMissing", "ErrViewerPasswordMissing", "ErrBatchPasswordMissing"};
  return LVText(kKeys[static_cast<size_t>(access)]);
}

std::string PasswordPrompt(TProjectAccess access) {
  static constexpr std::string_view kKeys[] = {"SProjectPasswordPrompt", "SViewerPasswordPrompt",
                                               "SBatchPasswordPrompt"};
  return LVText(kKeys[static_cast<size_t>(access)]);
}

void RegisterProjectPropertiesTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"SProjectPropertyAuthor", "SProjectPropertyCompanyName", "SProjectPropertyDescription",
       "SProjectPropertyDisplayName", "SProjectPropertyProjectVersion", "ErrProjectPasswordMissing",
       "ErrViewerPasswordMissing", "ErrBatchPasswordMissing", "SProjectPasswordPrompt",
       "SViewerPasswordPrompt", "SBatchPasswordPrompt"});
}

}  // namespace lv
