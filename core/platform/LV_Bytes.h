// Small byte helpers for the hot loops of readers and writers, which handle millions of
// short pieces (cells, texts of a few dozen bytes): a library call per piece would cost
// more than the piece itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace lv {

// Copies `n` bytes; pieces of up to 64 bytes take two possibly overlapping moves of a
// fixed size instead of a call.
inline void CopyShortBytes(void* to, const void* from, size_t n) {
  auto* d = static_cast<uint8_t*>(to);
  const auto* s = static_cast<const uint8_t*>(from);
  if (n <= 16) {
    if (n >= 8) {
      std::memcpy(d, s, 8);
      std::memcpy(d + n - 8, s + n - 8, 8);
    } else if (n >= 4) {
      std::memcpy(d, s, 4);
      std::memcpy(d + n - 4, s + n - 4, 4);
    } else {
      for (size_t i = 0; i < n; ++i) d[i] = s[i];
    }
  } else if (n <= 32) {
    std::memcpy(d, s, 16);
    std::memcpy(d + n - 16, s + n - 16, 16);
  } else if (n <= 64) {
    std::memcpy(d, s, 32);
    std::memcpy(d + n - 32, s + n - 32, 32);
  } else {
    std::memcpy(d, s, n);
  }
}

// Whether every byte of `text` is below 0x80. Eight bytes at a time, the last eight
// overlapping the ones before, so a short text takes one or two steps.
inline bool IsAsciiText(std::string_view text) {
  const char* p = text.data();
  size_t n = text.size();
  uint64_t bits = 0;
  if (n >= 8) {
    for (; n > 8; p += 8, n -= 8) {
      uint64_t word;
      std::memcpy(&word, p, sizeof word);
      bits |= word;
    }
    uint64_t last;
    std::memcpy(&last, p + n - 8, sizeof last);
    bits |= last;
  } else if (n >= 4) {
    uint32_t first, last;
    std::memcpy(&first, p, sizeof first);
    std::memcpy(&last, p + n - 4, sizeof last);
    bits = first | last;
  } else {
    for (size_t i = 0; i < n; ++i) bits |= static_cast<unsigned char>(p[i]);
  }
  return (bits & 0x8080808080808080ull) == 0;
}

}  // namespace lv
