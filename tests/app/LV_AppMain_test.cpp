// What the program does with the files named on its command line before a run starts.
#include "app/LV_AppMain.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "app/LV_AppTestHelpers.h"
#include "env/LV_Logger.h"
#include "project/LV_ProjectTestHelpers.h"

namespace lv {
namespace {

using test::ReadText;
using test::RunStudio;
using test::WriteText;

class AppMainTest : public testing::Test {
 protected:
  test::TTempFolder folder;
  std::string Path(std::string_view name) const { return (folder / name).string(); }
};

// Every option naming a file refuses a folder in the same words: status 2, the file
// named, the reason in Russian, and the line in the run log even when nothing is shown.
TEST_F(AppMainTest, AFolderWhereAFileIsExpectedIsRefusedByEveryOption) {
  const std::string dir = folder.Path().string();
  const std::string reason = "\": это папка, а не файл";
  const std::string log = Path("run.log");
  struct TCase {
    std::vector<std::string> args;
    std::string message;
  };
  const TCase cases[] = {
      {{dir, "/RUN"}, "Файл (" + dir + ").\nОшибка: Не удалось прочитать файл \"" + dir + reason},
      {{dir}, "Не удалось прочитать файл \"" + dir + reason},
      {{"/RUN", "/PFILE=" + dir}, "Не удалось открыть файл параметров приложения \"" + dir + reason},
      {{"/RUN", "/VARFILE=" + dir}, "Не удалось открыть файл переменных \"" + dir + reason},
      {{"/RUN", "/SYSFILE=" + dir}, "Ошибка чтения файла подключений \"" + dir + "\":\nэто папка"},
  };
  for (const TCase& c : cases) {
    std::vector<std::string> args = c.args;
    test::TRun run = RunStudio(args);
    EXPECT_EQ(run.status, 2) << args[0];
    EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;

    args.insert(args.end(), {"/SILENT", "/LOGFILE=" + log, "/LOGMODE=OVERWRITE"});
    test::TRun silent = RunStudio(args);
    EXPECT_EQ(silent.status, 2);
    EXPECT_EQ(silent.err, "");
    const std::string text = ReadText(log);
    EXPECT_NE(text.find(LVUpperCase(dir)), std::string::npos) << text;
    EXPECT_NE(text.find("ЭТО ПАПКА, А НЕ ФАЙЛ"), std::string::npos) << text;
  }

  // A log that cannot be written is reported, never a crash.
  WriteText(Path("p.ini"), "Speed=fast\n");
  test::TRun badLog = RunStudio({"/RUN", "/PFILE=" + Path("p.ini"), "/LOGFILE=" + dir});
  EXPECT_EQ(badLog.status, 2);
  EXPECT_NE(badLog.err.find("Не удалось открыть файл журнала \"" + dir + reason), std::string::npos)
      << badLog.err;
  EXPECT_NE(badLog.err.find("строка 1"), std::string::npos);
}

TEST_F(AppMainTest, EveryStartUpFailureReachesTheLog) {
  const std::string log = Path("run.log");
  WriteText(Path("bad.ini"), "\n\nSpeed=fast\n");
  WriteText(Path("bad.var"), "1x=2\n");
  WriteText(Path("bad.sys"), "<Connections><Connection Vendor=\"PG\"/></Connections>");
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"/RUN", "/PFILE=" + Path("bad.ini")}, "\"" + LVUpperCase(Path("bad.ini")) + "\", СТРОКА 3"},
      {{"/RUN", "/VARFILE=" + Path("bad.var")}, LVUpperCase(Path("bad.var"))},
      {{"/RUN", "/SYSFILE=" + Path("bad.sys")}, "ОШИБКА ЧТЕНИЯ ФАЙЛА ПОДКЛЮЧЕНИЙ"},
      {{"/RUN"}, "НЕ УКАЗАН ФАЙЛ ПРОЕКТА"},
      {{Path("none.lvp"), "/RUN"}, "ОШИБКА ЧТЕНИЯ ПРОЕКТА."},
  };
  for (const auto& [args, expected] : cases) {
    std::vector<std::string> quiet = args;
    quiet.insert(quiet.end(), {"/SILENT", "/LOGFILE=" + log, "/LOGMODE=OVERWRITE"});
    test::TRun run = RunStudio(quiet);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out + run.err, "");
    std::string text = ReadText(log);
    EXPECT_NE(text.find(expected), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with("\r\n"));
  }
}

// The project's file and folder are known in full, whatever the current folder.
TEST_F(AppMainTest, ARelativeProjectNameIsTakenInFull) {
  WriteText(Path("in.csv"), "A\n1\n");
  WriteText(Path("m.lvp"), R"xml(<?xml version="1.0" encoding="UTF-8"?>
<Lumivera>
  <Version Application="Lumivera" Version="1.0.0" FileFormat="1" />
  <Script>
    <Node Vendor="TextFile" Caption="Вход">
      <Handler ClassVersion="1" FileName="in.csv" CharSet="chrANSI" Delimiter="dtSemicolon" FirstLineTitle="True" />
      <Node Vendor="Calc" Caption="Сведения">
        <Handler ClassVersion="1">
          <Expressions>
            <Expression Name="F" DataType="dtString" DataKind="dkDiscrete" Expression="GetModelInfo(&quot;FileName&quot;)" />
            <Expression Name="P" DataType="dtString" DataKind="dkDiscrete" Expression="GetModelInfo(&quot;FilePath&quot;)" />
          </Expressions>
        </Handler>
        <Node Vendor="ExportStd" Caption="Выход">
          <Handler ClassVersion="1" FileName="out/info.csv" CharSet="chrANSI" Delimiter="dtSemicolon" FirstLineTitle="False" />
        </Node>
      </Node>
    </Node>
  </Script>
</Lumivera>
)xml");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  test::TRun run = RunStudio({"./m.lvp", "/RUN", "/LOGFILE=run.log"});
  std::filesystem::current_path(before);
  ASSERT_EQ(run.status, 0) << run.out << run.err;
  const std::string full = folder.Path().string();
  EXPECT_EQ(ReadText(folder / "out" / "info.csv"), "1;" + full + "/m.lvp;" + full + "\r\n");
  EXPECT_NE(ReadText(folder / "run.log").find("Пакетная обработка проекта \"" + full + "/m.lvp\""),
            std::string::npos);
}

}  // namespace
}  // namespace lv
