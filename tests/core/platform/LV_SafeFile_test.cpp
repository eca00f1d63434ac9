#include "core/platform/LV_SafeFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>

#include "LV_TestHelpers.h"
#include "core/text/LV_Errors.h"

namespace lv {
namespace {

namespace fs = std::filesystem;

// A fresh folder for the test.
fs::path Folder() {
  const auto* test = testing::UnitTest::GetInstance()->current_test_info();
  fs::path path = fs::path(testing::TempDir()) / ("lv_safefile_" + std::string(test->name()));
  fs::remove_all(path);
  fs::create_directories(path);
  return path;
}

// What a folder holds: "name=content;" per entry, by name.
std::string Listing(const fs::path& folder) {
  std::set<std::string> entries;
  for (const auto& entry : fs::directory_iterator(folder)) {
    std::string text = "<folder>";
    if (!entry.is_directory()) {
      std::ifstream in(entry.path(), std::ios::binary);
      text.assign(std::istreambuf_iterator<char>(in), {});
    }
    entries.insert(entry.path().filename().string() + "=" + text + ";");
  }
  std::string listing;
  for (const auto& entry : entries) listing += entry;
  return listing;
}

TEST(SafeFile, TargetChangesOnlyOnCommit) {
  const fs::path folder = Folder(), target = folder / "data.lvd";
  std::ofstream(target) << "old";
  {
    TLVSafeFile file(target);
    file.Write("new");
    EXPECT_EQ(file.TemporaryPath().parent_path(), folder);
    EXPECT_EQ(file.TemporaryPath().filename().string().rfind("data.lvd.tmp", 0), 0u);
    EXPECT_NE(Listing(folder).find("data.lvd=old;"), std::string::npos) << "not before the commit";
    TLVSafeFile other(target);  // a second writer of the same target gets its own name
    EXPECT_NE(other.TemporaryPath(), file.TemporaryPath());
    EXPECT_TRUE(fs::exists(file.TemporaryPath())) << "a live writer's file is not stale";
  }
  EXPECT_EQ(Listing(folder), "data.lvd=old;") << "abandoned writes leave nothing behind";

  TLVSafeFile file(target);
  file.Write("new ");
  file.Write("content");
  file.Commit();
  EXPECT_EQ(Listing(folder), "data.lvd=new content;");
  EXPECT_THROW(file.Write("more"), ELVError);
  fs::remove_all(folder);
}

TEST(SafeFile, MissingFoldersAreCreatedAndOneThatCannotBeIsNamed) {
  const fs::path folder = Folder();
  {
    TLVSafeFile file(folder / "2026" / "11-25" / "x.csv");
    file.Write("x");
    file.Commit();
  }
  EXPECT_EQ(Listing(folder / "2026" / "11-25"), "x.csv=x;");

  std::ofstream(folder / "plain") << "p";
  EXPECT_EQ(test::MessageOfFailure([&] { TLVSafeFile file(folder / "plain" / "sub" / "y.csv"); },
                                   "ErrSafeFileFolder"),
            "Не удалось создать папку \"" + (folder / "plain" / "sub").string() +
                "\" для файла \"" + (folder / "plain" / "sub" / "y.csv").string() +
                "\": часть пути не является папкой");
  EXPECT_EQ(Listing(folder), "2026=<folder>;plain=p;");
  fs::remove_all(folder);
}

// A writer killed outright leaves its temporary file unlocked; the next writer of the
// same target removes it, and nothing else.
TEST(SafeFile, TemporariesOfDeadWritersAreRemovedByTheNextWriter) {
  const fs::path folder = Folder(), target = folder / "data.csv";
  for (const char* name :
       {"data.csv.tmp0123abcd", "data.csv.tmpffffffff", "data.csv.tmp0123abc",
        "data.csv.tmp0123abcg", "data.csv.tmp0123abcde", "data.csv.tmp0123ABCD",
        "data.csv.old0123abcd", "other.csv.tmp0123abcd", "xdata.csv.tmp0123abcd"}) {
    std::ofstream(folder / name) << "left";
  }
  auto live = std::make_unique<TLVSafeFile>(target);
  const std::string liveName = live->TemporaryPath().filename().string();
  const std::string leftAlone =
      "data.csv.old0123abcd=left;data.csv.tmp0123ABCD=left;data.csv.tmp0123abc=left;"
      "data.csv.tmp0123abcde=left;data.csv.tmp0123abcg=left;other.csv.tmp0123abcd=left;"
      "xdata.csv.tmp0123abcd=left;";
  EXPECT_FALSE(fs::exists(folder / "data.csv.tmp0123abcd"));
  EXPECT_FALSE(fs::exists(folder / "data.csv.tmpffffffff"));

  {
    TLVSafeFile next(target);  // the live writer's file stays
    next.Write("next");
    next.Commit();
  }
  EXPECT_TRUE(fs::exists(folder / liveName));
  live.reset();
  EXPECT_EQ(Listing(folder),
            std::string(leftAlone).insert(leftAlone.find("other.csv"), "data.csv=next;"));
  EXPECT_EQ(RemoveStaleTemporaries(target), 0);
  fs::remove_all(folder);
}

TEST(SafeFile, FailuresNameTheTargetAndLeaveNothing) {
  const fs::path folder = Folder(), target = folder / "taken";
  // A folder in the way cannot be replaced by a file: the rename fails.
  fs::create_directory(target);
  TLVSafeFile file(target);
  file.Write("x");
  EXPECT_EQ(test::MessageOfFailure([&] { file.Commit(); }, "ErrSafeFileCommit"),
            "Не удалось заменить файл \"" + target.string() +
                "\": это папка, а не файл; файл не изменён");
  EXPECT_EQ(Listing(folder), "taken=<folder>;") << "the temporary file is gone";
  fs::remove_all(folder);
}

}  // namespace
}  // namespace lv
