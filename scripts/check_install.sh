#!/bin/bash
# check_install.sh BUILD: installs into a stage folder, then configures, builds and runs projects outside against it; the
# same program takes the library in as sources too (add_subdirectory, FetchContent) and by pkg-config.
set -u
build=$1
root=$(cd "$(dirname "$0")/.." && pwd)
stage=$build/stage log=$build/outside.log

# outside SOURCE FOLDER OPTIONS...: a project of its own, configured anew and built; only objects of the library stay.
outside() {
    local source=$1 folder=$2
    shift 2
    [ "$folder" = "$build/embedded" ] && rm -f "$folder/CMakeCache.txt" || rm -rf "$folder"
    cmake -G Ninja -S "$source" -B "$folder" "$@" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" &&
        cmake --build "$folder"
}

# by_pkg_config FOLDER: no CMake at all.
by_pkg_config() {
    mkdir -p "$1" && cp "$build"/consumer/consumer_messages/* "$1" &&
        x86_64-w64-mingw32-windres "-I$1" "$1/consumer.rc" "$1/messages.o" &&
        export PKG_CONFIG_LIBDIR=$stage/lib/pkgconfig &&
        x86_64-w64-mingw32-g++-posix "$root/tests/consumer/consumer.cpp" "$1/messages.o" -o "$1/consumer.exe" \
            $(pkg-config --cflags --libs xelbrincore) && cp "$stage"/bin/*.dll "$1"
}

# says WHAT EXPECTED PROGRAM ARGUMENTS...: the program must end well and print exactly this.
says() {
    local what=$1 expected=$2 answer
    shift 2
    answer=$("$root/cmake/wine-env.sh" run "$build/wineprefix" "$@"; echo "exit $?")
    [ "${answer//$'\r'/}" = "$expected"$'\nexit 0' ] || { printf 'install: %s said:\n%s\n' "$what" "$answer" >&2; exit 1; }
}

rm -rf "$stage"
# Both ways with sources share their objects. They are compiled without optimisation: what they prove is the way in.
sources=(-DXC_SOURCE="$root" -DCMAKE_UNITY_BUILD=ON -DCMAKE_CXX_FLAGS=-O0)
{
    cmake --install "$build" --prefix "$stage" &&
        outside "$root/tests/consumer" "$build/consumer" -DXC_WAY=package -DCMAKE_PREFIX_PATH="$stage" &&
        outside "$stage/share/XelbrinCore/templates/plug-in" "$build/template" -DCMAKE_PREFIX_PATH="$stage" &&
        by_pkg_config "$build/by-pkg-config" &&
        outside "$root/tests/consumer" "$build/embedded" -DXC_WAY=subdirectory "${sources[@]}" &&
        cp -r "$build/embedded/consumer.exe" "$build/embedded/by_subdirectory.exe" &&
        outside "$root/tests/consumer" "$build/embedded" -DXC_WAY=fetch "${sources[@]}"
} >"$log" 2>&1 || { cat "$log" >&2; exit 1; }

says 'the program with the package' 'outside: text 1.0 1' "$build/consumer/consumer.exe"
says 'the program by pkg-config' 'outside: text 1.0 1' "$build/by-pkg-config/consumer.exe"
says 'the program with a subdirectory' 'outside: text 1.0 1' "$build/embedded/by_subdirectory.exe"
says 'the program with fetched sources' 'outside: text 1.0 1' "$build/embedded/consumer.exe"
says 'a stack without debug data' 'no source file' "$build/consumer/consumer.exe" stack
cp "$stage"/bin/*.debug "$build/consumer/"
says 'a stack with debug data' 'source file' "$build/consumer/consumer.exe" stack
for page in README.md docs/architecture.md; do
    [ -f "$stage/share/doc/XelbrinCore/$page" ] || { echo "install: $page is missing" >&2; exit 1; }
done

cd "$build/template" || exit 1
says 'the host of the template' 'Retrieving plug-ins from '"Z:$(pwd | tr / '\\')"'\plug-ins
>>>> Initializing <Greeter>... Done.
RUN> Running <Greeter>...
Hello, Ada!
Exiting application...
>>>> Unloading <Greeter>...' "$build/template/host.exe" '/osxpath:plug-ins' '/greet:Ada'
"$root/cmake/wine-env.sh" run "$build/wineprefix" "$build/template/host.exe" '/osxpath:plug-ins' '/?' |
    grep -q '/greet:{name}' || { echo "install: the template's /? does not tell its option" >&2; exit 1; }
