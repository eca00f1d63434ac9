// Shared enumerations of the column model and of the handlers, with their captions
// and display texts. User-interface code shows an enumeration only through
// DisplayText(); the value names (ValueName) are what the project file persists.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/columns/LV_EnumSet.h"

namespace lv {

enum class TLVDataType : uint8_t { dtNone, dtBoolean, dtDateTime, dtFloat, dtInteger, dtString };
enum class TLVDataKind : uint8_t { dkUndefined, dkContinuous, dkDiscrete };
enum class TLVDataStatus : uint8_t {
  dsUnUsable,
  dsUsable,
  dsUseless,
  dsKey,
  dsInput,
  dsOutput,
  dsInfo,
  dsDimension,
  dsProperty,
  dsCase,
  dsTransactionID,
  dsItemID
};
enum class TLVColumnInfoType : uint8_t {
  citDataStatus,
  citDataType,
  citDataKind,
  citDataSize,
  citName,
  citDisplayName,
  citIndex,
  citID
};
enum class TLVStatInfoType : uint8_t {
  sitMin,
  sitMax,
  sitAvg,
  sitSum,
  sitSumSq,
  sitStdDev,
  sitNullCount,
  sitUniqueValues,
  sitUniqueValuesCount,
  sitTotalCount
};
enum class TLVDataSourceType : uint8_t { dstTeach, dstTest };
enum class TLVDataSourceTypeEx : uint8_t { dsteTeach, dsteTest, dsteAll };
enum class TLVSortOrder : uint8_t { soNone, soAsc, soDesc, soCustom };
enum class TLVSortDirection : uint8_t { sdAsc, sdDesc };
enum class TLVJoinDataType : uint8_t { jdtUnion, jdtJoin, jdtLeftJoin, jdtRightJoin, jdtFullJoin };
enum class TLVOperationMode : uint8_t { omTeach, omRetrain, omExecute };
enum class TLVNormalizerStoreDataType : uint8_t { nstFloat, nstInteger };
enum class TLVTableShowAsType : uint8_t { shtAsValue, shtAsPercentVert, shtAsPercentHoriz };
enum class TLVKernelState : uint8_t { ksNone, ksTraining, ksTrained };
enum class TLVRuleAttributeType : uint8_t {
  ratAntecedent,
  ratConsequent,
  ratSupport,
  ratConfidence
};
enum class TLVComponentType : uint8_t {
  ctUnknown,
  ctImport,
  ctAnalytic,
  ctExport,
  ctView,
  ctConnection
};
enum class TLVConnectionType : uint8_t {
  cntUnknown,
  cntDataBase,
  cntDataWarehouse,
  cntBusinessApplication
};
enum class TLVExceptionType : uint8_t { etCritical, etUncritical };
enum class TLVDateSourceType : uint8_t { dstCurrent, dstData, dstCustom };
enum class TLVStringComparisonType : uint8_t { sctInside, sctAtFirst, sctEquality };

// A set of column properties, such as the ones an editor lets the user change.
using TLVColumnInfoTypes = TLVEnumSet<TLVColumnInfoType>;

// What the program knows of one enumeration: its type name, its value names in
// ordinal order, and whether it has a caption and display texts in the text table.
// Text keys are derived: the caption is keyed by the type name, a value's display
// text by "TypeName.valueName" (value prefixes repeat across types).
struct TLVEnumDescriptor {
  std::string_view typeName;
  std::span<const std::string_view> valueNames;
  bool hasCaption;
  bool hasDisplayTexts;

  std::string CaptionKey() const { return std::string(typeName); }
  std::string DisplayTextKey(size_t ordinal) const;
};

// One overload per enumeration; the argument only selects the overload.
const TLVEnumDescriptor& DescribeEnum(TLVDataType);
const TLVEnumDescriptor& DescribeEnum(TLVDataKind);
const TLVEnumDescriptor& DescribeEnum(TLVDataStatus);
const TLVEnumDescriptor& DescribeEnum(TLVColumnInfoType);
const TLVEnumDescriptor& DescribeEnum(TLVStatInfoType);
const TLVEnumDescriptor& DescribeEnum(TLVDataSourceType);
const TLVEnumDescriptor& DescribeEnum(TLVDataSourceTypeEx);
const TLVEnumDescriptor& DescribeEnum(TLVSortOrder);
const TLVEnumDescriptor& DescribeEnum(TLVSortDirection);
const TLVEnumDescriptor& DescribeEnum(TLVJoinDataType);
const TLVEnumDescriptor& DescribeEnum(TLVOperationMode);
const TLVEnumDescriptor& DescribeEnum(TLVNormalizerStoreDataType);
const TLVEnumDescriptor& DescribeEnum(TLVTableShowAsType);
const TLVEnumDescriptor& DescribeEnum(TLVKernelState);
const TLVEnumDescriptor& DescribeEnum(TLVRuleAttributeType);
const TLVEnumDescriptor& DescribeEnum(TLVComponentType);
const TLVEnumDescriptor& DescribeEnum(TLVConnectionType);
const TLVEnumDescriptor& DescribeEnum(TLVExceptionType);
const TLVEnumDescriptor& DescribeEnum(TLVDateSourceType);
const TLVEnumDescriptor& DescribeEnum(TLVStringComparisonType);

// Every descriptor above, for registration of their texts and for tests.
std::span<const TLVEnumDescriptor* const> AllEnumDescriptors();

template <class E>
size_t EnumCount() {
  return DescribeEnum(E{}).valueNames.size();
}

template <class E>
std::string_view ValueName(E value) {
  return DescribeEnum(E{}).valueNames[static_cast<size_t>(value)];
}

template <class E>
std::optional<E> EnumFromName(std::string_view name) {
  const auto& names = DescribeEnum(E{}).valueNames;
  for (size_t i = 0; i < names.size(); ++i) {
    if (names[i] == name) return static_cast<E>(i);
  }
  return std::nullopt;
}

std::string EnumDisplayText(const TLVEnumDescriptor& descriptor, size_t ordinal);
std::string EnumCaption(const TLVEnumDescriptor& descriptor);

template <class E>
std::string DisplayText(E value) {
  return EnumDisplayText(DescribeEnum(E{}), static_cast<size_t>(value));
}

template <class E>
std::string Caption() {
  return EnumCaption(DescribeEnum(E{}));
}

// Registers the caption and display texts of one enumeration with the text table.
void RegisterEnumTexts(const TLVEnumDescriptor& descriptor);
// Registers the captions and display texts of every enumeration above.
void RegisterTypesTexts();

// Numbers, dates and Booleans all travel as doubles inside computation.
bool IsNumericType(TLVDataType type);

}  // namespace lv
