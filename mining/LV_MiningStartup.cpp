#include "mining/LV_MiningStartup.h"

#include "mining/LV_MiningTypes.h"
#include "mining/assoc/LV_AssnRulesStartup.h"
#include "mining/executors/LV_DataExecutor.h"
#include "mining/models/LV_LinearRegressionVendor.h"
#include "mining/neural/LV_NeuralNetVendor.h"
#include "mining/normalizers/LV_NormalizerVendor.h"
#include "mining/normalizers/LV_TunedNormDataSource.h"
#include "mining/random/LV_Random.h"
#include "mining/som/LV_SOMVendor.h"
#include "mining/teach/LV_TeachDataSource.h"
#include "mining/teachers/LV_Teacher.h"
#include "mining/tree/LV_DecisionTreeVendor.h"

namespace lv {

void MiningStartup() {
  // Each mining unit adds its registration call here.
  RegisterMiningTypesTexts();
  RegisterRandomTexts();
  RegisterNormalizerVendors();
  RegisterTunedNormDataSourceTexts();
  RegisterTeachDataSourceTexts();
  RegisterTeacherTexts();
  RegisterDataExecutorTexts();
  RegisterLinearRegressionVendor();
  RegisterNeuralNetVendor();
  RegisterSOMVendor();
  RegisterDecisionTreeVendor();
  RegisterAssociationRulesUnits();
}

}  // namespace lv
