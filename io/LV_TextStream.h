// Reading a text file line by line, and turning its lines into UTF-8.
//
// TLVTextStream reads through one buffer that starts at a given size (4064 bytes
// unless told) and doubles whenever a line does not fit, so only the buffer is ever
// held, however large the file. A line ends at LF; every CR at its end is dropped; a
// last line without LF is still returned. A UTF-8 byte-order mark at the start is
// skipped and reported. Lines are views into the buffer: they stay valid until the
// next read. Failures raise ELVError with the system's reason. The first
// kInitialBufferSize bytes are also looked at for text that can only be UTF-8: valid
// UTF-8 with at least one non-ASCII character (Cyrillic in a single-byte page almost
// never forms valid UTF-8). One thread at a time.
//
// TLVTextDecoder turns the bytes of a line into UTF-8: lines of pure ASCII (and valid
// UTF-8 lines of a UTF-8 file) are passed through untouched, the rest converted with
// a 256-entry table (or, in UTF-8, with malformed sequences replaced by U+FFFD).
// Immutable once made; may be shared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/text/LV_CodePage.h"

namespace lv {

class TLVTextStream {
 public:
  static constexpr size_t kInitialBufferSize = 4064;

  // Opens `path` for reading ("ErrTextFileOpen" when it cannot).
  explicit TLVTextStream(const std::string& path, size_t bufferSize = kInitialBufferSize);
  ~TLVTextStream();
  TLVTextStream(const TLVTextStream&) = delete;
  TLVTextStream& operator=(const TLVTextStream&) = delete;

  // Whether the file started with a UTF-8 byte-order mark.
  bool Utf8Bom() const { return utf8Bom_; }
  // Whether the head of a file without the mark is UTF-8 holding non-ASCII text.
  bool Utf8Head() const { return utf8Head_; }
  // The next line; false at the end of the file.
  bool ReadLine(std::string_view& line);
  // Appends up to `maxLines` (> 0) next lines to `lines` and returns how many; 0 at the
  // end of the file. All of them stay valid until the next read.
  size_t ReadLines(std::vector<std::string_view>& lines, size_t maxLines);
  // Skips up to `count` lines; returns how many there were.
  int64_t SkipLines(int64_t count);

  // Bytes of the file consumed so far, and the file's size when it was opened.
  uint64_t Position() const { return consumed_; }
  uint64_t Size() const { return size_; }
  size_t BufferSize() const { return capacity_; }

 private:
  // Takes the next line from the buffer without reading; false when none is complete.
  bool TakeBufferedLine(std::string_view& line);
  // Reads more of the file; false when nothing more came.
  bool Fill();

  std::string path_;
  int fd_ = -1;
  std::unique_ptr<char[]> buffer_;
  size_t capacity_ = 0;
  size_t begin_ = 0;    // first byte not yet returned
  size_t end_ = 0;      // end of the bytes read
  size_t scanned_ = 0;  // bytes from begin_ known to hold no LF
  bool eof_ = false;
  bool utf8Bom_ = false;
  bool utf8Head_ = false;
  uint64_t consumed_ = 0;
  uint64_t size_ = 0;
};

class TLVTextDecoder {
 public:
  // The decoder of a file in `page`, or of a UTF-8 file when `utf8Text` (a byte-order mark,
  // or a head recognised as UTF-8 where that is wanted).
  static const TLVTextDecoder& For(TLVCodePage page, bool utf8Text);

  explicit TLVTextDecoder(TLVCodePage page) : decoder_(page) {}
  TLVCodePage Page() const { return decoder_.Page(); }

  // The UTF-8 form of `bytes`: `bytes` itself when they need no conversion, else the
  // converted text placed in `out` (replacing what it held). `malformed` (when given)
  // says whether bytes that are not UTF-8 were replaced by U+FFFD.
  std::string_view Decode(std::string_view bytes, std::string& out,
                          bool* malformed = nullptr) const;
  std::string DecodeToString(std::string_view bytes) const {
    std::string out;
    std::string_view text = Decode(bytes, out);
    return text.data() == out.data() ? out : std::string(text);
  }

 private:
  TLVCodePageDecoder decoder_;
};

void RegisterTextStreamTexts();

}  // namespace lv
