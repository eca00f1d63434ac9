#include "env/LV_VarFile.h"

#include <unicode/utf8.h>

#include <limits>
#include <optional>

#include "core/platform/LV_ReadFile.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

struct TLineError {
  std::string message;
};

[[noreturn]] void Fail(std::string_view key, std::initializer_list<TLVFormatArg> args = {}) {
  throw TLineError{ELVError(key, args).what()};
}

std::string_view Trim(std::string_view s) {
  size_t first = s.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  size_t last = s.find_last_not_of(" \t");
  return s.substr(first, last - first + 1);
}

bool SameWord(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

// Text that would reach file names and messages: UTF-8 without NUL characters.
bool AcceptableText(std::string_view s) {
  if (s.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) return false;
  const auto length = static_cast<int32_t>(s.size());
  int32_t i = 0;
  while (i < length) {
    UChar32 c = 0;
    U8_NEXT(s.data(), i, length, c);
    if (c <= 0) return false;
  }
  return true;
}

TLVEnvVarType ParseScope(std::string_view header) {
  if (header.size() < 2 || header.back() != ']') Fail("SVarFileBadSection", {header});
  std::string_view word = Trim(header.substr(1, header.size() - 2));
  struct TScopeWord {
    std::string_view word, valueName;
    TLVEnvVarType scope;
    bool allowed;
  };
  static constexpr TScopeWord kScopes[] = {
      {"User", "evtUser", TLVEnvVarType::evtUser, true},
      {"Project", "evtProj", TLVEnvVarType::evtProj, true},
      {"Hidden", "evtHidden", TLVEnvVarType::evtHidden, true},
      {"None", "evtNone", TLVEnvVarType::evtNone, true},
      // Filled by the program on every start: a value put there would not last.
      {"Application", "evtApp", TLVEnvVarType::evtApp, false},
      {"System", "evtSys", TLVEnvVarType::evtSys, false},
  };
  for (const auto& s : kScopes) {
    if (SameWord(word, s.word) || SameWord(word, s.valueName)) {
      if (!s.allowed) Fail("SVarFileScopeFilled", {word});
      return s.scope;
    }
  }
  Fail("SVarFileUnknownScope", {word});
}

TLVDataType ParseType(std::string_view word) {
  static constexpr std::pair<std::string_view, TLVDataType> kTypes[] = {
      {"String", TLVDataType::dtString},     {"Integer", TLVDataType::dtInteger},
      {"Float", TLVDataType::dtFloat},       {"Boolean", TLVDataType::dtBoolean},
      {"DateTime", TLVDataType::dtDateTime},
  };
  for (const auto& [name, type] : kTypes) {
    if (SameWord(word, name) ||
        (word.size() > 2 && SameWord(word.substr(0, 2), "dt") && SameWord(word.substr(2), name))) {
      return type;
    }
  }
  Fail("SVarFileUnknownType", {word});
}

// A value in double quotes keeps its blanks; a quote inside it is written twice.
std::string ParseValue(std::string_view raw) {
  if (raw.empty() || raw.front() != '"') return std::string(raw);
  std::string value;
  size_t i = 1;
  while (true) {
    if (i >= raw.size()) Fail("SVarFileQuote");
    char c = raw[i++];
    if (c != '"') {
      value += c;
      continue;
    }
    if (i == raw.size()) return value;
    if (raw[i] != '"') Fail("SVarFileQuote");
    value += '"';
    ++i;
  }
}

TLVVarFileEntry ParseEntry(std::string_view line, TLVEnvVarType scope) {
  size_t eq = line.find('=');
  if (eq == std::string_view::npos) Fail("SVarFileNoEquals");
  std::string_view head = line.substr(0, eq);
  TLVVarFileEntry entry;
  entry.scope = scope;
  size_t colon = head.find(':');
  entry.name = Trim(head.substr(0, colon));
  if (!IsValidEnvVarName(entry.name)) Fail("ErrEnvVarBadName", {entry.name});
  if (colon != std::string_view::npos) entry.type = ParseType(Trim(head.substr(colon + 1)));
  entry.value = ParseValue(Trim(line.substr(eq + 1)));
  try {
    EnvTextToValue(entry.name, entry.value, entry.type);
  } catch (const ELVError& e) {
    throw TLineError{e.what()};
  }
  return entry;
}

}  // namespace

std::vector<TLVVarFileEntry> ParseVarFile(std::string_view text, std::string_view fileName) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  std::vector<TLVVarFileEntry> entries;
  TLVEnvVarType scope = TLVEnvVarType::evtUser;
  int32_t lineNumber = 0;
  while (!text.empty()) {
    size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
    ++lineNumber;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    try {
      if (!AcceptableText(line)) Fail("SVarFileBadText");
      line = Trim(line);
      if (line.empty() || line.front() == '#' || line.front() == ';') continue;
      if (line.front() == '[') {
        scope = ParseScope(line);
        continue;
      }
      TLVVarFileEntry entry = ParseEntry(line, scope);
      for (const auto& earlier : entries) {
        if (earlier.scope == entry.scope && SameWord(earlier.name, entry.name)) {
          Fail("ErrEnvVarExists", {entry.name});
        }
      }
      entry.line = lineNumber;
      entries.push_back(std::move(entry));
    } catch (const TLineError& error) {
      throw ELVError("ErrVarFileLine", {fileName, lineNumber, error.message});
    }
  }
  return entries;
}

void ApplyVarFile(TLVEnvVariables& variables, std::span<const TLVVarFileEntry> entries) {
  auto& list = variables.Variables();
  list.BeginUpdate();
  try {
    for (const auto& entry : entries)
      variables.Put(entry.name, entry.scope, entry.value, entry.type);
  } catch (...) {
    list.EndUpdate();
    throw;
  }
  list.EndUpdate();
}

void LoadVarFile(TLVEnvVariables& variables, const std::filesystem::path& path) {
  std::string text = LVReadWholeFile(path, "ErrVarFileOpen");
  ApplyVarFile(variables, ParseVarFile(text, path.string()));
}

void RegisterVarFileTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrVarFileOpen", "ErrVarFileLine", "SVarFileNoEquals",
                                            "SVarFileUnknownType", "SVarFileBadSection",
                                            "SVarFileUnknownScope", "SVarFileScopeFilled",
                                            "SVarFileQuote", "SVarFileBadText"});
}

}  // namespace lv
