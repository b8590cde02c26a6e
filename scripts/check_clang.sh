#!/bin/bash
# check_clang.sh syntax|tidy: a second compiler's opinion on every file of the library, with the same target.
set -u
cd "$(dirname "$0")/.." || exit 1
gcc_dir=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")
headers=(-nostdinc++ -isystem "$gcc_dir/include/c++" -isystem "$gcc_dir/include/c++/x86_64-w64-mingw32" -isystem "$gcc_dir/include/c++/backward")
flags=(--target=x86_64-w64-mingw32 "${headers[@]}" -std=c++20 -Iinclude -Isrc -Ibuild/win/src/errors -Ibuild/win/src/win32
    -DXC_BUILDING_LIBRARY -DUNICODE -D_UNICODE -DWIN32_LEAN_AND_MEAN -DNOMINMAX
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wundef -Wnon-virtual-dtor
    -Woverloaded-virtual -Wimplicit-fallthrough -Wextra-semi -Wdouble-promotion -Wno-unknown-warning-option -Werror)
mapfile -t files < <(git ls-files --cached --others --exclude-standard 'src/*.cpp')
if [ "$1" = tidy ]; then
    command=(clang-tidy --quiet FILE -- "${flags[@]}")
else
    command=(clang++ "${flags[@]}" -fsyntax-only FILE)
fi
# XC_CLANG_FILES narrows the check to some files.
[ -n "${XC_CLANG_FILES:-}" ] && read -ra files <<<"$XC_CLANG_FILES"
printf '%s\0' "${files[@]}" | xargs -0 -P "$(nproc)" -I FILE "${command[@]}" 2> >(grep -vE '^[0-9]+ warnings? generated|^Suppressed' >&2)
code=$?
[ $code -eq 0 ] && echo "clang ($1): ${#files[@]} files without a warning"
exit $code
