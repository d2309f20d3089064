#!/usr/bin/env bash
# Installs what Vibrex needs from Debian's packages (when missing) and builds it into build/.
set -euo pipefail
cd "$(dirname "$0")/.."

# Fonts are only recommended by Qt, yet the window and its offscreen tests need one. GNU parallel
# is for the archive test only (docs/archives.md); the program never calls it.
packages=(g++ cmake ninja-build qt6-base-dev fonts-dejavu-core libgtest-dev libmseed-dev sox xvfb xauth parallel)
# Test only: segyio, an independent Seismic Unix reader, checks the SU files Vibrex writes.
packages+=(python3-segyio)
# Test only: clang and its runtime build the tests once more under AddressSanitizer and
# UndefinedBehaviorSanitizer, and the fuzz targets with libFuzzer.
packages+=(clang libclang-rt-14-dev)
missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
        missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    if [ "$(id -u)" -ne 0 ]; then
        echo "Vibrex needs these Debian packages: ${missing[*]}" >&2
        echo "Install them with: sudo apt-get install -y ${missing[*]}" >&2
        exit 1
    fi
    echo "Installing ${missing[*]} ..."
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)"
