// Writes the file of the text-import benchmark (see LV_TextFileGen.h).
//
//   lv_TextFileGen <file> [rows = 10000000] [seed = 1]
#include <cstdio>
#include <cstdlib>

#include "bench/io/LV_TextFileGen.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s <file> [rows] [seed]\n", argv[0]);
    return 2;
  }
  const unsigned long long rows = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 10'000'000;
  const unsigned long long seed = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1;
  const unsigned long long bytes = lv::bench::WriteBenchFile(argv[1], rows, seed);
  if (bytes == 0) {
    std::perror(argv[1]);
    return 1;
  }
  std::printf("%llu rows, %llu bytes\n", rows, bytes);
  return 0;
}
