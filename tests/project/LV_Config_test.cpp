#include "project/LV_Config.h"

#include <gtest/gtest.h>

#include <string>

#include "core/text/LV_Errors.h"
#include "project/LV_ConfigConvert.h"
#include "project/LV_ConfigXML.h"
#include "project/LV_ProjectTestHelpers.h"
#include "project/LV_ProjectTestKinds.h"

namespace lv {
namespace {

using test::KeyOf;
using test::MessageOf;

std::unique_ptr<TLVConfig> XmlConfig(std::string_view root = "Lumivera") {
  auto config = std::make_unique<TLVConfig>(root);
  config->SetVendor(LVXMLConfigVendor());
  return config;
}

TEST(Config, NamesOccurOncePerNodeExceptItemsOfOneList) {
  TLVConfig config;
  TLVConfigNode& root = config.Root();
  root.Params().Add("Author", "Иванов");
  EXPECT_EQ(KeyOf([&] { root.Params().Add("Author", "x"); }), "ErrParameterAlreadyExist");
  root.Params().Set("Author", "Петров");
  EXPECT_EQ(root.Params().ReadString("Author"), "Петров");
  EXPECT_EQ(root.Params().Count(), 1);

  root.Nodes().Add("Script");
  EXPECT_EQ(MessageOf([&] { root.Nodes().Add("Script"); }),
            "Узел конфигурации \"Script\" уже существует");
  root.Nodes().AddItem("Node");
  root.Nodes().AddItem("Node");
  EXPECT_EQ(root.Nodes().FindAll("Node").size(), 2u);
  EXPECT_EQ(KeyOf([&] { root.Nodes().AddItem("Script"); }), "ErrConfigNodeAlreadyExist");
  EXPECT_EQ(KeyOf([&] { root.Nodes().Add("Node"); }), "ErrConfigNodeAlreadyExist");
  // A section asked for by name must be single.
  EXPECT_EQ(KeyOf([&] { root.Nodes().FindSection("Node"); }), "ErrConfigNodeAlreadyExist");
  EXPECT_NE(root.Nodes().FindSection("Script"), nullptr);

  for (const char* bad : {"", "1st", "has space", "Имя", "a:b"}) {
    EXPECT_EQ(KeyOf([&] { root.Params().Add(bad, ""); }), "ErrConfigBadName") << bad;
    EXPECT_EQ(KeyOf([&] { root.Nodes().Add(bad); }), "ErrConfigBadName") << bad;
  }
}

TEST(Config, TypedReadingChecksEveryKind) {
  TLVConfigParamList params;
  params.Add("Sep", ";");
  params.Add("Two", ";;");
  params.Add("Count", "42");
  params.Add("Bad", "12x");
  params.Add("Byte", "255");
  params.Add("Big", "256");
  params.Add("Negative", "-1");
  params.Add("Rate", "2.5");
  params.Add("Flag", "True");
  EXPECT_EQ(params.ReadChar("Sep"), ';');
  EXPECT_EQ(MessageOf([&] { params.ReadChar("Two"); }),
            "Строка \";;\" не является одиночным символом");
  EXPECT_EQ(params.ReadChar("Missing", '\t'), '\t');
  EXPECT_EQ(params.ReadInteger("Count"), 42);
  EXPECT_EQ(MessageOf([&] { params.ReadInteger("Bad"); }),
            "Строка \"12x\" не является правильный представлением целого числа");
  EXPECT_EQ(params.ReadByte("Byte"), 255);
  EXPECT_EQ(MessageOf([&] { params.ReadByte("Big"); }), "Значение 256 не является байтом");
  EXPECT_EQ(KeyOf([&] { params.ReadByte("Negative"); }), "ErrIsNotValidByteValue");
  EXPECT_EQ(KeyOf([&] { params.ReadByte("Bad"); }), "ErrInvalidInteger");
  EXPECT_EQ(MessageOf([&] { params.ReadString("Missing"); }), "Свойство \"Missing\" не найдено");
  EXPECT_EQ(params.ReadValue("Rate", TLVDataType::dtFloat).AsDouble(), 2.5);
  EXPECT_TRUE(params.ReadValue("Flag", TLVDataType::dtBoolean).AsBoolean());
  EXPECT_TRUE(params.ReadValue("Missing", TLVDataType::dtInteger).IsNull());
  EXPECT_EQ(KeyOf([&] { params.ReadValue("Rate", TLVDataType::dtNone); }),
            "ErrUnsupportedPropertyType");
  EXPECT_EQ(KeyOf([&] { params.Rename("Missing", "Other"); }), "ErrPropretyNotFound");
  EXPECT_EQ(KeyOf([&] { params.Rename("Sep", "Count"); }), "ErrParameterAlreadyExist");
  params.Rename("Sep", "Separator");
  EXPECT_EQ(params.Name(0), "Separator");
}

TEST(Config, GuardedTreesRefuseChanges) {
  TLVConfig config;
  TLVConfigNode& child = config.Root().Nodes().Add("Section");
  {
    auto held = child.ParamsRef();
    EXPECT_EQ(MessageOf([&] { config.Root().Nodes().Delete(0); }),
              "Невозможно удалить список атрибутов из-за наличия на него интерфейсных ссылок: 1");
  }
  TLVConfigNode& inner = child.Nodes().Add("Inner");
  EXPECT_EQ(KeyOf([&] { inner.Nodes().AddCopy(child); }), "ErrWrongSubNodesClass");
  config.Root().Nodes().AddCopy(inner);
  EXPECT_EQ(config.Root().Nodes().Count(), 2);
  config.SetReadOnly(true);
  EXPECT_EQ(MessageOf([&] { child.Params().Add("A", "1"); }),
            "Свойство \"A\" не может быть записано");
  EXPECT_EQ(KeyOf([&] { child.Nodes().Add("B"); }), "ErrPropretyCanNotBeWriten");
  config.SetReadOnly(false);
  config.Root().Nodes().Delete(0);
  EXPECT_EQ(config.Root().Nodes().Count(), 1);
}

TEST(Config, VendorsAreRegisteredOnceAndFoundByName) {
  TLVConfig bare;
  EXPECT_EQ(KeyOf([&] { (void)bare.SaveToString(); }), "ErrConfigSaveVendorNotAssigned");
  TLVConfigVendorList list;
  RegisterConfigXMLVendor(list);
  EXPECT_EQ(MessageOf([&] { list.Add(std::make_shared<TLVXMLConfig>()); }),
            "Поставщик услуг сохранения конфигурации \"XML\" уже зарегистрирован");
  EXPECT_EQ(list.Get("xml")->GetName(), "XML");
  EXPECT_EQ(MessageOf([&] { list.Get("JSON"); }),
            "Поставщик услуг сохранения конфигурации \"JSON\" не найден");
}

TEST(ConfigXML, EveryValueReadsBackExactly) {
  auto configHolder = XmlConfig();
  TLVConfig& config = *configHolder;
  TLVConfigNode& node = config.Root().Nodes().Add("Values");
  const std::string values[] = {"",
                                "  leading and trailing  ",
                                "two\r\nlines\nand\ttab",
                                "<&>\"'",
                                "Продажи за 2024 год; ёЁ",
                                std::string("control\x01\x1f"),
                                "%APPDIR%/данные.csv"};
  for (size_t i = 0; i < std::size(values); ++i) {
    node.Params().Add("V" + std::to_string(i), values[i]);
  }
  TLVConfigNode& list = config.Root().Nodes().Add("List");
  for (int i = 0; i < 3; ++i) list.Nodes().AddItem("Item").Params().Add("N", std::to_string(i));
  std::string xml = config.SaveToString();
  EXPECT_TRUE(xml.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"));

  auto copyHolder = XmlConfig();
  TLVConfig& copy = *copyHolder;
  copy.LoadFromString(xml);
  const TLVConfigNode* read = copy.Root().Nodes().FindSection("Values");
  ASSERT_NE(read, nullptr);
  for (size_t i = 0; i < std::size(values); ++i) {
    EXPECT_EQ(read->Params().ReadString("V" + std::to_string(i)), values[i]) << i;
  }
  auto items = copy.Root().Nodes().FindSection("List")->Nodes().FindAll("Item");
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[2]->Params().ReadString("N"), "2");
  EXPECT_EQ(copy.SaveToString(), xml);
}

TEST(ConfigXML, MalformedDocumentsAreRefusedAndLeaveNothing) {
  auto configHolder = XmlConfig();
  TLVConfig& config = *configHolder;
  auto keyOf = [&](const std::string& text) { return KeyOf([&] { config.LoadFromString(text); }); };
  EXPECT_EQ(keyOf("<Lumivera><Script></Lumivera>"), "ErrConfigXmlParse");
  EXPECT_EQ(keyOf(""), "ErrConfigXmlParse");
  EXPECT_EQ(keyOf("<Other/>"), "ErrConfigXmlRoot");
  // The parser's verdict in Russian.
  auto messageOf = [&](const std::string& text) {
    return MessageOf([&] { config.LoadFromString(text); });
  };
  EXPECT_EQ(messageOf("<Lumivera><Script></Lumivera>"),
            "Ошибка разбора XML в позиции 21: закрывающий тег не соответствует открывающему");
  EXPECT_EQ(messageOf(""), "Ошибка разбора XML в позиции 1: в документе нет корневого элемента");
  EXPECT_EQ(messageOf("<Lumivera A=1/>"), "Ошибка разбора XML в позиции 13: ошибка в атрибуте");
  EXPECT_EQ(keyOf("<Lumivera A=\"1\" A=\"2\"/>"), "ErrParameterAlreadyExist");
  std::string deep;
  for (int i = 0; i < 300; ++i) deep += "<N>";
  for (int i = 0; i < 300; ++i) deep += "</N>";
  EXPECT_EQ(keyOf("<Lumivera>" + deep + "</Lumivera>"), "ErrConfigXmlDepth");
  EXPECT_EQ(config.Root().Nodes().Count(), 0);
  EXPECT_EQ(config.Root().Params().Count(), 0);
  // Comments, text and a byte-order mark are no obstacle.
  config.LoadFromString("\xEF\xBB\xBF<!-- note --><Lumivera>text<Script X=\"1\"/></Lumivera>");
  EXPECT_EQ(config.Root().Nodes().Count(), 1);
}

TEST(ConfigConvert, ElementsAreUpgradedStepByStepOrRefused) {
  TLVConfigConvertVendorList converters;
  converters.Add(std::make_shared<TLVConfigConvertFunction>(
      "TNode", 1, 2, [](TLVConfigNode& e) { e.Params().Rename("Old", "Mid"); }));
  converters.Add(std::make_shared<TLVConfigConvertFunction>(
      "TNode", 2, 4, [](TLVConfigNode& e) { e.Params().Rename("Mid", "New"); }));
  converters.Add(std::make_shared<TLVConfigConvertFunction>(
      "TNode", 2, 3, [](TLVConfigNode&) { FAIL() << "the longer step is taken"; }));
  EXPECT_EQ(KeyOf([&] {
              converters.Add(
                  std::make_shared<TLVConfigConvertFunction>("TNode", 1, 2, [](TLVConfigNode&) {}));
            }),
            "ErrVendorNameTaken");

  TLVConfig config;
  TLVConfigNode& element = config.Root();
  element.Params().Add("Old", "7");  // no ClassVersion: version 1
  UpgradeElement(element, "TNode", 4, converters);
  EXPECT_EQ(element.Params().ReadString("New"), "7");
  EXPECT_EQ(ElementVersion(element), 4);
  UpgradeElement(element, "TNode", 4, converters);  // current: nothing to do

  element.Params().WriteInteger(kClassVersionParam, 5);
  EXPECT_EQ(MessageOf([&] { UpgradeElement(element, "TNode", 4, converters); }),
            "Параметры сохраненного элемента имеют большую версию 5, чем текущий элемент 4 "
            "класса TNode");
  element.Params().WriteInteger(kClassVersionParam, 1);
  EXPECT_EQ(MessageOf([&] { UpgradeElement(element, "TOther", 3, converters); }),
            "Не найден конвертер для класса TOther из версии 1 в версию 3");
}

TEST(ConfigSections, CollectionsPersistGenericallyThroughTheTables) {
  test::TTestHandler handler;
  handler.SetScale(5);
  auto& first = handler.Items().AddNew();
  first.SetName("Выручка");
  first.SetWeight(3);
  first.SetStatus(TLVDataStatus::dsOutput);
  handler.Items().AddNew().SetName("Дата");

  auto configHolder = XmlConfig();
  TLVConfig& config = *configHolder;
  SaveComponentSettings(handler, config.Root());
  std::string xml = config.SaveToString();
  EXPECT_NE(xml.find("<Item Name=\"Выручка\" Weight=\"3\" Status=\"dsOutput\" />"),
            std::string::npos)
      << xml;

  auto readHolder = XmlConfig();
  TLVConfig& read = *readHolder;
  read.LoadFromString(xml);
  test::TTestHandler copy;
  copy.Items().AddNew().SetName("лишний");
  LoadComponentSettings(copy, read.Root());
  ASSERT_EQ(copy.Items().Count(), 2);
  EXPECT_EQ(copy.Items()[0].GetName(), "Выручка");
  EXPECT_EQ(copy.Items()[0].GetStatus(), TLVDataStatus::dsOutput);
  EXPECT_EQ(copy.Items()[1].GetWeight(), 1);
  EXPECT_EQ(copy.GetScale(), 5);

  // No section: the defaults, an empty list.
  TLVConfig empty;
  test::TTestHandler defaults;
  defaults.Items().AddNew();
  test::TTestHandler::Properties().Load(defaults, empty.Root());
  EXPECT_EQ(defaults.Items().Count(), 0);

  // An item of a foreign class cannot be written with the item table.
  class TForeign : public TLVCollectionItem {};
  test::TTestHandler odd;
  odd.Items().Add(std::make_shared<TForeign>());
  TLVConfig target;
  EXPECT_EQ(MessageOf([&] { test::TTestHandler::Properties().Save(odd, target.Root()); }),
            "Ссылка на коллекцию не проинициализирована или неверного класса");
}

}  // namespace
}  // namespace lv

namespace lv {
namespace {

TEST(ConfigSections, WhatNothingReadIsListed) {
  auto config = std::make_unique<TLVConfig>();
  config->SetVendor(LVXMLConfigVendor());
  config->LoadFromString(
      R"(<Lumivera><Handler ClassVersion="2" Scale="4" Scael="5"><Items><Item Name="a" Wieght="2"/>)"
      R"(<Column Name="b"/></Items><Extra><Deep X="1"/></Extra></Handler>)"
      R"(<Report><Any A="1"/></Report><Node/></Lumivera>)");
  test::TTestHandler handler;
  TLVConfigNode& root = config->Root();
  LoadComponentSettings(handler, *root.Nodes().FindSection("Handler"));
  EXPECT_EQ(handler.GetScale(), 4);
  // An unread section is named once, a read one is looked into; "Node" is skipped.
  EXPECT_EQ(root.UnusedNames("Node"),
            (std::vector<std::string>{"Handler/Scael", "Handler/Items/Item/Wieght",
                                      "Handler/Items/Column", "Handler/Extra", "Report"}));
  root.Nodes().FindSection("Report")->MarkUsed(false);
  EXPECT_EQ(root.UnusedNames("Node").back(), "Report/Any");
  root.Nodes().FindSection("Report")->MarkUsed(true);
  EXPECT_EQ(root.UnusedNames("Node").back(), "Handler/Extra");
  EXPECT_EQ(root.UnusedNames().back(), "Node");
  // Checks made while writing do not count as reading.
  TLVConfig written;
  written.Root().Params().Add("A", "1");
  written.Root().Params().Set("A", "2");
  EXPECT_EQ(written.Root().UnusedNames(), std::vector<std::string>{"A"});
}

}  // namespace
}  // namespace lv
