// Splitting a line of a text file into fields.
//
// Delimited lines follow one rule, applied field by field to the rest of the line:
// - an empty rest gives an empty field;
// - with ManySeparatorToOne a leading run of separators is dropped first;
// - a field that does not open with the qualifier runs to the next separator (or the
//   end of the line) and is not trimmed;
// - a field that opens with the qualifier runs to the closing qualifier; a doubled
//   qualifier inside stands for one; text after the closing qualifier up to the next
//   separator is appended ("ab"cd gives abcd); a qualifier never closed runs to the
//   end of the line.
// TakeField applies the rule literally, one field at a time. TLVLineSplitter gives the
// same fields for a whole line at once, the way the import needs them: views into the
// line wherever the text is the line's own, the rest placed in a caller's arena, and a
// bit mask of the separators built sixteen bytes at a time.
//
// Fixed-width fields are a column's characters from a 1-based position, with blanks
// (and control characters) around them removed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/columns/LV_Block.h"

namespace lv {

struct TLVSplitOptions {
  char delimiter = '\t';
  char qualifier = '"';  // '\0': none
  bool manySeparatorToOne = false;
};

// Takes the next field from `rest` (which moves past it). The field is a view into the
// old rest, or into `buffer` when it had to be put together.
std::string_view TakeField(std::string_view& rest, const TLVSplitOptions& options,
                           std::string& buffer);

class TLVLineSplitter {
 public:
  explicit TLVLineSplitter(const TLVSplitOptions& options) : options_(options) {}

  // The first `count` fields of `line` (empty ones past its end), as `count` calls of
  // TakeField would give them. Texts that are not the line's own go to `arena`.
  void Split(std::string_view line, std::string_view* fields, size_t count, TLVBlockArena& arena);

 private:
  void MarkSeparators(std::string_view line);
  // The position of the first separator at or after `from`, or `size` when none.
  size_t NextSeparator(size_t from, size_t size) const;
  // A field that opens with the qualifier at `pos`; moves `pos` past it.
  std::string_view QuotedField(std::string_view line, size_t& pos, TLVBlockArena& arena);

  TLVSplitOptions options_;
  std::vector<uint64_t> separators_;
  std::string scratch_;
};

// A line cut into fixed-width fields, whose positions count characters (code points of
// UTF-8). In a line that is not pure ASCII the byte offset of every character is found
// once when the line is assigned, so that each field costs the same wherever it lies,
// and a line of many columns stays linear. The line must outlive its use.
class TLVFixedLine {
 public:
  void Assign(std::string_view line);
  // `length` characters from `position` (1-based), blanks (and control characters)
  // around them removed.
  std::string_view Field(int32_t position, int32_t length) const;
  // The number of characters of the line.
  int32_t Characters() const;

 private:
  size_t Offset(int64_t character) const;

  std::string_view line_;
  bool ascii_ = true;
  std::vector<size_t> starts_;  // byte offset of each character, then the line's size
};

}  // namespace lv
