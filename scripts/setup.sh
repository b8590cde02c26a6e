#!/bin/bash
# Installs the tools that this machine lacks. Quiet and quick when nothing is missing.
set -u
# setup.sh [clang] [fuzz] [docs] [coverage] [debugger] [bench]: the groups that a target needs beside the common tools.
declare -A needs=(
    [x86_64-w64-mingw32-g++-posix]=g++-mingw-w64-x86-64-posix
    [/usr/lib/wine/wine64]=wine64
    [wineserver]=wine
    [cmake]=cmake
    [ninja]=ninja-build
    [g++]=g++
    [clang-format]=clang-format
    [python3]=python3
    [ccache]=ccache
    [pkg-config]=pkgconf
    [/usr/src/googletest/googletest/src/gtest-all.cc]=googletest
    [/usr/lib/x86_64-linux-gnu/libgnutls.so.30]=libgnutls30
)
for group in "$@"; do
    case $group in
    clang) needs[clang++]=clang needs[clang-tidy]=clang-tidy ;;
    docs) needs[doxygen]=doxygen ;;
    coverage) needs[gcovr]=gcovr ;;
    debugger) needs[gdb]=gdb ;;
    bench)
        needs[/usr/include/benchmark/benchmark.h]=libbenchmark-dev needs[/usr/include/pcre2.h]=libpcre2-dev
        needs[/usr/include/re2/re2.h]=libre2-dev needs[/usr/include/hs/hs.h]=libhyperscan-dev
        needs[/usr/include/fmt/format.h]=libfmt-dev needs[/usr/include/spdlog/spdlog.h]=libspdlog-dev
        needs[/usr/include/unicode/ustring.h]=libicu-dev
        ;;
    fuzz) needs[clang++]=clang needs[/usr/lib/clang/14/lib/linux/libclang_rt.fuzzer-x86_64.a]=libclang-rt-14-dev ;;
    esac
done
missing=()
for tool in "${!needs[@]}"; do
    case $tool in
    /*) [ -e "$tool" ] || missing+=("${needs[$tool]}") ;;
    *) command -v "$tool" >/dev/null || missing+=("${needs[$tool]}") ;;
    esac
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "setup: missing ${missing[*]}; install them as root (no sudo here)" >&2; exit 1; }
    as_root=sudo
fi
command -v apt-get >/dev/null || { echo "setup: missing ${missing[*]}; this machine has no apt-get, install them by hand" >&2; exit 1; }
echo "setup: installing ${missing[*]}"
log=$(mktemp)
export DEBIAN_FRONTEND=noninteractive
if ! { $as_root apt-get -qq update && $as_root apt-get -qq -y --no-install-recommends install "${missing[@]}"; } >"$log" 2>&1; then
    tail -n 20 "$log" >&2
    echo "setup: could not install ${missing[*]} (log above)" >&2
    exit 1
fi
rm -f "$log"
