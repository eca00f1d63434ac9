#include "core/LV_SafeFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "core/LV_Errors.h"

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

TEST(SafeFile, FailuresNameTheTargetAndLeaveNothing) {
  const fs::path folder = Folder(), target = folder / "taken";
  EXPECT_THROW(TLVSafeFile(folder / "no such folder" / "x.lvd"), ELVError);
  // A folder in the way cannot be replaced by a file: the rename fails.
  fs::create_directory(target);
  TLVSafeFile file(target);
  file.Write("x");
  try {
    file.Commit();
    FAIL();
  } catch (const ELVError& e) {
    EXPECT_EQ(e.Key(), "ErrSafeFileCommit");
    EXPECT_NE(std::string(e.what()).find(target.string()), std::string::npos);
  }
  EXPECT_EQ(Listing(folder), "taken=<folder>;") << "the temporary file is gone";
  fs::remove_all(folder);
}

}  // namespace
}  // namespace lv
