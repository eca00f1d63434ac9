// The error family. Every failure the user may see is an ELVError carrying the
// formatted Russian message of a text-table key; the key stays available so that
// tests and callers can tell failures apart without parsing text.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "core/text/LV_Format.h"

namespace lv {

class ELVError : public std::runtime_error {
 public:
  // The message is the text of `key` formatted with `args`.
  ELVError(std::string_view key, std::initializer_list<TLVFormatArg> args = {});
  const std::string& Key() const { return key_; }

 protected:
  struct Raw {};
  ELVError(Raw, std::string key, const std::string& message)
      : std::runtime_error(message), key_(std::move(key)) {}

 private:
  std::string key_;
};

// A value or a pattern that cannot be converted.
class ELVConvertError : public ELVError {
 public:
  using ELVError::ELVError;
  static ELVConvertError InvalidFormat(std::string_view pattern);

 private:
  ELVConvertError(Raw raw, std::string key, const std::string& message)
      : ELVError(raw, std::move(key), message) {}
};

// The user cancelled a long operation.
class ELVAbort : public ELVError {
 public:
  ELVAbort();
};

// Errors of the data sources and the row cache.
class ELVDataError : public ELVError {
 public:
  using ELVError::ELVError;
};

void RegisterErrorsTexts();

}  // namespace lv
