#include "transform/filter/LV_FilterTypes.h"

#include <array>
#include <cmath>

#include "core/text/LV_Localization.h"

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kRelationNames{
    "rtLess"sv,       "rtLessOrEqual"sv,   "rtMore"sv,         "rtMoreOrEqual"sv,
    "rtEqual"sv,      "rtNotEqual"sv,      "rtIsNull"sv,       "rtIsNotNull"sv,
    "rtBetween"sv,    "rtNotBetween"sv,    "rtIn"sv,           "rtNotIn"sv,
    "rtLike"sv,       "rtNotLike"sv,       "rtStartingWith"sv, "rtNotStartingWith"sv,
    "rtEndingWith"sv, "rtNotEndingWith"sv, "rtFirstPeriod"sv,  "rtNotFirstPeriod"sv,
    "rtLastPeriod"sv, "rtNotLastPeriod"sv, "rtIsTrue"sv,       "rtIsFalse"sv};
constexpr std::array kJoinNames{"jtAnd"sv, "jtOr"sv};
constexpr std::array kUnitNames{"fldDay"sv, "fldWeek"sv, "fldMonth"sv, "fldQuarter"sv, "fldYear"sv};
constexpr std::array kBaseNames{"bdtCurrent"sv, "bdtData"sv, "bdtCustom"sv};

const TLVEnumDescriptor kDescriptors[] = {
    {"TLVRelationType", kRelationNames, true, true},
    {"TLVBooleanJoinType", kJoinNames, true, true},
    {"TLVFirstLastDateListType", kUnitNames, true, true},
    {"TLVFirstLastBaseDateType", kBaseNames, true, true},
};

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLVRelationType) {
  return kDescriptors[0];
}
const TLVEnumDescriptor& DescribeEnum(TLVBooleanJoinType) {
  return kDescriptors[1];
}
const TLVEnumDescriptor& DescribeEnum(TLVFirstLastDateListType) {
  return kDescriptors[2];
}
const TLVEnumDescriptor& DescribeEnum(TLVFirstLastBaseDateType) {
  return kDescriptors[3];
}

TLVRelationOperands RelationOperands(TLVRelationType relation) {
  using R = TLVRelationType;
  switch (relation) {
    case R::rtIsNull:
    case R::rtIsNotNull:
    case R::rtIsTrue:
    case R::rtIsFalse:
      return TLVRelationOperands::roNone;
    case R::rtBetween:
    case R::rtNotBetween:
      return TLVRelationOperands::roTwo;
    case R::rtIn:
    case R::rtNotIn:
      return TLVRelationOperands::roList;
    case R::rtFirstPeriod:
    case R::rtNotFirstPeriod:
    case R::rtLastPeriod:
    case R::rtNotLastPeriod:
      return TLVRelationOperands::roPeriod;
    default:
      return TLVRelationOperands::roOne;
  }
}

bool RelationAllowed(TLVRelationType relation, TLVDataType type) {
  using R = TLVRelationType;
  using T = TLVDataType;
  switch (relation) {
    case R::rtIsNull:
    case R::rtIsNotNull:
      return true;
    case R::rtLike:
    case R::rtNotLike:
    case R::rtStartingWith:
    case R::rtNotStartingWith:
    case R::rtEndingWith:
    case R::rtNotEndingWith:
      return type == T::dtString;
    case R::rtFirstPeriod:
    case R::rtNotFirstPeriod:
    case R::rtLastPeriod:
    case R::rtNotLastPeriod:
      return type == T::dtDateTime;
    case R::rtIsTrue:
    case R::rtIsFalse:
      return type == T::dtBoolean || type == T::dtInteger || type == T::dtFloat;
    default:
      return type != T::dtNone;
  }
}

bool RelationNegated(TLVRelationType relation) {
  using R = TLVRelationType;
  switch (relation) {
    case R::rtNotEqual:
    case R::rtNotBetween:
    case R::rtNotIn:
    case R::rtNotLike:
    case R::rtNotStartingWith:
    case R::rtNotEndingWith:
    case R::rtNotFirstPeriod:
    case R::rtNotLastPeriod:
      return true;
    default:
      return false;
  }
}

bool TLVFilterPeriod::operator==(const TLVFilterPeriod& other) const {
  bool sameDate =
      customDate == other.customDate || (std::isnan(customDate) && std::isnan(other.customDate));
  return count == other.count && unit == other.unit && base == other.base && sameDate;
}

void RegisterFilterTypesTexts() {
  auto& table = TLVLocalization::Instance();
  for (const TLVEnumDescriptor& d : kDescriptors) {
    table.RegisterKey(d.CaptionKey());
    for (size_t i = 0; i < d.valueNames.size(); ++i) table.RegisterKey(d.DisplayTextKey(i));
  }
}

}  // namespace lv
