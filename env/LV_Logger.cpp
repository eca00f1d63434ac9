#include "env/LV_Logger.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unicode/locid.h>
#include <unicode/stringoptions.h>
#include <unicode/unistr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

#include "core/columns/LV_Convert.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Format.h"
#include "core/text/LV_FormatSettings.h"
#include "core/text/LV_Localization.h"
#include "core/text/LV_SystemError.h"
#include "env/LV_EnvVariables.h"

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kLogTypeNames{"lgtFile"sv, "lgtDir"sv};
const TLVEnumDescriptor kLogTypeDescriptor{"TLVLogType", kLogTypeNames, true, true};

// Milliseconds on a 32-bit counter that wraps, like the system tick the lock's
// time-out is measured with; differences are taken modulo 2^32.
uint32_t Tick() {
  auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

// An advisory lock of the whole file. flock() belongs to the open file, not to the
// process, so two loggers of one process exclude each other as two processes do
// (a POSIX record lock would let one process's loggers overlap).
class TFileLock {
 public:
  TFileLock(int fd, uint32_t timeout, const std::string& fileName) : fd_(fd) {
    const uint32_t start = Tick();
    while (flock(fd_, LOCK_EX | LOCK_NB) != 0) {
      int error = errno;
      if (error == EINTR) continue;
      if (error != EWOULDBLOCK || static_cast<uint32_t>(Tick() - start) >= timeout) {
        throw ELVError("ErrLogLock", {fileName, timeout, LVSystemErrorText(error)});
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  TFileLock(const TFileLock&) = delete;
  TFileLock& operator=(const TFileLock&) = delete;
  ~TFileLock() { flock(fd_, LOCK_UN); }

 private:
  int fd_;
};

icu::UnicodeString ToUnicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLVLogType) {
  return kLogTypeDescriptor;
}

std::string LVUpperCase(std::string_view text) {
  icu::UnicodeString unicode = ToUnicode(text);
  unicode.toUpper(icu::Locale("ru"));
  std::string result;
  unicode.toUTF8String(result);
  return result;
}

bool LVSameTextIgnoringCase(std::string_view a, std::string_view b) {
  return ToUnicode(a).caseCompare(ToUnicode(b), U_FOLD_CASE_DEFAULT) == 0;
}

TLVLogger::TLVLogger() {
  const TLVFormatSettings& fs = DefaultFormatSettings();
  dateTimeFormatStr_ = fs.shortDateFormat + " " + fs.longTimeFormat;
}

TLVLogger::~TLVLogger() {
  CloseLocked();
}

void TLVLogger::SetLogType(TLVLogType value) {
  std::lock_guard lock(mutex_);
  if (value == logType_) return;
  CloseLocked();
  logType_ = value;
}

void TLVLogger::SetLogDir(std::string_view value) {
  std::lock_guard lock(mutex_);
  if (!LVSameTextIgnoringCase(value, logDir_)) CloseLocked();
  logDir_ = value;
}

void TLVLogger::SetLogFileName(std::string_view value) {
  std::lock_guard lock(mutex_);
  if (!LVSameTextIgnoringCase(value, logFileName_)) CloseLocked();
  logFileName_ = value;
}

int32_t TLVLogger::GetErrorCount(int32_t category) const {
  std::lock_guard lock(mutex_);
  return counts_[category == kLogCategoryMarked ? 0 : 1];
}

void TLVLogger::BeginErrorSection() {
  std::lock_guard lock(mutex_);
  sectionOpen_ = true;
  counts_[0] = counts_[1] = 0;
}

void TLVLogger::EndErrorSection(std::string_view title) {
  ErrorSectionEvent handler;
  {
    std::lock_guard lock(mutex_);
    if (counts_[0] > 0 || counts_[1] > 0) handler = onErrorSection_;
  }
  auto close = [this] {
    std::lock_guard lock(mutex_);
    sectionOpen_ = false;
    counts_[0] = counts_[1] = 0;
  };
  // The handler runs unlocked: it will usually write a summary line of its own.
  try {
    if (handler) handler(std::string(title));
  } catch (...) {
    close();
    throw;
  }
  close();
}

bool TLVLogger::OffLocked() const {
  return logType_ == TLVLogType::lgtFile ? logFileName_.empty() : logDir_.empty();
}

std::string TLVLogger::ChooseFileLocked() const {
  if (logType_ == TLVLogType::lgtFile) {
    std::filesystem::path file(logFileName_);
    if (file.is_relative() && !logDir_.empty()) file = std::filesystem::path(logDir_) / file;
    return file.string();
  }
  std::string dir = logDir_;
  if (!dir.ends_with('/')) dir += '/';
  return Format("%slog_%s.txt",
                {dir, FormatDateTime("yyyymmdd_hhnnsszzz", LVLocalNow(), DefaultFormatSettings())});
}

std::string TLVLogger::GetCurrentFileName() const {
  std::lock_guard lock(mutex_);
  if (fd_ >= 0) return openFileName_;
  if (OffLocked() || logType_ == TLVLogType::lgtDir) return {};
  return ChooseFileLocked();
}

void TLVLogger::Close() {
  std::lock_guard lock(mutex_);
  CloseLocked();
}

void TLVLogger::CloseLocked() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  openFileName_.clear();
}

void TLVLogger::OpenLocked() {
  std::string name = ChooseFileLocked();
  std::filesystem::path parent = std::filesystem::path(name).parent_path();
  std::error_code ignored;
  // When this fails, opening the file fails too and says why.
  if (!parent.empty()) std::filesystem::create_directories(parent, ignored);
  // Created if missing, appended to, and shared with every other writer; truncation
  // happens under the file lock so that no other writer's line is cut.
  int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0) throw ELVError("ErrLogOpen", {name, LVSystemErrorText(errno)});
  if (overwriteExistingFile_) {
    try {
      TFileLock lock(fd, lockTimeout_, name);
      if (ftruncate(fd, 0) != 0) throw ELVError("ErrLogWrite", {name, LVSystemErrorText(errno)});
    } catch (...) {
      ::close(fd);
      throw;
    }
  }
  fd_ = fd;
  openFileName_ = std::move(name);
}

void TLVLogger::WriteLineLocked(const std::string& line) {
  std::string bytes = line + "\r\n";
  TFileLock lock(fd_, lockTimeout_, openFileName_);
  if (lseek(fd_, 0, SEEK_END) < 0) {
    throw ELVError("ErrLogWrite", {openFileName_, LVSystemErrorText(errno)});
  }
  const char* data = bytes.data();
  size_t left = bytes.size();
  while (left > 0) {
    ssize_t written = ::write(fd_, data, left);
    if (written < 0 && errno == EINTR) continue;
    // A short write is retried: the retry fails and tells the reason (a full disk).
    if (written <= 0) {
      throw ELVError("ErrLogWrite", {openFileName_, LVSystemErrorText(written == 0 ? EIO : errno)});
    }
    data += written;
    left -= static_cast<size_t>(written);
  }
}

void TLVLogger::Log(const TLVLogSender& sender, std::string_view message, int32_t linesAfter,
                    int32_t level, int32_t linesBefore, bool /*flush*/, bool stampTime,
                    int32_t category) {
  EchoEvent echo;
  std::string line;
  {
    std::lock_guard lock(mutex_);
    const bool marked = category == kLogCategoryMarked;
    if (sectionOpen_) ++counts_[marked ? 0 : 1];

    for (int32_t i = 0; i < level; ++i) line += indentStr_;
    if (stampTime) {
      line += FormatDateTime(dateTimeFormatStr_, LVLocalNow(), DefaultFormatSettings());
      line += separatorStr_;
    }
    if (!sender.ClassName().empty()) {
      line += sender.ClassName();
      line += ':';
      line += separatorStr_;
    }
    line += marked ? LVUpperCase(message) : std::string(message);

    if (!OffLocked()) {
      if (fd_ < 0) OpenLocked();
      for (int32_t i = 0; i < linesBefore; ++i) WriteLineLocked({});
      WriteLineLocked(line);
      for (int32_t i = 0; i < linesAfter; ++i) WriteLineLocked({});
    }
    if (!silent_) echo = onEcho_;
  }
  if (echo) echo(line);
}

TLVLogger& LVRunLog() {
  static TLVLogger logger;
  return logger;
}

void RegisterLoggerTexts() {
  auto& table = TLVLocalization::Instance();
  table.RegisterKey(kLogTypeDescriptor.CaptionKey());
  for (size_t i = 0; i < kLogTypeDescriptor.valueNames.size(); ++i) {
    table.RegisterKey(kLogTypeDescriptor.DisplayTextKey(i));
  }
  table.RegisterKeys({"ErrLogOpen", "ErrLogLock", "ErrLogWrite"});
}

}  // namespace lv
