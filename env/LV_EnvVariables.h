// Environment variables: named values that file names, formulas and other settings
// refer to as %NAME%. Every variable has a scope; all scopes live in one collection,
// each variable kept under its name behind a two-character scope prefix ("U_Name"), so
// one name may exist once per scope. A look-up tries the scopes from the user's down
// to none, so a user variable hides a project variable of the same name, which hides
// an application variable, which hides the operating system's.
//
// Names are identifiers (ASCII letters, digits and "_", not starting with a digit) and
// match without regard to case. Values are kept as text and converted to the
// variable's type with the process's default formats; an empty (or blank) text is a
// missing value, except for a string variable, whose value is then the empty string.
//
// Not thread-safe: the variables are changed and read on the main thread (start-up,
// opening a project, a run). LVEnvVariables() is the process's set, filled by
// EnvStartup().
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/columns/LV_EnumSet.h"
#include "core/columns/LV_Types.h"
#include "core/columns/LV_Value.h"
#include "core/registry/LV_Collection.h"
#include "core/text/LV_FormatSettings.h"

namespace lv {

class TLVComponent;

enum class TLVEnvVarType : uint8_t { evtNone, evtSys, evtHidden, evtApp, evtProj, evtUser };
enum class TLVEnvVarSortType : uint8_t { evsNone, evsType, evsName, evsVal };

const TLVEnumDescriptor& DescribeEnum(TLVEnvVarType);
const TLVEnumDescriptor& DescribeEnum(TLVEnvVarSortType);

// The prefix under which a variable of `scope` is kept: "__", "S_", "H_", "A_", "P_", "U_".
std::string_view EnvVarPrefix(TLVEnvVarType scope);

using TLVEnvVarTypes = TLVEnumSet<TLVEnvVarType>;
inline constexpr TLVEnvVarTypes kAllEnvVarTypes{TLVEnvVarType::evtNone,   TLVEnvVarType::evtSys,
                                                TLVEnvVarType::evtHidden, TLVEnvVarType::evtApp,
                                                TLVEnvVarType::evtProj,   TLVEnvVarType::evtUser};

// Whether `name` may name a variable.
bool IsValidEnvVarName(std::string_view name);

// The value of `text` as a variable of `type` would hold it: null for a blank text
// (the empty string for dtString).
// Raises "ErrEnvVarAssign" (naming the variable `name`) when the text is no such value.
TLVValue EnvTextToValue(std::string_view name, std::string_view text, TLVDataType type,
                        const TLVFormatSettings& fs = DefaultFormatSettings());

// One variable. Its collection Name is the scope prefix followed by VarName; change
// the variable through VarName and VarType, never through SetName. Every setter
// refuses a value that is not allowed and then changes nothing.
class TLVEnvVarCollectionItem : public TLVCollectionItem {
 public:
  TLVDataType GetDataType() const { return dataType_; }
  // Refuses a type to which the current value cannot be converted.
  void SetDataType(TLVDataType value);
  const std::string& GetVarName() const { return varName_; }
  // Refuses a name that is not an identifier or that the scope already holds.
  void SetVarName(std::string_view value);
  TLVEnvVarType GetVarType() const { return varType_; }
  // Refuses a scope that already holds a variable of this name.
  void SetVarType(TLVEnvVarType value);
  const std::string& GetTheValue() const { return theValue_; }
  // Refuses a text that is not a value of the variable's type.
  void SetTheValue(std::string_view value);

  // The value converted to the variable's type; null when the text is blank.
  TLVValue GetValue(const TLVFormatSettings& fs = DefaultFormatSettings()) const;
  // The number (Boolean, date and integer included); raises
  // "ErrEnvVarMissingValue" for a missing value and "ErrEnvVarAssign" for a string
  // variable whose text is not a number.
  double AsFloat(const TLVFormatSettings& fs = DefaultFormatSettings()) const;
  int32_t AsInteger(const TLVFormatSettings& fs = DefaultFormatSettings()) const;
  bool AsBoolean(const TLVFormatSettings& fs = DefaultFormatSettings()) const;

 private:
  friend class TLVEnvVariables;
  void Rename(std::string_view varName, TLVEnvVarType varType);
  std::string varName_;
  TLVEnvVarType varType_ = TLVEnvVarType::evtNone;
  TLVDataType dataType_ = TLVDataType::dtString;
  std::string theValue_;
};

class TLVEnvVarCollection : public TLVCollectionOf<TLVEnvVarCollectionItem> {
 public:
  // The variable of exactly this scope and name (name without regard to case).
  TLVEnvVarCollectionItem* FindInScope(std::string_view name, TLVEnvVarType scope) const;
};

class TLVEnvVariables {
 public:
  using PrepareAppVarsEvent = std::function<void(TLVEnvVariables& variables)>;
  using SetConnectionParamsEvent =
      std::function<void(TLVComponent* sender, std::string& login, std::string& password)>;

  TLVEnvVariables();
  TLVEnvVariables(const TLVEnvVariables&) = delete;
  TLVEnvVariables& operator=(const TLVEnvVariables&) = delete;

  // The scopes searched when no set is given.
  TLVEnvVarTypes GetVarTypes() const { return varTypes_; }
  void SetVarTypes(TLVEnvVarTypes value) { varTypes_ = value; }
  // The scopes the program fills itself (PrepareVariables): their variables are
  // rebuilt on every preparation and are not the user's to keep.
  TLVEnvVarTypes GetPreparedVarTypes() const { return preparedVarTypes_; }
  void SetPreparedVarTypes(TLVEnvVarTypes value) { preparedVarTypes_ = value; }
  // The scopes the editor lists.
  TLVEnvVarTypes GetVisibleVarTypes() const { return visibleVarTypes_; }
  void SetVisibleVarTypes(TLVEnvVarTypes value) { visibleVarTypes_ = value; }
  // How many variables the editor lists at most; 0 lists all. Negative is refused.
  int32_t GetVisibleVarCount() const { return visibleVarCount_; }
  void SetVisibleVarCount(int32_t value);
  TLVEnvVarSortType GetSortType() const { return sortType_; }
  void SetSortType(TLVEnvVarSortType value) { sortType_ = value; }

  TLVEnvVarCollection& Variables() { return variables_; }
  const TLVEnvVarCollection& Variables() const { return variables_; }

  const PrepareAppVarsEvent& GetOnPrepareAppVars() const { return onPrepareAppVars_; }
  void SetOnPrepareAppVars(PrepareAppVarsEvent handler) { onPrepareAppVars_ = std::move(handler); }
  const SetConnectionParamsEvent& GetOnSetConnectionParams() const {
    return onSetConnectionParams_;
  }
  void SetOnSetConnectionParams(SetConnectionParamsEvent handler) {
    onSetConnectionParams_ = std::move(handler);
  }
  // Lets the variables supply a database connection's login and password.
  void SetConnectionParams(TLVComponent* sender, std::string& login, std::string& password) const;

  // The variable `name` of the first scope of `scopes`, tried from evtUser down to
  // evtNone; null when none has it. "ProjectFileMD5" is only ever taken from the
  // project or user scope.
  TLVEnvVarCollectionItem* Find(std::string_view name, TLVEnvVarTypes scopes) const;
  TLVEnvVarCollectionItem* Find(std::string_view name) const { return Find(name, varTypes_); }
  // As Find; raises "ErrEnvVarNotFound" when nothing is found.
  TLVEnvVarCollectionItem& Get(std::string_view name, TLVEnvVarTypes scopes) const;
  TLVEnvVarCollectionItem& Get(std::string_view name) const { return Get(name, varTypes_); }

  // Replaces every %NAME% whose NAME is a variable of `scopes` by its text; an unknown
  // %NAME% and a "%" without a partner stay as they are. Values are not expanded again.
  std::string Expand(std::string_view text, TLVEnvVarTypes scopes) const;
  std::string Expand(std::string_view text) const { return Expand(text, varTypes_); }

  // Adds a variable. Raises "ErrEnvVarBadName" for a name that is not an identifier,
  // "ErrEnvVarExists" when the scope already has one of that name and "ErrEnvVarAssign"
  // when `value` is not a value of `type`; nothing is added then.
  TLVEnvVarCollectionItem& Add(std::string_view name, TLVEnvVarType scope,
                               std::string_view value = {},
                               TLVDataType type = TLVDataType::dtString);
  // Adds the variable or, when the scope has it, replaces its type and value.
  TLVEnvVarCollectionItem& Put(std::string_view name, TLVEnvVarType scope, std::string_view value,
                               TLVDataType type = TLVDataType::dtString);
  bool Remove(std::string_view name, TLVEnvVarType scope);
  void ClearScope(TLVEnvVarType scope);

  // Rebuilds the prepared scopes: the system scope from the operating system's
  // environment, the application scope through OnPrepareAppVars.
  void PrepareVariables();

  // The variables of the visible scopes in the editor's order (SortType; ties keep the
  // collection order), at most VisibleVarCount of them.
  std::vector<TLVEnvVarCollectionItem*> VisibleVariables() const;

  // The project's hash, as opening a project records it.
  void SetProjectFileMD5(std::string_view hexDigest);

  // The editor's title and column captions.
  static std::string Title();
  static std::vector<std::string> EditorColumnCaptions();

 private:
  TLVEnvVarCollectionItem& AddUnchecked(std::string_view name, TLVEnvVarType scope,
                                        std::string_view value, TLVDataType type);

  TLVEnvVarTypes varTypes_ = kAllEnvVarTypes;
  TLVEnvVarTypes preparedVarTypes_{TLVEnvVarType::evtSys, TLVEnvVarType::evtApp};
  TLVEnvVarTypes visibleVarTypes_{TLVEnvVarType::evtSys, TLVEnvVarType::evtApp,
                                  TLVEnvVarType::evtProj, TLVEnvVarType::evtUser};
  int32_t visibleVarCount_ = 0;
  TLVEnvVarSortType sortType_ = TLVEnvVarSortType::evsNone;
  TLVEnvVarCollection variables_;
  PrepareAppVarsEvent onPrepareAppVars_;
  SetConnectionParamsEvent onSetConnectionParams_;
};

inline constexpr std::string_view kProjectFileMD5Var = "ProjectFileMD5";

// What the application scope is made of.
struct TLVAppRunInfo {
  std::string executablePath;  // full path of the executable
  double startTime = 0;        // local date and time of the start
  int64_t processId = 0;
  std::string processGuid;  // "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}"
};

// The running process: its executable, now, its id and a fresh GUID.
TLVAppRunInfo CurrentAppRunInfo();
// Puts the application variables ("FULLAPPNAME" ... "ProcessID") of `info` into the
// application scope of `variables`.
void FillApplicationVariables(TLVEnvVariables& variables, const TLVAppRunInfo& info);

// The local date and time as days since 1899-12-30, with milliseconds.
double LVLocalNow();

// The process's variables.
TLVEnvVariables& LVEnvVariables();

void RegisterEnvVariablesTexts();

}  // namespace lv
