#!/usr/bin/env bash
# Builds the fuzz targets with AddressSanitizer and UndefinedBehaviorSanitizer (clang's libFuzzer,
# the "sanitize" preset, into build-sanitize/) and runs each one over its seed corpus, one target
# per core at a time:
#   fuzz/run.sh 600 [TARGET...]          each target (or those named) for 600 seconds
#   fuzz/run.sh -runs=2000 [TARGET...]   each target for 2000 inputs beyond its corpus
# Seeds come from the real recordings beside the checkout and from small files converted by the
# program itself; inputs found interesting are kept in build-sanitize/fuzz/corpus/ for the next
# run. An input that fails is saved in build-sanitize/fuzz/findings/: once fixed, keep it in
# fuzz/regressions/TARGET/, where the test suite replays it.
set -euo pipefail
cd "$(dirname "$0")/.."
limit=${1:?"usage: fuzz/run.sh SECONDS|-runs=N [TARGET...]"}
shift
case "$limit" in
-runs=*) limitOption=$limit ;;
*) limitOption=-max_total_time=$limit ;;
esac

# The folders of real recordings that seed each reader.
declare -A recordings=([read_miniseed]=mseed [read_sac]=sac [read_gsecm6]=gse2 [read_gseint]=gse2
    [read_saf]=saf [read_seg2]=seg2 [read_seisan]=seisan [read_su]=su)

cmake --preset sanitize >/dev/null
cmake --build build-sanitize --target vibrex fuzz_vibrex
work=$PWD/build-sanitize/fuzz
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=($(cd "$work" && ls fuzz_read_* fuzz_write_* | sed 's/^fuzz_//'))
testdata=$(sed -n 's/^VIBREX_TESTDATA_DIR:PATH=//p' build-sanitize/CMakeCache.txt)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# A tmpfs spares the disk the fuzzers' many small files.
[ -d /dev/shm ] && [ -w /dev/shm ] && export TMPDIR=/dev/shm

# A seed is a file behind the byte of run options the targets take first.
seed() { # target file
    mkdir -p "$work/seeds/$1"
    { printf '\0'; head -c 16384 "$2"; } >"$work/seeds/$1/$(basename "$2")"
}
convert() { # input output format
    (cd "$scratch" && "$work/../vibrex" "CONVERT,$1,$2,$3" >/dev/null 2>&1) || true
}
selected() { [[ " ${targets[*]} " == *" $1 "* ]]; }
for target in "${targets[@]}"; do
    # Each reader: the example converted into its format (by its batch name).
    [[ $target == read_* ]] || continue
    convert "$PWD/examples/quake.psn" "$target" "${target#read_}"
    [ -f "$scratch/$target" ] && seed "$target" "$scratch/$target"
done
# The real recordings seed their readers, and their intermediate files (PSN copies with real
# headers) seed the writers.
for target in "${!recordings[@]}"; do
    for file in $(find "$testdata/${recordings[$target]}" -type f 2>/dev/null); do
        selected "$target" && seed "$target" "$file"
        convert "$file" "$(basename "$file").psn" PSNINT
    done
done
for target in "${targets[@]}"; do
    case "$target" in
    write_* | read_psnint)
        for file in "$PWD/examples/quake.psn" "$scratch"/*.psn; do
            [ -f "$file" ] && seed "$target" "$file"
        done
        ;;
    esac
done

mkdir -p "$work/findings"
# One target, its statistics printed once it ends; the exit status says whether it found nothing.
fuzz() { # target
    local target=$1 log=$work/$1.log
    mkdir -p "$work/corpus/$target" "$work/seeds/$target"
    if ! "$work/fuzz_$target" "$limitOption" -max_len=16384 -timeout=20 -rss_limit_mb=1024 \
        -print_final_stats=1 -artifact_prefix="$work/findings/$target-" \
        "$work/corpus/$target" "$work/seeds/$target" >"$log" 2>&1; then
        { tail -n 40 "$log"; echo "fuzz target $target failed (whole output in $log)"; } >&2
        return 1
    fi
    echo "== $target: $(grep -aE '^stat::(number_of_executed_units|average_exec_per_sec)' "$log" |
        sed 's/^stat:://; s/ \+/ /' | paste -sd ' ')"
}
# As many targets at once as there are cores; every target runs even when an earlier one failed.
failed=0
for target in "${targets[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$(nproc)" ]; do
        wait -n || failed=1
    done
    fuzz "$target" &
done
while [ "$(jobs -rp | wc -l)" -gt 0 ]; do
    wait -n || failed=1
done
exit $failed
