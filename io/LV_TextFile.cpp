#include "io/LV_TextFile.h"

#include <algorithm>
#include <filesystem>
#include <unordered_set>

#include "core/platform/LV_Bytes.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "env/LV_Logger.h"
#include "io/LV_TextFields.h"
#include "io/LV_TextValues.h"

namespace lv {

namespace {

// The import reads through a buffer of 1 MiB: large enough that reading costs
// nothing next to parsing, small enough to stay out of the way of the table.
constexpr size_t kReadBufferSize = size_t{1} << 20;
// Lines parsed together: each column of a batch is converted in one tight loop.
constexpr size_t kBatchLines = 1024;
constexpr std::string_view kEndOfFileMark = "\x1A";

bool FileExists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::is_regular_file(path, ignored);
}

bool IsIdentifier(std::string_view text) {
  auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; };
  if (text.empty() || !letter(text.front())) return false;
  return std::all_of(text.begin(), text.end(),
                     [&](char c) { return letter(c) || (c >= '0' && c <= '9'); });
}

std::string LowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return lower;
}

// Ends the run log's error section when the read ends, however it ends.
class TErrorSection {
 public:
  explicit TErrorSection(std::string title) : title_(std::move(title)) {
    LVRunLog().BeginErrorSection();
  }
  ~TErrorSection() {
    try {
      LVRunLog().EndErrorSection(title_);
    } catch (...) {
      // A handler that fails while the import is already failing must not hide why.
    }
  }
  TErrorSection(const TErrorSection&) = delete;
  TErrorSection& operator=(const TErrorSection&) = delete;

 private:
  std::string title_;
};

}  // namespace

// Parses batches of lines into the row cache: the lines are turned into UTF-8 and
// split into a table of fields, then each column is converted in one loop and written
// straight into the cache. Fields are views into the stream's buffer or the batch's
// arena, so nothing is allocated per cell.
class TLVTextFile::TReader {
 public:
  TReader(const TLVTextFile& node, TLVDataCache& cache, const TLVTextDecoder& decoder)
      : node_(node),
        cache_(cache),
        decoder_(decoder),
        splitter_(
            {node.EffectiveDelimiter(), node.GetLimiterString(), node.GetManySeparatorToOne()}),
        values_(node.FormatSettings()),
        valueNull_(node.GetValueNull()),
        fixed_(node.GetFixedFormat()) {
    const TLVTextFileColumns& defs = node.ColumnDefs();
    int32_t first = 0;
    if (node.GetInsertKey() && defs.Count() > 0 &&
        defs[0].GetDataType() == TLVDataType::dtInteger) {
      keyColumn_ = true;
      first = 1;
    }
    for (int32_t i = first; i < defs.Count(); ++i) {
      const TLVTextFileColumn& def = defs.Definition(i);
      columns_.push_back(
          {i, def.GetDataType(), def.GetDisplayName(), def.GetFixedPos(), def.GetFixedLen()});
    }
  }

  void ReadBatch(const std::string_view* lines, size_t count, int64_t firstLine) {
    if (count == 0) return;  // a batch that begins with the end-of-file mark
    const TLVRowIndex first = cache_.AppendRows(static_cast<TLVRowIndex>(count));
    if (keyColumn_) {
      for (size_t r = 0; r < count; ++r) {
        const TLVRowIndex row = first + static_cast<TLVRowIndex>(r);
        cache_.SetInteger(row, 0, static_cast<int32_t>(row + 1));
      }
    }
    if (columns_.empty()) return;
    SplitLines(lines, count);
    for (size_t c = 0; c < columns_.size(); ++c) ConvertColumn(c, first, count);
    if (!errors_.empty()) ReportErrors(firstLine);
  }

 private:
  struct TColumn {
    int32_t cacheColumn;
    TLVDataType type;
    std::string caption;
    int32_t fixedPos;
    int32_t fixedLen;
  };
  struct TError {
    size_t row;
    size_t column;  // kMalformedText: the line itself
    std::string_view field;
  };
  // The column of an error that is the line's: bytes that are not text of the code page.
  static constexpr size_t kMalformedText = ~size_t{0};

  void SplitLines(const std::string_view* lines, size_t count) {
    const size_t width = columns_.size();
    arena_.Clear();
    fields_.resize(count * width);
    for (size_t r = 0; r < count; ++r) {
      std::string_view line = lines[r];
      const bool ascii = IsAsciiText(line);
      if (!ascii) {
        bool malformed = false;
        std::string_view text = decoder_.Decode(line, decoded_, &malformed);
        line = text.data() == decoded_.data() ? arena_.Store(text) : text;
        if (malformed) errors_.push_back({r, kMalformedText, {}});
      }
      std::string_view* row = &fields_[r * width];
      if (!fixed_) {
        splitter_.Split(line, row, width, arena_);
        continue;
      }
      fixedLine_.Assign(line);
      for (size_t c = 0; c < width; ++c) {
        row[c] = fixedLine_.Field(columns_[c].fixedPos, columns_[c].fixedLen);
      }
    }
  }

  // A field that stands for no value: the null text, or nothing in a non-text column.
  bool Missing(std::string_view field) const { return field.empty() || field == valueNull_; }

  // Converts field column `c` of every row with `read(text, value)` and stores the
  // values with `store(row, value)`.
  template <class T, class Read, class Store>
  void ConvertWith(size_t c, size_t count, Read read, Store store) {
    const size_t width = columns_.size();
    const std::string_view* field = &fields_[c];
    for (size_t r = 0; r < count; ++r, field += width) {
      if (Missing(*field)) continue;
      T value;
      if (read(*field, value)) {
        store(r, value);
      } else {
        errors_.push_back({r, c, *field});
      }
    }
  }

  void ConvertColumn(size_t c, TLVRowIndex first, size_t count) {
    const int32_t column = columns_[c].cacheColumn;
    auto at = [first](size_t r) { return first + static_cast<TLVRowIndex>(r); };
    switch (columns_[c].type) {
      case TLVDataType::dtFloat:
        ConvertWith<double>(
            c, count, [this](std::string_view t, double& v) { return values_.ReadFloat(t, v); },
            [&](size_t r, double v) { cache_.SetFloat(at(r), column, v); });
        break;
      case TLVDataType::dtInteger:
        ConvertWith<int32_t>(
            c, count, [this](std::string_view t, int32_t& v) { return values_.ReadInteger(t, v); },
            [&](size_t r, int32_t v) { cache_.SetInteger(at(r), column, v); });
        break;
      case TLVDataType::dtDateTime:
        ConvertWith<double>(
            c, count, [this](std::string_view t, double& v) { return values_.ReadDateTime(t, v); },
            [&](size_t r, double v) { cache_.SetDateTime(at(r), column, v); });
        break;
      case TLVDataType::dtBoolean:
        ConvertWith<bool>(
            c, count, [this](std::string_view t, bool& v) { return values_.ReadBoolean(t, v); },
            [&](size_t r, bool v) { cache_.SetBoolean(at(r), column, v); });
        break;
      default: {
        // A text is missing only when it is the null text; an empty text is a value
        // when the null text is something else.
        const size_t width = columns_.size();
        const std::string_view* field = &fields_[c];
        for (size_t r = 0; r < count; ++r, field += width) {
          if (*field != valueNull_) cache_.SetString(at(r), column, *field);
        }
        break;
      }
    }
  }

  void ReportErrors(int64_t firstLine) {
    // Converted column by column, reported line by line in column order.
    std::stable_sort(errors_.begin(), errors_.end(),
                     [](const TError& a, const TError& b) { return a.row < b.row; });
    const std::string lineMessage = LVText("STextFileLineError");
    size_t i = 0;
    while (i < errors_.size()) {
      const size_t row = errors_[i].row;
      std::string text;
      for (; i < errors_.size() && errors_[i].row == row; ++i) {
        text += "\r\n";
        if (errors_[i].column == kMalformedText) {
          text += LVText("STextFileMalformedUtf8");
          continue;
        }
        const TColumn& column = columns_[errors_[i].column];
        text += Format(LVText(ErrorKey(column.type)), {column.caption, errors_[i].field});
      }
      LVRunLog().Log(&node_, Format(lineMessage, {firstLine + static_cast<int64_t>(row), text}));
    }
    errors_.clear();
  }

  static std::string_view ErrorKey(TLVDataType type) {
    switch (type) {
      case TLVDataType::dtBoolean:
        return "STextFileBadBoolean";
      case TLVDataType::dtDateTime:
        return "STextFileBadDateTime";
      case TLVDataType::dtInteger:
        return "STextFileBadInteger";
      default:
        return "STextFileBadFloat";
    }
  }

  const TLVTextFile& node_;
  TLVDataCache& cache_;
  const TLVTextDecoder& decoder_;
  TLVLineSplitter splitter_;
  TLVFixedLine fixedLine_;
  TLVTextValueReader values_;
  std::string valueNull_;
  bool fixed_;
  bool keyColumn_ = false;
  std::vector<TColumn> columns_;
  std::vector<std::string_view> fields_;
  std::vector<TError> errors_;
  TLVBlockArena arena_;
  std::string decoded_;
};

// --- TLVTextFile ---

TLVTextFile::TLVTextFile() {
  defs_.SetObserver([this](TLVCollectionItem*, std::string_view) { MirrorDefinitions(); });
}

TLVTextFile::~TLVTextFile() {
  defs_.SetObserver(nullptr);
}

void TLVTextFile::MirrorDefinitions() {
  Close();
  Columns().AssignColumns(defs_);
}

void TLVTextFile::Change(const std::function<void()>& store,
                         const std::function<bool()>& dropColumns) {
  Close();
  TLVColumnsUpdate update(Columns());
  store();
  SetModified(true);
  if (dropColumns()) {
    defs_.Clear();
    update.Changed();
  } else {
    NotifyListeners(TLVNotifyReason::nrDataChanged);
  }
}

void TLVTextFile::ChangeSetting(TLVTextSetting setting, const std::function<void()>& store) {
  switch (setting) {
    case TLVTextSetting::tsCharSet:
      store();
      return;
    case TLVTextSetting::tsValueNull:
      Change(store, [] { return false; });
      return;
    case TLVTextSetting::tsDelimiterChar:
      Change(store, [this] { return GetDelimiter() == TLVDelimiterType::dtOther; });
      return;
    case TLVTextSetting::tsFileName: {
      const std::string before = ExpandedFileName();
      Change(store, [&] { return ExpandedFileName() != before; });
      return;
    }
    default:
      Change(store, [] { return true; });
      return;
  }
}

void TLVTextFile::SetInsertKey(bool value) {
  if (value == insertKey_) return;
  Change([&] { insertKey_ = value; }, [] { return true; });
}

void TLVTextFile::SetManySeparatorToOne(bool value) {
  if (value == manySeparatorToOne_) return;
  Change([&] { manySeparatorToOne_ = value; }, [] { return true; });
}

void TLVTextFile::SetLineImport(int32_t value) {
  if (value == lineImport_) return;
  if (value < 1) throw ELVError("ErrTextLineImport", {value});
  Change([&] { lineImport_ = value; }, [] { return true; });
}

const TLVPropertyTable<TLVTextFile>& TLVTextFile::Properties() {
  static const auto table = [] {
    using F = TLVTextFile;
    using S = TLVTextSetting;
    TLVPropertyTable<F> t;
    AddProperty(t, S::tsFileName);
    AddProperty(t, S::tsCharSet);
    t.Add("DetectUTF8", &F::GetDetectUTF8, &F::SetDetectUTF8, true)
        .Add("FixedFormat", &F::GetFixedFormat, &F::SetFixedFormat, false)
        .Add("InsertKey", &F::GetInsertKey, &F::SetInsertKey, false);
    AddProperty(t, S::tsDelimiter);
    AddProperty(t, S::tsDelimiterChar);
    AddProperty(t, S::tsLimiterString);
    t.Add("ManySeparatorToOne", &F::GetManySeparatorToOne, &F::SetManySeparatorToOne, false);
    for (S s : {S::tsDecimalPoint, S::tsDateDelimiter, S::tsDateFormat, S::tsTimeDelimiter,
                S::tsTimeFormat}) {
      AddProperty(t, s);
    }
    t.Add("LineImport", &F::GetLineImport, &F::SetLineImport, 1);
    for (S s : {S::tsFirstLineTitle, S::tsValueTrue, S::tsValueFalse, S::tsValueNull}) {
      AddProperty(t, s);
    }
    t.AddCollection(
        "Columns", "Column", [](auto& node) -> auto& { return node.ColumnDefs(); },
        TLVTextFileColumn::Properties());
    return t;
  }();
  return table;
}

void TLVTextFile::SaveSettings(const TSettingsWriter& put) const {
  SaveProperties(Properties(), *this, put);
}

void TLVTextFile::LoadSettings(const TSettingsReader& get) {
  LoadProperties(Properties(), *this, get);
}

void TLVTextFile::SaveSettingsTo(ILVSettingsSection& section) const {
  SaveProperties(Properties(), *this, section);
}

void TLVTextFile::LoadSettingsFrom(const ILVSettingsSection& section) {
  LoadProperties(Properties(), *this, section);
}

bool TLVTextFile::Utf8ByDetection(const TLVTextStream& stream) const {
  return detectUtf8_ && stream.Utf8Head() && CodePageOf(GetCharSet()) != TLVCodePage::cpUTF8;
}

const TLVTextDecoder& TLVTextFile::DecoderFor(const TLVTextStream& stream) const {
  return TLVTextDecoder::For(CodePageOf(GetCharSet()), stream.Utf8Bom() || Utf8ByDetection(stream));
}

int32_t TLVTextFile::DefineColumns(const std::vector<int32_t>& endPositions) {
  const std::string path = ExpandedFileName();
  if (!FileExists(path)) return 0;
  TLVTextStream stream(path);
  const TLVTextDecoder& decoder = DecoderFor(stream);
  auto nextLine = [&] {
    std::string_view raw;
    return stream.ReadLine(raw) ? decoder.DecodeToString(raw) : std::string();
  };
  stream.SkipLines(lineImport_ - 1);
  std::string title;
  if (GetFirstLineTitle()) {
    title = nextLine();
    if (title.empty()) throw ELVError("ErrTextFileParse");
  }
  const std::string sample = nextLine();

  // Types are told with the node's own formats, as the rows will be read.
  const TLVTextValueReader values(FormatSettings());
  auto typeOf = [&](std::string_view field) {
    double number;
    bool flag;
    if (field.empty()) return TLVDataType::dtString;
    if (values.ReadFloat(field, number)) return TLVDataType::dtFloat;
    if (values.ReadDateTime(field, number)) return TLVDataType::dtDateTime;
    if (values.ReadBoolean(field, flag)) return TLVDataType::dtBoolean;
    return TLVDataType::dtString;
  };
  // Names taken so far, lower-cased: a wide title line must not cost a look through
  // every earlier column for each new one.
  std::unordered_set<std::string> taken;
  auto uniqueName = [&](std::string name, int32_t number) {
    auto isTaken = [&](const std::string& candidate) {
      return taken.contains(LowerAscii(candidate));
    };
    if (isTaken(name)) name = "COL" + std::to_string(number);
    const std::string base = name;
    for (int k = 2; isTaken(name); ++k) name = base + "_" + std::to_string(k);
    taken.insert(LowerAscii(name));
    return name;
  };

  defs_.BeginUpdate();
  try {
    defs_.Clear();
    if (insertKey_) {
      TLVTextFileColumn& key = defs_.AddDefinition();
      key.SetName(kKeyColumnName);
      taken.insert(LowerAscii(kKeyColumnName));
      key.SetDisplayName(kKeyColumnName);
      key.SetDataType(TLVDataType::dtInteger);
      key.SetDataKind(TLVDataKind::dkContinuous);
      key.SetDataStatus(TLVDataStatus::dsKey);
    }
    const TLVSplitOptions options{EffectiveDelimiter(), GetLimiterString(), manySeparatorToOne_};
    std::string_view titleRest = title;
    std::string_view sampleRest = sample;
    std::string titleBuffer, sampleBuffer;
    TLVFixedLine fixedTitle, fixedSample;
    if (fixedFormat_) {
      fixedTitle.Assign(title);
      fixedSample.Assign(sample);
    }
    const int32_t sampleLength = fixedSample.Characters();
    int32_t previousEnd = 0;
    bool lastColumn = false;
    for (int32_t n = 1; !lastColumn && !(GetFirstLineTitle() ? titleRest : sampleRest).empty();
         ++n) {
      std::string titleField, sampleField;
      int32_t fixedPos = 1, fixedLen = 0;
      if (fixedFormat_) {
        const auto k = static_cast<size_t>(n - 1);
        fixedPos = previousEnd + 1;
        const int32_t end =
            std::max(k < endPositions.size() ? endPositions[k] : sampleLength, fixedPos);
        fixedLen = end - fixedPos + 1;
        titleField = fixedTitle.Field(fixedPos, fixedLen);
        sampleField = fixedSample.Field(fixedPos, fixedLen);
        previousEnd = end;
        lastColumn = end >= sampleLength;
      } else {
        if (GetFirstLineTitle()) titleField = TakeField(titleRest, options, titleBuffer);
        sampleField = TakeField(sampleRest, options, sampleBuffer);
      }
      TLVTextFileColumn& column = defs_.AddDefinition();
      column.SetName(
          uniqueName(IsIdentifier(titleField) ? titleField : "COL" + std::to_string(n), n));
      column.SetDisplayName(titleField);
      const TLVDataType type = typeOf(sampleField);
      column.SetDataType(type);
      column.SetDataKind(type == TLVDataType::dtFloat || type == TLVDataType::dtDateTime
                             ? TLVDataKind::dkContinuous
                             : TLVDataKind::dkDiscrete);
      column.SetDataStatus(TLVDataStatus::dsInfo);
      if (fixedFormat_) {
        column.SetFixedPos(fixedPos);
        column.SetFixedLen(fixedLen);
      }
    }
  } catch (...) {
    defs_.EndUpdate();
    throw;
  }
  defs_.EndUpdate();
  return defs_.Count();
}

std::vector<std::string> TLVTextFile::Preview(int32_t firstLine) const {
  const std::string path = ExpandedFileName();
  if (!FileExists(path)) throw ELVError("ErrTextFileNotFound", {path});
  TLVTextStream stream(path);
  const TLVTextDecoder& decoder = DecoderFor(stream);
  stream.SkipLines(std::max(firstLine, 1) - 1);
  std::vector<std::string> lines;
  std::string_view raw;
  while (static_cast<int32_t>(lines.size()) < kPreviewLines && stream.ReadLine(raw)) {
    lines.push_back(decoder.DecodeToString(raw));
  }
  return lines;
}

void TLVTextFile::Refresh(ILVProgress* progress) {
  Close();
  progress_ = progress;
  try {
    Open();
  } catch (...) {
    progress_ = nullptr;
    throw;
  }
  progress_ = nullptr;
  NotifyListeners(TLVNotifyReason::nrDataChanged);
}

void TLVTextFile::DoOpen() {
  const std::string path = ExpandedFileName();
  if (!FileExists(path)) throw ELVError("ErrTextFileNotFound", {path});
  if (defs_.Count() == 0) DefineColumns();
  // A file with nothing to make a column of cannot become a table.
  if (defs_.Count() == 0) throw ELVError("ErrTextFileParse");
  TLVCachedDataSource::DoOpen();
}

void TLVTextFile::FillCache(TLVDataCache& cache) {
  const std::string path = ExpandedFileName();
  TLVTextStream stream(path, kReadBufferSize);
  if (Utf8ByDetection(stream))
    LVRunLog().Log(this, Format(LVText("STextFileUtf8Detected"), {path}));
  TErrorSection section(Format(LVText("STextFileErrorSection"), {path}));
  TReader reader(*this, cache, DecoderFor(stream));
  int64_t line = stream.SkipLines(lineImport_ - 1);
  if (GetFirstLineTitle()) line += stream.SkipLines(1);
  TLVProgressScope progress(progress_, LVText("STextFileImportTitle"),
                            static_cast<int64_t>(stream.Size()));
  std::vector<std::string_view> lines;
  lines.reserve(kBatchLines);
  for (;;) {
    lines.clear();
    if (stream.ReadLines(lines, kBatchLines) == 0) break;
    const auto mark = std::find(lines.begin(), lines.end(), kEndOfFileMark);
    const auto count = static_cast<size_t>(mark - lines.begin());
    reader.ReadBatch(lines.data(), count, line + 1);
    line += static_cast<int64_t>(count);
    progress.Step(static_cast<int64_t>(stream.Position()));
    if (mark != lines.end()) break;
  }
}

void RegisterTextFileTexts() {
  TLVLocalization::Instance().RegisterKeys(
      {"ErrTextFileNotFound", "ErrTextFileParse", "ErrTextLineImport", "STextFileBadBoolean",
       "STextFileBadDateTime", "STextFileBadFloat", "STextFileBadInteger", "STextFileLineError",
       "STextFileErrorSection", "STextFileImportTitle", "STextFileMalformedUtf8",
       "STextFileUtf8Detected"});
}

}  // namespace lv
