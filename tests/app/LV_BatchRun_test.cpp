// Unattended runs driven through the program's entry point, as a scheduler would.
#include "app/LV_BatchRun.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "app/LV_AppTestHelpers.h"
#include "app/LV_Connections.h"
#include "project/LV_ProjectTestHelpers.h"
#include "project/LV_ProjectTestKinds.h"

namespace lv {
namespace {

using test::ReadText;
using test::RunStudio;
using test::TTempFolder;
using test::WriteText;

class BatchRunTest : public testing::Test {
 protected:
  // Two branches: a source with a handler and an export, and a source with an export.
  // `failing` breaks the first branch's handler.
  std::string Project(bool failing, bool protect = false) {
    TLVEnvVariables variables;
    TLVProject project(variables);
    project.SetKdfLimits({1, 8192});
    TModelTreeNode& first = project.AddNode(nullptr, "TestSource");
    first.SetCaption("Продажи");
    static_cast<test::TTestSource&>(first.Handler()).SetRows(7);
    TModelTreeNode& handler = project.AddNode(&first, "TestHandler");
    handler.SetCaption("Очистка");
    static_cast<test::TTestHandler&>(handler.Handler()).SetFail(failing);
    TModelTreeNode& exportA = project.AddNode(&handler, "TestExport");
    static_cast<test::TTestExport&>(exportA.Handler()).SetFileName((folder / "a.txt").string());
    project.AddNode(&handler, "TestModel");
    TModelTreeNode& second = project.AddNode(nullptr, "TestSource");
    TModelTreeNode& exportB = project.AddNode(&second, "TestExport");
    static_cast<test::TTestExport&>(exportB.Handler()).SetFileName((folder / "b.txt").string());
    if (protect) {
      project.Properties().SetProtected(true);
      project.Properties().SetPassword(TProjectAccess::paProject, "p");
      project.Properties().SetPassword(TProjectAccess::paViewer, "v");
      project.Properties().SetPassword(TProjectAccess::paBatch, "ночь");
    }
    std::string file = (folder / "demo.lvp").string();
    project.Save(file);
    return file;
  }

  TTempFolder folder;
};

TEST_F(BatchRunTest, EveryNodeRunsAndTheDetailedLogTellsRowsAndTime) {
  std::string file = Project(false);
  std::string log = (folder / "run.log").string();
  test::TRun run = RunStudio({file, "/RUN", "/LOG", "/LOGFILE=" + log});
  EXPECT_EQ(run.status, 0) << run.out << run.err;
  EXPECT_EQ(ReadText(folder / "a.txt"), "7");
  EXPECT_EQ(ReadText(folder / "b.txt"), "3");
  std::string text = ReadText(log);
  EXPECT_NE(text.find("Узел \"Продажи\" (TestSource): начало выполнения"), std::string::npos);
  EXPECT_NE(text.find("Узел \"Очистка\": выполнен, строк: 7, время: "), std::string::npos);
  EXPECT_NE(text.find("успешно узлов 6, с ошибками 0, пропущено 0"), std::string::npos);
  EXPECT_NE(run.out.find("успешно узлов 6"), std::string::npos);  // echoed to the console

  // LOGMODE without a value appends; with OVERWRITE the log starts afresh.
  RunStudio({file, "/RUN", "/LOGFILE=" + log, "/LOGMODE"});
  std::string appended = ReadText(log);
  EXPECT_TRUE(appended.starts_with(text));
  EXPECT_GT(appended.size(), text.size());
  RunStudio({file, "/RUN", "/LOGFILE=" + log, "/LOGMODE=OVERWRITE"});
  std::string overwritten = ReadText(log);
  EXPECT_LT(overwritten.size(), text.size());
  EXPECT_EQ(overwritten.find("начало выполнения"), std::string::npos);  // no /LOG this time
}

TEST_F(BatchRunTest, AFailedNodeSkipsItsBranchOnlyAndTheStatusIsOne) {
  std::string file = Project(true);
  std::string log = (folder / "run.log").string();
  test::TRun run = RunStudio({file, "/RUN", "/LOGFILE=" + log});
  EXPECT_EQ(run.status, 1);
  std::string text = ReadText(log);
  // The test handler throws a library exception, whose text gets a Russian line first.
  EXPECT_NE(text.find("ОШИБКА ВЫПОЛНЕНИЯ УЗЛА \"ОЧИСТКА\": ВНУТРЕННЯЯ ОШИБКА ПРОГРАММЫ: "
                      "ОБРАБОТЧИК СЛОМАН"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("Подузлы узла \"Очистка\" не выполнялись: 2"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(folder / "a.txt"));
  EXPECT_EQ(ReadText(folder / "b.txt"), "3");  // the sibling branch went on
  EXPECT_NE(text.find("успешно узлов 3, с ошибками 1, пропущено 2"), std::string::npos);

  test::TRun silent = RunStudio({file, "/RUN", "/SILENT", "/LOGFILE=" + log});
  EXPECT_EQ(silent.status, 1);
  EXPECT_EQ(silent.out + silent.err, "");
}

TEST_F(BatchRunTest, TeachRetrainsModelsWithoutRunningTheRest) {
  std::string file = Project(false);
  std::string log = (folder / "run.log").string();
  test::TTestModel::teachCount = 0;
  EXPECT_EQ(RunStudio({file, "/TEACH", "/LOGFILE=" + log, "/OVERWRITE"}).status, 0);
  EXPECT_EQ(test::TTestModel::teachCount, 1);
  EXPECT_FALSE(std::filesystem::exists(folder / "a.txt"));
  std::string first = ReadText(log).substr(0, ReadText(log).find("\r\n"));
  EXPECT_TRUE(first.ends_with("Пакетная обработка проекта \"" + file +
                              "\" (Lumivera 1.0.0): переобучение моделей"))
      << first;
  EXPECT_EQ(RunStudio({file, "/TEACH", "/RUN", "/LOGFILE=" + log, "/OVERWRITE"}).status, 0);
  EXPECT_EQ(test::TTestModel::teachCount, 2);
  EXPECT_TRUE(std::filesystem::exists(folder / "a.txt"));
  EXPECT_NE(
      ReadText(log).find("\" (Lumivera 1.0.0): переобучение моделей и выполнение сценариев\r\n"),
      std::string::npos);
}

// The progress line on a terminal: the node, its stages and their percentages, written
// only when the shown percentage changes and cleared when the outermost stage ends.
TEST(ConsoleProgress, ShowsNestedStagesAndClearsItsLine) {
  char* buffer = nullptr;
  size_t size = 0;
  std::FILE* out = open_memstream(&buffer, &size);
  ASSERT_NE(out, nullptr);
  {
    TLVConsoleProgress progress(out);
    progress.Start("Продажи", -1);
    progress.SetPosition(5);  // no total: nothing to show
    progress.Start("Чтение", 300);
    progress.SetPosition(100);
    progress.SetPosition(101);  // still 33 %
    progress.SetPosition(300);
    progress.SetPosition(900);  // never past 100 %
    progress.Finish();
    progress.Finish();
    progress.Start("Выгрузка", 0);
  }
  std::fclose(out);
  std::string text(buffer, size);
  std::free(buffer);
  const std::string clear = "\r\033[K";
  EXPECT_EQ(text, clear + "Продажи" + clear + "Продажи - Чтение" + clear + "Продажи - Чтение 33%" +
                      clear + "Продажи - Чтение 100%" + clear + clear + "Выгрузка" + clear);
}

TEST_F(BatchRunTest, WhatCannotStartEndsWithStatusTwoAndAClearMessage) {
  EXPECT_EQ(RunStudio({"/RUN", "/NOSUCH"}).status, 2);
  test::TRun noProject = RunStudio({"/RUN"});
  EXPECT_EQ(noProject.status, 2);
  EXPECT_NE(noProject.err.find("Не указан файл проекта"), std::string::npos);
  test::TRun missing = RunStudio({(folder / "none.lvp").string(), "/RUN"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_NE(missing.err.find("Ошибка чтения проекта."), std::string::npos);
  std::string file = Project(false);

  WriteText(folder / "bad.ini", "Speed=fast\n");
  test::TRun params = RunStudio({file, "/RUN", "/PFILE=" + (folder / "bad.ini").string()});
  EXPECT_EQ(params.status, 2);
  EXPECT_NE(params.err.find("строка 1"), std::string::npos);

  WriteText(folder / "bad.var", "1x=2\n");
  EXPECT_EQ(RunStudio({file, "/RUN", "/VARFILE=" + (folder / "bad.var").string()}).status, 2);

  WriteText(folder / "bad.sys", "<Connections><Connection Vendor=\"PG\"/></Connections>");
  test::TRun sys = RunStudio({file, "/RUN", "/SYSFILE=" + (folder / "bad.sys").string()});
  EXPECT_EQ(sys.status, 2);
  EXPECT_NE(sys.err.find("Ошибка чтения файла подключений"), std::string::npos);
  EXPECT_NE(sys.err.find("не указано имя"), std::string::npos);
  WriteText(folder / "good.sys",
            "<Connections><Connection Name=\"Склад\" Vendor=\"PG\" Host=\"db\"/></Connections>");
  EXPECT_EQ(RunStudio({file, "/RUN", "/SYSFILE=" + (folder / "good.sys").string()}).status, 0);
  EXPECT_EQ(LVConnections().Find("склад")->Params().ReadString("Host"), "db");

  // Without /RUN or /TEACH the project is only described.
  test::TRun interactive = RunStudio({file});
  EXPECT_EQ(interactive.status, 0);
  EXPECT_NE(interactive.out.find("Версия Lumivera: 1.0.0"), std::string::npos);
}

TEST_F(BatchRunTest, AProtectedProjectRunsWithTheBatchPasswordOfTheParameters) {
  std::string file = Project(false, true);
  test::TRun locked = RunStudio({file, "/RUN"});
  EXPECT_EQ(locked.status, 2);
  EXPECT_NE(locked.err.find("защищен.\nУкажите пароль для пакетной обработки."), std::string::npos)
      << locked.err;
  WriteText(folder / "p.ini", "BatchPassword=ночь\n");
  test::TRun run = RunStudio({file, "/RUN", "/PFILE=" + (folder / "p.ini").string()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(ReadText(folder / "a.txt"), "7");
}

TEST_F(BatchRunTest, AFileWithoutVersionIsReadAndTheAnswerLogged) {
  WriteText(folder / "bare.lvp",
            "<Lumivera><Script><Node Vendor=\"TestSource\"/></Script></Lumivera>");
  std::string log = (folder / "run.log").string();
  EXPECT_EQ(RunStudio({(folder / "bare.lvp").string(), "/RUN", "/LOGFILE=" + log}).status, 0);
  std::string text = ReadText(log);
  EXPECT_NE(text.find("не содержит информации о версии"), std::string::npos);
  EXPECT_NE(text.find("Ответ пакетного режима: да"), std::string::npos);
}

}  // namespace
}  // namespace lv
