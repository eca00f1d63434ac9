#!/usr/bin/env bash
# Text import against data.table::fread (one thread) and pandas.read_csv: all three read
# the same generated file with the same column types, one after the other, in one run,
# each in its own process. Prints the seconds, MB/s and peak memory of each and the
# ratios; the run with the median time of each reader counts.
#
#   bench/io/LV_TextFile_compare.sh [rows = 10000000] [runs = 3]
#
# The file is kept in $LV_TEXT_BENCH_DIR (default: the temporary folder) for later runs;
# the programs are built in $LV_BENCH_BUILD (default: build/bench).
set -euo pipefail
cd "$(dirname "$0")/../.."
rows=${1:-10000000}
runs=${2:-3}
build=${LV_BENCH_BUILD:-build/bench}

bash scripts/install-deps.sh
bash scripts/install-bench-deps.sh
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DLV_BUILD_TESTS=OFF \
  -DLV_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j 2 --target lv_TextFile_bench lv_TextFileGen >/dev/null

file=${LV_TEXT_BENCH_DIR:-${TMPDIR:-/tmp}}/lv_text_bench_${rows}.csv
[ -f "$file" ] || "$build/bench/lv_TextFileGen" "$file" "$rows"
bytes=$(stat -c %s "$file")
# Everyone reads from the page cache.
cat "$file" >/dev/null

log=$(mktemp)
trap 'rm -f "$log"' EXIT

# Runs a reader `runs` times; prints "seconds peak_kb" of the median run.
measure() {
  for _ in $(seq "$runs"); do
    /usr/bin/time -f "maxrss_kb=%M" -o "$log" "$@" >"$log.out"
    seconds=$(grep -o 'seconds=[0-9.]*' "$log.out" | cut -d= -f2)
    peak=$(grep -o 'maxrss_kb=[0-9]*' "$log" | cut -d= -f2)
    echo "$seconds $peak"
  done | sort -n | sed -n "$(((runs + 1) / 2))p"
  rm -f "$log.out"
}

# The import alone, its time taken from the benchmark's JSON report.
lumivera='LV_TEXT_BENCH_FILE="$0" "$1" --benchmark_filter="^TextImport" --benchmark_format=json |
  /usr/bin/python3 -c "import json, sys
b = json.load(sys.stdin)[\"benchmarks\"][0]
print(\"seconds=%.3f\" % (b[\"real_time\"] / 1000))"'

read -r lv_s lv_kb < <(measure bash -c "$lumivera" "$file" "$build/bench/lv_TextFile_bench")
read -r dt_s dt_kb < <(measure Rscript bench/io/LV_TextFile_fread.R "$file")
read -r pd_s pd_kb < <(measure /usr/bin/python3 bench/io/LV_TextFile_pandas.py "$file")

/usr/bin/python3 - "$bytes" "$rows" "$lv_s" "$lv_kb" "$dt_s" "$dt_kb" "$pd_s" "$pd_kb" <<'EOF'
import sys
size, rows = int(sys.argv[1]), int(sys.argv[2])
readers = [("Lumivera TLVTextFile", *sys.argv[3:5]), ("data.table::fread, 1 thread", *sys.argv[5:7]),
           ("pandas.read_csv", *sys.argv[7:9])]
print(f"file: {size / 1e6:.0f} MB, {rows} rows")
print(f"{'reader':30} {'seconds':>8} {'MB/s':>8} {'peak MiB':>9}")
for name, seconds, kb in readers:
    print(f"{name:30} {float(seconds):8.2f} {size / 1e6 / float(seconds):8.1f} {int(kb) / 1024:9.0f}")
lv = float(readers[0][1])
print(f"fread / Lumivera: {float(readers[1][1]) / lv:.2f}x (goal >= 1.5)")
print(f"pandas / Lumivera: {float(readers[2][1]) / lv:.2f}x (goal >= 4)")
EOF
