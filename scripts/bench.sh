#!/bin/bash
# bench.sh BUILD: runs the benchmark suite (XC_BENCH_FILTER selects rows) and keeps the raw results as JSON.
set -u
build=$(cd "$1" && pwd)
wine=$(cd "$(dirname "$0")/../cmake" && pwd)/wine-env.sh
"$wine" up "$build/wineprefix" || exit 1
trap '"$wine" down "$build/wineprefix"' EXIT
cd "$build/bin" || exit 1
"$wine" run "$build/wineprefix" "$build/bin/xc_bench.exe" --benchmark_filter="${XC_BENCH_FILTER:-.}" \
    --benchmark_min_time="${XC_BENCH_TIME:-0.2}" --benchmark_counters_tabular=true \
    --benchmark_out=results.json --benchmark_out_format=json 2>/dev/null | tr -d '\r'
exit "${PIPESTATUS[0]}"
