#!/usr/bin/env bash
# End to end "text file -> sort -> text file": LumiveraStudio running a project of a
# text import, a sorting node (region ascending, price descending) and a text export,
# next to data.table's fread -> order -> fwrite with one thread, both as whole
# processes on the peer kit's sales file, one after the other, REPS times each.
#
#   bash bench/transform/sort/LV_Sorting_e2e.sh PEERS_DIR LUMIVERA_STUDIO
#
# PEERS_DIR is a copy of the peer kit with data/sales.csv generated; outputs go to
# $E2E_DIR (default /dev/shm/lv-sort-e2e). Prints one line per run: tool, seconds,
# rows written.
set -euo pipefail
peers=$(cd "$1" && pwd)
exe=$2
reps=${REPS:-3}
here=$(cd "$(dirname "$0")" && pwd)
out=${E2E_DIR:-/dev/shm/lv-sort-e2e}
mkdir -p "$out"
csv="$peers/data/sales.csv"
project="$out/lumivera_E5.lvp"
sed -e "s|@CSV@|$csv|g" -e "s|@OUT@|$out|g" "$here/LV_SortingE5.lvp.in" >"$project"
now() { date +%s.%N; }
for ((i = 1; i <= reps; i++)); do
  t0=$(now)
  "$exe" "$project" /RUN /SILENT /LOG "/LOGFILE=$out/lumivera_E5.log" /OVERWRITE
  t1=$(now)
  echo "lumivera run=$i seconds=$(echo "$t1 - $t0" | bc) rows=$(($(wc -l <"$out/lumivera_E5.csv") - 1))"
  t0=$(now)
  Rscript "$peers/run/e2e_datatable.R" E5 1 "$csv" "$out" >/dev/null
  t1=$(now)
  echo "datatable-t1 run=$i seconds=$(echo "$t1 - $t0" | bc) rows=$(($(wc -l <"$out/datatable_E5_t1.csv") - 1))"
done
