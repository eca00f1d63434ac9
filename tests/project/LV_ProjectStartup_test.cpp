// The project tests run after the start-up of every library they stand on, as the
// program does, and with the test node kinds registered.
#include "project/LV_ProjectStartup.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/text/LV_Localization.h"
#include "env/LV_EnvStartup.h"
#include "io/LV_IoStartup.h"
#include "mining/LV_MiningStartup.h"
#include "project/LV_ProjectTestKinds.h"
#include "transform/LV_TransformStartup.h"

namespace lv {
namespace {

class TProjectStartupEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    EnvStartup();
    IoStartup();
    TransformStartup();
    MiningStartup();
    ProjectStartup();
    test::RegisterProjectTestKinds();
  }
};

[[maybe_unused]] testing::Environment* const kProjectStartup =
    testing::AddGlobalTestEnvironment(new TProjectStartupEnvironment);

TEST(ProjectStartup, EveryRegisteredKeyHasAText) {
  EXPECT_EQ(TLVLocalization::Instance().RegisteredKeysWithoutText(), std::vector<std::string>{});
}

TEST(ProjectStartup, ConfigurationMessagesHaveTheirOwnTexts) {
  EXPECT_EQ(LVText("ErrVersionConflict"),
            "Параметры сохраненного элемента имеют большую версию %d, чем текущий элемент %d "
            "класса %s");
  EXPECT_EQ(LVText("ErrInvalidInteger"),
            "Строка \"%s\" не является правильный представлением целого числа");
  EXPECT_EQ(LVText("ErrDeleteAttrListIntfRefCount"),
            "Невозможно удалить список атрибутов из-за наличия на него интерфейсных ссылок: %d");
  EXPECT_EQ(LVText("ErrProjectUnknownFormat"),
            "Нераспознаваемый формат проекта Lumivera.\r\nФайл (%s).\r\nПроект будет закрыт.");
}

}  // namespace
}  // namespace lv
