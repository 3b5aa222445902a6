#!/usr/bin/env bash
# Runs the benchmarks and the soak and prints one table: each figure with its target.
#   bench/run.sh <folder of sim_bench, sync_bench and soak>
# Exit status: 0 when every benchmark ran (a missed target is marked MISSED), 1 when a benchmark
# failed or its result is missing, 2 for a wrong call.
set -euo pipefail

if [[ $# -ne 1 ]]; then
    echo "usage: $0 <bindir>" >&2
    exit 2
fi
bindir=$1
for program in sim_bench sync_bench soak; do
    if [[ ! -x "$bindir/$program" ]]; then
        echo "$0: $bindir/$program not found; build it first" >&2
        exit 2
    fi
done

sim_json=$(mktemp "${TMPDIR:-/tmp}/sim_bench.XXXXXX")
sync_dir=$(mktemp -d "${TMPDIR:-/tmp}/sync_bench.XXXXXX")
soak_json=$(mktemp "${TMPDIR:-/tmp}/soak.XXXXXX")
trap 'rm -rf "$sim_json" "$sync_dir" "$soak_json"' EXIT

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
# 10,000 connect -> scan -> disconnect cycles (about 30 ms each), the process's figures every
# 1,000; only the soak's own lines are shown.
"$bindir/soak" --cycles 10000 --every 1000 --out "$soak_json" | grep -E '^soak' || true

SOAK_JSON="$soak_json" python3 - "$sim_json" "$sync_dir"/*.json <<'PY'
import json
import os
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
# Growth of the soak's figures per 1,000 cycles, from the sample after the warm-up (the first
# 1,000 cycles) to the last: (label, sample field, scale, comparison, target).
SOAK_WARM_UP = 1000
SOAK_GROWTH = [
    ("soak: resident memory growth per 1,000 cycles after the first 1,000 (KiB)",
     "resident_bytes", 1 / 1024, "<", 64),
    ("soak: thread growth per 1,000 cycles after the first 1,000",
     "threads", 1, "<=", 0),
    ("soak: descriptor growth per 1,000 cycles after the first 1,000",
     "descriptors", 1, "<=", 0),
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

try:
    with open(os.environ["SOAK_JSON"]) as f:
        soak = json.load(f)
except (OSError, ValueError) as error:
    soak = None
    print(f"soak: no result ({error})")
    status = 1
if soak is not None:
    samples = soak.get("samples", [])
    warm = next((s for s in samples if s["cycle"] >= SOAK_WARM_UP), None)
    last = samples[-1] if samples else None
    if soak.get("failures", 0) != 0:
        print(f"soak: {soak['failures']} of {soak.get('cycles', 0)} cycles failed")
        status = 1
    if warm is None or last is None or last["cycle"] <= warm["cycle"]:
        print(f"soak: fewer than {SOAK_WARM_UP} cycles after the warm-up")
        status = 1
    else:
        thousands = (last["cycle"] - warm["cycle"]) / 1000
        for label, field, scale, comparison, target in SOAK_GROWTH:
            if warm[field] < 0 or last[field] < 0:
                print(f"{label} = n/a on this platform")
                continue
            value = (last[field] - warm[field]) * scale / thousands
            verdict = "" if meets(value, comparison, target) else ", MISSED"
            print(f"{label} = {value:.4f} (target {comparison} {target:g}{verdict})")
sys.exit(status)
PY
