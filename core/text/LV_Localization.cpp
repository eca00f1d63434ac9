#include "core/text/LV_Localization.h"

namespace lv {

namespace {

std::string Unescape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '\\' && i + 1 < text.size()) {
      char next = text[i + 1];
      if (next == 'n' || next == 'r' || next == '\\' || next == 't') {
        out += next == 'n' ? '\n' : next == 'r' ? '\r' : next == 't' ? '\t' : '\\';
        ++i;
        continue;
      }
    }
    out += c;
  }
  return out;
}

}  // namespace

TLVLocalization& TLVLocalization::Instance() {
  static TLVLocalization instance;
  return instance;
}

TLVLocalization::TLVLocalization() {
  Load(EmbeddedRussianTexts());
}

void TLVLocalization::Load(std::string_view resource) {
  texts_.clear();
  // A UTF-8 byte-order mark left by an editor must not become part of the first key.
  if (resource.starts_with("\xEF\xBB\xBF")) resource.remove_prefix(3);
  while (!resource.empty()) {
    size_t end = resource.find('\n');
    std::string_view line = resource.substr(0, end);
    resource = end == std::string_view::npos ? std::string_view{} : resource.substr(end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty() || line.front() == '#' || line.front() == ';') continue;
    size_t eq = line.find('=');
    if (eq == std::string_view::npos || eq == 0) continue;
    texts_[std::string(line.substr(0, eq))] = Unescape(line.substr(eq + 1));
  }
}

void TLVLocalization::RegisterKey(std::string_view key) {
  registered_.emplace(key);
}

void TLVLocalization::RegisterKeys(std::initializer_list<std::string_view> keys) {
  for (auto key : keys) RegisterKey(key);
}

bool TLVLocalization::HasText(std::string_view key) const {
  return texts_.contains(key);
}

std::string TLVLocalization::Text(std::string_view key) const {
  auto it = texts_.find(key);
  if (it != texts_.end()) return it->second;
  // Built piece by piece: GCC 12 sees a false overlap in "[" + std::string(key).
  std::string missing;
  missing.reserve(key.size() + 2);
  missing += '[';
  missing += key;
  missing += ']';
  return missing;
}

std::vector<std::string> TLVLocalization::RegisteredKeysWithoutText() const {
  std::vector<std::string> result;
  for (const auto& key : registered_) {
    if (!texts_.contains(key)) result.push_back(key);
  }
  return result;
}

std::vector<std::string> TLVLocalization::TextsNotRegistered() const {
  std::vector<std::string> result;
  for (const auto& [key, text] : texts_) {
    if (!registered_.contains(key)) result.push_back(key);
  }
  return result;
}

}  // namespace lv
