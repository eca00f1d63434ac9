#include "io/LV_TextSettings.h"

#include <array>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "env/LV_EnvVariables.h"

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kFileCharSet{"chrANSI"sv, "chrASCII"sv};
constexpr std::array kDelimiterType{"dtTab"sv,   "dtSemicolon"sv, "dtSpace"sv,
                                    "dtComma"sv, "dtDot"sv,       "dtOther"sv};
const TLVEnumDescriptor kFileCharSetDescriptor{"TLVFileCharSet", kFileCharSet, true, true};
const TLVEnumDescriptor kDelimiterTypeDescriptor{"TLVDelimiterType", kDelimiterType, true, true};

constexpr std::string_view kCaptionedProperties[] = {
    "FileName",      "CharSet",       "FirstLineTitle", "FixedFormat",        "LineImport",
    "TimeFormat",    "TimeDelimiter", "DateFormat",     "DateDelimiter",      "DecimalPoint",
    "LimiterString", "DelimiterChar", "Delimiter",      "ManySeparatorToOne", "InsertKey",
    "FixedPos",      "FixedLen",      "ValueTrue",      "ValueFalse",         "ValueNull",
    "DetectUTF8"};

std::string CaptionKey(std::string_view property) {
  return "TextFile." + std::string(property);
}

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLVFileCharSet) {
  return kFileCharSetDescriptor;
}

const TLVEnumDescriptor& DescribeEnum(TLVDelimiterType) {
  return kDelimiterTypeDescriptor;
}

char DelimiterCharOf(TLVDelimiterType type) {
  static constexpr char kChars[] = {'\t', ';', ' ', ',', '.', '\0'};
  return kChars[static_cast<size_t>(type)];
}

TLVCodePage CodePageOf(TLVFileCharSet charSet) {
  return charSet == TLVFileCharSet::chrASCII ? TLVCodePage::cpCP866 : AnsiCodePage();
}

TLVTextSettings::TLVTextSettings() {
  const TLVFormatSettings& system = DefaultFormatSettings();
  decimalPoint_ = system.decimalSeparator;
  dateDelimiter_ = system.dateSeparator;
  dateFormat_ = system.shortDateFormat;
  timeDelimiter_ = system.timeSeparator;
  timeFormat_ = system.longTimeFormat;
}

void TLVTextSettings::ChangeSetting(TLVTextSetting, const std::function<void()>& store) {
  store();
  modified_ = true;
}

void TLVTextSettings::SetFileName(std::string_view value) {
  Assign(TLVTextSetting::tsFileName, fileName_, value);
}

void TLVTextSettings::SetCharSet(TLVFileCharSet value) {
  Assign(TLVTextSetting::tsCharSet, charSet_, value);
}

void TLVTextSettings::SetDelimiter(TLVDelimiterType value) {
  if (value == delimiter_) return;
  ChangeSetting(TLVTextSetting::tsDelimiter, [&] {
    delimiter_ = value;
    if (value != TLVDelimiterType::dtOther) delimiterChar_ = DelimiterCharOf(value);
  });
}

void TLVTextSettings::SetDelimiterChar(char value) {
  Assign(TLVTextSetting::tsDelimiterChar, delimiterChar_, value);
}

void TLVTextSettings::SetLimiterString(char value) {
  Assign(TLVTextSetting::tsLimiterString, limiterString_, value);
}

void TLVTextSettings::SetDecimalPoint(char value) {
  Assign(TLVTextSetting::tsDecimalPoint, decimalPoint_, value);
}

void TLVTextSettings::SetDateDelimiter(char value) {
  Assign(TLVTextSetting::tsDateDelimiter, dateDelimiter_, value);
}

void TLVTextSettings::SetDateFormat(std::string_view value) {
  if (value.empty()) throw ELVError("ErrTextDateFormatEmpty");
  Assign(TLVTextSetting::tsDateFormat, dateFormat_, value);
}

void TLVTextSettings::SetTimeDelimiter(char value) {
  Assign(TLVTextSetting::tsTimeDelimiter, timeDelimiter_, value);
}

void TLVTextSettings::SetTimeFormat(std::string_view value) {
  if (value.empty()) throw ELVError("ErrTextTimeFormatEmpty");
  Assign(TLVTextSetting::tsTimeFormat, timeFormat_, value);
}

void TLVTextSettings::SetFirstLineTitle(bool value) {
  Assign(TLVTextSetting::tsFirstLineTitle, firstLineTitle_, value);
}

void TLVTextSettings::SetValueTrue(std::string_view value) {
  if (value.empty()) throw ELVError("ErrTextValueTrueEmpty");
  Assign(TLVTextSetting::tsValueTrue, valueTrue_, value);
}

void TLVTextSettings::SetValueFalse(std::string_view value) {
  if (value.empty()) throw ELVError("ErrTextValueFalseEmpty");
  Assign(TLVTextSetting::tsValueFalse, valueFalse_, value);
}

void TLVTextSettings::SetValueNull(std::string_view value) {
  Assign(TLVTextSetting::tsValueNull, valueNull_, value);
}

std::string TLVTextSettings::ExpandedFileName() const {
  return LVEnvVariables().Expand(fileName_);
}

char TLVTextSettings::EffectiveDelimiter() const {
  return delimiter_ == TLVDelimiterType::dtOther ? delimiterChar_ : DelimiterCharOf(delimiter_);
}

TLVFormatSettings TLVTextSettings::FormatSettings() const {
  TLVFormatSettings fs = DefaultFormatSettings();
  fs.decimalSeparator = decimalPoint_;
  fs.dateSeparator = dateDelimiter_;
  fs.shortDateFormat = dateFormat_;
  fs.timeSeparator = timeDelimiter_;
  fs.longTimeFormat = timeFormat_;
  fs.trueText = valueTrue_;
  fs.falseText = valueFalse_;
  return fs;
}

std::string TLVTextSettings::PropertyCaption(std::string_view property) {
  return LVText(CaptionKey(property));
}

bool TLVTextSettings::SkipOnSave(std::string_view property, TLVDelimiterType delimiter) {
  return property == "DelimiterChar" && delimiter != TLVDelimiterType::dtOther;
}

std::optional<std::string> TLVTextSettings::LoadedText(std::string_view property,
                                                       std::optional<std::string> stored,
                                                       const std::string& defaultText,
                                                       TLVDelimiterType delimiter) {
  if (SkipOnSave(property, delimiter)) return std::nullopt;
  if (property == "TimeDelimiter" && !stored) return std::nullopt;
  if (property == "TimeFormat" && (!stored || stored->empty())) {
    return DefaultFormatSettings().longTimeFormat;
  }
  return stored ? std::move(stored) : std::optional<std::string>(defaultText);
}

void RegisterTextSettingsTexts() {
  auto& table = TLVLocalization::Instance();
  for (const TLVEnumDescriptor* d : {&kFileCharSetDescriptor, &kDelimiterTypeDescriptor}) {
    table.RegisterKey(d->CaptionKey());
    for (size_t i = 0; i < d->valueNames.size(); ++i) table.RegisterKey(d->DisplayTextKey(i));
  }
  for (std::string_view property : kCaptionedProperties) table.RegisterKey(CaptionKey(property));
  table.RegisterKeys({"ErrTextDateFormatEmpty", "ErrTextTimeFormatEmpty", "ErrTextValueTrueEmpty",
                      "ErrTextValueFalseEmpty"});
}

}  // namespace lv
