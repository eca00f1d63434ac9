// The transform tests run after the start-up of every library they stand on, as the
// program does; the shared test main knows only the core, so the rest is hooked in here.
#include "transform/LV_TransformStartup.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/text/LV_Localization.h"
#include "env/LV_EnvStartup.h"

namespace lv {
namespace {

class TTransformStartupEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    EnvStartup();
    TransformStartup();
  }
};

[[maybe_unused]] testing::Environment* const kTransformStartup =
    testing::AddGlobalTestEnvironment(new TTransformStartupEnvironment);

TEST(TransformStartup, EveryRegisteredKeyHasAText) {
  EXPECT_EQ(TLVLocalization::Instance().RegisteredKeysWithoutText(), std::vector<std::string>{});
}

}  // namespace
}  // namespace lv
