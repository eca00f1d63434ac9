#include "io/LV_ExportStd.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/columns/LV_Block.h"
#include "core/platform/LV_Bytes.h"
#include "core/platform/LV_SafeFile.h"
#include "core/text/LV_CodePage.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "io/LV_TextStream.h"
#include "io/LV_TextValues.h"

namespace lv {

namespace {

// The buffer is handed to the file whenever it holds this much.
constexpr size_t kFlushBytes = size_t{1} << 20;
constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";
constexpr char kEndOfFileMark = '\x1A';
// Days of 0001-01-01 and of the day after 9999-12-31: the dates a text can hold.
constexpr double kFirstDay = -693593.0;
constexpr double kPastLastDay = 2958466.0;

constexpr std::array kTitleKind{std::string_view("tkCaption"), std::string_view("tkName")};
const TLVEnumDescriptor kTitleKindDescriptor{"TLVTitleKind", kTitleKind, true, true};

}  // namespace

// Turns blocks of the source into lines of the file. Each column of a block is first
// formatted in one loop of its own into a field area (each field followed by the
// separator, or by the line end in the last column); then the lines are put together
// from those fields into one buffer, which goes to the file whenever it holds more
// than kFlushBytes. Positions inside a buffer are kept as offsets because it may grow.
class TLVExportStd::TWriter {
 public:
  TWriter(const TLVExportStd& node, TLVSafeFile& file, std::vector<std::string> names)
      : file_(file),
        names_(std::move(names)),
        values_(node.FormatSettings()),
        delimiter_(node.EffectiveDelimiter()),
        qualifier_(node.GetLimiterString()),
        charSetName_(DisplayText(node.GetCharSet())),
        numberRoom_(std::max(TLVTextValueWriter::kMaxNumberLength, values_.MaxDateTimeLength())),
        buffer_(kFlushBytes + kSlackBytes),
        columns_(names_.size()) {
    const TLVCodePage page = CodePageOf(node.GetCharSet());
    if (page == TLVCodePage::cpUTF8) {
      Put(buffer_, used_, kUtf8Bom);
    } else {
      encoder_.emplace(page);
    }
    for (char c : {delimiter_, qualifier_, '\r', '\n', kEndOfFileMark}) {
      special_[static_cast<unsigned char>(c)] = true;
    }
    special_[0] = delimiter_ == '\0';
    // Short texts are checked as sixteen bytes padded with a character that is never
    // special.
    for (char c = 'a'; c <= 'z'; ++c) {
      if (!special_[static_cast<unsigned char>(c)]) {
        padding_.fill(c);
        break;
      }
    }
#if defined(__SSE2__)
    // Without a qualifier the qualifier's place repeats CR, which is special anyway.
    const char specials[kSpecialCount] = {delimiter_, qualifier_ != '\0' ? qualifier_ : '\r', '\r',
                                          '\n', kEndOfFileMark};
    for (size_t i = 0; i < kSpecialCount; ++i) specialVectors_[i] = _mm_set1_epi8(specials[i]);
#endif
    // Numbers and dates are made of few characters; when none of them is special, the
    // check of every number written can be skipped.
    std::string numberCharacters = "0123456789+-.e inf";
    numberCharacters += node.GetDecimalPoint();
    numberCharacters += node.GetDateFormat() + node.GetTimeFormat();
    numberCharacters += {node.GetDateDelimiter(), node.GetTimeDelimiter()};
    for (char c : numberCharacters) checkNumbers_ |= special_[static_cast<unsigned char>(c)];
    // The texts of missing values and of Booleans are the same in every row: they are
    // made ready for the file once.
    nullField_ = Prepared(node.GetValueNull());
    trueField_ = Prepared(node.GetValueTrue());
    falseField_ = Prepared(node.GetValueFalse());
  }

  // `titles` has a text per column: its caption or its name.
  void WriteTitle(const std::vector<std::string>& titles) {
    for (size_t c = 0; c < titles.size(); ++c) {
      if (c > 0) PutChar(buffer_, used_, delimiter_);
      PutText(buffer_, used_, titles[c], c, 0);
    }
    Put(buffer_, used_, "\r\n");
  }

  void WriteRows(const std::vector<TLVBlock>& blocks, TLVRowIndex first, int32_t count) {
    failure_.reset();
    size_t bytes = 0;
    for (size_t c = 0; c < blocks.size(); ++c) {
      const std::string_view end =
          c + 1 < blocks.size() ? std::string_view(&delimiter_, 1) : "\r\n";
      try {
        FormatColumn(blocks[c], c, first, count, end);
      } catch (const ELVError& e) {
        // The first failing row is reported, as if the rows had been written one by one.
        if (!failure_ || failedRow_ < failure_->row) failure_ = TFailure{failedRow_, e};
      }
      bytes += columns_[c].used;
    }
    if (failure_) throw failure_->error;

    char* out = Room(buffer_, used_, bytes);
    for (int32_t r = 0; r < count; ++r) {
      for (const TFields& fields : columns_) {
        const size_t from = fields.ends[static_cast<size_t>(r)];
        const size_t size = fields.ends[static_cast<size_t>(r) + 1] - from;
        CopyShortBytes(out, fields.text.data() + from, size);
        out += size;
      }
    }
    used_ += bytes;
    if (used_ >= kFlushBytes) Flush();
  }

  void Flush() {
    file_.Write(buffer_.data(), used_);
    used_ = 0;
  }

 private:
  // Room kept past kFlushBytes so that a block rarely makes the buffer grow.
  static constexpr size_t kSlackBytes = size_t{256} << 10;

  // The fields of one column of a block: field r is text[ends[r], ends[r + 1]).
  struct TFields {
    std::vector<char> text;
    size_t used = 0;
    std::vector<size_t> ends;
  };
  // A text made ready for the file once: its bytes, or the error its first use raises.
  struct TPrepared {
    std::string bytes;
    bool special = false;
    bool unencodable = false;
  };
  struct TFailure {
    TLVRowIndex row;
    ELVError error;
  };

  static char* Room(std::vector<char>& buffer, size_t used, size_t bytes) {
    if (buffer.size() - used < bytes) buffer.resize(std::max(buffer.size() * 2, used + bytes));
    return buffer.data() + used;
  }
  static void PutChar(std::vector<char>& buffer, size_t& used, char c) {
    *Room(buffer, used, 1) = c;
    ++used;
  }
  static void Put(std::vector<char>& buffer, size_t& used, std::string_view bytes) {
    if (bytes.empty()) return;  // an empty view may have no data pointer at all
    CopyShortBytes(Room(buffer, used, bytes.size()), bytes.data(), bytes.size());
    used += bytes.size();
  }

  // Formats rows [0, count) of one column into its field area, each field followed by
  // `end`. On failure failedRow_ tells the row.
  void FormatColumn(const TLVBlock& block, size_t column, TLVRowIndex first, int32_t count,
                    std::string_view end) {
    TFields& fields = columns_[column];
    fields.used = 0;
    fields.ends.resize(static_cast<size_t>(count) + 1);
    fields.ends[0] = 0;
    std::vector<char>& text = fields.text;
    size_t& used = fields.used;
    const uint8_t* valid = block.Valid();
    // One field after another; a missing value is the same everywhere.
    auto each = [&](auto&& put) {
      for (int32_t r = 0; r < count; ++r) {
        failedRow_ = first + r + 1;
        if (valid[r]) {
          put(r);
        } else {
          PutPrepared(text, used, nullField_, column, failedRow_);
        }
        CopyShortBytes(Room(text, used, end.size()), end.data(), end.size());
        used += end.size();
        fields.ends[static_cast<size_t>(r) + 1] = used;
      }
    };
    // A number may hold the separator (a comma as both decimal point and separator).
    auto number = [&](auto&& write) {
      each([&](int32_t r) {
        const size_t start = used;
        used = static_cast<size_t>(write(r, Room(text, used, numberRoom_)) - text.data());
        if (checkNumbers_) Qualify(text, used, start, column, failedRow_);
      });
    };
    switch (block.Type()) {
      case TLVDataType::dtString:
        each([&](int32_t r) { PutText(text, used, block.Strings()[r], column, failedRow_); });
        break;
      case TLVDataType::dtBoolean:
        each([&](int32_t r) {
          PutPrepared(text, used, block.Numbers()[r] != 0 ? trueField_ : falseField_, column,
                      failedRow_);
        });
        break;
      case TLVDataType::dtInteger:
        number([&](int32_t r, char* out) { return values_.PutInteger(block.Integers()[r], out); });
        break;
      case TLVDataType::dtDateTime:
        number([&](int32_t r, char* out) {
          const double days = block.Numbers()[r];
          return days >= kFirstDay && days < kPastLastDay ? values_.PutDateTime(days, out)
                                                          : values_.PutFloat(days, out);
        });
        break;
      default:
        number([&](int32_t r, char* out) { return values_.PutFloat(block.Numbers()[r], out); });
        break;
    }
  }

  // A text as it goes into the file, checked once.
  TPrepared Prepared(std::string_view text) const {
    TPrepared prepared;
    bool high = false;
    prepared.special = Scan(text.data(), text.data() + text.size(), high);
    if (encoder_ && high) {
      prepared.unencodable = !encoder_->Append(text, prepared.bytes);
      bool ignored;
      prepared.special =
          Scan(prepared.bytes.data(), prepared.bytes.data() + prepared.bytes.size(), ignored);
    } else {
      prepared.bytes = text;
    }
    if (prepared.special && qualifier_ != '\0') {
      std::string enclosed(1, qualifier_);
      for (char c : prepared.bytes) {
        if (c == qualifier_) enclosed += qualifier_;
        enclosed += c;
      }
      prepared.bytes = enclosed + qualifier_;
    }
    return prepared;
  }
  void PutPrepared(std::vector<char>& buffer, size_t& used, const TPrepared& prepared,
                   size_t column, TLVRowIndex row) {
    if (prepared.unencodable) ThrowCharSet(column, row);
    if (prepared.special && qualifier_ == '\0') ThrowNoQualifier(column, row);
    Put(buffer, used, prepared.bytes);
  }

  // Writes a UTF-8 text in the file's code page, qualified when it needs to be. `row`
  // is the row's number from 1, or 0 for the title line.
  void PutText(std::vector<char>& buffer, size_t& used, std::string_view text, size_t column,
               TLVRowIndex row) {
    const size_t start = used;
    bool high = false;
    const bool special = Scan(text.data(), text.data() + text.size(), high);
    if (!encoder_ || !high) {
      // ASCII and UTF-8 texts are written as they are: what was found in them holds.
      Put(buffer, used, text);
      if (special) Enclose(buffer, used, start, column, row);
      return;
    }
    encoded_.clear();
    if (!encoder_->Append(text, encoded_)) ThrowCharSet(column, row);
    Put(buffer, used, encoded_);
    Qualify(buffer, used, start, column, row);
  }

  // Whether [p, end) holds a character that makes a field need qualifiers; `high` is
  // set when it holds bytes above 0x7F. One pass, sixteen bytes at a time; a short rest
  // is checked as sixteen bytes too, the last ones of the text or, in a text shorter
  // than that, a padded copy.
  bool Scan(const char* p, const char* end, bool& high) const {
    int hits = 0;
    int highBits = 0;
#if defined(__SSE2__)
    auto check = [&](const char* at) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
      __m128i found = _mm_setzero_si128();
      for (const __m128i& c : specialVectors_)
        found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, c));
      hits |= _mm_movemask_epi8(found);
      highBits |= _mm_movemask_epi8(bytes);
    };
    const size_t size = static_cast<size_t>(end - p);
    for (; end - p >= 16; p += 16) check(p);
    if (p < end) {
      if (size >= 16) {
        check(end - 16);
      } else {
        std::array<char, 16> padded = padding_;
        std::memcpy(padded.data(), p, static_cast<size_t>(end - p));
        check(padded.data());
      }
    }
#else
    for (; p < end; ++p) {
      hits |= special_[static_cast<unsigned char>(*p)] ? 1 : 0;
      highBits |= static_cast<unsigned char>(*p) & 0x80;
    }
#endif
    high = highBits != 0;
    return hits != 0;
  }

  // Qualifies what was written from `start` on when it needs it.
  void Qualify(std::vector<char>& buffer, size_t& used, size_t start, size_t column,
               TLVRowIndex row) {
    bool high;
    if (Scan(buffer.data() + start, buffer.data() + used, high)) {
      Enclose(buffer, used, start, column, row);
    }
  }

  // Puts what was written from `start` on within qualifiers, doubling those inside.
  void Enclose(std::vector<char>& buffer, size_t& used, size_t start, size_t column,
               TLVRowIndex row) {
    if (qualifier_ == '\0') ThrowNoQualifier(column, row);
    const std::string text(buffer.data() + start, buffer.data() + used);
    used = start;
    PutChar(buffer, used, qualifier_);
    for (char c : text) {
      if (c == qualifier_) PutChar(buffer, used, qualifier_);
      PutChar(buffer, used, c);
    }
    PutChar(buffer, used, qualifier_);
  }

  [[noreturn]] void ThrowCharSet(size_t column, TLVRowIndex row) const {
    if (row == 0) throw ELVError("ErrExportTitleCharSet", {names_[column], charSetName_});
    throw ELVError("ErrExportCharSet", {names_[column], row, charSetName_});
  }
  [[noreturn]] void ThrowNoQualifier(size_t column, TLVRowIndex row) const {
    if (row == 0) throw ELVError("ErrExportTitleNoQualifier", {names_[column]});
    throw ELVError("ErrExportNoQualifier", {names_[column], row});
  }

  TLVSafeFile& file_;
  std::vector<std::string> names_;
  TLVTextValueWriter values_;
  char delimiter_;
  char qualifier_;
  std::string charSetName_;
  size_t numberRoom_;
  std::optional<TLVCodePageEncoder> encoder_;
  std::array<bool, 256> special_{};
  std::array<char, 16> padding_{};
#if defined(__SSE2__)
  static constexpr size_t kSpecialCount = 5;
  __m128i specialVectors_[kSpecialCount];
#endif
  bool checkNumbers_ = false;
  TPrepared nullField_;
  TPrepared trueField_;
  TPrepared falseField_;
  std::vector<char> buffer_;
  size_t used_ = 0;
  std::vector<TFields> columns_;
  std::string encoded_;
  TLVRowIndex failedRow_ = 0;
  std::optional<TFailure> failure_;
};

// --- TLVExportStd ---

const TLVPropertyTable<TLVExportStdColumn>& TLVExportStdColumn::Properties() {
  static const auto table = [] {
    TLVPropertyTable<TLVExportStdColumn> t;
    t.Add("Name", &TLVExportStdColumn::GetName, &TLVExportStdColumn::SetName, std::string());
    return t;
  }();
  return table;
}

const TLVPropertyTable<TLVExportStd>& TLVExportStd::Properties() {
  static const auto table = [] {
    using S = TLVTextSetting;
    TLVPropertyTable<TLVExportStd> t;
    for (S s : {S::tsFileName, S::tsCharSet, S::tsDelimiter, S::tsDelimiterChar, S::tsLimiterString,
                S::tsDecimalPoint, S::tsDateDelimiter, S::tsDateFormat, S::tsTimeDelimiter,
                S::tsTimeFormat, S::tsFirstLineTitle}) {
      AddProperty(t, s);
    }
    t.Add("TitleKind", &TLVExportStd::GetTitleKind, &TLVExportStd::SetTitleKind,
          TLVTitleKind::tkCaption);
    for (S s : {S::tsValueTrue, S::tsValueFalse, S::tsValueNull}) AddProperty(t, s);
    t.AddCollection(
        "Columns", "Column", [](auto& node) -> auto& { return node.ExportColumns(); },
        TLVExportStdColumn::Properties());
    return t;
  }();
  return table;
}

void TLVExportStd::SaveSettings(const TSettingsWriter& put) const {
  SaveProperties(Properties(), *this, put);
}

void TLVExportStd::LoadSettings(const TSettingsReader& get) {
  LoadProperties(Properties(), *this, get);
}

void TLVExportStd::SaveSettingsTo(ILVSettingsSection& section) const {
  SaveProperties(Properties(), *this, section);
}

void TLVExportStd::LoadSettingsFrom(const ILVSettingsSection& section) {
  LoadProperties(Properties(), *this, section);
}

const TLVEnumDescriptor& DescribeEnum(TLVTitleKind) {
  return kTitleKindDescriptor;
}

void TLVExportStd::SetTitleKind(TLVTitleKind value) {
  if (value == titleKind_) return;
  titleKind_ = value;
  SetModified(true);
}

void TLVExportStd::Execute(ILVProgress* progress) {
  if (!source_) throw ELVError("ErrDataSourceNoParent", {GetComponentName()});
  const std::string path = ExpandedFileName();
  if (path.empty()) throw ELVError("ErrExportNoFileName");
  ILVDataSource& source = *source_;
  TLVLockGuard lock(source);
  source.Open();
  const ILVColumnsInfo& info = source.GetColumnsInfo();
  std::vector<int32_t> indexes;
  std::vector<std::string> names;
  if (columns_.Count() == 0) {
    for (int32_t i = 0; i < info.GetColumnCount(); ++i) indexes.push_back(i);
  } else {
    for (int32_t k = 0; k < columns_.Count(); ++k) {
      const int32_t i = info.IndexOfColumn(columns_[k].GetName());
      if (i < 0) throw ELVError("ErrParentColumnNotFound", {columns_[k].GetName()});
      indexes.push_back(i);
    }
  }
  std::vector<std::string> titles;
  for (int32_t i : indexes) {
    const auto column = info.GetColumnInfo(i);
    names.push_back(column->GetName());
    titles.push_back(titleKind_ == TLVTitleKind::tkName ? column->GetName()
                                                        : column->GetDisplayName());
  }
  const TLVRowIndex rows = source.GetRowCount();

  TLVSafeFile file(path);
  TWriter writer(*this, file, names);
  TLVProgressScope scope(progress, LVText("SExportStdTitle"), rows);
  if (GetFirstLineTitle()) writer.WriteTitle(titles);
  std::vector<TLVBlock> blocks(indexes.size());
  for (TLVRowIndex first = 0; first < rows; first += kLVBlockSize) {
    const auto count = static_cast<int32_t>(std::min<TLVRowIndex>(kLVBlockSize, rows - first));
    for (size_t c = 0; c < indexes.size(); ++c)
      source.ReadBlock(indexes[c], first, count, blocks[c]);
    writer.WriteRows(blocks, first, count);
    scope.Step(first + count);
  }
  writer.Flush();
  file.Commit();
}

void RegisterExportStdTexts() {
  auto& table = TLVLocalization::Instance();
  table.RegisterKey(kTitleKindDescriptor.CaptionKey());
  for (size_t i = 0; i < kTitleKind.size(); ++i) {
    table.RegisterKey(kTitleKindDescriptor.DisplayTextKey(i));
  }
  table.RegisterKeys({"ErrExportNoFileName", "ErrExportCharSet", "ErrExportTitleCharSet",
                      "ErrExportNoQualifier", "ErrExportTitleNoQualifier", "SExportStdTitle",
                      "ErrDataSourceNoParent", "ErrParentColumnNotFound"});
}

}  // namespace lv
