#!/usr/bin/env bash
# Sets everything up, then converts the bundled example recording; outputs go to out/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
mkdir -p out
build/vibrex "CONVERT,examples/quake.psn,out/quake.sac,SAC"
echo "Converted examples/quake.psn -> out/quake.sac"
