#!/usr/bin/env bash
# Runs a Windows program of the cross build under Wine: the CMake emulator of the windows preset
# (test discovery, ctest) and of make windows-test.
#
# The Wine prefix lives in the build tree (build/windows-deps/wine), made once by
# scripts/install-windows-deps.sh and kept, so a run starts no first-time set-up. Wine's own diagnostics are off; Mono and Gecko are not offered
# (no test needs them, and their install dialogs would wait for a click).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
export WINEPREFIX="${WINEPREFIX:-$root/build/windows-deps/wine}"
export WINEARCH=win64
export WINEDEBUG="${WINEDEBUG:--all}"
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"
exec wine "$@"
