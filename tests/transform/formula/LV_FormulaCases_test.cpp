// Runs the formula cases kept as data in tests/transform/data/*.formulas.
//
// One case per line: `<formula> => <expected>`, split at the last " => " (a formula
// may itself use =>). Expected is a number written with '.', a text in double quotes
// ("" inside for a quote), NULL, or !<ErrorKey>. `@NAME = <value>` gives the following
// cases a variable (number, "text" or NULL); `#` starts a comment.
//
// Every case is evaluated row by row and as a block of rows (where every row holds
// the same values), and both must give the expected value.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "core/text/LV_Errors.h"
#include "transform/formula/LV_FloatCLineParser.h"

namespace lv {
namespace {

struct TExpected {
  enum class TKind { kNumber, kText, kNull, kError } kind = TKind::kNull;
  double number = 0;
  std::string text;  // the text, or the error key
};

std::string Trim(std::string_view s) {
  size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string_view::npos) return {};
  size_t e = s.find_last_not_of(" \t\r");
  return std::string(s.substr(b, e - b + 1));
}

std::optional<std::string> Unquote(const std::string& s) {
  if (s.size() < 2 || s.front() != '"' || s.back() != '"') return std::nullopt;
  std::string out;
  for (size_t i = 1; i + 1 < s.size(); ++i) {
    out += s[i];
    if (s[i] == '"') ++i;  // "" stands for one quote
  }
  return out;
}

TExpected ParseExpected(const std::string& s) {
  TExpected e;
  if (s == "NULL") return e;
  if (s.starts_with("!")) {
    e.kind = TExpected::TKind::kError;
    e.text = s.substr(1);
  } else if (auto text = Unquote(s)) {
    e.kind = TExpected::TKind::kText;
    e.text = *text;
  } else {
    e.kind = TExpected::TKind::kNumber;
    size_t used = 0;
    e.number = std::stod(s, &used);
    if (used != s.size()) throw std::invalid_argument("bad expected value: " + s);
  }
  return e;
}

struct TVariableValue {
  std::string name;
  TExpected value;  // kNumber, kText or kNull (a missing number)
};

// The result of one evaluation as text for messages and comparison.
struct TOutcome {
  TExpected::TKind kind = TExpected::TKind::kNull;
  double number = 0;
  std::string text;
};

bool Matches(const TExpected& e, const TOutcome& o) {
  if (e.kind != o.kind) return false;
  switch (e.kind) {
    case TExpected::TKind::kNumber:
      return e.number == o.number ||
             std::fabs(e.number - o.number) <= 1e-9 * std::max(1.0, std::fabs(e.number));
    case TExpected::TKind::kText:
    case TExpected::TKind::kError:
      return e.text == o.text;
    case TExpected::TKind::kNull:
      return true;
  }
  return false;
}

std::string Describe(const TOutcome& o) {
  switch (o.kind) {
    case TExpected::TKind::kNumber: return std::to_string(o.number);
    case TExpected::TKind::kText: return "\"" + o.text + "\"";
    case TExpected::TKind::kError: return "!" + o.text;
    case TExpected::TKind::kNull: return "NULL";
  }
  return {};
}

TOutcome FromNumber(double v) {
  if (std::isnan(v)) return {};
  return {TExpected::TKind::kNumber, v, {}};
}
TOutcome FromText(std::string_view v) {
  if (v.data() == nullptr) return {};
  return {TExpected::TKind::kText, 0, std::string(v)};
}

void Declare(TLineParser& parser, const std::vector<TVariableValue>& variables) {
  for (const TVariableValue& v : variables) {
    bool text = v.value.kind == TExpected::TKind::kText;
    TVariable& var = parser.Variables().Add(v.name, text ? TLVCalcKind::ckString : TLVCalcKind::ckNumber);
    if (text) {
      var.SetText(v.value.text);
    } else if (v.value.kind == TExpected::TKind::kNumber) {
      var.SetNumber(v.value.number);
    }
  }
}

TOutcome EvaluateRow(const std::string& formula, const std::vector<TVariableValue>& variables) {
  try {
    TLineParser parser;
    Declare(parser, variables);
    parser.Parse(formula);
    TLVCalcScalar value = parser.EvaluateValue();
    return value.kind == TLVCalcKind::ckNumber ? FromNumber(value.number) : FromText(value.TextView());
  } catch (const ELVError& e) {
    return {TExpected::TKind::kError, 0, e.Key()};
  }
}

// Every row of the block holds the variables' values; rows are selected sparsely
// (every other one) so that selection handling is exercised too.
TOutcome EvaluateBlock(const std::string& formula, const std::vector<TVariableValue>& variables,
                       std::vector<TOutcome>& all) {
  try {
    TLineParser parser;
    Declare(parser, variables);
    parser.Parse(formula);
    const int32_t n = kLVBlockSize;
    std::vector<std::vector<double>> numbers(variables.size(), std::vector<double>(n));
    std::vector<std::vector<std::string_view>> texts(variables.size(),
                                                     std::vector<std::string_view>(n));
    std::vector<TLVCalcVector> inputs(variables.size());
    for (size_t i = 0; i < variables.size(); ++i) {
      const TExpected& v = variables[i].value;
      bool text = v.kind == TExpected::TKind::kText;
      std::fill(numbers[i].begin(), numbers[i].end(),
                v.kind == TExpected::TKind::kNumber ? v.number : LVCalcNull());
      std::fill(texts[i].begin(), texts[i].end(), text ? std::string_view(v.text) : std::string_view());
      inputs[i] = {text ? TLVCalcKind::ckString : TLVCalcKind::ckNumber, numbers[i].data(),
                   texts[i].data(), 1};
    }
    std::vector<int32_t> positions;
    for (int32_t p = 0; p < n; p += 2) positions.push_back(p);
    TLVSelection sel{positions.data(), static_cast<int32_t>(positions.size())};
    TLVCalcVector out = parser.EvaluateBlock(inputs.data(), sel);
    for (int32_t p : positions) {
      all.push_back(out.IsString() ? FromText(out.String(p)) : FromNumber(out.Number(p)));
    }
    return all.front();
  } catch (const ELVError& e) {
    return {TExpected::TKind::kError, 0, e.Key()};
  }
}

void RunFile(const std::filesystem::path& path) {
  std::ifstream in(path);
  ASSERT_TRUE(in) << path;
  std::vector<TVariableValue> variables;
  std::string line;
  int lineNumber = 0;
  int cases = 0;
  while (std::getline(in, line)) {
    ++lineNumber;
    std::string trimmed = Trim(line);
    if (trimmed.empty() || trimmed.front() == '#') continue;
    std::string where = path.filename().string() + ":" + std::to_string(lineNumber);
    if (trimmed.front() == '@') {
      size_t eq = trimmed.find('=');
      ASSERT_NE(eq, std::string::npos) << where;
      std::string name = Trim(trimmed.substr(1, eq - 1));
      TExpected value = ParseExpected(Trim(trimmed.substr(eq + 1)));
      auto same = [&](const TVariableValue& v) { return v.name == name; };
      std::erase_if(variables, same);
      variables.push_back({name, value});
      continue;
    }
    size_t arrow = trimmed.rfind(" => ");
    ASSERT_NE(arrow, std::string::npos) << where << ": no \" => \"";
    std::string formula = trimmed.substr(0, arrow);
    TExpected expected = ParseExpected(Trim(trimmed.substr(arrow + 4)));
    ++cases;
    TOutcome row = EvaluateRow(formula, variables);
    EXPECT_TRUE(Matches(expected, row)) << where << ": " << formula << "\n  row by row gave "
                                        << Describe(row);
    std::vector<TOutcome> all;
    TOutcome block = EvaluateBlock(formula, variables, all);
    EXPECT_TRUE(Matches(expected, block)) << where << ": " << formula << "\n  block gave "
                                          << Describe(block);
    for (const TOutcome& o : all) {
      if (!Matches(expected, o)) {
        ADD_FAILURE() << where << ": rows of one block differ: " << Describe(o);
        break;
      }
    }
  }
  EXPECT_GT(cases, 0) << path;
}

TEST(FormulaCases, DataFiles) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(LV_TEST_DATA_DIR)) {
    if (entry.path().extension() == ".formulas") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  ASSERT_FALSE(files.empty());
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    RunFile(file);
  }
}

}  // namespace
}  // namespace lv
