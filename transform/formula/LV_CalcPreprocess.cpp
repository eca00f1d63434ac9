#include "transform/formula/LV_CalcPreprocess.h"

#include <array>

#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

constexpr char kQuote = '"';

// Removes // and /* */ comments outside literals. Line breaks inside a block comment
// are kept so that later messages still count lines as the user sees them.
std::string RemoveComments(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  bool literal = false;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (literal) {
      out += c;
      literal = c != kQuote;
      continue;
    }
    if (c == '/' && i + 1 < text.size() && text[i + 1] == '/') {
      while (i < text.size() && text[i] != '\n') ++i;
      if (i < text.size()) out += '\n';
      continue;
    }
    if (c == '/' && i + 1 < text.size() && text[i + 1] == '*') {
      size_t end = text.find("*/", i + 2);
      size_t stop = end == std::string_view::npos ? text.size() : end + 2;
      for (size_t j = i; j < stop; ++j) out += text[j] == '\n' ? '\n' : ' ';
      i = stop - 1;
      continue;
    }
    literal = c == kQuote;
    out += c;
  }
  return out;
}

// Cuts line breaks and tabs out of literals so that no literal spans lines; the pieces
// are joined again by string concatenation at run time.
std::string SplitLiterals(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  bool literal = false;
  int line = 1;
  int literalLine = 0;
  for (char c : text) {
    if (literal && (c == '\r' || c == '\n' || c == '\t')) {
      out += "\"+CHR(";
      out += std::to_string(static_cast<int>(c));
      out += ")+\"";
    } else {
      out += c;
    }
    if (c == '\n') ++line;
    if (c == kQuote) {
      literal = !literal;
      if (literal) literalLine = line;
    }
  }
  if (literal) throw EQuoteError({literalLine});
  return out;
}

bool IsAllowed(char c, char decimalSeparator) {
  if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) return true;
  switch (c) {
    case ' ': case kQuote: case '(': case ')': case ';': case '_': case '*': case '+':
    case ',': case '-': case '/': case '<': case '=': case '>': case '.':
      return true;
    default:
      return c == decimalSeparator;
  }
}

size_t Utf8Length(unsigned char lead) {
  if (lead >= 0xF0) return 4;
  if (lead >= 0xE0) return 3;
  if (lead >= 0xC0) return 2;
  return 1;
}

// Checks the characters outside literals, turns line breaks and tabs into spaces and
// upper-cases.
std::string CheckAndUpperCase(std::string_view text, char decimalSeparator) {
  std::string out;
  out.reserve(text.size());
  bool literal = false;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == kQuote) literal = !literal;
    if (literal || c == kQuote) {
      out += c;
      continue;
    }
    if (c == '\r' || c == '\n' || c == '\t') c = ' ';
    if (!IsAllowed(c, decimalSeparator)) {
      size_t length = std::min(Utf8Length(static_cast<unsigned char>(c)), text.size() - i);
      throw EIllegalCharacterError({std::string(text.substr(i, length))});
    }
    out += (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return out;
}

void CheckBrackets(std::string_view text) {
  int depth = 0;
  bool literal = false;
  for (char c : text) {
    if (c == kQuote) literal = !literal;
    if (literal) continue;
    if (c == '(') ++depth;
    if (c == ')' && --depth < 0) throw EBracketError();
  }
  if (depth != 0) throw EBracketError();
}

bool IsWordBoundary(char c) { return c == ' ' || c == '(' || c == ')'; }

// Replaces whole-word keywords outside literals.
std::string ReplaceKeywords(std::string_view text) {
  struct TKeyword {
    std::string_view word;
    std::string_view code;
  };
  static constexpr std::array<TKeyword, 4> kKeywords{
      {{"AND", "@"}, {"XOR", "?"}, {"OR", "#"}, {"NOT", "TRUE?"}}};
  std::string out;
  out.reserve(text.size() + 16);
  bool literal = false;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == kQuote) literal = !literal;
    if (!literal && c != kQuote && (i == 0 || IsWordBoundary(text[i - 1]))) {
      bool replaced = false;
      for (const TKeyword& k : kKeywords) {
        size_t end = i + k.word.size();
        if (text.compare(i, k.word.size(), k.word) == 0 &&
            (end == text.size() || IsWordBoundary(text[end]))) {
          out += k.code;
          i = end - 1;
          replaced = true;
          break;
        }
      }
      if (replaced) continue;
    }
    out += c;
  }
  return out;
}

// One plain substring replacement outside literals.
std::string ReplaceOutsideLiterals(std::string_view text, std::string_view from, char to) {
  std::string out;
  out.reserve(text.size());
  bool literal = false;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == kQuote) literal = !literal;
    if (!literal && text.compare(i, from.size(), from) == 0) {
      out += to;
      i += from.size() - 1;
      continue;
    }
    out += c;
  }
  return out;
}

std::string DropSpaces(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  bool literal = false;
  for (char c : text) {
    if (c == kQuote) literal = !literal;
    if (!literal && c == ' ') continue;
    out += c;
  }
  return out;
}

}  // namespace

std::string PreprocessFormula(std::string_view text, char decimalSeparator) {
  std::string s = SplitLiterals(RemoveComments(text));
  s = CheckAndUpperCase(s, decimalSeparator);
  CheckBrackets(s);
  s = ReplaceKeywords(s);
  s = ReplaceOutsideLiterals(s, "<>", '!');
  s = ReplaceOutsideLiterals(s, "<=", '$');
  s = ReplaceOutsideLiterals(s, ">=", '%');
  s = ReplaceOutsideLiterals(s, "=>", '$');
  s = ReplaceOutsideLiterals(s, "=<", '%');
  return DropSpaces(s);
}

std::string DisplayFormula(std::string_view compact) {
  std::string out;
  bool literal = false;
  for (char c : compact) {
    if (c == kQuote) literal = !literal;
    std::string_view spelled;
    if (!literal) {
      switch (c) {
        case '@': spelled = " AND "; break;
        case '?': spelled = " XOR "; break;
        case '#': spelled = " OR "; break;
        case '!': spelled = "<>"; break;
        case '$': spelled = "<="; break;
        case '%': spelled = ">="; break;
        default: break;
      }
    }
    if (spelled.empty()) {
      out += c;
    } else {
      out += spelled;
    }
  }
  return out;
}

}  // namespace lv
