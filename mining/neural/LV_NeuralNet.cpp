#include "mining/neural/LV_NeuralNet.h"

#include <algorithm>
#include <set>

#include "core/registry/LV_Properties.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

namespace {

using C = TLVTeacherStopConditionType;

void CheckNeuronCount(int32_t count) {
  if (count > TLVLayer::kMaxNeurons) throw ELVError("ErrNeuralMaxNeurons");
}

int32_t ReadIndex(const ILVSettingsSection& section, std::string_view name, int32_t limit) {
  const int32_t value = ReadSetting<int32_t>(section, name, -1);
  if (value < 0 || value >= limit) RaisePropertyValue(name, std::to_string(value));
  return value;
}

void SaveParms(ILVSettingsSection& item, const TLVTeachParms& parms, std::string_view update) {
  WriteSetting(item, "PrevDelta", parms.prevDelta);
  WriteSetting(item, update, parms.prevUpdate);
  WriteSetting(item, "PrevDerivative", parms.prevDerivative);
}

TLVTeachParms LoadParms(const ILVSettingsSection& item, std::string_view update) {
  return {ReadSetting(item, "PrevDelta", 0.0), ReadSetting(item, update, 0.0),
          ReadSetting(item, "PrevDerivative", 0.0)};
}

}  // namespace

// --- TLVNeuronLink ---

TLVNeuron& TLVNeuronLink::Neuron() const {
  return owner_->OwnerLayer().OwnerNet().Layers(layer_).Neurons(neuron_);
}

void TLVNeuronLink::SetWeight(double weight) {
  if (weight == weight_) return;
  weight_ = weight;
  owner_->OwnerLayer().OwnerNet().Changed();
}

double TLVNeuronLink::Output() const {
  return Neuron().GetOutput() * weight_;
}

TLVLayer& TLVNeuronLink::OwnerLayer() const {
  return owner_->OwnerLayer();
}

int32_t TLVNeuronLink::OwnerLayerIndex() const {
  return owner_->OwnerLayerIndex();
}

int32_t TLVNeuronLink::OwnerNeuronIndex() const {
  return owner_->Index();
}

std::string TLVNeuronLink::LinkNeuronInfo() const {
  // Appended piece by piece: GCC 12 misreads "literal" + string as an overlapping copy.
  std::string info(1, '[');
  info += std::to_string(layer_);
  info += ": ";
  info += std::to_string(neuron_);
  info += ']';
  return info;
}

// --- TLVNeuron ---

const TLVActivationFunction& TLVNeuron::EffectiveFunction() const {
  const TLVNeuralNet& net = owner_->OwnerNet();
  if (net.GetCommonTypeAF()) return net.ActivationFunction();
  if (owner_->GetCommonTypeAF()) return owner_->ActivationFunction();
  return function_;
}

void TLVNeuron::SetShift(double shift) {
  if (shift == shift_) return;
  shift_ = shift;
  owner_->OwnerNet().Changed();
}

int32_t TLVNeuron::OwnerLayerIndex() const {
  return owner_->Index();
}

TLVNeuronLink& TLVNeuron::AddLink(int32_t layer, int32_t neuron, double weight) {
  if (owner_->Index() == 0) throw ELVError("ErrNeuralInputLinks", {index_});
  TLVNeuralNet& net = owner_->OwnerNet();
  if (layer < 0 || layer >= owner_->Index()) RaisePropertyValue("ToLayer", std::to_string(layer));
  if (neuron < 0 || neuron >= net.Layers(layer).NeuronsCount() ||
      std::any_of(links_.begin(), links_.end(), [&](const TLVNeuronLink& link) {
        return link.LinkLayerIndex() == layer && link.LinkNeuronIndex() == neuron;
      })) {
    RaisePropertyValue("ToNeuron", std::to_string(neuron));
  }
  links_.emplace_back(*this, layer, neuron, weight);
  net.Changed();
  return links_.back();
}

// --- TLVLayer ---

void TLVLayer::SetCommonTypeAF(bool value) {
  if (value == commonTypeAF_) return;
  commonTypeAF_ = value;
  owner_->Changed();
}

TLVNeuron& TLVLayer::AddNeuron() {
  CheckNeuronCount(NeuronsCount() + 1);
  neurons_.push_back(std::make_unique<TLVNeuron>(*this, NeuronsCount()));
  TLVNeuralNet* net = owner_;
  neurons_.back()->ActivationFunction().SetOnChange([net] { net->Changed(); });
  owner_->Changed();
  return *neurons_.back();
}

// --- TLVNeuralNet ---

TLVNeuralNet::TLVNeuralNet() {
  function_.SetOnChange([this] { Changed(); });
}

TLVNeuralNet::TLVNeuralNet(const TLVNeuralNet& other)
    : TLVAnalyticKernel(other),
      function_(other.function_),
      commonTypeAF_(other.commonTypeAF_),
      autoLinks_(other.autoLinks_),
      reverseCompute_(other.reverseCompute_),
      repeatedCompute_(other.repeatedCompute_),
      repeatedMaxCount_(other.repeatedMaxCount_),
      repeatedDelta_(other.repeatedDelta_),
      hidden_(other.hidden_) {
  function_.SetOnChange([this] { Changed(); });
  for (const auto& from : other.layers_) {
    TLVLayer& layer = AddLayer();
    layer.ActivationFunction() = from->ActivationFunction();
    layer.SetCommonTypeAF(from->GetCommonTypeAF());
    for (int32_t j = 0; j < from->NeuronsCount(); ++j) {
      const TLVNeuron& source = from->Neurons(j);
      TLVNeuron& neuron = layer.AddNeuron();
      neuron.ActivationFunction() = source.ActivationFunction();
      neuron.SetShift(source.GetShift());
      neuron.parms = source.parms;
      for (const TLVNeuronLink& link : source.Links()) {
        neuron.AddLink(link.LinkLayerIndex(), link.LinkNeuronIndex(), link.GetWeight()).parms =
            link.parms;
      }
    }
  }
  matrices_ = other.matrices_;  // the same values: the dense form can be shared
}

TLVEnumSet<TLVTeacherStopConditionType> TLVNeuralNet::SupportedStopConditions() const {
  return {C::tecEpochCount,           C::tecTeachAvgError,
          C::tecTeachMaxError,        C::tecTeachPercentRecognized,
          C::tecTestAvgError,         C::tecTestMaxError,
          C::tecTestPercentRecognized};
}

void TLVNeuralNet::SetCommonTypeAF(bool value) {
  if (value == commonTypeAF_) return;
  commonTypeAF_ = value;
  Changed();
}

void TLVNeuralNet::SetRepeatedComputeMaxCount(int32_t value) {
  if (value < 1) RaisePropertyValue("RepeatedMaxCount", std::to_string(value));
  repeatedMaxCount_ = value;
}

void TLVNeuralNet::SetHiddenNeurons(std::vector<int32_t> counts) {
  for (size_t i = 0; i < counts.size(); ++i) {
    if (counts[i] < 1) throw ELVError("ErrNeuralZeroHidden", {static_cast<int32_t>(i + 1)});
    CheckNeuronCount(counts[i]);
  }
  hidden_ = std::move(counts);
}

TLVLayer& TLVNeuralNet::AddLayer() {
  layers_.push_back(std::make_unique<TLVLayer>(*this, LayerCount()));
  layers_.back()->ActivationFunction().SetOnChange([this] { Changed(); });
  Changed();
  return *layers_.back();
}

void TLVNeuralNet::ClearLayers() {
  layers_.clear();
  Changed();
}

void TLVNeuralNet::CreateStandartLinks() {
  for (int32_t l = 1; l < LayerCount(); ++l) {
    TLVLayer& layer = Layers(l);
    const int32_t sources = Layers(l - 1).NeuronsCount();
    for (int32_t j = 0; j < layer.NeuronsCount(); ++j) {
      TLVNeuron& neuron = layer.Neurons(j);
      neuron.Links().clear();
      neuron.Links().reserve(static_cast<size_t>(sources));
      for (int32_t k = 0; k < sources; ++k) neuron.AddLink(l - 1, k);
    }
  }
  Changed();
}

void TLVNeuralNet::DoInit() {
  ClearLayers();
  CheckNeuronCount(InputWidth());
  CheckNeuronCount(OutputWidth());
  std::vector<int32_t> sizes{InputWidth()};
  sizes.insert(sizes.end(), hidden_.begin(), hidden_.end());
  sizes.push_back(OutputWidth());
  for (int32_t size : sizes) {
    TLVLayer& layer = AddLayer();
    for (int32_t j = 0; j < size; ++j) layer.AddNeuron();
  }
  if (autoLinks_) CreateStandartLinks();
}

template <class F>
void TLVNeuralNet::ForEachParameter(const TLVNeuralMatrices& matrices, F&& f) const {
  for (int32_t l = 1; l < LayerCount(); ++l) {
    const TLVNeuralMatrices::TLayer& dense = matrices.layers[static_cast<size_t>(l)];
    TLVLayer& layer = Layers(l);
    for (int32_t j = 0; j < layer.NeuronsCount(); ++j) {
      TLVNeuron& neuron = layer.Neurons(j);
      f(dense.shiftOffset + static_cast<size_t>(j), &neuron, nullptr);
      for (TLVNeuronLink& link : neuron.Links()) {
        const auto source = std::find_if(
            dense.sources.begin(), dense.sources.end(),
            [&](const TLVNeuralMatrices::TSource& s) { return s.layer == link.LinkLayerIndex(); });
        const size_t index =
            source->offset +
            static_cast<size_t>(link.LinkNeuronIndex()) * static_cast<size_t>(dense.size) +
            static_cast<size_t>(j);
        f(index, &neuron, &link);
      }
    }
  }
}

const TLVNeuralMatrices& TLVNeuralNet::Matrices() const {
  if (matrices_) return *matrices_;
  auto dense = std::make_shared<TLVNeuralMatrices>();
  dense->layers.resize(layers_.size());
  for (int32_t l = 0; l < LayerCount(); ++l) {
    const TLVLayer& layer = Layers(l);
    TLVNeuralMatrices::TLayer& target = dense->layers[static_cast<size_t>(l)];
    target.size = layer.NeuronsCount();
    if (l == 0) continue;
    std::set<int32_t> sources;
    for (int32_t j = 0; j < layer.NeuronsCount(); ++j) {
      for (const TLVNeuronLink& link : layer.Neurons(j).Links()) {
        sources.insert(link.LinkLayerIndex());
      }
    }
    for (int32_t source : sources) dense->AddSource(l, source);
    dense->AddShifts(l);
    // One function for the layer when all its neurons compute alike: then it runs over
    // the whole layer at once.
    const TLVActivationFunction& first = layer.Neurons(0).EffectiveFunction();
    target.functions.push_back(first);
    for (int32_t j = 1; j < layer.NeuronsCount(); ++j) {
      if (!layer.Neurons(j).EffectiveFunction().SameAs(first)) {
        target.functions.clear();
        for (int32_t k = 0; k < layer.NeuronsCount(); ++k) {
          target.functions.push_back(layer.Neurons(k).EffectiveFunction());
        }
        break;
      }
    }
  }
  ForEachParameter(*dense, [&](size_t index, TLVNeuron* neuron, TLVNeuronLink* link) {
    dense->params[index] = link ? link->GetWeight() : neuron->GetShift();
    dense->mask[index] = 1;
  });
  for (TLVNeuralMatrices::TLayer& layer : dense->layers) {
    for (TLVNeuralMatrices::TSource& source : layer.sources) {
      const size_t n = static_cast<size_t>(layer.size) *
                       static_cast<size_t>(dense->layers[static_cast<size_t>(source.layer)].size);
      source.full = std::all_of(dense->mask.begin() + static_cast<ptrdiff_t>(source.offset),
                                dense->mask.begin() + static_cast<ptrdiff_t>(source.offset + n),
                                [](double m) { return m != 0; });
    }
  }
  matrices_ = dense;
  return *matrices_;
}

void TLVNeuralNet::SetParameters(const TLVNeuralMatrices& matrices,
                                 std::span<const TLVTeachParms> parms) {
  ForEachParameter(matrices, [&](size_t index, TLVNeuron* neuron, TLVNeuronLink* link) {
    if (link) {
      link->SetWeight(matrices.params[index]);
      link->parms = parms[index];
    } else {
      neuron->SetShift(matrices.params[index]);
      neuron->parms = parms[index];
    }
  });
  Changed();
  SetTrained(true);
}

std::vector<TLVTeachParms> TLVNeuralNet::TeachParms() const {
  const TLVNeuralMatrices& dense = Matrices();
  std::vector<TLVTeachParms> parms(dense.params.size());
  ForEachParameter(dense, [&](size_t index, TLVNeuron* neuron, TLVNeuronLink* link) {
    parms[index] = link ? link->parms : neuron->parms;
  });
  return parms;
}

void TLVNeuralNet::CheckDimensions(int32_t inputs, int32_t outputs) const {
  if (inputs != InputCount()) throw ELVError("ErrNeuralDimension", {inputs, InputCount()});
  if (outputs != OutputCount()) throw ELVError("ErrNeuralDimension", {outputs, OutputCount()});
}

void TLVNeuralNet::Compute(const double* in, ptrdiff_t ldIn, TLVRowIndex rows, double* out,
                           ptrdiff_t ldOut) const {
  CheckDimensions(InputWidth(), OutputWidth());
  const TLVNeuralMatrices& dense = Matrices();
  // A chunk's buffers are a few hundred kilobytes at most for networks of this size.
  constexpr TLVRowIndex kChunk = 1024;
  TLVNeuralMatrices::TWork work;
  for (TLVRowIndex at = 0; at < rows; at += kChunk) {
    const TLVRowIndex n = std::min(kChunk, rows - at);
    dense.Forward(in + at, ldIn, n, work, true);
    const double* y = dense.Outputs(work);
    for (int32_t k = 0; k < OutputCount(); ++k) {
      std::copy_n(y + k * n, n, out + k * ldOut + at);
    }
  }
}

void TLVNeuralNet::ComputeRow(std::span<const double> in) {
  CheckDimensions(static_cast<int32_t>(in.size()), OutputCount());
  const TLVNeuralMatrices& dense = Matrices();
  TLVNeuralMatrices::TWork work;
  dense.Forward(in.data(), 1, 1, work, true);
  for (int32_t l = 0; l < LayerCount(); ++l) {
    for (int32_t j = 0; j < Layers(l).NeuronsCount(); ++j) {
      Layers(l).Neurons(j).SetOutput(work.outputs[static_cast<size_t>(l)][static_cast<size_t>(j)]);
    }
  }
}

void TLVNeuralNet::SaveState(ILVSettingsSection& section) const {
  WriteSetting(section, "CommonTypeAF", commonTypeAF_);
  WriteSetting(section, "AutoCreateLinks", autoLinks_);
  WriteSetting(section, "ReverseCompute", reverseCompute_);
  WriteSetting(section, "RepeatedCompute", repeatedCompute_);
  WriteSetting(section, "RepeatedMaxCount", repeatedMaxCount_);
  WriteSetting(section, "RepeatedDeltaCount", repeatedDelta_);
  section.Put("HiddenNeurons", JoinSetting(hidden_));
  function_.SaveTo(section.AddSection("ActFunc"));
  ILVSettingsSection& teach = section.AddSection("TeachParms");
  for (const auto& layer : layers_) {
    ILVSettingsSection& item = section.AddItem("Layer");
    WriteSetting(item, "CommonTypeAF", layer->GetCommonTypeAF());
    layer->ActivationFunction().SaveTo(item.AddSection("ActFunc"));
    ILVSettingsSection& teachLayer = teach.AddItem("Layer_");
    for (int32_t j = 0; j < layer->NeuronsCount(); ++j) {
      const TLVNeuron& neuron = layer->Neurons(j);
      ILVSettingsSection& neuronItem = item.AddItem("Neuron");
      WriteSetting(neuronItem, "Shift", neuron.GetShift());
      neuron.ActivationFunction().SaveTo(neuronItem.AddSection("ActFunc"));
      ILVSettingsSection& teachNeuron = teachLayer.AddItem("Neuron_");
      SaveParms(teachNeuron, neuron.parms, "ShiftPrevUpdate");
      for (const TLVNeuronLink& link : neuron.Links()) {
        ILVSettingsSection& linkItem = neuronItem.AddItem("Link");
        WriteSetting(linkItem, "ToLayer", link.LinkLayerIndex());
        WriteSetting(linkItem, "ToNeuron", link.LinkNeuronIndex());
        WriteSetting(linkItem, "Weight", link.GetWeight());
        SaveParms(teachNeuron.AddItem("Link_"), link.parms, "PrevUpdate");
      }
    }
  }
}

void TLVNeuralNet::LoadState(const ILVSettingsSection& section) {
  commonTypeAF_ = ReadSetting(section, "CommonTypeAF", true);
  autoLinks_ = ReadSetting(section, "AutoCreateLinks", true);
  reverseCompute_ = ReadSetting(section, "ReverseCompute", false);
  repeatedCompute_ = ReadSetting(section, "RepeatedCompute", false);
  SetRepeatedComputeMaxCount(ReadSetting<int32_t>(section, "RepeatedMaxCount", 100));
  repeatedDelta_ = ReadSetting(section, "RepeatedDeltaCount", 0.001);
  if (std::optional<std::string> text = section.Get("HiddenNeurons")) {
    SetHiddenNeurons(SplitSetting<int32_t>(*text, "HiddenNeurons"));
  }
  if (const ILVSettingsSection* f = section.FindSection("ActFunc")) function_.LoadFrom(*f);
  const std::vector<const ILVSettingsSection*> layers = section.Items("Layer");
  if (layers.empty()) return;  // an untrained network keeps the shape InitKernel gave it
  ClearLayers();
  const ILVSettingsSection* teach = section.FindSection("TeachParms");
  const std::vector<const ILVSettingsSection*> teachLayers =
      teach ? teach->Items("Layer_") : std::vector<const ILVSettingsSection*>{};
  for (size_t l = 0; l < layers.size(); ++l) {
    const ILVSettingsSection& item = *layers[l];
    TLVLayer& layer = AddLayer();
    layer.SetCommonTypeAF(ReadSetting(item, "CommonTypeAF", true));
    if (const ILVSettingsSection* f = item.FindSection("ActFunc")) {
      layer.ActivationFunction().LoadFrom(*f);
    }
    const std::vector<const ILVSettingsSection*> teachNeurons =
        l < teachLayers.size() ? teachLayers[l]->Items("Neuron_")
                               : std::vector<const ILVSettingsSection*>{};
    const std::vector<const ILVSettingsSection*> neurons = item.Items("Neuron");
    CheckNeuronCount(static_cast<int32_t>(neurons.size()));
    for (size_t j = 0; j < neurons.size(); ++j) {
      TLVNeuron& neuron = layer.AddNeuron();
      neuron.SetShift(ReadSetting(*neurons[j], "Shift", 0.0));
      if (const ILVSettingsSection* f = neurons[j]->FindSection("ActFunc")) {
        neuron.ActivationFunction().LoadFrom(*f);
      }
      const ILVSettingsSection* teachNeuron = j < teachNeurons.size() ? teachNeurons[j] : nullptr;
      if (teachNeuron) neuron.parms = LoadParms(*teachNeuron, "ShiftPrevUpdate");
      const std::vector<const ILVSettingsSection*> teachLinks =
          teachNeuron ? teachNeuron->Items("Link_") : std::vector<const ILVSettingsSection*>{};
      const std::vector<const ILVSettingsSection*> links = neurons[j]->Items("Link");
      for (size_t k = 0; k < links.size(); ++k) {
        const int32_t from = ReadIndex(*links[k], "ToLayer", std::max<int32_t>(1, layer.Index()));
        const int32_t to = ReadIndex(*links[k], "ToNeuron", Layers(from).NeuronsCount());
        TLVNeuronLink& link = neuron.AddLink(from, to, ReadSetting(*links[k], "Weight", 0.0));
        if (k < teachLinks.size()) link.parms = LoadParms(*teachLinks[k], "PrevUpdate");
      }
    }
  }
  CheckDimensions(InputWidth(), OutputWidth());
}

void RegisterNeuralNetTexts() {
  RegisterActivFuncTexts();
  TLVLocalization::Instance().RegisterKeys(
      {"ErrNeuralDimension", "ErrNeuralNeuronCompute", "ErrNeuralInputLinks", "ErrNeuralMaxNeurons",
       "ErrNeuralZeroHidden", "NeuralCommonTypeAFCaption", "NeuralAutoLinksCaption",
       "NeuralReverseComputeCaption", "NeuralRepeatedComputeCaption",
       "NeuralRepeatedMaxCountCaption", "NeuralRepeatedDeltaCaption", "NeuralShiftCaption",
       "NeuralWeightCaption", "NeuralHiddenNeuronsCaption"});
}

}  // namespace lv
