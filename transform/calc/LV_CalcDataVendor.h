// The calculator's place in the catalogue of node kinds, and its start-up.
#pragma once

namespace lv {

void RegisterCalcDataUnits();

}  // namespace lv
