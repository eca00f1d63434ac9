#include "mining/LV_MiningStartup.h"

#include "mining/normalizers/LV_NormalizerVendor.h"
#include "mining/normalizers/LV_TunedNormDataSource.h"
#include "mining/random/LV_Random.h"

namespace lv {

void MiningStartup() {
  // Each mining unit adds its registration call here.
  RegisterRandomTexts();
  RegisterNormalizerVendors();
  RegisterTunedNormDataSourceTexts();
}

}  // namespace lv
