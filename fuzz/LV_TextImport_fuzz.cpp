// Text files come from anywhere. The first bytes of an input choose the settings
// (separator, qualifier, decimal point, code page, fixed width...), the rest is the
// file. Checked: the fast line splitter gives exactly the fields the field-by-field
// rule gives; every number and date that reads also writes back to the same value;
// fixed-width fields are the characters a plain count from the line's start finds; and
// the import node reads the file as a whole (defining its columns first) without
// crashing, whatever it holds, raising nothing but ELVError, and with nothing but valid
// UTF-8 in its captions and texts.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "core/LV_CoreStartup.h"
#include "core/text/LV_CodePage.h"
#include "core/text/LV_Errors.h"
#include "env/LV_EnvStartup.h"
#include "io/LV_IoStartup.h"
#include "io/LV_TextFields.h"
#include "io/LV_TextFile.h"
#include "io/LV_TextValues.h"

namespace {

void Check(bool condition) {
  if (!condition) __builtin_trap();
}

void CheckSplitting(std::string_view text, const lv::TLVSplitOptions& options) {
  lv::TLVLineSplitter splitter(options);
  lv::TLVBlockArena arena;
  std::string buffer;
  std::vector<std::string> expected;
  std::vector<std::string_view> fast;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    expected.clear();
    std::string_view rest = line;
    while (!rest.empty()) expected.emplace_back(lv::TakeField(rest, options, buffer));
    expected.resize(expected.size() + 1);
    fast.assign(expected.size(), {});
    arena.Clear();
    splitter.Split(line, fast.data(), fast.size(), arena);
    for (size_t i = 0; i < expected.size(); ++i) Check(fast[i] == expected[i]);
  }
}

// Every field of a line of fixed-width columns of 1 to 7 characters, against a count of
// characters from the start of the line.
void CheckFixedFields(std::string_view text) {
  lv::TLVFixedLine fixed;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    fixed.Assign(line);
    std::vector<size_t> starts;
    for (size_t i = 0; i < line.size(); ++i) {
      if ((static_cast<unsigned char>(line[i]) & 0xC0) != 0x80) starts.push_back(i);
    }
    Check(fixed.Characters() == static_cast<int32_t>(starts.size()));
    starts.push_back(line.size());
    int32_t position = 1;
    for (int32_t length = 1; position <= fixed.Characters() + 1; position += length) {
      length = 1 + position % 7;
      auto at = [&](int32_t k) {
        return starts[std::min<size_t>(static_cast<size_t>(k), starts.size() - 1)];
      };
      std::string_view expected =
          line.substr(at(position - 1), at(position - 1 + length) - at(position - 1));
      while (!expected.empty() && static_cast<unsigned char>(expected.front()) <= ' ')
        expected.remove_prefix(1);
      while (!expected.empty() && static_cast<unsigned char>(expected.back()) <= ' ')
        expected.remove_suffix(1);
      Check(fixed.Field(position, length) == expected);
    }
  }
}

// `exactDates`: the formats keep every digit of a date (a four-digit year, seconds), so
// a written date must read back as itself.
void CheckValues(std::string_view text, const lv::TLVFormatSettings& fs, bool exactDates) {
  const lv::TLVTextValueReader reader(fs);
  const lv::TLVTextValueWriter writer(fs);
  lv::TLVSplitOptions options{';', '"', false};
  std::string buffer;
  std::string written(writer.MaxDateTimeLength() + lv::TLVTextValueWriter::kMaxNumberLength, '\0');
  auto put = [&](char* end) { return std::string_view(written.data(), end - written.data()); };
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string field(lv::TakeField(rest, options, buffer));
    double number;
    if (reader.ReadFloat(field, number)) {
      double back;
      Check(reader.ReadFloat(put(writer.PutFloat(number, written.data())), back) && back == number);
    }
    if (reader.ReadDateTime(field, number) && exactDates) {
      double back;
      Check(reader.ReadDateTime(put(writer.PutDateTime(number, written.data())), back) &&
            std::fabs(back - number) < 1e-9);
    }
    int32_t whole;
    bool flag;
    (void)reader.ReadInteger(field, whole);
    (void)reader.ReadBoolean(field, flag);
  }
}

void ImportFile(std::string_view text, uint8_t a, uint8_t b) {
  static const std::string path = "/tmp/lv_fuzz_textimport_" + std::to_string(::getpid()) + ".txt";
  if (std::FILE* file = std::fopen(path.c_str(), "wb")) {
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
  }
  lv::TLVTextFile node;
  node.SetFileName(path);
  node.SetDelimiter(static_cast<lv::TLVDelimiterType>(a % 6));
  node.SetCharSet(b & 1 ? lv::TLVFileCharSet::chrASCII : lv::TLVFileCharSet::chrANSI);
  node.SetFixedFormat((b & 2) != 0);
  node.SetInsertKey((b & 4) != 0);
  node.SetManySeparatorToOne((b & 8) != 0);
  node.SetFirstLineTitle((b & 16) != 0);
  node.SetLineImport(1 + (a >> 6));
  node.SetValueNull(b & 32 ? "NULL" : "");
  node.SetDetectUTF8((b & 64) == 0);
  try {
    std::vector<int32_t> ends;
    for (size_t i = 0; i < 3 && i < text.size(); ++i)
      ends.push_back(static_cast<uint8_t>(text[i]) % 24);
    node.DefineColumns(ends);
    node.Open();
    const lv::TLVRowIndex rows = node.GetRowCount();
    const int32_t columns = node.GetColumnsInfo().GetColumnCount();
    for (int32_t c = 0; c < columns; ++c) {
      Check(lv::IsValidUtf8(node.GetColumnsInfo().GetColumnInfo(c)->GetDisplayName()));
    }
    for (lv::TLVRowIndex r = 0; r < rows && r < 64; ++r) {
      for (int32_t c = 0; c < columns; ++c) {
        const lv::TLVValue value = node.GetValue(r, c);
        if (value.Type() == lv::TLVDataType::dtString) Check(lv::IsValidUtf8(value.AsText()));
      }
    }
  } catch (const lv::ELVError&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool started = (lv::CoreStartup(), lv::EnvStartup(), lv::IoStartup(), true);
  (void)started;
  if (size < 3) return 0;
  const uint8_t a = data[0], b = data[1], c = data[2];
  std::string_view text(reinterpret_cast<const char*>(data + 3), size - 3);

  static constexpr char kDelimiters[] = {';', ',', '\t', ' ', '"', '.'};
  static constexpr char kQualifiers[] = {'"', '\'', '\0', ';'};
  CheckSplitting(text, {kDelimiters[a % 6], kQualifiers[(a >> 3) % 4], (a & 0x40) != 0});
  CheckFixedFields(text);

  lv::TLVFormatSettings fs;
  fs.decimalSeparator = c & 1 ? '.' : ',';
  fs.dateSeparator = "./-"[(c >> 1) % 3];
  static const char* const kDateFormats[] = {"dd.mm.yyyy", "yyyy/mm/dd", "m/d/yy", "yyyymmdd"};
  fs.shortDateFormat = kDateFormats[(c >> 3) % 4];
  fs.longTimeFormat = c & 0x20 ? "hh:nn" : "hh:nn:ss";
  CheckValues(text, fs, (c & 0x20) == 0 && fs.shortDateFormat.find("yyyy") != std::string::npos);

  ImportFile(text, a, b);
  return 0;
}
