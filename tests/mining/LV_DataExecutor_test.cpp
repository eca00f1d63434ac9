#include "mining/executors/LV_DataExecutor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "LV_MiningTestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"

namespace lv {
namespace {

using test::ErrorKey;
using test::ErrorText;
using T = TLVExecutorColumnType;

// Outputs its first input component unchanged.
class TEchoKernel : public TLVAnalyticKernel {
 public:
  std::string_view KernelName() const override { return "TEchoKernel"; }
  std::unique_ptr<TLVAnalyticKernel> Clone() const override {
    return std::make_unique<TEchoKernel>(*this);
  }
  void Compute(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
               ptrdiff_t ldOut) const override {
    for (TLVRowIndex i = 0; i < rows; ++i) out[i] = in[i];
    (void)ldIn;
    (void)ldOut;
  }
  void MarkTrained() { SetTrained(true); }

 protected:
  void DoInit() override {}
  void SaveState(ILVSettingsSection&) const override {}
  void LoadState(const ILVSettingsSection&) override {}
};

struct TFixture {
  TFixture() {
    std::vector<std::vector<TLVValue>> rows;
    for (int i = 0; i < 7; ++i) {
      rows.push_back({TLVValue::Float(i), TLVValue::Float(i == 3 ? 9 : i),
                      TLVValue::String("n" + std::to_string(i)), TLVValue::Float(-i)});
    }
    rows[5][1] = TLVValue::Null(TLVDataType::dtFloat);
    table = std::make_shared<test::TTestTable>(
        std::vector<test::TTestTable::TColumn>{{"x", TLVDataType::dtFloat},
                                               {"y", TLVDataType::dtFloat},
                                               {"name", TLVDataType::dtString},
                                               {"off", TLVDataType::dtFloat}},
        std::move(rows));
    tuned->SetDataSource(table);
    tuned->Columns()[0].SetDataStatus(TLVDataStatus::dsInput);
    tuned->Columns()[1].SetDataStatus(TLVDataStatus::dsOutput);
    tuned->Columns()[2].SetDataStatus(TLVDataStatus::dsInfo);
    tuned->Columns()[3].SetDataStatus(TLVDataStatus::dsUnUsable);
    tuned->PrepareNormalizers();
    kernel->InitKernel({"x"}, 1, {"y"}, 1);
    kernel->MarkTrained();
    executor->SetTunedNormDataSource(tuned);
    executor->SetKernel(kernel);
  }
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (int32_t i = 0; i < executor->Columns().Count(); ++i) {
      names.push_back(executor->Columns()[i].GetName());
    }
    return names;
  }

  std::shared_ptr<test::TTestTable> table;
  std::shared_ptr<TLVTunedNormDataSource> tuned = std::make_shared<TLVTunedNormDataSource>();
  std::shared_ptr<TEchoKernel> kernel = std::make_shared<TEchoKernel>();
  std::shared_ptr<TLVDataExecutor> executor = std::make_shared<TLVDataExecutor>();
};

TEST(DataExecutor, AddsResultAndErrorColumnsWithTheirRoles) {
  TFixture f;
  EXPECT_EQ(f.Names(), (std::vector<std::string>{"x", "y", "name", "y_OUT", "y_ERR"}));
  EXPECT_EQ(f.executor->ColumnTypes(),
            (std::vector<T>{T::ectInput, T::ectPattern, T::ectInfo, T::ectCalculate, T::ectError}));
  EXPECT_EQ(f.executor->OutputColumnIndexes(), std::vector<int32_t>{1});
  EXPECT_EQ(f.executor->CalculateColumnIndexes(), std::vector<int32_t>{3});
  EXPECT_EQ(f.executor->ErrorColumnIndexes(), std::vector<int32_t>{4});

  ASSERT_EQ(f.executor->GetRowCount(), 7);
  for (TLVRowIndex row = 0; row < 7; ++row) {
    EXPECT_DOUBLE_EQ(f.executor->GetNumber(row, 3), static_cast<double>(row)) << row;
    EXPECT_EQ(f.executor->GetValue(row, 2).AsText(), "n" + std::to_string(row));
  }
  // The error divides by the width of y's range (0..9) and is null without a target.
  EXPECT_DOUBLE_EQ(f.executor->GetNumber(3, 4), (6.0 / 9) * (6.0 / 9));
  EXPECT_DOUBLE_EQ(f.executor->GetNumber(2, 4), 0.0);
  EXPECT_TRUE(f.executor->IsNull(5, 4));

  f.executor->SetReplaceOutputs(true);
  f.executor->SetAddError(false);
  EXPECT_EQ(f.Names(), (std::vector<std::string>{"x", "y", "name"}));
  EXPECT_EQ(f.executor->ColumnTypes()[1], T::ectOutput);
  EXPECT_DOUBLE_EQ(f.executor->GetNumber(3, 1), 3.0);

  f.executor->SetUnUsableDataStatus({TLVDataStatus::dsInfo});
  EXPECT_EQ(f.Names(), (std::vector<std::string>{"x", "y", "off"}));
}

TEST(DataExecutor, OpenChecksTheKernelSuffixesAndColumns) {
  TFixture f;
  EXPECT_EQ(ErrorText([&] { f.executor->SetOutputPostfix("_a b"); }),
            "Постфикс \"_a b\" не является правильным идентификатором");
  EXPECT_EQ(f.executor->GetOutputPostfix(), "_OUT");
  f.executor->SetOutputPostfix("_прогноз");
  EXPECT_EQ(f.Names()[3], "y_прогноз");

  f.tuned->Columns()[1].SetDataStatus(TLVDataStatus::dsKey);
  EXPECT_EQ(ErrorText([&] { f.executor->Open(); }),
            "Столбец \"y\" с назначением \"Ключ\" не может быть результирующим столбцом при "
            "прямом проходе");
  f.tuned->Columns()[1].SetDataStatus(TLVDataStatus::dsOutput);
  f.kernel->InitKernel({"z"}, 1, {"y"}, 1);
  EXPECT_EQ(ErrorText([&] { f.executor->Open(); }),
            "Столбец с именем \"z\" должен существовать в настраиваемом ИД");
  f.executor->SetKernel(nullptr);
  EXPECT_EQ(ErrorKey([&] { f.executor->Open(); }), "ErrNoKernel");
  EXPECT_EQ(f.Names().size(), 3u);

  // An untrained kernel gives null results rather than numbers it never learnt.
  f.kernel->InitKernel({"x"}, 1, {"y"}, 1);
  f.executor->SetKernel(f.kernel);
  EXPECT_TRUE(f.executor->IsNull(0, 3));
}

TEST(DataExecutor, SettingsPersist) {
  TFixture f;
  f.executor->SetReplaceOutputs(true);
  f.executor->SetErrorPostfix("_E");
  f.executor->SetUnUsableDataStatus({TLVDataStatus::dsUnUsable, TLVDataStatus::dsInfo});
  test::TMapSection section;
  f.executor->SaveSettingsTo(section);
  EXPECT_EQ(section.Get("UnUsableDataStatus"), "dsUnUsable,dsInfo");
  TFixture g;
  g.executor->LoadSettingsFrom(section);
  EXPECT_EQ(g.Names(), (std::vector<std::string>{"x", "y", "y_E"}));
  section.Put("OutputPostfix", "");
  EXPECT_THROW(g.executor->LoadSettingsFrom(section), ELVError);
  EXPECT_TRUE(g.executor->GetReplaceOutputs());
}

}  // namespace
}  // namespace lv
