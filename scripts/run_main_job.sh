#!/bin/bash
# run_main_job.sh BUILD: runs the host program of the examples on a real log of this machine.
# XC_INPUT names another log; where there is none at all, the short one beside the example is read.
set -u
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
wine=$here/../cmake/wine-env.sh
for input in /var/log/dpkg.log /var/log/dpkg.log.1 "$here/../examples/record_host/sample.log"; do
    [ -s "$input" ] && break
done
input=${XC_INPUT:-$input}
windows_path() { printf 'Z:%s' "$(realpath "$1" | tr / '\\')"; }

"$wine" up "$build/wineprefix" || exit 1
# Into a file: a service that the program starts would keep a pipe open long after the program has ended.
said=$(mktemp)
"$wine" run "$build/wineprefix" "$build/bin/record_host.exe" "/osxpath:$(windows_path "$build/bin/record_host")" \
    "/input:$(windows_path "$input")" >"$said"
code=$?
tr -d '\r' <"$said"
rm -f "$said"
"$wine" down "$build/wineprefix"
exit "$code"
