#include "mining/LV_MiningStartup.h"

#include "mining/random/LV_Random.h"

namespace lv {

void MiningStartup() {
  // Each mining unit adds its registration call here.
  RegisterRandomTexts();
}

}  // namespace lv
