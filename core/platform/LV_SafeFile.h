// Writing a file so that it is either complete or untouched.
//
// TLVSafeFile writes to a new temporary file "<target>.tmp<8 hex digits>" in the
// target's folder, creating the folder first when it is missing; Commit() closes it and
// renames it over the target in one step. Until then the target stays exactly as it
// was, and if the object is destroyed uncommitted (a failure, a cancellation) the
// temporary file is removed, so no half-written file is ever left. Every export writes
// through it.
//
// A process killed outright cannot remove its temporary file. So that such leftovers do
// not pile up, a writer holds an advisory lock (flock) on its temporary file from its
// creation until after the rename; the system drops the lock when the process dies. A
// new writer of the same target removes every "<target>.tmpXXXXXXXX" whose lock it can
// take, since no live writer holds it. Files on network file systems that do not carry
// such locks between machines are outside this promise.
//
// One object belongs to one thread. Failures raise ELVError naming the target, with the
// system's reason.
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string_view>

namespace lv {

class TLVSafeFile {
 public:
  // Creates the target's folder if needed ("ErrSafeFileFolder"), removes temporary
  // files that dead writers left beside the target, and creates the temporary file
  // ("ErrSafeFileCreate" when the folder does not take it).
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
  // 0 when the temporary file is created and locked, else the reason (an errno value).
  int TryCreate();
  void Discard() noexcept;
  void Unlock() noexcept;
  [[noreturn]] void Fail(std::string_view key, int error);

  std::filesystem::path target_;
  std::filesystem::path temporary_;
  std::FILE* file_ = nullptr;
  int lockFd_ = -1;  // a descriptor of its own, so that closing the file keeps the lock
  bool committed_ = false;
};

// Removes the temporary files of `target` that no live writer holds; returns how many.
// Best effort: what cannot be examined or removed is left as it is.
int RemoveStaleTemporaries(const std::filesystem::path& target) noexcept;

void RegisterSafeFileTexts();

}  // namespace lv
