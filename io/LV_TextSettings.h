// The settings a delimited text file is read or written with, shared by the text import
// (TLVTextFile) and the text export (TLVExportStd): the file, its code page, the column
// separator and text qualifier, and the number, date, time and Boolean formats.
//
// Every setter compares first and does nothing for an equal value; a refused value
// raises ELVError and changes nothing. A changed value is stored through
// ChangeSetting(), which an owner overrides to wrap the store in its change bracket.
// Single-threaded, like the nodes that own it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/columns/LV_Types.h"
#include "core/registry/LV_Properties.h"
#include "core/registry/LV_Settings.h"
#include "core/sources/LV_Component.h"
#include "core/text/LV_CodePage.h"
#include "core/text/LV_FormatSettings.h"

namespace lv {

// The code page of a file: the application's ANSI page or the OEM page (CP866). A file
// that starts with a UTF-8 byte-order mark is read as UTF-8 whatever the setting.
enum class TLVFileCharSet : uint8_t { chrANSI, chrASCII };
// The column separator; dtOther takes DelimiterChar.
enum class TLVDelimiterType : uint8_t { dtTab, dtSemicolon, dtSpace, dtComma, dtDot, dtOther };

const TLVEnumDescriptor& DescribeEnum(TLVFileCharSet);
const TLVEnumDescriptor& DescribeEnum(TLVDelimiterType);

// The separator character of a delimiter type ('\0' for dtOther).
char DelimiterCharOf(TLVDelimiterType type);
// The code page a file of `charSet` is read or written in (before any byte-order mark).
TLVCodePage CodePageOf(TLVFileCharSet charSet);

// Which shared setting a change is about.
enum class TLVTextSetting : uint8_t {
  tsFileName,
  tsCharSet,
  tsDelimiter,
  tsDelimiterChar,
  tsLimiterString,
  tsDecimalPoint,
  tsDateDelimiter,
  tsDateFormat,
  tsTimeDelimiter,
  tsTimeFormat,
  tsFirstLineTitle,
  tsValueTrue,
  tsValueFalse,
  tsValueNull
};

class TLVTextSettings {
 public:
  // The values of a new node: the process's number, date and time formats.
  TLVTextSettings();
  TLVTextSettings(const TLVTextSettings&) = delete;
  TLVTextSettings& operator=(const TLVTextSettings&) = delete;
  virtual ~TLVTextSettings() = default;

  const std::string& GetFileName() const { return fileName_; }
  void SetFileName(std::string_view value);
  TLVFileCharSet GetCharSet() const { return charSet_; }
  void SetCharSet(TLVFileCharSet value);
  TLVDelimiterType GetDelimiter() const { return delimiter_; }
  // Any type but dtOther also sets DelimiterChar to its character.
  void SetDelimiter(TLVDelimiterType value);
  char GetDelimiterChar() const { return delimiterChar_; }
  void SetDelimiterChar(char value);
  // The text qualifier; '\0' means none.
  char GetLimiterString() const { return limiterString_; }
  void SetLimiterString(char value);
  char GetDecimalPoint() const { return decimalPoint_; }
  void SetDecimalPoint(char value);
  char GetDateDelimiter() const { return dateDelimiter_; }
  void SetDateDelimiter(char value);
  const std::string& GetDateFormat() const { return dateFormat_; }
  void SetDateFormat(std::string_view value);  // refuses an empty format
  char GetTimeDelimiter() const { return timeDelimiter_; }
  void SetTimeDelimiter(char value);
  const std::string& GetTimeFormat() const { return timeFormat_; }
  void SetTimeFormat(std::string_view value);  // refuses an empty format
  bool GetFirstLineTitle() const { return firstLineTitle_; }
  void SetFirstLineTitle(bool value);
  const std::string& GetValueTrue() const { return valueTrue_; }
  void SetValueTrue(std::string_view value);  // refuses an empty text
  const std::string& GetValueFalse() const { return valueFalse_; }
  void SetValueFalse(std::string_view value);  // refuses an empty text
  const std::string& GetValueNull() const { return valueNull_; }
  void SetValueNull(std::string_view value);

  // Set by every change of a setting (for the import: every change made within its
  // change bracket); cleared by whoever saves the project.
  bool GetModified() const { return modified_; }
  void SetModified(bool value) { modified_ = value; }

  // FileName with its %NAME% references expanded.
  std::string ExpandedFileName() const;
  // The separator in force: DelimiterChar for dtOther, else the type's character.
  char EffectiveDelimiter() const;
  // The formats of the node, for conversions of its values.
  TLVFormatSettings FormatSettings() const;

  // The caption of a setting shown in a node's description panel ("FileName",
  // "FixedPos"...).
  static std::string PropertyCaption(std::string_view property);

 protected:
  // Stores a changed value: `store` writes it. The default stores it and marks the
  // settings modified.
  virtual void ChangeSetting(TLVTextSetting setting, const std::function<void()>& store);

  // Declares shared setting `setting` in an owner's property table, under its key and
  // with its published default.
  template <class Owner>
  static void AddProperty(TLVPropertyTable<Owner>& table, TLVTextSetting setting);

  // Save and load through an owner's table with the rules of the project file:
  // DelimiterChar is written and read only when Delimiter is dtOther, a missing
  // TimeDelimiter keeps the current value, and a missing or empty TimeFormat takes the
  // process's time format.
  template <class Owner>
  static void SaveProperties(const TLVPropertyTable<Owner>& table, const Owner& owner,
                             const TLVComponent::TSettingsWriter& put);
  template <class Owner>
  static void LoadProperties(const TLVPropertyTable<Owner>& table, Owner& owner,
                             const TLVComponent::TSettingsReader& get);
  // The same into a section of the project file, followed by the table's collections
  // (loaded after the settings, which would otherwise drop them).
  template <class Owner>
  static void SaveProperties(const TLVPropertyTable<Owner>& table, const Owner& owner,
                             ILVSettingsSection& section);
  template <class Owner>
  static void LoadProperties(const TLVPropertyTable<Owner>& table, Owner& owner,
                             const ILVSettingsSection& section);

 private:
  template <class T, class V>
  void Assign(TLVTextSetting setting, T& member, const V& value) {
    if (member == value) return;
    ChangeSetting(setting, [&] { member = value; });
  }
  static bool SkipOnSave(std::string_view property, TLVDelimiterType delimiter);
  // The text to load into `property`, or nullopt to leave it as it is.
  static std::optional<std::string> LoadedText(std::string_view property,
                                               std::optional<std::string> stored,
                                               const std::string& defaultText,
                                               TLVDelimiterType delimiter);

  std::string fileName_;
  TLVFileCharSet charSet_ = TLVFileCharSet::chrANSI;
  TLVDelimiterType delimiter_ = TLVDelimiterType::dtTab;
  char delimiterChar_ = '\t';
  char limiterString_ = '"';
  char decimalPoint_;
  char dateDelimiter_;
  std::string dateFormat_;
  char timeDelimiter_;
  std::string timeFormat_;
  bool firstLineTitle_ = true;
  std::string valueTrue_ = "true";
  std::string valueFalse_ = "false";
  std::string valueNull_;
  bool modified_ = false;
};

template <class Owner>
void TLVTextSettings::AddProperty(TLVPropertyTable<Owner>& table, TLVTextSetting setting) {
  using S = TLVTextSettings;
  const TLVFormatSettings& system = DefaultFormatSettings();
  switch (setting) {
    case TLVTextSetting::tsFileName:
      table.Add("FileName", &S::GetFileName, &S::SetFileName, std::string());
      break;
    case TLVTextSetting::tsCharSet:
      table.Add("CharSet", &S::GetCharSet, &S::SetCharSet, TLVFileCharSet::chrANSI);
      break;
    case TLVTextSetting::tsDelimiter:
      table.Add("Delimiter", &S::GetDelimiter, &S::SetDelimiter, TLVDelimiterType::dtTab);
      break;
    case TLVTextSetting::tsDelimiterChar:
      table.Add("DelimiterChar", &S::GetDelimiterChar, &S::SetDelimiterChar, '\t');
      break;
    case TLVTextSetting::tsLimiterString:
      table.Add("LimiterString", &S::GetLimiterString, &S::SetLimiterString, '"');
      break;
    case TLVTextSetting::tsDecimalPoint:
      table.Add("DecimalPoint", &S::GetDecimalPoint, &S::SetDecimalPoint, '.');
      break;
    case TLVTextSetting::tsDateDelimiter:
      table.Add("DateDelimiter", &S::GetDateDelimiter, &S::SetDateDelimiter, '.');
      break;
    case TLVTextSetting::tsDateFormat:
      table.Add("DateFormat", &S::GetDateFormat, &S::SetDateFormat, system.shortDateFormat);
      break;
    case TLVTextSetting::tsTimeDelimiter:
      table.Add("TimeDelimiter", &S::GetTimeDelimiter, &S::SetTimeDelimiter, ':');
      break;
    case TLVTextSetting::tsTimeFormat:
      table.Add("TimeFormat", &S::GetTimeFormat, &S::SetTimeFormat, system.longTimeFormat);
      break;
    case TLVTextSetting::tsFirstLineTitle:
      table.Add("FirstLineTitle", &S::GetFirstLineTitle, &S::SetFirstLineTitle, true);
      break;
    case TLVTextSetting::tsValueTrue:
      table.Add("ValueTrue", &S::GetValueTrue, &S::SetValueTrue, std::string("true"));
      break;
    case TLVTextSetting::tsValueFalse:
      table.Add("ValueFalse", &S::GetValueFalse, &S::SetValueFalse, std::string("false"));
      break;
    case TLVTextSetting::tsValueNull:
      table.Add("ValueNull", &S::GetValueNull, &S::SetValueNull, std::string());
      break;
  }
}

template <class Owner>
void TLVTextSettings::SaveProperties(const TLVPropertyTable<Owner>& table, const Owner& owner,
                                     const TLVComponent::TSettingsWriter& put) {
  for (const auto& p : table.Items()) {
    if (!SkipOnSave(p.Name(), owner.GetDelimiter())) put(p.Name(), p.Get(owner));
  }
}

template <class Owner>
void TLVTextSettings::LoadProperties(const TLVPropertyTable<Owner>& table, Owner& owner,
                                     const TLVComponent::TSettingsReader& get) {
  // In table order, so that Delimiter is known before DelimiterChar is considered. A
  // DelimiterChar that the delimiter makes meaningless is not even read, so that
  // opening a project reports it as a setting not taken into account.
  for (const auto& p : table.Items()) {
    if (SkipOnSave(p.Name(), owner.GetDelimiter())) continue;
    std::optional<std::string> text =
        LoadedText(p.Name(), get(p.Name()), p.DefaultText(), owner.GetDelimiter());
    if (text) p.Set(owner, *text);
  }
}

template <class Owner>
void TLVTextSettings::SaveProperties(const TLVPropertyTable<Owner>& table, const Owner& owner,
                                     ILVSettingsSection& section) {
  SaveProperties(table, owner, [&](const std::string& name, const std::string& text) {
    section.Put(name, text);
  });
  for (const auto& s : table.Sections()) s.save(owner, section.AddSection(s.name));
}

template <class Owner>
void TLVTextSettings::LoadProperties(const TLVPropertyTable<Owner>& table, Owner& owner,
                                     const ILVSettingsSection& section) {
  LoadProperties(table, owner, [&](const std::string& name) { return section.Get(name); });
  for (const auto& s : table.Sections()) s.load(owner, section.FindSection(s.name));
}

void RegisterTextSettingsTexts();

}  // namespace lv
