#include "app/LV_AppParams.h"

#include <set>

#include "core/cache/LV_DataCacheCleanup.h"
#include "core/platform/LV_ReadFile.h"
#include "core/registry/LV_Vendor.h"
#include "core/text/LV_CodePage.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "project/LV_Project.h"

namespace lv {

namespace {

std::string_view Trim(std::string_view text) {
  size_t first = text.find_first_not_of(" \t");
  if (first == text.npos) return {};
  size_t last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

[[noreturn]] void BadLine(std::string_view fileName, int32_t line, const std::string& reason) {
  throw ELVError("ErrParamFileLine", {fileName, line, reason});
}

}  // namespace

TLVAppParams::TLVAppParams()
    : ansiCodePage_(lv::AnsiCodePage() == TLVCodePage::cpUTF8 ? "UTF-8" : "1251"),
      formats_(DefaultFormatSettings()),
      cacheFolder_(),
      strictProjectLoading_(StrictProjectLoading()) {}

void TLVAppParams::SetAnsiCodePage(const std::string& value) {
  if (SameVendorName(value, "1251") || SameVendorName(value, "Windows-1251")) {
    ansiCodePage_ = "1251";
  } else if (SameVendorName(value, "UTF-8") || SameVendorName(value, "65001")) {
    ansiCodePage_ = "UTF-8";
  } else {
    throw ELVError("ErrParamCodePage", {value});
  }
}

const TLVPropertyTable<TLVAppParams>& TLVAppParams::Properties() {
  static const auto table = [] {
    using P = TLVAppParams;
    TLVFormatSettings russian;
    TLVPropertyTable<P> t;
    t.Add("AnsiCodePage", &P::GetAnsiCodePage, &P::SetAnsiCodePage, std::string("1251"))
        .Add("DecimalSeparator", &P::GetDecimalSeparator, &P::SetDecimalSeparator,
             russian.decimalSeparator)
        .Add("ThousandSeparator", &P::GetThousandSeparator, &P::SetThousandSeparator,
             russian.thousandSeparator)
        .Add("DateSeparator", &P::GetDateSeparator, &P::SetDateSeparator, russian.dateSeparator)
        .Add("TimeSeparator", &P::GetTimeSeparator, &P::SetTimeSeparator, russian.timeSeparator)
        .Add("ShortDateFormat", &P::GetShortDateFormat, &P::SetShortDateFormat,
             russian.shortDateFormat)
        .Add("LongTimeFormat", &P::GetLongTimeFormat, &P::SetLongTimeFormat, russian.longTimeFormat)
        .Add("TrueText", &P::GetTrueText, &P::SetTrueText, russian.trueText)
        .Add("FalseText", &P::GetFalseText, &P::SetFalseText, russian.falseText)
        .Add("CacheFolder", &P::GetCacheFolder, &P::SetCacheFolder, std::string())
        .Add("BatchPassword", &P::GetBatchPassword, &P::SetBatchPassword, std::string())
        .Add("StrictProjectLoading", &P::GetStrictProjectLoading, &P::SetStrictProjectLoading,
             false);
    return t;
  }();
  return table;
}

void TLVAppParams::Apply() const {
  lv::SetAnsiCodePage(ansiCodePage_ == "UTF-8" ? TLVCodePage::cpUTF8 : TLVCodePage::cpWindows1251);
  SetDefaultFormatSettings(formats_);
  if (!cacheFolder_.empty()) TLVDataCacheCleanupBuffer::Instance().SetTempFolder(cacheFolder_);
  lv::SetStrictProjectLoading(strictProjectLoading_);
}

TLVAppParams ParseAppParams(std::string_view text, std::string_view fileName) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  TLVAppParams params;
  std::set<std::string, std::less<>> seen;
  int32_t lineNumber = 0;
  while (!text.empty()) {
    size_t end = text.find('\n');
    std::string_view raw = text.substr(0, end);
    text = end == text.npos ? std::string_view() : text.substr(end + 1);
    ++lineNumber;
    if (raw.ends_with('\r')) raw.remove_suffix(1);
    std::string_view line = Trim(raw);
    if (line.empty() || line[0] == '#' || line[0] == ';') continue;
    size_t equals = line.find('=');
    if (equals == line.npos) BadLine(fileName, lineNumber, LVText("SParamFileNoEquals"));
    std::string name(Trim(line.substr(0, equals)));
    std::string_view value = Trim(line.substr(equals + 1));
    std::string unquoted;
    if (value.starts_with('"')) {
      size_t i = 1;
      bool closed = false;
      while (i < value.size()) {
        if (value[i] == '"') {
          if (i + 1 < value.size() && value[i + 1] == '"') {
            unquoted += '"';
            i += 2;
            continue;
          }
          closed = i + 1 == value.size();
          break;
        }
        unquoted += value[i++];
      }
      if (!closed) BadLine(fileName, lineNumber, LVText("SParamFileQuote"));
    } else {
      unquoted = value;
    }
    const TLVProperty<TLVAppParams>* property = nullptr;
    for (const auto& p : TLVAppParams::Properties().Items()) {
      if (SameVendorName(p.Name(), name)) property = &p;
    }
    if (!property) BadLine(fileName, lineNumber, Format(LVText("SParamFileUnknown"), {name}));
    if (!seen.insert(property->Name()).second) {
      BadLine(fileName, lineNumber, Format(LVText("SParamFileTwice"), {property->Name()}));
    }
    try {
      property->Set(params, unquoted);
    } catch (const ELVError& e) {
      BadLine(fileName, lineNumber, e.what());
    }
  }
  return params;
}

TLVAppParams LoadAppParams(const std::filesystem::path& path) {
  return ParseAppParams(LVReadWholeFile(path, "ErrParamFileOpen"), path.string());
}

void RegisterAppParamsTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrParamFileOpen", "ErrParamFileLine", "ErrParamCodePage", "SParamFileNoEquals",
       "SParamFileQuote", "SParamFileUnknown", "SParamFileTwice"});
}

}  // namespace lv
