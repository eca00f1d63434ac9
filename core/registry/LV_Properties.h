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
// Besides flat properties a table may hold collections (a list of items that have a
// table of their own, such as a node's column definitions) and nested objects. Those
// persist only through the section form of Save/Load (an ILVSettingsSection, the
// node of the configuration tree): a collection as a sub-section with one item per
// element, a nested object as a sub-section. The function form sees flat properties
// only.
//
// A table is built once per class (typically a function-local static) and only read
// afterwards.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "core/columns/LV_Types.h"
#include "core/registry/LV_Collection.h"
#include "core/registry/LV_Settings.h"
#include "core/text/LV_Errors.h"

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
// "ErrRefToClassNotInitOrWrongClass": a collection item is not of the class its table
// describes.
[[noreturn]] void RaiseCollectionItemClass();

// What a table declares, without its owner's type: names, types, defaults and allowed
// values of the properties, and the sub-sections with what they hold. The settings
// reference of the documentation is generated from it.
struct TLVSettingsDescription {
  struct TProperty {
    std::string name;
    TLVPropertyType type;
    std::string defaultText;
    const TLVEnumDescriptor* enumeration;  // of a ptEnum property, else null
  };
  struct TSection {
    std::string name;
    std::string itemName;  // the name of each item of a collection; empty for an object
    std::shared_ptr<const TLVSettingsDescription> content;
  };
  std::vector<TProperty> properties;
  std::vector<TSection> sections;
};

// A sub-section entry of a table: a collection or a nested object.
template <class Owner>
struct TLVPropertySection {
  std::string name;
  std::function<void(const Owner&, ILVSettingsSection&)> save;
  std::function<void(Owner&, const ILVSettingsSection*)> load;
  std::string itemName;  // as in TLVSettingsDescription::TSection
  std::function<TLVSettingsDescription()> describe;
};

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

  // Declares a collection persisted as the sub-section `name` holding one `itemName`
  // item per element, each with the properties of `itemTable`. `access` gives the
  // collection of an owner, const or not: a generic lambda such as
  // [](auto& o) -> auto& { return o.Columns(); }. Loading replaces the elements with
  // new ones made by `make` (default: Item's default constructor); an absent section
  // leaves the collection empty.
  template <class Item, class Access>
  TLVPropertyTable& AddCollection(
      std::string_view name, std::string_view itemName, Access access,
      const TLVPropertyTable<Item>& itemTable,
      std::function<std::shared_ptr<Item>()> make = [] { return std::make_shared<Item>(); }) {
    std::string item(itemName);
    sections_.push_back(
        {std::string(name),
         [access, item, &itemTable](const Owner& o, ILVSettingsSection& section) {
           const TLVCollection& list = std::invoke(access, o);
           for (int32_t i = 0; i < list.Count(); ++i) {
             const Item* element = dynamic_cast<const Item*>(&list.ItemAt(i));
             if (!element) RaiseCollectionItemClass();
             itemTable.Save(*element, section.AddItem(item));
           }
         },
         [access, item, &itemTable, make](Owner& o, const ILVSettingsSection* section) {
           TLVCollection& list = std::invoke(access, o);
           std::vector<std::shared_ptr<Item>> loaded;
           if (section) {
             for (const ILVSettingsSection* entry : section->Items(item)) {
               std::shared_ptr<Item> element = make();
               if (!element) RaiseCollectionItemClass();
               itemTable.Load(*element, *entry);
               loaded.push_back(std::move(element));
             }
           }
           list.BeginUpdate();
           try {
             list.Clear();
             for (auto& element : loaded) list.Add(std::move(element));
           } catch (...) {
             list.EndUpdate();
             throw;
           }
           list.EndUpdate();
         },
         item, [&itemTable] { return itemTable.Describe(); }});
    return *this;
  }

  // Declares a nested object persisted as the sub-section `name` with the properties
  // of `table`; `access` is a generic lambda as for collections. An absent section
  // gives the object its defaults.
  template <class Object, class Access>
  TLVPropertyTable& AddObject(std::string_view name, Access access,
                              const TLVPropertyTable<Object>& table) {
    sections_.push_back({std::string(name),
                         [access, &table](const Owner& o, ILVSettingsSection& section) {
                           table.Save(std::invoke(access, o), section);
                         },
                         [access, &table](Owner& o, const ILVSettingsSection* section) {
                           Object& object = std::invoke(access, o);
                           if (section) {
                             table.Load(object, *section);
                           } else {
                             table.ApplyDefaults(object);
                           }
                         },
                         std::string(), [&table] { return table.Describe(); }});
    return *this;
  }

  // Takes over the properties and sub-sections of a base class's table, in their order.
  template <class Base>
  TLVPropertyTable& Inherit(const TLVPropertyTable<Base>& base) {
    static_assert(std::is_base_of_v<Base, Owner>);
    for (const auto& p : base.Items()) {
      items_.emplace_back(
          p.Name(), p.Type(), p.DefaultText(), p.Enumeration(),
          [&p](const Owner& o) { return p.Get(o); },
          [&p](Owner& o, std::string_view text) { p.Set(o, text); });
    }
    for (const auto& s : base.Sections()) {
      sections_.push_back({s.name, [&s](const Owner& o, ILVSettingsSection& to) { s.save(o, to); },
                           [&s](Owner& o, const ILVSettingsSection* from) { s.load(o, from); },
                           s.itemName, s.describe});
    }
    return *this;
  }

  TLVSettingsDescription Describe() const {
    TLVSettingsDescription description;
    for (const auto& p : items_) {
      description.properties.push_back({p.Name(), p.Type(), p.DefaultText(), p.Enumeration()});
    }
    for (const auto& s : sections_) {
      description.sections.push_back(
          {s.name, s.itemName, std::make_shared<const TLVSettingsDescription>(s.describe())});
    }
    return description;
  }

  const std::vector<TLVProperty<Owner>>& Items() const { return items_; }
  const std::vector<TLVPropertySection<Owner>>& Sections() const { return sections_; }
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
    for (const auto& s : sections_) s.load(owner, nullptr);
  }

  // The section form: flat properties as texts of `section`, then every collection
  // and nested object as a sub-section of its own.
  void Save(const Owner& owner, ILVSettingsSection& section) const {
    for (const auto& p : items_) section.Put(p.Name(), p.Get(owner));
    for (const auto& s : sections_) s.save(owner, section.AddSection(s.name));
  }
  void Load(Owner& owner, const ILVSettingsSection& section) const {
    for (const auto& p : items_) {
      std::optional<std::string> text = section.Get(p.Name());
      p.Set(owner, text ? *text : p.DefaultText());
    }
    for (const auto& s : sections_) s.load(owner, section.FindSection(s.name));
  }

 private:
  std::vector<TLVProperty<Owner>> items_;
  std::vector<TLVPropertySection<Owner>> sections_;
};

void RegisterPropertiesTexts();

}  // namespace lv
