#include "core/platform/LV_SafeFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <random>
#include <string>
#include <system_error>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "core/text/LV_SystemError.h"

namespace lv {

namespace {

constexpr std::string_view kTemporaryMark = ".tmp";
constexpr size_t kSuffixDigits = 8;

// Names of temporary files must not collide between exports running at once (in this
// process or in another one writing next to the same target).
std::string RandomSuffix() {
  static constexpr char kHex[] = "0123456789abcdef";
  static thread_local std::mt19937_64 random{std::random_device{}()};
  uint64_t bits = random();
  std::string suffix(kSuffixDigits, '0');
  for (char& c : suffix) {
    c = kHex[bits & 0xF];
    bits >>= 4;
  }
  return suffix;
}

bool IsTemporaryOf(const std::string& name, const std::string& targetName) {
  if (name.size() != targetName.size() + kTemporaryMark.size() + kSuffixDigits) return false;
  if (!name.starts_with(targetName)) return false;
  if (name.compare(targetName.size(), kTemporaryMark.size(), kTemporaryMark) != 0) return false;
  for (size_t i = targetName.size() + kTemporaryMark.size(); i < name.size(); ++i) {
    const char c = name[i];
    if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
  }
  return true;
}

// Whether `path` still names the file open as `fd`: another writer may have removed it
// (and its name may even have been taken again) between the opening and the check.
bool SameFile(int fd, const std::filesystem::path& path) {
  struct stat open {
  }, named{};
  return ::fstat(fd, &open) == 0 && ::lstat(path.c_str(), &named) == 0 &&
         open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

// A bigger buffer than the library's default, so that writers emitting small pieces
// (a text export) do not make a system call every few kilobytes.
constexpr size_t kBufferBytes = size_t{1} << 16;

}  // namespace

int RemoveStaleTemporaries(const std::filesystem::path& target) noexcept {
  int removed = 0;
  try {
    const std::string targetName = target.filename().string();
    std::filesystem::path folder = target.parent_path();
    if (folder.empty()) folder = ".";
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end;
         it.increment(error)) {
      const std::filesystem::path& path = it->path();
      if (!IsTemporaryOf(path.filename().string(), targetName)) continue;
      int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
      if (fd < 0) continue;
      // A live writer holds the lock for as long as the file may still become the target.
      if (::flock(fd, LOCK_EX | LOCK_NB) == 0 && SameFile(fd, path) &&
          ::unlink(path.c_str()) == 0) {
        ++removed;
      }
      ::close(fd);
    }
  } catch (...) {
    // Tidying up must never stop the export it precedes.
  }
  return removed;
}

TLVSafeFile::TLVSafeFile(std::filesystem::path target) : target_(std::move(target)) {
  const std::filesystem::path folder = target_.parent_path();
  if (!folder.empty()) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
      throw ELVError("ErrSafeFileFolder",
                     {folder.string(), target_.string(), LVSystemErrorText(error)});
    }
  }
  RemoveStaleTemporaries(target_);
  // A few attempts in case another writer picked the same name at the same moment or
  // took our new file for a stale one before we locked it.
  int error = 0;
  for (int attempt = 0; attempt < 8 && !file_; ++attempt) {
    error = TryCreate();
    if (error != 0 && error != EEXIST && error != EAGAIN) break;
  }
  if (!file_) throw ELVError("ErrSafeFileCreate", {target_.string(), LVSystemErrorText(error)});
  std::setvbuf(file_, nullptr, _IOFBF, kBufferBytes);
}

int TLVSafeFile::TryCreate() {
  temporary_ = target_;
  temporary_ += std::string(kTemporaryMark) + RandomSuffix();
  // O_EXCL makes the creation fail rather than share an existing file.
  int fd = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0) return errno;
  lockFd_ = ::open(temporary_.c_str(), O_RDONLY | O_CLOEXEC);
  if (lockFd_ < 0) {
    const int error = errno;
    ::close(fd);
    ::unlink(temporary_.c_str());
    return error;
  }
  // Someone tidying the folder may have taken the new file for a stale one between its
  // creation and the lock: then it is theirs to remove, and another name is tried. A
  // file system without such locks leaves the file unprotected, but still written.
  const bool taken = ::flock(lockFd_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  if (taken || !SameFile(lockFd_, temporary_)) {
    ::close(fd);
    Unlock();
    return EAGAIN;
  }
  file_ = ::fdopen(fd, "wb");
  if (file_) return 0;
  const int error = errno;
  ::close(fd);
  ::unlink(temporary_.c_str());
  Unlock();
  return error;
}

TLVSafeFile::~TLVSafeFile() {
  if (!committed_) Discard();
}

void TLVSafeFile::Write(const void* data, size_t size) {
  if (!file_) Fail("ErrSafeFileWrite", EBADF);
  if (size != 0 && std::fwrite(data, 1, size, file_) != size) Fail("ErrSafeFileWrite", errno);
}

void TLVSafeFile::Commit() {
  if (!file_) Fail("ErrSafeFileWrite", EBADF);
  int error = 0;
  if (std::fflush(file_) != 0 || std::ferror(file_)) error = errno ? errno : EIO;
  if (std::fclose(file_) != 0 && error == 0) error = errno;
  file_ = nullptr;
  if (error != 0) Fail("ErrSafeFileWrite", error);
  std::error_code renameError;
  std::filesystem::rename(temporary_, target_, renameError);
  if (renameError) Fail("ErrSafeFileCommit", renameError.value());
  committed_ = true;
  Unlock();
}

void TLVSafeFile::Discard() noexcept {
  if (file_) std::fclose(file_);
  file_ = nullptr;
  std::error_code ignored;
  std::filesystem::remove(temporary_, ignored);
  Unlock();
}

void TLVSafeFile::Unlock() noexcept {
  if (lockFd_ >= 0) ::close(lockFd_);
  lockFd_ = -1;
}

void TLVSafeFile::Fail(std::string_view key, int error) {
  Discard();
  throw ELVError(key, {target_.string(), LVSystemErrorText(error)});
}

void RegisterSafeFileTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrSafeFileCreate", "ErrSafeFileFolder", "ErrSafeFileWrite", "ErrSafeFileCommit"});
}

}  // namespace lv
