#!/bin/bash
# check.sh NAMES...: runs these targets of the Makefile one after another, goes on after a failure, and tells at its end
# which failed. What each printed stays in build/check/NAME.log. XC_PASSED and XC_FAILED name targets whose result is
# known already: they are counted, not run again.
set -u
cd "$(dirname "$0")/.." || exit 1
mkdir -p build/check
passed=0 failed=()
for name in "$@"; do
    case " ${XC_PASSED:-} " in *" $name "*) passed=$((passed + 1)); continue ;; esac
    case " ${XC_FAILED:-} " in *" $name "*) failed+=("$name"); continue ;; esac
    log=build/check/$name.log
    begin=$SECONDS
    if "${MAKE:-make}" --no-print-directory "$name" >"$log" 2>&1; then
        passed=$((passed + 1))
        echo "check $name: passed in $((SECONDS - begin)) s"
    else
        failed+=("$name")
        echo "check $name: FAILED after $((SECONDS - begin)) s; the end of $log:" >&2
        tail -n 60 "$log" >&2
    fi
done
[ ${#failed[@]} -eq 0 ] || echo "failed: ${failed[*]}" >&2
echo "$passed passed, ${#failed[@]} failed"
[ ${#failed[@]} -eq 0 ] && [ "$passed" -gt 0 ]
