#include "mining/assoc/LV_AssnRulesStartup.h"

#include "mining/assoc/LV_AssnRulesCommon.h"
#include "mining/assoc/LV_AssnRulesTable.h"
#include "mining/assoc/LV_AssociationRules.h"
#include "mining/assoc/LV_AssociationRulesSource.h"
#include "mining/assoc/LV_AssociationRulesTeacher.h"
#include "mining/assoc/LV_AssociationRulesVendor.h"
#include "mining/assoc/LV_HashTrees.h"

namespace lv {

void RegisterAssociationRulesUnits() {
  RegisterHashTreeTexts();
  RegisterAssnRulesCommonTexts();
  RegisterAssociationRulesSourceTexts();
  RegisterAssociationRulesTexts();
  RegisterAssociationRulesTeacherTexts();
  RegisterAssnRulesTableTexts();
  RegisterAssociationRulesVendor();
}

}  // namespace lv
