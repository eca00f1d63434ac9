// The enumerations of filter conditions, with their captions and display texts, and
// what each relation takes: its operands and the column types it applies to.
// Enumerations persist by value name (ValueName / EnumFromName of LV_Types.h).
#pragma once

#include <cstdint>

#include "core/columns/LV_Types.h"
#include "core/columns/LV_Value.h"

namespace lv {

enum class TLVRelationType : uint8_t {
  rtLess,
  rtLessOrEqual,
  rtMore,
  rtMoreOrEqual,
  rtEqual,
  rtNotEqual,
  rtIsNull,
  rtIsNotNull,
  rtBetween,
  rtNotBetween,
  rtIn,
  rtNotIn,
  rtLike,
  rtNotLike,
  rtStartingWith,
  rtNotStartingWith,
  rtEndingWith,
  rtNotEndingWith,
  rtFirstPeriod,
  rtNotFirstPeriod,
  rtLastPeriod,
  rtNotLastPeriod,
  rtIsTrue,
  rtIsFalse
};

// How a condition is joined to the ones before it.
enum class TLVBooleanJoinType : uint8_t { jtAnd, jtOr };

// The unit of a first/last period.
enum class TLVFirstLastDateListType : uint8_t { fldDay, fldWeek, fldMonth, fldQuarter, fldYear };

// What a first/last period counts from: the current date, the dates in the column, or
// a date the user gives.
enum class TLVFirstLastBaseDateType : uint8_t { bdtCurrent, bdtData, bdtCustom };

const TLVEnumDescriptor& DescribeEnum(TLVRelationType);
const TLVEnumDescriptor& DescribeEnum(TLVBooleanJoinType);
const TLVEnumDescriptor& DescribeEnum(TLVFirstLastDateListType);
const TLVEnumDescriptor& DescribeEnum(TLVFirstLastBaseDateType);

// What a relation compares the column with.
enum class TLVRelationOperands : uint8_t {
  roNone,    // null and truth tests
  roOne,     // comparisons and patterns
  roTwo,     // intervals: low and high, both inclusive
  roList,    // lists: one value or more
  roPeriod,  // first/last: count, unit, base and, for bdtCustom, the date
};
TLVRelationOperands RelationOperands(TLVRelationType relation);

// Whether the relation applies to a column of `type`: patterns to texts, periods to
// dates, truth tests to Booleans and numbers, null tests to every column, the rest to
// every column of a known type.
bool RelationAllowed(TLVRelationType relation, TLVDataType type);

// The relations that negate another (<>, вне интервала, вне списка, не содержит...,
// не первый, не последний). A missing value satisfies neither form.
bool RelationNegated(TLVRelationType relation);

// The parameters of a first/last period.
struct TLVFilterPeriod {
  int32_t count = 1;
  TLVFirstLastDateListType unit = TLVFirstLastDateListType::fldMonth;
  TLVFirstLastBaseDateType base = TLVFirstLastBaseDateType::bdtCurrent;
  double customDate = LVMissing();  // the base of bdtCustom

  bool operator==(const TLVFilterPeriod& other) const;
};

void RegisterFilterTypesTexts();

}  // namespace lv
