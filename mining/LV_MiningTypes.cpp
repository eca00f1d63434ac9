#include "mining/LV_MiningTypes.h"

#include <array>

#include "core/text/LV_Localization.h"

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kSplitType{"stOrder"sv, "stRandom"sv, "stCustom"sv};
constexpr std::array kTeachSortOrder{"tsoAsc"sv, "tsoDesc"sv, "tsoRandom"sv};
constexpr std::array kTeacherState{"tstFinished"sv, "tstNewTeach"sv, "tstContinueTeach"sv,
                                   "tstPause"sv};
constexpr std::array kStopCondition{"tecEpochCount"sv,           "tecTeachAvgError"sv,
                                    "tecTeachMaxError"sv,        "tecTeachPercentRecognized"sv,
                                    "tecTestAvgError"sv,         "tecTestMaxError"sv,
                                    "tecTestPercentRecognized"sv};
constexpr std::array kExecutorColumnType{"ectInfo"sv,   "ectInput"sv,     "ectPattern"sv,
                                         "ectOutput"sv, "ectCalculate"sv, "ectError"sv};

const TLVEnumDescriptor kDescriptors[] = {
    {"TLVSplitType", kSplitType, true, true},
    {"TLVTeachDataSourveSortOrder", kTeachSortOrder, true, true},
    {"TLVTeacherState", kTeacherState, true, true},
    {"TLVTeacherStopConditionType", kStopCondition, true, true},
    {"TLVExecutorColumnType", kExecutorColumnType, true, true},
};

}  // namespace

const TLVEnumDescriptor& DescribeEnum(TLVSplitType) {
  return kDescriptors[0];
}
const TLVEnumDescriptor& DescribeEnum(TLVTeachDataSourveSortOrder) {
  return kDescriptors[1];
}
const TLVEnumDescriptor& DescribeEnum(TLVTeacherState) {
  return kDescriptors[2];
}
const TLVEnumDescriptor& DescribeEnum(TLVTeacherStopConditionType) {
  return kDescriptors[3];
}
const TLVEnumDescriptor& DescribeEnum(TLVExecutorColumnType) {
  return kDescriptors[4];
}

void RegisterMiningTypesTexts() {
  for (const TLVEnumDescriptor& descriptor : kDescriptors) RegisterEnumTexts(descriptor);
}

}  // namespace lv
