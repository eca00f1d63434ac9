#include "mining/neural/LV_NeuralNet.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "core/LV_TestSection.h"
#include "mining/LV_MiningTestHelpers.h"
#include "mining/random/LV_Random.h"

namespace lv {
namespace {

using T = TActivationFunctionType;
using test::ErrorKey;
using test::ErrorText;

// A network of `sizes` neurons per layer with standard links and random weights.
TLVNeuralNet MakeNet(std::vector<int32_t> sizes, uint32_t seed = 7) {
  TLVNeuralNet net;
  net.SetHiddenNeurons(std::vector<int32_t>(sizes.begin() + 1, sizes.end() - 1));
  net.InitKernel({"in"}, sizes.front(), {"out"}, sizes.back());
  TLVRandom random(seed);
  for (int32_t l = 1; l < net.LayerCount(); ++l) {
    for (int32_t j = 0; j < net.Layers(l).NeuronsCount(); ++j) {
      TLVNeuron& neuron = net.Layers(l).Neurons(j);
      neuron.SetShift(random.Random() - 0.5);
      for (TLVNeuronLink& link : neuron.Links()) link.SetWeight(2 * random.Random() - 1);
    }
  }
  return net;
}

// The forward pass written over the object model, link by link.
std::vector<double> SlowForward(TLVNeuralNet& net, const std::vector<double>& in) {
  std::vector<std::vector<double>> out(static_cast<size_t>(net.LayerCount()));
  out[0] = in;
  for (int32_t l = 1; l < net.LayerCount(); ++l) {
    for (int32_t j = 0; j < net.Layers(l).NeuronsCount(); ++j) {
      const TLVNeuron& neuron = net.Layers(l).Neurons(j);
      double sum = neuron.GetShift();
      for (const TLVNeuronLink& link : neuron.Links()) {
        sum += link.GetWeight() * out[static_cast<size_t>(link.LinkLayerIndex())]
                                     [static_cast<size_t>(link.LinkNeuronIndex())];
      }
      out[static_cast<size_t>(l)].push_back(neuron.EffectiveFunction().Compute(sum));
    }
  }
  return out.back();
}

TEST(NeuralNet, NewNetworkHasStandardLinksBetweenNeighbours) {
  TLVNeuralNet net = MakeNet({3, 4, 2, 2});
  EXPECT_EQ(net.LayerCount(), 4);
  EXPECT_EQ(net.HidenLayerCount(), 2);
  EXPECT_EQ(net.InputCount(), 3);
  EXPECT_EQ(net.OutputCount(), 2);
  EXPECT_EQ(net.Layers(0).Neurons(1).LinksCount(), 0);
  const TLVNeuron& neuron = net.Layers(2).Neurons(1);
  ASSERT_EQ(neuron.LinksCount(), 4);
  const TLVNeuronLink& link = neuron.Links()[3];
  EXPECT_EQ(link.LinkLayerIndex(), 1);
  EXPECT_EQ(link.LinkNeuronIndex(), 3);
  EXPECT_EQ(&link.Neuron(), &net.Layers(1).Neurons(3));
  EXPECT_EQ(link.OwnerLayerIndex(), 2);
  EXPECT_EQ(link.OwnerNeuronIndex(), 1);
  EXPECT_EQ(link.LinkNeuronInfo(), "[1: 3]");
  EXPECT_EQ(net.Layers(3).Neurons(0).LinksCount(), 2);
}

TEST(NeuralNet, BlockForwardPassMatchesTheObjectModel) {
  // Mixed functions per neuron and a link that skips the hidden layer.
  TLVNeuralNet net = MakeNet({3, 5, 2});
  net.SetCommonTypeAF(false);
  net.Layers(1).SetCommonTypeAF(false);
  const T types[] = {T::afnSigmoid, T::afnHyperTan, T::afnArcTan, T::afnLog, T::afnRBF};
  for (int32_t j = 0; j < 5; ++j) {
    net.Layers(1).Neurons(j).ActivationFunction() = TLVActivationFunction(types[j], 1.5, 0.5);
  }
  net.Layers(2).ActivationFunction() = TLVActivationFunction(T::afnLinearBounded, 0.8, 1.2);
  net.Layers(2).Neurons(1).AddLink(0, 2, 0.75);

  const TLVRowIndex rows = 1500;  // more than one chunk of the kernel
  std::vector<double> in(static_cast<size_t>(rows * 3));
  TLVRandom random(3);
  for (double& v : in) v = 4 * random.Random() - 2;
  std::vector<double> out(static_cast<size_t>(rows * 2));
  net.Compute(in.data(), rows, rows, out.data(), rows);
  for (TLVRowIndex r : {0, 511, 1023, 1024, 1499}) {
    const std::vector<double> row = {in[r], in[rows + r], in[2 * rows + r]};
    const std::vector<double> expected = SlowForward(net, row);
    EXPECT_NEAR(out[r], expected[0], 1e-12) << r;
    EXPECT_NEAR(out[rows + r], expected[1], 1e-12) << r;
  }
  // The object model's view of one row.
  net.ComputeRow(std::vector<double>{in[7], in[rows + 7], in[2 * rows + 7]});
  EXPECT_NEAR(net.Layers(2).Neurons(1).GetOutput(), out[rows + 7], 1e-12);
  EXPECT_EQ(net.Layers(0).Neurons(2).GetOutput(), in[2 * rows + 7]);
}

TEST(NeuralNet, SavedAndReopenedNetworkComputesTheSame) {
  TLVNeuralNet net = MakeNet({2, 3, 1});
  net.SetCommonTypeAF(false);
  net.Layers(2).ActivationFunction() = TLVActivationFunction(T::afnLinear, 0.5);
  net.Layers(1).Neurons(2).parms = {0.25, -0.125, 3.5};
  net.Layers(2).Neurons(0).Links()[1].parms = {1.5, 2.5, -0.5};
  net.SetRepeatedComputeMaxCount(7);
  test::TMapSection section;
  net.SaveTo(section);
  EXPECT_EQ(section.Get("AutoCreateLinks"), "True");
  EXPECT_EQ(section.Get("RepeatedMaxCount"), "7");
  EXPECT_EQ(section.Get("HiddenNeurons"), "3");
  ASSERT_EQ(section.Items("Layer").size(), 3u);
  const ILVSettingsSection& neuron = *section.Items("Layer")[2]->Items("Neuron")[0];
  EXPECT_EQ(neuron.Items("Link").size(), 3u);
  EXPECT_EQ(neuron.Items("Link")[2]->Get("ToLayer"), "1");
  EXPECT_EQ(neuron.Items("Link")[2]->Get("ToNeuron"), "2");
  const ILVSettingsSection& teach =
      *section.FindSection("TeachParms")->Items("Layer_")[1]->Items("Neuron_")[2];
  EXPECT_EQ(teach.Get("ShiftPrevUpdate"), "-0.125");

  TLVNeuralNet read;
  read.LoadFrom(section);
  EXPECT_EQ(read.Matrices().params, net.Matrices().params);
  EXPECT_EQ(read.GetRepeatedComputeMaxCount(), 7);
  const std::vector<TLVTeachParms> a = net.TeachParms();
  const std::vector<TLVTeachParms> b = read.TeachParms();
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) {
    EXPECT_EQ(a[i].prevDelta, b[i].prevDelta);
    EXPECT_EQ(a[i].prevUpdate, b[i].prevUpdate);
    EXPECT_EQ(a[i].prevDerivative, b[i].prevDerivative);
  }
  const std::vector<double> in = {0.3, -0.7};
  read.ComputeRow(in);
  EXPECT_NEAR(read.Layers(2).Neurons(0).GetOutput(), SlowForward(net, in)[0], 1e-15);

  // A clone is independent of its original.
  std::unique_ptr<TLVAnalyticKernel> copy = net.Clone();
  net.Layers(1).Neurons(0).SetShift(9);
  EXPECT_NE(static_cast<TLVNeuralNet&>(*copy).Matrices().params, net.Matrices().params);
}

TEST(NeuralNet, StructureMessages) {
  TLVNeuralNet net = MakeNet({2, 3, 1});
  EXPECT_EQ(ErrorText([&] { net.Layers(0).Neurons(1).AddLink(0, 0); }),
            "Нейрон 1 входного слоя не может иметь связей");
  EXPECT_EQ(ErrorKey([&] { net.Layers(1).Neurons(0).AddLink(1, 0); }), "ErrPropertyValue");
  EXPECT_EQ(ErrorKey([&] { net.Layers(2).Neurons(0).AddLink(1, 0); }), "ErrPropertyValue");
  EXPECT_EQ(ErrorText([&] {
              net.SetHiddenNeurons({4, 0});
            }),
            "В скрытом слое 2 должен быть хотя бы один нейрон");
  EXPECT_EQ(ErrorText([&] { net.SetHiddenNeurons({10000}); }),
            "Кол-во нейронов в слое не может превышать 9999");
  EXPECT_EQ(net.GetHiddenNeurons(), std::vector<int32_t>{3});
  EXPECT_EQ(ErrorText([&] {
              net.ComputeRow(std::vector<double>{1, 2, 3});
            }),
            "Не сходится размерность данных 3 - 2");

  // A neuron whose function gives no number from a number cannot be computed.
  net.SetCommonTypeAF(false);
  net.Layers(1).SetCommonTypeAF(false);
  net.Layers(1).Neurons(2).ActivationFunction().SetFunctionType(T::afnCustom);
  net.Layers(1).Neurons(2).ActivationFunction().SetOnCompute([](double) { return std::nan(""); });
  EXPECT_EQ(ErrorText([&] {
              net.ComputeRow(std::vector<double>{1, 2});
            }),
            " Не удалось вычислить выход нейрона [1: 2]");
  // A missing input gives a missing output without failing.
  double out = 0;
  const double in[] = {std::nan(""), 1};
  net.Compute(in, 1, 1, &out, 1);
  EXPECT_TRUE(std::isnan(out));

  // A saved link into the input layer or beyond a layer's neurons is refused on reading.
  TLVNeuralNet good = MakeNet({2, 3, 1});
  test::TMapSection section;
  good.SaveTo(section);
  auto& firstInput =
      const_cast<ILVSettingsSection&>(*section.Items("Layer")[0]->Items("Neuron")[0]);
  ILVSettingsSection& bad = firstInput.AddItem("Link");
  bad.Put("ToLayer", "0");
  bad.Put("ToNeuron", "0");
  TLVNeuralNet read;
  EXPECT_EQ(ErrorKey([&] { read.LoadFrom(section); }), "ErrNeuralInputLinks");
}

// Central differences of half the squared error against the back-propagated gradient.
void CheckGradient(const TLVActivationFunction& function, double scale) {
  TLVNeuralNet net = MakeNet({3, 4, 2}, 11);
  net.ActivationFunction() = function;
  // Small weights keep the bounded type inside its bounds.
  TLVNeuralMatrices dense = net.Matrices();
  for (double& p : dense.params) p *= scale;
  const ptrdiff_t rows = 5;
  std::vector<double> in(static_cast<size_t>(rows * 3)), target(static_cast<size_t>(rows * 2));
  TLVRandom random(5);
  for (double& v : in) v = random.Random() - 0.5;
  for (double& v : target) v = random.Random();
  TLVNeuralMatrices::TWork work;
  std::vector<double> gradient(dense.params.size(), 0.0);
  dense.Forward(in.data(), rows, rows, work, true);
  dense.Backward(target.data(), rows, work, gradient.data());
  const double h = 1e-6;
  for (size_t i = 0; i < dense.params.size(); ++i) {
    const double keep = dense.params[i];
    dense.params[i] = keep + h;
    dense.Forward(in.data(), rows, rows, work, true);
    const double up = dense.ErrorOf(target.data(), rows, work);
    dense.params[i] = keep - h;
    dense.Forward(in.data(), rows, rows, work, true);
    const double down = dense.ErrorOf(target.data(), rows, work);
    dense.params[i] = keep;
    EXPECT_NEAR(gradient[i], (up - down) / (2 * h), 1e-7)
        << ValueName(function.GetFunctionType()) << " parameter " << i;
  }
}

TEST(NeuralNet, BackPropagatedGradientMatchesNumericOne) {
  CheckGradient(TLVActivationFunction(T::afnSigmoid, 1.7), 1);
  CheckGradient(TLVActivationFunction(T::afnHyperTan, 1), 1);  // no slope in its f'
  CheckGradient(TLVActivationFunction(T::afnArcTan), 1);
  CheckGradient(TLVActivationFunction(T::afnLinear, 0.6), 1);
  CheckGradient(TLVActivationFunction(T::afnLinearBounded, 0.6, 5), 0.2);
}

}  // namespace
}  // namespace lv
