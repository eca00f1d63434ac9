// Russian texts for the operating system's error numbers. Every message that carries
// a reason from the system (a file that cannot be opened, a full disk) takes it from
// here, so the user reads Russian all the way through. A number without a text of its
// own gets a general Russian line followed by the library's text, so nothing is lost.
//
// Safe to call from any thread once the texts are registered.
#pragma once

#include <string>
#include <system_error>

namespace lv {

// The reason for `error` (an errno value), in Russian.
std::string LVSystemErrorText(int error);
// The same for an error code of the standard library; codes of other categories keep
// their own text behind the general Russian line.
std::string LVSystemErrorText(const std::error_code& error);

void RegisterSystemErrorTexts();

}  // namespace lv
