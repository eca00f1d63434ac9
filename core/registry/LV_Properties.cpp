#include "core/registry/LV_Properties.h"

#include <fast_float/fast_float.h>

#include <charconv>
#include <cmath>

#include "core/text/LV_Localization.h"

namespace lv {

std::optional<int32_t> TLVPropertyCodec<int32_t>::FromText(std::string_view t) {
  int32_t value = 0;
  auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), value);
  if (ec != std::errc() || end != t.data() + t.size() || t.empty()) return std::nullopt;
  return value;
}

std::string TLVPropertyCodec<double>::ToText(double v) {
  if (std::isnan(v)) return "NAN";
  char buffer[64];
  auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, v);
  return std::string(buffer, ec == std::errc() ? end : buffer);
}

std::optional<double> TLVPropertyCodec<double>::FromText(std::string_view t) {
  if (t == "NAN") return std::nan("");
  double value = 0;
  auto result = fast_float::from_chars(t.data(), t.data() + t.size(), value);
  if (result.ec != std::errc() || result.ptr != t.data() + t.size() || t.empty()) {
    return std::nullopt;
  }
  return value;
}

std::optional<bool> TLVPropertyCodec<bool>::FromText(std::string_view t) {
  // Hand-edited files write Booleans in any case, or as digits.
  auto is = [&](std::string_view word) {
    if (t.size() != word.size()) return false;
    for (size_t i = 0; i < t.size(); ++i) {
      char c = t[i];
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
      if (c != word[i]) return false;
    }
    return true;
  };
  if (is("true") || t == "1") return true;
  if (is("false") || t == "0") return false;
  return std::nullopt;
}

std::optional<char> TLVPropertyCodec<char>::FromText(std::string_view t) {
  if (t.empty()) return '\0';
  if (t.size() == 1) return t[0];
  return std::nullopt;
}

void RaisePropertyValue(std::string_view property, std::string_view text) {
  throw ELVError("ErrPropertyValue", {text, property});
}

void RaiseCollectionItemClass() {
  throw ELVError("ErrRefToClassNotInitOrWrongClass");
}

void RegisterPropertiesTexts() {
  // The collection message belongs to the configuration tree's set; it is raised here
  // because the tables persist the collections.
  TLVLocalization::Instance().RegisterKeys(
      {"ErrPropertyValue", "ErrRefToClassNotInitOrWrongClass"});
}

}  // namespace lv
