// The multilayer feed-forward network: the kernel of the neural-network node.
//
// The object model (TLVNeuralNet -> TLVLayer -> TLVNeuron -> TLVNeuronLink) is what the
// project file stores and what a view of the network shows: every neuron with its
// function and shift, every link with its source and weight, and the training state
// of each (step, last gradient, last change) so that a training can continue. Layer 0
// is the input layer; a link always comes from a neuron of an earlier layer. A new
// network (InitKernel) has the input layer, one hidden layer per entry of
// HiddenNeurons and the output layer, and with AutoCreateStandartLinks every neuron is
// linked to every neuron of the layer before it.
//
// The forward pass and the training never walk the object model: Matrices() gives its
// dense form (LV_NeuralMatrices), built on first use and dropped by any change, and
// SetParameters writes trained values back. Single-threaded, like every kernel.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "mining/neural/LV_ActivFunc.h"
#include "mining/neural/LV_NeuralMatrices.h"
#include "mining/teachers/LV_AnalyticKernel.h"

namespace lv {

class TLVNeuralNet;
class TLVLayer;
class TLVNeuron;

// The training state every weight and shift carries between epochs and trainings.
struct TLVTeachParms {
  double prevDelta = 0;       // the step of the resilient method / the conjugate direction
  double prevUpdate = 0;      // the last change of the value
  double prevDerivative = 0;  // the gradient of the last epoch
};

class TLVNeuronLink {
 public:
  TLVNeuronLink(TLVNeuron& owner, int32_t layer, int32_t neuron, double weight)
      : owner_(&owner), layer_(layer), neuron_(neuron), weight_(weight) {}

  // The source neuron.
  TLVNeuron& Neuron() const;
  double GetWeight() const { return weight_; }
  void SetWeight(double weight);
  // The source neuron's output times the weight.
  double Output() const;
  int32_t LinkLayerIndex() const { return layer_; }
  int32_t LinkNeuronIndex() const { return neuron_; }
  TLVNeuron& OwnerNeuron() const { return *owner_; }
  TLVLayer& OwnerLayer() const;
  int32_t OwnerLayerIndex() const;
  int32_t OwnerNeuronIndex() const;
  // "[layer: neuron]" of the source.
  std::string LinkNeuronInfo() const;
  double GetPrevUpdate() const { return parms.prevUpdate; }

  TLVTeachParms parms;

 private:
  TLVNeuron* owner_;
  int32_t layer_;
  int32_t neuron_;
  double weight_;
};

class TLVNeuron {
 public:
  TLVNeuron(TLVLayer& owner, int32_t index) : owner_(&owner), index_(index) {}

  // The neuron's own function (used when neither the net nor the layer shares one).
  TLVActivationFunction& ActivationFunction() { return function_; }
  const TLVActivationFunction& ActivationFunction() const { return function_; }
  // The function the neuron computes with, after the net's and the layer's sharing.
  const TLVActivationFunction& EffectiveFunction() const;

  double GetShift() const { return shift_; }
  void SetShift(double shift);
  double GetOutput() const { return output_; }
  void SetOutput(double output) { output_ = output; }
  double GetDelta() const { return delta_; }
  void SetDelta(double delta) { delta_ = delta; }

  const std::vector<TLVNeuronLink>& Links() const { return links_; }
  std::vector<TLVNeuronLink>& Links() { return links_; }
  int32_t LinksCount() const { return static_cast<int32_t>(links_.size()); }
  // A link from neuron `neuron` of the earlier layer `layer`. An input neuron cannot
  // have links ("ErrNeuralInputLinks"); a source that does not exist is refused.
  TLVNeuronLink& AddLink(int32_t layer, int32_t neuron, double weight = 0);

  TLVLayer& OwnerLayer() const { return *owner_; }
  int32_t OwnerLayerIndex() const;
  int32_t Index() const { return index_; }

  TLVTeachParms parms;  // of the shift ("ShiftPrevUpdate" is parms.prevUpdate)

 private:
  TLVLayer* owner_;
  int32_t index_;
  TLVActivationFunction function_;
  double shift_ = 0;
  double output_ = 0;
  double delta_ = 0;
  std::vector<TLVNeuronLink> links_;
};

class TLVLayer {
 public:
  static constexpr int32_t kMaxNeurons = 9999;

  TLVLayer(TLVNeuralNet& owner, int32_t index) : owner_(&owner), index_(index) {}

  TLVActivationFunction& ActivationFunction() { return function_; }
  const TLVActivationFunction& ActivationFunction() const { return function_; }
  bool GetCommonTypeAF() const { return commonTypeAF_; }
  void SetCommonTypeAF(bool value);

  int32_t NeuronsCount() const { return static_cast<int32_t>(neurons_.size()); }
  TLVNeuron& Neurons(int32_t index) const { return *neurons_[static_cast<size_t>(index)]; }
  // Refused beyond kMaxNeurons ("ErrNeuralMaxNeurons").
  TLVNeuron& AddNeuron();

  TLVNeuralNet& OwnerNet() const { return *owner_; }
  int32_t Index() const { return index_; }

 private:
  TLVNeuralNet* owner_;
  int32_t index_;
  TLVActivationFunction function_;
  bool commonTypeAF_ = true;
  std::vector<std::unique_ptr<TLVNeuron>> neurons_;
};

class TLVNeuralNet : public TLVAnalyticKernel {
 public:
  static constexpr std::string_view kKernelName = "TLVNeuralNet";

  TLVNeuralNet();
  TLVNeuralNet(const TLVNeuralNet& other);
  TLVNeuralNet& operator=(const TLVNeuralNet&) = delete;

  std::string_view KernelName() const override { return kKernelName; }
  std::unique_ptr<TLVAnalyticKernel> Clone() const override {
    return std::make_unique<TLVNeuralNet>(*this);
  }
  bool CanContinueTeach() const override { return LayerCount() >= 2; }
  TLVEnumSet<TLVTeacherStopConditionType> SupportedStopConditions() const override;

  // The function every neuron uses while CommonTypeAF is on.
  TLVActivationFunction& ActivationFunction() { return function_; }
  const TLVActivationFunction& ActivationFunction() const { return function_; }
  bool GetCommonTypeAF() const { return commonTypeAF_; }
  void SetCommonTypeAF(bool value);
  bool GetAutoCreateStandartLinks() const { return autoLinks_; }
  void SetAutoCreateStandartLinks(bool value) { autoLinks_ = value; }
  // The recurrent modes are kept as settings only: the network computes one pass.
  bool GetReverseCompute() const { return reverseCompute_; }
  void SetReverseCompute(bool value) { reverseCompute_ = value; }
  bool GetRepeatedCompute() const { return repeatedCompute_; }
  void SetRepeatedCompute(bool value) { repeatedCompute_ = value; }
  int32_t GetRepeatedComputeCount() const { return 0; }
  int32_t GetRepeatedComputeMaxCount() const { return repeatedMaxCount_; }
  void SetRepeatedComputeMaxCount(int32_t value);
  double GetRepeatedComputeDelta() const { return repeatedDelta_; }
  void SetRepeatedComputeDelta(double value) { repeatedDelta_ = value; }

  // Neurons of each hidden layer of a new network; every entry is 1..9999
  // ("ErrNeuralZeroHidden", "ErrNeuralMaxNeurons").
  const std::vector<int32_t>& GetHiddenNeurons() const { return hidden_; }
  void SetHiddenNeurons(std::vector<int32_t> counts);

  int32_t LayerCount() const { return static_cast<int32_t>(layers_.size()); }
  int32_t HidenLayerCount() const { return std::max(0, LayerCount() - 2); }
  int32_t InputCount() const { return LayerCount() ? Layers(0).NeuronsCount() : 0; }
  int32_t OutputCount() const { return LayerCount() ? Layers(LayerCount() - 1).NeuronsCount() : 0; }
  TLVLayer& Layers(int32_t index) const { return *layers_[static_cast<size_t>(index)]; }
  TLVLayer& AddLayer();
  void ClearLayers();
  // Every neuron of each layer after the first gets a link from every neuron of the
  // layer before it (the links it has are dropped).
  void CreateStandartLinks();

  // The dense form, built on first use after a change.
  const TLVNeuralMatrices& Matrices() const;
  // Writes the weights and shifts of `matrices` (of the same structure) and the
  // training state (three values per entry, in the order of params) back.
  void SetParameters(const TLVNeuralMatrices& matrices, std::span<const TLVTeachParms> parms);
  // The training state in the order of Matrices().params.
  std::vector<TLVTeachParms> TeachParms() const;
  // Any change of the structure, a weight, a shift or a function.
  void Changed() { matrices_.reset(); }

  // Refuses data whose widths are not the network's ("ErrNeuralDimension").
  void CheckDimensions(int32_t inputs, int32_t outputs) const;
  void Compute(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
               ptrdiff_t ldOut) const override;
  // One row through the object model's view: sets every neuron's Output.
  void ComputeRow(std::span<const double> in);

 protected:
  // The input layer, the hidden layers and the output layer, linked as set, weights 0.
  void DoInit() override;
  void SaveState(ILVSettingsSection& section) const override;
  void LoadState(const ILVSettingsSection& section) override;

 private:
  template <class F>
  void ForEachParameter(const TLVNeuralMatrices& matrices, F&& f) const;

  TLVActivationFunction function_;
  bool commonTypeAF_ = true;
  bool autoLinks_ = true;
  bool reverseCompute_ = false;
  bool repeatedCompute_ = false;
  int32_t repeatedMaxCount_ = 100;
  double repeatedDelta_ = 0.001;
  std::vector<int32_t> hidden_{10};
  std::vector<std::unique_ptr<TLVLayer>> layers_;
  mutable std::shared_ptr<const TLVNeuralMatrices> matrices_;
};

void RegisterNeuralNetTexts();

}  // namespace lv
