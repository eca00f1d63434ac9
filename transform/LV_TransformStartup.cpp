#include "transform/LV_TransformStartup.h"

#include "transform/LV_FilterVendor.h"

namespace lv {

void TransformStartup() {
  // Each transformation unit adds its registration call here.
  RegisterFilterVendors();
}

}  // namespace lv
