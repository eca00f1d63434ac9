// Writing a file so that it is either complete or untouched.
//
// TLVSafeFile writes to a new temporary file "<target>.tmp<random>" in the target's
// folder; Commit() closes it and renames it over the target in one step. Until then the
// target stays exactly as it was, and if the object is destroyed uncommitted (a failure,
// a cancellation) the temporary file is removed, so no half-written file is ever left.
// Every export writes through it.
//
// One object belongs to one thread. Failures raise ELVError naming the target.
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string_view>

namespace lv {

class TLVSafeFile {
 public:
  // Creates the temporary file ("ErrSafeFileCreate" when the folder does not take it).
  explicit TLVSafeFile(std::filesystem::path target);
  ~TLVSafeFile();
  TLVSafeFile(const TLVSafeFile&) = delete;
  TLVSafeFile& operator=(const TLVSafeFile&) = delete;

  // Appends bytes ("ErrSafeFileWrite" when the system refuses them, e.g. a full disk).
  void Write(const void* data, size_t size);
  void Write(std::string_view bytes) { Write(bytes.data(), bytes.size()); }

  // Flushes, closes and renames the temporary file over the target. On failure the
  // target is as it was, the temporary file is gone and "ErrSafeFileWrite" or
  // "ErrSafeFileCommit" is raised. Nothing may be written afterwards.
  void Commit();
  bool Committed() const { return committed_; }

  const std::filesystem::path& Target() const { return target_; }
  const std::filesystem::path& TemporaryPath() const { return temporary_; }

 private:
  void Discard() noexcept;
  [[noreturn]] void Fail(std::string_view key);

  std::filesystem::path target_;
  std::filesystem::path temporary_;
  std::FILE* file_ = nullptr;
  bool committed_ = false;
};

void RegisterSafeFileTexts();

}  // namespace lv
