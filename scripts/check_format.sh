#!/bin/bash
# check_format.sh [apply]: every C++ file of ours is formatted; `apply` rewrites those that are not.
set -u
cd "$(dirname "$0")/.." || exit 1
mapfile -t files < <(git ls-files --cached --others --exclude-standard '*.h' '*.cpp')
[ ${#files[@]} -eq 0 ] && exit 0
if [ "${1:-}" = apply ]; then
    exec clang-format -i "${files[@]}"
fi
if ! report=$(clang-format --dry-run --Werror "${files[@]}" 2>&1); then
    printf '%s\n' "$report" | grep -E 'error:' | cut -d: -f1 | sort | uniq -c >&2
    echo "format: the files above are not formatted; run 'make format'" >&2
    exit 1
fi
