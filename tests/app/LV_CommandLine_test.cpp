#include "app/LV_CommandLine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LV_TestHelpers.h"
#include "app/LV_AppTestHelpers.h"
#include "core/text/LV_Errors.h"

namespace lv {
namespace {

TLVCommandLine Parse(std::vector<std::string> args) {
  return ParseCommandLine(args);
}

std::string KeyOf(std::vector<std::string> args) {
  return test::KeyOf([&] { Parse(std::move(args)); });
}

TEST(CommandLine, OptionsAreReadInAnyCaseWithEitherMark) {
  TLVCommandLine line =
      Parse({"/home/me/демо.lvp", "/run", "-Teach", "/LOG", "/logfile=c:\\demo.log", "/LogMode",
             "-PFILE=p.ini", "/VarFile=a=b.var", "/SYSFILE=Connections.sys", "/silent"});
  EXPECT_EQ(line.projectFile, "/home/me/демо.lvp");
  EXPECT_TRUE(line.run && line.teach && line.detailedLog && line.silent && !line.help);
  EXPECT_FALSE(line.overwriteLog);  // LOGMODE without a value appends
  EXPECT_EQ(line.logFile, "c:\\demo.log");
  EXPECT_EQ(line.paramFile, "p.ini");
  EXPECT_EQ(line.varFile, "a=b.var");  // everything after the first "="
  EXPECT_EQ(line.sysFile, "Connections.sys");
  EXPECT_TRUE(Parse({"/LOGMODE=overwrite"}).overwriteLog);
  EXPECT_TRUE(Parse({"/OVERWRITE"}).overwriteLog);
  EXPECT_TRUE(Parse({"/?"}).help);
  EXPECT_TRUE(Parse({"-help"}).help);
  EXPECT_EQ(Parse({"demo.lvp"}).projectFile, "demo.lvp");
  EXPECT_EQ(Parse({"/demo.lvp"}).projectFile, "/demo.lvp");
  EXPECT_FALSE(Parse({}).Batch());
}

TEST(CommandLine, MistakesAreRefusedByName) {
  EXPECT_EQ(KeyOf({"/RUNN"}), "ErrCmdUnknownOption");
  EXPECT_EQ(KeyOf({"-x.lvp"}), "ErrCmdUnknownOption");
  EXPECT_EQ(KeyOf({"/LOGFILE"}), "ErrCmdValueMissing");
  EXPECT_EQ(KeyOf({"/PFILE="}), "ErrCmdValueMissing");
  EXPECT_EQ(KeyOf({"/RUN=yes"}), "ErrCmdValueUnexpected");
  EXPECT_EQ(KeyOf({"/LOGMODE=APPEND"}), "ErrCmdLogMode");
  EXPECT_EQ(KeyOf({"a.lvp", "b.lvp"}), "ErrCmdTwoProjects");
}

TEST(CommandLine, HelpIsOneTextFilledWithTheOptionNames) {
  ASSERT_EQ(CommandOptionNames().size(), 12u);
  EXPECT_EQ(CommandOptionName(TLVCommandOption::coSilent), "SILENT");
  std::string help = CommandLineHelpText();
  EXPECT_TRUE(help.starts_with("ОБЩИЙ СИНТАКСИС КОМАНДНОЙ СТРОКИ:"));
  size_t parameters = help.find("ПАРАМЕТРЫ:");
  size_t examples = help.find("ПРИМЕРЫ:");
  ASSERT_NE(parameters, std::string::npos);
  ASSERT_NE(examples, std::string::npos);
  EXPECT_LT(parameters, examples);
  EXPECT_EQ(help.find('%'), std::string::npos);
  for (std::string_view name : CommandOptionNames()) {
    EXPECT_NE(help.find(name), std::string::npos) << name;
  }
  EXPECT_NE(help.find("/RUN /SILENT /SYSFILE=c:\\сonnections.sys"), std::string::npos);
  EXPECT_NE(help.find("/TEACH /LOG /LOGFILE=c:\\demo.log /LOGMODE\n"), std::string::npos);

  test::TRun question = test::RunStudio({"/?"});
  test::TRun help2 = test::RunStudio({"/HELP"});
  EXPECT_EQ(question.status, 0);
  EXPECT_EQ(question.out, help2.out);
  EXPECT_TRUE(question.out.starts_with("ОБЩИЙ СИНТАКСИС"));
}

}  // namespace
}  // namespace lv
