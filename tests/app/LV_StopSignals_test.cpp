// Stop signals sent to the real program while an export writes a large file, as a
// scheduler or a user at the terminal would send them.
#include "app/LV_StopSignals.h"

#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "core/columns/LV_Block.h"
#include "project/LV_ProjectTestHelpers.h"

extern char** environ;

namespace lv {
namespace {

namespace fs = std::filesystem;
using test::ReadText;
using test::WriteText;

class StopSignalsTest : public testing::Test {
 protected:
  void SetUp() override {
    // Enough rows for the export to be caught in the middle; tiny blocks are slow.
    const int rows = kLVBlockSize < 64 ? 60000 : 400000;
    std::string data = "N;Text;Sum\n";
    for (int i = 0; i < rows; ++i) {
      data += std::to_string(i) + ";row number " + std::to_string(i) + ";" +
              std::to_string(i % 1000) + ",25\n";
    }
    WriteText(folder / "in.csv", data);
    WriteText(folder / "big.lvp", R"xml(<?xml version="1.0" encoding="UTF-8"?>
<Lumivera>
  <Version Application="Lumivera" Version="1.0.0" FileFormat="1" />
  <Script>
    <Node Vendor="TextFile" Caption="Вход">
      <Handler ClassVersion="1" FileName="%DIR%/in.csv" CharSet="chrANSI" Delimiter="dtSemicolon" DecimalPoint="," FirstLineTitle="True" />
      <Node Vendor="ExportStd" Caption="Выгрузка">
        <Handler ClassVersion="1" FileName="%DIR%/out/big.csv" CharSet="chrANSI" Delimiter="dtSemicolon" FirstLineTitle="True" />
      </Node>
    </Node>
  </Script>
</Lumivera>
)xml");
    WriteText(folder / "run.var", "DIR=" + folder.Path().string() + "\n");
  }

  // Starts the program on the project; its output goes nowhere.
  pid_t Start() {
    const std::vector<std::string> args = {LV_STUDIO_PROGRAM,
                                           (folder / "big.lvp").string(),
                                           "/RUN",
                                           "/LOG",
                                           "/SILENT",
                                           "/LOGFILE=" + (folder / "run.log").string(),
                                           "/VARFILE=" + (folder / "run.var").string()};
    std::vector<char*> argv;
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    return pid;
  }

  // The export's temporary files.
  std::vector<fs::path> Temporaries() const {
    std::vector<fs::path> found;
    std::error_code error;
    for (fs::directory_iterator it(folder / "out", error), end; !error && it != end;
         it.increment(error)) {
      if (it->path().filename().string().starts_with("big.csv.tmp")) found.push_back(it->path());
    }
    return found;
  }

  // Waits until the export has started writing, then sends `signal`; the exit status
  // as waitpid gives it.
  int InterruptExport(pid_t pid, int signal) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(3);
    int status = 0;
    while (Temporaries().empty()) {
      if (waitpid(pid, &status, WNOHANG) == pid) {
        ADD_FAILURE() << "the run ended before its export began to write";
        return status;
      }
      if (std::chrono::steady_clock::now() > deadline) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    kill(pid, signal);
    waitpid(pid, &status, 0);
    return status;
  }

  std::vector<std::string> LogLines() const {
    std::vector<std::string> lines;
    std::string text = ReadText(folder / "run.log");
    for (size_t at = 0, end; (end = text.find("\r\n", at)) != std::string::npos; at = end + 2) {
      lines.push_back(text.substr(at, end - at));
    }
    return lines;
  }

  test::TTempFolder folder;
};

TEST_F(StopSignalsTest, SigtermCancelsTheRunAndTheExportLeavesNothing) {
  for (int signal : {SIGTERM, SIGINT}) {
    fs::remove(folder / "run.log");
    const int status = InterruptExport(Start(), signal);
    ASSERT_TRUE(WIFEXITED(status)) << "ended by a signal, not by cancelling";
    EXPECT_EQ(WEXITSTATUS(status), 128 + signal);
    EXPECT_TRUE(Temporaries().empty());
    EXPECT_FALSE(fs::exists(folder / "out" / "big.csv"));
    std::vector<std::string> lines = LogLines();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_NE(lines[lines.size() - 3].find("Получен сигнал " + StopSignalName(signal) +
                                           ": выполнение прерывается"),
              std::string::npos)
        << lines[lines.size() - 3];
    EXPECT_NE(lines[lines.size() - 2].find("ВЫПОЛНЕНИЕ УЗЛА \"ВЫГРУЗКА\" ПРЕРВАНО"),
              std::string::npos)
        << lines[lines.size() - 2];
    EXPECT_NE(lines.back().find("Пакетная обработка прервана: успешно узлов 1, с ошибками 0, "
                                "не выполнено 1, время "),
              std::string::npos)
        << lines.back();
  }
}

// A process killed outright leaves its temporary file; the next export of the same
// file removes it, since no live process holds it any more.
TEST_F(StopSignalsTest, TheNextExportRemovesWhatAKilledOneLeft) {
  const int status = InterruptExport(Start(), SIGKILL);
  ASSERT_TRUE(WIFSIGNALED(status));
  ASSERT_EQ(Temporaries().size(), 1u);

  pid_t pid = Start();
  int done = 0;
  waitpid(pid, &done, 0);
  ASSERT_TRUE(WIFEXITED(done));
  EXPECT_EQ(WEXITSTATUS(done), 0);
  EXPECT_TRUE(Temporaries().empty());
  EXPECT_TRUE(ReadText(folder / "out" / "big.csv").starts_with("N;Text;Sum\r\n0;"));
}

}  // namespace
}  // namespace lv
