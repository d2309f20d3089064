#!/usr/bin/env bash
# Sets everything up and builds it all, then runs every test suite, checks the Debian package and
# the manual page, and runs the documented Slurm job on a one-node cluster (as root); then the
# same tests once more, and each fuzz target over its seed corpus, under AddressSanitizer and
# UndefinedBehaviorSanitizer; then the engine and format suites under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh --tests
cmake --build build -j"$(nproc)"
QT_QPA_PLATFORM=offscreen ctest --test-dir build --output-on-failure -j"$(nproc)"
scripts/package-check.sh
if [ "$(id -u)" -eq 0 ]; then
    scripts/slurm-check.sh
else
    echo "Slurm check skipped: starting a cluster's daemons takes root (CI runs as root)."
fi

# The sanitized build (clang, the "sanitize" preset) leaves out the window and the benchmarks.
cmake --preset sanitize >/dev/null
cmake --build build-sanitize -j"$(nproc)"
ctest --test-dir build-sanitize --output-on-failure -j"$(nproc)"
fuzz/run.sh -runs=500

# The engine and format suites once more under ThreadSanitizer: a long recording's reader runs
# on a thread of its own beside its writer.
cmake --preset threads >/dev/null
cmake --build build-threads -j"$(nproc)" --target engine_tests formats_tests
TSAN_OPTIONS=halt_on_error=1 build-threads/tests/engine_tests
TSAN_OPTIONS=halt_on_error=1 build-threads/tests/formats_tests
