#!/usr/bin/env bash
# Installs the competitors of the text-import benchmark (bench/LV_TextFile_compare.sh):
# R with data.table and Debian's Python with pandas. Not needed to build or test.
# Idempotent: apt is not touched when everything is present.
set -euo pipefail

packages=(r-base-core r-cran-data.table python3-pandas time)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -q
"${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
