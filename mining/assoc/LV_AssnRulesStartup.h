// Registers the association-rules units: their texts, their column vendor and node.
#pragma once

namespace lv {

void RegisterAssociationRulesUnits();

}  // namespace lv
