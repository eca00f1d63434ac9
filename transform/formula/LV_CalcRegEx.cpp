// Regular-expression functions of the formula language (Perl syntax, PCRE2).
//
// Patterns are compiled in UTF mode with Unicode character properties, so \w and
// case-insensitive matching know Cyrillic. Each thread keeps its recently used
// compiled patterns, so a constant pattern is compiled once and not per row. Every
// match runs under a match limit and a depth limit: a pattern that backtracks
// without end (such as (a+)+$ on a long run of "a") is stopped and reported instead
// of hanging the node.
//
// Rules chosen here: matches are found left to right without overlapping, an empty
// match is followed by a search one character further on (as Perl does); a part,
// group or address that does not exist gives a missing value; replacements use
// PCRE2's syntax ($1, ${name}, $$).
#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"
#include "transform/formula/LV_CalcBuiltins.h"
#include "transform/formula/LV_CalcText.h"
#include "transform/formula/LV_LineParserErrors.h"

namespace lv {
namespace {

constexpr auto kString = TLVCalcFunctionGroup::fgString;
constexpr uint32_t kMatchLimit = 5'000'000;
constexpr uint32_t kDepthLimit = 100'000;
constexpr size_t kCacheSize = 16;

// An e-mail address, and a web address whose domain (without "www.") is group 1.
constexpr std::string_view kEmailPattern =
    R"([\w.%+-]+@(?:[\p{L}\p{N}](?:[\p{L}\p{N}-]*[\p{L}\p{N}])?\.)+\p{L}{2,})";
constexpr std::string_view kDomainPattern =
    R"((?<![\w.@-])(?:(?:https?|ftp)://)?(?:www\.)?)"
    R"(((?:[\p{L}\p{N}](?:[\p{L}\p{N}-]*[\p{L}\p{N}])?\.)+\p{L}{2,})(?![\w-]))";

struct TErrorKey {
  int code;
  std::string_view key;
};

// The mistakes a user makes in a pattern or a replacement, and what a subject can do
// wrong; the library's other codes are rare and keep its own text.
constexpr TErrorKey kErrorKeys[] = {
    {PCRE2_ERROR_END_BACKSLASH, "SRegExEndBackslash"},
    {PCRE2_ERROR_UNKNOWN_ESCAPE, "SRegExUnknownEscape"},
    {PCRE2_ERROR_QUANTIFIER_OUT_OF_ORDER, "SRegExQuantifierOrder"},
    {PCRE2_ERROR_QUANTIFIER_TOO_BIG, "SRegExQuantifierTooBig"},
    {PCRE2_ERROR_MISSING_SQUARE_BRACKET, "SRegExMissingBracket"},
    {PCRE2_ERROR_CLASS_RANGE_ORDER, "SRegExRangeOrder"},
    {PCRE2_ERROR_QUANTIFIER_INVALID, "SRegExNothingToRepeat"},
    {PCRE2_ERROR_MISSING_CLOSING_PARENTHESIS, "SRegExMissingParenthesis"},
    {PCRE2_ERROR_BAD_SUBPATTERN_REFERENCE, "SRegExNoSuchGroup"},
    {PCRE2_ERROR_MISSING_COMMENT_CLOSING, "SRegExMissingCommentEnd"},
    {PCRE2_ERROR_UNMATCHED_CLOSING_PARENTHESIS, "SRegExUnmatchedParenthesis"},
    {PCRE2_ERROR_LOOKBEHIND_NOT_FIXED_LENGTH, "SRegExLookbehindLength"},
    {PCRE2_ERROR_NOMEMORY, "SRegExNoMemory"},
    {PCRE2_ERROR_BADREPLACEMENT, "SRegExBadReplacement"},
    {PCRE2_ERROR_BADREPESCAPE, "SRegExBadReplacementEscape"},
    {PCRE2_ERROR_REPMISSINGBRACE, "SRegExReplacementBrace"},
    {PCRE2_ERROR_BADSUBSTITUTION, "SRegExBadSubstitution"},
    {PCRE2_ERROR_NOSUBSTRING, "SRegExNoSuchGroup"},
    {PCRE2_ERROR_UNSET, "SRegExUnsetGroup"},
};

std::string ErrorText(int code) {
  if (code <= PCRE2_ERROR_UTF8_ERR1 && code >= PCRE2_ERROR_UTF8_ERR21) {
    return LVText("SRegExBadUtf8");
  }
  for (const TErrorKey& entry : kErrorKeys) {
    if (entry.code == code) return LVText(entry.key);
  }
  PCRE2_UCHAR buffer[256];
  int length = pcre2_get_error_message(code, buffer, sizeof buffer);
  std::string library = length < 0 ? std::string() : std::string(reinterpret_cast<char*>(buffer));
  return Format(LVText("SRegExOther"), {code, library});
}

struct TCompiled {
  std::string pattern;
  pcre2_code* code = nullptr;
  pcre2_match_data* matchData = nullptr;
  ~TCompiled() {
    pcre2_match_data_free(matchData);
    pcre2_code_free(code);
  }
};

// The patterns one thread used last, most recent first, and its match limits.
class TRegExCache {
 public:
  TRegExCache() : context_(pcre2_match_context_create(nullptr)) {
    pcre2_set_match_limit(context_, kMatchLimit);
    pcre2_set_depth_limit(context_, kDepthLimit);
  }
  ~TRegExCache() { pcre2_match_context_free(context_); }
  TRegExCache(const TRegExCache&) = delete;
  TRegExCache& operator=(const TRegExCache&) = delete;

  TCompiled& Get(std::string_view pattern) {
    for (size_t i = 0; i < entries_.size(); ++i) {
      if (entries_[i]->pattern == pattern) {
        if (i > 0)
          std::rotate(entries_.begin(), entries_.begin() + static_cast<ptrdiff_t>(i),
                      entries_.begin() + static_cast<ptrdiff_t>(i) + 1);
        return *entries_.front();
      }
    }
    auto compiled = std::make_unique<TCompiled>();
    compiled->pattern = pattern;
    int error = 0;
    PCRE2_SIZE offset = 0;
    compiled->code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                                   PCRE2_UTF | PCRE2_UCP, &error, &offset, nullptr);
    if (!compiled->code) {
      throw ERegExError({pattern, ErrorText(error) + " (" + std::to_string(offset + 1) + ")"});
    }
    compiled->matchData = pcre2_match_data_create_from_pattern(compiled->code, nullptr);
    if (entries_.size() == kCacheSize) entries_.pop_back();
    entries_.insert(entries_.begin(), std::move(compiled));
    return *entries_.front();
  }

  pcre2_match_context* Context() const { return context_; }

 private:
  std::vector<std::unique_ptr<TCompiled>> entries_;
  pcre2_match_context* context_;
};

TRegExCache& Cache() {
  thread_local TRegExCache cache;
  return cache;
}

// Walks the matches of a pattern over a subject, left to right.
class TMatcher {
 public:
  TMatcher(std::string_view pattern, std::string_view subject)
      : re_(Cache().Get(pattern)), subject_(subject) {}

  // Moves to the next match; false when there is none.
  bool Next() {
    for (;;) {
      if (start_ > subject_.size()) return false;
      searchStart_ = start_;
      searchOptions_ = options_;
      int rc = pcre2_match(re_.code, reinterpret_cast<PCRE2_SPTR>(subject_.data()), subject_.size(),
                           start_, options_, re_.matchData, Cache().Context());
      if (rc == PCRE2_ERROR_NOMATCH || rc == PCRE2_ERROR_PARTIAL || IsUtfError(rc)) {
        // After an empty match the same place is tried again for a non-empty one; when
        // there is none the search moves one character on.
        if (options_ == 0 || start_ >= subject_.size()) return false;
        Utf8Next(subject_, start_);
        options_ = 0;
        continue;
      }
      if (rc == PCRE2_ERROR_MATCHLIMIT || rc == PCRE2_ERROR_DEPTHLIMIT ||
          rc == PCRE2_ERROR_HEAPLIMIT) {
        throw ERegExLimitError({re_.pattern});
      }
      if (rc < 0) throw ERegExError({re_.pattern, ErrorText(rc)});
      const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(re_.matchData);
      size_t end = std::max<size_t>(ov[1], start_);
      options_ = ov[0] == ov[1] ? PCRE2_NOTEMPTY_ATSTART | PCRE2_ANCHORED : 0;
      start_ = end;
      return true;
    }
  }

  // Moves to the `n`-th match from here (1: the next one).
  bool Skip(int64_t n) {
    if (n < 1) return false;
    while (n-- > 0) {
      if (!Next()) return false;
    }
    return true;
  }

  // A group of the current match; false when the pattern has no such group or it took
  // no part in the match.
  bool Group(int64_t group, std::string_view& text) const {
    if (group < 0 || group >= static_cast<int64_t>(pcre2_get_ovector_count(re_.matchData))) {
      return false;
    }
    const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(re_.matchData);
    auto from = ov[2 * group], to = ov[2 * group + 1];
    if (from == PCRE2_UNSET || to < from) return false;
    text = subject_.substr(from, to - from);
    return true;
  }

  int64_t GroupNumber(std::string_view name) const {
    std::string zeroEnded(name);
    return pcre2_substring_number_from_name(re_.code,
                                            reinterpret_cast<PCRE2_SPTR>(zeroEnded.c_str()));
  }

  // Replaces the current match (global: it and all later ones) into `out`.
  void Substitute(std::string_view replacement, bool global, std::string& out) const {
    uint32_t options =
        searchOptions_ | PCRE2_SUBSTITUTE_OVERFLOW_LENGTH | (global ? PCRE2_SUBSTITUTE_GLOBAL : 0);
    out.resize(subject_.size() + replacement.size() + 64);
    for (;;) {
      PCRE2_SIZE length = out.size();
      int rc = pcre2_substitute(
          re_.code, reinterpret_cast<PCRE2_SPTR>(subject_.data()), subject_.size(), searchStart_,
          options, nullptr, Cache().Context(), reinterpret_cast<PCRE2_SPTR>(replacement.data()),
          replacement.size(), reinterpret_cast<PCRE2_UCHAR*>(out.data()), &length);
      if (rc == PCRE2_ERROR_NOMEMORY) {
        out.resize(length);
        continue;
      }
      if (rc == PCRE2_ERROR_MATCHLIMIT || rc == PCRE2_ERROR_DEPTHLIMIT ||
          rc == PCRE2_ERROR_HEAPLIMIT) {
        throw ERegExLimitError({re_.pattern});
      }
      if (rc < 0) throw ERegExReplaceError({replacement, ErrorText(rc)});
      out.resize(length);
      return;
    }
  }

 private:
  static bool IsUtfError(int rc) {
    return rc <= PCRE2_ERROR_UTF8_ERR1 && rc >= PCRE2_ERROR_UTF8_ERR21;
  }

  TCompiled& re_;
  std::string_view subject_;
  size_t start_ = 0;
  uint32_t options_ = 0;
  size_t searchStart_ = 0;
  uint32_t searchOptions_ = 0;
};

// Index of the optional "which part" argument, 1 when it is absent.
int64_t PartArg(const TLVCalcArgs& args, int32_t index) {
  if (index >= args.Count()) return 1;
  return static_cast<int64_t>(std::clamp(std::trunc(args.Number(index)), -1.0, 1e15));
}

double Match(const TLVCalcArgs& args) {
  if (AnyTextNull(args)) return LVCalcNull();
  return LVCalcBool(TMatcher(args.String(0), args.String(1)).Next());
}

double MatchCount(const TLVCalcArgs& args) {
  if (AnyTextNull(args)) return LVCalcNull();
  TMatcher matcher(args.String(0), args.String(1));
  double count = 0;
  while (matcher.Next()) ++count;
  return count;
}

// The group of the n-th match, or a missing text.
void SetGroup(TMatcher& matcher, int64_t part, int64_t group, TLVCalcStrResult& result) {
  std::string_view text;
  if (matcher.Skip(part) && matcher.Group(group, text)) return result.Set(text);
  result.SetNull();
}

void MatchedExp(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  if (AnyTextNull(args)) return result.SetNull();
  TMatcher matcher(args.String(0), args.String(1));
  SetGroup(matcher, PartArg(args, 2), 0, result);
}

void MatchedSubExp(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  if (AnyTextNull(args)) return result.SetNull();
  TMatcher matcher(args.String(0), args.String(1));
  SetGroup(matcher, PartArg(args, 3), static_cast<int64_t>(std::trunc(args.Number(2))), result);
}

void MatchedNamedSubExp(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  if (AnyTextNull(args)) return result.SetNull();
  TMatcher matcher(args.String(0), args.String(1));
  int64_t group = matcher.GroupNumber(args.String(2));
  if (group < 0) return result.SetNull();
  SetGroup(matcher, PartArg(args, 3), group, result);
}

void RegExReplace(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  if (AnyTextNull(args)) return result.SetNull();
  TMatcher matcher(args.String(0), args.String(1));
  if (!matcher.Skip(PartArg(args, 3))) return result.Set(args.String(1));
  matcher.Substitute(args.String(2), false, result.Build());
}

void RegExReplaceAll(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  if (AnyTextNull(args)) return result.SetNull();
  TMatcher matcher(args.String(0), args.String(1));
  if (!matcher.Next()) return result.Set(args.String(1));
  matcher.Substitute(args.String(2), true, result.Build());
}

template <const std::string_view* kPattern, int kGroup>
void FindAddress(const TLVCalcArgs& args, TLVCalcStrResult& result) {
  if (AnyTextNull(args)) return result.SetNull();
  TMatcher matcher(*kPattern, args.String(0));
  SetGroup(matcher, PartArg(args, 1), kGroup, result);
}

}  // namespace

void RegisterRegExTexts() {
  auto& table = TLVLocalization::Instance();
  for (const TErrorKey& entry : kErrorKeys) table.RegisterKey(entry.key);
  table.RegisterKeys({"SRegExBadUtf8", "SRegExOther"});
}

void RegisterRegExFunctions(TLVFunctionCollection& f) {
  f.AddNumber("RegExMatch", 2, 2, "S", kString, Match);
  f.AddNumber("RegExMatchCount", 2, 2, "S", kString, MatchCount);
  f.AddString("RegExMatchedExp", 2, 3, "SSN", kString, MatchedExp);
  f.AddString("RegExMatchedSubExp", 3, 4, "SSN", kString, MatchedSubExp);
  f.AddString("RegExMatchedNamedSubExp", 3, 4, "SSSN", kString, MatchedNamedSubExp);
  f.AddString("RegExReplace", 3, 4, "SSSN", kString, RegExReplace);
  f.AddString("RegExReplaceAll", 3, 3, "S", kString, RegExReplaceAll);
  f.AddString("RegExEmail", 1, 2, "SN", kString, FindAddress<&kEmailPattern, 0>);
  f.AddString("RegExDomain", 1, 2, "SN", kString, FindAddress<&kDomainPattern, 1>);
}

}  // namespace lv
