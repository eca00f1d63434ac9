#include "io/LV_TextFields.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace lv {
namespace {

using TFields = std::vector<std::string>;

// Every field of a line as the definition of columns takes them: while the rest of
// the line is not empty.
TFields TakeAll(std::string_view line, const TLVSplitOptions& options) {
  TFields fields;
  std::string buffer;
  while (!line.empty()) fields.emplace_back(TakeField(line, options, buffer));
  return fields;
}

TFields SplitFast(std::string_view line, const TLVSplitOptions& options, size_t count) {
  TLVLineSplitter splitter(options);
  TLVBlockArena arena;
  std::vector<std::string_view> views(count);
  splitter.Split(line, views.data(), count, arena);
  return TFields(views.begin(), views.end());
}

const TLVSplitOptions kSemicolon{';', '"', false};

TEST(TextFields, QualifiedFields) {
  // A doubled qualifier stands for one.
  EXPECT_EQ(TakeAll(R"("a""b";c)", kSemicolon), (TFields{R"(a"b)", "c"}));
  // A quote that never closes runs to the end of the line, separators included.
  EXPECT_EQ(TakeAll(R"("abc)", kSemicolon), (TFields{"abc"}));
  EXPECT_EQ(TakeAll(R"(x;"a;b)", kSemicolon), (TFields{"x", "a;b"}));
  // Text after the closing qualifier, up to the separator, is appended.
  EXPECT_EQ(TakeAll(R"("ab"cd;e)", kSemicolon), (TFields{"abcd", "e"}));
  EXPECT_EQ(TakeAll(R"("ab"c"d";e)", kSemicolon), (TFields{R"(abc"d")", "e"}));
  // A qualifier inside an unqualified field is plain text.
  EXPECT_EQ(TakeAll(R"(a"b;"c")", kSemicolon), (TFields{R"(a"b)", "c"}));
  // Separators inside the qualifiers belong to the field; an empty qualified field.
  EXPECT_EQ(TakeAll(R"("a;b";"";c)", kSemicolon), (TFields{"a;b", "", "c"}));
  // A doubled qualifier right before the end of the line.
  EXPECT_EQ(TakeAll(R"("ab"")", kSemicolon), (TFields{R"(ab")"}));
  // Without a qualifier quotes are ordinary characters.
  EXPECT_EQ(TakeAll(R"("a;b")", TLVSplitOptions{';', '\0', false}), (TFields{R"("a)", R"(b")"}));
}

TEST(TextFields, SeparatorRunsAndBlanks) {
  EXPECT_EQ(TakeAll("a;;;b", kSemicolon), (TFields{"a", "", "", "b"}));
  EXPECT_EQ(TakeAll("a;;;b", TLVSplitOptions{';', '"', true}), (TFields{"a", "b"}));
  // Fields are never trimmed in delimited lines; a trailing separator adds no field.
  EXPECT_EQ(TakeAll(" a ;\tb\t;", kSemicolon), (TFields{" a ", "\tb\t"}));
  EXPECT_EQ(TakeAll("a  b", TLVSplitOptions{' ', '"', true}), (TFields{"a", "b"}));
}

TEST(TextFields, FastSplitterMatchesTheRuleFieldByField) {
  const std::vector<std::string> lines = {
      R"("a""b";c)",
      R"("ab"cd;e;"f)",
      R"(;;"x;y";;)",
      R"("";"""";"a""")",
      "plain;fields;only;here",
      std::string(70, 'x') + ";" + std::string(64, 'y') + ";\"" + std::string(40, ';') + "\";z",
      R"("q"r"s";t)",
      "",
      ";",
  };
  for (bool many : {false, true}) {
    for (char qualifier : {'"', '\0', ';'}) {
      const TLVSplitOptions options{';', qualifier, many};
      for (const std::string& line : lines) {
        // Columns past the end of the line get empty fields.
        TFields expected = TakeAll(line, options);
        expected.resize(expected.size() + 2);
        EXPECT_EQ(SplitFast(line, options, expected.size()), expected)
            << line << " many=" << many << " qualifier=" << qualifier;
        // Asking for fewer fields gives the first ones.
        EXPECT_EQ(SplitFast(line, options, 1)[0], expected[0]);
      }
    }
  }
}

TEST(TextFields, FixedWidthFieldsAreTrimmedAndCountCharacters) {
  auto field = [](std::string_view line, int32_t position, int32_t length) {
    TLVFixedLine fixed;
    fixed.Assign(line);
    return std::string(fixed.Field(position, length));
  };
  EXPECT_EQ(field("  12  abc   x", 1, 6), "12");
  EXPECT_EQ(field("  12  abc   x", 7, 6), "abc");
  EXPECT_EQ(field("  12  abc   x", 13, 6), "x");
  EXPECT_EQ(field("short", 10, 3), "");
  EXPECT_EQ(field("short", 4, 0), "");
  // Cyrillic letters take two bytes in UTF-8 but one position.
  const std::string line = "Иван  Петров 42";
  EXPECT_EQ(field(line, 1, 6), "Иван");
  EXPECT_EQ(field(line, 7, 7), "Петров");
  EXPECT_EQ(field(line, 14, 2), "42");
  EXPECT_EQ(field(line, 14, 10), "42");
  EXPECT_EQ(field(line, 16, 3), "");
  TLVFixedLine fixed;
  fixed.Assign(line);
  EXPECT_EQ(fixed.Characters(), 15);
  // One line object serves line after line.
  fixed.Assign("ab");
  EXPECT_EQ(fixed.Characters(), 2);
  EXPECT_EQ(fixed.Field(2, 1), "b");
}

}  // namespace
}  // namespace lv
