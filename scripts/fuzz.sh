#!/bin/bash
# fuzz.sh BUILD: runs every fuzz target for XC_FUZZ_SECONDS (default 20) on its kept corpus, as many at once as there
# are processors. A finding fails the run and stays in BUILD/findings. XC_FUZZ_SEED makes a run repeatable: the same seed
# tries the same inputs in the same order, so that a failure belongs to the change and not to the day.
set -u
build=$(cd "$1" && pwd)
cd "$(dirname "$0")/.." || exit 1
seconds=${XC_FUZZ_SECONDS:-20}
seed=${XC_FUZZ_SEED:-0} # 0: another one each time
mkdir -p "$build/findings"

# one PROGRAM: a target's run; prints its line, and a finding's output.
one() {
    local program=$1 name grown seeds=()
    name=$(basename "$program" | sed 's/^fuzz_//')
    grown=$build/corpus/$name
    [ "$seed" = 0 ] || rm -rf "$grown"
    mkdir -p "$grown"
    [ -d "tests/fuzz/corpus/$name" ] && seeds=("tests/fuzz/corpus/$name")
    if ! "$program" -max_total_time="$seconds" -seed="$seed" -timeout=10 -rss_limit_mb=3000 -print_final_stats=1 \
        -artifact_prefix="$build/findings/$name-" "$grown" "${seeds[@]}" >"$build/$name.log" 2>&1; then
        echo "fuzz: $name found something; see $build/findings" >&2
        tail -n 40 "$build/$name.log" >&2
        : >"$build/$name.failed"
        return
    fi
    echo "fuzz: $name: $(awk '/number_of_executed_units/ {print $2}' "$build/$name.log") inputs"
}

programs=("$build"/bin/fuzz_*)
[ -x "${programs[0]}" ] || { echo "fuzz: no target found" >&2; exit 1; }
export -f one
export build seconds seed
rm -f "$build"/*.failed
printf '%s\0' "${programs[@]}" | xargs -0 -P "$(nproc)" -I PROGRAM bash -c 'one PROGRAM'
failed=$(find "$build" -maxdepth 1 -name '*.failed' | wc -l)
echo "fuzz targets: $((${#programs[@]} - failed)) passed, $failed failed"
[ $failed -eq 0 ]
