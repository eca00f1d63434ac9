// Reading and writing single settings of the mining objects, whose sections hold keys
// that appear only under conditions and so do not fit a flat property table. Values
// use the property tables' text forms (LV_Properties.h); a text that is not a value
// of the type raises "ErrPropertyValue" naming the key.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/registry/LV_Properties.h"
#include "core/registry/LV_Settings.h"

namespace lv {

// The value of key `name`, or nothing when the section has none.
template <class V>
std::optional<V> ReadOptionalSetting(const ILVSettingsSection& section, std::string_view name) {
  std::optional<std::string> text = section.Get(name);
  if (!text) return std::nullopt;
  std::optional<V> value = TLVPropertyCodec<V>::FromText(*text);
  if (!value) RaisePropertyValue(name, *text);
  return value;
}

// The value of key `name`, or `fallback` when the section has none.
template <class V>
V ReadSetting(const ILVSettingsSection& section, std::string_view name, V fallback) {
  return ReadOptionalSetting<V>(section, name).value_or(fallback);
}

// The items of a list section written with its "Count"; a count that disagrees with
// the items (a list cut or copied by hand) raises "ErrPropertyValue" naming "Count".
inline std::vector<const ILVSettingsSection*> CountedItems(const ILVSettingsSection& list,
                                                           std::string_view itemName) {
  std::vector<const ILVSettingsSection*> items = list.Items(itemName);
  if (std::optional<std::string> text = list.Get("Count")) {
    std::optional<int32_t> count = TLVPropertyCodec<int32_t>::FromText(*text);
    if (!count || *count < 0 || static_cast<size_t>(*count) != items.size()) {
      RaisePropertyValue("Count", *text);
    }
  }
  return items;
}

// A real in the persisted text form (shortest exact, '.' as separator).
inline std::string RealText(double value) {
  return TLVPropertyCodec<double>::ToText(value);
}

// A list of values as one setting, separated by ';'.
template <class V>
std::string JoinSetting(const std::vector<V>& values) {
  std::string text;
  for (const V& value : values) {
    if (!text.empty()) text += ';';
    text += TLVPropertyCodec<V>::ToText(value);
  }
  return text;
}

// The values of a list written by JoinSetting; an item that is not a value raises
// "ErrPropertyValue" naming `name`.
template <class V>
std::vector<V> SplitSetting(std::string_view text, std::string_view name) {
  std::vector<V> values;
  while (!text.empty()) {
    const size_t end = text.find(';');
    const std::string_view item = text.substr(0, end);
    std::optional<V> value = TLVPropertyCodec<V>::FromText(item);
    if (!value) RaisePropertyValue(name, item);
    values.push_back(*value);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
  }
  return values;
}

template <class V>
void WriteSetting(ILVSettingsSection& section, std::string_view name, const V& value) {
  section.Put(name, TLVPropertyCodec<V>::ToText(value));
}

}  // namespace lv
