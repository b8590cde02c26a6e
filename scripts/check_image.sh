#!/bin/bash
# check_image.sh DLL: the library's image is hardened and needs nothing beside the system and the compiler's runtime.
set -u
dump=$(x86_64-w64-mingw32-objdump -p "$1") || exit 1
fail() { echo "image: $1" >&2; exit 1; }
for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
    grep -q "$flag" <<<"$dump" || fail "not linked with $flag"
done
own='^(KERNEL32|msvcrt|ADVAPI32|USER32|ole32|OLEAUT32|bcrypt|DBGHELP|dbghelp|SHELL32|VERSION|libstdc\+\+-6|libgcc_s_seh-1|libwinpthread-1)\.dll$'
foreign=$(awk '/DLL Name:/ {print $3}' <<<"$dump" | grep -vE "$own")
[ -z "$foreign" ] || fail "needs $foreign"
x86_64-w64-mingw32-objdump -h "$1" | grep -q '\.rsrc' || fail "no resources"
exports=$(sed -n '/\[Ordinal\/Name Pointer\]/,/^$/p' <<<"$dump")
grep -q glbEmptyData <<<"$exports" || fail "the string's empty block is not exported"
# Inline code of public headers needs these few.
internal=$(grep -E ' _ZN?K?2xc[0-9]' <<<"$exports" | grep -vE '2xc(4sync4Take|3app(8LazyText|12LazyComments))')
[ -z "$internal" ] || fail "internal names are exported: $internal"
exit 0
