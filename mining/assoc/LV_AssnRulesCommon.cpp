#include "mining/assoc/LV_AssnRulesCommon.h"

#include <array>
#include <string>

#include "core/text/LV_Localization.h"

namespace lv {

namespace {

constexpr std::array<std::string_view, 4> kItemSetSortOrder = {"issoOrder", "issoName",
                                                               "issoSupport", "issoPower"};
constexpr std::array<std::string_view, 5> kItemSetFilterType = {
    "isftName", "isftSupportMin", "isftSupportMax", "isftPowerMin", "isftPowerMax"};
constexpr std::array<std::string_view, 6> kSortOrder = {
    "arsoOrder", "arsoAntecedent", "arsoConsequent", "arsoSupport", "arsoConfidence", "arsoLift"};
constexpr std::array<std::string_view, 8> kFilterType = {
    "arftAntecedent",    "arftConsequent",    "arftSupportMin", "arftSupportMax",
    "arftConfidenceMin", "arftConfidenceMax", "arftLiftMin",    "arftLiftMax"};
constexpr std::array<std::string_view, 4> kCutOffMeasure = {"fcomNone", "fcomSupport",
                                                            "fcomConfidence", "fcomLift"};

const std::array<TLVEnumDescriptor, 5> kDescriptors = {{
    {"TLVAssnRulesItemSetSortOrder", kItemSetSortOrder, true, true},
    {"TLVAssnRulesItemSetFilterType", kItemSetFilterType, false, false},
    {"TLVAssnRulesSortOrder", kSortOrder, false, false},
    {"TLVAssnRulesFilterType", kFilterType, false, false},
    {"TLVAssnRulesFindRulesCufOffMeasure", kCutOffMeasure, true, true},
}};

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLVAssnRulesItemSetSortOrder) {
  return kDescriptors[0];
}
const TLVEnumDescriptor& DescribeEnum(TLVAssnRulesItemSetFilterType) {
  return kDescriptors[1];
}
const TLVEnumDescriptor& DescribeEnum(TLVAssnRulesSortOrder) {
  return kDescriptors[2];
}
const TLVEnumDescriptor& DescribeEnum(TLVAssnRulesFilterType) {
  return kDescriptors[3];
}
const TLVEnumDescriptor& DescribeEnum(TLVAssnRulesFindRulesCufOffMeasure) {
  return kDescriptors[4];
}

void RegisterAssnRulesCommonTexts() {
  TLVLocalization& texts = TLVLocalization::Instance();
  for (const TLVEnumDescriptor& descriptor : kDescriptors) {
    if (descriptor.hasCaption) texts.RegisterKey(descriptor.CaptionKey());
    if (!descriptor.hasDisplayTexts) continue;
    for (size_t i = 0; i < descriptor.valueNames.size(); ++i) {
      texts.RegisterKey(descriptor.DisplayTextKey(i));
    }
  }
}

}  // namespace lv
