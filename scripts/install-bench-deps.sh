#!/usr/bin/env bash
# Installs the competitors of the text-import benchmark (bench/io/LV_TextFile_compare.sh):
# R with data.table and Debian's Python with pandas. Not needed to build or test.
set -euo pipefail
exec bash "$(dirname "$0")/install-deps.sh" r-base-core r-cran-data.table python3-pandas time
