#include "project/LV_Project.h"

#include <gtest/gtest.h>

#include <string>

#include "core/text/LV_Errors.h"
#include "project/LV_ProjectTestHelpers.h"
#include "project/LV_ProjectTestKinds.h"

namespace lv {
namespace {

using test::MessageOf;
using test::ReadText;
using test::TRecordingUI;
using test::TTempFolder;
using test::WriteText;

class ProjectTest : public testing::Test {
 protected:
  // source (5 rows) -> handler -> export; a second export under the source; a view and
  // a bookmark; a project variable and the properties.
  void Build(TLVProject& project) {
    TModelTreeNode& source = project.AddNode(nullptr, "TestSource");
    source.SetCaption("Продажи");
    auto& s = static_cast<test::TTestSource&>(source.Handler());
    s.SetRows(5);
    s.SetLabel("строка 1\r\nстрока 2\t\"кавычки\"");
    s.SetSeparator('\t');
    TModelTreeNode& handler = project.AddNode(&source, "TestHandler");
    auto& h = static_cast<test::TTestHandler&>(handler.Handler());
    h.SetScale(7);
    h.Items().AddNew().SetName("Выручка");
    TModelTreeNode& out = project.AddNode(&handler, "TestExport");
    static_cast<test::TTestExport&>(out.Handler()).SetFileName((folder / "out.txt").string());
    project.AddNode(&source, "TestExport");
    auto view = std::make_unique<TViewTreeNode>(LVComponentVendors().VendorByID("TestView"),
                                                LVComponentVendors().CreateComponent("TestView"));
    view->SetDescription("Таблица");
    handler.AddView(std::move(view));
    auto& bookmark = project.Bookmarks().AddNew();
    bookmark.SetName("main");
    bookmark.SetNodeID(handler.GetID());
    project.Variables().Put("Region", TLVEnvVarType::evtProj, "Север");
    project.Properties().SetAuthor("Аналитик");
    project.Properties().SetProjectVersion("3");
  }

  TTempFolder folder;
  TLVEnvVariables variables;
  TLVEnvVariables otherVariables;
  TRecordingUI ui;
};

TEST_F(ProjectTest, SaveAndOpenGiveTheSameFileAgain) {
  TLVProject project(variables);
  Build(project);
  EXPECT_TRUE(project.Modified());
  std::filesystem::path file = folder / "demo.lvp";
  project.Save(file);
  EXPECT_FALSE(project.Modified());
  std::string xml = ReadText(file);

  // Root sections in their order; no reports, so no "Report".
  size_t at = 0;
  for (const char* section :
       {"<Version ", "<Properties ", "<EnvironmentVariables>", "<Script>", "<ModelBookmarks>"}) {
    size_t next = xml.find(section);
    ASSERT_NE(next, std::string::npos) << section;
    EXPECT_GT(next, at) << section;
    at = next;
  }
  EXPECT_EQ(xml.find("<Report"), std::string::npos);
  EXPECT_NE(xml.find("VarName=\"LocaleID\""), std::string::npos);
  EXPECT_NE(xml.find("VarName=\"DisableFloatExceptions\""), std::string::npos);

  TLVProject copy(otherVariables);
  copy.Open(file, ui);
  ASSERT_EQ(copy.RootCount(), 1);
  TModelTreeNode& source = copy.Root(0);
  EXPECT_EQ(source.GetCaption(), "Продажи");
  EXPECT_EQ(static_cast<test::TTestSource&>(source.Handler()).GetLabel(),
            "строка 1\r\nстрока 2\t\"кавычки\"");
  ASSERT_EQ(source.ChildCount(), 2);
  TModelTreeNode& handler = source.Child(0);
  EXPECT_EQ(handler.ViewCount(), 1);
  // Children and views are plugged into their parent's table again.
  EXPECT_EQ(handler.Handler().GetDataSourceIntf()->GetRowCount(), 5);
  EXPECT_EQ(static_cast<test::TTestView&>(handler.View(0).View()).shown,
            handler.Handler().GetDataSourceIntf());
  EXPECT_EQ(copy.FindNode(copy.Bookmarks()[0].GetNodeID()), &handler);
  EXPECT_EQ(otherVariables.Find("Region")->GetTheValue(), "Север");
  EXPECT_EQ(copy.Properties().GetAuthor(), "Аналитик");
  EXPECT_EQ(copy.NodeCount(), 4);

  copy.Save(folder / "again.lvp");
  EXPECT_EQ(ReadText(folder / "again.lvp"), xml);
  // Everything the program writes, it reads: no setting is reported as unknown.
  EXPECT_TRUE(ui.warnings.empty()) << ui.warnings.front();
}

TEST_F(ProjectTest, SettingsNothingReadsAreReportedOrRefused) {
  WriteText(folder / "typo.lvp",
            R"(<Lumivera Extra="1"><Version Version="1.0.0" Application="Lumivera"/>)"
            R"(<Propertys Author="x"/><Script><Node Vendor="TestSource" Caption="Продажи">)"
            R"(<Handler Rows="2" Rosw="3"/><Node Vendor="TestHandler" Colour="red">)"
            R"(<Handler><Items><Column Name="a"/><Item Name="b" Wieght="2"/></Items></Handler>)"
            R"(</Node></Node></Script></Lumivera>)");
  TLVProject project(variables);
  project.Open(folder / "typo.lvp", ui);
  EXPECT_EQ(project.NodeCount(), 2);
  EXPECT_EQ(ui.warnings,
            (std::vector<std::string>{
                R"(Узел "Продажи": настройка "Handler/Rosw" не учтена: такой настройки нет, или она не действует при остальных настройках узла)",
                R"(Узел "[TestHandlerCaption]": настройка "Colour" не учтена: такой настройки нет, или она не действует при остальных настройках узла)",
                R"(Узел "[TestHandlerCaption]": настройка "Handler/Items/Column" не учтена: такой настройки нет, или она не действует при остальных настройках узла)",
                R"(Узел "[TestHandlerCaption]": настройка "Handler/Items/Item/Wieght" не учтена: такой настройки нет, или она не действует при остальных настройках узла)",
                R"(Проект: неизвестная настройка "Extra")",
                R"(Проект: неизвестная настройка "Propertys")"}));

  // Loading strictly refuses the file with the first of them and opens nothing.
  EXPECT_FALSE(project.GetStrictLoading());
  SetStrictProjectLoading(true);
  TLVProject strict(otherVariables);
  SetStrictProjectLoading(false);
  EXPECT_TRUE(strict.GetStrictLoading());
  EXPECT_EQ(MessageOf([&] { strict.Open(folder / "typo.lvp", ui); }),
            "Ошибка чтения проекта.\r\nФайл (" + (folder / "typo.lvp").string() +
                ").\r\nОшибка: Узел \"Продажи\": настройка \"Handler/Rosw\" не учтена: такой "
                "настройки нет, или она не действует при остальных настройках узла");
  EXPECT_EQ(strict.RootCount(), 0);

  // A delimiter character is a setting only with the delimiter "other".
  ui.warnings.clear();
  auto delimiter = [&](std::string_view type) {
    WriteText(folder / "text.lvp",
              "<Lumivera><Version Version=\"1.0.0\"/><Script><Node Vendor=\"TextFile\">"
              "<Handler FileName=\"a.csv\" Delimiter=\"" +
                  std::string(type) + "\" DelimiterChar=\"|\"/></Node></Script></Lumivera>");
    project.Open(folder / "text.lvp", ui);
  };
  delimiter("dtOther");
  EXPECT_TRUE(ui.warnings.empty()) << ui.warnings.front();
  delimiter("dtSemicolon");
  ASSERT_EQ(ui.warnings.size(), 1u);
  EXPECT_NE(ui.warnings[0].find("настройка \"Handler/DelimiterChar\" не учтена"), std::string::npos)
      << ui.warnings[0];
}

TEST_F(ProjectTest, ReportsAreKeptAsWrittenAndSavedBeforeTheBookmarks) {
  TLVProject project(variables);
  Build(project);
  project.Reports().Nodes().AddItem("Item").Params().Add("Title", "Итоги");
  project.Save(folder / "r.lvp");
  std::string xml = ReadText(folder / "r.lvp");
  size_t report = xml.find("<Report>");
  ASSERT_NE(report, std::string::npos);
  EXPECT_GT(report, xml.find("<Script>"));
  EXPECT_LT(report, xml.find("<ModelBookmarks>"));
  TLVProject copy(otherVariables);
  copy.Open(folder / "r.lvp", ui);
  EXPECT_EQ(copy.Reports().Nodes()[0].Params().ReadString("Title"), "Итоги");
}

TEST_F(ProjectTest, OldSettingsAreConvertedAndNewerOnesRefused) {
  std::string xml = R"(<Lumivera><Version Version="1.0.0"/><Script>
    <Node Vendor="TestSource"><Handler Rows="2"/>
      <Node Vendor="testhandler"><Handler ClassVersion="1" OldScale="9"/></Node>
    </Node></Script></Lumivera>)";
  WriteText(folder / "old.lvp", xml);
  TLVProject project(variables);
  project.Open(folder / "old.lvp", ui);
  auto& handler = static_cast<test::TTestHandler&>(project.Root(0).Child(0).Handler());
  EXPECT_EQ(handler.GetScale(), 9);
  EXPECT_FALSE(project.Root(0).GetID().empty());

  size_t at = xml.find("ClassVersion=\"1\"");
  xml.replace(at, 16, "ClassVersion=\"3\"");
  WriteText(folder / "new.lvp", xml);
  EXPECT_EQ(MessageOf([&] { project.Open(folder / "new.lvp", ui); }),
            "Ошибка чтения проекта.\r\nФайл (" + (folder / "new.lvp").string() +
                ").\r\nОшибка: Узел \"[TestHandlerCaption]\": Параметры сохраненного элемента "
                "имеют большую версию 3, чем текущий элемент 2 класса TTestHandler");
  EXPECT_EQ(project.RootCount(), 0);
}

TEST_F(ProjectTest, UnreadableFilesCloseTheProjectWithTheirMessage) {
  TLVProject project(variables);
  Build(project);
  auto open = [&](std::string_view name, std::string_view content) {
    WriteText(folder / name, content);
    return MessageOf([&] { project.Open(folder / name, ui); });
  };
  std::string unknown = "Нераспознаваемый формат проекта Lumivera.\r\nФайл (" +
                        (folder / "x.lvp").string() + ").\r\nПроект будет закрыт.";
  EXPECT_EQ(open("x.lvp", "PK\x03\x04 binary"), unknown);
  EXPECT_EQ(project.RootCount(), 0);
  EXPECT_EQ(project.Properties().GetAuthor(), "");
  EXPECT_EQ(open("x.lvp", ""), unknown);
  EXPECT_EQ(open("x.lvp", "<html><body/></html>"), unknown);
  std::string broken = open("y.lvp", "<Lumivera><Script>");
  EXPECT_TRUE(broken.starts_with("Ошибка чтения проекта.\r\nФайл (")) << broken;
  std::string vendor = open("z.lvp",
                            "<Lumivera><Version Version=\"1\"/><Script><Node Vendor=\"NoSuch\"/>"
                            "</Script></Lumivera>");
  EXPECT_NE(vendor.find("NoSuch"), std::string::npos) << vendor;
  std::string view = open("v.lvp",
                          "<Lumivera><Version Version=\"1\"/><Script><Node Vendor=\"TestView\"/>"
                          "</Script></Lumivera>");
  EXPECT_NE(view.find("не может быть узлом сценария"), std::string::npos) << view;
  // Bookmarks and other nodes refer to identifiers, so one written twice is refused.
  std::string twice = open("d.lvp",
                           "<Lumivera><Version Version=\"1\"/><Script>"
                           "<Node Vendor=\"TestSource\" ID=\"{A}\"/><Node Vendor=\"TestSource\"/>"
                           "<Node Vendor=\"TestSource\" ID=\"{A}\"/></Script></Lumivera>");
  EXPECT_EQ(twice,
            "Ошибка чтения проекта.\r\nФайл (" + (folder / "d.lvp").string() +
                ").\r\nОшибка: Идентификатор узла {A} встречается в файле более одного раза");
  EXPECT_EQ(project.RootCount(), 0);
  std::string missing = MessageOf([&] { project.Open(folder / "none.lvp", ui); });
  EXPECT_TRUE(missing.starts_with("Ошибка чтения проекта.")) << missing;
  EXPECT_EQ(variables.Find("LocaleID")->GetTheValue(), "1049");
}

TEST_F(ProjectTest, VersionInformationIsCheckedOnOpening) {
  TLVProject project(variables);
  std::string later = "<Lumivera><Version Version=\"99.1\"/><Script/></Lumivera>";
  WriteText(folder / "later.lvp", later);
  project.Open(folder / "later.lvp", ui);
  ASSERT_EQ(ui.warnings.size(), 1u);
  EXPECT_EQ(ui.warnings[0], "Данный проект (" + (folder / "later.lvp").string() +
                                ") был подготовлен в более поздней версии Lumivera 99.1. \r\nУ "
                                "Вас загружен Lumivera 1.0.0. \r\nНекоторые функции могут не "
                                "работать или работать некорректно.");

  WriteText(folder / "bare.lvp",
            "<Lumivera><Script><Node Vendor=\"TestSource\"/></Script></Lumivera>");
  ui.answer = false;
  std::string declined = MessageOf([&] { project.Open(folder / "bare.lvp", ui); });
  ASSERT_EQ(ui.questions.size(), 1u);
  EXPECT_TRUE(ui.questions[0].starts_with("Данный файл (" + (folder / "bare.lvp").string() +
                                          ") не содержит информации о версии программы"));
  EXPECT_TRUE(ui.questions[0].ends_with("Все равно попытаться считать этот файл?"));
  EXPECT_NE(declined, "no error");
  EXPECT_EQ(project.RootCount(), 0);
  ui.answer = true;
  project.Open(folder / "bare.lvp", ui);
  EXPECT_EQ(project.RootCount(), 1);

  EXPECT_LT(CompareVersions("1.9", "1.10"), 0);
  EXPECT_EQ(CompareVersions("1.0", "1"), 0);
}

TEST_F(ProjectTest, AFailedSaveLeavesTheFileThatWasThere) {
  TLVProject project(variables);
  project.SetKdfLimits({1, 8192});
  EXPECT_EQ(MessageOf([&] { project.Save(); }), "Не указано имя файла");
  Build(project);
  std::filesystem::path file = folder / "keep.lvp";
  project.Save(file);
  std::string before = ReadText(file);
  project.Properties().SetAuthor("другой");
  project.Properties().SetProtected(true);  // without passwords: refused
  EXPECT_EQ(MessageOf([&] { project.Save(); }),
            "Ошибка сохранения проекта\r\nНе указан пароль для проекта.");
  project.Properties().SetPassword(TProjectAccess::paProject, "p");
  EXPECT_EQ(MessageOf([&] { project.Save(); }),
            "Ошибка сохранения проекта\r\nНе указан специальный пароль для Viewer.");
  project.Properties().SetPassword(TProjectAccess::paViewer, "v");
  EXPECT_EQ(MessageOf([&] { project.Save(); }),
            "Ошибка сохранения проекта\r\nНе указан специальный пароль для пакетной обработки.");
  EXPECT_NE(MessageOf([&] { project.Save(folder / "no" / "such" / "dir.lvp"); }), "no error");
  EXPECT_EQ(ReadText(file), before);
  EXPECT_EQ(folder.FileCount(), 1u);  // no temporary file left behind
}

TEST_F(ProjectTest, AProtectedProjectShowsNothingWithoutItsPassword) {
  TLVProject project(variables);
  project.SetKdfLimits({1, 8192});
  Build(project);
  project.Properties().SetProtected(true);
  project.Properties().SetPassword(TProjectAccess::paProject, "главный");
  project.Properties().SetPassword(TProjectAccess::paViewer, "смотреть");
  project.Properties().SetPassword(TProjectAccess::paBatch, "ночью");
  std::filesystem::path file = folder / "secret.lvp";
  project.Save(file);
  EXPECT_EQ(project.Properties().GetPassword(TProjectAccess::paBatch), "");
  std::string bytes = ReadText(file);
  EXPECT_TRUE(bytes.starts_with("LPRJ"));
  for (const char* plain : {"Script", "TestSource", "TestHandler", "Выручка", "out.txt", "Север",
                            "Продажи", "ModelBookmarks"}) {
    EXPECT_EQ(bytes.find(plain), std::string::npos) << plain;
  }
  TProjectSummary summary = PeekProject(file);
  EXPECT_TRUE(summary.isProtected);
  EXPECT_EQ(summary.version, "1.0.0");
  EXPECT_EQ(summary.properties.GetAuthor(), "Аналитик");

  TLVProject reader(otherVariables);
  std::string expectedWrong = "Проект (" + file.string() + ") защищен.\r\nНеверный пароль.";
  ui.password = "угадал?";
  EXPECT_EQ(MessageOf([&] { reader.Open(file, ui); }), expectedWrong);
  EXPECT_EQ(reader.RootCount(), 0);
  EXPECT_EQ(ui.prompts.back(), "Укажите пароль для проекта.");
  ui.password = std::nullopt;
  EXPECT_EQ(MessageOf([&] { reader.Open(file, ui, TProjectOpenMode::pomBatch); }),
            "Проект (" + file.string() + ") защищен.\r\nУкажите пароль для пакетной обработки.");
  ui.password = "смотреть";  // the viewer's password does not run a batch
  EXPECT_EQ(MessageOf([&] { reader.Open(file, ui, TProjectOpenMode::pomBatch); }), expectedWrong);
  ui.password = "ночью";
  reader.Open(file, ui, TProjectOpenMode::pomBatch);
  EXPECT_EQ(reader.NodeCount(), 4);
  EXPECT_EQ(reader.Access(), TProjectAccess::paBatch);
  EXPECT_NE(MessageOf([&] { reader.Save(); }), "no error");

  // Chunks are found by identifier: DATA first, and the first chunk where the header
  // says rather than at 144.
  auto chunk = [&](std::string_view id) {
    std::string_view data = *TProjectFile::FindChunk(bytes, id);
    return std::string(bytes.data() + (data.data() - bytes.data()) - 20, data.size() + 20);
  };
  std::string swapped = bytes.substr(0, 8) + std::string("\x18\0\0\0\0\0\0\0", 8) +
                        std::string(8, '\0') + chunk("DATA") + chunk("LVER");
  WriteText(folder / "swapped.lvp", swapped);
  ui.password = "ночью";
  reader.Open(folder / "swapped.lvp", ui, TProjectOpenMode::pomBatch);
  EXPECT_EQ(reader.NodeCount(), 4);
  EXPECT_EQ(PeekProject(folder / "swapped.lvp").properties.GetAuthor(), "Аналитик");

  // The project's password opens it for editing; saving again keeps every slot.
  ui.password = "главный";
  reader.Open(file, ui);
  reader.Properties().SetDescription("изменено");
  reader.Save(folder / "resaved.lvp");
  ui.password = "ночью";
  TLVProject third(variables);
  third.Open(folder / "resaved.lvp", ui, TProjectOpenMode::pomBatch);
  EXPECT_EQ(third.Properties().GetDescription(), "изменено");
}

TEST_F(ProjectTest, BranchesTravelBetweenNodesWithTheirRefusals) {
  TLVProject project(variables);
  Build(project);
  TModelTreeNode& source = project.Root(0);
  TModelTreeNode& handler = source.Child(0);
  auto& join = static_cast<test::TTestJoin&>(project.AddNode(&handler, "TestJoin").Handler());
  join.SetOther(source.GetID());  // outside the branch that starts at the handler
  std::filesystem::path branch = folder / "branch.lvb";
  project.SaveBranch(handler, branch);

  TModelTreeNode& second = project.AddNode(nullptr, "TestSource");
  TModelTreeNode& loaded = project.LoadBranch(second, branch, ui);
  EXPECT_EQ(loaded.Parent(), &second);
  EXPECT_EQ(loaded.CountWithDescendants(), 3);
  EXPECT_NE(loaded.GetID(), handler.GetID());  // the same branch twice: new identifiers
  EXPECT_TRUE(loaded.Child(1).GetNeedsSetup());
  EXPECT_FALSE(loaded.GetNeedsSetup());
  ASSERT_EQ(ui.warnings.size(), 1u);
  EXPECT_TRUE(ui.warnings[0].starts_with("Загруженная ветвь содержит узлы слияния"));
  // The referenced node exists in this project, so the join can be set up again.
  project.ClearNeedsSetup(loaded.Child(1));
  static_cast<test::TTestJoin&>(loaded.Child(1).Handler()).SetOther("{missing}");
  EXPECT_EQ(MessageOf([&] { project.ClearNeedsSetup(loaded.Child(1)); }),
            "Для этого узла невозможно выполнить перенастройку.");

  TModelTreeNode& exportNode = source.Child(1);
  EXPECT_EQ(MessageOf([&] { project.LoadBranch(exportNode, branch, ui); }),
            "Невозможно добавить ветвь сценария (" + branch.string() +
                ") к этому узлу \"[TestExportCaption]\". \r\nЭту ветвь можно добавить только к "
                "узлу импорта или обработчика.\r\nОперация \"Загрузить ветвь\" прервана.");
  WriteText(folder / "empty.lvb", "<Lumivera><Version Version=\"1\"/></Lumivera>");
  EXPECT_EQ(MessageOf([&] { project.LoadBranch(second, folder / "empty.lvb", ui); }),
            "Данный файл (" + (folder / "empty.lvb").string() +
                ") не содержит необходимую информацию.\r\nОперация \"Загрузить ветвь\" "
                "прервана.");
  EXPECT_EQ(second.ChildCount(), 1);
  // A branch file that names one identifier twice is refused and adds nothing.
  WriteText(folder / "twice.lvb",
            "<Lumivera><Version Version=\"1\"/><Script><Node Vendor=\"TestHandler\" ID=\"{B}\">"
            "<Node Vendor=\"TestExport\" ID=\"{B}\"/></Node></Script></Lumivera>");
  std::string twice = MessageOf([&] { project.LoadBranch(second, folder / "twice.lvb", ui); });
  EXPECT_NE(twice.find("Идентификатор узла {B} встречается в файле более одного раза"),
            std::string::npos)
      << twice;
  EXPECT_EQ(second.ChildCount(), 1);

  // Moving and closing ask first.
  ui.answer = false;
  EXPECT_FALSE(project.MoveBranch(loaded, nullptr, ui));
  EXPECT_EQ(ui.questions.back(), "Переместить ветвь, начиная с узла \"[TestHandlerCaption]\"?");
  EXPECT_THROW(project.MoveBranch(source, &handler, ui), ELVError);
  ui.answer = true;
  EXPECT_TRUE(project.MoveBranch(loaded, &source, ui));
  EXPECT_EQ(source.ChildCount(), 3);
  EXPECT_TRUE(project.CloseNode(source, ui));
  EXPECT_EQ(ui.questions.back(), "Закрыть узел \"Продажи\" и все его подузлы?");
  EXPECT_EQ(project.NodeCount(), 1);
}

}  // namespace
}  // namespace lv
