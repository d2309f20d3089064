#!/usr/bin/env bash
# Installs what Vibrex needs from Debian's packages (when missing) and configures build/; each
# caller builds what it needs. With --tests it also installs what the tests use.
set -euo pipefail
cd "$(dirname "$0")/.."

# Fonts are only recommended by Qt, yet the window and its offscreen tests need one. scdoc turns
# the manual page's source into the page; CPack reads the Debian package's dependencies with
# dpkg-shlibdeps (dpkg-dev), which needs file.
packages=(g++ cmake ninja-build qt6-base-dev fonts-dejavu-core scdoc dpkg-dev file)
# The tests and benchmarks are configured only when asked for, so that a first build is the
# program alone; a build folder that has them keeps them.
parts=()
[ -f build/CMakeCache.txt ] || parts=(-DVIBREX_BUILD_TESTS=OFF -DVIBREX_BUILD_BENCH=OFF)
if [ "${1:-}" = --tests ]; then
    parts=(-DVIBREX_BUILD_TESTS=ON -DVIBREX_BUILD_BENCH=ON)
    # GNU parallel is for the archive test only (docs/archives.md); the program never calls it.
    packages+=(libgtest-dev libmseed-dev sox xvfb xauth parallel)
    # segyio, an independent Seismic Unix reader, checks the SU files Vibrex writes.
    packages+=(python3-segyio)
    # clang and its runtime build the tests once more under AddressSanitizer and
    # UndefinedBehaviorSanitizer, and the fuzz targets with libFuzzer.
    packages+=(clang libclang-rt-14-dev)
    # lintian checks the Debian package and man renders the manual page.
    packages+=(lintian man-db)
    # A one-node Slurm cluster on this machine runs the documented array job (scripts/slurm-check.sh).
    packages+=(slurmctld slurmd slurm-client munge)
fi
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
    # Slurm and munge are daemons the cluster check starts and stops itself: installing them
    # must not leave services running, so service starts are refused while apt-get runs.
    policy=/usr/sbin/policy-rc.d
    if [ ! -e "$policy" ]; then
        printf '#!/bin/sh\nexit 101\n' > "$policy"
        chmod +x "$policy"
        trap 'rm -f "$policy"' EXIT
    fi
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "${parts[@]}" >/dev/null
