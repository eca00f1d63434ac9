// /TEACH over a real model: a text file, a linear regression under it and an export of
// its predictions, written as a project file by hand and run as a scheduler would.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "app/LV_AppTestHelpers.h"
#include "project/LV_ProjectTestHelpers.h"

namespace lv {
namespace {

using test::ReadText;
using test::RunStudio;
using test::WriteText;

std::string ModelProject(const test::TTempFolder& folder) {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<Lumivera>
  <Version Application="Lumivera" Version="1.0.0" FileFormat="1" />
  <Script>
    <Node Vendor="TextFile" ID="{00000000-0000-0000-0000-000000000001}" Caption="Данные">
      <Handler ClassVersion="1" FileName=")" +
         (folder / "data.csv").string() + R"(" Delimiter="dtSemicolon" FirstLineTitle="True" />
      <Node Vendor="LinearRegression" ID="{00000000-0000-0000-0000-000000000002}" Caption="Прогноз">
        <Handler ClassVersion="1">
          <TunedNormDataSource>
            <Columns>
              <Column Name="x" DataType="dtFloat" DataKind="dkContinuous" DataStatus="dsInput" />
              <Column Name="g" DataType="dtString" DataKind="dkDiscrete" DataStatus="dsInput" />
              <Column Name="y" DataType="dtFloat" DataKind="dkContinuous" DataStatus="dsOutput" />
            </Columns>
          </TunedNormDataSource>
        </Handler>
        <Node Vendor="ExportStd" ID="{00000000-0000-0000-0000-000000000003}" Caption="Прогноз в текст">
          <Handler ClassVersion="1" FileName=")" +
         (folder / "out.csv").string() + R"(" Delimiter="dtSemicolon" FirstLineTitle="True" />
        </Node>
      </Node>
    </Node>
  </Script>
</Lumivera>
)";
}

TEST(BatchTeach, ModelsAreTrainedTheirErrorsLoggedAndTheirPredictionsExported) {
  test::TTempFolder folder;
  // y = 2x + 1, and 10 more in group b (the even rows).
  std::string data = "x;g;y\n";
  for (int x = 1; x <= 10; ++x) {
    const bool b = x % 2 == 0;
    data +=
        std::to_string(x) + (b ? ";b;" : ";a;") + std::to_string(2 * x + 1 + (b ? 10 : 0)) + "\n";
  }
  WriteText(folder / "data.csv", data);
  WriteText(folder / "model.lvp", ModelProject(folder));
  const std::string log = (folder / "run.log").string();

  // Without training the model has nothing to predict with: its results are empty.
  EXPECT_EQ(RunStudio({(folder / "model.lvp").string(), "/RUN", "/LOGFILE=" + log}).status, 0);
  std::string untrained = ReadText(folder / "out.csv");
  std::erase(untrained, '\r');
  EXPECT_NE(untrained.find("x;g;y;y_OUT;y_ERR"), std::string::npos) << untrained;
  EXPECT_NE(untrained.find("\n3;a;7;;\n"), std::string::npos) << untrained;

  test::TRun run = RunStudio(
      {(folder / "model.lvp").string(), "/TEACH", "/RUN", "/LOGFILE=" + log, "/LOGMODE=OVERWRITE"});
  EXPECT_EQ(run.status, 0) << run.out << run.err;
  const std::string text = ReadText(log);
  EXPECT_NE(text.find("Обучение завершено. Обучающее множество: строк 7, средняя ошибка "),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("Тестовое множество: строк 3"), std::string::npos) << text;
  const std::string trained = ReadText(folder / "out.csv");
  EXPECT_NE(trained.find("\n3;a;7;7;"), std::string::npos) << trained;

  // The retrained model was saved with the project: a later run without /TEACH
  // predicts with it, and the saved project holds no setting its reader passes over.
  EXPECT_NE(text.find("Проект с переобученными моделями сохранен в файл"), std::string::npos)
      << text;
  std::filesystem::remove(folder / "out.csv");
  WriteText(folder / "strict.ini", "StrictProjectLoading=True\n");
  test::TRun strictRun = RunStudio({(folder / "model.lvp").string(), "/RUN", "/LOGFILE=" + log,
                                    "/PFILE=" + (folder / "strict.ini").string()});
  EXPECT_EQ(strictRun.status, 0) << strictRun.out << strictRun.err;
  const std::string rerun = ReadText(folder / "out.csv");
  EXPECT_NE(rerun.find("\n3;a;7;7;"), std::string::npos) << rerun;
}

}  // namespace
}  // namespace lv
