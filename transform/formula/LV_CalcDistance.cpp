#include <algorithm>
#include <unordered_map>
#include <vector>

#include "transform/formula/LV_CalcText.h"

namespace lv {
namespace {

// The two texts as characters, without their common prefix and suffix (they change no
// distance). Buffers are per thread and reused, so a column of short texts does not
// allocate per row.
struct TCharPair {
  std::u32string a, b;
};

TCharPair& Decode(std::string_view a, std::string_view b, bool trim) {
  thread_local TCharPair pair;
  auto decode = [](std::string_view text, std::u32string& out) {
    out.clear();
    for (size_t pos = 0; pos < text.size();) out += Utf8Next(text, pos);
  };
  decode(a, pair.a);
  decode(b, pair.b);
  if (trim) {
    size_t prefix = 0;
    while (prefix < pair.a.size() && prefix < pair.b.size() && pair.a[prefix] == pair.b[prefix]) {
      ++prefix;
    }
    pair.a.erase(0, prefix);
    pair.b.erase(0, prefix);
    while (!pair.a.empty() && !pair.b.empty() && pair.a.back() == pair.b.back()) {
      pair.a.pop_back();
      pair.b.pop_back();
    }
  }
  return pair;
}

bool TooLong(const TCharPair& p) {
  return static_cast<double>(p.a.size() + 1) * static_cast<double>(p.b.size() + 1) >
         static_cast<double>(kMaxEditCells);
}

template <class T>
T Min3(T x, T y, T z) {
  return std::min(x, std::min(y, z));
}

}  // namespace

int64_t LevenshteinDistance(std::string_view a, std::string_view b) {
  TCharPair& p = Decode(a, b, true);
  if (TooLong(p)) return -1;
  if (p.a.size() < p.b.size()) std::swap(p.a, p.b);
  thread_local std::vector<int64_t> row;
  row.resize(p.b.size() + 1);
  for (size_t j = 0; j < row.size(); ++j) row[j] = static_cast<int64_t>(j);
  for (size_t i = 1; i <= p.a.size(); ++i) {
    int64_t diagonal = row[0];
    row[0] = static_cast<int64_t>(i);
    for (size_t j = 1; j <= p.b.size(); ++j) {
      int64_t above = row[j];
      row[j] = Min3(above + 1, row[j - 1] + 1, diagonal + (p.a[i - 1] != p.b[j - 1]));
      diagonal = above;
    }
  }
  return row.back();
}

int64_t DamerauLevenshteinDistance(std::string_view a, std::string_view b) {
  // Lowrance and Wagner's table: H has a border row and column of "infinity", and
  // `lastRow` remembers where each character of `a` was last seen.
  TCharPair& p = Decode(a, b, true);
  if (TooLong(p)) return -1;
  const size_t n = p.a.size(), m = p.b.size(), width = m + 2;
  const auto infinity = static_cast<int64_t>(n + m);
  thread_local std::vector<int64_t> h;
  thread_local std::unordered_map<char32_t, size_t> lastRow;
  h.assign((n + 2) * width, 0);
  lastRow.clear();
  auto at = [&](size_t i, size_t j) -> int64_t& { return h[i * width + j]; };
  at(0, 0) = infinity;
  for (size_t i = 0; i <= n; ++i) {
    at(i + 1, 0) = infinity;
    at(i + 1, 1) = static_cast<int64_t>(i);
  }
  for (size_t j = 0; j <= m; ++j) {
    at(0, j + 1) = infinity;
    at(1, j + 1) = static_cast<int64_t>(j);
  }
  for (size_t i = 1; i <= n; ++i) {
    size_t lastMatchColumn = 0;
    for (size_t j = 1; j <= m; ++j) {
      auto seen = lastRow.find(p.b[j - 1]);
      size_t i1 = seen == lastRow.end() ? 0 : seen->second, j1 = lastMatchColumn;
      int64_t cost = 1;
      if (p.a[i - 1] == p.b[j - 1]) {
        cost = 0;
        lastMatchColumn = j;
      }
      int64_t transposition =
          at(i1, j1) + static_cast<int64_t>(i - i1 - 1) + 1 + static_cast<int64_t>(j - j1 - 1);
      at(i + 1, j + 1) =
          std::min(Min3(at(i, j) + cost, at(i + 1, j) + 1, at(i, j + 1) + 1), transposition);
    }
    lastRow[p.a[i - 1]] = i;
  }
  return at(n + 1, m + 1);
}

bool EditScript(std::string_view a, std::string_view b, std::string& out) {
  out.clear();
  TCharPair& p = Decode(a, b, false);
  if (TooLong(p)) return false;
  const size_t n = p.a.size(), m = p.b.size(), width = m + 1;
  thread_local std::vector<int64_t> d;
  d.assign((n + 1) * width, 0);
  auto at = [&](size_t i, size_t j) -> int64_t& { return d[i * width + j]; };
  for (size_t i = 0; i <= n; ++i) at(i, 0) = static_cast<int64_t>(i);
  for (size_t j = 0; j <= m; ++j) at(0, j) = static_cast<int64_t>(j);
  for (size_t i = 1; i <= n; ++i) {
    for (size_t j = 1; j <= m; ++j) {
      at(i, j) =
          Min3(at(i - 1, j) + 1, at(i, j - 1) + 1, at(i - 1, j - 1) + (p.a[i - 1] != p.b[j - 1]));
    }
  }
  // Walk back from the end, preferring keep/replace, then delete, then insert.
  size_t i = n, j = m;
  while (i > 0 || j > 0) {
    if (i > 0 && j > 0 && at(i, j) == at(i - 1, j - 1) + (p.a[i - 1] != p.b[j - 1])) {
      out += p.a[i - 1] == p.b[j - 1] ? '=' : 'R';
      --i;
      --j;
    } else if (i > 0 && at(i, j) == at(i - 1, j) + 1) {
      out += 'D';
      --i;
    } else {
      out += 'I';
      --j;
    }
  }
  std::reverse(out.begin(), out.end());
  return true;
}

}  // namespace lv
