// The enumerations shared by the association-rules units and the views of the rules:
// how item sets and rules are sorted and filtered, and how the what-if search picks
// the best rule.
#pragma once

#include <cstdint>

#include "core/columns/LV_Types.h"

namespace lv {

enum class TLVAssnRulesItemSetSortOrder : uint8_t { issoOrder, issoName, issoSupport, issoPower };
enum class TLVAssnRulesItemSetFilterType : uint8_t {
  isftName,
  isftSupportMin,
  isftSupportMax,
  isftPowerMin,
  isftPowerMax
};
enum class TLVAssnRulesSortOrder : uint8_t {
  arsoOrder,
  arsoAntecedent,
  arsoConsequent,
  arsoSupport,
  arsoConfidence,
  arsoLift
};
enum class TLVAssnRulesFilterType : uint8_t {
  arftAntecedent,
  arftConsequent,
  arftSupportMin,
  arftSupportMax,
  arftConfidenceMin,
  arftConfidenceMax,
  arftLiftMin,
  arftLiftMax
};
enum class TLVAssnRulesFindRulesCufOffMeasure : uint8_t {
  fcomNone,
  fcomSupport,
  fcomConfidence,
  fcomLift
};

const TLVEnumDescriptor& DescribeEnum(TLVAssnRulesItemSetSortOrder);
const TLVEnumDescriptor& DescribeEnum(TLVAssnRulesItemSetFilterType);
const TLVEnumDescriptor& DescribeEnum(TLVAssnRulesSortOrder);
const TLVEnumDescriptor& DescribeEnum(TLVAssnRulesFilterType);
const TLVEnumDescriptor& DescribeEnum(TLVAssnRulesFindRulesCufOffMeasure);

void RegisterAssnRulesCommonTexts();

}  // namespace lv
