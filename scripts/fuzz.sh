#!/bin/bash
# fuzz.sh BUILD: runs every fuzz target for XC_FUZZ_SECONDS (default 20) on its kept corpus; a finding fails the run and
# stays in BUILD/findings.
set -u
build=$(cd "$1" && pwd)
cd "$(dirname "$0")/.." || exit 1
seconds=${XC_FUZZ_SECONDS:-20}
mkdir -p "$build/findings"
failed=0 ran=0
for program in "$build"/bin/fuzz_*; do
    [ -x "$program" ] || continue
    name=$(basename "$program" | sed 's/^fuzz_//')
    grown=$build/corpus/$name
    mkdir -p "$grown"
    seeds=()
    [ -d "tests/fuzz/corpus/$name" ] && seeds=("tests/fuzz/corpus/$name")
    if ! "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=3000 -print_final_stats=1 \
        -artifact_prefix="$build/findings/$name-" "$grown" "${seeds[@]}" >"$build/$name.log" 2>&1; then
        echo "fuzz: $name found something; see $build/findings" >&2
        tail -n 40 "$build/$name.log" >&2
        failed=$((failed + 1))
    fi
    ran=$((ran + 1))
    echo "fuzz: $name: $(awk '/number_of_executed_units/ {print $2}' "$build/$name.log") inputs"
done
[ "$ran" -gt 0 ] || { echo "fuzz: no target found" >&2; exit 1; }
echo "fuzz targets: $((ran - failed)) passed, $failed failed"
[ $failed -eq 0 ]
