// Text helpers of the formula functions: UTF-8 walking by code points, Unicode case
// mapping and the ANSI (Windows-1251) and OEM (CP866) bytes of a text.
//
// Positions and lengths the user writes count characters (code points), never bytes.
// Everything here is safe to call from any thread: the tables are built once and only
// read afterwards, and the case-mapping objects are per thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "transform/formula/LV_CalcValues.h"

namespace lv {

// Decodes the code point at `pos` and moves `pos` past it. A malformed byte decodes as
// itself (one byte), so a walk always advances and never reads past the end.
char32_t Utf8Next(std::string_view text, size_t& pos);

// Byte length of the first `count` characters (the whole text when it is shorter).
size_t Utf8PrefixBytes(std::string_view text, int64_t count);
// Number of characters.
size_t Utf8CharCount(std::string_view text);

// Whether any text argument of a call is missing (numeric ones are the evaluator's).
inline bool AnyTextNull(const TLVCalcArgs& args) {
  for (int32_t i = 0; i < args.Count(); ++i) {
    if (args.IsString(i) && args.IsNull(i)) return true;
  }
  return false;
}

inline bool IsAscii(std::string_view text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

// Case conversion for every script (Cyrillic included). Writes into `out`, replacing its
// contents; `out` keeps its capacity, so a reused buffer stops allocating.
void Utf8ToUpper(std::string_view text, std::string& out);
void Utf8ToLower(std::string_view text, std::string& out);
// Simple (one to one) case folding of a character, for comparisons ignoring case.
char32_t FoldCase(char32_t c);

// The alphabetical order of texts that sorting and grouping share: character by
// character, letters by their folded (lower-case) form, with Ё right after Е as the
// Russian alphabet has it; digits are characters like any other, so "10" comes before
// "9". Without `caseSensitive` texts that differ only in case are equal; with it, they
// are ordered at the first letter where their case differs, the lower-case one first,
// as a dictionary lists them. Gives < 0, 0 or > 0 as `a` is below, equal to or above
// `b`. Thread-safe.
int CompareTextOrder(std::string_view a, std::string_view b, bool caseSensitive);

// The Windows-1251 bytes of a text, appended to `out`; a character the page lacks
// becomes '?', as Windows writes it.
void AppendAnsiBytes(std::string_view utf8, std::string& out);
// The UTF-8 text of one Windows-1251 byte (the character Chr() yields).
std::string_view AnsiCharText(uint8_t code);

// Code-page conversion of texts that went through the wrong page. OemToAnsiText reads
// the text's ANSI bytes as OEM ones (mends a DOS file that was read as ANSI);
// AnsiToOemText is its inverse. A character the source page lacks stays as it is.
void OemToAnsiText(std::string_view utf8, std::string& out);
void AnsiToOemText(std::string_view utf8, std::string& out);

// Edit distances in characters: Levenshtein (insert, delete, replace) and the
// unrestricted Damerau-Levenshtein distance (adds the transposition of two adjacent
// characters, also when the texts are edited between them, so "CA" to "ABC" is 2).
// -1 when the product of the lengths exceeds kMaxEditCells.
inline constexpr int64_t kMaxEditCells = 16'000'000;
int64_t LevenshteinDistance(std::string_view a, std::string_view b);
int64_t DamerauLevenshteinDistance(std::string_view a, std::string_view b);
// One cheapest Levenshtein edit of `a` into `b`, a letter per step: '=' keep, 'R'
// replace, 'I' insert, 'D' delete; false when the texts are too long (see above).
bool EditScript(std::string_view a, std::string_view b, std::string& out);

}  // namespace lv
