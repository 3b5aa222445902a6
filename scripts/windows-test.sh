#!/usr/bin/env bash
# Runs the Windows build's test suite under Wine (make windows-test): every GoogleTest of every
# test program, through ctest and scripts/wine-run.sh, each program in a few Wine processes that
# run one shard of its tests each (cmake/ZetaTests.cmake).
#
# One wineserver, started before the first test and kept until the last one ended, serves every
# test process: without it each process would start (and wait for) a server of its own.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX="${WINEPREFIX:-$root/build/windows-deps/wine}"
export WINEARCH=win64
export WINEDEBUG="${WINEDEBUG:--all}"

# -p: persistent until -k. A server already running for the prefix is used as it is.
wineserver -p 2>/dev/null || true
trap 'wineserver -k 2>/dev/null || true' EXIT
# Wine's own service processes (services.exe, winedevice.exe...) start with the first program of
# a server and live as long as it. Started by a test, they would inherit that test's output pipes,
# and ctest would wait for the pipes to close until the test's time-out: they are started here,
# on /dev/null.
"$root/scripts/wine-run.sh" cmd /c exit < /dev/null > /dev/null 2>&1 || true
cd "$root"
ctest --preset windows "$@"
