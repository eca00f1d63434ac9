// Start-up of the formula language: its text keys, the built-in functions and the
// add-in function libraries. Every node family that evaluates formulas stands on it, so
// the transformation start-up calls it first.
#pragma once

namespace lv {

void FormulaStartup();

}  // namespace lv
