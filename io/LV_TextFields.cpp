#include "io/LV_TextFields.h"

#include <algorithm>
#include <bit>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/platform/LV_Bytes.h"

namespace lv {

namespace {

bool IsContinuationByte(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

}  // namespace

std::string_view TakeField(std::string_view& rest, const TLVSplitOptions& options,
                           std::string& buffer) {
  if (rest.empty()) return {};
  if (options.manySeparatorToOne) {
    while (!rest.empty() && rest.front() == options.delimiter) rest.remove_prefix(1);
  }
  if (options.qualifier == '\0' || rest.empty() || rest.front() != options.qualifier) {
    const size_t separator = rest.find(options.delimiter);
    std::string_view field = rest.substr(0, separator);
    rest.remove_prefix(separator == std::string_view::npos ? rest.size() : separator + 1);
    return field;
  }
  rest.remove_prefix(1);
  buffer.clear();
  for (;;) {
    const size_t quote = rest.find(options.qualifier);
    if (quote == std::string_view::npos) {
      buffer.append(rest);
      rest = {};
      break;
    }
    buffer.append(rest.substr(0, quote));
    rest.remove_prefix(quote + 1);
    if (rest.empty()) break;
    if (rest.front() == options.qualifier) {
      buffer += options.qualifier;
      rest.remove_prefix(1);
      continue;
    }
    const size_t separator = rest.find(options.delimiter);
    buffer.append(rest.substr(0, separator));
    rest.remove_prefix(separator == std::string_view::npos ? rest.size() : separator + 1);
    break;
  }
  return buffer;
}

// --- TLVLineSplitter ---

void TLVLineSplitter::MarkSeparators(std::string_view line) {
  const size_t n = line.size();
  separators_.assign((n + 63) / 64, 0);
  const char* p = line.data();
  size_t i = 0;
#if defined(__SSE2__)
  const __m128i delimiter = _mm_set1_epi8(options_.delimiter);
  for (; i + 16 <= n; i += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
    const auto mask = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, delimiter)));
    separators_[i >> 6] |= static_cast<uint64_t>(mask) << (i & 63);
  }
#endif
  for (; i < n; ++i) {
    if (p[i] == options_.delimiter) separators_[i >> 6] |= uint64_t{1} << (i & 63);
  }
}

size_t TLVLineSplitter::NextSeparator(size_t from, size_t size) const {
  size_t word = from >> 6;
  if (word >= separators_.size()) return size;
  uint64_t bits = separators_[word] & (~uint64_t{0} << (from & 63));
  while (bits == 0) {
    if (++word == separators_.size()) return size;
    bits = separators_[word];
  }
  return (word << 6) + static_cast<size_t>(std::countr_zero(bits));
}

std::string_view TLVLineSplitter::QuotedField(std::string_view line, size_t& pos,
                                              TLVBlockArena& arena) {
  const size_t n = line.size();
  const size_t start = pos + 1;
  const size_t close = line.find(options_.qualifier, start);
  // The usual cases keep the text in the line: a quote that never closes, or one that
  // closes at the end of the line or right before a separator.
  if (close == std::string_view::npos) {
    pos = n;
    return line.substr(start);
  }
  if (close + 1 == n) {
    pos = n;
    return line.substr(start, close - start);
  }
  if (line[close + 1] != options_.qualifier && line[close + 1] == options_.delimiter) {
    pos = close + 2;
    return line.substr(start, close - start);
  }
  std::string_view rest = line.substr(pos);
  std::string_view field = TakeField(rest, options_, scratch_);
  pos = n - rest.size();
  return arena.Store(field);
}

void TLVLineSplitter::Split(std::string_view line, std::string_view* fields, size_t count,
                            TLVBlockArena& arena) {
  const size_t n = line.size();
  const char delimiter = options_.delimiter;
  const char qualifier = options_.qualifier;
  size_t pos = 0;
  size_t c = 0;
  bool marked = false;
  for (; c < count && pos < n; ++c) {
    if (options_.manySeparatorToOne) {
      while (pos < n && line[pos] == delimiter) ++pos;
    }
    if (qualifier != '\0' && pos < n && line[pos] == qualifier) {
      fields[c] = QuotedField(line, pos, arena);
      continue;
    }
    if (!marked) {
      MarkSeparators(line);
      marked = true;
    }
    const size_t separator = NextSeparator(pos, n);
    fields[c] = line.substr(pos, separator - pos);
    pos = separator < n ? separator + 1 : n;
  }
  for (; c < count; ++c) fields[c] = {};
}

void TLVFixedLine::Assign(std::string_view line) {
  line_ = line;
  ascii_ = IsAsciiText(line);
  starts_.clear();
  if (ascii_) return;
  for (size_t i = 0; i < line.size(); ++i) {
    if (!IsContinuationByte(line[i])) starts_.push_back(i);
  }
  starts_.push_back(line.size());
}

size_t TLVFixedLine::Offset(int64_t character) const {
  if (ascii_) return static_cast<size_t>(std::min<int64_t>(character, std::ssize(line_)));
  const auto last = static_cast<int64_t>(starts_.size()) - 1;
  return starts_[static_cast<size_t>(std::min(character, last))];
}

std::string_view TLVFixedLine::Field(int32_t position, int32_t length) const {
  if (length <= 0) return {};
  const int64_t skip = position > 1 ? position - 1 : 0;
  size_t begin = Offset(skip);
  size_t end = Offset(skip + length);
  while (begin < end && static_cast<unsigned char>(line_[begin]) <= ' ') ++begin;
  while (end > begin && static_cast<unsigned char>(line_[end - 1]) <= ' ') --end;
  return line_.substr(begin, end - begin);
}

int32_t TLVFixedLine::Characters() const {
  return static_cast<int32_t>(ascii_ ? line_.size() : starts_.size() - 1);
}

}  // namespace lv
