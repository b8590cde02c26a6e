#!/bin/bash
# build.sh PRESET [options of cmake --build]: configures once, builds quietly; prints the log when something fails.
set -u
preset=$1
shift
cd "$(dirname "$0")/.." || exit 1
mkdir -p "build/$preset"
log=build/$preset/build.log
extra=()
[ "$preset" = bench ] && extra=("-DXC_BENCHMARK_SOURCE=$PWD/build/benchmark/source")
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
if [ ! -f "build/$preset/build.ninja" ] && ! cmake --preset "$preset" "${extra[@]}" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "build/$preset/build.ninja"
    exit 1
fi
if ! cmake --build "build/$preset" "$@" >"$log" 2>&1; then
    grep -vE '^\[[0-9]+/[0-9]+\] (Building|Linking|Generating)' "$log" >&2
    exit 1
fi
