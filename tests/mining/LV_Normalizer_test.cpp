#include "mining/normalizers/LV_Normalizer.h"

#include <gtest/gtest.h>

#include "LV_TestHelpers.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "LV_MiningTestHelpers.h"
#include "core/LV_TestSection.h"
#include "core/text/LV_Errors.h"
#include "mining/normalizers/LV_BaseCategoryNormalizer.h"
#include "mining/normalizers/LV_BitMaskNormalizer.h"
#include "mining/normalizers/LV_LinearNormalizer.h"
#include "mining/normalizers/LV_NormalizerVendor.h"
#include "mining/normalizers/LV_UniqueValuesNormalizer.h"

namespace lv {
namespace {

using test::Letters;
using test::NumberColumn;
using test::TextColumn;

using test::ErrorKey;
using test::ErrorText;

std::vector<std::string> ApplicableNames(const ILVColumnInfo& column) {
  std::vector<std::string> names;
  for (const auto& vendor : LVNormalizers().ApplicableTo(column)) {
    names.emplace_back(vendor->GetName());
  }
  return names;
}

TEST(NormalizerVendors, ApplicabilityFollowsTheStatistics) {
  // A constant column is singular, never linear; so is a column of nulls only.
  EXPECT_EQ(ApplicableNames(*NumberColumn("x", 1, 5)),
            std::vector<std::string>{"TLVLinearNormalizer"});
  EXPECT_EQ(ApplicableNames(*NumberColumn("x", 3, 3)),
            std::vector<std::string>{"TLVSingularContinuesNormalizer"});
  auto nulls = NumberColumn("x", LVMissing(), LVMissing(), 10);
  EXPECT_EQ(ApplicableNames(*nulls), std::vector<std::string>{"TLVSingularContinuesNormalizer"});
  EXPECT_THROW(TLVLinearNormalizer().SetColumn(*NumberColumn("x", 3, 3)), ELVError);

  EXPECT_EQ(ApplicableNames(*TextColumn("c", Letters(3))),
            (std::vector<std::string>{"TLVUniqueValuesNormalizer", "TLVBitMaskNormalizer",
                                      "TLVBaseCategoryNormalizer", "TLVOrderNumberNormalizer"}));
  EXPECT_EQ(ApplicableNames(*TextColumn("c", Letters(3), 1)),
            std::vector<std::string>{"TLVOrderNumberNormalizer"});

  // The limit of unique values bounds the base category only; negative lifts it.
  SetLVUniqueValuesLimit(2);
  EXPECT_EQ(ApplicableNames(*TextColumn("c", Letters(3))).size(), 3u);
  EXPECT_EQ(ApplicableNames(*TextColumn("c", Letters(2))).size(), 4u);
  SetLVUniqueValuesLimit(-1);
  EXPECT_EQ(ApplicableNames(*TextColumn("c", Letters(300))).size(), 4u);
  SetLVUniqueValuesLimit(100);

  // Without statistics nothing can be worked out: only the unusable normalizer.
  TLVColumnInfo bare;
  bare.SetDataType(TLVDataType::dtFloat);
  bare.SetDataKind(TLVDataKind::dkContinuous);
  EXPECT_EQ(ApplicableNames(bare), std::vector<std::string>{"TLVUnUsableColumnNormalizer"});
  auto unusable = LVNormalizers().Create("TLVUnUsableColumnNormalizer");
  EXPECT_EQ(unusable->OutputWidth(), 0);
  EXPECT_EQ(ErrorKey([&] { unusable->Normalize(TLVValue::Float(1)); }), "ErrNormalizeToFloat");
  EXPECT_EQ(ErrorKey([&] { unusable->Denormalize(0); }), "ErrDenormalizeFloat");
  EXPECT_EQ(ErrorKey([&] { unusable->NormColumns(); }), "ErrNormColumnsNotCreated");

  const auto linear = LVNormalizers().Get("TLVLinearNormalizer");
  EXPECT_EQ(linear->Caption(), "Линейный");
  EXPECT_EQ(LVNormalizers().Get("TLVOrderNumberNormalizer")->Caption(), "Уникальные значения");
}

TEST(LinearNormalizer, MapsThroughTheHelperFromTheSourceRange) {
  TLVLinearNormalizer n;
  n.SetColumn(*NumberColumn("x", 10, 20));
  EXPECT_EQ(n.NormColumns().Count(), 1);
  EXPECT_EQ(n.NormColumns()[0].GetName(), "x");
  // Without the helper the value goes through as a real.
  EXPECT_DOUBLE_EQ(n.Normalize(TLVValue::Integer(12)), 12.0);

  n.SetExpandRange(true);
  EXPECT_TRUE(n.Helper()->GetEnabled());
  EXPECT_EQ(n.SourceRange(), (std::pair<double, double>{10, 20}));
  EXPECT_DOUBLE_EQ(n.Normalize(TLVValue::Float(12.5)), 0.25);

  n.SetRelativeExpandMin(10);
  n.SetRelativeExpandMax(50);
  EXPECT_EQ(n.SourceRange(), (std::pair<double, double>{9, 25}));
  EXPECT_DOUBLE_EQ(*n.GetExpandMin(), 9);
  EXPECT_DOUBLE_EQ(*n.GetExpandMax(), 25);
  n.Helper()->SetRange(-1, 1);
  EXPECT_DOUBLE_EQ(n.Normalize(TLVValue::Float(17)), 0.0);
  EXPECT_DOUBLE_EQ(n.Denormalize(0.0).AsDouble(), 17.0);
  EXPECT_DOUBLE_EQ(n.Denormalize(1.0).AsDouble(), 25.0);

  // Absolute bounds keep the percentages in step and are refused inside the data.
  n.SetRelativeExpand(false);
  n.SetExpandMax(30);
  EXPECT_DOUBLE_EQ(n.GetRelativeExpandMax(), 100);
  n.SetExpandMin(5);
  EXPECT_DOUBLE_EQ(n.GetRelativeExpandMin(), 50);
  EXPECT_EQ(n.SourceRange(), (std::pair<double, double>{5, 30}));
  EXPECT_EQ(ErrorText([&] { n.SetExpandMax(19.5); }),
            "Новое максимальное значение 19,5 не должно быть меньше исходного максимального 20");
  EXPECT_EQ(ErrorKey([&] { n.SetExpandMin(11); }), "ErrNewMinGreater");
  EXPECT_EQ(ErrorKey([&] { n.SetRelativeExpandMin(-1); }), "ErrExpandMinPercentNegative");
  EXPECT_EQ(ErrorKey([&] { n.SetRelativeExpandMax(-1); }), "ErrExpandMaxPercentNegative");
  EXPECT_EQ(n.SourceRange(), (std::pair<double, double>{5, 30}));
  EXPECT_DOUBLE_EQ(n.GetRelativeExpandMin(), 50);
  EXPECT_NO_THROW(n.CheckExpandPercents());

  // Null, NaN and infinite values pass the helper unchanged; nulls may be refused.
  EXPECT_TRUE(std::isnan(n.Normalize(TLVValue::Null(TLVDataType::dtFloat))));
  EXPECT_EQ(n.Normalize(TLVValue::Float(INFINITY)), INFINITY);
  EXPECT_TRUE(n.Denormalize(LVMissing()).IsNull());
  EXPECT_EQ(n.Denormalize(-INFINITY).AsDouble(), -INFINITY);
  n.SetAllowNulls(false);
  EXPECT_EQ(ErrorKey([&] { n.Normalize(TLVValue::Null(TLVDataType::dtFloat)); }),
            "ErrNormalizeValues");
  EXPECT_EQ(ErrorKey([&] { n.Denormalize(LVMissing()); }), "ErrDenormalizeNull");
  EXPECT_EQ(ErrorText([&] { n.Normalize(TLVValue::String("abc")); }),
            "Невозможно нормализовать значение \"abc\". Проверьте исходные данные.");
}

TEST(LinearNormalizer, ZeroPercentsGiveTheStatisticsRange) {
  TLVLinearNormalizer n;
  n.SetColumn(*NumberColumn("x", -4, 6));
  n.SetExpandRange(true);
  n.SetRelativeExpandMin(0);
  n.SetRelativeExpandMax(0);
  EXPECT_EQ(n.SourceRange(), (std::pair<double, double>{-4, 6}));
  EXPECT_DOUBLE_EQ(n.Normalize(TLVValue::Float(6)), 1.0);
  EXPECT_DOUBLE_EQ(n.Normalize(TLVValue::Float(-4)), 0.0);
}

TEST(NormalizeHelper, ImportanceAndRefusedBounds) {
  TLVLinearNormalizer n;
  TLVLinearNormalizeHelper& h = *n.Helper();
  EXPECT_DOUBLE_EQ(h.GetImportance(), 100);
  h.SetImportance(40);
  EXPECT_DOUBLE_EQ(h.GetMin(), 0);
  EXPECT_DOUBLE_EQ(h.GetMax(), 0.4);
  EXPECT_DOUBLE_EQ(h.GetImportance(), 40);
  h.SetMin(-1);
  EXPECT_DOUBLE_EQ(h.GetImportance(), 100);
  EXPECT_EQ(ErrorText([&] { h.SetMin(0.4); }),
            "Минимальное значение 0,4 должно быть меньше максимального 0,4");
  EXPECT_EQ(ErrorKey([&] { h.SetMax(-2); }), "ErrHelperMinMax");
  EXPECT_EQ(ErrorKey([&] { h.SetImportance(0); }), "ErrHelperMinMax");
  EXPECT_DOUBLE_EQ(h.GetMin(), -1);
  EXPECT_DOUBLE_EQ(h.GetMax(), 0.4);
  h.SetRange(0, 2);
  EXPECT_DOUBLE_EQ(h.GetImportance(), 100);
}

TEST(UniqueValuesNormalizer, CodesByEverySortOrder) {
  TLVUniqueValuesNormalizer n;
  n.SetColumn(*TextColumn("c", Letters(4)));
  EXPECT_DOUBLE_EQ(n.Normalize(TLVValue::String("c")), 2);
  n.SetSortOrder(TLVSortOrder::soDesc);
  EXPECT_DOUBLE_EQ(n.Normalize(TLVValue::String("a")), 3);
  EXPECT_DOUBLE_EQ(n.Normalize(TLVValue::String("d")), 0);
  EXPECT_EQ(n.Denormalize(3).AsText(), "a");
  n.SetSortOrder(TLVSortOrder::soCustom);
  n.SetValuesOrder({2, 0, 3, 1});
  EXPECT_DOUBLE_EQ(n.Normalize(TLVValue::String("a")), 2);
  EXPECT_DOUBLE_EQ(n.Normalize(TLVValue::String("d")), 1);
  EXPECT_EQ(n.Denormalize(3).AsText(), "c");

  // Decoding clamps and rounds half to even before the order is undone.
  n.SetSortOrder(TLVSortOrder::soAsc);
  EXPECT_EQ(n.Denormalize(-7).AsText(), "a");
  EXPECT_EQ(n.Denormalize(9).AsText(), "d");
  EXPECT_EQ(n.Denormalize(2.5).AsText(), "c");
  EXPECT_EQ(n.Denormalize(1.5).AsText(), "c");
  EXPECT_EQ(n.Denormalize(0.5).AsText(), "a");

  EXPECT_EQ(ErrorText([&] { n.Normalize(TLVValue::String("zz")); }),
            "Значение \"zz\" не найдено в списке уникальных элементов. Проверьте исходные данные.");
  EXPECT_TRUE(std::isnan(n.Normalize(TLVValue::Null(TLVDataType::dtString))));
  n.SetAllowNulls(false);
  EXPECT_EQ(ErrorKey([&] { n.Normalize(TLVValue::Null(TLVDataType::dtString)); }),
            "ErrNormalizeValues");
}

TEST(UniqueValuesNormalizer, CustomOrderSurvivesOnlyAListItFits) {
  TLVUniqueValuesNormalizer n;
  n.SetColumn(*TextColumn("c", Letters(3)));
  n.SetSortOrder(TLVSortOrder::soCustom);
  EXPECT_EQ(ErrorKey([&] { n.SetValuesOrder({0, 1}); }), "ErrBadValuesOrder");
  EXPECT_EQ(ErrorKey([&] { n.SetValuesOrder({1, 2, 3}); }), "ErrBadValuesOrder");
  EXPECT_EQ(n.GetValuesOrder(), (std::vector<int32_t>{0, 1, 2}));
  // Count, smallest and largest fit, yet code 1 has no position: decoding it fails.
  n.SetValuesOrder({2, 0, 0});
  EXPECT_EQ(ErrorKey([&] { n.Denormalize(1); }), "ErrBadValuesOrder");
  n.SetValuesOrder({2, 0, 1});

  n.SetColumn(*TextColumn("c", {"x", "y", "z"}));
  EXPECT_EQ(n.GetValuesOrder(), (std::vector<int32_t>{2, 0, 1}));
  EXPECT_DOUBLE_EQ(n.Normalize(TLVValue::String("x")), 2);
  n.SetColumn(*TextColumn("c", Letters(4)));
  EXPECT_EQ(n.GetValuesOrder(), (std::vector<int32_t>{0, 1, 2, 3}));
}

TEST(BitMaskNormalizer, CombinationWidthsCodesAndTheClampedDecode) {
  EXPECT_EQ(BitCombinationWidth(1), 0);
  EXPECT_EQ(BitCombinationWidth(2), 1);
  EXPECT_EQ(BitCombinationWidth(4), 2);
  EXPECT_EQ(BitCombinationWidth(5), 3);
  EXPECT_EQ(BitCombinationWidth(1024), 10);

  TLVBitMaskNormalizer n;
  n.SetColumn(*TextColumn("c", Letters(1)));
  EXPECT_EQ(n.OutputWidth(), 0);
  n.SetColumn(*TextColumn("c", Letters(2)));
  EXPECT_EQ(n.OutputWidth(), 1);
  n.SetColumn(*TextColumn("c", Letters(4)));
  EXPECT_EQ(n.NormColumns().Count(), 2);
  EXPECT_EQ(n.NormColumns()[1].GetName(), "c_2");

  std::vector<double> out(2);
  n.NormalizeVector(TLVValue::String("b"), out);  // position 1: least significant bit first
  EXPECT_EQ(out, (std::vector<double>{1, 0}));
  n.NormalizeVector(TLVValue::String("c"), out);
  EXPECT_EQ(out, (std::vector<double>{0, 1}));
  // (1, 0) reads as 1 then doubles twice: 4, clamped to 3.
  EXPECT_EQ(n.DenormalizeVector(std::vector<double>{1, 0}).AsText(), "d");
  EXPECT_EQ(n.DenormalizeVector(std::vector<double>{0, 1}).AsText(), "c");
  EXPECT_EQ(n.DenormalizeVector(std::vector<double>{-3, 0.4}).AsText(), "a");
  EXPECT_EQ(n.DenormalizeVector(std::vector<double>{-3, 7}).AsText(), "c");
  EXPECT_EQ(ErrorKey([&] { n.Normalize(TLVValue::String("a")); }), "ErrNormalizeToFloat");
  EXPECT_EQ(ErrorKey([&] { n.DenormalizeVector(std::vector<double>{1}); }), "ErrDenormalizeVector");

  n.SetBitMaskCodeType(1);
  EXPECT_EQ(n.NormColumns().Count(), 4);
  out.resize(4);
  n.NormalizeVector(TLVValue::String("c"), out);
  EXPECT_EQ(out, (std::vector<double>{0, 0, 1, 0}));
  EXPECT_EQ(n.DenormalizeVector(std::vector<double>{0.2, 0.7, 0.7, 0.1}).AsText(), "b");
  EXPECT_THROW(n.SetBitMaskCodeType(2), ELVError);
  EXPECT_EQ(n.GetBitMaskCodeType(), 1);
}

TEST(BaseCategoryNormalizer, ReferenceIsAllZeros) {
  TLVBaseCategoryNormalizer n;
  n.SetColumn(*TextColumn("c", Letters(4)));
  EXPECT_EQ(n.OutputWidth(), 3);
  std::vector<double> out(3);
  n.NormalizeVector(TLVValue::String("a"), out);
  EXPECT_EQ(out, (std::vector<double>{0, 0, 0}));
  n.NormalizeVector(TLVValue::String("d"), out);
  EXPECT_EQ(out, (std::vector<double>{0, 0, 1}));
  EXPECT_EQ(n.DenormalizeVector(std::vector<double>{0.4, 0.49, 0.1}).AsText(), "a");
  EXPECT_EQ(n.DenormalizeVector(std::vector<double>{0.6, 0.9, 0.9}).AsText(), "c");
  EXPECT_EQ(n.DenormalizeVector(std::vector<double>{0.5, 0.1, 0.2}).AsText(), "b");
  EXPECT_EQ(ErrorKey([&] { n.NormalizeVector(TLVValue::String("q"), out); }),
            "ErrValueNotInUniqueList");
}

// A block of `values` (NaN = null) of the given type.
TLVBlock MakeBlock(TLVDataType type, const std::vector<double>& values) {
  TLVBlock block;
  block.Reset(type, static_cast<int32_t>(values.size()));
  for (size_t i = 0; i < values.size(); ++i) {
    block.Valid()[i] = !std::isnan(values[i]);
    if (type == TLVDataType::dtInteger) {
      block.Integers()[i] = std::isnan(values[i]) ? 0 : static_cast<int32_t>(values[i]);
    } else {
      block.Numbers()[i] = values[i];
    }
  }
  return block;
}

// Blocks here hold three rows at most: the smallest block size the tests are built with.
TEST(Normalizers, BlockPathAgreesWithTheValuePath) {
  // Linear with a helper, over integers and reals with a null in the middle.
  TLVLinearNormalizer linear;
  linear.SetColumn(*NumberColumn("x", 0, 8));
  linear.SetExpandRange(true);
  linear.SetRelativeExpandMax(25);
  for (TLVDataType type : {TLVDataType::dtInteger, TLVDataType::dtFloat}) {
    std::vector<double> out(3);
    linear.NormalizeBlock(MakeBlock(type, {3, NAN, 8}), out.data(), 3);
    EXPECT_DOUBLE_EQ(out[0], 0.3);
    EXPECT_TRUE(std::isnan(out[1]));
    EXPECT_DOUBLE_EQ(out[2], 0.8);
  }
  linear.SetAllowNulls(false);
  std::vector<double> sink(3);
  EXPECT_EQ(ErrorKey([&] {
              linear.NormalizeBlock(MakeBlock(TLVDataType::dtFloat, {1, NAN}), sink.data(), 2);
            }),
            "ErrNormalizeValues");

  // Bit combination of integers, written column-major with a stride.
  auto ints = std::make_shared<TLVColumnInfo>();
  ints->SetName("k");
  ints->SetDataType(TLVDataType::dtInteger);
  ints->SetDataKind(TLVDataKind::dkDiscrete);
  test::WithStats(*ints, 10, 14, 0, 5,
                  {TLVValue::Integer(10), TLVValue::Integer(11), TLVValue::Integer(12),
                   TLVValue::Integer(13), TLVValue::Integer(14)});
  TLVBitMaskNormalizer mask;
  mask.SetColumn(*ints);
  ASSERT_EQ(mask.OutputWidth(), 3);
  TLVBlock block = MakeBlock(TLVDataType::dtInteger, {14, NAN, 13});
  std::vector<double> matrix(3 * 6, -1.0);
  mask.NormalizeBlock(block, matrix.data(), 6);
  for (int32_t row : {0, 2}) {
    std::vector<double> one(3);
    mask.NormalizeVector(TLVValue::Integer(block.Integers()[row]), one);
    for (int32_t j = 0; j < 3; ++j) {
      EXPECT_EQ(matrix[static_cast<size_t>(j * 6 + row)], one[static_cast<size_t>(j)]);
    }
  }
  EXPECT_TRUE(std::isnan(matrix[1]));
  EXPECT_EQ(matrix[3], -1.0);  // beyond the block nothing is written
  EXPECT_EQ(ErrorText([&] {
              mask.NormalizeBlock(MakeBlock(TLVDataType::dtInteger, {15}), matrix.data(), 6);
            }),
            "Значение \"15\" не найдено в списке уникальных элементов. Проверьте исходные данные.");

  // Fractional codes are found by search rather than by the table of whole numbers.
  auto reals = NumberColumn("r", 0.5, 2.25);
  reals->SetDataKind(TLVDataKind::dkDiscrete);
  test::WithStats(*reals, 0.5, 2.25, 0, 3,
                  {TLVValue::Float(0.5), TLVValue::Float(1.5), TLVValue::Float(2.25)});
  TLVUniqueValuesNormalizer unique;
  unique.SetColumn(*reals);
  std::vector<double> codes(3);
  unique.NormalizeBlock(MakeBlock(TLVDataType::dtFloat, {2.25, 0.5, 1.5}), codes.data(), 3);
  EXPECT_EQ(codes, (std::vector<double>{2, 0, 1}));
  EXPECT_EQ(test::ErrorKey([&] {
              unique.NormalizeBlock(MakeBlock(TLVDataType::dtFloat, {1}), codes.data(), 3);
            }),
            "ErrValueNotInUniqueList");
}

TEST(NormalizerPersistence, KeysAreWrittenOnlyUnderTheirConditions) {
  TLVLinearNormalizer plain;
  plain.SetColumn(*NumberColumn("x", 1, 3));
  test::TMapSection a;
  plain.SaveTo(a);
  EXPECT_EQ(a.Get("ExpandRange"), "False");
  EXPECT_FALSE(a.Get("RelativeExpand") || a.Get("ExpandMin") || a.Get("RelativeExpandMin"));
  ASSERT_NE(a.FindSection("NormColumns"), nullptr);
  EXPECT_EQ(a.FindSection("NormColumns")->Get("Count"), "1");
  EXPECT_EQ(a.FindSection("Helper")->Get("Enabled"), "False");
  EXPECT_FALSE(a.FindSection("Helper")->Get("Min"));

  TLVLinearNormalizer absolute;
  absolute.SetColumn(*NumberColumn("x", 1, 3));
  absolute.SetExpandRange(true);
  absolute.SetRelativeExpand(false);
  absolute.SetExpandMax(4);
  absolute.Helper()->SetRange(-1, 1);
  test::TMapSection b;
  absolute.SaveTo(b);
  EXPECT_EQ(b.Get("ExpandMax"), "4");
  EXPECT_FALSE(b.Get("ExpandMin") || b.Get("RelativeExpandMax"));
  EXPECT_EQ(b.FindSection("Helper")->Get("Min"), "-1");

  TLVLinearNormalizer loaded;
  loaded.LoadFrom(b);
  EXPECT_EQ(loaded.SourceRange(), absolute.SourceRange());
  EXPECT_DOUBLE_EQ(loaded.Normalize(TLVValue::Float(2.5)),
                   absolute.Normalize(TLVValue::Float(2.5)));
  EXPECT_FALSE(loaded.GetRelativeExpand());

  TLVLinearNormalizer relative;
  relative.SetColumn(*NumberColumn("x", 1, 3));
  relative.SetExpandRange(true);
  relative.SetRelativeExpandMin(50);
  test::TMapSection c;
  relative.SaveTo(c);
  EXPECT_EQ(c.Get("RelativeExpandMin"), "50");
  EXPECT_EQ(c.Get("RelativeExpandMax"), "0");
  TLVLinearNormalizer reloaded;
  reloaded.LoadFrom(c);
  EXPECT_EQ(reloaded.SourceRange(), (std::pair<double, double>{0, 3}));
}

TEST(NormalizerPersistence, DiscreteNormalizersReopenWithTheSameCodes) {
  TLVUniqueValuesNormalizer unique;
  unique.SetColumn(*TextColumn("c", {"кот", "пёс", "ёж"}));
  test::TMapSection plain;
  unique.SaveTo(plain);
  EXPECT_EQ(plain.Get("SortOrder"), "soNone");
  EXPECT_EQ(plain.FindSection("ValuesOrder"), nullptr);

  unique.SetSortOrder(TLVSortOrder::soCustom);
  unique.SetValuesOrder({1, 2, 0});
  test::TMapSection custom;
  unique.SaveTo(custom);
  TLVUniqueValuesNormalizer back;
  back.LoadFrom(custom);
  EXPECT_EQ(back.GetValuesOrder(), (std::vector<int32_t>{1, 2, 0}));
  EXPECT_DOUBLE_EQ(back.Normalize(TLVValue::String("ёж")), 0);
  EXPECT_EQ(back.Denormalize(1).AsText(), "кот");

  TLVBitMaskNormalizer mask;
  mask.SetColumn(*TextColumn("c", Letters(5)));
  mask.SetBitMaskCodeType(1);
  test::TMapSection m;
  mask.SaveTo(m);
  EXPECT_EQ(m.Get("BitMaskCodeType"), "1");
  EXPECT_EQ(m.FindSection("NormColumns")->Get("Count"), "5");
  auto maskBack = LVNormalizers().Create("TLVBitMaskNormalizer");
  maskBack->LoadFrom(m);
  EXPECT_EQ(maskBack->OutputWidth(), 5);
  EXPECT_EQ(maskBack->DenormalizeVector(std::vector<double>{0, 0, 0, 1, 0}).AsText(), "d");

  // A list whose count disagrees with its items was cut or copied by hand: refused.
  test::TMapSection cut;
  mask.SaveTo(cut);
  for (auto& [name, child] : cut.children) {
    if (name == "NormColumns") child->Put("Count", "4");
  }
  EXPECT_EQ(test::KeyOf([&] { LVNormalizers().Create("TLVBitMaskNormalizer")->LoadFrom(cut); }),
            "ErrPropertyValue");

  test::TMapSection broken;
  broken.Put("ColumnName", "c");
  broken.Put("DataType", "dtString");
  broken.Put("DataKind", "dkDiscrete");
  broken.Put("BitMaskCodeType", "x");
  EXPECT_THROW(LVNormalizers().Create("TLVBitMaskNormalizer")->LoadFrom(broken), ELVError);
}

}  // namespace
}  // namespace lv
