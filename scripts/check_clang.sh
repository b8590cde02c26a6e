#!/bin/bash
# check_clang.sh syntax|tidy [alone]: a second compiler's opinion on the library, with the same target. It reads each
# room's files together, as the build does, which takes a tenth of the time; with "alone" each file on its own.
set -u
cd "$(dirname "$0")/.." || exit 1
gcc_dir=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")
headers=(-nostdinc++ -isystem "$gcc_dir/include/c++" -isystem "$gcc_dir/include/c++/x86_64-w64-mingw32" -isystem "$gcc_dir/include/c++/backward")
flags=(--target=x86_64-w64-mingw32 "${headers[@]}" -std=c++20 -Iinclude -Isrc -Ibuild/win/src/errors -Ibuild/win/src/win32
    -DXC_BUILDING_LIBRARY -DUNICODE -D_UNICODE -DWIN32_LEAN_AND_MEAN -DNOMINMAX
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wundef -Wnon-virtual-dtor
    -Woverloaded-virtual -Wimplicit-fallthrough -Wextra-semi -Wdouble-promotion -Wno-unknown-warning-option -Werror)
mapfile -t all < <(git ls-files --cached --others --exclude-standard 'src/*.cpp')
files=("${all[@]}")
tidy=(clang-tidy --quiet FILE --)
if [ "${2:-}" != alone ]; then
    rooms=build/win/src/CMakeFiles/XelbrinCore.dir/Unity
    files=("$rooms"/*.cxx)
    grouped=$(cat "${files[@]}")
    for file in "${all[@]}"; do # no file may be missing in a room
        [ -e "$file" ] || continue
        grep -qF "/$file\"" <<<"$grouped" || files+=("$file")
    done
    # A room's file includes sources; that is its purpose.
    tidy=(clang-tidy --quiet --checks=-bugprone-suspicious-include FILE --)
fi
# XC_CLANG_FILES narrows the check to some files.
[ -n "${XC_CLANG_FILES:-}" ] && read -ra files <<<"$XC_CLANG_FILES"
if [ "$1" = tidy ]; then
    command=("${tidy[@]}" "${flags[@]}")
else
    command=(clang++ "${flags[@]}" -fsyntax-only FILE)
fi
printf '%s\0' "${files[@]}" | xargs -0 -P "$(nproc)" -I FILE "${command[@]}" 2> >(grep -vE '^[0-9]+ warnings? generated|^Suppressed' >&2)
code=$?
[ $code -eq 0 ] && echo "clang ($1): ${#files[@]} units of ${#all[@]} files without a warning"
exit $code
