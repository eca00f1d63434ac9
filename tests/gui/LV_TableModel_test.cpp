#include "gui/LV_TableModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>

#include "gui/LV_GuiTestKinds.h"

namespace lv {
namespace {

using test::TGuiRows;

std::shared_ptr<TGuiRows> Rows(int32_t count) {
  auto source = std::make_shared<TGuiRows>();
  source->SetRows(count);
  return source;
}

QString Cell(const TLVTableModel& model, int row, int column) {
  return model.data(model.index(row, column)).toString();
}

TEST(TableModel, ReadsOnlyTheBlocksOfTheRowsShown) {
  constexpr int kRows = 10'000'000;
  TLVTableModel model;
  model.SetSource(Rows(kRows));
  EXPECT_EQ(model.rowCount(), kRows);
  EXPECT_EQ(model.columnCount(), 3);
  EXPECT_EQ(model.BlockReads(), 0);

  // The last rows: one block read, whatever lies before them.
  const int lastBlock = (kRows - 1) - (kRows - 1) % kLVBlockSize;
  EXPECT_EQ(Cell(model, kRows - 1, 0), QStringLiteral("9999999"));
  for (int row = lastBlock; row < kRows; ++row) {
    EXPECT_EQ(Cell(model, row, 0), QString::number(row));
  }
  EXPECT_EQ(model.BlockReads(), 1);
  // Each column is its own block read; rows read before come from the cache.
  EXPECT_EQ(Cell(model, kRows - 1, 1), QString::fromUtf8(TGuiRows::kNames[(kRows - 1) % 4]));
  EXPECT_EQ(model.BlockReads(), 2);
  EXPECT_EQ(Cell(model, 0, 0), QStringLiteral("0"));
  EXPECT_EQ(model.BlockReads(), 3);
}

TEST(TableModel, ForgetsTheLeastRecentlyUsedBlocks) {
  const int blocks = static_cast<int>(TLVTableModel::kCachedBlocks) + 1;
  TLVTableModel model;
  model.SetSource(Rows(blocks * kLVBlockSize));
  for (int b = 0; b < blocks; ++b) Cell(model, b * kLVBlockSize, 0);
  EXPECT_EQ(model.BlockReads(), blocks);
  // The last block is still there; the first one had to make room.
  Cell(model, (blocks - 1) * kLVBlockSize, 0);
  EXPECT_EQ(model.BlockReads(), blocks);
  Cell(model, 0, 0);
  EXPECT_EQ(model.BlockReads(), blocks + 1);
}

TEST(TableModel, ShowsMissingValuesAndColumnDescriptions) {
  TLVTableModel model;
  QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
  model.SetSource(Rows(7));
  EXPECT_TRUE(model.data(model.index(3, 2), TLVTableModel::kIsNullRole).toBool());
  EXPECT_EQ(Cell(model, 3, 2), QString::fromUtf8("(пусто)"));
  EXPECT_FALSE(model.data(model.index(4, 2), TLVTableModel::kIsNullRole).toBool());
  EXPECT_EQ(Cell(model, 4, 2), QStringLiteral("4"));
  EXPECT_FALSE(model.data(model.index(4, 2), Qt::ForegroundRole).isValid());
  EXPECT_TRUE(model.data(model.index(3, 2), Qt::ForegroundRole).isValid());

  EXPECT_EQ(model.headerData(1, Qt::Horizontal).toString(), QStringLiteral("name"));
  const QString hint = model.headerData(0, Qt::Horizontal, Qt::ToolTipRole).toString();
  EXPECT_TRUE(hint.contains(QString::fromUtf8("Целый"))) << hint.toStdString();
  EXPECT_EQ(model.headerData(0, Qt::Vertical).toInt(), 1);

  model.SetSource(nullptr);
  EXPECT_EQ(model.rowCount(), 0);
  EXPECT_EQ(model.columnCount(), 0);
}

TEST(TableModel, SortsTheViewByAColumnWithoutChangingTheSource) {
  TLVTableModel model;
  QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
  auto source = Rows(8);
  model.SetSource(source);

  // Russian order, case aside: а, Б, Ё, я; equal names keep their source order.
  model.sort(1, Qt::AscendingOrder);
  const char* expected[] = {"арбуз", "арбуз", "Береза", "Береза", "Ёж", "Ёж", "яблоко", "яблоко"};
  for (int row = 0; row < 8; ++row)
    EXPECT_EQ(Cell(model, row, 1), QString::fromUtf8(expected[row]));
  EXPECT_EQ(Cell(model, 0, 0), QStringLiteral("2"));
  EXPECT_EQ(Cell(model, 1, 0), QStringLiteral("6"));

  // Numbers as numbers, missing values first when ascending and last when descending.
  model.sort(2, Qt::AscendingOrder);
  EXPECT_EQ(Cell(model, 0, 0), QStringLiteral("0"));
  EXPECT_EQ(Cell(model, 1, 0), QStringLiteral("3"));
  EXPECT_EQ(Cell(model, 2, 0), QStringLiteral("6"));
  EXPECT_EQ(Cell(model, 3, 2), QStringLiteral("1"));
  model.sort(2, Qt::DescendingOrder);
  EXPECT_EQ(Cell(model, 0, 2), QStringLiteral("7"));
  EXPECT_EQ(Cell(model, 1, 2), QStringLiteral("5"));
  EXPECT_TRUE(model.data(model.index(7, 2), TLVTableModel::kIsNullRole).toBool());

  model.sort(-1);
  for (int row = 0; row < 8; ++row) EXPECT_EQ(Cell(model, row, 0), QString::number(row));
  EXPECT_EQ(source->GetValue(2, 1).AsText(), "арбуз");
}

}  // namespace
}  // namespace lv
