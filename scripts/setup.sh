#!/usr/bin/env bash
# Installs what the build, the tests and the demo need from Debian. Safe to run again: does nothing when all is there.
set -euo pipefail

packages=(
  g++ cmake ninja-build git
  clang libclang-rt-14-dev clang-format
  libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev
  libssl-dev zlib1g-dev libzstd-dev libsqlite3-dev nlohmann-json3-dev
  gzip zstd sqlite3 python3-numpy
  mpich libmpich-dev
)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}"
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
