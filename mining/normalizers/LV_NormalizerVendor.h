// The vendors of the normalizer classes and their list. A vendor names its class,
// gives the caption and description the user chooses by, tells whether the class can
// serve a column (from its description and statistics alone) and makes normalizers.
// The list is filled at start-up and only read afterwards; the first applicable
// vendor in registration order is the one proposed for a column.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/registry/LV_Vendor.h"
#include "mining/normalizers/LV_Normalizer.h"

namespace lv {

class TLVNormalizerVendor {
 public:
  TLVNormalizerVendor(std::string_view captionKey, std::string_view descriptionKey)
      : captionKey_(captionKey), descriptionKey_(descriptionKey) {}
  virtual ~TLVNormalizerVendor() = default;

  // The class name of the normalizers it makes.
  virtual std::string_view GetName() const = 0;
  virtual bool IsApplicableTo(const ILVColumnInfo& column) const = 0;
  virtual std::unique_ptr<TLVNormalizer> Create() const = 0;

  std::string Caption() const;
  std::string Description() const;
  std::string_view CaptionKey() const { return captionKey_; }
  std::string_view DescriptionKey() const { return descriptionKey_; }

 private:
  std::string_view captionKey_;
  std::string_view descriptionKey_;
};

// A vendor of the class T (with T::kClassName).
template <class T>
class TLVNormalizerVendorOf : public TLVNormalizerVendor {
 public:
  using TLVNormalizerVendor::TLVNormalizerVendor;
  std::string_view GetName() const override { return T::kClassName; }
  std::unique_ptr<TLVNormalizer> Create() const override { return std::make_unique<T>(); }
};

class TLVNormalizersList : public TLVNamedVendorList<TLVNormalizerVendor> {
 public:
  // The vendors that can serve the column, in registration order; the unusable
  // normalizer's vendor alone when no other can.
  std::vector<std::shared_ptr<const TLVNormalizerVendor>> ApplicableTo(
      const ILVColumnInfo& column) const;
  // Whether any vendor but the unusable one can serve the column.
  bool AnyUsable(const ILVColumnInfo& column) const;
  // A new normalizer of the class `name` ("ErrVendorNotFound" for an unknown one).
  std::unique_ptr<TLVNormalizer> Create(std::string_view name) const { return Get(name)->Create(); }
};

// The process-wide list.
TLVNormalizersList& LVNormalizers();

// The system-wide limit of unique values of a column coded against a base category;
// negative means no limit.
int64_t LVUniqueValuesLimit();
void SetLVUniqueValuesLimit(int64_t limit);

// Registers the normalizer vendors (once) and the normalizers' texts.
void RegisterNormalizerVendors();

}  // namespace lv
