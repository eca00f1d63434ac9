#!/usr/bin/env bash
# Installs every Debian package that building, testing and benchmarking need, plus any
# package named on the command line (scripts/install-bench-deps.sh passes its own).
# Idempotent: packages already present are left alone, and apt is not touched at all
# when nothing is missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config clang
  libgtest-dev libgmock-dev libbenchmark-dev
  libicu-dev libfast-float-dev libpugixml-dev libpcre2-dev
  libsodium-dev zlib1g-dev libeigen3-dev libsqlite3-dev
  qt6-base-dev xvfb xauth fonts-dejavu-core
  "$@"
)

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
