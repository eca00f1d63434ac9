#include "env/LV_EnvVariables.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <regex>

#include "core/columns/LV_Convert.h"
#include "core/text/LV_Errors.h"
#include "tests/env/LV_EnvTestHelpers.h"

namespace lv {
namespace {

using enum TLVEnvVarType;

using test::MessageOfFailure;

TEST(EnvVariables, NarrowerScopesHideWiderOnes) {
  TLVEnvVariables vars;
  vars.Add("Target", evtNone, "none");
  vars.Add("Target", evtSys, "sys");
  vars.Add("TARGET", evtUser, "user");  // names match without regard to case
  vars.Add("Target", evtHidden, "hidden");
  vars.Add("Target", evtApp, "app");
  vars.Add("target", evtProj, "proj");
  EXPECT_EQ(vars.Variables().Count(), 6);
  EXPECT_NE(vars.Variables().Find("P_target"), nullptr);  // kept behind the scope prefix

  EXPECT_EQ(vars.Find("Target", {evtApp, evtSys})->GetTheValue(), "app");
  EXPECT_EQ(vars.Find("Target", {evtSys, evtNone})->GetTheValue(), "sys");
  EXPECT_EQ(vars.Find("Target", {}), nullptr);
  EXPECT_EQ(vars.Expand("[%target%]", {evtHidden, evtNone}), "[hidden]");

  // Taking the winner away each time uncovers the next scope down.
  for (auto [scope, value] :
       std::initializer_list<std::pair<TLVEnvVarType, const char*>>{{evtUser, "user"},
                                                                    {evtProj, "proj"},
                                                                    {evtApp, "app"},
                                                                    {evtHidden, "hidden"},
                                                                    {evtSys, "sys"},
                                                                    {evtNone, "none"}}) {
    ASSERT_NE(vars.Find("tArGeT"), nullptr) << value;
    EXPECT_EQ(vars.Find("tArGeT")->GetTheValue(), value);
    EXPECT_EQ(vars.Expand("%Target%"), value);
    EXPECT_TRUE(vars.Remove("Target", scope));
    EXPECT_FALSE(vars.Remove("Target", scope));
  }
  EXPECT_EQ(vars.Find("Target"), nullptr);

  // The set's own scopes apply when none are given.
  vars.Add("Only", evtApp, "app");
  vars.SetVarTypes({evtUser, evtProj});
  EXPECT_EQ(vars.Find("Only"), nullptr);
  EXPECT_EQ(vars.Expand("%Only%"), "%Only%");
  EXPECT_NE(vars.Find("Only", kAllEnvVarTypes), nullptr);
}

TEST(EnvVariables, ProjectFileHashComesOnlyFromTheProjectOrTheUser) {
  TLVEnvVariables vars;
  vars.Add("ProjectFileMD5", evtApp, "from-app");
  vars.Add("ProjectFileMD5", evtSys, "from-os");
  EXPECT_EQ(vars.Find("ProjectFileMD5"), nullptr);
  EXPECT_EQ(vars.Expand("%ProjectFileMD5%"), "%ProjectFileMD5%");
  vars.SetProjectFileMD5("0cc175b9c0f1b6a831c399e269772661");
  EXPECT_EQ(vars.Find("projectfilemd5")->GetVarType(), evtProj);
  vars.SetProjectFileMD5("92eb5ffee6ae2fec3ad71c777531578f");  // a reopened project
  EXPECT_EQ(vars.Expand("%ProjectFileMD5%"), "92eb5ffee6ae2fec3ad71c777531578f");
  vars.Add("ProjectFileMD5", evtUser, "pinned");
  EXPECT_EQ(vars.Find("ProjectFileMD5")->GetTheValue(), "pinned");
  EXPECT_EQ(vars.Find("ProjectFileMD5", {evtApp, evtProj})->GetTheValue(),
            "92eb5ffee6ae2fec3ad71c777531578f");
  EXPECT_EQ(vars.Find("ProjectFileMD5", {evtApp, evtSys}), nullptr);
}

TEST(EnvVariables, ExpansionCornerCases) {
  TLVEnvVariables vars;
  vars.Add("APPNAME", evtApp, "LumiveraStudio");
  vars.Add("Dir", evtUser, "C:\\data");
  vars.Add("Blank", evtUser, "");
  vars.Add("Pct", evtUser, "50%");
  vars.Add("Self", evtUser, "%Dir%");
  const std::pair<const char*, const char*> cases[] = {
      {"%APPNAME%.log", "LumiveraStudio.log"},
      {"100%", "100%"},
      {"%NOSUCH%", "%NOSUCH%"},
      {"", ""},
      {"plain text", "plain text"},
      {"%", "%"},
      {"%%", "%%"},
      {"%%%", "%%%"},
      {"%%APPNAME%", "%LumiveraStudio"},
      {"%apPname%", "LumiveraStudio"},
      {"%APP NAME%", "%APP NAME%"},
      {"a%Blank%b", "ab"},
      // A value is never expanded again, and its "%" pairs with nothing.
      {"%Pct%%Dir%", "50%C:\\data"},
      {"%Self%", "%Dir%"},
      // The closing "%" of an unknown name opens the next reference.
      {"%NOSUCH%Dir%", "%NOSUCHC:\\data"},
      {"%Dir%\\%APPNAME%_%", "C:\\data\\LumiveraStudio_%"},
      {"Отчёт %Dir%\\итог.txt", "Отчёт C:\\data\\итог.txt"},
      {"50% и %Dir%", "50% и C:\\data"},
  };
  for (auto [text, expected] : cases) EXPECT_EQ(vars.Expand(text), expected) << text;
  EXPECT_EQ(vars.Expand("%APPNAME%", {evtUser}), "%APPNAME%");
}

TEST(EnvVariables, AddingAndChangingRefuseWhatIsNotAllowedAndKeepTheOldState) {
  TLVEnvVariables vars;
  auto& count = vars.Add("Count", evtProj, "5", TLVDataType::dtInteger);
  EXPECT_EQ(MessageOfFailure([&] { vars.Add("count", evtProj); }, "ErrEnvVarExists"),
            "Переменная с именем \"count\" уже существует");
  vars.Add("Count", evtUser, "other scope");
  for (const char* bad : {"1abc", "a b", "", "Имя", "a-b", "a%"}) {
    EXPECT_EQ(MessageOfFailure([&] { vars.Add(bad, evtUser); }, "ErrEnvVarBadName"),
              std::string("Имя переменной \"") + bad + "\" не является правильным идентификатором");
  }
  EXPECT_EQ(MessageOfFailure([&] { vars.Add("Rate", evtProj, "abc", TLVDataType::dtFloat); },
                             "ErrEnvVarAssign"),
            "Не удалось присвоить переменной с именем \"Rate\" значение \"abc\":\r\n"
            "  \"abc\" не является правильным вещественным числом");
  EXPECT_EQ(MessageOfFailure([&] { vars.Get("Nope"); }, "ErrEnvVarNotFound"),
            "Переменная с именем \"Nope\" не найдена");
  EXPECT_EQ(vars.Variables().Count(), 2);

  // Failing setters change nothing.
  MessageOfFailure([&] { count.SetTheValue("x"); }, "ErrEnvVarAssign");
  MessageOfFailure([&] { count.SetDataType(TLVDataType::dtDateTime); }, "ErrEnvVarAssign");
  MessageOfFailure([&] { count.SetVarType(evtUser); }, "ErrEnvVarExists");
  MessageOfFailure([&] { count.SetVarName("9lives"); }, "ErrEnvVarBadName");
  EXPECT_EQ(count.GetTheValue(), "5");
  EXPECT_EQ(count.GetDataType(), TLVDataType::dtInteger);
  EXPECT_EQ(count.GetName(), "P_Count");
  EXPECT_EQ(count.AsInteger(), 5);

  auto& other = vars.Add("Other", evtProj);
  MessageOfFailure([&] { other.SetVarName("COUNT"); }, "ErrEnvVarExists");
  other.SetVarType(evtHidden);
  other.SetVarName("Renamed");
  EXPECT_EQ(other.GetName(), "H_Renamed");
  EXPECT_EQ(vars.Find("renamed"), &other);
  count.SetVarName("COUNT");  // only the case changes: its own name is no clash
  EXPECT_EQ(count.GetName(), "P_COUNT");

  // An empty text is a missing value, which every type accepts but none can give.
  count.SetTheValue("");
  EXPECT_TRUE(count.GetValue().IsNull());
  EXPECT_EQ(MessageOfFailure([&] { count.AsFloat(); }, "ErrEnvVarMissingValue"),
            "Ошибка преобразования пропущенного значения переменной COUNT");
  count.SetDataType(TLVDataType::dtDateTime);
  count.SetTheValue("31.12.2024 10:30");
  EXPECT_DOUBLE_EQ(count.AsFloat(), *EncodeDateTime(2024, 12, 31, 10, 30));
  count.SetTheValue("10:30");  // a time of day alone
  EXPECT_DOUBLE_EQ(count.AsFloat(), 10.5 / 24);

  auto& rate = vars.Add("Rate", evtUser, "3,5", TLVDataType::dtFloat);
  EXPECT_DOUBLE_EQ(rate.AsFloat(), 3.5);
  MessageOfFailure([&] { rate.AsInteger(); }, "ErrEnvVarAssign");
  EXPECT_TRUE(rate.AsBoolean());
  auto& flag = vars.Add("Flag", evtUser, "False", TLVDataType::dtBoolean);
  EXPECT_FALSE(flag.AsBoolean());
  auto& text = vars.Add("Text", evtUser, "42");
  EXPECT_EQ(text.AsInteger(), 42);
  EXPECT_EQ(text.GetValue().AsText(), "42");
  text.SetTheValue("сорок два");
  MessageOfFailure([&] { text.AsFloat(); }, "ErrEnvVarAssign");
  text.SetTheValue(" ");
  MessageOfFailure([&] { text.AsBoolean(); }, "ErrEnvVarMissingValue");

  MessageOfFailure([&] { vars.SetVisibleVarCount(-1); }, "ErrEnvVarVisibleCount");
  EXPECT_EQ(vars.GetVisibleVarCount(), 0);
}

TEST(EnvVariables, EditorListsVisibleScopesInTheChosenOrder) {
  TLVEnvVariables vars;
  vars.Add("Beta", evtSys, "я");
  vars.Add("alpha", evtUser, "Б");
  vars.Add("Gamma", evtProj, "а");
  vars.Add("Hidden", evtHidden, "0");
  auto names = [&] {
    std::string out;
    for (auto* item : vars.VisibleVariables()) out += item->GetVarName() + " ";
    return out;
  };
  EXPECT_EQ(names(), "Beta alpha Gamma ");
  vars.SetSortType(TLVEnvVarSortType::evsName);
  EXPECT_EQ(names(), "alpha Beta Gamma ");
  // Russian order, not byte order (which would put "Б" before "а").
  vars.SetSortType(TLVEnvVarSortType::evsVal);
  EXPECT_EQ(names(), "Gamma alpha Beta ");
  vars.SetSortType(TLVEnvVarSortType::evsType);
  EXPECT_EQ(names(), "Beta Gamma alpha ");
  vars.SetVisibleVarCount(2);
  EXPECT_EQ(names(), "Beta Gamma ");
  vars.SetVisibleVarTypes({evtHidden});
  EXPECT_EQ(names(), "Hidden ");

  EXPECT_EQ(EnumFromName<TLVEnvVarType>("evtProj"), evtProj);  // as a project file names it
}

TEST(EnvVariables, ApplicationVariablesDescribeTheExecutableAndTheStart) {
  TLVEnvVariables vars;
  TLVAppRunInfo info{"/opt/lumivera/bin/LumiveraStudio.exe",
                     *EncodeDateTime(2025, 3, 7, 9, 5, 4, 321), 4242,
                     "{8C2F6A3E-1B7D-4E59-9A0C-3D5E7F912B46}"};
  FillApplicationVariables(vars, info);
  auto value = [&](const char* name) { return vars.Get(name, {evtApp}).GetTheValue(); };
  EXPECT_EQ(value("FULLAPPNAME"), "/opt/lumivera/bin/LumiveraStudio.exe");
  EXPECT_EQ(value("APPPATH"), "/opt/lumivera/bin/");
  EXPECT_EQ(value("APPDIR"), "/opt/lumivera/bin");
  EXPECT_EQ(value("APPDRIVE"), "");
  EXPECT_EQ(value("APPNAME"), "LumiveraStudio");
  EXPECT_EQ(value("APPEXT"), ".exe");
  EXPECT_EQ(value("APPRUNDATE"), "07.03.2025");
  EXPECT_EQ(value("APPRUNTIME"), "09:05:04");
  EXPECT_EQ(value("APPRUNTIMESTR"), "20250307090504");
  EXPECT_EQ(value("ProcessGUID"), info.processGuid);
  EXPECT_EQ(vars.Get("ProcessID").AsInteger(), 4242);
  EXPECT_DOUBLE_EQ(vars.Get("APPRUNDATE").AsFloat(), *EncodeDateTime(2025, 3, 7));
  EXPECT_EQ(vars.Expand("%APPNAME%.log"), "LumiveraStudio.log");

  // Filling again replaces instead of refusing.
  const int32_t count = vars.Variables().Count();
  info.executablePath = "C:\\Program Files\\Lumivera\\LumiveraStudio.exe";
  FillApplicationVariables(vars, info);
  EXPECT_EQ(vars.Variables().Count(), count);
  EXPECT_EQ(value("APPDRIVE"), "C:");
  EXPECT_EQ(value("APPPATH"), "C:\\Program Files\\Lumivera\\");
  EXPECT_EQ(value("APPDIR"), "C:\\Program Files\\Lumivera");
  EXPECT_EQ(value("APPNAME"), "LumiveraStudio");
}

TEST(EnvVariables, TheProcessSetHoldsTheApplicationAndTheOperatingSystem) {
  TLVEnvVariables& vars = LVEnvVariables();
  EXPECT_EQ(vars.Get("FULLAPPNAME").GetTheValue(),
            std::filesystem::read_symlink("/proc/self/exe").string());
  EXPECT_EQ(vars.Get("APPNAME").GetTheValue(), "lv_env_tests");
  EXPECT_EQ(vars.Get("ProcessID").AsInteger(), getpid());
  EXPECT_TRUE(std::regex_match(
      vars.Get("ProcessGUID").GetTheValue(),
      std::regex(R"(\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\})")));

  const char* path = std::getenv("PATH");
  ASSERT_NE(path, nullptr);
  EXPECT_EQ(vars.Get("PATH").GetTheValue(), path);
  EXPECT_EQ(vars.Get("PATH").GetVarType(), evtSys);

  // A user variable hides the system's; preparing again rebuilds only the prepared
  // scopes and leaves the user's alone.
  vars.Add("PATH", evtUser, "mine");
  EXPECT_EQ(vars.Expand("%PATH%"), "mine");
  const std::string guid = vars.Get("ProcessGUID").GetTheValue();
  vars.PrepareVariables();
  EXPECT_EQ(vars.Expand("%PATH%"), "mine");
  EXPECT_EQ(vars.Get("ProcessGUID").GetTheValue(), guid);
  EXPECT_EQ(vars.Get("PATH", {evtSys}).GetTheValue(), path);
  vars.Remove("PATH", evtUser);
}

}  // namespace
}  // namespace lv
