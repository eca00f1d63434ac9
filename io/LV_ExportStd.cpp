#include "io/LV_ExportStd.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/LV_Block.h"
#include "core/LV_CodePage.h"
#include "core/LV_Errors.h"
#include "core/LV_Localization.h"
#include "core/LV_SafeFile.h"
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

}  // namespace

// Turns blocks of the source into lines of the file. Values are written straight into
// one buffer, handed to the file whenever a line ends with more than kFlushBytes in
// it; positions inside the buffer are kept as offsets because it may grow.
class TLVExportStd::TWriter {
 public:
  TWriter(const TLVExportStd& node, TLVSafeFile& file, std::vector<std::string> names)
      : file_(file),
        names_(std::move(names)),
        values_(node.FormatSettings()),
        delimiter_(node.EffectiveDelimiter()),
        qualifier_(node.GetLimiterString()),
        valueNull_(node.GetValueNull()),
        valueTrue_(node.GetValueTrue()),
        valueFalse_(node.GetValueFalse()),
        charSetName_(DisplayText(node.GetCharSet())),
        numberRoom_(std::max(TLVTextValueWriter::kMaxNumberLength, values_.MaxDateTimeLength())),
        buffer_(kFlushBytes + kSlackBytes) {
    const TLVCodePage page = CodePageOf(node.GetCharSet());
    if (page == TLVCodePage::cpUTF8) {
      Put(kUtf8Bom);
    } else {
      encoder_.emplace(page);
    }
    for (char c : {delimiter_, qualifier_, '\r', '\n', kEndOfFileMark}) {
      special_[static_cast<unsigned char>(c)] = true;
    }
    special_[0] = delimiter_ == '\0';
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
  }

  void WriteTitle() {
    for (size_t c = 0; c < names_.size(); ++c) {
      if (c > 0) PutChar(delimiter_);
      PutText(names_[c], c, 0);
    }
    EndLine();
  }

  void WriteRows(const std::vector<TLVBlock>& blocks, TLVRowIndex first, int32_t count) {
    for (int32_t r = 0; r < count; ++r) {
      for (size_t c = 0; c < blocks.size(); ++c) {
        if (c > 0) PutChar(delimiter_);
        PutCell(blocks[c], r, c, first + r + 1);
      }
      EndLine();
    }
  }

  void Flush() {
    file_.Write(buffer_.data(), used_);
    used_ = 0;
  }

 private:
  // Room kept past kFlushBytes so that a line rarely makes the buffer grow.
  static constexpr size_t kSlackBytes = size_t{256} << 10;

  char* Room(size_t bytes) {
    if (buffer_.size() - used_ < bytes) buffer_.resize(std::max(buffer_.size() * 2, used_ + bytes));
    return buffer_.data() + used_;
  }
  void PutChar(char c) {
    *Room(1) = c;
    ++used_;
  }
  void Put(std::string_view bytes) {
    if (bytes.empty()) return;  // an empty view may have no data pointer at all
    std::memcpy(Room(bytes.size()), bytes.data(), bytes.size());
    used_ += bytes.size();
  }

  void EndLine() {
    Put("\r\n");
    if (used_ >= kFlushBytes) Flush();
  }

  void PutCell(const TLVBlock& block, int32_t r, size_t column, TLVRowIndex row) {
    const auto at = static_cast<size_t>(r);
    if (block.IsNull(r)) {
      PutText(valueNull_, column, row);
      return;
    }
    if (block.Type() == TLVDataType::dtString) {
      PutText(block.Strings()[at], column, row);
      return;
    }
    if (block.Type() == TLVDataType::dtBoolean) {
      PutText(block.Numbers()[at] != 0 ? valueTrue_ : valueFalse_, column, row);
      return;
    }
    const size_t start = used_;
    char* out = Room(numberRoom_);
    switch (block.Type()) {
      case TLVDataType::dtInteger:
        used_ = static_cast<size_t>(values_.PutInteger(block.Integers()[at], out) - buffer_.data());
        break;
      case TLVDataType::dtDateTime: {
        const double days = block.Numbers()[at];
        char* end = days >= kFirstDay && days < kPastLastDay ? values_.PutDateTime(days, out)
                                                             : values_.PutFloat(days, out);
        used_ = static_cast<size_t>(end - buffer_.data());
        break;
      }
      default:
        used_ = static_cast<size_t>(values_.PutFloat(block.Numbers()[at], out) - buffer_.data());
        break;
    }
    // A number may hold the separator (a comma as both decimal point and separator).
    if (checkNumbers_) Qualify(start, column, row);
  }

  // Writes a UTF-8 text in the file's code page, qualified when it needs to be. `row`
  // is the row's number from 1, or 0 for the title line.
  void PutText(std::string_view text, size_t column, TLVRowIndex row) {
    const size_t start = used_;
    bool high = false;
    const bool special = Scan(text.data(), text.data() + text.size(), high);
    if (!encoder_ || !high) {
      // ASCII and UTF-8 texts are written as they are: what was found in them holds.
      Put(text);
      if (special) Enclose(start, column, row);
      return;
    }
    encoded_.clear();
    if (!encoder_->Append(text, encoded_)) {
      if (row == 0) throw ELVError("ErrExportTitleCharSet", {names_[column], charSetName_});
      throw ELVError("ErrExportCharSet", {names_[column], row, charSetName_});
    }
    Put(encoded_);
    Qualify(start, column, row);
  }

  // Whether [p, end) holds a character that makes a field need qualifiers; `high` is
  // set when it holds bytes above 0x7F. One pass, sixteen bytes at a time.
  bool Scan(const char* p, const char* end, bool& high) const {
    int hits = 0;
    int highBits = 0;
#if defined(__SSE2__)
    for (; end - p >= 16; p += 16) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      __m128i found = _mm_setzero_si128();
      for (const __m128i& c : specialVectors_)
        found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, c));
      hits |= _mm_movemask_epi8(found);
      highBits |= _mm_movemask_epi8(bytes);
    }
#endif
    for (; p < end; ++p) {
      hits |= special_[static_cast<unsigned char>(*p)] ? 1 : 0;
      highBits |= static_cast<unsigned char>(*p) & 0x80;
    }
    high = highBits != 0;
    return hits != 0;
  }

  // Qualifies what was written from `start` on when it needs it.
  void Qualify(size_t start, size_t column, TLVRowIndex row) {
    bool high;
    if (Scan(buffer_.data() + start, buffer_.data() + used_, high)) Enclose(start, column, row);
  }

  // Puts what was written from `start` on within qualifiers, doubling those inside.
  void Enclose(size_t start, size_t column, TLVRowIndex row) {
    if (qualifier_ == '\0') {
      if (row == 0) throw ELVError("ErrExportTitleNoQualifier", {names_[column]});
      throw ELVError("ErrExportNoQualifier", {names_[column], row});
    }
    const std::string text(buffer_.data() + start, buffer_.data() + used_);
    used_ = start;
    PutChar(qualifier_);
    for (char c : text) {
      if (c == qualifier_) PutChar(qualifier_);
      PutChar(c);
    }
    PutChar(qualifier_);
  }

  TLVSafeFile& file_;
  std::vector<std::string> names_;
  TLVTextValueWriter values_;
  char delimiter_;
  char qualifier_;
  std::string valueNull_;
  std::string valueTrue_;
  std::string valueFalse_;
  std::string charSetName_;
  size_t numberRoom_;
  std::optional<TLVCodePageEncoder> encoder_;
  std::array<bool, 256> special_{};
#if defined(__SSE2__)
  static constexpr size_t kSpecialCount = 5;
  __m128i specialVectors_[kSpecialCount];
#endif
  bool checkNumbers_ = false;
  std::vector<char> buffer_;
  size_t used_ = 0;
  std::string encoded_;
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
    for (S s :
         {S::tsFileName, S::tsCharSet, S::tsDelimiter, S::tsDelimiterChar, S::tsLimiterString,
          S::tsDecimalPoint, S::tsDateDelimiter, S::tsDateFormat, S::tsTimeDelimiter,
          S::tsTimeFormat, S::tsFirstLineTitle, S::tsValueTrue, S::tsValueFalse, S::tsValueNull}) {
      AddProperty(t, s);
    }
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
  for (int32_t i : indexes) names.push_back(info.GetColumnInfo(i)->GetName());
  const TLVRowIndex rows = source.GetRowCount();

  TLVSafeFile file(path);
  TWriter writer(*this, file, names);
  TLVProgressScope scope(progress, LVText("SExportStdTitle"), rows);
  if (GetFirstLineTitle()) writer.WriteTitle();
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
  TLVLocalization::Instance().RegisterKeys({"ErrExportNoFileName", "ErrExportCharSet",
                                            "ErrExportTitleCharSet", "ErrExportNoQualifier",
                                            "ErrExportTitleNoQualifier", "SExportStdTitle",
                                            "ErrDataSourceNoParent", "ErrParentColumnNotFound"});
}

}  // namespace lv
