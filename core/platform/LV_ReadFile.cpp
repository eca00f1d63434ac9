#include "core/platform/LV_ReadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "core/text/LV_SystemError.h"

namespace lv {

namespace {

class TDescriptor {
 public:
  explicit TDescriptor(int fd) : fd_(fd) {}
  ~TDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  TDescriptor(const TDescriptor&) = delete;
  TDescriptor& operator=(const TDescriptor&) = delete;
  int Get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

std::string LVReadWholeFile(const std::filesystem::path& path, std::string_view errorKey) {
  const std::string name = path.string();
  auto fail = [&](int error) -> std::string {
    throw ELVError(errorKey, {name, LVSystemErrorText(error)});
  };
  TDescriptor file(::open(name.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.Get() < 0) return fail(errno);
  struct stat info {};
  if (::fstat(file.Get(), &info) != 0) return fail(errno);
  // A folder opens for reading on this system; say so before a read fails obscurely.
  if (S_ISDIR(info.st_mode)) return fail(EISDIR);
  // A device or a pipe has no size to trust and may never end (/dev/zero): such a
  // source is read up to a bound far above any file the command line names.
  const bool regular = S_ISREG(info.st_mode);
  std::string bytes;
  if (regular && info.st_size > 0) bytes.reserve(static_cast<size_t>(info.st_size));
  char buffer[1 << 16];
  for (;;) {
    ssize_t got = ::read(file.Get(), buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return fail(errno);
    if (got == 0) break;
    if (!regular && bytes.size() + static_cast<size_t>(got) > kLVUnsizedFileLimit)
      return fail(EFBIG);
    bytes.append(buffer, static_cast<size_t>(got));
  }
  return bytes;
}

void RegisterReadFileTexts() {
  TLVLocalization::Instance().RegisterKey("ErrFileRead");
}

}  // namespace lv
