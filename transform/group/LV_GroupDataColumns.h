// The settings of the grouping node: its dimensions (the columns whose distinct value
// combinations make the groups) and its facts (a column with the function that
// aggregates it per group), with the table of which column types each function takes
// and what type its result has.
//
// | function            | takes                        | gives                      |
// |---------------------|------------------------------|----------------------------|
// | Sum, StdDev         | integer, real                | real                       |
// | Avg, Median         | integer, real, date          | real (date for a date)     |
// | Min, Max            | every type (texts in the     | the column's type          |
// |                     | alphabetical order)          |                            |
// | First, Last         | every type                   | the column's type          |
// | Count, NullCount,   | every type                   | integer                    |
// | UniqueCount         |                              |                            |
//
// Changes of any item are reported to the collection's observer (the node).
#pragma once

#include <cstdint>
#include <string>

#include "core/columns/LV_Types.h"
#include "core/registry/LV_Collection.h"
#include "core/registry/LV_Properties.h"

namespace lv {

enum class TLVGroupDataFunction : uint8_t {
  gdSum,
  gdCount,
  gdMin,
  gdMax,
  gdAvg,
  gdMedian,
  gdStdDev,
  gdUniqueCount,
  gdNullCount,
  gdFirst,
  gdLast
};
const TLVEnumDescriptor& DescribeEnum(TLVGroupDataFunction);

// Whether `function` aggregates a column of `type`.
bool GroupFunctionAccepts(TLVGroupDataFunction function, TLVDataType type);
// The type of the fact column `function` makes of a column of `type`.
TLVDataType GroupFunctionResultType(TLVGroupDataFunction function, TLVDataType type);

// A dimension: a column of the parent, by Name.
class TLVGroupDataDimension : public TLVCollectionItem {
 public:
  static const TLVPropertyTable<TLVGroupDataDimension>& Properties();
};

// A fact: a column of the parent (Name) and its GroupFunc.
class TLVGroupDataColumn : public TLVCollectionItem {
 public:
  TLVGroupDataFunction GetGroupFunc() const { return func_; }
  void SetGroupFunc(TLVGroupDataFunction value);

  static const TLVPropertyTable<TLVGroupDataColumn>& Properties();

 private:
  TLVGroupDataFunction func_ = TLVGroupDataFunction::gdSum;
};

class TLVGroupDataDimensions : public TLVCollectionOf<TLVGroupDataDimension> {
 public:
  TLVGroupDataDimension& AddDimension(std::string_view name);
};

class TLVGroupDataColumns : public TLVCollectionOf<TLVGroupDataColumn> {
 public:
  TLVGroupDataColumn& AddFact(std::string_view name, TLVGroupDataFunction func);
};

void RegisterGroupDataColumnsTexts();

}  // namespace lv
