#include "core/registry/LV_Vendor.h"

#include <algorithm>
#include <typeinfo>

#include "core/sources/LV_TunedDataSource.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

bool SameVendorName(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) {
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    return lower(x) == lower(y);
  });
}

void TLVVendorList::Add(std::shared_ptr<TLVVendor> vendor) {
  if (!vendor) RaiseVendorNull();
  CheckAdd(*vendor);
  items_.push_back(std::move(vendor));
}

void TLVVendorList::CheckAdd(const TLVVendor& vendor) const {
  for (const auto& item : items_) {
    if (item.get() == &vendor) throw ELVError("ErrVendorTwice", {LVClassName(typeid(vendor))});
  }
}

void TLVVendorList::RaiseWrongFamily(const TLVVendor& vendor) const {
  throw ELVError("ErrVendorWrongFamily", {LVClassName(typeid(vendor)), LVClassName(typeid(*this))});
}

void TLVClassVendorList::CheckAdd(const TLVVendor& vendor) const {
  TLVVendorList::CheckAdd(vendor);
  RequireFamily<TLVClassVendor>(vendor);
}

TLVClassVendor* TLVClassVendorList::FindByClass(const TLVClassRef& vendoredClass) const {
  for (int32_t i = 0; i < Count(); ++i) {
    if ((*this)[i].VendoredClass() == vendoredClass) return &(*this)[i];
  }
  return nullptr;
}

TLVClassVendor* TLVClassVendorList::FindByClassName(std::string_view className) const {
  for (int32_t i = 0; i < Count(); ++i) {
    if (SameVendorName((*this)[i].ClassName(), className)) return &(*this)[i];
  }
  return nullptr;
}

TLVClassVendor* TLVParentClassVendorList::FindForClass(const TLVClassRef& someClass) const {
  if (TLVClassVendor* exact = FindByClass(someClass)) return exact;
  // Among the registered ancestors the nearest is the one that derives from all the
  // others; single inheritance keeps them on one line, so it is the last survivor of
  // a pairwise comparison.
  TLVClassVendor* nearest = nullptr;
  for (int32_t i = 0; i < Count(); ++i) {
    TLVClassVendor& candidate = (*this)[i];
    const TLVClassRef& cls = candidate.VendoredClass();
    if (!someClass.InheritsFrom(cls)) continue;
    // A second vendor of the same class does not replace the first.
    if (!nearest ||
        (cls.InheritsFrom(nearest->VendoredClass()) && !(cls == nearest->VendoredClass()))) {
      nearest = &candidate;
    }
  }
  return nearest;
}

TLVVisualClassVendor::TLVVisualClassVendor(TLVClassRef vendoredClass, const TLVVendorGroup& group,
                                           std::string captionKey, std::string hintKey)
    : TLVClassVendor(vendoredClass),
      group_(&group),
      captionKey_(std::move(captionKey)),
      hintKey_(std::move(hintKey)) {}

std::string TLVVisualClassVendor::Caption() const {
  return LVText(captionKey_);
}

std::string TLVVisualClassVendor::Hint() const {
  return LVText(hintKey_);
}

void TLVVisualClassVendorList::CheckAdd(const TLVVendor& vendor) const {
  TLVClassVendorList::CheckAdd(vendor);
  RequireFamily<TLVVisualClassVendor>(vendor);
}

std::vector<TLVVisualClassVendor*> TLVVisualClassVendorList::VendorsWithin(
    const TLVVendorGroup& group, bool includeHidden) const {
  std::vector<TLVVisualClassVendor*> result;
  for (int32_t i = 0; i < Count(); ++i) {
    TLVVisualClassVendor& vendor = (*this)[i];
    if (vendor.Group().IsWithin(group) && (includeHidden || vendor.GetVisible())) {
      result.push_back(&vendor);
    }
  }
  std::ranges::stable_sort(result, {},
                           [](const TLVVisualClassVendor* v) { return v->Group().Order(); });
  return result;
}

TLVCustomComponentVendor::TLVCustomComponentVendor(TLVClassRef vendoredClass,
                                                   const TLVVendorGroup& group,
                                                   TLVComponentVendorInfo info)
    : TLVVisualClassVendor(vendoredClass, group, std::move(info.captionKey),
                           std::move(info.hintKey)),
      identifier_(std::move(info.identifier)) {}

TLVBaseComponentVendor::TLVBaseComponentVendor(TLVClassRef vendoredClass,
                                               const TLVVendorGroup& group,
                                               TLVComponentVendorInfo info,
                                               TLVComponentFactory factory)
    : TLVCustomComponentVendor(vendoredClass, group, std::move(info)),
      factory_(std::move(factory)) {}

namespace {

void RequireCatalogue(const TLVVendorGroup& group, const TLVVendorGroup& catalogue,
                      std::string_view identifier) {
  if (!group.IsWithin(catalogue)) {
    throw ELVError("ErrVendorGroupCatalogue", {identifier, group.Caption(), catalogue.Caption()});
  }
}

}  // namespace

TLVViewVendor::TLVViewVendor(TLVClassRef vendoredClass, const TLVVendorGroup& group,
                             TLVComponentVendorInfo info, TLVComponentFactory factory,
                             Applicability canShow)
    : TLVComponentVendor(vendoredClass, group, std::move(info), std::move(factory)),
      canShow_(std::move(canShow)) {
  RequireCatalogue(group, LVVendorGroup<TLVVendorGroupViewer>(), Identifier());
}

TLVConnectionVendor::TLVConnectionVendor(TLVClassRef vendoredClass, const TLVVendorGroup& group,
                                         TLVComponentVendorInfo info, TLVComponentFactory factory)
    : TLVComponentVendor(vendoredClass, group, std::move(info), std::move(factory)) {
  RequireCatalogue(group, LVVendorGroup<TLVVendorGroupConnection>(), Identifier());
}

void TLVComponentVendorList::CheckAdd(const TLVVendor& vendor) const {
  TLVVisualClassVendorList::CheckAdd(vendor);
  RequireFamily<TLVComponentVendor>(vendor);
  const std::string& id = static_cast<const TLVComponentVendor&>(vendor).Identifier();
  if (id.empty()) throw ELVError("ErrVendorEmptyID", {LVClassName(typeid(vendor))});
  if (FindByID(id)) throw ELVError("ErrVendorDuplicateID", {id});
}

TLVComponentVendor* TLVComponentVendorList::FindByID(std::string_view identifier) const {
  for (int32_t i = 0; i < Count(); ++i) {
    if (SameVendorName((*this)[i].Identifier(), identifier)) return &(*this)[i];
  }
  return nullptr;
}

TLVComponentVendor& TLVComponentVendorList::VendorByID(std::string_view identifier) const {
  TLVComponentVendor* vendor = FindByID(identifier);
  if (!vendor) throw ELVError("ErrVendorIDNotFound", {identifier});
  return *vendor;
}

std::shared_ptr<TLVComponent> TLVComponentVendorList::CreateComponent(
    std::string_view identifier) const {
  return VendorByID(identifier).CreateComponent();
}

std::vector<TLVComponentVendor*> TLVComponentVendorList::Catalogue(
    const TLVVendorGroup& root) const {
  std::vector<TLVComponentVendor*> result;
  for (TLVVisualClassVendor* vendor : VendorsWithin(root)) {
    result.push_back(static_cast<TLVComponentVendor*>(vendor));
  }
  return result;
}

void TLVConnectionVendorList::CheckAdd(const TLVVendor& vendor) const {
  RequireFamily<TLVConnectionVendor>(vendor);
  TLVComponentVendorList::CheckAdd(vendor);
}

void RaiseVendorNull() {
  throw ELVError("ErrVendorNull");
}

void RaiseVendorNameTaken(std::string_view name) {
  throw ELVError("ErrVendorNameTaken", {name});
}

void RaiseVendorNameNotFound(std::string_view name) {
  throw ELVError("ErrVendorNotFound", {name});
}

TLVComponentVendorList& LVComponentVendors() {
  static TLVComponentVendorList list;
  return list;
}

TLVConnectionVendorList& LVConnectionVendors() {
  static TLVConnectionVendorList list;
  return list;
}

TLVColumnsInfoVendorList& LVColumnsInfoVendors() {
  static TLVColumnsInfoVendorList list;
  return list;
}

void RegisterCoreVendors() {
  auto& columns = LVColumnsInfoVendors();
  if (!columns.Find(TLVDefaultColumnsInfoVendor::kName)) {
    columns.Add(std::make_shared<TLVDefaultColumnsInfoVendor>());
  }
}

void RegisterVendorTexts() {
  RegisterVendorGroupsTexts();
  TLVLocalization::Instance().RegisterKeys(
      {"ErrVendorNull", "ErrVendorTwice", "ErrVendorWrongFamily", "ErrVendorEmptyID",
       "ErrVendorDuplicateID", "ErrVendorIDNotFound", "ErrVendorGroupCatalogue",
       "ErrVendorNameTaken", "ErrVendorNotFound"});
}

}  // namespace lv
