#!/usr/bin/env bash
# Takes docs/screenshot.png: the main window under Xvfb, mid-conversion with several files.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh --tests
cmake --build build --target vibrex_screenshot
mkdir -p docs
xvfb-run --auto-servernum --server-args="-screen 0 1280x800x24" \
    build/ui/vibrex_screenshot docs/screenshot.png
echo "Saved docs/screenshot.png"
