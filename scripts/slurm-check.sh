#!/usr/bin/env bash
# Runs the array job of docs/archives.md (docs/convert.sbatch, unchanged) on a one-node Slurm
# cluster started on this machine alone, over a small tree of real recordings, and checks what
# it leaves: every output exists and reads back with INFO, the joblogs list the refused files
# with their exit codes, and the installed program kept its work folders in the node's TMPDIR.
# Needs root and Debian's slurmctld, slurmd and munge (scripts/setup.sh --tests); stops every
# daemon it started and removes everything it made, whatever happens. About half a minute.
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$PWD
testdata=${VIBREX_TESTDATA_DIR:-$repo/../shared/testdata}
started=$SECONDS
if [ "$(id -u)" -ne 0 ]; then
    echo "slurm-check: needs root to start Slurm's daemons" >&2
    exit 1
fi

work=$(mktemp -d /tmp/vibrex-slurm.XXXXXX)
stop_daemons() {
    if [ -s "$work/run/slurmctld.pid" ]; then
        scancel --quiet --user=root 2>/dev/null || true # jobs of this cluster alone (SLURM_CONF)
        for _ in $(seq 50); do [ -z "$(squeue -h 2>/dev/null)" ] && break; sleep 0.1; done
    fi
    for pid_file in "$work"/run/slurmd.pid "$work"/run/slurmctld.pid "$work"/run/munged.pid; do
        [ -s "$pid_file" ] || continue
        pid=$(cat "$pid_file")
        kill "$pid" 2>/dev/null || continue
        for _ in $(seq 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
        kill -9 "$pid" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap stop_daemons EXIT
mkdir -m 700 "$work/run" "$work/state" "$work/spool" "$work/node-tmp"

# The program as installed (a "bin" folder), so it behaves as the package's copy does.
cmake --build build --target vibrex >/dev/null
cmake --install build --prefix "$work/usr" >/dev/null

# A small archive: single-channel recordings that convert, one the miniSEED loader refuses and
# one that is no recording at all.
converts=(examples/quake.psn)
for file in sac/test.sac sac/seism.sac gse2/loc_RJOB20050831023349.z seg2/20180307_031245000.0.seg2; do
    [ -f "$testdata/$file" ] && converts+=("$testdata/$file")
done
mkdir -p "$work/jobs/archive/station1" "$work/jobs/archive/station2"
i=0
for file in "${converts[@]}"; do
    cp "$file" "$work/jobs/archive/station$((i % 2 + 1))/rec$i.${file##*.}"
    i=$((i + 1))
done
refused=(archive/station1/notes.txt)
echo "not a recording" > "$work/jobs/archive/station1/notes.txt"
if [ -f "$testdata/mseed/gaps.mseed" ]; then
    cp "$testdata/mseed/gaps.mseed" "$work/jobs/archive/station2/gaps.bin"
    refused+=(archive/station2/gaps.bin)
fi

# munge with a key and socket of its own, then the cluster: this machine is its only node.
dd if=/dev/urandom of="$work/run/munge.key" bs=1024 count=1 status=none
chmod 400 "$work/run/munge.key"
munged --force --socket="$work/run/munge.socket" --key-file="$work/run/munge.key" \
    --pid-file="$work/run/munged.pid" --log-file="$work/run/munged.log" \
    --seed-file="$work/run/munged.seed"
node=$(hostname -s)
export SLURM_CONF=$work/slurm.conf
cat > "$SLURM_CONF" <<CONF
ClusterName=vibrexcheck
SlurmctldHost=$node(127.0.0.1)
SlurmctldPort=16817
SlurmdPort=16818
SlurmUser=root
AuthType=auth/munge
AuthInfo=socket=$work/run/munge.socket
CredType=cred/munge
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SlurmdParameters=config_overrides
ReturnToService=2
StateSaveLocation=$work/state
SlurmdSpoolDir=$work/spool
SlurmctldPidFile=$work/run/slurmctld.pid
SlurmdPidFile=$work/run/slurmd.pid
SlurmctldLogFile=$work/run/slurmctld.log
SlurmdLogFile=$work/run/slurmd.log
NodeName=$node NodeAddr=127.0.0.1 CPUs=8 State=UNKNOWN
PartitionName=check Nodes=$node Default=YES MaxTime=INFINITE State=UP
CONF
fail() {
    echo "slurm-check: $*" >&2
    tail -n 5 "$work"/run/*.log >&2 || true
    exit 1
}
slurmctld -f "$SLURM_CONF"
slurmd -f "$SLURM_CONF"
for _ in $(seq 60); do
    [ "$(sinfo -h -n "$node" -o %T 2>/dev/null)" = idle ] && break
    sleep 0.5
done
[ "$(sinfo -h -n "$node" -o %T)" = idle ] || fail "the node did not come up"

# Exactly the documented submission, with 2 slices; the job finds vibrex on the PATH and the
# node's TMPDIR in its environment, as on a cluster.
cd "$work/jobs"
find archive -type f ! -name '*.mseed' ! -name '.*' > files.txt
split -n l/2 -d -a 3 files.txt slice.
PATH="$work/usr/bin:$PATH" TMPDIR="$work/node-tmp" \
    timeout 100 sbatch --quiet --wait --array=0-1 "$repo/docs/convert.sbatch" ||
    true # a slice with a refused file ends FAILED, as it should; the checks below judge
[ -z "$(squeue -h)" ] || fail "jobs still queued after 100 s"

while read -r input; do
    output=${input%.*}.mseed
    if printf '%s\n' "${refused[@]}" | grep -qxF "$input"; then
        [ ! -e "$output" ] || fail "$output written from a refused file"
        awk -F'\t' -v file="$input" '$7 == 4 && index($9, file)' slice.*.log | grep -q . ||
            fail "no joblog names $input with exit code 4"
    else
        [ -f "$output" ] || fail "$output is missing"
        "$work/usr/bin/vibrex" "INFO,$output" | grep -q '^Format: miniSeed$' ||
            fail "$output does not read back as miniSEED"
    fi
done < files.txt
[ -d "$work/node-tmp/vibrex-0" ] || fail "the work folders were not in the node's TMPDIR"
[ "$(ls -A "$work/usr/bin")" = vibrex ] || fail "something was left beside the installed program"
echo "Slurm check: $(wc -l < files.txt) files in 2 array tasks, ${#refused[@]} refused and logged;" \
    "$((SECONDS - started)) s"
