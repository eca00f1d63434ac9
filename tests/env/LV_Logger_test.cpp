#include "env/LV_Logger.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>
#include <thread>
#include <vector>

#include "core/text/LV_Errors.h"
#include "tests/env/LV_EnvTestHelpers.h"

namespace lv {
namespace {

class TImportNode {
 public:
  virtual ~TImportNode() = default;
};
class TTextImportNode : public TImportNode {};

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  for (size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2) {
    lines.push_back(text.substr(start, end - start));
  }
  EXPECT_EQ(start, text.size()) << "the file does not end with CR LF";
  return lines;
}

using test::MessageOfFailure;

TEST(Logger, DefaultsAndTheLogWithoutAPlace) {
  TLVLogger log;
  EXPECT_FALSE(log.GetSilent());
  EXPECT_EQ(log.GetLogType(), TLVLogType::lgtFile);
  EXPECT_EQ(log.GetLogDir(), "");
  EXPECT_EQ(log.GetLogFileName(), "");
  EXPECT_EQ(log.GetDateTimeFormatStr(), "dd.mm.yyyy hh:nn:ss");
  EXPECT_EQ(log.GetIndentStr(), " ");
  EXPECT_EQ(log.GetSeparatorStr(), " ");
  EXPECT_FALSE(log.GetOverwriteExistingFile());
  EXPECT_EQ(log.GetLockTimeout(), 60000u);
  for (const std::string& value :
       {log.GetAppVersionInfo(), log.GetProjectFileName(), log.GetProjectVersion(),
        log.GetConnectionsFile(), log.GetEnvironmentsFile()}) {
    EXPECT_EQ(value, "");
  }
  // Without a place the log writes nothing, yet it still shows and counts.
  std::vector<std::string> echoed;
  log.SetOnEcho([&](const std::string& line) { echoed.push_back(line); });
  log.SetDateTimeFormatStr("<T>");
  log.BeginErrorSection();
  log.Log(nullptr, "без файла");
  EXPECT_EQ(log.GetCurrentFileName(), "");
  EXPECT_EQ(echoed, std::vector<std::string>{"<T> без файла"});
  EXPECT_EQ(log.GetErrorCount(1), 1);
  log.SetLogType(TLVLogType::lgtDir);
  log.Log(nullptr, "без папки");
  EXPECT_EQ(log.GetCurrentFileName(), "");
  EXPECT_EQ(DisplayText(TLVLogType::lgtDir), "Папка");
}

TEST(Logger, LineFormatIndentationStampSenderAndCategories) {
  test::TTempDir dir;
  TLVLogger log;
  log.SetLogFileName(dir / "run.log");
  log.SetDateTimeFormatStr("<T>");  // no pattern letters: a fixed stamp
  log.SetIndentStr("..");
  log.SetSeparatorStr(" | ");
  std::vector<std::string> echoed;
  log.SetOnEcho([&](const std::string& line) { echoed.push_back(line); });

  TTextImportNode node;
  const TImportNode* sender = &node;  // the object's own class is printed
  log.Log(sender, "Ошибка чтения", 1, 2, 1, false, true, kLogCategoryMarked);
  log.Log(nullptr, "Ошибка чтения", 0, 0, 0, false, false, kLogCategoryPlain);
  log.Log(TLVLogSender::Named("TLVTextFile"), "ёж, ß и Straße", 0, 1, 0, true, true, 0);
  log.Log(nullptr, "прочие категории как 1", 0, 0, 0, false, false, 7);
  log.SetSilent(true);
  log.Log(nullptr, "тихо", 0, 0, 0, false, false);

  EXPECT_EQ(test::ReadWholeFile(dir.Path() / "run.log"),
            "\r\n"
            "....<T> | TTextImportNode: | ОШИБКА ЧТЕНИЯ\r\n"
            "\r\n"
            "Ошибка чтения\r\n"
            "..<T> | TLVTextFile: | ЁЖ, SS И STRASSE\r\n"
            "прочие категории как 1\r\n"
            "тихо\r\n");
  EXPECT_EQ(echoed.size(), 4u);
  EXPECT_EQ(echoed[0], "....<T> | TTextImportNode: | ОШИБКА ЧТЕНИЯ");
  EXPECT_EQ(LVUpperCase("Ошибка чтения"), "ОШИБКА ЧТЕНИЯ");
}

TEST(Logger, DefaultTimeStampUsesTheRussianDateAndTimeFormats) {
  test::TTempDir dir;
  TLVLogger log;
  log.SetLogFileName(dir / "run.log");
  log.Log(nullptr, "начало");
  EXPECT_TRUE(std::regex_match(test::ReadWholeFile(dir.Path() / "run.log"),
                               std::regex(R"(\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d начало\r\n)")));
}

TEST(Logger, ErrorSectionsCountBothCategoriesAndReportOnlyWhatCounted) {
  TLVLogger log;  // no file: sections work the same
  struct TReport {
    std::string title;
    int32_t marked, plain;
  };
  std::vector<TReport> reports;
  log.SetOnErrorSection([&](const std::string& title) {
    reports.push_back({title, log.GetErrorCount(0), log.GetErrorCount(1)});
    log.Log(nullptr, "итог раздела");  // the handler may write: no deadlock
  });

  log.Log(nullptr, "до раздела", 0, 0, 0, false, true, 0);
  EXPECT_EQ(log.GetErrorCount(0), 0);
  log.BeginErrorSection();
  EXPECT_TRUE(log.GetErrorSectionOpen());
  for (int i = 0; i < 2; ++i) log.Log(nullptr, "ошибка", 0, 0, 0, false, true, 0);
  for (int i = 0; i < 3; ++i) log.Log(nullptr, "предупреждение", 0, 0, 0, false, true, 1);
  log.EndErrorSection("импорта из текстового файла \"a.txt\"");
  ASSERT_EQ(reports.size(), 1u);
  EXPECT_EQ(reports[0].title, "импорта из текстового файла \"a.txt\"");
  EXPECT_EQ(reports[0].marked, 2);
  EXPECT_EQ(reports[0].plain, 3);
  EXPECT_FALSE(log.GetErrorSectionOpen());
  EXPECT_EQ(log.GetErrorCount(0) + log.GetErrorCount(1), 0);

  log.BeginErrorSection();
  log.EndErrorSection("пустой раздел");
  log.EndErrorSection("раздел не открыт");
  EXPECT_EQ(reports.size(), 1u);

  // Opening again starts the count afresh.
  log.BeginErrorSection();
  log.Log(nullptr, "x", 0, 0, 0, false, true, 0);
  log.BeginErrorSection();
  EXPECT_EQ(log.GetErrorCount(0), 0);
  log.Log(nullptr, "y");
  EXPECT_EQ(log.GetErrorCount(1), 1);

  // A failing handler still leaves the section closed.
  log.SetOnErrorSection([](const std::string&) { throw ELVAbort(); });
  EXPECT_THROW(log.EndErrorSection("t"), ELVAbort);
  EXPECT_FALSE(log.GetErrorSectionOpen());
}

TEST(Logger, ThePlaceOfTheLogChoosesTheFile) {
  test::TTempDir dir;
  TLVLogger log;
  log.SetDateTimeFormatStr("<T>");
  log.SetLogDir(dir.Path().string());
  log.SetLogFileName("run.log");  // relative: within LogDir
  EXPECT_EQ(log.GetCurrentFileName(), dir / "run.log");
  log.Log(nullptr, "1");
  // Only the case differs: the open file stays.
  log.SetLogFileName("RUN.LOG");
  log.SetLogDir(LVUpperCase(dir.Path().string()));
  log.Log(nullptr, "2");
  EXPECT_EQ(log.GetCurrentFileName(), dir / "run.log");
  EXPECT_FALSE(std::filesystem::exists(dir.Path() / "RUN.LOG"));
  log.SetLogFileName((dir.Path() / "sub" / "other.log").string());  // absolute: no LogDir
  log.Log(nullptr, "3");
  EXPECT_EQ(test::ReadWholeFile(dir.Path() / "run.log"), "<T> 1\r\n<T> 2\r\n");
  EXPECT_EQ(test::ReadWholeFile(dir.Path() / "sub" / "other.log"), "<T> 3\r\n");

  // A folder log is a new file named after the moment it is opened.
  log.SetLogType(TLVLogType::lgtDir);
  log.SetLogDir(dir / "logs");
  EXPECT_EQ(log.GetCurrentFileName(), "");
  log.Log(nullptr, "4");
  log.Log(nullptr, "5");
  const std::string name = log.GetCurrentFileName();
  EXPECT_TRUE(std::regex_match(name, std::regex(".*/logs/log_\\d{8}_\\d{9}\\.txt"))) << name;
  EXPECT_EQ(test::ReadWholeFile(name), "<T> 4\r\n<T> 5\r\n");

  // Appending by default, truncating on open when asked.
  TLVLogger again;
  again.SetDateTimeFormatStr("<T>");
  again.SetLogFileName(dir / "run.log");
  again.Log(nullptr, "6");
  EXPECT_EQ(test::ReadWholeFile(dir.Path() / "run.log"), "<T> 1\r\n<T> 2\r\n<T> 6\r\n");
  again.Close();
  again.SetOverwriteExistingFile(true);
  again.Log(nullptr, "7");
  again.Log(nullptr, "8");
  EXPECT_EQ(test::ReadWholeFile(dir.Path() / "run.log"), "<T> 7\r\n<T> 8\r\n");
}

TEST(Logger, FailuresCarryTheOperatingSystemsReason) {
  test::TTempDir dir;
  TLVLogger log;
  log.SetLogFileName(dir.Path().string());
  EXPECT_NE(
      MessageOfFailure([&] { log.Log(nullptr, "x"); }, "ErrLogOpen").find("это папка, а не файл"),
      std::string::npos);

  if (std::filesystem::exists("/dev/full")) {
    log.SetLogFileName("/dev/full");
    EXPECT_EQ(MessageOfFailure([&] { log.Log(nullptr, "x"); }, "ErrLogWrite"),
              "Ошибка записи в файл журнала \"/dev/full\": на диске нет свободного места");
  }

  // Someone else holds the file: the writer gives up after LockTimeout.
  const std::string path = dir / "held.log";
  int holder = open(path.c_str(), O_WRONLY | O_CREAT, 0666);
  ASSERT_GE(holder, 0);
  ASSERT_EQ(flock(holder, LOCK_EX), 0);
  log.SetLogFileName(path);
  log.SetLockTimeout(20);
  EXPECT_EQ(MessageOfFailure([&] { log.Log(nullptr, "x"); }, "ErrLogLock"),
            "Не удалось заблокировать файл журнала \"" + path +
                "\" в течение 20 мс: ресурс временно недоступен");
  log.SetLockTimeout(0);
  MessageOfFailure([&] { log.Log(nullptr, "x"); }, "ErrLogLock");
  flock(holder, LOCK_UN);
  close(holder);
  log.SetDateTimeFormatStr("<T>");
  log.Log(nullptr, "после");
  EXPECT_EQ(test::ReadWholeFile(path), "<T> после\r\n");
}

// Every line "<writer> <number> <payload>" must arrive whole, each writer's in order.
void ExpectWholeLinesFromEachWriter(const std::string& text, int writers, int linesEach) {
  std::vector<int> next(static_cast<size_t>(writers), 0);
  const std::regex pattern(R"(<T> W(\d+) (\d+) ([a-z]{40}|(?:ж){20}))");
  for (const std::string& line : SplitLines(text)) {
    std::smatch m;
    ASSERT_TRUE(std::regex_match(line, m, pattern)) << line;
    int writer = std::stoi(m[1]);
    ASSERT_LT(writer, writers);
    EXPECT_EQ(std::stoi(m[2]), next[static_cast<size_t>(writer)]++) << line;
  }
  for (int count : next) EXPECT_EQ(count, linesEach);
}

std::string Payload(int writer) {
  std::string payload;
  for (int i = 0; i < 20; ++i) payload += writer % 2 ? "ж" : "qz";
  return payload;
}

TEST(Logger, ThreadsAndLoggersOfOneProcessInterleaveWholeLines) {
  test::TTempDir dir;
  const std::string path = dir / "shared.log";
  TLVLogger first, second;  // two loggers on one file exclude each other by the file lock
  for (TLVLogger* log : {&first, &second}) {
    log->SetLogFileName(path);
    log->SetDateTimeFormatStr("<T>");
  }
  constexpr int kWriters = 4, kLines = 400;
  std::vector<std::thread> threads;
  for (int w = 0; w < kWriters; ++w) {
    threads.emplace_back([&, w] {
      TLVLogger& log = w % 2 ? first : second;
      for (int i = 0; i < kLines; ++i) {
        log.Log(nullptr, "W" + std::to_string(w) + " " + std::to_string(i) + " " + Payload(w));
      }
    });
  }
  for (auto& t : threads) t.join();
  ExpectWholeLinesFromEachWriter(test::ReadWholeFile(path), kWriters, kLines);
}

TEST(Logger, TwoProcessesAppendWholeLinesToOneFile) {
  test::TTempDir dir;
  const std::string path = dir / "processes.log";
  constexpr int kProcesses = 2, kLines = 3000;
  int start[2];
  ASSERT_EQ(pipe(start), 0);
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      // The child writes only after both exist, so that their writes overlap.
      close(start[1]);
      char go;
      int status = read(start[0], &go, 1) == 1 ? 0 : 2;
      try {
        TLVLogger log;
        log.SetLogFileName(path);
        log.SetDateTimeFormatStr("<T>");
        for (int i = 0; status == 0 && i < kLines; ++i) {
          log.Log(nullptr, "W" + std::to_string(p) + " " + std::to_string(i) + " " + Payload(p));
        }
      } catch (...) {
        status = 1;
      }
      _exit(status);
    }
    children.push_back(pid);
  }
  close(start[0]);
  ASSERT_EQ(write(start[1], "gg", kProcesses), kProcesses);
  close(start[1]);
  for (pid_t pid : children) {
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  }
  ExpectWholeLinesFromEachWriter(test::ReadWholeFile(path), kProcesses, kLines);
}

}  // namespace
}  // namespace lv
