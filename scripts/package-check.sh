#!/usr/bin/env bash
# Builds the Debian package and checks it: lintian finds no error, its dependencies are the
# libraries the program links (Qt, the C++ runtime) and nothing the tests use, the manual page
# renders without warnings, and the program unpacked into a clean root runs and keeps its work
# folders under TMPDIR, writing nothing into HOME or beside itself, and opens its window. As root, apt-get also
# resolves the package's dependencies (without installing anything).
set -euo pipefail
cd "$(dirname "$0")/.."
fail() {
    echo "package-check: $*" >&2
    exit 1
}

log=$(cmake --build build --target package 2>&1) || fail "the package was not built: $log"
debs=(build/vibrex_*_amd64.deb)
[ ${#debs[@]} -eq 1 ] || fail "expected one package in build/, found: ${debs[*]}"
deb=${debs[0]}
depends=$(dpkg-deb -f "$deb" Depends)
echo "Package: $deb, $(du -k "$deb" | cut -f1) KiB; Depends: $depends"
case $depends in
*libqt6widgets6*) ;;
*) fail "the package does not depend on Qt's widgets" ;;
esac
if grep -qE 'gtest|mseed|clang|slurm|munge|lintian|parallel|segyio' <<<"$depends"; then
    fail "a test-only package became a dependency"
fi
lintian --fail-on error "$deb"

root=$(mktemp -d /tmp/vibrex-package.XXXXXX)
trap 'rm -rf "$root"' EXIT
dpkg-deb -x "$deb" "$root/root"
mkdir "$root/home" "$root/tmp"
warnings=$(MANWIDTH=80 man --warnings -l "$root/root/usr/share/man/man1/vibrex.1.gz" 2>&1 >/dev/null)
[ -z "$warnings" ] || fail "the manual page renders with warnings: $warnings"
for file in usr/share/applications/vibrex.desktop usr/share/icons/hicolor/scalable/apps/vibrex.svg \
    usr/share/doc/vibrex/README.md usr/share/doc/vibrex/copyright; do
    [ -f "$root/root/$file" ] || fail "$file is not in the package"
done

installed=$root/root/usr/bin/vibrex
env -i HOME="$root/home" TMPDIR="$root/tmp" PATH=/usr/bin:/bin \
    "$installed" "CONVERT,examples/quake.psn,$root/quake.mseed,miniSeed"
"$installed" "INFO,$root/quake.mseed" | grep -q '^Format: miniSeed$' || fail "no readable output"
[ -d "$root/tmp/vibrex-$(id -u)" ] || fail "the work folder was not under TMPDIR"
[ -z "$(ls -A "$root/home")" ] || fail "the installed program wrote into HOME: $(ls -A "$root/home")"
[ "$(ls -A "$root/root/usr/bin")" = vibrex ] || fail "the installed program wrote beside itself"
# Without arguments the installed program loads its window from libexec/vibrex: still open
# after two seconds means it found the library and runs (a missing one exits at once).
status=0
env -i HOME="$root/home" TMPDIR="$root/tmp" PATH=/usr/bin:/bin QT_QPA_PLATFORM=offscreen \
    timeout 2 "$installed" 2>/dev/null || status=$?
[ $status -eq 124 ] || fail "the installed program's window did not open (exit $status)"

if [ "$(id -u)" -eq 0 ]; then
    apt-get install --simulate -qq "./$deb" >/dev/null || fail "apt-get cannot install $deb"
fi
echo "Package check passed."
