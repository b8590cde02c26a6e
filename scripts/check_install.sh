#!/bin/bash
# check_install.sh BUILD: installs into a stage folder, then configures, builds and runs projects outside against it.
set -u
build=$1
root=$(cd "$(dirname "$0")/.." && pwd)
stage=$build/stage log=$build/outside.log

# build_outside SOURCE FOLDER: a project of its own that finds the installed package.
build_outside() {
    rm -rf "$2"
    cmake -G Ninja -S "$1" -B "$2" -DCMAKE_PREFIX_PATH="$stage" \
        -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" && cmake --build "$2"
}

# says WHAT EXPECTED PROGRAM ARGUMENTS...: the program must end well and print exactly this.
says() {
    local what=$1 expected=$2 answer
    shift 2
    answer=$("$root/cmake/wine-env.sh" run "$build/wineprefix" "$@"; echo "exit $?")
    [ "${answer//$'\r'/}" = "$expected"$'\nexit 0' ] || { printf 'install: %s said:\n%s\n' "$what" "$answer" >&2; exit 1; }
}

rm -rf "$stage"
{
    cmake --install "$build" --prefix "$stage" && build_outside "$root/tests/consumer" "$build/consumer" &&
        build_outside "$stage/share/XelbrinCore/templates/plug-in" "$build/template"
} >"$log" 2>&1 || { cat "$log" >&2; exit 1; }

cp "$stage"/bin/*.dll "$build/consumer/"
says 'the outside program' 'outside: text 1.0' "$build/consumer/consumer.exe"

cd "$build/template" || exit 1
says 'the host of the template' 'Retrieving plug-ins from '"Z:$(pwd | tr / '\\')"'\plug-ins
>>>> Initializing <Greeter>... Done.
RUN> Running <Greeter>...
Hello, Ada!
Exiting application...
>>>> Unloading <Greeter>...' "$build/template/host.exe" '/osxpath:plug-ins' '/greet:Ada'
