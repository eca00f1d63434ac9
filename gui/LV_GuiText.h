// Texts crossing from the engine (UTF-8 std::string) into Qt and back.
#pragma once

#include <QString>
#include <initializer_list>
#include <string>
#include <string_view>

#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"

namespace lv {

inline QString ToQ(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}
inline std::string FromQ(const QString& text) {
  return text.toStdString();
}

// The text of `key`, formatted with `args` when there are any; Windows line ends of
// the message table become bare ones, as Qt's widgets expect.
inline QString GuiText(std::string_view key, std::initializer_list<TLVFormatArg> args = {}) {
  QString text = ToQ(args.size() == 0 ? LVText(key) : Format(LVText(key), args));
  text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
  return text;
}

}  // namespace lv
