#include "core/LV_SafeFile.h"

#include <cerrno>
#include <cstdint>
#include <random>
#include <string>
#include <system_error>

#include "core/LV_Errors.h"
#include "core/LV_Localization.h"

namespace lv {

namespace {

// Names of temporary files must not collide between exports running at once (in this
// process or in another one writing next to the same target).
std::string RandomSuffix() {
  static constexpr char kHex[] = "0123456789abcdef";
  static thread_local std::mt19937_64 random{std::random_device{}()};
  uint64_t bits = random();
  std::string suffix(8, '0');
  for (char& c : suffix) {
    c = kHex[bits & 0xF];
    bits >>= 4;
  }
  return suffix;
}

// A bigger buffer than the library's default, so that writers emitting small pieces
// (a text export) do not make a system call every few kilobytes.
constexpr size_t kBufferBytes = size_t{1} << 16;

}  // namespace

TLVSafeFile::TLVSafeFile(std::filesystem::path target) : target_(std::move(target)) {
  // A few attempts in case another writer picked the same name at the same moment;
  // "x" makes the creation fail rather than share an existing file.
  for (int attempt = 0; attempt < 8 && !file_; ++attempt) {
    temporary_ = target_;
    temporary_ += ".tmp" + RandomSuffix();
    file_ = std::fopen(temporary_.string().c_str(), "wbx");
    if (!file_ && errno != EEXIST) break;
  }
  if (!file_) throw ELVError("ErrSafeFileCreate", {target_.string()});
  std::setvbuf(file_, nullptr, _IOFBF, kBufferBytes);
}

TLVSafeFile::~TLVSafeFile() {
  if (!committed_) Discard();
}

void TLVSafeFile::Write(const void* data, size_t size) {
  if (!file_) Fail("ErrSafeFileWrite");
  if (size != 0 && std::fwrite(data, 1, size, file_) != size) Fail("ErrSafeFileWrite");
}

void TLVSafeFile::Commit() {
  if (!file_) Fail("ErrSafeFileWrite");
  const bool flushed = std::fflush(file_) == 0 && !std::ferror(file_);
  const bool closed = std::fclose(file_) == 0;
  file_ = nullptr;
  if (!flushed || !closed) Fail("ErrSafeFileWrite");
  std::error_code error;
  std::filesystem::rename(temporary_, target_, error);
  if (error) Fail("ErrSafeFileCommit");
  committed_ = true;
}

void TLVSafeFile::Discard() noexcept {
  if (file_) std::fclose(file_);
  file_ = nullptr;
  std::error_code ignored;
  std::filesystem::remove(temporary_, ignored);
}

void TLVSafeFile::Fail(std::string_view key) {
  Discard();
  throw ELVError(key, {target_.string()});
}

void RegisterSafeFileTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrSafeFileCreate", "ErrSafeFileWrite", "ErrSafeFileCommit"});
}

}  // namespace lv
