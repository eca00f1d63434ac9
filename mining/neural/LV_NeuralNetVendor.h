// The neural-network node ("Многослойная нейронная сеть") and its registration in the
// catalogue of data-mining handlers: a model handler with the network as its kernel
// and the neural teacher. Its linear normalizers map to [0, 1], the range the
// network's default sigmoid gives.
#pragma once

#include "mining/models/LV_ModelHandler.h"

namespace lv {

class TLVNeuralNetHandler : public TLVModelHandler {
 public:
  TLVNeuralNetHandler();
};

// Registers the node kind "NeuralNet" (once) and the texts it uses.
void RegisterNeuralNetVendor();

}  // namespace lv
