// The first stage of parsing a formula: the text is brought to a compact form in which
// every operator is one character and nothing but string literals keeps its case.
//
//   comments removed; line breaks and tabs inside literals cut out as "+CHR(n)+";
//   characters checked; upper-cased outside literals; brackets balanced;
//   AND -> @, XOR -> ?, OR -> #, NOT -> TRUE? (whole words);
//   <> -> !, <= -> $, >= -> %, then => -> $ and =< -> % (the arrows read mirrored);
//   spaces dropped.
//
// Literals are delimited by double quotes and have no escape, so a quote always opens
// or closes one. Line breaks and tabs outside literals count as spaces, so a formula
// may span lines.
#pragma once

#include <string>
#include <string_view>

namespace lv {

// Raises EQuoteError, EIllegalCharacterError or EBracketError.
std::string PreprocessFormula(std::string_view text, char decimalSeparator);

// The compact form shown back to the user (in error messages): operator codes spelled
// out again.
std::string DisplayFormula(std::string_view compact);

}  // namespace lv
