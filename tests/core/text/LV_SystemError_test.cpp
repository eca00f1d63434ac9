#include "core/text/LV_SystemError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

namespace lv {
namespace {

TEST(SystemError, CommonReasonsAreRussianAndTheRestKeepTheLibraryText) {
  const std::pair<int, std::string_view> expected[] = {
      {ENOENT, "файл или папка не существует"},
      {EACCES, "нет прав доступа"},
      {EISDIR, "это папка, а не файл"},
      {ENOSPC, "на диске нет свободного места"},
      {EROFS, "файловая система доступна только для чтения"},
      {EEXIST, "файл уже существует"},
      {ENOTDIR, "часть пути не является папкой"},
      {EMFILE, "процесс открыл слишком много файлов"},
      {EIO, "ошибка ввода-вывода"}};
  for (const auto& [error, text] : expected) EXPECT_EQ(LVSystemErrorText(error), text) << error;

  const std::string library = std::generic_category().message(EDOM);
  EXPECT_EQ(LVSystemErrorText(EDOM),
            "системная ошибка " + std::to_string(EDOM) + " (" + library + ")");

  // Error codes of the standard library take the same texts.
  std::error_code code;
  std::filesystem::directory_iterator("/no/such/folder/anywhere", code);
  EXPECT_EQ(LVSystemErrorText(code), "файл или папка не существует");
  EXPECT_EQ(LVSystemErrorText(std::make_error_code(std::errc::read_only_file_system)),
            "файловая система доступна только для чтения");
}

}  // namespace
}  // namespace lv
