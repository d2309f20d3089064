#!/usr/bin/env bash
# Sets everything up, then runs every test suite; then the same tests once more, and each fuzz
# target over its seed corpus, under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
QT_QPA_PLATFORM=offscreen ctest --test-dir build --output-on-failure -j"$(nproc)"

# The sanitized build (clang, the "sanitize" preset) leaves out the window and the benchmarks.
cmake --preset sanitize >/dev/null
cmake --build build-sanitize -j"$(nproc)"
ctest --test-dir build-sanitize --output-on-failure -j"$(nproc)"
fuzz/run.sh -runs=500
