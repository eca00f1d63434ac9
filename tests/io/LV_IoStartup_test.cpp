// The io tests run after the start-up of every library they stand on, as the program
// does; the shared test main knows only the core, so the rest is hooked in here.
#include "io/LV_IoStartup.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/text/LV_Localization.h"
#include "env/LV_EnvStartup.h"

namespace lv {
namespace {

class TIoStartupEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    EnvStartup();
    IoStartup();
  }
};

[[maybe_unused]] testing::Environment* const kIoStartup =
    testing::AddGlobalTestEnvironment(new TIoStartupEnvironment);

TEST(IoStartup, EveryRegisteredKeyHasAText) {
  EXPECT_EQ(TLVLocalization::Instance().RegisteredKeysWithoutText(), std::vector<std::string>{});
}

}  // namespace
}  // namespace lv
