// The linear-regression node ("Линейная регрессия") and its registration in the
// catalogue of data-mining handlers: a model handler with the regression's kernel and
// teacher.
#pragma once

#include "mining/models/LV_ModelHandler.h"

namespace lv {

class TLVLinearRegression : public TLVModelHandler {
 public:
  TLVLinearRegression();
};

// Registers the node kind "LinearRegression" (once) and the texts it uses.
void RegisterLinearRegressionVendor();

}  // namespace lv
