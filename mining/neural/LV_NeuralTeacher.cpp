#include "mining/neural/LV_NeuralTeacher.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "core/platform/LV_RowParts.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "mining/LV_MiningSettings.h"

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kLANames{"laBackProp"sv, "laRProp"sv, "laCG"sv};
constexpr std::array kBetaNames{"cbFletcherReeves"sv, "cbPolakRibiere"sv, "cbGenetic"sv};
const TLVEnumDescriptor kLADescriptor{"TLearningAlgorithm", kLANames, true, true};
const TLVEnumDescriptor kBetaDescriptor{"TCalcBeta", kBetaNames, true, true};

// Rows of one block of a batch pass: the layers' buffers stay within the cache.
constexpr ptrdiff_t kChunkRows = 256;
// A part gets at least this many rows: below twice as many a second thread costs more
// than it saves. The number of parts depends on the rows only, never on the machine, so
// sums come out the same.
constexpr ptrdiff_t kRowsPerPart = 8192;
// The online algorithm reshuffles the training rows every this many epochs.
constexpr int32_t kReshuffleEpochs = 20;

double Dot(const std::vector<double>& a, const std::vector<double>& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

void RequirePositive(std::string_view key, double value) {
  if (!(value > 0) || !std::isfinite(value)) RaisePropertyValue(key, RealText(value));
}

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLearningAlgorithm) {
  return kLADescriptor;
}
const TLVEnumDescriptor& DescribeEnum(TCalcBeta) {
  return kBetaDescriptor;
}

void TLVNeuralTeacher::SetTeachRate(double value) {
  RequirePositive("TeachRate", value);
  teachRate_ = value;
}

void TLVNeuralTeacher::SetMoment(double value) {
  if (!(value >= 0 && value < 1)) RaisePropertyValue("Moment", RealText(value));
  moment_ = value;
}

void TLVNeuralTeacher::SetIncFactor(double value) {
  if (!(value >= 1) || !std::isfinite(value)) RaisePropertyValue("IncFactor", RealText(value));
  incFactor_ = value;
}

void TLVNeuralTeacher::SetDecFactor(double value) {
  if (!(value > 0 && value <= 1)) RaisePropertyValue("DecFactor", RealText(value));
  decFactor_ = value;
}

void TLVNeuralTeacher::SetMaxStepSize(double value) {
  RequirePositive("MaxStepSize", value);
  if (value < minStep_) RaisePropertyValue("MaxStepSize", RealText(value));
  maxStep_ = value;
}

void TLVNeuralTeacher::SetMinStepSize(double value) {
  RequirePositive("MinStepSize", value);
  if (value > maxStep_) RaisePropertyValue("MinStepSize", RealText(value));
  minStep_ = value;
}

void TLVNeuralTeacher::SetTempShow(int32_t value) {
  if (value < 1) RaisePropertyValue("TempShow", std::to_string(value));
  tempShow_ = value;
}

double TLVNeuralTeacher::RPropStep(double gradient, double& step, double& prevGradient,
                                   double incFactor, double decFactor, double minStep,
                                   double maxStep) {
  const double sign = gradient * prevGradient;
  if (sign > 0) {
    const double grown = std::abs(gradient) > std::abs(prevGradient) ? step * incFactor : step;
    step = std::max(minStep, std::min(maxStep, grown));
  } else if (sign < 0) {
    step = std::min(maxStep, std::max(minStep, step * decFactor));
  }
  prevGradient = gradient;
  return gradient > 0 ? -step : (gradient < 0 ? step : 0.0);
}

TLVNeuralNet& TLVNeuralTeacher::Net() const {
  return static_cast<TLVNeuralNet&>(Kernel());
}

void TLVNeuralTeacher::StartTeach() {
  TLVEpochTeacher::StartTeach();
  TLVNeuralNet& net = Net();
  TLVTunedNormDataSource& tuned = *Data().GetTunedNormDataSource();
  // A continued network must still fit the columns it is trained on.
  net.CheckDimensions(tuned.WidthOf(tuned.InputColumns()), tuned.WidthOf(tuned.OutputColumns()));
  LoadRows();
  const bool fresh = GetResult() == TLVTeachResult::trStarted;
  if (fresh) InitWeights();
  dense_ = net.Matrices();
  trial_ = dense_;
  const size_t count = dense_.params.size();
  step_.assign(count, 0.0);
  prevUpdate_.assign(count, 0.0);
  prevGradient_.assign(count, 0.0);
  gradient_.assign(count, 0.0);
  if (fresh) {
    // Every step starts at the learning rate; the conjugate direction starts empty.
    if (la_ != TLearningAlgorithm::laCG) {
      for (size_t i = 0; i < count; ++i) step_[i] = teachRate_ * dense_.mask[i];
    }
  } else {
    const std::vector<TLVTeachParms> parms = net.TeachParms();
    for (size_t i = 0; i < count; ++i) {
      step_[i] = parms[i].prevDelta;
      prevUpdate_[i] = parms[i].prevUpdate;
      prevGradient_[i] = parms[i].prevDerivative;
    }
  }
  order_.clear();
}

void TLVNeuralTeacher::LoadRows() {
  TLVTunedNormDataSource& tuned = *Data().GetTunedNormDataSource();
  const std::vector<TLVRowIndex>& rows = Data().Rows(TLVDataSourceType::dstTeach);
  const std::vector<int32_t> inputs = tuned.InputColumns();
  const std::vector<int32_t> outputs = tuned.OutputColumns();
  const int32_t p = tuned.WidthOf(inputs);
  const int32_t q = tuned.WidthOf(outputs);
  const auto total = static_cast<ptrdiff_t>(rows.size());
  inputs_.assign(static_cast<size_t>(total * p), 0.0);
  targets_.assign(static_cast<size_t>(total * q), 0.0);
  tuned.NormalizeRows(inputs, rows.data(), 0, total, inputs_.data(), total);
  tuned.NormalizeRows(outputs, rows.data(), 0, total, targets_.data(), total);
  // Rows with a missing component cannot teach: the complete ones move up, column by
  // column, and the matrices shrink to them.
  std::vector<ptrdiff_t> keep;
  keep.reserve(static_cast<size_t>(total));
  for (ptrdiff_t i = 0; i < total; ++i) {
    bool complete = true;
    for (int32_t j = 0; j < p && complete; ++j) complete = std::isfinite(inputs_[j * total + i]);
    for (int32_t j = 0; j < q && complete; ++j) complete = std::isfinite(targets_[j * total + i]);
    if (complete) keep.push_back(i);
  }
  const auto kept = static_cast<ptrdiff_t>(keep.size());
  auto compact = [&](std::vector<double>& m, int32_t width) {
    if (kept == total) return;
    std::vector<double> out(static_cast<size_t>(kept * width));
    for (int32_t j = 0; j < width; ++j) {
      for (ptrdiff_t i = 0; i < kept; ++i) out[j * kept + i] = m[j * total + keep[i]];
    }
    m = std::move(out);
  };
  compact(inputs_, p);
  compact(targets_, q);
  rows_ = kept;
}

void TLVNeuralTeacher::InitWeights() {
  if (!seedChosen_) {
    weights_.Randomize();
    seedChosen_ = true;
  }
  TLVNeuralNet& net = Net();
  TLVRandom random = weights_.Restart();
  // Layer by layer, neuron by neuron: the shift, then the links in their order, each
  // uniform in +-1 / sqrt(links of the neuron), which keeps the net input of a neuron
  // of order one for inputs in [0, 1].
  for (int32_t l = 1; l < net.LayerCount(); ++l) {
    TLVLayer& layer = net.Layers(l);
    for (int32_t j = 0; j < layer.NeuronsCount(); ++j) {
      TLVNeuron& neuron = layer.Neurons(j);
      const double range = 1 / std::sqrt(std::max(1.0, static_cast<double>(neuron.LinksCount())));
      neuron.SetShift((2 * random.Random() - 1) * range);
      neuron.parms = {};
      for (TLVNeuronLink& link : neuron.Links()) {
        link.SetWeight((2 * random.Random() - 1) * range);
        link.parms = {};
      }
    }
  }
}

void TLVNeuralTeacher::DoTeach(ILVProgress* progress) {
  try {
    TLVEpochTeacher::DoTeach(progress);
  } catch (...) {
    inputs_ = {};
    targets_ = {};
    throw;
  }
  inputs_ = {};
  targets_ = {};
}

double TLVNeuralTeacher::BatchPass(const TLVNeuralMatrices& net, std::vector<double>* gradient) {
  const int parts = static_cast<int>(std::clamp<ptrdiff_t>(rows_ / kRowsPerPart, 1, 2));
  const ptrdiff_t per = (rows_ + parts - 1) / parts;
  std::vector<std::vector<double>> gradients(static_cast<size_t>(parts));
  std::vector<double> errors(static_cast<size_t>(parts), 0.0);
  LVRunInParts(parts, [&](int part, const std::atomic<bool>& stop) {
    const ptrdiff_t first = part * per;
    const ptrdiff_t last = std::min(rows_, first + per);
    std::vector<double>& local = gradients[static_cast<size_t>(part)];
    if (gradient) local.assign(net.params.size(), 0.0);
    TLVNeuralMatrices::TWork work;
    double error = 0;
    for (ptrdiff_t at = first; at < last && !stop; at += kChunkRows) {
      const ptrdiff_t n = std::min(kChunkRows, last - at);
      net.Forward(inputs_.data() + at, rows_, n, work, false);
      const double* target = targets_.data() + at;
      error += gradient ? net.Backward(target, rows_, work, local.data())
                        : net.ErrorOf(target, rows_, work);
    }
    errors[static_cast<size_t>(part)] = error;
  });
  if (gradient) {
    gradient->assign(net.params.size(), 0.0);
    for (const std::vector<double>& local : gradients) {
      for (size_t i = 0; i < local.size(); ++i) (*gradient)[i] += local[i];
    }
  }
  return std::accumulate(errors.begin(), errors.end(), 0.0);
}

void TLVNeuralTeacher::BackPropEpoch() {
  const int32_t epoch = GetCurrentEpoch();
  if (order_.empty() || epoch % kReshuffleEpochs == 0) {
    // The order of a run of 20 epochs depends on the seed and the run's number only, so
    // a continued training draws the same order as one that never stopped.
    order_.resize(static_cast<size_t>(rows_));
    std::iota(order_.begin(), order_.end(), ptrdiff_t{0});
    const auto run = static_cast<uint32_t>(epoch / kReshuffleEpochs);
    TLVRandom random(weights_.GetRandSeed() + 0x9E3779B9u * (run + 1));
    random.Shuffle(std::span<ptrdiff_t>(order_));
  }
  TLVNeuralMatrices::TWork work;
  const size_t count = dense_.params.size();
  for (ptrdiff_t row : order_) {
    std::fill(gradient_.begin(), gradient_.end(), 0.0);
    dense_.Forward(inputs_.data() + row, rows_, 1, work, false);
    dense_.Backward(targets_.data() + row, rows_, work, gradient_.data());
    for (size_t i = 0; i < count; ++i) {
      const double change =
          moment_ * dense_.weightMask[i] * prevUpdate_[i] - teachRate_ * gradient_[i];
      dense_.params[i] += change;
      prevUpdate_[i] = change;
    }
  }
}

void TLVNeuralTeacher::RPropEpoch() {
  BatchPass(dense_, &gradient_);
  for (size_t i = 0; i < dense_.params.size(); ++i) {
    if (dense_.mask[i] == 0) continue;
    const double change = RPropStep(gradient_[i], step_[i], prevGradient_[i], incFactor_,
                                    decFactor_, minStep_, maxStep_);
    dense_.params[i] += change;
    prevUpdate_[i] = change;
  }
}

void TLVNeuralTeacher::CGEpoch() {
  const double e0 = BatchPass(dense_, &gradient_);
  std::vector<double>& direction = step_;  // the last direction, saved as "PrevDelta"
  const double gg = Dot(gradient_, gradient_);
  if (gg == 0) return;  // at a stationary point nothing moves
  const double previous = Dot(prevGradient_, prevGradient_);
  double beta = 0;
  if (previous > 0) {
    const double fletcherReeves = gg / previous;
    const double polakRibiere = (gg - Dot(gradient_, prevGradient_)) / previous;
    switch (calcBeta_) {
      case TCalcBeta::cbFletcherReeves:
        beta = fletcherReeves;
        break;
      case TCalcBeta::cbPolakRibiere:
        beta = std::max(0.0, polakRibiere);
        break;
      case TCalcBeta::cbGenetic:
        // The hybrid of both: Polak-Ribiere where it is safe, never beyond
        // Fletcher-Reeves, which keeps the directions descending.
        beta = std::max(0.0, std::min(polakRibiere, fletcherReeves));
        break;
    }
  }
  const size_t count = direction.size();
  for (size_t i = 0; i < count; ++i) direction[i] = -gradient_[i] + beta * direction[i];
  double slope = Dot(gradient_, direction);
  if (slope >= 0) {  // not a descent direction: start again from the gradient
    for (size_t i = 0; i < count; ++i) direction[i] = -gradient_[i];
    slope = -gg;
  }
  // The line search starts from the last step's length (or the learning rate), fits a
  // parabola through E(0), E'(0) and E(eta) and takes the better of the two points;
  // when neither lowers the error it shrinks the step.
  const double norm = std::sqrt(Dot(direction, direction));
  const double lastLength = std::sqrt(Dot(prevUpdate_, prevUpdate_));
  double eta = (lastLength > 0 ? lastLength : teachRate_) / norm;
  auto errorAt = [&](double at) {
    for (size_t i = 0; i < count; ++i) trial_.params[i] = dense_.params[i] + at * direction[i];
    return BatchPass(trial_, nullptr);
  };
  double best = 0;
  double bestError = e0;
  for (int attempt = 0; attempt < 8 && best == 0; ++attempt, eta *= 0.25) {
    const double e1 = errorAt(eta);
    if (e1 < bestError) {
      best = eta;
      bestError = e1;
    }
    const double curvature = (e1 - e0 - slope * eta) / (eta * eta);
    if (curvature > 0) {
      const double vertex = std::min(-slope / (2 * curvature), 4 * eta);
      const double e2 = errorAt(vertex);
      if (e2 < bestError) {
        best = vertex;
        bestError = e2;
      }
    }
  }
  for (size_t i = 0; i < count; ++i) {
    prevUpdate_[i] = best * direction[i];
    dense_.params[i] += prevUpdate_[i];
    prevGradient_[i] = gradient_[i];
  }
}

void TLVNeuralTeacher::WriteBack() {
  std::vector<TLVTeachParms> parms(dense_.params.size());
  for (size_t i = 0; i < parms.size(); ++i) {
    parms[i] = {step_[i], prevUpdate_[i], prevGradient_[i]};
  }
  Net().SetParameters(dense_, parms);
}

void TLVNeuralTeacher::TeachEpoch(ILVProgress* progress) {
  (void)progress;
  switch (la_) {
    case TLearningAlgorithm::laBackProp:
      BackPropEpoch();
      break;
    case TLearningAlgorithm::laRProp:
      RPropEpoch();
      break;
    case TLearningAlgorithm::laCG:
      CGEpoch();
      break;
  }
  WriteBack();
}

void TLVNeuralTeacher::SaveTo(ILVSettingsSection& section) const {
  TLVEpochTeacher::SaveTo(section);
  WriteSetting(section, "LA", la_);
  WriteSetting(section, "TeachRate", teachRate_);
  WriteSetting(section, "Moment", moment_);
  WriteSetting(section, "IncFactor", incFactor_);
  WriteSetting(section, "DecFactor", decFactor_);
  WriteSetting(section, "MaxStepSize", maxStep_);
  WriteSetting(section, "MinStepSize", minStep_);
  WriteSetting(section, "CalcBeta", calcBeta_);
  WriteSetting(section, "TempShow", tempShow_);
  if (seedChosen_) weights_.SaveTo(section);
}

void TLVNeuralTeacher::LoadFrom(const ILVSettingsSection& section) {
  // Read into a copy first: a bad value leaves this teacher as it was.
  TLVNeuralTeacher read;
  read.SetLA(ReadSetting(section, "LA", TLearningAlgorithm::laRProp));
  read.SetMaxStepSize(ReadSetting(section, "MaxStepSize", 50.0));
  read.SetMinStepSize(ReadSetting(section, "MinStepSize", 1e-16));
  read.SetTeachRate(ReadSetting(section, "TeachRate", 0.1));
  read.SetMoment(ReadSetting(section, "Moment", 0.9));
  read.SetIncFactor(ReadSetting(section, "IncFactor", 1.2));
  read.SetDecFactor(ReadSetting(section, "DecFactor", 0.5));
  read.SetCalcBeta(ReadSetting(section, "CalcBeta", TCalcBeta::cbFletcherReeves));
  read.SetTempShow(ReadSetting<int32_t>(section, "TempShow", 1));
  read.seedChosen_ = section.FindSection("Weights") != nullptr;
  read.weights_.LoadFrom(section);
  TLVEpochTeacher::LoadFrom(section);
  la_ = read.la_;
  teachRate_ = read.teachRate_;
  moment_ = read.moment_;
  incFactor_ = read.incFactor_;
  decFactor_ = read.decFactor_;
  maxStep_ = read.maxStep_;
  minStep_ = read.minStep_;
  calcBeta_ = read.calcBeta_;
  tempShow_ = read.tempShow_;
  weights_ = read.weights_;
  seedChosen_ = read.seedChosen_;
}

void RegisterNeuralTeacherTexts() {
  RegisterEnumTexts(kLADescriptor);
  RegisterEnumTexts(kBetaDescriptor);
  TLVLocalization::Instance().RegisterKeys({"NeuralTeachRateCaption", "NeuralMomentCaption",
                                            "NeuralIncFactorCaption", "NeuralDecFactorCaption",
                                            "NeuralMaxStepCaption", "NeuralMinStepCaption",
                                            "NeuralTempShowCaption"});
}

}  // namespace lv
