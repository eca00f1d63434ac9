// The semicolon-separated file of the text-import benchmark: a title line, then rows
// of (id; qty; price; amount; date; flag; code; comment) - integers, decimals with a
// comma, dd.mm.yyyy dates, true/false, short codes and comments of which some are
// qualified because they hold separators or doubled quotes. About 1 % of the cells
// after the id are empty. The same seed always gives the same bytes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace lv::bench {

// splitmix64: fast, and the same sequence on every platform.
class TRandom {
 public:
  explicit TRandom(uint64_t seed) : state_(seed) {}
  uint64_t Next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  uint64_t Below(uint64_t n) { return Next() % n; }

 private:
  uint64_t state_;
};

inline constexpr std::string_view kWords[] = {
    "north", "south", "river",  "market", "delta", "order", "cargo",  "green",
    "stone", "light", "window", "silver", "paper", "clock", "garden", "harbor"};

inline void PutNumber(std::string& out, uint64_t value, int minDigits = 1) {
  char digits[24];
  int n = 0;
  do {
    digits[n++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0 || n < minDigits);
  while (n > 0) out += digits[--n];
}

inline void PutWords(std::string& out, TRandom& random, int count) {
  for (int i = 0; i < count; ++i) {
    if (i > 0) out += ' ';
    out += kWords[random.Below(std::size(kWords))];
  }
}

inline void PutComment(std::string& out, TRandom& random) {
  const uint64_t kind = random.Below(100);
  if (kind < 88) {
    PutWords(out, random, 1 + static_cast<int>(random.Below(5)));
  } else if (kind < 96) {
    // A separator inside: the field must be qualified.
    out += '"';
    PutWords(out, random, 1);
    out += "; ";
    PutWords(out, random, 2);
    out += '"';
  } else {
    // Quotes inside are doubled.
    out += "\"say \"\"";
    PutWords(out, random, 1);
    out += "\"\"; ";
    PutWords(out, random, 1);
    out += '"';
  }
}

inline void PutRow(std::string& out, TRandom& random, uint64_t id) {
  auto empty = [&] { return random.Below(100) == 0; };
  PutNumber(out, id);
  out += ';';
  if (!empty()) {
    const uint64_t qty = random.Below(101000);
    if (qty < 1000) out += '-';
    PutNumber(out, qty < 1000 ? qty + 1 : qty - 1000);
  }
  out += ';';
  if (!empty()) {
    PutNumber(out, random.Below(100000));
    out += ',';
    PutNumber(out, random.Below(100), 2);
  }
  out += ';';
  if (!empty()) {
    if (random.Below(4) == 0) out += '-';
    PutNumber(out, random.Below(1000000));
    out += ',';
    PutNumber(out, random.Below(10000), 4);
  }
  out += ';';
  if (!empty()) {
    PutNumber(out, 1 + random.Below(28), 2);
    out += '.';
    PutNumber(out, 1 + random.Below(12), 2);
    out += '.';
    PutNumber(out, 1990 + random.Below(41), 4);
  }
  out += ';';
  if (!empty()) out += random.Below(2) ? "true" : "false";
  out += ';';
  if (!empty()) {
    out += static_cast<char>('A' + random.Below(26));
    out += static_cast<char>('A' + random.Below(26));
    out += '-';
    PutNumber(out, random.Below(100000), 5);
  }
  out += ';';
  if (!empty()) PutComment(out, random);
  out += '\n';
}

inline constexpr std::string_view kBenchTitle = "id;qty;price;amount;date;flag;code;comment\n";

// Writes `rows` rows to `path`; the bytes written, or 0 when the file cannot be written.
inline uint64_t WriteBenchFile(const char* path, uint64_t rows, uint64_t seed) {
  TRandom random(seed);
  std::FILE* file = std::fopen(path, "wb");
  if (!file) return 0;
  std::string buffer(kBenchTitle);
  uint64_t bytes = 0;
  bool ok = true;
  for (uint64_t id = 1; id <= rows && ok; ++id) {
    PutRow(buffer, random, id);
    if (buffer.size() >= (1u << 20) || id == rows) {
      ok = std::fwrite(buffer.data(), 1, buffer.size(), file) == buffer.size();
      bytes += buffer.size();
      buffer.clear();
    }
  }
  ok = std::fclose(file) == 0 && ok;
  return ok ? bytes : 0;
}

}  // namespace lv::bench
