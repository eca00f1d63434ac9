#include "io/LV_IoStartup.h"

namespace lv {

void IoStartup() {
  // Each node-kind unit adds its registration call here.
}

}  // namespace lv
