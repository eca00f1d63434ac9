#!/usr/bin/env bash
# Installs the competitors of the comparison benchmarks: R with data.table and Debian's
# Python with pandas for the text import (bench/io/LV_TextFile_compare.sh), FANN and numpy
# for the neural network (bench/mining/neural/LV_NeuralNet_compare.sh). Not needed to build or test.
set -euo pipefail
exec bash "$(dirname "$0")/install-deps.sh" r-base-core r-cran-data.table python3-pandas time \
  libfann-dev python3-numpy
