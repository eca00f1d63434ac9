#include "project/LV_ProjectStartup.h"

#include "core/LV_CoreStartup.h"
#include "env/LV_EnvStartup.h"
#include "io/LV_IoStartup.h"
#include "mining/LV_MiningStartup.h"
#include "project/LV_Config.h"
#include "project/LV_ConfigXML.h"
#include "project/LV_ModelTree.h"
#include "project/LV_NodeRun.h"
#include "project/LV_Project.h"
#include "project/LV_ProjectFile.h"
#include "project/LV_ProjectProperties.h"
#include "transform/LV_TransformStartup.h"

namespace lv {

void ProjectStartup() {
  RegisterConfigTexts();
  RegisterConfigXMLTexts();
  RegisterProjectPropertiesTexts();
  RegisterProjectFileTexts();
  RegisterModelTreeTexts();
  RegisterNodeRunTexts();
  RegisterProjectTexts();
  RegisterConfigXMLVendor(LVConfigVendors());
}

void EngineStartup() {
  CoreStartup();
  EnvStartup();
  IoStartup();
  TransformStartup();
  MiningStartup();
  ProjectStartup();
}

}  // namespace lv
