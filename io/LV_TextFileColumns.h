// The column definitions of a text import: a column description per column, also
// saying where a fixed-width column lies in the line.
//
// The import keeps its table's column descriptions a copy of these definitions at all
// times, so describing the table never reads the file. Every item has a property table
// (name, caption, type, kind, purpose, FixedPos, FixedLen), which the import's table
// uses to persist the list as its "Columns" collection. Owned by the import;
// single-threaded.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/columns/LV_ColumnInfo.h"
#include "core/registry/LV_Properties.h"

namespace lv {

class TLVTextFileColumn : public TLVColumnInfo {
 public:
  // First character of a fixed-width column (from 1) and its number of characters.
  int32_t GetFixedPos() const { return fixedPos_; }
  void SetFixedPos(int32_t value);
  int32_t GetFixedLen() const { return fixedLen_; }
  void SetFixedLen(int32_t value);

  void Assign(const TLVColumnInfo& source) override;

  // "Name", "DisplayName", "DataType", "DataKind", "DataStatus", "FixedPos",
  // "FixedLen". The type is applied before the kind, so that a loaded kind stands.
  static const TLVPropertyTable<TLVTextFileColumn>& Properties();

 private:
  int32_t fixedPos_ = 1;
  int32_t fixedLen_ = 0;
};

class TLVTextFileColumns : public TLVColumnsInfo {
 public:
  TLVTextFileColumn& Definition(int32_t index) const {
    return static_cast<TLVTextFileColumn&>((*this)[index]);
  }
  // Appends an empty definition.
  TLVTextFileColumn& AddDefinition();

 protected:
  std::shared_ptr<TLVColumnInfo> NewItem() const override;
};

void RegisterTextFileColumnsTexts();

}  // namespace lv
