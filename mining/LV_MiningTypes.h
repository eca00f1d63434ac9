// Enumerations shared by the mining families (teach data, teachers, executors), with
// their captions and display texts in the text table, and the text form of sets of
// enumeration values as the project file keeps them ("dstTeach,dstTest").
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/columns/LV_EnumSet.h"
#include "core/columns/LV_Types.h"

namespace lv {

enum class TLVSplitType : uint8_t { stOrder, stRandom, stCustom };
enum class TLVTeachDataSourveSortOrder : uint8_t { tsoAsc, tsoDesc, tsoRandom };
enum class TLVTeacherState : uint8_t { tstFinished, tstNewTeach, tstContinueTeach, tstPause };
enum class TLVTeacherStopConditionType : uint8_t {
  tecEpochCount,
  tecTeachAvgError,
  tecTeachMaxError,
  tecTeachPercentRecognized,
  tecTestAvgError,
  tecTestMaxError,
  tecTestPercentRecognized
};
enum class TLVExecutorColumnType : uint8_t {
  ectInfo,
  ectInput,
  ectPattern,
  ectOutput,
  ectCalculate,
  ectError
};

const TLVEnumDescriptor& DescribeEnum(TLVSplitType);
const TLVEnumDescriptor& DescribeEnum(TLVTeachDataSourveSortOrder);
const TLVEnumDescriptor& DescribeEnum(TLVTeacherState);
const TLVEnumDescriptor& DescribeEnum(TLVTeacherStopConditionType);
const TLVEnumDescriptor& DescribeEnum(TLVExecutorColumnType);

// "a,b" from the value names of the set's members, in ordinal order.
template <class E>
std::string EnumSetToText(TLVEnumSet<E> set) {
  std::string text;
  for (size_t i = 0; i < EnumCount<E>(); ++i) {
    if (!set.Contains(static_cast<E>(i))) continue;
    if (!text.empty()) text += ',';
    text += ValueName(static_cast<E>(i));
  }
  return text;
}

// The set named by a text of EnumSetToText; nothing for an unknown name.
template <class E>
std::optional<TLVEnumSet<E>> EnumSetFromText(std::string_view text) {
  TLVEnumSet<E> set;
  while (!text.empty()) {
    const size_t comma = text.find(',');
    std::optional<E> value = EnumFromName<E>(text.substr(0, comma));
    if (!value) return std::nullopt;
    set.Include(*value);
    text = comma == std::string_view::npos ? std::string_view() : text.substr(comma + 1);
  }
  return set;
}

void RegisterMiningTypesTexts();

}  // namespace lv
