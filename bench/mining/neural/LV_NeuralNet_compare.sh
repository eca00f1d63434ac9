#!/usr/bin/env bash
# Neural-network training against FANN 2.2 (Debian's libfann-dev), on the regression set
# of the peer kit (100,000 rows, 10 inputs, 1 output): a 10-20-1 sigmoid network, RPROP,
# 100 epochs, FANN's driver first and then ours, in one run on the same file. Then our
# online back-propagation and conjugate gradients on the same rows and our RPROP on a
# million rows. Prints each tool's seconds and final training MSE.
#
#   bench/mining/neural/LV_NeuralNet_compare.sh PEER_KIT_COPY
#
# PEER_KIT_COPY is a copy of the peer kit (its README tells how) in which
# data/regress.data exists and build/fann_rprop is built (run/build.sh); the million
# rows are generated into PEER_KIT_COPY/data1m when missing. Our benchmark is built in
# $LV_BENCH_BUILD (default: build/rel).
set -euo pipefail
kit=$(cd "${1:?the folder of a copy of the peer kit}" && pwd)
cd "$(dirname "$0")/../../.."
build=${LV_BENCH_BUILD:-build/rel}

bash scripts/install-bench-deps.sh
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DLV_BUILD_TESTS=OFF \
  -DLV_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j 2 --target lv_NeuralNet_bench >/dev/null
if [ ! -f "$kit/data1m/regress.data" ]; then
  mkdir -p "$kit/data1m"
  (cd "$kit" && /usr/bin/python3 gen/gen_regress.py --rows 1000000 --out data1m >/dev/null)
fi

echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"
(cd "$kit" && build/fann_rprop data/regress.data 100)
LV_NEURAL_BENCH_DATA="$kit/data/regress.data" LV_NEURAL_BENCH_DATA_1M="$kit/data1m/regress.data" \
  "$build/bench/lv_NeuralNet_bench"
echo "load: $(cut -d' ' -f1-3 /proc/loadavg)"
