// The application parameters file named on the command line (/PFILE): settings of the
// program for one run, as opposed to a project's. A UTF-8 text of "Name=value" lines
// (a byte-order mark is allowed; "#" or ";" starts a comment line; blanks around the
// name and the value are ignored unless the value is in double quotes, where a quote
// is doubled). docs/command-line.md lists the parameters.
//
// Every parameter is a property of TLVAppParams declared in its table, so a new one is
// one line. Loading is all or nothing: a bad line raises "ErrParamFileLine" naming the
// file and the line, and nothing is applied.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "core/registry/LV_Properties.h"

namespace lv {

class TLVAppParams {
 public:
  // The values the process has now.
  TLVAppParams();

  // "1251" (Windows-1251, the default) or "UTF-8" (also "65001"); files written and read
  // "in ANSI" use it.
  const std::string& GetAnsiCodePage() const { return ansiCodePage_; }
  void SetAnsiCodePage(const std::string& value);
  char GetDecimalSeparator() const { return formats_.decimalSeparator; }
  void SetDecimalSeparator(char value) { formats_.decimalSeparator = value; }
  char GetThousandSeparator() const { return formats_.thousandSeparator; }
  void SetThousandSeparator(char value) { formats_.thousandSeparator = value; }
  char GetDateSeparator() const { return formats_.dateSeparator; }
  void SetDateSeparator(char value) { formats_.dateSeparator = value; }
  char GetTimeSeparator() const { return formats_.timeSeparator; }
  void SetTimeSeparator(char value) { formats_.timeSeparator = value; }
  const std::string& GetShortDateFormat() const { return formats_.shortDateFormat; }
  void SetShortDateFormat(const std::string& value) { formats_.shortDateFormat = value; }
  const std::string& GetLongTimeFormat() const { return formats_.longTimeFormat; }
  void SetLongTimeFormat(const std::string& value) { formats_.longTimeFormat = value; }
  const std::string& GetTrueText() const { return formats_.trueText; }
  void SetTrueText(const std::string& value) { formats_.trueText = value; }
  const std::string& GetFalseText() const { return formats_.falseText; }
  void SetFalseText(const std::string& value) { formats_.falseText = value; }
  // Folder of the row cache's temporary files; empty keeps the default.
  const std::string& GetCacheFolder() const { return cacheFolder_; }
  void SetCacheFolder(const std::string& value) { cacheFolder_ = value; }
  // The special password for batch processing of protected projects.
  const std::string& GetBatchPassword() const { return batchPassword_; }
  void SetBatchPassword(const std::string& value) { batchPassword_ = value; }
  // Whether a project setting that nothing reads (a misspelt name) refuses the project
  // instead of a warning in the run log.
  bool GetStrictProjectLoading() const { return strictProjectLoading_; }
  void SetStrictProjectLoading(bool value) { strictProjectLoading_ = value; }

  static const TLVPropertyTable<TLVAppParams>& Properties();

  // Makes the code page, the formats, the cache folder and the strictness of project
  // loading the process's.
  void Apply() const;

 private:
  std::string ansiCodePage_;
  TLVFormatSettings formats_;
  std::string cacheFolder_;
  std::string batchPassword_;
  bool strictProjectLoading_;
};

// The parameters of a file's text; `fileName` only names the file in messages.
TLVAppParams ParseAppParams(std::string_view text, std::string_view fileName);
// Reads and parses; "ErrParamFileOpen" with the reason when it cannot be read
// (LV_ReadFile.h).
TLVAppParams LoadAppParams(const std::filesystem::path& path);

void RegisterAppParamsTexts();

}  // namespace lv
