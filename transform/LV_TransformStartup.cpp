#include "transform/LV_TransformStartup.h"

#include "transform/calc/LV_CalcDataVendor.h"
#include "transform/filter/LV_FilterVendor.h"
#include "transform/formula/LV_FormulaStartup.h"
#include "transform/group/LV_GroupDataVendor.h"
#include "transform/sort/LV_SortingVendor.h"

namespace lv {

void TransformStartup() {
  // One call per node family (one sub-folder each); the formula language comes first
  // because the families' settings are checked with it.
  FormulaStartup();
  RegisterCalcDataUnits();
  RegisterFilterVendors();
  RegisterSortingVendors();
  RegisterGroupDataVendors();
}

}  // namespace lv
