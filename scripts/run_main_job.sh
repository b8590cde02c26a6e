#!/bin/bash
# run_main_job.sh BUILD: runs the main example on a real text file of this machine.
set -u
build=$(cd "$1" && pwd)
wine=$(cd "$(dirname "$0")/../cmake" && pwd)/wine-env.sh
for input in "${XC_INPUT:-}" /var/log/dpkg.log /etc/services /etc/passwd; do
    [ -n "$input" ] && [ -s "$input" ] && break
done
"$wine" up "$build/wineprefix" || exit 1
"$wine" run "$build/wineprefix" "$build/bin/example_text_report.exe" "Z:$(printf %s "$input" | tr / '\\')" | tr -d '\r'
code=${PIPESTATUS[0]}
"$wine" down "$build/wineprefix"
exit "$code"
