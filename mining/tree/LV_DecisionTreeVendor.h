// The decision-tree node ("Дерево решений") and its registration in the catalogue of
// data-mining handlers: a model handler with the C4.5 teacher and the tree kernel.
#pragma once

#include "mining/models/LV_ModelHandler.h"
#include "mining/tree/LV_DecisionTrees.h"
#include "mining/tree/LV_DsTreeTeacherC45.h"

namespace lv {

class TLVDecisionTreeHandler : public TLVModelHandler {
 public:
  TLVDecisionTreeHandler();

  TLVDsTreeTeacherC45& TreeTeacher() { return static_cast<TLVDsTreeTeacherC45&>(Teacher()); }
  const TLVDecisionTree& Tree() const { return static_cast<const TLVDecisionTree&>(*Kernel()); }
};

// Registers the node kind "DecisionTree" (once) and the texts its units use.
void RegisterDecisionTreeVendor();

}  // namespace lv
