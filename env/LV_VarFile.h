// The variables file named on the command line (/VARFILE): a UTF-8 text of
// "NAME=value" and "NAME:TYPE=value" lines, optionally grouped under "[Scope]" headers
// (User by default). docs/environment.md describes the format for users.
//
// Loading is all or nothing: the whole file is read and checked first, and a bad entry
// raises "ErrVarFileLine" naming the file, the line and what is wrong; only a file
// without faults changes the variables.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "env/LV_EnvVariables.h"

namespace lv {

struct TLVVarFileEntry {
  int32_t line = 0;  // 1-based line of the file
  TLVEnvVarType scope = TLVEnvVarType::evtUser;
  std::string name;
  TLVDataType type = TLVDataType::dtString;
  std::string value;
};

// The entries of a variables file's text; `fileName` only names the file in messages.
std::vector<TLVVarFileEntry> ParseVarFile(std::string_view text, std::string_view fileName);

// Puts the entries into `variables`: a variable that the scope already has takes the
// entry's type and value, the others are added. Entries come from ParseVarFile, so
// every one of them is known to fit.
void ApplyVarFile(TLVEnvVariables& variables, std::span<const TLVVarFileEntry> entries);

// Reads, checks and applies the file; raises "ErrVarFileOpen" with the operating
// system's reason when it cannot be read.
void LoadVarFile(TLVEnvVariables& variables, const std::filesystem::path& path);

void RegisterVarFileTexts();

}  // namespace lv
