#include "core/platform/LV_ReadFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "LV_TestHelpers.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_SystemError.h"

namespace lv {
namespace {

namespace fs = std::filesystem;

fs::path Folder() {
  const auto* test = testing::UnitTest::GetInstance()->current_test_info();
  fs::path path = fs::path(testing::TempDir()) / ("lv_readfile_" + std::string(test->name()));
  fs::remove_all(path);
  fs::create_directories(path);
  return path;
}

// The key and message of what reading `path` raises.
std::pair<std::string, std::string> Failure(const fs::path& path, std::string_view key) {
  auto read = [&] { LVReadWholeFile(path, key); };
  return {test::KeyOf(read), test::MessageOf(read)};
}

TEST(ReadFile, ReadsEveryByteOfFilesLargerThanOneRead) {
  const fs::path folder = Folder();
  std::string content;
  for (int i = 0; i < 30000; ++i) content += std::to_string(i) + (i % 7 ? ";" : "\r\n");
  content += std::string("\0\xFF", 2);
  ASSERT_GT(content.size(), size_t{1} << 16);
  std::ofstream(folder / "big.txt", std::ios::binary) << content;
  EXPECT_EQ(LVReadWholeFile(folder / "big.txt"), content);
  std::ofstream(folder / "empty.txt", std::ios::binary).flush();
  EXPECT_EQ(LVReadWholeFile(folder / "empty.txt"), "");
  fs::remove_all(folder);
}

TEST(ReadFile, MistakesAreRefusedInRussianNamingTheFile) {
  const fs::path folder = Folder();
  auto [dirKey, dirText] = Failure(folder, "ErrParamFileOpen");
  EXPECT_EQ(dirKey, "ErrParamFileOpen");  // the caller's own words
  EXPECT_EQ(dirText, "Не удалось открыть файл параметров приложения \"" + folder.string() +
                         "\": " + LVSystemErrorText(EISDIR));
  EXPECT_EQ(LVSystemErrorText(EISDIR), "это папка, а не файл");

  auto [missingKey, missingText] = Failure(folder / "none.txt", "ErrFileRead");
  EXPECT_EQ(missingKey, "ErrFileRead");
  EXPECT_EQ(missingText, "Не удалось прочитать файл \"" + (folder / "none.txt").string() +
                             "\": файл или папка не существует");

  std::ofstream(folder / "plain") << "x";
  EXPECT_NE(Failure(folder / "plain" / "x.txt", "ErrFileRead")
                .second.find("часть пути не является папкой"),
            std::string::npos);

  // Without read rights (the super-user has them all, so the case means nothing then).
  if (::geteuid() != 0) {
    std::ofstream(folder / "secret") << "x";
    fs::permissions(folder / "secret", fs::perms::none);
    EXPECT_NE(Failure(folder / "secret", "ErrFileRead").second.find("нет прав доступа"),
              std::string::npos);
  }
  fs::remove_all(folder);
}

TEST(ReadFile, EndlessDeviceIsRefusedInsteadOfReadForever) {
  auto [key, text] = Failure("/dev/zero", "ErrFileRead");
  EXPECT_EQ(key, "ErrFileRead");
  EXPECT_NE(text.find(LVSystemErrorText(EFBIG)), std::string::npos) << text;
}

}  // namespace
}  // namespace lv
