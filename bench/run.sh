#!/usr/bin/env bash
# Runs the benchmarks and prints one line per ratio with its target.
#   bench/run.sh <folder of sim_bench>
# Exit status: 0 when every benchmark ran (a missed target is marked MISSED), 1 when a benchmark
# failed or its result is missing, 2 for a wrong call.
set -euo pipefail

if [[ $# -ne 1 ]]; then
    echo "usage: $0 <bindir>" >&2
    exit 2
fi
bindir=$1
bench="$bindir/sim_bench"
if [[ ! -x "$bench" ]]; then
    echo "$0: $bench not found; build it first" >&2
    exit 2
fi

json=$(mktemp "${TMPDIR:-/tmp}/sim_bench.XXXXXX")
trap 'rm -f "$json"' EXIT

# The readable table goes to the terminal, the numbers to the JSON file.
"$bench" --benchmark_min_time=1 --benchmark_out="$json" --benchmark_out_format=json

python3 - "$json" <<'PY'
import json
import sys

# (label, measured benchmark, reference benchmark, target ratio)
RATIOS = [
    ("virtual scanner: time per delivered frame / one memcpy of the frame",
     "BM_FreeRunSnapshot1280x1024", "BM_Memcpy1280x1024", 2.0),
]
TO_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}

with open(sys.argv[1]) as f:
    report = json.load(f)

runs = {}
for run in report.get("benchmarks", []):
    if run.get("run_type", "iteration") == "iteration":
        runs.setdefault(run["run_name"] if "run_name" in run else run["name"], run)

status = 0
print()
for label, measured, reference, target in RATIOS:
    times = []
    for name in (measured, reference):
        run = next((r for key, r in runs.items() if key.split("/")[0] == name), None)
        if run is None:
            print(f"{label}: {name} did not run")
            status = 1
            break
        if run.get("error_occurred"):
            print(f"{label}: {name} failed: {run.get('error_message', 'unknown error')}")
            status = 1
            break
        times.append(run["real_time"] * TO_NS[run.get("time_unit", "ns")])
    if len(times) != 2:
        continue
    ratio = times[0] / times[1]
    verdict = "" if ratio <= target else ", MISSED"
    print(f"{label} = {ratio:.2f} (target <= {target:g}{verdict})")
sys.exit(status)
PY
