// The environment tests run after the environment library's own start-up, as the
// program does: the shared test main knows only the core, so the start-up is hooked in
// as a test environment of this program.
#include "env/LV_EnvStartup.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/text/LV_Localization.h"

namespace lv {
namespace {

class TEnvStartupEnvironment : public testing::Environment {
 public:
  void SetUp() override { EnvStartup(); }
};

[[maybe_unused]] testing::Environment* const kEnvStartup =
    testing::AddGlobalTestEnvironment(new TEnvStartupEnvironment);

TEST(EnvStartup, EveryRegisteredKeyHasAText) {
  auto& table = TLVLocalization::Instance();
  EXPECT_TRUE(table.RegisteredKeys().contains("ErrEnvVarAssign"));
  EXPECT_TRUE(table.RegisteredKeys().contains("ErrLogLock"));
  EXPECT_TRUE(table.RegisteredKeys().contains("ErrVarFileLine"));
  EXPECT_TRUE(table.RegisteredKeys().contains("TLVLogType.lgtDir"));
  EXPECT_EQ(table.RegisteredKeysWithoutText(), std::vector<std::string>{});
}

}  // namespace
}  // namespace lv
