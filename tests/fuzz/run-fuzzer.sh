#!/usr/bin/env bash
# Runs the libFuzzer target zeta_api_fuzzer on the seed corpus.
#
#   tests/fuzz/run-fuzzer.sh smoke <fuzzer>            60 s, seed 1, on a scratch copy of the seed
#                                                      corpus (the tree stays clean); the check of
#                                                      make test
#   tests/fuzz/run-fuzzer.sh long <fuzzer> [seconds]   600 s by default; new inputs are kept in
#                                                      build/fuzz/corpus for the next run
#
# Findings (crash-*, leak-*, timeout-*, oom-* files) go to build/fuzz/findings/. Exit status: 0 when
# the run ended without a finding, 1 on a finding (the end of the log is printed), 2 for a wrong
# call.
set -euo pipefail

if [[ $# -lt 2 || ( $1 != smoke && $1 != long ) ]]; then
    echo "usage: $0 smoke|long <fuzzer> [seconds]" >&2
    exit 2
fi
kind=$1
fuzzer=$(realpath "$2")
if [[ ! -x "$fuzzer" ]]; then
    echo "$0: $2 not found; build it first (cmake --build --preset fuzz)" >&2
    exit 2
fi
root=$(cd "$(dirname "$0")/../.." && pwd)
seeds="$root/tests/fuzz/corpus"
findings="$root/build/fuzz/findings"
mkdir -p "$findings"

# Every input's program runs within a minute (its scans, snaps and the one firmware transfer are
# bounded, see ApiProgram.h): a longer one is a hang and reported as a finding. The library's
# console lines are dropped (-close_fd_mask=1); libFuzzer reports on standard error.
options=(-timeout=60 -close_fd_mask=1 -print_final_stats=1 "-artifact_prefix=$findings/")
export TZ=UTC
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:strict_string_checks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

scratch=$(mktemp -d "${TMPDIR:-/tmp}/zeta-fuzz.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
log="$root/build/fuzz/$kind.log"

if [[ $kind == smoke ]]; then
    mkdir "$scratch/corpus"
    cp "$seeds"/* "$scratch/corpus/"
    corpora=("$scratch/corpus")
    options+=(-seed=1 -max_total_time=60)
    limit=300
else
    seconds=${3:-600}
    mkdir -p "$root/build/fuzz/corpus"
    # New inputs go into the first folder; the seed folder is only read.
    corpora=("$root/build/fuzz/corpus" "$seeds")
    options+=("-max_total_time=$seconds")
    limit=$((seconds + 300))
fi

echo "fuzzing ($kind): $fuzzer ${options[*]} ${corpora[*]}"
echo "log: $log"
status=0
(cd "$scratch" && timeout "$limit" "$fuzzer" "${options[@]}" "${corpora[@]}") >"$log" 2>&1 ||
    status=$?
grep -E '^(stat::|Done)' "$log" || true
if [[ $status -ne 0 ]]; then
    echo "fuzzing ($kind) FAILED with status $status; end of $log:" >&2
    tail -n 60 "$log" >&2
    exit 1
fi
echo "fuzzing ($kind): no finding"
