// Property tables: every setting of a class declared once, with its name, type,
// default, getter and setter. The same table saves and loads the settings (through
// any name/text store: the configuration tree of a project, a test's map) and will
// drive the property editors of the desktop shell.
//
// Values are persisted as locale-independent text, so a project opens the same on
// every machine: integers in decimal, reals in the shortest form that reads back
// exactly with '.' as separator, Booleans as "True"/"False", characters as themselves,
// enumerations by value name. Loading goes through the setters, so their refusals
// apply; a text that is not a value of the property's type raises "ErrPropertyValue".
//
// A table is built once per class (typically a function-local static) and only read
// afterwards.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "core/LV_Errors.h"
#include "core/LV_Types.h"

namespace lv {

enum class TLVPropertyType : uint8_t { ptString, ptInteger, ptFloat, ptBoolean, ptChar, ptEnum };

// Text forms of the persisted value types.
template <class V, class Enable = void>
struct TLVPropertyCodec;

template <>
struct TLVPropertyCodec<std::string> {
  static constexpr TLVPropertyType kType = TLVPropertyType::ptString;
  static std::string ToText(const std::string& v) { return v; }
  static std::optional<std::string> FromText(std::string_view t) { return std::string(t); }
};
template <>
struct TLVPropertyCodec<int32_t> {
  static constexpr TLVPropertyType kType = TLVPropertyType::ptInteger;
  static std::string ToText(int32_t v) { return std::to_string(v); }
  static std::optional<int32_t> FromText(std::string_view t);
};
template <>
struct TLVPropertyCodec<double> {
  static constexpr TLVPropertyType kType = TLVPropertyType::ptFloat;
  static std::string ToText(double v);
  static std::optional<double> FromText(std::string_view t);
};
template <>
struct TLVPropertyCodec<bool> {
  static constexpr TLVPropertyType kType = TLVPropertyType::ptBoolean;
  static std::string ToText(bool v) { return v ? "True" : "False"; }
  static std::optional<bool> FromText(std::string_view t);
};
template <>
struct TLVPropertyCodec<char> {
  static constexpr TLVPropertyType kType = TLVPropertyType::ptChar;
  static std::string ToText(char v) { return v == '\0' ? std::string() : std::string(1, v); }
  static std::optional<char> FromText(std::string_view t);
};
template <class E>
struct TLVPropertyCodec<E, std::enable_if_t<std::is_enum_v<E>>> {
  static constexpr TLVPropertyType kType = TLVPropertyType::ptEnum;
  static std::string ToText(E v) { return std::string(ValueName(v)); }
  static std::optional<E> FromText(std::string_view t) { return EnumFromName<E>(t); }
};

template <class Owner>
class TLVProperty {
 public:
  TLVProperty(std::string_view name, TLVPropertyType type, std::string defaultText,
              const TLVEnumDescriptor* enumeration, std::function<std::string(const Owner&)> get,
              std::function<void(Owner&, std::string_view)> set)
      : name_(name),
        type_(type),
        defaultText_(std::move(defaultText)),
        enumeration_(enumeration),
        get_(std::move(get)),
        set_(std::move(set)) {}

  const std::string& Name() const { return name_; }
  TLVPropertyType Type() const { return type_; }
  const std::string& DefaultText() const { return defaultText_; }
  // The enumeration of a ptEnum property (for editors), else null.
  const TLVEnumDescriptor* Enumeration() const { return enumeration_; }

  std::string Get(const Owner& owner) const { return get_(owner); }
  void Set(Owner& owner, std::string_view text) const { set_(owner, text); }
  bool IsDefault(const Owner& owner) const { return Get(owner) == defaultText_; }

 private:
  std::string name_;
  TLVPropertyType type_;
  std::string defaultText_;
  const TLVEnumDescriptor* enumeration_;
  std::function<std::string(const Owner&)> get_;
  std::function<void(Owner&, std::string_view)> set_;
};

[[noreturn]] void RaisePropertyValue(std::string_view property, std::string_view text);

template <class Owner>
class TLVPropertyTable {
 public:
  // Declares a property from a getter and a setter of Owner (or of a base of Owner).
  template <class Getter, class Setter, class Default>
  TLVPropertyTable& Add(std::string_view name, Getter getter, Setter setter, Default defaultValue) {
    using V = std::remove_cvref_t<std::invoke_result_t<Getter, const Owner&>>;
    using Codec = TLVPropertyCodec<V>;
    const TLVEnumDescriptor* enumeration = nullptr;
    if constexpr (std::is_enum_v<V>) enumeration = &DescribeEnum(V{});
    std::string propertyName(name);
    items_.emplace_back(
        name, Codec::kType, Codec::ToText(static_cast<V>(defaultValue)), enumeration,
        [getter](const Owner& o) { return Codec::ToText(std::invoke(getter, o)); },
        [setter, propertyName](Owner& o, std::string_view text) {
          std::optional<V> value = Codec::FromText(text);
          if (!value) RaisePropertyValue(propertyName, text);
          std::invoke(setter, o, *value);
        });
    return *this;
  }

  // Takes over the properties of a base class's table, in their order.
  template <class Base>
  TLVPropertyTable& Inherit(const TLVPropertyTable<Base>& base) {
    static_assert(std::is_base_of_v<Base, Owner>);
    for (const auto& p : base.Items()) {
      items_.emplace_back(
          p.Name(), p.Type(), p.DefaultText(), p.Enumeration(),
          [&p](const Owner& o) { return p.Get(o); },
          [&p](Owner& o, std::string_view text) { p.Set(o, text); });
    }
    return *this;
  }

  const std::vector<TLVProperty<Owner>>& Items() const { return items_; }
  const TLVProperty<Owner>* Find(std::string_view name) const {
    for (const auto& p : items_) {
      if (p.Name() == name) return &p;
    }
    return nullptr;
  }

  // Writes every property as (name, text).
  void Save(const Owner& owner,
            const std::function<void(const std::string&, const std::string&)>& put) const {
    for (const auto& p : items_) put(p.Name(), p.Get(owner));
  }
  // Reads every property the store has; an absent one takes its default. Properties
  // are applied in table order, so one may depend on those before it.
  void Load(Owner& owner,
            const std::function<std::optional<std::string>(const std::string&)>& get) const {
    for (const auto& p : items_) {
      std::optional<std::string> text = get(p.Name());
      p.Set(owner, text ? *text : p.DefaultText());
    }
  }
  void ApplyDefaults(Owner& owner) const {
    for (const auto& p : items_) p.Set(owner, p.DefaultText());
  }

 private:
  std::vector<TLVProperty<Owner>> items_;
};

void RegisterPropertiesTexts();

}  // namespace lv
