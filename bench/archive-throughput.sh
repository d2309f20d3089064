#!/usr/bin/env bash
# Throughput of archive conversion with GNU parallel, as docs/archives.md does it: a tree of
# recordings (PSN ASCII, SAC and miniSEED in turn) converted to miniSEED beside each input, at
# 1, 2 and all cores. Prints files/s and samples/s for each.
# Usage: bench/archive-throughput.sh [files (200)] [samples per file (100000)] [vibrex (build/vibrex)]
set -euo pipefail
cd "$(dirname "$0")/.."
files=${1:-200}
samples=${2:-100000}
vibrex=$(realpath "${3:-build/vibrex}")
command -v parallel >/dev/null || { echo "GNU parallel is missing (scripts/setup.sh --tests)" >&2; exit 1; }

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# A private copy of the program, so that its work folders stay apart from any other run's.
mkdir "$scratch/program"
cp "$vibrex" "$scratch/program/vibrex"
export PATH="$scratch/program:$PATH"
unset DISPLAY WAYLAND_DISPLAY # no progress windows
cd "$scratch"

# One PSN ASCII recording of a slowly wandering, noisy signal, copied under every name; a
# third become SAC and a third miniSEED.
awk -v n="$samples" 'BEGIN {
    srand(7); ORS = "\r\n"
    print "! PSN ASCII Event File Format 2.0"
    print "Start Time: 2024/01/02 03:04:05.000"; print "Number of Samples: " n
    print "SPS: 100"; print "Station Code: BENCH"; print "Component Name: HHZ"; print "Data: "
    for (i = 0; i < n; i++) { level += int(rand() * 41) - 20; level -= int(level / 64)
                              print level + int(rand() * 201) - 100 } }' >seed.psn
for ((i = 0; i < files; i++)); do
    folder=archive/station$((i % 5))/day$((i % 7))
    mkdir -p "$folder"
    case $((i % 3)) in
    0) cp seed.psn "$folder/rec$i.psn" ;;
    1) echo "CONVERT,seed.psn,$folder/rec$i.sac,SAC" ;;
    2) echo "CONVERT,seed.psn,$folder/rec$i.msd,miniSeed" ;;
    esac
done | parallel vibrex {}

echo "$files files of $samples samples (PSN ASCII, SAC, miniSEED) -> miniSEED, $(nproc) cores," \
    "load average $(cut -d' ' -f1 /proc/loadavg) (other work shares the cores)"
for jobs in $(printf '%s\n' 1 2 "$(nproc)" | sort -nu); do
    find archive -name '*.mseed' -delete
    start=$(date +%s.%N)
    find archive -type f ! -name '*.mseed' ! -name '.*' | parallel -j"$jobs" vibrex "CONVERT,{},{.}.mseed,miniSeed"
    end=$(date +%s.%N)
    converted=$(find archive -name '*.mseed' | wc -l)
    awk -v j="$jobs" -v f="$converted" -v s="$samples" -v t0="$start" -v t1="$end" \
        'BEGIN { t = t1 - t0; printf "  %d job(s): %6.2f s  %7.1f files/s  %6.1f M samples/s\n", j, t, f / t, f * s / t / 1e6 }'
done
