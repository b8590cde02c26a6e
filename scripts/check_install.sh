#!/bin/bash
# check_install.sh BUILD: installs into a stage folder, then configures, builds and runs a project outside against it.
set -u
build=$1
root=$(cd "$(dirname "$0")/.." && pwd)
stage=$build/stage consumer=$build/consumer log=$build/consumer.log
rm -rf "$stage" "$consumer"
{
    cmake --install "$build" --prefix "$stage" &&
        cmake -G Ninja -S "$root/tests/consumer" -B "$consumer" -DCMAKE_PREFIX_PATH="$stage" \
            -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" &&
        cmake --build "$consumer"
} >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
cp "$stage"/bin/*.dll "$consumer/"
answer=$("$root/cmake/wine-env.sh" run "$build/wineprefix" "$consumer/consumer.exe" | tr -d '\r')
[ "$answer" = "outside: text 1.0" ] || { echo "install: the outside program said '$answer'" >&2; exit 1; }
