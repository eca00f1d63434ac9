// The descriptive properties of a project ("Author", "CompanyName", "Description",
// "DisplayName", "ProjectVersion", persisted in the section "Properties") and its
// protection: whether the file is a password-protected container, and the three
// passwords that open it (the project's, the viewer edition's and the batch run's).
//
// Passwords are never persisted as text: they key the container (LV_ProjectFile.h).
// A password set here is pending until the next save turns it into a key slot of the
// file and forgets it; a project opened from a protected file keeps the slots it read,
// so saving again needs no password at all.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/registry/LV_Properties.h"

namespace lv {

// Who a password lets in.
enum class TProjectAccess : uint8_t { paProject, paViewer, paBatch };

class TProjectProperties {
 public:
  const std::string& GetAuthor() const { return author_; }
  void SetAuthor(const std::string& value) { author_ = value; }
  const std::string& GetCompanyName() const { return companyName_; }
  void SetCompanyName(const std::string& value) { companyName_ = value; }
  const std::string& GetDescription() const { return description_; }
  void SetDescription(const std::string& value) { description_ = value; }
  const std::string& GetDisplayName() const { return displayName_; }
  void SetDisplayName(const std::string& value) { displayName_ = value; }
  const std::string& GetProjectVersion() const { return projectVersion_; }
  void SetProjectVersion(const std::string& value) { projectVersion_ = value; }

  // Protection is a property of the file, not of the section "Properties".
  bool GetProtected() const { return protected_; }
  void SetProtected(bool value) { protected_ = value; }
  // The pending password of `access` (empty when none is pending).
  const std::string& GetPassword(TProjectAccess access) const {
    return passwords_[static_cast<size_t>(access)];
  }
  void SetPassword(TProjectAccess access, std::string_view value) {
    passwords_[static_cast<size_t>(access)] = value;
  }
  void ForgetPasswords();

  // The persisted properties, in the order of the section.
  static const TLVPropertyTable<TProjectProperties>& Properties();
  // The caption shown for a persisted property ("Автор" for "Author").
  static std::string PropertyCaption(std::string_view name);

 private:
  std::string author_;
  std::string companyName_;
  std::string description_;
  std::string displayName_;
  std::string projectVersion_;
  bool protected_ = false;
  std::string passwords_[3];
};

// The message for a protected project without the password of `access`
// ("Не указан пароль для проекта." ...) and the prompt that asks for it
// ("Укажите пароль для проекта." ...).
std::string MissingPasswordMessage(TProjectAccess access);
std::string PasswordPrompt(TProjectAccess access);

void RegisterProjectPropertiesTexts();

}  // namespace lv
