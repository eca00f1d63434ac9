#include "io/LV_TextStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "core/platform/LV_Bytes.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"
#include "core/text/LV_SystemError.h"

namespace lv {

namespace {

constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";

// Whether `head`, the first bytes of a longer file when `more` is set, is UTF-8 with
// some non-ASCII text. A character cut by the end of the head still counts.
bool IsUtf8Head(std::string_view head, bool more) {
  if (IsAsciiText(head)) return false;
  if (IsValidUtf8(head)) return true;
  if (!more) return false;
  // The last character that begins in the head, if it is cut: a lead byte followed by
  // fewer continuation bytes than it needs.
  size_t start = head.size();
  while (start > 0 && head.size() - start < 3 &&
         (static_cast<unsigned char>(head[start - 1]) & 0xC0) == 0x80) {
    --start;
  }
  if (start == 0) return false;
  const auto lead = static_cast<unsigned char>(head[start - 1]);
  const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || head.size() - (start - 1) >= length) return false;
  return IsValidUtf8(head.substr(0, start - 1));
}

}  // namespace

// --- TLVTextStream ---

TLVTextStream::TLVTextStream(const std::string& path, size_t bufferSize)
    : path_(path), capacity_(std::max<size_t>(bufferSize, 16)) {
  buffer_.reset(new char[capacity_]);
  fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd_ < 0) throw ELVError("ErrTextFileOpen", {path, LVSystemErrorText(errno)});
  struct stat info {};
  if (::fstat(fd_, &info) == 0) size_ = static_cast<uint64_t>(info.st_size);
  // The mark is looked for in the first bytes only; a short file is read whole here.
  while (end_ < kUtf8Bom.size() && Fill()) {
  }
  if (std::string_view(buffer_.get(), end_).starts_with(kUtf8Bom)) {
    utf8Bom_ = true;
    begin_ = kUtf8Bom.size();
    consumed_ = kUtf8Bom.size();
    return;
  }
  const size_t head = std::min(kInitialBufferSize, capacity_);
  while (end_ < head && Fill()) {
  }
  utf8Head_ = IsUtf8Head(std::string_view(buffer_.get(), std::min(end_, head)),
                         end_ > head || size_ > head);
}

TLVTextStream::~TLVTextStream() {
  if (fd_ >= 0) ::close(fd_);
}

bool TLVTextStream::Fill() {
  if (eof_) return false;
  if (begin_ > 0) {
    std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  if (end_ == capacity_) {
    // The line does not fit: the buffer doubles until it does.
    std::unique_ptr<char[]> grown(new char[capacity_ * 2]);
    std::memcpy(grown.get(), buffer_.get(), end_);
    buffer_ = std::move(grown);
    capacity_ *= 2;
  }
  for (;;) {
    ssize_t n = ::read(fd_, buffer_.get() + end_, capacity_ - end_);
    if (n > 0) {
      end_ += static_cast<size_t>(n);
      return true;
    }
    if (n == 0) {
      eof_ = true;
      return false;
    }
    if (errno != EINTR) throw ELVError("ErrTextFileRead", {path_, LVSystemErrorText(errno)});
  }
}

bool TLVTextStream::TakeBufferedLine(std::string_view& line) {
  const char* data = buffer_.get();
  const size_t from = begin_ + scanned_;
  const void* lf = from < end_ ? std::memchr(data + from, '\n', end_ - from) : nullptr;
  size_t length;
  size_t next;
  if (lf) {
    length = static_cast<size_t>(static_cast<const char*>(lf) - data) - begin_;
    next = begin_ + length + 1;
  } else if (eof_ && begin_ < end_) {
    length = end_ - begin_;
    next = end_;
  } else {
    scanned_ = end_ - begin_;
    return false;
  }
  while (length > 0 && data[begin_ + length - 1] == '\r') --length;
  line = std::string_view(data + begin_, length);
  consumed_ += next - begin_;
  begin_ = next;
  scanned_ = 0;
  return true;
}

bool TLVTextStream::ReadLine(std::string_view& line) {
  for (;;) {
    if (TakeBufferedLine(line)) return true;
    if (!Fill()) return TakeBufferedLine(line);
  }
}

size_t TLVTextStream::ReadLines(std::vector<std::string_view>& lines, size_t maxLines) {
  std::string_view line;
  if (!ReadLine(line)) return 0;
  lines.push_back(line);
  size_t count = 1;
  // Only what is already buffered: reading more would move the lines handed out.
  while (count < maxLines && TakeBufferedLine(line)) {
    lines.push_back(line);
    ++count;
  }
  return count;
}

int64_t TLVTextStream::SkipLines(int64_t count) {
  std::string_view line;
  int64_t skipped = 0;
  while (skipped < count && ReadLine(line)) ++skipped;
  return skipped;
}

// --- TLVTextDecoder ---

const TLVTextDecoder& TLVTextDecoder::For(TLVCodePage page, bool utf8Text) {
  static const TLVTextDecoder utf8(TLVCodePage::cpUTF8);
  static const TLVTextDecoder windows1251(TLVCodePage::cpWindows1251);
  static const TLVTextDecoder cp866(TLVCodePage::cpCP866);
  if (utf8Text) return utf8;
  switch (page) {
    case TLVCodePage::cpWindows1251:
      return windows1251;
    case TLVCodePage::cpCP866:
      return cp866;
    case TLVCodePage::cpUTF8:
      break;
  }
  return utf8;
}

std::string_view TLVTextDecoder::Decode(std::string_view bytes, std::string& out,
                                        bool* malformed) const {
  if (malformed) *malformed = false;
  if (IsAsciiText(bytes)) return bytes;
  if (Page() == TLVCodePage::cpUTF8 && IsValidUtf8(bytes)) return bytes;
  out.clear();
  const bool wellFormed = decoder_.Append(bytes, out);
  if (malformed) *malformed = !wellFormed;
  return out;
}

void RegisterTextStreamTexts() {
  TLVLocalization::Instance().RegisterKeys({"ErrTextFileOpen", "ErrTextFileRead"});
}

}  // namespace lv
