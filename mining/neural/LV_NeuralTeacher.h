// The teacher of the multilayer network: an epoch teacher with three algorithms.
//
// laBackProp changes the weights after every training row (with momentum on the link
// weights, none on the shifts) and puts the rows in a new random order every 20 epochs;
// laRProp sums the gradient over the training set and moves every weight by its own
// step (the step grows only while the gradient grows: a deliberate variant of the usual
// rule); laCG moves along conjugate directions (beta by CalcBeta) with a line search.
// The training rows are normalized once per training into dense matrices; an epoch runs
// on blocks of them, the batch algorithms in two fixed parts on two threads summed in a
// fixed order, so that the result does not depend on the machine.
//
// A new network gets its weights from the "Weights" random container (its seed is
// chosen from the clock once and saved). Everything an epoch depends on (weights,
// steps, last gradients and changes, the epoch number, the seed) is saved, so a
// training continued with "InitKernel" false goes on exactly where the last one ended.
#pragma once

#include <vector>

#include "mining/neural/LV_NeuralNet.h"
#include "mining/random/LV_Random.h"
#include "mining/teachers/LV_Teacher.h"

namespace lv {

enum class TLearningAlgorithm : uint8_t { laBackProp, laRProp, laCG };
enum class TCalcBeta : uint8_t { cbFletcherReeves, cbPolakRibiere, cbGenetic };
const TLVEnumDescriptor& DescribeEnum(TLearningAlgorithm);
const TLVEnumDescriptor& DescribeEnum(TCalcBeta);

class TLVNeuralTeacher : public TLVEpochTeacher {
 public:
  TLVNeuralTeacher() : weights_("Weights") {}

  TLearningAlgorithm GetLA() const { return la_; }
  void SetLA(TLearningAlgorithm value) { la_ = value; }
  // Setters refuse values that cannot train ("ErrPropertyValue" naming the key).
  double GetTeachRate() const { return teachRate_; }
  void SetTeachRate(double value);
  double GetMoment() const { return moment_; }
  void SetMoment(double value);
  double GetIncFactor() const { return incFactor_; }
  void SetIncFactor(double value);
  double GetDecFactor() const { return decFactor_; }
  void SetDecFactor(double value);
  double GetMaxStepSize() const { return maxStep_; }
  void SetMaxStepSize(double value);
  double GetMinStepSize() const { return minStep_; }
  void SetMinStepSize(double value);
  TCalcBeta GetCalcBeta() const { return calcBeta_; }
  void SetCalcBeta(TCalcBeta value) { calcBeta_ = value; }
  // Epochs between two progress reports.
  int32_t GetTempShow() const { return tempShow_; }
  void SetTempShow(int32_t value);

  TLVRandomContainer& Weights() { return weights_; }
  // Chooses the seed of the initial weights; kept with the project.
  void SetWeightsSeed(uint32_t seed) {
    weights_.SetRandSeed(seed);
    seedChosen_ = true;
  }

  // The resilient step rule for one value: its step, its gradient of this epoch and
  // of the last one. Returns the change of the value and updates step and last gradient.
  static double RPropStep(double gradient, double& step, double& prevGradient, double incFactor,
                          double decFactor, double minStep, double maxStep);

  void SaveTo(ILVSettingsSection& section) const override;
  void LoadFrom(const ILVSettingsSection& section) override;

 protected:
  void StartTeach() override;
  void DoTeach(ILVProgress* progress) override;
  void TeachEpoch(ILVProgress* progress) override;

 private:
  TLVNeuralNet& Net() const;
  void LoadRows();
  void InitWeights();
  // The half sum of squared errors of the training rows at `params`, and with
  // `gradient` their summed gradient too.
  double BatchPass(const TLVNeuralMatrices& net, std::vector<double>* gradient);
  void BackPropEpoch();
  void RPropEpoch();
  void CGEpoch();
  void WriteBack();

  TLearningAlgorithm la_ = TLearningAlgorithm::laRProp;
  double teachRate_ = 0.1;
  double moment_ = 0.9;
  double incFactor_ = 1.2;
  double decFactor_ = 0.5;
  double maxStep_ = 50;
  double minStep_ = 1e-16;
  TCalcBeta calcBeta_ = TCalcBeta::cbFletcherReeves;
  int32_t tempShow_ = 1;
  TLVRandomContainer weights_;
  bool seedChosen_ = false;

  // The state of one training, rebuilt by StartTeach.
  ptrdiff_t rows_ = 0;
  std::vector<double> inputs_;
  std::vector<double> targets_;
  std::vector<ptrdiff_t> order_;
  TLVNeuralMatrices dense_;
  TLVNeuralMatrices trial_;
  std::vector<double> step_;
  std::vector<double> prevUpdate_;
  std::vector<double> prevGradient_;
  std::vector<double> gradient_;
};

void RegisterNeuralTeacherTexts();

}  // namespace lv
