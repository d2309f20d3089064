#!/usr/bin/env bash
# Sets up and builds the program alone (no tests, no benchmarks), then converts the bundled
# example recording; outputs go to out/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
cmake --build build --target vibrex
mkdir -p out
for target in "out/quake.sac,SAC" "out/quake.mseed,miniSeed" "out/quake.wav,WAV (Audio)"; do
    build/vibrex "CONVERT,examples/quake.psn,$target"
    echo "Converted examples/quake.psn -> ${target%%,*}"
done
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    echo "Opening the Vibrex window..."
    exec build/vibrex
fi
