#include "mining/normalizers/LV_NormalizerVendor.h"

#include <atomic>

#include "core/text/LV_Localization.h"
#include "mining/normalizers/LV_BaseCategoryNormalizer.h"
#include "mining/normalizers/LV_BitMaskNormalizer.h"
#include "mining/normalizers/LV_LinearNormalizer.h"
#include "mining/normalizers/LV_UniqueValuesNormalizer.h"

namespace lv {

namespace {

std::atomic<int64_t> uniqueValuesLimit{100};

class TLVUnUsableColumnNormalizerVendor final
    : public TLVNormalizerVendorOf<TLVUnUsableColumnNormalizer> {
 public:
  TLVUnUsableColumnNormalizerVendor()
      : TLVNormalizerVendorOf("UnUsableNormalizerCaption", "UnUsableNormalizerDesc") {}
  bool IsApplicableTo(const ILVColumnInfo& column) const override {
    return !LVNormalizers().AnyUsable(column);
  }
};

class TLVLinearNormalizerVendor final : public TLVNormalizerVendorOf<TLVLinearNormalizer> {
 public:
  TLVLinearNormalizerVendor()
      : TLVNormalizerVendorOf("LinearNormalizerCaption", "LinearNormalizerDesc") {}
  bool IsApplicableTo(const ILVColumnInfo& column) const override { return IsLinearColumn(column); }
};

class TLVSingularContinuesNormalizerVendor final
    : public TLVNormalizerVendorOf<TLVSingularContinuesNormalizer> {
 public:
  TLVSingularContinuesNormalizerVendor()
      : TLVNormalizerVendorOf("SingularNormalizerCaption", "SingularNormalizerDesc") {}
  bool IsApplicableTo(const ILVColumnInfo& column) const override {
    return IsSingularColumn(column);
  }
};

class TLVUniqueValuesNormalizerVendor final
    : public TLVNormalizerVendorOf<TLVUniqueValuesNormalizer> {
 public:
  TLVUniqueValuesNormalizerVendor()
      : TLVNormalizerVendorOf("UniqueValuesNormalizerCaption", "UniqueValuesNormalizerDesc") {}
  bool IsApplicableTo(const ILVColumnInfo& column) const override {
    return IsDiscreteColumn(column, true);
  }
};

class TLVBitMaskNormalizerVendor final : public TLVNormalizerVendorOf<TLVBitMaskNormalizer> {
 public:
  TLVBitMaskNormalizerVendor()
      : TLVNormalizerVendorOf("BitMaskNormalizerCaption", "BitMaskNormalizerDesc") {}
  bool IsApplicableTo(const ILVColumnInfo& column) const override {
    return IsDiscreteColumn(column, true);
  }
};

class TLVBaseCategoryNormalizerVendor final
    : public TLVNormalizerVendorOf<TLVBaseCategoryNormalizer> {
 public:
  TLVBaseCategoryNormalizerVendor()
      : TLVNormalizerVendorOf("BaseCategoryNormalizerCaption", "BaseCategoryNormalizerDesc") {}
  bool IsApplicableTo(const ILVColumnInfo& column) const override {
    if (!IsDiscreteColumn(column, true)) return false;
    const int64_t limit = LVUniqueValuesLimit();
    return limit < 0 || column.GetStatInfo()->uniqueValuesCount <= limit;
  }
};

class TLVOrderNumberNormalizerVendor final
    : public TLVNormalizerVendorOf<TLVOrderNumberNormalizer> {
 public:
  TLVOrderNumberNormalizerVendor()
      : TLVNormalizerVendorOf("UniqueValuesNormalizerCaption", "UniqueValuesNormalizerDesc") {}
  bool IsApplicableTo(const ILVColumnInfo& column) const override {
    return IsDiscreteColumn(column, false);
  }
};

}  // namespace

std::string TLVNormalizerVendor::Caption() const {
  return LVText(captionKey_);
}

std::string TLVNormalizerVendor::Description() const {
  return LVText(descriptionKey_);
}

std::vector<std::shared_ptr<const TLVNormalizerVendor>> TLVNormalizersList::ApplicableTo(
    const ILVColumnInfo& column) const {
  std::vector<std::shared_ptr<const TLVNormalizerVendor>> result;
  for (int32_t i = 0; i < Count(); ++i) {
    auto vendor = Find((*this)[i].GetName());
    if (vendor->GetName() != TLVUnUsableColumnNormalizer::kClassName &&
        vendor->IsApplicableTo(column)) {
      result.push_back(std::move(vendor));
    }
  }
  if (result.empty()) result.push_back(Get(TLVUnUsableColumnNormalizer::kClassName));
  return result;
}

bool TLVNormalizersList::AnyUsable(const ILVColumnInfo& column) const {
  for (int32_t i = 0; i < Count(); ++i) {
    const TLVNormalizerVendor& vendor = (*this)[i];
    if (vendor.GetName() != TLVUnUsableColumnNormalizer::kClassName &&
        vendor.IsApplicableTo(column)) {
      return true;
    }
  }
  return false;
}

TLVNormalizersList& LVNormalizers() {
  static TLVNormalizersList list;
  return list;
}

int64_t LVUniqueValuesLimit() {
  return uniqueValuesLimit.load();
}

void SetLVUniqueValuesLimit(int64_t limit) {
  uniqueValuesLimit.store(limit);
}

void RegisterNormalizerVendors() {
  RegisterNormalizerTexts();
  RegisterLinearNormalizerTexts();
  RegisterUniqueValuesNormalizerTexts();
  RegisterBitMaskNormalizerTexts();
  TLVLocalization::Instance().RegisterKeys(
      {"UnUsableNormalizerCaption", "UnUsableNormalizerDesc", "LinearNormalizerCaption",
       "LinearNormalizerDesc", "SingularNormalizerCaption", "SingularNormalizerDesc",
       "UniqueValuesNormalizerCaption", "UniqueValuesNormalizerDesc", "BitMaskNormalizerCaption",
       "BitMaskNormalizerDesc", "BaseCategoryNormalizerCaption", "BaseCategoryNormalizerDesc"});
  TLVNormalizersList& list = LVNormalizers();
  if (list.Count() > 0) return;
  // The order is the order of proposal: the first applicable vendor is offered first.
  list.Add(std::make_shared<TLVLinearNormalizerVendor>());
  list.Add(std::make_shared<TLVSingularContinuesNormalizerVendor>());
  list.Add(std::make_shared<TLVUniqueValuesNormalizerVendor>());
  list.Add(std::make_shared<TLVBitMaskNormalizerVendor>());
  list.Add(std::make_shared<TLVBaseCategoryNormalizerVendor>());
  list.Add(std::make_shared<TLVOrderNumberNormalizerVendor>());
  list.Add(std::make_shared<TLVUnUsableColumnNormalizerVendor>());
}

}  // namespace lv
