// Vendors: the registry objects through which the system knows its node kinds and its
// other pluggable families. A vendor names what it stands for and creates it; a vendor
// list holds the vendors of one family in registration order.
//
// Lists are filled at start-up, before any project opens, by explicit registration
// calls (one per unit, gathered in the start-up functions of each library); nothing
// registers itself from a static initialiser. After start-up the lists are only read,
// so any thread may read them; adding while others read is not allowed. A list owns
// its vendors; pointers to vendors stay valid for as long as the list exists.
//
// A node kind registers itself in a few lines:
//
//   list.Add(TLVComponentVendor::Make<TLVTextFile, TLVVendorGroupImportFile>(
//       {"TextFile", "TextFileVendorCaption", "TextFileVendorHint"}));
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "core/registry/LV_ClassRef.h"
#include "core/registry/LV_Properties.h"
#include "core/registry/LV_VendorGroups.h"
#include "core/sources/LV_Component.h"

namespace lv {

// Identifiers and class names are ASCII; they match without regard to case so that a
// hand-edited project file still finds its kinds.
bool SameVendorName(std::string_view a, std::string_view b);

class TLVVendor {
 public:
  TLVVendor(const TLVVendor&) = delete;
  TLVVendor& operator=(const TLVVendor&) = delete;
  virtual ~TLVVendor() = default;

 protected:
  TLVVendor() = default;
};

class TLVVendorList {
 public:
  TLVVendorList() = default;
  TLVVendorList(const TLVVendorList&) = delete;
  TLVVendorList& operator=(const TLVVendorList&) = delete;
  virtual ~TLVVendorList() = default;

  int32_t Count() const { return static_cast<int32_t>(items_.size()); }
  TLVVendor& Item(int32_t index) const { return *items_.at(static_cast<size_t>(index)); }

  // Appends `vendor`; a family refuses what it cannot hold (the list is then unchanged).
  void Add(std::shared_ptr<TLVVendor> vendor);

 protected:
  // Raises when `vendor` does not belong in this list.
  virtual void CheckAdd(const TLVVendor& vendor) const;
  // Raises "ErrVendorWrongFamily" unless `vendor` is a V.
  template <class V>
  void RequireFamily(const TLVVendor& vendor) const {
    if (!dynamic_cast<const V*>(&vendor)) RaiseWrongFamily(vendor);
  }

 private:
  [[noreturn]] void RaiseWrongFamily(const TLVVendor& vendor) const;
  std::vector<std::shared_ptr<TLVVendor>> items_;
};

// A vendor that stands for one class and creates its instances.
class TLVClassVendor : public TLVVendor {
 public:
  const TLVClassRef& VendoredClass() const { return class_; }
  std::string ClassName() const { return class_.Name(); }

 protected:
  explicit TLVClassVendor(TLVClassRef vendoredClass) : class_(vendoredClass) {}

 private:
  TLVClassRef class_;
};

class TLVClassVendorList : public TLVVendorList {
 public:
  TLVClassVendor& operator[](int32_t index) const {
    return static_cast<TLVClassVendor&>(Item(index));
  }
  // The first vendor registered for exactly this class, or null. Several kinds may
  // share one class (with different presets); the identifier tells them apart.
  TLVClassVendor* FindByClass(const TLVClassRef& vendoredClass) const;
  template <class T>
  TLVClassVendor* FindByClass() const {
    return FindByClass(TLVClassRef::Of<T>());
  }
  TLVClassVendor* FindByClassName(std::string_view className) const;

 protected:
  void CheckAdd(const TLVVendor& vendor) const override;
};

// A class vendor list that also answers for classes without a vendor of their own:
// such a class is served by the vendor of its nearest registered ancestor.
class TLVParentClassVendorList : public TLVClassVendorList {
 public:
  TLVClassVendor* FindForClass(const TLVClassRef& someClass) const;
  template <class T>
  TLVClassVendor* FindForClass() const {
    return FindForClass(TLVClassRef::Of<T>());
  }
};

// A class vendor shown in catalogues: a caption and a hint (text keys) under a group.
// Visible may be switched on the main thread; hidden vendors stay registered and
// creatable (old projects still open) but are not offered.
class TLVVisualClassVendor : public TLVClassVendor {
 public:
  bool GetVisible() const { return visible_; }
  void SetVisible(bool value) { visible_ = value; }

  const TLVVendorGroup& Group() const { return *group_; }
  const std::string& CaptionKey() const { return captionKey_; }
  const std::string& HintKey() const { return hintKey_; }
  std::string Caption() const;
  std::string Hint() const;

 protected:
  TLVVisualClassVendor(TLVClassRef vendoredClass, const TLVVendorGroup& group,
                       std::string captionKey, std::string hintKey);

 private:
  const TLVVendorGroup* group_;
  std::string captionKey_;
  std::string hintKey_;
  bool visible_ = true;
};

class TLVVisualClassVendorList : public TLVClassVendorList {
 public:
  TLVVisualClassVendor& operator[](int32_t index) const {
    return static_cast<TLVVisualClassVendor&>(Item(index));
  }
  // The vendors whose group lies within `group`, in catalogue order: by the order of
  // their groups (AllVendorGroups), then by registration. Hidden ones only on request.
  std::vector<TLVVisualClassVendor*> VendorsWithin(const TLVVendorGroup& group,
                                                   bool includeHidden = false) const;

 protected:
  void CheckAdd(const TLVVendor& vendor) const override;
};

// What a node-kind vendor is told when it is made.
struct TLVComponentVendorInfo {
  std::string identifier;  // persisted in the project file; never changes once released
  std::string captionKey;
  std::string hintKey;
};

using TLVComponentFactory = std::function<std::shared_ptr<TLVComponent>()>;

// A vendor that names a kind of node: its persisted identifier and the kind of node
// its catalogue offers.
class TLVCustomComponentVendor : public TLVVisualClassVendor {
 public:
  const std::string& Identifier() const { return identifier_; }
  TLVComponentType ComponentType() const { return CatalogueComponentType(Group()); }

 protected:
  TLVCustomComponentVendor(TLVClassRef vendoredClass, const TLVVendorGroup& group,
                           TLVComponentVendorInfo info);

 private:
  std::string identifier_;
};

// A node-kind vendor that creates its nodes.
class TLVBaseComponentVendor : public TLVCustomComponentVendor {
 public:
  virtual std::shared_ptr<TLVComponent> CreateComponent() const { return factory_(); }

 protected:
  TLVBaseComponentVendor(TLVClassRef vendoredClass, const TLVVendorGroup& group,
                         TLVComponentVendorInfo info, TLVComponentFactory factory);

 private:
  TLVComponentFactory factory_;
};

// The vendor of a node kind (handler).
class TLVComponentVendor : public TLVBaseComponentVendor {
 public:
  TLVComponentVendor(TLVClassRef vendoredClass, const TLVVendorGroup& group,
                     TLVComponentVendorInfo info, TLVComponentFactory factory)
      : TLVBaseComponentVendor(vendoredClass, group, std::move(info), std::move(factory)) {}

  // The vendor of node class TNode offered under group TGroup; nodes are made with
  // TNode's default constructor. A node class with a property table (a static
  // Properties()) has its settings described by the vendor.
  template <class TNode, class TGroup>
  static std::shared_ptr<TLVComponentVendor> Make(TLVComponentVendorInfo info) {
    static_assert(std::is_base_of_v<TLVComponent, TNode>);
    auto vendor = std::make_shared<TLVComponentVendor>(TLVClassRef::Of<TNode>(),
                                                       LVVendorGroup<TGroup>(), std::move(info),
                                                       [] { return std::make_shared<TNode>(); });
    vendor->template DescribeSettingsOf<TNode>();
    return vendor;
  }

  // What the kind's settings are, or nothing when the kind does not say.
  std::optional<TLVSettingsDescription> DescribeSettings() const {
    if (!describe_) return std::nullopt;
    return describe_();
  }

 protected:
  // The kind's settings are those of TNode's property table, when it has one.
  template <class TNode>
  void DescribeSettingsOf() {
    if constexpr (requires { TNode::Properties().Describe(); }) {
      describe_ = [] { return TNode::Properties().Describe(); };
    }
  }

 private:
  std::function<TLVSettingsDescription()> describe_;
};

// The vendor of a visualiser kind; its group must be one of the visualisers' catalogue.
class TLVViewVendor : public TLVComponentVendor {
 public:
  // Whether a view of this kind can show `node`.
  using Applicability = std::function<bool(const TLVComponent& node)>;

  TLVViewVendor(TLVClassRef vendoredClass, const TLVVendorGroup& group, TLVComponentVendorInfo info,
                TLVComponentFactory factory, Applicability canShow = {});

  bool CanShow(const TLVComponent& node) const { return !canShow_ || canShow_(node); }

  template <class TView, class TGroup>
  static std::shared_ptr<TLVViewVendor> Make(TLVComponentVendorInfo info,
                                             Applicability canShow = {}) {
    static_assert(std::is_base_of_v<TLVVendorGroupViewer, TGroup>);
    return std::make_shared<TLVViewVendor>(
        TLVClassRef::Of<TView>(), LVVendorGroup<TGroup>(), std::move(info),
        [] { return std::make_shared<TView>(); }, std::move(canShow));
  }

 private:
  Applicability canShow_;
};

// The vendor of a connection kind; its group must be one of the connections' catalogue.
class TLVConnectionVendor : public TLVComponentVendor {
 public:
  TLVConnectionVendor(TLVClassRef vendoredClass, const TLVVendorGroup& group,
                      TLVComponentVendorInfo info, TLVComponentFactory factory);

  TLVConnectionType ConnectionType() const { return GroupConnectionType(Group()); }

  template <class TConnection, class TGroup>
  static std::shared_ptr<TLVConnectionVendor> Make(TLVComponentVendorInfo info) {
    static_assert(std::is_base_of_v<TLVVendorGroupConnection, TGroup>);
    return std::make_shared<TLVConnectionVendor>(TLVClassRef::Of<TConnection>(),
                                                 LVVendorGroup<TGroup>(), std::move(info),
                                                 [] { return std::make_shared<TConnection>(); });
  }
};

// The registry of node kinds.
class TLVComponentVendorList : public TLVVisualClassVendorList {
 public:
  TLVComponentVendor& operator[](int32_t index) const {
    return static_cast<TLVComponentVendor&>(Item(index));
  }
  TLVComponentVendor* FindByID(std::string_view identifier) const;
  // Raises "ErrVendorIDNotFound" for an identifier nobody registered.
  TLVComponentVendor& VendorByID(std::string_view identifier) const;
  // A new node of the kind `identifier` (what opening a project does for each node).
  std::shared_ptr<TLVComponent> CreateComponent(std::string_view identifier) const;
  // The visible kinds of the catalogue `root` in catalogue order.
  std::vector<TLVComponentVendor*> Catalogue(const TLVVendorGroup& root) const;

 protected:
  // Refuses non-component vendors and identifiers that are empty or already taken.
  void CheckAdd(const TLVVendor& vendor) const override;
};

class TLVConnectionVendorList : public TLVComponentVendorList {
 public:
  TLVConnectionVendor& operator[](int32_t index) const {
    return static_cast<TLVConnectionVendor&>(Item(index));
  }

 protected:
  void CheckAdd(const TLVVendor& vendor) const override;
};

[[noreturn]] void RaiseVendorNull();
[[noreturn]] void RaiseVendorNameTaken(std::string_view name);
[[noreturn]] void RaiseVendorNameNotFound(std::string_view name);

// The registry of a family whose vendors are known by a name of their own (T has
// GetName()) rather than by a class: column vendors, and the like. Same contract as
// TLVVendorList: filled at start-up, read-only afterwards.
template <class T>
class TLVNamedVendorList {
 public:
  int32_t Count() const { return static_cast<int32_t>(items_.size()); }
  const T& operator[](int32_t index) const { return *items_.at(static_cast<size_t>(index)); }

  void Add(std::shared_ptr<const T> vendor) {
    if (!vendor) RaiseVendorNull();
    if (Find(vendor->GetName())) RaiseVendorNameTaken(vendor->GetName());
    items_.push_back(std::move(vendor));
  }
  std::shared_ptr<const T> Find(std::string_view name) const {
    for (const auto& item : items_) {
      if (SameVendorName(item->GetName(), name)) return item;
    }
    return nullptr;
  }
  // Raises "ErrVendorNotFound" for a name nobody registered.
  std::shared_ptr<const T> Get(std::string_view name) const {
    auto item = Find(name);
    if (!item) RaiseVendorNameNotFound(name);
    return item;
  }

 private:
  std::vector<std::shared_ptr<const T>> items_;
};

class TLVColumnsInfoVendor;
using TLVColumnsInfoVendorList = TLVNamedVendorList<TLVColumnsInfoVendor>;

// The process-wide registries.
TLVComponentVendorList& LVComponentVendors();
TLVConnectionVendorList& LVConnectionVendors();
TLVColumnsInfoVendorList& LVColumnsInfoVendors();

// Registers the vendors the core itself provides (the default column vendor). Safe to
// call again: what is already registered stays as it is.
void RegisterCoreVendors();
void RegisterVendorTexts();

}  // namespace lv
