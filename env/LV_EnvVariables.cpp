#include "env/LV_EnvVariables.h"

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <limits>
#include <memory>
#include <random>

#include "core/columns/LV_Convert.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kEnvVarTypeNames{"evtNone"sv, "evtSys"sv,  "evtHidden"sv,
                                      "evtApp"sv,  "evtProj"sv, "evtUser"sv};
constexpr std::array kEnvVarSortTypeNames{"evsNone"sv, "evsType"sv, "evsName"sv, "evsVal"sv};
const TLVEnumDescriptor kEnvVarTypeDescriptor{"TLVEnvVarType", kEnvVarTypeNames, true, true};
const TLVEnumDescriptor kEnvVarSortTypeDescriptor{"TLVEnvVarSortType", kEnvVarSortTypeNames, true,
                                                  true};

// From the user's scope down: the order in which a look-up tries them.
constexpr std::array kLookupOrder{TLVEnvVarType::evtUser, TLVEnvVarType::evtProj,
                                  TLVEnvVarType::evtApp,  TLVEnvVarType::evtHidden,
                                  TLVEnvVarType::evtSys,  TLVEnvVarType::evtNone};

char AsciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool SameName(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) { return AsciiLower(x) == AsciiLower(y); });
}

bool AsciiLess(const std::string& a, const std::string& b) {
  return std::ranges::lexicographical_compare(
      a, b, [](char x, char y) { return AsciiLower(x) < AsciiLower(y); });
}

bool AllBlank(std::string_view text) {
  return text.find_first_not_of(" \t") == std::string_view::npos;
}

// A time of day alone ("hh:nn" or "hh:nn:ss") as the fraction of a day; the date
// reader needs a date in front.
std::optional<double> ParseTimeOnly(std::string_view text, const TLVFormatSettings& fs) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  int parts[3] = {0, 0, 0};
  int count = 0;
  size_t i = 0;
  while (count < 3) {
    size_t start = i;
    int value = 0;
    while (i < text.size() && i - start < 2 && text[i] >= '0' && text[i] <= '9') {
      value = value * 10 + (text[i++] - '0');
    }
    if (i == start) return std::nullopt;
    parts[count++] = value;
    if (i == text.size()) break;
    if (text[i] != fs.timeSeparator) return std::nullopt;
    ++i;
  }
  if (i != text.size() || count < 2) return std::nullopt;
  if (parts[0] > 23 || parts[1] > 59 || parts[2] > 59) return std::nullopt;
  return (parts[0] * 3600.0 + parts[1] * 60.0 + parts[2]) / 86400.0;
}

std::string_view ReasonKey(TLVDataType type) {
  switch (type) {
    case TLVDataType::dtFloat:
      return "SEnvVarNotFloat";
    case TLVDataType::dtInteger:
      return "SEnvVarNotInteger";
    case TLVDataType::dtDateTime:
      return "SEnvVarNotDateTime";
    case TLVDataType::dtBoolean:
      return "SEnvVarNotBoolean";
    default:
      return "SEnvVarNoType";
  }
}

[[noreturn]] void RaiseNotConvertible(std::string_view name, std::string_view text,
                                      TLVDataType type) {
  std::string reason = ELVError(ReasonKey(type), {text}).what();
  throw ELVConvertError("ErrEnvVarAssign", {name, text, reason});
}

TLVEnvVarCollection* OwnerOf(const TLVEnvVarCollectionItem& item) {
  return dynamic_cast<TLVEnvVarCollection*>(item.Collection());
}

std::string CollectionName(TLVEnvVarType scope, std::string_view name) {
  return std::string(EnvVarPrefix(scope)) + std::string(name);
}

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLVEnvVarType) {
  return kEnvVarTypeDescriptor;
}
const TLVEnumDescriptor& DescribeEnum(TLVEnvVarSortType) {
  return kEnvVarSortTypeDescriptor;
}

std::string_view EnvVarPrefix(TLVEnvVarType scope) {
  static constexpr std::array kPrefixes{"__"sv, "S_"sv, "H_"sv, "A_"sv, "P_"sv, "U_"sv};
  return kPrefixes[static_cast<size_t>(scope)];
}

bool IsValidEnvVarName(std::string_view name) {
  if (name.empty()) return false;
  auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
  if (!letter(name.front())) return false;
  return std::ranges::all_of(name, [&](char c) { return letter(c) || (c >= '0' && c <= '9'); });
}

TLVValue EnvTextToValue(std::string_view name, std::string_view text, TLVDataType type,
                        const TLVFormatSettings& fs) {
  if (type == TLVDataType::dtString) return TLVValue::String(text);
  if (AllBlank(text)) return TLVValue::Null(type);
  if (auto value = TextToValue(text, type, fs)) return *value;
  if (type == TLVDataType::dtDateTime) {
    if (auto time = ParseTimeOnly(text, fs)) return TLVValue::DateTime(*time);
  }
  RaiseNotConvertible(name, text, type);
}

// --- TLVEnvVarCollectionItem -------------------------------------------------------

void TLVEnvVarCollectionItem::SetDataType(TLVDataType value) {
  if (value == dataType_) return;
  EnvTextToValue(varName_, theValue_, value);
  dataType_ = value;
  Changed("DataType");
}

void TLVEnvVarCollectionItem::SetVarName(std::string_view value) {
  if (value == varName_) return;
  if (!IsValidEnvVarName(value)) throw ELVError("ErrEnvVarBadName", {value});
  if (auto* owner = OwnerOf(*this)) {
    auto* other = owner->FindInScope(value, varType_);
    if (other && other != this) throw ELVError("ErrEnvVarExists", {value});
  }
  Rename(value, varType_);
  Changed("VarName");
}

void TLVEnvVarCollectionItem::SetVarType(TLVEnvVarType value) {
  if (value == varType_) return;
  if (auto* owner = OwnerOf(*this)) {
    if (owner->FindInScope(varName_, value)) throw ELVError("ErrEnvVarExists", {varName_});
  }
  Rename(varName_, value);
  Changed("VarType");
}

void TLVEnvVarCollectionItem::SetTheValue(std::string_view value) {
  if (value == theValue_) return;
  EnvTextToValue(varName_, value, dataType_);
  theValue_ = value;
  Changed("TheValue");
}

void TLVEnvVarCollectionItem::Rename(std::string_view varName, TLVEnvVarType varType) {
  varName_ = varName;
  varType_ = varType;
  SetName(CollectionName(varType, varName));
}

TLVValue TLVEnvVarCollectionItem::GetValue(const TLVFormatSettings& fs) const {
  return EnvTextToValue(varName_, theValue_, dataType_, fs);
}

double TLVEnvVarCollectionItem::AsFloat(const TLVFormatSettings& fs) const {
  TLVValue value = GetValue(fs);
  if (value.IsNull() || (dataType_ == TLVDataType::dtString && AllBlank(theValue_))) {
    throw ELVConvertError("ErrEnvVarMissingValue", {varName_});
  }
  if (dataType_ == TLVDataType::dtString) {
    return EnvTextToValue(varName_, theValue_, TLVDataType::dtFloat, fs).AsDouble();
  }
  return value.AsDouble();
}

int32_t TLVEnvVarCollectionItem::AsInteger(const TLVFormatSettings& fs) const {
  double number = AsFloat(fs);
  if (number != std::trunc(number) || number < std::numeric_limits<int32_t>::min() ||
      number > std::numeric_limits<int32_t>::max()) {
    RaiseNotConvertible(varName_, theValue_, TLVDataType::dtInteger);
  }
  return static_cast<int32_t>(number);
}

bool TLVEnvVarCollectionItem::AsBoolean(const TLVFormatSettings& fs) const {
  if (dataType_ == TLVDataType::dtString) {
    if (AllBlank(theValue_)) throw ELVConvertError("ErrEnvVarMissingValue", {varName_});
    return EnvTextToValue(varName_, theValue_, TLVDataType::dtBoolean, fs).AsBoolean();
  }
  return AsFloat(fs) != 0.0;
}

TLVEnvVarCollectionItem* TLVEnvVarCollection::FindInScope(std::string_view name,
                                                          TLVEnvVarType scope) const {
  const std::string_view prefix = EnvVarPrefix(scope);
  for (int32_t i = 0; i < Count(); ++i) {
    std::string_view stored = (*this)[i].GetName();
    if (stored.size() == prefix.size() + name.size() && stored.starts_with(prefix) &&
        SameName(stored.substr(prefix.size()), name)) {
      return &(*this)[i];
    }
  }
  return nullptr;
}

// --- TLVEnvVariables ---------------------------------------------------------------

TLVEnvVariables::TLVEnvVariables() = default;

void TLVEnvVariables::SetVisibleVarCount(int32_t value) {
  if (value < 0) throw ELVError("ErrEnvVarVisibleCount", {value});
  visibleVarCount_ = value;
}

void TLVEnvVariables::SetConnectionParams(TLVComponent* sender, std::string& login,
                                          std::string& password) const {
  if (onSetConnectionParams_) onSetConnectionParams_(sender, login, password);
}

TLVEnvVarCollectionItem* TLVEnvVariables::Find(std::string_view name, TLVEnvVarTypes scopes) const {
  if (SameName(name, kProjectFileMD5Var)) {
    scopes = scopes & TLVEnvVarTypes{TLVEnvVarType::evtProj, TLVEnvVarType::evtUser};
  }
  for (TLVEnvVarType scope : kLookupOrder) {
    if (!scopes.Contains(scope)) continue;
    if (auto* item = variables_.FindInScope(name, scope)) return item;
  }
  return nullptr;
}

TLVEnvVarCollectionItem& TLVEnvVariables::Get(std::string_view name, TLVEnvVarTypes scopes) const {
  auto* item = Find(name, scopes);
  if (!item) throw ELVError("ErrEnvVarNotFound", {name});
  return *item;
}

std::string TLVEnvVariables::Expand(std::string_view text, TLVEnvVarTypes scopes) const {
  if (text.find('%') == std::string_view::npos) return std::string(text);
  std::string result;
  result.reserve(text.size());
  size_t pos = 0;
  while (true) {
    size_t open = text.find('%', pos);
    if (open == std::string_view::npos) break;
    result.append(text.substr(pos, open - pos));
    size_t close = text.find('%', open + 1);
    if (close == std::string_view::npos) {
      // A "%" without a partner is kept; the rest follows below.
      result += '%';
      pos = open + 1;
      break;
    }
    std::string_view name = text.substr(open + 1, close - open - 1);
    if (const auto* item = name.empty() ? nullptr : Find(name, scopes)) {
      result += item->GetTheValue();
      pos = close + 1;
    } else {
      // The closing "%" may open the next reference: "%X%Y%" with Y known keeps "%X".
      result += '%';
      pos = open + 1;
    }
  }
  result.append(text.substr(pos));
  return result;
}

TLVEnvVarCollectionItem& TLVEnvVariables::AddUnchecked(std::string_view name, TLVEnvVarType scope,
                                                       std::string_view value, TLVDataType type) {
  auto item = std::make_shared<TLVEnvVarCollectionItem>();
  item->dataType_ = type;
  item->theValue_ = value;
  item->Rename(name, scope);
  TLVEnvVarCollectionItem& ref = *item;
  variables_.Add(std::move(item));
  return ref;
}

TLVEnvVarCollectionItem& TLVEnvVariables::Add(std::string_view name, TLVEnvVarType scope,
                                              std::string_view value, TLVDataType type) {
  if (!IsValidEnvVarName(name)) throw ELVError("ErrEnvVarBadName", {name});
  if (variables_.FindInScope(name, scope)) throw ELVError("ErrEnvVarExists", {name});
  EnvTextToValue(name, value, type);
  return AddUnchecked(name, scope, value, type);
}

TLVEnvVarCollectionItem& TLVEnvVariables::Put(std::string_view name, TLVEnvVarType scope,
                                              std::string_view value, TLVDataType type) {
  auto* item = variables_.FindInScope(name, scope);
  if (!item) return Add(name, scope, value, type);
  EnvTextToValue(name, value, type);
  if (item->dataType_ != type || item->theValue_ != value) {
    item->dataType_ = type;
    item->theValue_ = value;
    variables_.ItemChanged(item, "TheValue");
  }
  return *item;
}

bool TLVEnvVariables::Remove(std::string_view name, TLVEnvVarType scope) {
  auto* item = variables_.FindInScope(name, scope);
  if (!item) return false;
  variables_.Delete(item->GetIndex());
  return true;
}

void TLVEnvVariables::ClearScope(TLVEnvVarType scope) {
  variables_.BeginUpdate();
  for (int32_t i = variables_.Count() - 1; i >= 0; --i) {
    if (variables_[i].GetVarType() == scope) variables_.Delete(i);
  }
  variables_.EndUpdate();
}

void TLVEnvVariables::PrepareVariables() {
  variables_.BeginUpdate();
  for (auto scope : kLookupOrder) {
    if (preparedVarTypes_.Contains(scope)) ClearScope(scope);
  }
  if (preparedVarTypes_.Contains(TLVEnvVarType::evtSys)) {
    // The operating system's names need not be identifiers ("ProgramFiles(x86)"); they
    // are still reachable by name, so they are taken as they are. Of two names that
    // differ only in case the first wins, as a look-up would find it.
    for (char** entry = environ; entry && *entry; ++entry) {
      std::string_view pair(*entry);
      size_t eq = pair.find('=', 1);
      if (eq == std::string_view::npos) continue;
      std::string_view name = pair.substr(0, eq);
      if (variables_.FindInScope(name, TLVEnvVarType::evtSys)) continue;
      AddUnchecked(name, TLVEnvVarType::evtSys, pair.substr(eq + 1), TLVDataType::dtString);
    }
  }
  if (preparedVarTypes_.Contains(TLVEnvVarType::evtApp) && onPrepareAppVars_) {
    onPrepareAppVars_(*this);
  }
  variables_.EndUpdate();
}

std::vector<TLVEnvVarCollectionItem*> TLVEnvVariables::VisibleVariables() const {
  std::vector<TLVEnvVarCollectionItem*> result;
  for (int32_t i = 0; i < variables_.Count(); ++i) {
    if (visibleVarTypes_.Contains(variables_[i].GetVarType())) result.push_back(&variables_[i]);
  }
  switch (sortType_) {
    case TLVEnvVarSortType::evsNone:
      break;
    case TLVEnvVarSortType::evsType:
      std::ranges::stable_sort(result, {}, [](auto* v) { return v->GetVarType(); });
      break;
    case TLVEnvVarSortType::evsName:
      std::ranges::stable_sort(
          result, [](auto* a, auto* b) { return AsciiLess(a->GetVarName(), b->GetVarName()); });
      break;
    case TLVEnvVarSortType::evsVal: {
      // Values are the user's texts, mostly Russian: ordered as a Russian reader expects.
      UErrorCode status = U_ZERO_ERROR;
      std::unique_ptr<icu::Collator> collator(
          icu::Collator::createInstance(icu::Locale("ru"), status));
      if (U_FAILURE(status)) break;
      std::ranges::stable_sort(result, [&](auto* a, auto* b) {
        UErrorCode error = U_ZERO_ERROR;
        return collator->compareUTF8(a->GetTheValue(), b->GetTheValue(), error) == UCOL_LESS;
      });
      break;
    }
  }
  if (visibleVarCount_ > 0 && result.size() > static_cast<size_t>(visibleVarCount_)) {
    result.resize(static_cast<size_t>(visibleVarCount_));
  }
  return result;
}

void TLVEnvVariables::SetProjectFileMD5(std::string_view hexDigest) {
  Put(kProjectFileMD5Var, TLVEnvVarType::evtProj, hexDigest);
}

std::string TLVEnvVariables::Title() {
  return LVText("SEnvVariablesTitle");
}

std::vector<std::string> TLVEnvVariables::EditorColumnCaptions() {
  return {LVText("SEnvVarColumnName"), LVText("SEnvVarColumnDataType"),
          LVText("SEnvVarColumnCount")};
}

// --- application variables ---------------------------------------------------------

double LVLocalNow() {
  auto now = std::chrono::system_clock::now();
  std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()) % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  return EncodeDateTime(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                        local.tm_min, std::min(local.tm_sec, 59), static_cast<int>(ms.count()))
      .value_or(0.0);
}

TLVAppRunInfo CurrentAppRunInfo() {
  TLVAppRunInfo info;
  std::error_code error;
  info.executablePath = std::filesystem::read_symlink("/proc/self/exe", error).string();
  info.startTime = LVLocalNow();
  info.processId = static_cast<int64_t>(getpid());
  std::random_device device;
  std::array<uint32_t, 4> words{device(), device(), device(), device()};
  // A version-4 (random) GUID.
  words[1] = (words[1] & 0xFFFF0FFFu) | 0x00004000u;
  words[2] = (words[2] & 0x3FFFFFFFu) | 0x80000000u;
  char text[40];
  std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%04X-%04X%08X}", words[0], words[1] >> 16,
                words[1] & 0xFFFFu, words[2] >> 16, words[2] & 0xFFFFu, words[3]);
  info.processGuid = text;
  return info;
}

void FillApplicationVariables(TLVEnvVariables& variables, const TLVAppRunInfo& info) {
  const std::string& full = info.executablePath;
  size_t slash = full.find_last_of("/\\");
  std::string folder = slash == std::string::npos ? std::string() : full.substr(0, slash + 1);
  std::string dir = slash == std::string::npos ? std::string() : full.substr(0, slash);
  if (slash == 0) dir = folder;  // the root keeps its separator
  std::string drive;
  if (full.size() >= 2 && full[1] == ':' && std::isalpha(static_cast<unsigned char>(full[0]))) {
    drive = full.substr(0, 2);
  }
  std::filesystem::path file(slash == std::string::npos ? full : full.substr(slash + 1));
  const TLVFormatSettings& fs = DefaultFormatSettings();
  const double start = info.startTime;
  auto put = [&](std::string_view name, const std::string& value,
                 TLVDataType type = TLVDataType::dtString) {
    variables.Put(name, TLVEnvVarType::evtApp, value, type);
  };
  put("FULLAPPNAME", full);
  put("APPPATH", folder);
  put("APPDIR", dir);
  put("APPDRIVE", drive);
  put("APPNAME", file.stem().string());
  put("APPEXT", file.extension().string());
  put("APPRUNDATE", FormatDateTime(fs.shortDateFormat, std::floor(start), fs),
      TLVDataType::dtDateTime);
  put("APPRUNTIME", FormatDateTime(fs.longTimeFormat, start, fs), TLVDataType::dtDateTime);
  put("APPRUNTIMESTR", FormatDateTime("yyyymmddhhnnss", start, fs));
  put("ProcessGUID", info.processGuid);
  put("ProcessID", std::to_string(info.processId), TLVDataType::dtInteger);
}

TLVEnvVariables& LVEnvVariables() {
  static TLVEnvVariables variables;
  return variables;
}

void RegisterEnvVariablesTexts() {
  auto& table = TLVLocalization::Instance();
  for (const TLVEnumDescriptor* d : {&kEnvVarTypeDescriptor, &kEnvVarSortTypeDescriptor}) {
    table.RegisterKey(d->CaptionKey());
    for (size_t i = 0; i < d->valueNames.size(); ++i) table.RegisterKey(d->DisplayTextKey(i));
  }
  table.RegisterKeys({"ErrEnvVarExists", "ErrEnvVarBadName", "ErrEnvVarNotFound", "ErrEnvVarAssign",
                      "ErrEnvVarMissingValue", "ErrEnvVarVisibleCount", "SEnvVarNotFloat",
                      "SEnvVarNotInteger", "SEnvVarNotDateTime", "SEnvVarNotBoolean",
                      "SEnvVarNoType", "SEnvVariablesTitle", "SEnvVarColumnName",
                      "SEnvVarColumnDataType", "SEnvVarColumnCount"});
}

}  // namespace lv
