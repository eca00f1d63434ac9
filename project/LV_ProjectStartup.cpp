#include "project/LV_ProjectStartup.h"

#include "project/LV_Config.h"
#include "project/LV_ConfigXML.h"
#include "project/LV_ModelTree.h"
#include "project/LV_NodeRun.h"
#include "project/LV_Project.h"
#include "project/LV_ProjectFile.h"
#include "project/LV_ProjectProperties.h"

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

}  // namespace lv
