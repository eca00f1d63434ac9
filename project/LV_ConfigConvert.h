// Versions of saved elements and the converters that bring old settings up to date.
//
// Every object that saves itself (a node's handler, a view) writes the version of its
// class's settings as the parameter "ClassVersion" beside them; a missing parameter
// means version 1, so a hand-written file needs none. On loading, an element of a
// newer version than the running class is refused ("ErrVersionConflict"); an older one
// is converted step by step by the converters registered for its class, each taking
// the element from one version to a later one ("ErrConverterNotFound" when no step
// leads on). Converters work on the configuration node before the object reads it,
// so the object itself only ever knows its current settings.
//
// A converter unit registers its converters at start-up; the list is read-only after.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "project/LV_Config.h"

namespace lv {

class TLVComponent;

inline constexpr std::string_view kClassVersionParam = "ClassVersion";

class TLVConfigConvertVendor {
 public:
  TLVConfigConvertVendor(std::string_view className, int32_t fromVersion, int32_t toVersion);
  virtual ~TLVConfigConvertVendor() = default;

  const std::string& ClassName() const { return className_; }
  int32_t FromVersion() const { return fromVersion_; }
  int32_t ToVersion() const { return toVersion_; }

  // Rewrites `element` (saved in FromVersion) as ToVersion would have written it.
  virtual void Convert(TLVConfigNode& element) const = 0;

 private:
  std::string className_;
  int32_t fromVersion_;
  int32_t toVersion_;
};

// A converter given as a function.
class TLVConfigConvertFunction : public TLVConfigConvertVendor {
 public:
  using Step = std::function<void(TLVConfigNode& element)>;
  TLVConfigConvertFunction(std::string_view className, int32_t fromVersion, int32_t toVersion,
                           Step step)
      : TLVConfigConvertVendor(className, fromVersion, toVersion), step_(std::move(step)) {}
  void Convert(TLVConfigNode& element) const override { step_(element); }

 private:
  Step step_;
};

class TLVConfigConvertVendorList {
 public:
  // Refuses a second converter for the same class and pair of versions, and a step
  // that does not go forward.
  void Add(std::shared_ptr<const TLVConfigConvertVendor> vendor);
  // The converter of `className` from `fromVersion` that goes furthest without
  // passing `maxVersion`, or null.
  const TLVConfigConvertVendor* FindStep(std::string_view className, int32_t fromVersion,
                                         int32_t maxVersion) const;
  int32_t Count() const { return static_cast<int32_t>(items_.size()); }

 private:
  std::vector<std::shared_ptr<const TLVConfigConvertVendor>> items_;
};

TLVConfigConvertVendorList& LVConfigConvertVendors();

// The saved version of an element (1 when it carries none).
int32_t ElementVersion(const TLVConfigNode& element);
// Brings `element` from its saved version to `currentVersion` in place.
void UpgradeElement(TLVConfigNode& element, std::string_view className, int32_t currentVersion,
                    const TLVConfigConvertVendorList& converters = LVConfigConvertVendors());

// Writes the component's settings and their version into `element`.
void SaveComponentSettings(const TLVComponent& component, TLVConfigNode& element);
// Upgrades `element` to the component's version, then lets the component read it.
void LoadComponentSettings(TLVComponent& component, TLVConfigNode& element);

}  // namespace lv
