#include "core/columns/LV_Types.h"

#include <array>

#include "core/text/LV_Localization.h"

namespace lv {

namespace {

using namespace std::string_view_literals;

constexpr std::array kDataType{"dtNone"sv,  "dtBoolean"sv, "dtDateTime"sv,
                               "dtFloat"sv, "dtInteger"sv, "dtString"sv};
constexpr std::array kDataKind{"dkUndefined"sv, "dkContinuous"sv, "dkDiscrete"sv};
constexpr std::array kDataStatus{"dsUnUsable"sv, "dsUsable"sv, "dsUseless"sv,       "dsKey"sv,
                                 "dsInput"sv,    "dsOutput"sv, "dsInfo"sv,          "dsDimension"sv,
                                 "dsProperty"sv, "dsCase"sv,   "dsTransactionID"sv, "dsItemID"sv};
constexpr std::array kColumnInfoType{"citDataStatus"sv, "citDataType"sv, "citDataKind"sv,
                                     "citDataSize"sv,   "citName"sv,     "citDisplayName"sv,
                                     "citIndex"sv,      "citID"sv};
constexpr std::array kStatInfoType{"sitMin"sv,       "sitMax"sv,          "sitAvg"sv,
                                   "sitSum"sv,       "sitSumSq"sv,        "sitStdDev"sv,
                                   "sitNullCount"sv, "sitUniqueValues"sv, "sitUniqueValuesCount"sv,
                                   "sitTotalCount"sv};
constexpr std::array kDataSourceType{"dstTeach"sv, "dstTest"sv};
constexpr std::array kDataSourceTypeEx{"dsteTeach"sv, "dsteTest"sv, "dsteAll"sv};
constexpr std::array kSortOrder{"soNone"sv, "soAsc"sv, "soDesc"sv, "soCustom"sv};
constexpr std::array kSortDirection{"sdAsc"sv, "sdDesc"sv};
constexpr std::array kJoinDataType{"jdtUnion"sv, "jdtJoin"sv, "jdtLeftJoin"sv, "jdtRightJoin"sv,
                                   "jdtFullJoin"sv};
constexpr std::array kOperationMode{"omTeach"sv, "omRetrain"sv, "omExecute"sv};
constexpr std::array kNormalizerStoreDataType{"nstFloat"sv, "nstInteger"sv};
constexpr std::array kTableShowAsType{"shtAsValue"sv, "shtAsPercentVert"sv, "shtAsPercentHoriz"sv};
constexpr std::array kKernelState{"ksNone"sv, "ksTraining"sv, "ksTrained"sv};
constexpr std::array kRuleAttributeType{"ratAntecedent"sv, "ratConsequent"sv, "ratSupport"sv,
                                        "ratConfidence"sv};
constexpr std::array kComponentType{"ctUnknown"sv, "ctImport"sv, "ctAnalytic"sv,
                                    "ctExport"sv,  "ctView"sv,   "ctConnection"sv};
constexpr std::array kConnectionType{"cntUnknown"sv, "cntDataBase"sv, "cntDataWarehouse"sv,
                                     "cntBusinessApplication"sv};
constexpr std::array kExceptionType{"etCritical"sv, "etUncritical"sv};
constexpr std::array kDateSourceType{"dstCurrent"sv, "dstData"sv, "dstCustom"sv};
constexpr std::array kStringComparisonType{"sctInside"sv, "sctAtFirst"sv, "sctEquality"sv};

const TLVEnumDescriptor kDescriptors[] = {
    {"TLVDataType", kDataType, true, true},
    {"TLVDataKind", kDataKind, true, true},
    {"TLVDataStatus", kDataStatus, true, true},
    {"TLVColumnInfoType", kColumnInfoType, true, true},
    {"TLVStatInfoType", kStatInfoType, true, true},
    {"TLVDataSourceType", kDataSourceType, true, true},
    {"TLVDataSourceTypeEx", kDataSourceTypeEx, true, true},
    {"TLVSortOrder", kSortOrder, false, false},
    {"TLVSortDirection", kSortDirection, false, false},
    {"TLVJoinDataType", kJoinDataType, true, true},
    {"TLVOperationMode", kOperationMode, false, false},
    {"TLVNormalizerStoreDataType", kNormalizerStoreDataType, true, true},
    {"TLVTableShowAsType", kTableShowAsType, true, true},
    {"TLVKernelState", kKernelState, true, true},
    {"TLVRuleAttributeType", kRuleAttributeType, true, true},
    {"TLVComponentType", kComponentType, false, false},
    {"TLVConnectionType", kConnectionType, true, true},
    {"TLVExceptionType", kExceptionType, true, true},
    {"TLVDateSourceType", kDateSourceType, true, true},
    {"TLVStringComparisonType", kStringComparisonType, false, false},
};

constexpr auto Pointers() {
  std::array<const TLVEnumDescriptor*, std::size(kDescriptors)> result{};
  for (size_t i = 0; i < result.size(); ++i) result[i] = &kDescriptors[i];
  return result;
}
const auto kDescriptorPointers = Pointers();

}  // namespace

std::string TLVEnumDescriptor::DisplayTextKey(size_t ordinal) const {
  std::string key(typeName);
  key += '.';
  key += valueNames[ordinal];
  return key;
}

const TLVEnumDescriptor& DescribeEnum(TLVDataType) {
  return kDescriptors[0];
}
const TLVEnumDescriptor& DescribeEnum(TLVDataKind) {
  return kDescriptors[1];
}
const TLVEnumDescriptor& DescribeEnum(TLVDataStatus) {
  return kDescriptors[2];
}
const TLVEnumDescriptor& DescribeEnum(TLVColumnInfoType) {
  return kDescriptors[3];
}
const TLVEnumDescriptor& DescribeEnum(TLVStatInfoType) {
  return kDescriptors[4];
}
const TLVEnumDescriptor& DescribeEnum(TLVDataSourceType) {
  return kDescriptors[5];
}
const TLVEnumDescriptor& DescribeEnum(TLVDataSourceTypeEx) {
  return kDescriptors[6];
}
const TLVEnumDescriptor& DescribeEnum(TLVSortOrder) {
  return kDescriptors[7];
}
const TLVEnumDescriptor& DescribeEnum(TLVSortDirection) {
  return kDescriptors[8];
}
const TLVEnumDescriptor& DescribeEnum(TLVJoinDataType) {
  return kDescriptors[9];
}
const TLVEnumDescriptor& DescribeEnum(TLVOperationMode) {
  return kDescriptors[10];
}
const TLVEnumDescriptor& DescribeEnum(TLVNormalizerStoreDataType) {
  return kDescriptors[11];
}
const TLVEnumDescriptor& DescribeEnum(TLVTableShowAsType) {
  return kDescriptors[12];
}
const TLVEnumDescriptor& DescribeEnum(TLVKernelState) {
  return kDescriptors[13];
}
const TLVEnumDescriptor& DescribeEnum(TLVRuleAttributeType) {
  return kDescriptors[14];
}
const TLVEnumDescriptor& DescribeEnum(TLVComponentType) {
  return kDescriptors[15];
}
const TLVEnumDescriptor& DescribeEnum(TLVConnectionType) {
  return kDescriptors[16];
}
const TLVEnumDescriptor& DescribeEnum(TLVExceptionType) {
  return kDescriptors[17];
}
const TLVEnumDescriptor& DescribeEnum(TLVDateSourceType) {
  return kDescriptors[18];
}
const TLVEnumDescriptor& DescribeEnum(TLVStringComparisonType) {
  return kDescriptors[19];
}

std::span<const TLVEnumDescriptor* const> AllEnumDescriptors() {
  return kDescriptorPointers;
}

std::string EnumDisplayText(const TLVEnumDescriptor& descriptor, size_t ordinal) {
  if (!descriptor.hasDisplayTexts || ordinal >= descriptor.valueNames.size()) {
    return std::string(ordinal < descriptor.valueNames.size() ? descriptor.valueNames[ordinal]
                                                              : std::string_view{});
  }
  return LVText(descriptor.DisplayTextKey(ordinal));
}

std::string EnumCaption(const TLVEnumDescriptor& descriptor) {
  return descriptor.hasCaption ? LVText(descriptor.CaptionKey()) : std::string(descriptor.typeName);
}

void RegisterEnumTexts(const TLVEnumDescriptor& descriptor) {
  auto& table = TLVLocalization::Instance();
  if (descriptor.hasCaption) table.RegisterKey(descriptor.CaptionKey());
  if (!descriptor.hasDisplayTexts) return;
  for (size_t i = 0; i < descriptor.valueNames.size(); ++i) {
    table.RegisterKey(descriptor.DisplayTextKey(i));
  }
}

void RegisterTypesTexts() {
  for (const TLVEnumDescriptor* d : AllEnumDescriptors()) RegisterEnumTexts(*d);
}

bool IsNumericType(TLVDataType type) {
  return type == TLVDataType::dtBoolean || type == TLVDataType::dtDateTime ||
         type == TLVDataType::dtFloat || type == TLVDataType::dtInteger;
}

}  // namespace lv
