#!/usr/bin/env bash
# Runs the benchmarks and prints one table: each figure with its target.
#   bench/run.sh <folder of sim_bench and sync_bench>
# Exit status: 0 when every benchmark ran (a missed target is marked MISSED), 1 when a benchmark
# failed or its result is missing, 2 for a wrong call.
set -euo pipefail

if [[ $# -ne 1 ]]; then
    echo "usage: $0 <bindir>" >&2
    exit 2
fi
bindir=$1
for program in sim_bench sync_bench; do
    if [[ ! -x "$bindir/$program" ]]; then
        echo "$0: $bindir/$program not found; build it first" >&2
        exit 2
    fi
done

sim_json=$(mktemp "${TMPDIR:-/tmp}/sim_bench.XXXXXX")
sync_dir=$(mktemp -d "${TMPDIR:-/tmp}/sync_bench.XXXXXX")
trap 'rm -rf "$sim_json" "$sync_dir"' EXIT

# The benchmarks' own tables go to the terminal, the numbers to the JSON files. The library's
# console lines (scan progress) are dropped.
"$bindir/sim_bench" --benchmark_min_time=1 --benchmark_out="$sim_json" \
    --benchmark_out_format=json
# Each library benchmark runs in a process of its own, so that one's memory and threads do not
# weigh on the next (the memory-growth figure especially).
for name in BM_PreviewDelivery BM_StripeScan BM_IdleStatus BM_ConnectScanCycles; do
    "$bindir/sync_bench" --benchmark_filter="^$name" --benchmark_out="$sync_dir/$name.json" \
        --benchmark_out_format=json --benchmark_counters_tabular=true |
        grep -E '^(-|Benchmark|BM_)' || true
done

python3 - "$sim_json" "$sync_dir"/*.json <<'PY'
import json
import sys

TO_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}

# Ratios of two benchmarks' times: (label, measured, reference, target; lower is better).
TIME_RATIOS = [
    ("virtual scanner: time per delivered frame / one memcpy of the frame",
     "BM_FreeRunSnapshot1280x1024", "BM_Memcpy1280x1024", "<=", 2.0),
]
# Figures reported as counters: (label, benchmark, counter, comparison, target).
COUNTERS = [
    ("preview: frames delivered to the display callback / frames produced",
     "BM_PreviewDelivery", "ratio", ">=", 0.999),
    ("preview: library time per delivered frame / one memcpy of the frame",
     "BM_PreviewDelivery", "cost", "<=", 0.1),
    ("stripe scan: wall time of Scan / (settle sleep + frames x period)",
     "BM_StripeScan", "ratio", "<=", 1.02),
    ("idle: CPU time of a connected handle with its status thread / wall time",
     "BM_IdleStatus", "ratio", "<", 0.01),
    ("1,000 connect -> scan -> disconnect cycles: resident memory growth (MiB)",
     "BM_ConnectScanCycles", "ratio", "<", 1.0),
]


def load(path):
    with open(path) as f:
        report = json.load(f)
    runs = {}
    for run in report.get("benchmarks", []):
        if run.get("run_type", "iteration") == "iteration":
            runs.setdefault(run.get("run_name", run["name"]).split("/")[0], run)
    return runs


def meets(value, comparison, target):
    return {"<=": value <= target, ">=": value >= target, "<": value < target}[comparison]


runs = {}
for path in sys.argv[1:]:
    runs.update(load(path))
status = 0
print()
for label, measured, reference, comparison, target in TIME_RATIOS:
    times = []
    for name in (measured, reference):
        run = runs.get(name)
        if run is None or run.get("error_occurred"):
            print(f"{label}: {name} did not run")
            status = 1
            break
        times.append(run["real_time"] * TO_NS[run.get("time_unit", "ns")])
    if len(times) == 2:
        ratio = times[0] / times[1]
        verdict = "" if meets(ratio, comparison, target) else ", MISSED"
        print(f"{label} = {ratio:.3f} (target {comparison} {target:g}{verdict})")
for label, name, counter, comparison, target in COUNTERS:
    run = runs.get(name)
    if run is None or run.get("error_occurred") or counter not in run:
        why = run.get("error_message", "no result") if run else "did not run"
        print(f"{label}: {name} failed: {why}")
        status = 1
        continue
    value = run[counter]
    verdict = "" if meets(value, comparison, target) else ", MISSED"
    print(f"{label} = {value:.4f} (target {comparison} {target:g}{verdict})")
sys.exit(status)
PY
