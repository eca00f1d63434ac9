#include "transform/LV_TransformStartup.h"

namespace lv {

void TransformStartup() {
  // Each transformation unit adds its registration call here.
}

}  // namespace lv
