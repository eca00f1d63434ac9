// The dense form of a multilayer network, on which the forward pass and training run.
//
// Every weight and shift of the network is one entry of the flat vector `params`: for
// each layer after the input one, a column-major block of weights (neurons x source
// neurons) per earlier layer that feeds it, then the layer's shifts. A link that does
// not exist is a zero weight whose entry of `mask` is 0, so that the training keeps it
// at zero; shifts have mask 1 and weightMask 0 (momentum moves link weights only).
// Rows go through a chunk at a time as column-major matrices (a row per table row),
// so the cost per row is a few matrix products, whatever the network's object model.
// A value object; a TWork buffer belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mining/neural/LV_ActivFunc.h"

namespace lv {

class TLVNeuralMatrices {
 public:
  struct TSource {
    int32_t layer = 0;  // the earlier layer whose outputs feed the block
    size_t offset = 0;  // where the block starts in params
    bool full = false;  // every link of the block exists (nothing to mask)
  };
  struct TLayer {
    int32_t size = 0;
    std::vector<TSource> sources;
    size_t shiftOffset = 0;
    // One function when every neuron of the layer uses the same, else one per neuron.
    std::vector<TLVActivationFunction> functions;
  };
  // The outputs and error terms of every layer for one chunk of rows.
  struct TWork {
    ptrdiff_t rows = 0;
    std::vector<std::vector<double>> outputs;
    std::vector<std::vector<double>> deltas;
    std::vector<double> derivative;
    std::vector<uint8_t> incomplete;
  };

  std::vector<TLayer> layers;
  std::vector<double> params;
  std::vector<double> mask;
  std::vector<double> weightMask;

  int32_t InputCount() const { return layers.empty() ? 0 : layers.front().size; }
  int32_t OutputCount() const { return layers.empty() ? 0 : layers.back().size; }
  // Adds the weights of a block from `source` into `layer` (all masked off) and returns
  // its offset; shifts are added by AddShifts once a layer's blocks are all there.
  size_t AddSource(int32_t layer, int32_t source);
  void AddShifts(int32_t layer);

  // Computes every layer for `rows` rows of inputs (column-major, leading dimension
  // ldIn). With `check`, a neuron that gives no number from a row whose inputs are all
  // numbers raises "ErrNeuralNeuronCompute" with its layer and neuron.
  void Forward(const double* in, ptrdiff_t ldIn, ptrdiff_t rows, TWork& work, bool check) const;
  // The last layer's outputs of the last Forward (leading dimension work.rows).
  const double* Outputs(const TWork& work) const { return work.outputs.back().data(); }
  // After Forward: back-propagates the error against the targets (leading dimension
  // ldTarget) and adds the gradient of every weight and shift (masked) to `gradient`.
  // Returns half the sum of squared differences of the chunk.
  double Backward(const double* target, ptrdiff_t ldTarget, TWork& work, double* gradient) const;
  // Half the sum of squared differences after Forward.
  double ErrorOf(const double* target, ptrdiff_t ldTarget, const TWork& work) const;
};

}  // namespace lv
