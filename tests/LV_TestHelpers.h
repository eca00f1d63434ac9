// Helpers that the tests of every folder share: what an action raises, told as text.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "core/text/LV_Errors.h"

namespace lv::test {

// What `tell` says of the exception of class E that `action` raises, or "no error"
// when it raises none. An exception of another class is not caught, so the test fails
// on it.
template <class E, class F, class Tell>
std::string Caught(F&& action, Tell&& tell) {
  try {
    action();
  } catch (const E& e) {
    return tell(e);
  }
  return "no error";
}

// The message of the exception of class E that `action` raises, or "no error".
template <class E = ELVError, class F>
std::string MessageOf(F&& action) {
  return Caught<E>(action, [](const E& e) { return std::string(e.what()); });
}

// The key of the ELVError (or descendant E) that `action` raises, or "no error".
template <class E = ELVError, class F>
std::string KeyOf(F&& action) {
  return Caught<E>(action, [](const E& e) { return e.Key(); });
}

// The message of the ELVError that `action` raises, after checking its key; a failure
// of the test when it raises none.
template <class F>
std::string MessageOfFailure(F&& action, std::string_view key) {
  std::string message = Caught<ELVError>(action, [&](const ELVError& e) {
    EXPECT_EQ(e.Key(), key);
    return std::string(e.what());
  });
  if (message == "no error") ADD_FAILURE() << "no error, expected " << key;
  return message;
}

}  // namespace lv::test
