#!/bin/bash
# coverage.sh BUILD: runs the tests of an instrumented build and writes docs/coverage.md from what they reached.
set -u
cd "$(dirname "$0")/.." || exit 1
build=$1
# Counters of earlier runs would count again.
find "$build" -name '*.gcda' -delete
XC_FORCED_ENDS=$(realpath "$build")/forced # cmake/CoverageCounters.cpp writes there
export XC_FORCED_ENDS
rm -rf "$XC_FORCED_ENDS"
mkdir "$XC_FORCED_ENDS"
# One test after the other: programs of one library add to the same files of counters.
# What repeats the same for minutes without optimisation is shortened or left out: it reaches nothing more. The image of
# an instrumented build is another one, so its list and its installation are not compared.
# Counters are written at the very end, when the system has ended the other threads of a process. Wine gives out no
# further file where one of them was ended while it opened one, and the process aborts: rare, and not the library's.
XC_MATCH_PAIRS=20 GTEST_FILTER='-HostLife.AThousand*:ModulePaths.FoldersWith*' ctest --test-dir "$build" --output-on-failure --no-tests=error -j1 \
    --repeat until-pass:3 \
    -E '^(library_image|install_and_consume)$' >"$build/coverage-tests.log" 2>&1 ||
    { tail -n 30 "$build/coverage-tests.log" >&2; exit 1; }
# What processes reached that ended themselves by force is added up, and then to the rest. Half a set is left out.
add_forced_ends() {
    local sum=$XC_FORCED_ENDS/rest whole
    mkdir "$sum" && (cd "$build" && find src tests -name '*.gcda' -exec cp --parents -t "$sum" {} +) || return 1
    for whole in "$XC_FORCED_ENDS"/*/whole; do
        (cd "$sum" && find . -type d -exec mkdir -p "$sum.next/{}" \;) # the tool makes no folders
        x86_64-w64-mingw32-gcov-tool-posix merge -o "$sum.next" "$sum" "${whole%/whole}${XC_FORCED_ENDS%/forced}" &&
            rm -r "$sum" && mv "$sum.next" "$sum" || return 1
    done
    cp -r "$sum/." "$build"
}
add_forced_ends >"$build/gcov-tool.log" 2>&1 || { tail -n 5 "$build/gcov-tool.log" >&2; exit 1; }
gcovr --root . --filter 'src/' --filter 'include/' --exclude-throw-branches --exclude-unreachable-branches \
    --gcov-executable x86_64-w64-mingw32-gcov-posix --json "$build/coverage.json" "$build/src" "$build/tests" >"$build/gcovr.log" 2>&1 ||
    { tail -n 20 "$build/gcovr.log" >&2; exit 1; }
exec python3 scripts/coverage_page.py "$build/coverage.json"
