// The app tests run after the start-up the program performs, with the test node kinds
// of the project tests registered as well.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/LV_AppMain.h"
#include "core/text/LV_Localization.h"
#include "env/LV_EnvStartup.h"
#include "io/LV_IoStartup.h"
#include "mining/LV_MiningStartup.h"
#include "project/LV_ProjectStartup.h"
#include "project/LV_ProjectTestKinds.h"
#include "transform/LV_TransformStartup.h"

namespace lv {
namespace {

class TAppStartupEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    EnvStartup();
    IoStartup();
    TransformStartup();
    MiningStartup();
    ProjectStartup();
    AppStartup();
    test::RegisterProjectTestKinds();
  }
};

[[maybe_unused]] testing::Environment* const kAppStartup =
    testing::AddGlobalTestEnvironment(new TAppStartupEnvironment);

TEST(AppStartup, EveryRegisteredKeyHasAText) {
  EXPECT_EQ(TLVLocalization::Instance().RegisteredKeysWithoutText(), std::vector<std::string>{});
}

}  // namespace
}  // namespace lv
