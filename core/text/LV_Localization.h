// The text table: every user-facing text by key, loaded from the language resource
// compiled into the binary. Units register the keys they use through one explicit
// start-up call each (see LV_CoreStartup.h); a test checks that every registered key
// has a text. Registration happens at start-up on one thread; lookups afterwards are
// read-only and safe from any thread.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lv {

class TLVLocalization {
 public:
  static TLVLocalization& Instance();

  // Replaces the table with the "Key=Text" lines of a resource (UTF-8; "\r", "\n" and
  // "\\" escapes; blank lines and lines starting with '#' or ';' ignored).
  void Load(std::string_view resource);

  void RegisterKey(std::string_view key);
  void RegisterKeys(std::initializer_list<std::string_view> keys);

  bool HasText(std::string_view key) const;
  // The text of a key; an unknown key yields the key itself in brackets, so a missing
  // text is visible but never fatal.
  std::string Text(std::string_view key) const;

  std::vector<std::string> RegisteredKeysWithoutText() const;
  std::vector<std::string> TextsNotRegistered() const;
  const std::set<std::string, std::less<>>& RegisteredKeys() const { return registered_; }

 private:
  TLVLocalization();
  std::map<std::string, std::string, std::less<>> texts_;
  std::set<std::string, std::less<>> registered_;
};

inline std::string LVText(std::string_view key) {
  return TLVLocalization::Instance().Text(key);
}

// The Russian resource compiled into the binary.
std::string_view EmbeddedRussianTexts();

}  // namespace lv
