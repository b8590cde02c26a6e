#!/bin/bash
# check_heap.sh BUILD: runs the tests with the heap checks of Wine; any heap report fails the run.
set -u
build=$(cd "$1" && pwd)
wine=$(cd "$(dirname "$0")/../cmake" && pwd)/wine-env.sh
prefix=$build/wineprefix-heap
"$wine" up "$prefix" || exit 1
trap '"$wine" down "$prefix"' EXIT
options='HKLM\Software\Microsoft\Windows NT\CurrentVersion\Image File Execution Options'
failed=0 ran=0
for program in "$build"/bin/test_*.exe; do
    name=$(basename "$program")
    # Programs whose threads allocate at once: a look at the whole heap would find blocks in the middle of a change.
    threads=()
    case $name in test_net.exe | test_work.exe | test_sync.exe | test_log.exe) threads=(threads) ;; esac
    "$wine" run "$prefix" "$build/bin/set_heap_flags.exe" "$name" "${threads[@]}" || { echo "heap: cannot set the flags of $name" >&2; exit 1; }
    log=$build/heap-$name.log
    # Naming a stack reads all symbols, which takes minutes there; test_errors names some of its own.
    stack=()
    [ "$name" = test_docs.exe ] && stack=(XC_DISABLE_STACK=1)
    # A damaged heap may leave the program waiting for its own lock: the time limit ends it.
    (cd "$build/bin" && env "${stack[@]}" XC_HEAP_CHECK=1 XC_NO_RESERVE=1 XC_MATCH_PAIRS=20 WINEDEBUG=err+heap,warn+heap timeout -k 5 "${XC_HEAP_SECONDS:-600}" "$wine" run "$prefix" "$program" --gtest_brief=1) >"$log" 2>&1
    code=$?
    ran=$((ran + 1))
    if [ $code -ne 0 ] || grep -q ':heap:' "$log"; then
        echo "heap: $name failed (exit $code)" >&2
        grep -E ':heap:|FAILED|Failure' "$log" | head -20 >&2
        failed=$((failed + 1))
    fi
done
[ "$ran" -gt 0 ] || { echo "heap: no test program found" >&2; exit 1; }
echo "heap checks: $((ran - failed)) passed, $failed failed"
[ $failed -eq 0 ]
