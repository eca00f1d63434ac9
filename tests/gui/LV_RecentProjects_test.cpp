#include "gui/LV_RecentProjects.h"

#include <gtest/gtest.h>

#include "project/LV_ProjectTestHelpers.h"

namespace lv {
namespace {

TEST(RecentProjects, LatestFirstEachOnceAtMostEightAndKeptBetweenSessions) {
  test::TTempFolder folder;
  const QString ini = QString::fromStdString((folder / "settings.ini").string());
  auto file = [&](int i) {
    return QString::fromStdString((folder / ("p" + std::to_string(i) + ".lvp")).string());
  };
  {
    QSettings settings(ini, QSettings::IniFormat);
    TLVRecentProjects recent(settings);
    for (int i = 0; i < 10; ++i) recent.Add(file(i));
    ASSERT_EQ(recent.Files().size(), TLVRecentProjects::kMaxRecent);
    EXPECT_EQ(recent.Files().front(), file(9));
    EXPECT_EQ(recent.Files().back(), file(2));
    // The same file by another spelling moves to the front instead of being listed twice.
    recent.Add(QString::fromStdString((folder / "." / "p5.lvp").string()));
    EXPECT_EQ(recent.Files().size(), TLVRecentProjects::kMaxRecent);
    EXPECT_EQ(recent.Files().front(), file(5));
    EXPECT_EQ(recent.Files().count(file(5)), 1);
    recent.Remove(file(9));
  }
  QSettings settings(ini, QSettings::IniFormat);
  TLVRecentProjects again(settings);
  EXPECT_EQ(again.Files().size(), TLVRecentProjects::kMaxRecent - 1);
  EXPECT_EQ(again.Files().front(), file(5));
  EXPECT_FALSE(again.Files().contains(file(9)));
}

}  // namespace
}  // namespace lv
