#!/bin/bash
# check_image.sh DLL [renew]: the library's image is hardened and needs nothing beside the system and the compiler's
# runtime; its exports and its imports from the system are those of scripts/library_image.txt, and it has not grown by
# more than a tenth. "renew" writes that file (make image-list).
set -u
dump=$(x86_64-w64-mingw32-objdump -p "$1") || exit 1
list=$(dirname "$0")/library_image.txt
fail() { echo "image: $1" >&2; exit 1; }

# What the list holds, sorted: two changes to the interface meet in the same line only when they are the same.
describe() {
    local stripped
    stripped=$(mktemp) && x86_64-w64-mingw32-strip -o "$stripped" "$1" && echo "bytes $(stat -c %s "$stripped")"
    rm -f "$stripped"
    awk '/DLL Name:/ { dll = tolower($3) } /^The Export Tables/ { exit }
         dll !~ /^(|libstdc.*|libgcc.*|libwinpthread.*)$/ && NF == 3 && $2 ~ /^[0-9]+$/ { print "import " dll " " $3 }' <<<"$dump" | LC_ALL=C sort -u
    sed -n '/\[Ordinal\/Name Pointer\]/,/^$/p' <<<"$dump" | awk '/^\t\[/ { print $NF }' | x86_64-w64-mingw32-c++filt -n |
        sed 's/^/export /' | LC_ALL=C sort -u
}
if [ "${2:-}" = renew ]; then
    describe "$1" >"$list"
    exit
fi
for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
    grep -q "$flag" <<<"$dump" || fail "not linked with $flag"
done
# Not the library of windows: a process that has it hears no log-off and no shutdown at its console.
own='^(KERNEL32|msvcrt|ADVAPI32|ole32|OLEAUT32|bcrypt|DBGHELP|dbghelp|SHELL32|VERSION|WS2_32|libstdc\+\+-6|libgcc_s_seh-1|libwinpthread-1)\.dll$'
foreign=$(awk '/DLL Name:/ {print $3}' <<<"$dump" | grep -vE "$own")
[ -z "$foreign" ] || fail "needs $foreign"
x86_64-w64-mingw32-objdump -h "$1" | grep -q '\.rsrc' || fail "no resources"
exports=$(sed -n '/\[Ordinal\/Name Pointer\]/,/^$/p' <<<"$dump")
grep -q glbEmptyData <<<"$exports" || fail "the string's empty block is not exported"
# Inline code of public headers needs these few.
internal=$(grep -E ' _ZN?K?2xc[0-9]' <<<"$exports" | grep -vE '2xc(4sync4Take|6config(8LazyText|12LazyComments))')
[ -z "$internal" ] || fail "internal names are exported: $internal"

now=$(describe "$1")
changed=$(diff <(grep -v '^bytes' "$list") <(grep -v '^bytes' <<<"$now") | grep '^[<>]')
[ -z "$changed" ] || fail "exports or imports have changed; if that is meant: make image-list, and commit the file
$changed"
size=$(sed -n 's/^bytes //p' <<<"$now") kept=$(sed -n 's/^bytes //p' "$list")
[ "$size" -le $((kept + kept / 10)) ] || fail "grew from $kept to $size bytes; if that is meant: make image-list, and commit the file"
