#!/usr/bin/env bash
# Sets everything up, then runs every test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
QT_QPA_PLATFORM=offscreen ctest --test-dir build --output-on-failure -j"$(nproc)"
