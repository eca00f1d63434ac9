#include "transform/formula/LV_CalcHash.h"

#include <bit>
#include <cstring>

namespace lv {
namespace {

// Both digests pad the message the same way: a 1 bit, zeros up to 56 bytes modulo 64,
// and the length in bits in the last 8 bytes (little-endian for MD5, big-endian for
// SHA-1). `block` is called for every 64-byte block.
template <class Block>
void ForEachPaddedBlock(std::string_view bytes, bool bigEndianLength, Block block) {
  size_t whole = bytes.size() / 64 * 64;
  for (size_t offset = 0; offset < whole; offset += 64) {
    block(reinterpret_cast<const uint8_t*>(bytes.data()) + offset);
  }
  uint8_t tail[128] = {};
  size_t rest = bytes.size() - whole;
  if (rest > 0) std::memcpy(tail, bytes.data() + whole, rest);
  tail[rest] = 0x80;
  size_t tailSize = rest < 56 ? 64 : 128;
  uint64_t bits = static_cast<uint64_t>(bytes.size()) * 8;
  for (int k = 0; k < 8; ++k) {
    int shift = bigEndianLength ? 56 - 8 * k : 8 * k;
    tail[tailSize - 8 + static_cast<size_t>(k)] = static_cast<uint8_t>(bits >> shift);
  }
  block(tail);
  if (tailSize == 128) block(tail + 64);
}

uint32_t LoadLittle(const uint8_t* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

uint32_t LoadBig(const uint8_t* p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | uint32_t{p[3]};
}

constexpr uint32_t kMd5Sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

constexpr int kMd5Shifts[4][4] = {
    {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

}  // namespace

std::array<uint8_t, 16> Md5Digest(std::string_view bytes) {
  uint32_t h[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  ForEachPaddedBlock(bytes, false, [&](const uint8_t* block) {
    uint32_t m[16];
    for (int i = 0; i < 16; ++i) m[i] = LoadLittle(block + 4 * i);
    uint32_t a = h[0], b = h[1], c = h[2], d = h[3];
    for (int i = 0; i < 64; ++i) {
      uint32_t f;
      int g;
      int round = i / 16;
      switch (round) {
        case 0:
          f = (b & c) | (~b & d);
          g = i;
          break;
        case 1:
          f = (d & b) | (~d & c);
          g = (5 * i + 1) % 16;
          break;
        case 2:
          f = b ^ c ^ d;
          g = (3 * i + 5) % 16;
          break;
        default:
          f = c ^ (b | ~d);
          g = (7 * i) % 16;
          break;
      }
      uint32_t rotated = std::rotl(a + f + kMd5Sines[i] + m[g], kMd5Shifts[round][i % 4]);
      a = d;
      d = c;
      c = b;
      b += rotated;
    }
    h[0] += a;
    h[1] += b;
    h[2] += c;
    h[3] += d;
  });
  std::array<uint8_t, 16> digest{};
  for (size_t i = 0; i < 16; ++i) digest[i] = static_cast<uint8_t>(h[i / 4] >> (8 * (i % 4)));
  return digest;
}

std::array<uint8_t, 20> Sha1Digest(std::string_view bytes) {
  uint32_t h[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
  ForEachPaddedBlock(bytes, true, [&](const uint8_t* block) {
    uint32_t w[80];
    for (int i = 0; i < 16; ++i) w[i] = LoadBig(block + 4 * i);
    for (int i = 16; i < 80; ++i) w[i] = std::rotl(w[i - 3] ^ w[i - 8] ^ w[i - 14] ^ w[i - 16], 1);
    uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4];
    for (int i = 0; i < 80; ++i) {
      uint32_t f, k;
      if (i < 20) {
        f = (b & c) | (~b & d);
        k = 0x5A827999;
      } else if (i < 40) {
        f = b ^ c ^ d;
        k = 0x6ED9EBA1;
      } else if (i < 60) {
        f = (b & c) | (b & d) | (c & d);
        k = 0x8F1BBCDC;
      } else {
        f = b ^ c ^ d;
        k = 0xCA62C1D6;
      }
      uint32_t next = std::rotl(a, 5) + f + e + k + w[i];
      e = d;
      d = c;
      c = std::rotl(b, 30);
      b = a;
      a = next;
    }
    h[0] += a;
    h[1] += b;
    h[2] += c;
    h[3] += d;
    h[4] += e;
  });
  std::array<uint8_t, 20> digest{};
  for (size_t i = 0; i < 20; ++i) digest[i] = static_cast<uint8_t>(h[i / 4] >> (24 - 8 * (i % 4)));
  return digest;
}

}  // namespace lv
