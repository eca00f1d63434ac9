// The self-organising map node ("Карта Кохонена") and its registration in the
// catalogue of data-mining handlers: a model handler with the clustered map as its
// kernel and the map's teacher.
#pragma once

#include "mining/models/LV_ModelHandler.h"

namespace lv {

class TLVSOMWithClusters;
class TLVSOMTeacher;

class TLVSOM : public TLVModelHandler {
 public:
  TLVSOM();
  TLVSOMWithClusters& SOM() const;
  TLVSOMTeacher& SOMTeacher();
  // The result, the grid, the training rows, the quality and the clusters: a map has
  // no error statistics of its sets to report.
  std::string TeachSummary() const override;
};

// Registers the node kind "SOM" (once) and the texts it uses.
void RegisterSOMVendor();

}  // namespace lv
