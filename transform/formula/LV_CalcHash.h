// Message digests of the formula language's MD5 and SHA1 functions. None of the
// project's libraries offers these two, and the functions only ever digest one short
// text at a time, so a plain one-shot implementation is all that is needed.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace lv {

std::array<uint8_t, 16> Md5Digest(std::string_view bytes);
std::array<uint8_t, 20> Sha1Digest(std::string_view bytes);

// Upper-case hexadecimal digits of a digest, appended to `out`.
template <size_t N>
void AppendHex(const std::array<uint8_t, N>& digest, std::string& out) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  for (uint8_t b : digest) {
    out += kDigits[b >> 4];
    out += kDigits[b & 15];
  }
}

}  // namespace lv
