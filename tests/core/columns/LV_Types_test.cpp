#include <gtest/gtest.h>

#include "core/columns/LV_Types.h"

namespace lv {
namespace {

TEST(Types, DisplayTextsFollowValueOrder) {
  EXPECT_EQ(Caption<TLVDataType>(), "Тип данных");
  std::vector<std::string> types;
  for (size_t i = 0; i < EnumCount<TLVDataType>(); ++i) {
    types.push_back(DisplayText(static_cast<TLVDataType>(i)));
  }
  EXPECT_EQ(types, (std::vector<std::string>{"Неопределенный", "Логический", "Дата/Время",
                                             "Вещественный", "Целый", "Строковый"}));
  EXPECT_EQ(Caption<TLVDataStatus>(), "Назначение");
  EXPECT_EQ(DisplayText(TLVDataStatus::dsItemID), "Элемент");
  EXPECT_EQ(DisplayText(TLVStatInfoType::sitStdDev), "Стандартное откл.");
  EXPECT_EQ(DisplayText(TLVColumnInfoType::citIndex), "№");
  EXPECT_EQ(DisplayText(TLVDataSourceTypeEx::dsteAll), "Все вместе");
  EXPECT_EQ(DisplayText(TLVJoinDataType::jdtFullJoin), "Полное внешнее соединение");
  EXPECT_EQ(Caption<TLVTableShowAsType>(), "Тип отображаемой информации в ячейках таблицы");
}

TEST(Types, ValueNamesRoundTripAndUnknownNamesAreRejected) {
  for (const TLVEnumDescriptor* d : AllEnumDescriptors()) {
    for (size_t i = 0; i < d->valueNames.size(); ++i) {
      EXPECT_FALSE(d->valueNames[i].empty()) << d->typeName;
      // Every enumeration with texts has one per value.
      if (d->hasDisplayTexts) {
        EXPECT_NE(EnumDisplayText(*d, i).front(), '[') << d->DisplayTextKey(i);
      }
    }
  }
  EXPECT_EQ(EnumFromName<TLVDataStatus>("dsTransactionID"), TLVDataStatus::dsTransactionID);
  EXPECT_EQ(EnumFromName<TLVDataStatus>("dsinput"), std::nullopt);
  EXPECT_EQ(ValueName(TLVStringComparisonType::sctEquality), "sctEquality");
  // Enumerations without display texts show their value names.
  EXPECT_EQ(DisplayText(TLVSortOrder::soCustom), "soCustom");
}

TEST(Types, ColumnInfoTypeSets) {
  TLVColumnInfoTypes editable{TLVColumnInfoType::citDataStatus};
  EXPECT_TRUE(editable.Contains(TLVColumnInfoType::citDataStatus));
  EXPECT_FALSE(editable.Contains(TLVColumnInfoType::citDataType));
  editable.Include(TLVColumnInfoType::citID);
  editable.Exclude(TLVColumnInfoType::citDataStatus);
  EXPECT_EQ(editable, TLVColumnInfoTypes{TLVColumnInfoType::citID});
}

}  // namespace
}  // namespace lv
