// The run log: time-stamped lines appended to a text file, and error sections that
// count the failures of a long operation and report them at its end.
//
// Which file: with LogType lgtFile the file is LogFileName (a relative name is taken
// within LogDir when LogDir is given, else within the current folder); with lgtDir it
// is a new file in LogDir named "log_<yyyymmdd_hhnnsszzz>.txt" after the moment it is
// opened. A log without a place (lgtFile without LogFileName, lgtDir without LogDir)
// is switched off: it writes nothing but still counts its error sections, so code can
// always log. A missing folder is created. The file opens on the first line and stays
// open until the place changes or the logger is closed or destroyed.
//
// Threads and processes: one critical section per logger serialises everything a
// logger does; every line is written under a lock of the whole file, taken with
// retries every millisecond for up to LockTimeout ms, so several loggers and several
// processes can append to one file and their lines interleave whole. Failing to open,
// lock or write raises "ErrLogOpen", "ErrLogLock" or "ErrLogWrite" with the operating
// system's reason. Event handlers are called outside the critical section.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "core/columns/LV_Types.h"
#include "core/registry/LV_ClassRef.h"

namespace lv {

enum class TLVLogType : uint8_t { lgtFile, lgtDir };
const TLVEnumDescriptor& DescribeEnum(TLVLogType);

// Who sent a line: nobody, or an object whose class name is printed.
class TLVLogSender {
 public:
  TLVLogSender() = default;
  TLVLogSender(std::nullptr_t) {}
  template <class T>
  requires std::is_class_v<T> TLVLogSender(const T* object)
      : className_(object ? LVClassName(typeid(*object)) : "") {}
  TLVLogSender(const char*) = delete;  // a class name is given explicitly, with Named()

  static TLVLogSender Named(std::string_view className) {
    TLVLogSender sender;
    sender.className_ = className;
    return sender;
  }
  const std::string& ClassName() const { return className_; }

 private:
  std::string className_;
};

// The two message categories. A category-0 line is written in capitals, a deliberate
// marking that makes those lines stand out in the file.
inline constexpr int32_t kLogCategoryMarked = 0;
inline constexpr int32_t kLogCategoryPlain = 1;

class TLVLogger {
 public:
  using ErrorSectionEvent = std::function<void(const std::string& title)>;
  using EchoEvent = std::function<void(const std::string& line)>;

  TLVLogger();
  TLVLogger(const TLVLogger&) = delete;
  TLVLogger& operator=(const TLVLogger&) = delete;
  ~TLVLogger();

  // Quiet operation: lines still go to the file, but are not echoed (OnEcho).
  bool GetSilent() const { return Read(silent_); }
  void SetSilent(bool value) { Store(silent_, value); }
  TLVLogType GetLogType() const { return Read(logType_); }
  void SetLogType(TLVLogType value);  // a change closes the file
  std::string GetLogDir() const { return Read(logDir_); }
  void SetLogDir(std::string_view value);  // a change, ignoring case, closes the file
  std::string GetLogFileName() const { return Read(logFileName_); }
  void SetLogFileName(std::string_view value);  // a change, ignoring case, closes the file
  std::string GetDateTimeFormatStr() const { return Read(dateTimeFormatStr_); }
  void SetDateTimeFormatStr(std::string_view value) { Store(dateTimeFormatStr_, value); }
  std::string GetIndentStr() const { return Read(indentStr_); }
  void SetIndentStr(std::string_view value) { Store(indentStr_, value); }
  std::string GetSeparatorStr() const { return Read(separatorStr_); }
  void SetSeparatorStr(std::string_view value) { Store(separatorStr_, value); }
  // Truncate the file when it is opened instead of appending to it.
  bool GetOverwriteExistingFile() const { return Read(overwriteExistingFile_); }
  void SetOverwriteExistingFile(bool value) { Store(overwriteExistingFile_, value); }
  uint32_t GetLockTimeout() const { return Read(lockTimeout_); }
  void SetLockTimeout(uint32_t milliseconds) { Store(lockTimeout_, milliseconds); }
  // Descriptive values of the run.
  std::string GetAppVersionInfo() const { return Read(appVersionInfo_); }
  void SetAppVersionInfo(std::string_view value) { Store(appVersionInfo_, value); }
  std::string GetProjectFileName() const { return Read(projectFileName_); }
  void SetProjectFileName(std::string_view value) { Store(projectFileName_, value); }
  std::string GetProjectVersion() const { return Read(projectVersion_); }
  void SetProjectVersion(std::string_view value) { Store(projectVersion_, value); }
  std::string GetConnectionsFile() const { return Read(connectionsFile_); }
  void SetConnectionsFile(std::string_view value) { Store(connectionsFile_, value); }
  std::string GetEnvironmentsFile() const { return Read(environmentsFile_); }
  void SetEnvironmentsFile(std::string_view value) { Store(environmentsFile_, value); }

  // Called at the end of an error section that counted anything.
  void SetOnErrorSection(ErrorSectionEvent handler) { Store(onErrorSection_, std::move(handler)); }
  // Called with every message line written (not the empty ones), unless Silent.
  void SetOnEcho(EchoEvent handler) { Store(onEcho_, std::move(handler)); }

  // Writes `linesBefore` empty lines, the message line, then `linesAfter` empty lines.
  // The message line is IndentStr times `level`, the time stamp (DateTimeFormatStr)
  // and SeparatorStr when `stampTime`, the sender's class name, ":" and SeparatorStr
  // when there is a sender, then the message (in capitals for category 0). Inside an
  // error section the message counts in its category (0, or 1 for anything else).
  // `flush` is accepted and has no effect: every line reaches the file at once.
  void Log(const TLVLogSender& sender, std::string_view message, int32_t linesAfter = 0,
           int32_t level = 0, int32_t linesBefore = 0, bool flush = false, bool stampTime = true,
           int32_t category = kLogCategoryPlain);

  // Opens an error section with both counters at zero (again, if one is open).
  void BeginErrorSection();
  // Calls the handler with `title` when a counter is above zero, then closes the
  // section and clears the counters.
  void EndErrorSection(std::string_view title);
  bool GetErrorSectionOpen() const { return Read(sectionOpen_); }
  int32_t GetErrorCount(int32_t category) const;

  // The file the logger writes or will write next; empty when the log is off. For
  // lgtDir before the first line the name is not chosen yet, and this is empty too.
  std::string GetCurrentFileName() const;
  void Close();

 private:
  template <class T>
  T Read(const T& member) const {
    std::lock_guard lock(mutex_);
    return member;
  }
  template <class T, class V>
  void Store(T& member, V&& value) {
    std::lock_guard lock(mutex_);
    member = std::forward<V>(value);
  }
  bool OffLocked() const;
  void CloseLocked();
  std::string ChooseFileLocked() const;
  void OpenLocked();
  void WriteLineLocked(const std::string& line);

  mutable std::mutex mutex_;
  bool silent_ = false;
  TLVLogType logType_ = TLVLogType::lgtFile;
  std::string logDir_;
  std::string logFileName_;
  std::string dateTimeFormatStr_;
  std::string indentStr_ = " ";
  std::string separatorStr_ = " ";
  bool overwriteExistingFile_ = false;
  uint32_t lockTimeout_ = 60000;
  std::string appVersionInfo_;
  std::string projectFileName_;
  std::string projectVersion_;
  std::string connectionsFile_;
  std::string environmentsFile_;
  ErrorSectionEvent onErrorSection_;
  EchoEvent onEcho_;

  bool sectionOpen_ = false;
  int32_t counts_[2] = {0, 0};
  int fd_ = -1;
  std::string openFileName_;
};

// The process's run log; switched off until the program gives it a place.
TLVLogger& LVRunLog();

// Upper case as a Russian reader expects it ("Ошибка чтения" -> "ОШИБКА ЧТЕНИЯ").
std::string LVUpperCase(std::string_view text);
// Equality without regard to case, for any script.
bool LVSameTextIgnoringCase(std::string_view a, std::string_view b);

void RegisterLoggerTexts();

}  // namespace lv
