#include "io/LV_IoStartup.h"

#include "io/LV_NativeVendor.h"
#include "io/LV_TextFileVendor.h"

namespace lv {

void IoStartup() {
  // Each node-kind unit adds its registration call here.
  RegisterTextFileUnits();
  RegisterNativeFileVendors();
}

}  // namespace lv
