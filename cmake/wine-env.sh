#!/bin/sh
# wine-env.sh up|down|run PREFIX [program args...]   (PREFIX is absolute)
#
# up    makes a small Wine prefix by hand (seconds instead of a full installation) and starts its server.
# down  stops the server.
# run   runs one Windows program in the prefix.
#
# The loader wants fixed addresses and ends a program at once (exit code 1, no output) where the system's randomisation
# has taken one of them, once in some 2,000 starts. Therefore programs start without randomisation.
set -e
command=$1 prefix=$2
shift 2
unset DISPLAY WAYLAND_DISPLAY
# C.UTF-8 lets arguments with any character through; the debugger override keeps crashes short and their exit code.
export WINEPREFIX="$prefix" WINEDEBUG="${WINEDEBUG:--all}" LC_ALL="${XC_TEST_LOCALE:-C.UTF-8}"
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml,winedbg.exe=}"
loader=/usr/lib/wine/wine64
refused="$prefix/.randomised" # left by up where the system does not permit it
wine="setarch -R $loader"
[ ! -f "$refused" ] || wine=$loader
builtin=/usr/lib/x86_64-linux-gnu/wine/x86_64-windows
system32="$prefix/drive_c/windows/system32"

# A container may forbid the system call; programs run there too.
choose_start() {
    mkdir -p "$prefix"
    rm -f "$refused"
    wine="setarch -R $loader"
    setarch -R true 2>/dev/null && return
    echo "wine-env: address randomisation stays on here; a start in some 2,000 may end with code 1 and no output" >&2
    : >"$refused"
    wine=$loader
}

make_prefix() {
    mkdir -p "$system32/drivers" "$prefix/drive_c/windows/temp" "$prefix/drive_c/windows/globalization/sorting"
    printf disable >"$prefix/.update-timestamp" # the system's own installation script never runs here
    for f in ntdll kernel32 kernelbase msvcrt ucrtbase advapi32 sechost rpcrt4 ole32 combase coml2 oleaut32 user32 \
        gdi32 win32u version dbghelp setupapi shell32 shlwapi shcore ws2_32 mswsock iphlpapi nsi dnsapi bcrypt bcryptprimitives \
        cfgmgr32 userenv psapi imm32 zlib1 tzres atl100 normaliz comctl32 cryptbase wintrust crypt32 imagehlp; do
        [ ! -f "$builtin/$f.dll" ] || cp "$builtin/$f.dll" "$system32/"
    done
    for f in rundll32 conhost cmd services explorer wineboot start winedbg winedevice svchost plugplay rpcss; do
        [ ! -f "$builtin/$f.exe" ] || cp "$builtin/$f.exe" "$system32/"
    done
    # kernelbase.dll carries the registry script with all time zones (it needs atl100); wintrust.dll judges signatures
    # only when it is registered.
    cat >"$prefix/mini.inf" <<'INF'
[version]
signature="$CHICAGO$"
[DefaultInstall]
WineFakeDlls=Fake
CopyFiles=Nls,Sort
AddReg=Reg
RegisterDlls=Trust
[Fake]
11,,kernelbase.dll
[Trust]
11,,wintrust.dll,1
[Reg]
HKLM,System\CurrentControlSet\Control\Session Manager\Environment,"PATH",0x00020002,"%SystemRoot%\system32;%SystemRoot%"
HKLM,System\CurrentControlSet\Control\Session Manager\Environment,"ComSpec",0x00020000,"%SystemRoot%\system32\cmd.exe"
HKLM,System\CurrentControlSet\Control\Session Manager\Environment,"TEMP",0x00020002,"%SystemRoot%\temp"
HKLM,System\CurrentControlSet\Control\Session Manager\Environment,"TMP",0x00020002,"%SystemRoot%\temp"
[Nls]
l_intl.nls
locale.nls
normnfc.nls
normnfd.nls
normnfkc.nls
normnfkd.nls
[Sort]
sortdefault.nls
[WineSourceDirs]
Nls = nls
Sort = nls
[DestinationDirs]
Nls = 11
Sort = 10,globalization\sorting
INF
    inf="Z:$(printf %s "$prefix/mini.inf" | tr / '\\')"
    $wine 'C:\windows\system32\rundll32.exe' setupapi,InstallHinfSection DefaultInstall 128 "$inf" \
        </dev/null >/dev/null 2>&1
    wineserver -w
    : >"$prefix/.ready"
}

case $command in
up)
    [ -f "$prefix/.ready" ] || rm -rf "$prefix"
    choose_start
    [ -f "$prefix/.ready" ] || make_prefix
    # Windows that nobody sees can be made without a screen; the desktop asks for its driver when it starts.
    grep -qs '"Graphics"="null"' "$prefix/user.reg" ||
        printf '\n[Software\\\\Wine\\\\Drivers]\n"Graphics"="null"\n' >>"$prefix/user.reg"
    # The first Windows process must not inherit the pipe of a test runner: services would keep it open for ever.
    wineserver -p >/dev/null 2>&1 || :
    $wine 'C:\windows\system32\wineboot.exe' </dev/null >/dev/null 2>&1
    ;;
down)
    wineserver -k >/dev/null 2>&1 || :
    wineserver -w
    ;;
run) exec $wine "$@" ;;
*)
    echo "usage: wine-env.sh up|down|run PREFIX [program args...]" >&2
    exit 2
    ;;
esac
