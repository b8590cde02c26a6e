#!/bin/bash
# bench.sh BUILD: runs the benchmark suite (XC_BENCH_FILTER selects rows, XC_BENCH_TIME is the seconds of each,
# XC_BENCH_REPETITIONS how often each is measured) and keeps the raw results in BUILD/results.json.
set -u
build=$(cd "$1" && pwd)
wine=$(cd "$(dirname "$0")/../cmake" && pwd)/wine-env.sh
"$wine" up "$build/wineprefix" || exit 1
trap '"$wine" down "$build/wineprefix"' EXIT
cd "$build/bin" || exit 1
"$wine" run "$build/wineprefix" "$build/bin/xc_bench.exe" --benchmark_filter="${XC_BENCH_FILTER:-.}" \
    --benchmark_min_time="${XC_BENCH_TIME:-0.2}" --benchmark_counters_tabular=true \
    --benchmark_repetitions="${XC_BENCH_REPETITIONS:-1}" \
    --benchmark_out=../results.json --benchmark_out_format=json 2>/dev/null | tr -d '\r'
exit "${PIPESTATUS[0]}"
