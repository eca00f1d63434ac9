#include "mining/neural/LV_NeuralTeacher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/LV_TestSection.h"
#include "core/LV_TestTable.h"
#include "core/registry/LV_Vendor.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningTestHelpers.h"
#include "mining/neural/LV_NeuralNetVendor.h"

namespace lv {
namespace {

using test::ErrorKey;
using test::ErrorText;
using LA = TLearningAlgorithm;
constexpr auto kTeach = TLVDataSourceType::dstTeach;

// The four rows of XOR, `copies` times over; y is the exclusive or of a and b.
std::shared_ptr<test::TTestTable> XorTable(int copies = 10) {
  std::vector<std::vector<TLVValue>> rows;
  for (int c = 0; c < copies; ++c) {
    for (int a = 0; a < 2; ++a) {
      for (int b = 0; b < 2; ++b) {
        rows.push_back({TLVValue::Float(a), TLVValue::Float(b), TLVValue::Float(a ^ b),
                        TLVValue::String(a ? "x" : "y")});
      }
    }
  }
  return std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{{"a", TLVDataType::dtFloat},
                                             {"b", TLVDataType::dtFloat},
                                             {"y", TLVDataType::dtFloat},
                                             {"s", TLVDataType::dtString}},
      std::move(rows));
}

TLVNeuralTeacher& TeacherOf(TLVModelHandler& model) {
  return static_cast<TLVNeuralTeacher&>(model.Teacher());
}

const TLVNeuralNet& NetOf(const TLVModelHandler& model) {
  return static_cast<const TLVNeuralNet&>(*model.Kernel());
}

void Tune(TLVNeuralNetHandler& model, std::shared_ptr<ILVDataSource> table, LA algorithm,
          int32_t epochs) {
  model.SetParentSource(std::move(table));
  TLVTunedNormDataSource& tuned = model.TunedNormDataSource();
  tuned.Columns()[0].SetDataStatus(TLVDataStatus::dsInput);
  tuned.Columns()[1].SetDataStatus(TLVDataStatus::dsInput);
  tuned.Columns()[2].SetDataStatus(TLVDataStatus::dsOutput);
  model.TeachDataSource().SetPercent(kTeach, 100);
  TLVNeuralTeacher& teacher = TeacherOf(model);
  teacher.SetLA(algorithm);
  teacher.SetMaxEpochCount(epochs);
  teacher.SetWeightsSeed(12345);
  static_cast<TLVNeuralNet&>(*model.Kernel()).SetHiddenNeurons({4});
}

TEST(NeuralTeacher, RPropStepRuleOnAHandMadeSequence) {
  double step = 0.1;
  double previous = 0;
  auto next = [&](double g) {
    return TLVNeuralTeacher::RPropStep(g, step, previous, 1.2, 0.5, 1e-3, 0.2);
  };
  EXPECT_DOUBLE_EQ(next(1), -0.1);     // no last gradient: the step stays
  EXPECT_DOUBLE_EQ(next(2), -0.12);    // same sign, growing: the step grows
  EXPECT_DOUBLE_EQ(next(1.5), -0.12);  // same sign, shrinking: the step is kept
  EXPECT_DOUBLE_EQ(next(3), -0.144);
  EXPECT_DOUBLE_EQ(next(4), -0.1728);
  EXPECT_DOUBLE_EQ(next(5), -0.2);  // bounded by the largest step
  EXPECT_DOUBLE_EQ(next(-1), 0.1);  // the sign turned: the step halves
  EXPECT_DOUBLE_EQ(previous, -1);
  EXPECT_DOUBLE_EQ(next(0), 0.0);  // no gradient: no move, the step stays
  EXPECT_DOUBLE_EQ(step, 0.1);
  for (int i = 0; i < 3; ++i) next(i % 2 ? 1 : -1);
  EXPECT_DOUBLE_EQ(step, 0.025);
  for (int i = 0; i < 10; ++i) next(i % 2 ? 1 : -1);
  EXPECT_DOUBLE_EQ(step, 1e-3);  // and bounded by the smallest
}

// The gradient of half the squared error of one row at the network's weights.
std::vector<double> GradientAt(const TLVNeuralMatrices& dense, std::vector<double> params,
                               const std::vector<double>& in, const std::vector<double>& target) {
  TLVNeuralMatrices at = dense;
  at.params = std::move(params);
  TLVNeuralMatrices::TWork work;
  std::vector<double> gradient(at.params.size(), 0.0);
  at.Forward(in.data(), 1, 1, work, true);
  at.Backward(target.data(), 1, work, gradient.data());
  return gradient;
}

TEST(NeuralTeacher, OnlineUpdateHasMomentumOnLinksOnly) {
  // One training row (a = b = y = 0), so every epoch is one update.
  auto table = XorTable(1);
  TLVNeuralNetHandler model;
  Tune(model, table, LA::laBackProp, 1);
  model.TeachDataSource().SetPercent(kTeach, 25);
  TeacherOf(model).SetTeachRate(0.3);
  TeacherOf(model).SetMoment(0.5);
  model.Teach(nullptr);
  ASSERT_EQ(model.TeachDataSource().Rows(kTeach), std::vector<TLVRowIndex>{0});
  const TLVNeuralMatrices first = NetOf(model).Matrices();
  const std::vector<TLVTeachParms> firstParms = NetOf(model).TeachParms();
  TeacherOf(model).SetInitKernel(false);
  TeacherOf(model).SetMaxEpochCount(2);
  model.Teach(nullptr);
  const TLVNeuralMatrices second = NetOf(model).Matrices();
  const std::vector<TLVTeachParms> secondParms = NetOf(model).TeachParms();

  const std::vector<double> in = {0, 0}, target = {0};
  std::vector<double> start = first.params;
  for (size_t i = 0; i < start.size(); ++i) start[i] -= firstParms[i].prevUpdate;
  const std::vector<double> g0 = GradientAt(first, start, in, target);
  const std::vector<double> g1 = GradientAt(first, first.params, in, target);
  for (size_t i = 0; i < start.size(); ++i) {
    EXPECT_NEAR(firstParms[i].prevUpdate, -0.3 * g0[i], 1e-15) << i;
    const double momentum = first.weightMask[i] * 0.5 * firstParms[i].prevUpdate;
    EXPECT_NEAR(secondParms[i].prevUpdate, momentum - 0.3 * g1[i], 1e-15) << i;
    EXPECT_NEAR(second.params[i], first.params[i] + secondParms[i].prevUpdate, 1e-15) << i;
  }
  // The shifts are the last entries of each layer; at least one moved without momentum.
  EXPECT_EQ(first.weightMask[first.layers[1].shiftOffset], 0);
  EXPECT_NE(g1[first.layers[2].shiftOffset], 0);
}

TEST(NeuralTeacher, ConjugateDirectionsUseTheChosenBeta) {
  // After two epochs the saved state holds both gradients and both directions:
  // d1 = -g1 + beta d0 with d0 = -g0, so beta can be read back and checked.
  for (TCalcBeta rule :
       {TCalcBeta::cbFletcherReeves, TCalcBeta::cbPolakRibiere, TCalcBeta::cbGenetic}) {
    TLVNeuralNetHandler model;
    Tune(model, XorTable(), LA::laCG, 1);
    TeacherOf(model).SetCalcBeta(rule);
    model.Teach(nullptr);
    const std::vector<TLVTeachParms> first = NetOf(model).TeachParms();
    TeacherOf(model).SetInitKernel(false);
    TeacherOf(model).SetMaxEpochCount(2);
    model.Teach(nullptr);
    const std::vector<TLVTeachParms> second = NetOf(model).TeachParms();
    double g0g0 = 0, g1g1 = 0, g1g0 = 0;
    for (size_t i = 0; i < first.size(); ++i) {
      const double g0 = first[i].prevDerivative, g1 = second[i].prevDerivative;
      EXPECT_EQ(first[i].prevDelta, -g0);  // the first direction is the steepest descent
      g0g0 += g0 * g0;
      g1g1 += g1 * g1;
      g1g0 += g1 * g0;
    }
    const double fr = g1g1 / g0g0, pr = (g1g1 - g1g0) / g0g0;
    const double expected = rule == TCalcBeta::cbFletcherReeves ? fr
                            : rule == TCalcBeta::cbPolakRibiere ? std::max(0.0, pr)
                                                                : std::clamp(pr, 0.0, fr);
    ASSERT_NE(fr, std::max(0.0, pr));  // the rules differ on this data
    size_t largest = 0;
    for (size_t i = 0; i < first.size(); ++i) {
      if (std::abs(first[i].prevDelta) > std::abs(first[largest].prevDelta)) largest = i;
    }
    const double beta =
        (second[largest].prevDelta + second[largest].prevDerivative) / first[largest].prevDelta;
    EXPECT_NEAR(beta, expected, 1e-9 * std::max(1.0, expected)) << ValueName(rule);
  }
}

TEST(NeuralTeacher, EveryAlgorithmLearnsXor) {
  for (LA algorithm : {LA::laRProp, LA::laCG, LA::laBackProp}) {
    TLVNeuralNetHandler model;
    Tune(model, XorTable(), algorithm, algorithm == LA::laBackProp ? 300 : 200);
    TeacherOf(model).SetTeachRate(algorithm == LA::laBackProp ? 0.5 : 0.1);
    model.Teach(nullptr);
    EXPECT_EQ(model.Teacher().GetResult(), TLVTeachResult::trFinished);
    EXPECT_LT(model.Teacher().Errors(kTeach).maxError, 0.05) << ValueName(algorithm);
    ILVDataSource& out = *model.GetDataSourceIntf();
    const int32_t result = out.GetColumnsInfo().IndexOfColumn("y_OUT");
    ASSERT_GE(result, 0);
    for (TLVRowIndex row = 0; row < 4; ++row) {
      EXPECT_NEAR(out.GetNumber(row, result), out.GetNumber(row, 2), 0.25)
          << ValueName(algorithm) << " row " << row;
    }
  }
}

TEST(NeuralTeacher, StopsAtTheTrainingErrorAndCountsEpochs) {
  TLVNeuralNetHandler model;
  Tune(model, XorTable(), LA::laRProp, 1000);
  TLVNeuralTeacher& teacher = TeacherOf(model);
  teacher.SetStopConditions(
      {TLVTeacherStopConditionType::tecEpochCount, TLVTeacherStopConditionType::tecTeachMaxError});
  teacher.Thresholds(kTeach).maxError = 0.01;
  model.Teach(nullptr);
  EXPECT_LT(TeacherOf(model).GetCurrentEpoch(), 1000);
  EXPECT_LE(model.Teacher().Errors(kTeach).maxError, 0.01);
}

TEST(NeuralTeacher, ContinuedTrainingEndsWhereOneTrainingWould) {
  for (LA algorithm : {LA::laRProp, LA::laCG, LA::laBackProp}) {
    TLVNeuralNetHandler whole;
    Tune(whole, XorTable(), algorithm, 100);
    whole.Teach(nullptr);

    TLVNeuralNetHandler first;
    Tune(first, XorTable(), algorithm, 50);
    first.Teach(nullptr);
    // Through the project file, as a later session would.
    test::TMapSection saved;
    first.SaveSettingsTo(saved);
    TLVNeuralNetHandler second;
    second.LoadSettingsFrom(saved);
    second.SetParentSource(XorTable());
    TeacherOf(second).SetInitKernel(false);
    TeacherOf(second).SetMaxEpochCount(100);
    second.Teach(nullptr);
    EXPECT_EQ(second.Teacher().GetResult(), TLVTeachResult::trFinished);
    EXPECT_EQ(TeacherOf(second).GetCurrentEpoch(), 100);
    EXPECT_EQ(NetOf(second).Matrices().params, NetOf(whole).Matrices().params)
        << ValueName(algorithm);
    EXPECT_NE(NetOf(first).Matrices().params, NetOf(whole).Matrices().params);
  }
}

TEST(NeuralTeacher, SameSeedSameNetworkAndTheSeedIsKept) {
  TLVNeuralNetHandler a, b;
  Tune(a, XorTable(), LA::laRProp, 5);
  Tune(b, XorTable(), LA::laRProp, 5);
  a.Teach(nullptr);
  b.Teach(nullptr);
  EXPECT_EQ(NetOf(a).Matrices().params, NetOf(b).Matrices().params);
  TeacherOf(b).SetWeightsSeed(999);
  b.Teach(nullptr);
  EXPECT_NE(NetOf(a).Matrices().params, NetOf(b).Matrices().params);

  // A teacher without a chosen seed picks one and saves it.
  TLVNeuralNetHandler c;
  c.SetParentSource(XorTable());
  c.TunedNormDataSource().Columns()[0].SetDataStatus(TLVDataStatus::dsInput);
  c.TunedNormDataSource().Columns()[2].SetDataStatus(TLVDataStatus::dsOutput);
  TeacherOf(c).SetMaxEpochCount(2);
  c.Teach(nullptr);
  test::TMapSection saved;
  c.SaveSettingsTo(saved);
  const ILVSettingsSection* teacher = saved.FindSection("Teacher");
  ASSERT_NE(teacher, nullptr);
  ASSERT_NE(teacher->FindSection("Weights"), nullptr);
  EXPECT_EQ(teacher->FindSection("Weights")->Get("RandSeed"),
            std::to_string(TeacherOf(c).Weights().GetRandSeed()));
  EXPECT_EQ(teacher->Get("LA"), "laRProp");
  EXPECT_EQ(teacher->Get("IncFactor"), "1.2");
}

TEST(NeuralTeacher, DefaultsAndRefusedSettings) {
  TLVNeuralTeacher teacher;
  EXPECT_EQ(teacher.GetLA(), LA::laRProp);
  EXPECT_EQ(teacher.GetTeachRate(), 0.1);
  EXPECT_EQ(teacher.GetMoment(), 0.9);
  EXPECT_EQ(teacher.GetDecFactor(), 0.5);
  EXPECT_EQ(teacher.GetMaxStepSize(), 50);
  EXPECT_EQ(teacher.GetMinStepSize(), 1e-16);
  EXPECT_EQ(teacher.GetCalcBeta(), TCalcBeta::cbFletcherReeves);
  EXPECT_EQ(teacher.GetMaxEpochCount(), 10000);
  EXPECT_EQ(ErrorKey([&] { teacher.SetTeachRate(0); }), "ErrPropertyValue");
  EXPECT_EQ(ErrorKey([&] { teacher.SetMoment(1); }), "ErrPropertyValue");
  EXPECT_EQ(ErrorKey([&] { teacher.SetMinStepSize(60); }), "ErrPropertyValue");
  EXPECT_EQ(teacher.GetTeachRate(), 0.1);
  // A bad value in a saved section leaves the teacher as it was.
  test::TMapSection section;
  teacher.SetLA(LA::laCG);
  teacher.SaveTo(section);
  section.Put("DecFactor", "2");
  TLVNeuralTeacher read;
  EXPECT_THROW(read.LoadFrom(section), ELVError);
  EXPECT_EQ(read.GetLA(), LA::laRProp);
  EXPECT_EQ(TLVLocalization::Instance().Text("TLearningAlgorithm.laRProp"),
            "RPROP - пакетный режим");
}

// Cancels once the epochs have begun.
class TCancelInEpochs : public ILVProgress {
 public:
  void Start(std::string_view caption, int64_t) override {
    inEpochs_ = caption == LVText("TeachEpochsCaption");
  }
  void SetPosition(int64_t position) override { position_ = position; }
  bool Cancelled() const override { return inEpochs_ && position_ >= 3; }
  void Finish() override { inEpochs_ = false; }

 private:
  bool inEpochs_ = false;
  int64_t position_ = 0;
};

TEST(NeuralTeacher, BadInputGivesItsMessageAndKeepsTheNetwork) {
  TLVNeuralNetHandler model;
  Tune(model, XorTable(), LA::laRProp, 20);
  model.Teach(nullptr);
  const std::vector<double> before = NetOf(model).Matrices().params;
  const double predicted = model.GetDataSourceIntf()->GetNumber(1, 4);

  // A cancelled training keeps the previous network and its results.
  TCancelInEpochs cancel;
  TeacherOf(model).SetMaxEpochCount(100);
  EXPECT_THROW(model.Teach(&cancel), ELVAbort);
  EXPECT_EQ(model.Teacher().GetResult(), TLVTeachResult::trAborted);
  EXPECT_EQ(NetOf(model).Matrices().params, before);
  EXPECT_EQ(model.GetDataSourceIntf()->GetNumber(1, 4), predicted);

  // Continuing with an input more than the network has (the text's position).
  TeacherOf(model).SetInitKernel(false);
  model.TunedNormDataSource().Columns()[3].SetDataStatus(TLVDataStatus::dsInput);
  EXPECT_EQ(ErrorText([&] { model.Teach(nullptr); }), "Не сходится размерность данных 3 - 2");
  EXPECT_EQ(NetOf(model).Matrices().params, before);

  // A text input of no kind has no normalizer that can read it.
  model.TunedNormDataSource().Columns()[3].SetDataKind(TLVDataKind::dkUndefined);
  TeacherOf(model).SetInitKernel(true);
  EXPECT_EQ(ErrorKey([&] { model.Teach(nullptr); }), "ErrColumnNotNormalizable");
  EXPECT_EQ(NetOf(model).Matrices().params, before);

  // Zero neurons in a hidden layer cannot be asked for, nor read from a project.
  auto& net = static_cast<TLVNeuralNet&>(*model.Kernel());
  EXPECT_EQ(ErrorKey([&] { net.SetHiddenNeurons({0}); }), "ErrNeuralZeroHidden");
  test::TMapSection saved;
  model.SaveSettingsTo(saved);
  for (auto& [name, child] : saved.children) {
    if (name == "Kernel") child->Put("HiddenNeurons", "4;0");
  }
  TLVNeuralNetHandler reopened;
  EXPECT_EQ(ErrorKey([&] { reopened.LoadSettingsFrom(saved); }), "ErrNeuralZeroHidden");
}

TEST(NeuralTeacher, OutputsComeBackInTheColumnsValues) {
  // y = 100 + 50 sin(x) on x in [0, 3]: the network sees it in [0, 1], the executor
  // gives it back in the column's own range, with the error beside it.
  std::vector<std::vector<TLVValue>> rows;
  double range = 0;  // y spans 100 .. 100 + range
  for (int i = 0; i < 200; ++i) {
    // x runs over [0, 3] in a scattered order, so that the test set (the last rows)
    // lies among the training rows rather than beyond them.
    const double x = i == 199 ? 3.0 : 3.0 * std::fmod(i * 0.6180339887498949, 1.0);
    range = std::max(range, 50 * std::sin(x));
    rows.push_back({TLVValue::Float(x), TLVValue::Float(x * x),
                    TLVValue::Float(100 + 50 * std::sin(x)), TLVValue::String("s")});
  }
  auto table = std::make_shared<test::TTestTable>(
      std::vector<test::TTestTable::TColumn>{{"x", TLVDataType::dtFloat},
                                             {"x2", TLVDataType::dtFloat},
                                             {"y", TLVDataType::dtFloat},
                                             {"s", TLVDataType::dtString}},
      std::move(rows));
  TLVNeuralNetHandler model;
  Tune(model, table, LA::laRProp, 1000);
  model.TeachDataSource().SetPercent(TLVDataSourceType::dstTest, 30);
  // A one-valued text input takes part without spoiling the rows.
  model.TunedNormDataSource().Columns()[3].SetDataStatus(TLVDataStatus::dsInput);
  model.Teach(nullptr);
  EXPECT_TRUE(model.TunedNormDataSource().Normalizer(2)->Helper()->GetEnabled());
  EXPECT_FALSE(model.TunedNormDataSource().Normalizer(3)->Helper()->GetEnabled());
  ILVDataSource& out = *model.GetDataSourceIntf();
  const int32_t result = out.GetColumnsInfo().IndexOfColumn("y_OUT");
  const int32_t error = out.GetColumnsInfo().IndexOfColumn("y_ERR");
  ASSERT_GE(result, 0);
  ASSERT_GE(error, 0);
  EXPECT_LT(model.Teacher().Errors(kTeach).avgError, 1e-3);
  for (TLVRowIndex row : {0, 40, 100, 160, 199}) {
    const double y = out.GetNumber(row, 2);
    const double predicted = out.GetNumber(row, result);
    // The sigmoid reaches the ends of the range only slowly: the middle fits closer.
    EXPECT_NEAR(predicted, y, row == 0 || row == 199 ? 15 : 2.5) << row;
    // The error is measured in the normalized range, which spans y's values.
    EXPECT_NEAR(out.GetNumber(row, error), std::pow((predicted - y) / range, 2), 1e-9) << row;
  }
  EXPECT_GT(model.Teacher().Errors(TLVDataSourceType::dstTest).rows, 0);
  EXPECT_TRUE(
      model.TeachSummary().starts_with("Обучение завершено. Обучающее множество: строк 140"));
}

TEST(NeuralTeacher, LargeSetTrainsInTwoPartsReproducibly) {
  // Enough rows for the batch passes to run in two parts on two threads.
  std::vector<double> params[2];
  for (auto& result : params) {
    TLVNeuralNetHandler model;
    Tune(model, XorTable(4200), LA::laCG, 3);
    model.Teach(nullptr);
    result = NetOf(model).Matrices().params;
  }
  EXPECT_EQ(params[0], params[1]);
}

TEST(NeuralTeacher, NeuralNetIsInTheDataMiningCatalogue) {
  std::shared_ptr<TLVComponent> node = LVComponentVendors().CreateComponent("NeuralNet");
  EXPECT_NE(dynamic_cast<TLVNeuralNetHandler*>(node.get()), nullptr);
}

}  // namespace
}  // namespace lv
