#include "project/LV_ConfigConvert.h"

#include <typeinfo>

#include "core/registry/LV_ClassRef.h"
#include "core/registry/LV_Vendor.h"
#include "core/sources/LV_Component.h"
#include "core/text/LV_Errors.h"

namespace lv {

TLVConfigConvertVendor::TLVConfigConvertVendor(std::string_view className, int32_t fromVersion,
                                               int32_t toVersion)
    : className_(className), fromVersion_(fromVersion), toVersion_(toVersion) {}

void TLVConfigConvertVendorList::Add(std::shared_ptr<const TLVConfigConvertVendor> vendor) {
  if (!vendor) RaiseVendorNull();
  std::string name = vendor->ClassName() + " " + std::to_string(vendor->FromVersion()) + "->" +
                     std::to_string(vendor->ToVersion());
  if (vendor->ToVersion() <= vendor->FromVersion()) {
    throw ELVError("ErrConverterNotFound",
                   {vendor->ClassName(), vendor->FromVersion(), vendor->ToVersion()});
  }
  for (const auto& item : items_) {
    if (SameVendorName(item->ClassName(), vendor->ClassName()) &&
        item->FromVersion() == vendor->FromVersion() && item->ToVersion() == vendor->ToVersion()) {
      RaiseVendorNameTaken(name);
    }
  }
  items_.push_back(std::move(vendor));
}

const TLVConfigConvertVendor* TLVConfigConvertVendorList::FindStep(std::string_view className,
                                                                   int32_t fromVersion,
                                                                   int32_t maxVersion) const {
  const TLVConfigConvertVendor* best = nullptr;
  for (const auto& item : items_) {
    if (!SameVendorName(item->ClassName(), className) || item->FromVersion() != fromVersion ||
        item->ToVersion() > maxVersion) {
      continue;
    }
    if (!best || item->ToVersion() > best->ToVersion()) best = item.get();
  }
  return best;
}

TLVConfigConvertVendorList& LVConfigConvertVendors() {
  static TLVConfigConvertVendorList list;
  return list;
}

int32_t ElementVersion(const TLVConfigNode& element) {
  return element.Params().ReadInteger(kClassVersionParam, 1);
}

void UpgradeElement(TLVConfigNode& element, std::string_view className, int32_t currentVersion,
                    const TLVConfigConvertVendorList& converters) {
  int32_t version = ElementVersion(element);
  if (version > currentVersion) {
    throw ELVError("ErrVersionConflict", {version, currentVersion, className});
  }
  while (version < currentVersion) {
    const TLVConfigConvertVendor* step = converters.FindStep(className, version, currentVersion);
    if (!step) throw ELVError("ErrConverterNotFound", {className, version, currentVersion});
    step->Convert(element);
    version = step->ToVersion();
    element.Params().WriteInteger(kClassVersionParam, version);
  }
  // The version the steps wrote is this element's own, not a setting nobody knows.
  ElementVersion(element);
}

void SaveComponentSettings(const TLVComponent& component, TLVConfigNode& element) {
  element.Params().WriteInteger(kClassVersionParam, component.SettingsVersion());
  component.SaveSettingsTo(element);
}

void LoadComponentSettings(TLVComponent& component, TLVConfigNode& element) {
  UpgradeElement(element, LVClassName(typeid(component)), component.SettingsVersion());
  component.LoadSettingsFrom(element);
}

}  // namespace lv
