#!/usr/bin/env bash
# Cross-compiles the Windows component for both processors and tests the 64-bit one under Wine, in a prefix, on a screen
# and with a server of its own below build/windows. ./dev windows has installed what it needs.
set -euo pipefail
cd "$(dirname "$0")/../.."

out=$PWD/build/windows
x64=$PWD/build/windows-x64/bin
x86=$PWD/build/windows-x86/bin
passed=0 failed=0
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$PWD} CCACHE_NOHASHDIR=1
export WINEPREFIX=$out/prefix WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES='mscoree,mshtml=;winemenubuilder.exe='

# step NAME COMMAND…: one check.
step() {
    local name=$1 log=$out/step.log start=$SECONDS
    shift
    if "$@" >"$log" 2>&1; then
        passed=$((passed + 1))
        echo "ok      $name ($((SECONDS - start)) s)"
    else
        failed=$((failed + 1))
        echo "FAILED  $name"
        tail -n 60 "$log"
    fi
}

cleanup() {
    [ ! -d "$WINEPREFIX" ] || wineserver -k || true
    [ -z "${server:-}" ] || kill "$server" 2>/dev/null || true
    [ -z "${ftp_server:-}" ] || kill "$ftp_server" 2>/dev/null || true
    [ -z "${screen:-}" ] || kill "$screen" 2>/dev/null || true
    [ -z "${other:-}" ] || rm -rf "$other"
}
trap cleanup EXIT

run() { timeout 240 wine "$@"; }
windows_path() { echo "Z:${1//\//\\}"; }

# --- building ---------------------------------------------------------------------------------------------------

# build PRESET [TARGETS…]
build() { cmake --preset "$1" -DBUILD_TESTING=ON && nice ninja -C "build/$1" "${@:2}"; }

# --- what is in the files ---------------------------------------------------------------------------------------

system_dlls='advapi32 bcrypt comctl32 crypt32 gdi32 kernel32 msvcrt ole32 oleaut32 shell32 urlmon user32 version wininet'

imports_are_the_systems() {
    local dll
    while read -r dll; do
        [[ " $system_dlls " == *" ${dll%.dll} "* ]] || { echo "imports $dll"; return 1; }
    done < <("$1-w64-mingw32-objdump" -p "$2" | sed -n 's/.*DLL Name: //p' | tr '[:upper:]' '[:lower:]')
}

exports_are_the_four() {
    local names
    names=$("$1-w64-mingw32-objdump" -p "$2" | sed -n '/Ordinal\/Name Pointer/,/^$/s/^[[:space:]]*\[ *[0-9]*\] *//p' | xargs)
    echo "exports: $names"
    [ "$names" = 'DllCanUnloadNow DllGetClassObject DllRegisterServer DllUnregisterServer' ]
}

is_of_format() { "$1-w64-mingw32-objdump" -f "$2" | grep -q "file format $3"; }

# --- under Wine -------------------------------------------------------------------------------------------------

start_helpers() {
    rm -rf "$WINEPREFIX" "$out/www" "$out/certificates" "$out/assets" "$out/screenshots" "$out/display"
    mkdir -p "$out/www/folder" "$out/certificates" "$out/screenshots" "$WINEPREFIX"
    python3 -c 'import random, sys; sys.stdout.buffer.write(random.Random(1).randbytes(300000))' >"$out/www/photo.jpg"
    coproc SERVER { exec python3 tests/windows/server.py "$out/www" "$out/certificates" 2>"$out/server.log"; }
    server=$SERVER_PID
    local name url
    while read -r name url <&"${SERVER[0]}" && [ -n "$name" ]; do export "TSASYNC_$name=$url"; done
    TSASYNC_AUTHORITY=$(windows_path "$out/certificates/ca.der")
    export TSASYNC_AUTHORITY
    start_ftp_server
    Xvfb -displayfd 3 -screen 0 1024x768x24 3>"$out/display" 2>/dev/null &
    screen=$!
    for _ in $(seq 300); do [ -s "$out/display" ] && break; sleep 0.1; done
    DISPLAY=:$(cat "$out/display")
    export DISPLAY
    wineboot -i >/dev/null 2>&1
    # No window manager runs here; Wine would wait two seconds for its answer whenever a window goes.
    run reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N >/dev/null 2>&1
    # Wine's database of content types is empty; these are the two that the tests ask the system for.
    add_content_type text/markdown .md
    add_content_type application/acrobat .pdf
    add_volume
    wineserver -w
}

# vsftpd of the same folder, without the system's users.
start_ftp_server() {
    local port
    port=$(python3 -c 'import socket; s = socket.create_server(("127.0.0.1", 0)); print(s.getsockname()[1])')
    mkdir -p "$out/empty"
    cat >"$out/vsftpd.conf" <<END
listen=YES
listen_address=127.0.0.1
listen_port=$port
background=NO
anonymous_enable=YES
local_enable=NO
anon_root=$out/www
secure_chroot_dir=$out/empty
allow_writeable_chroot=YES
xferlog_enable=NO
seccomp_sandbox=NO
END
    export TSASYNC_FTP=ftp://127.0.0.1:$port
    # Only root can make the folder the server's root; Wine asks for paths from there.
    if [ "$(id -u)" != 0 ]; then
        echo run_as_launching_user=YES >>"$out/vsftpd.conf"
        TSASYNC_FTP+=$out/www
    fi
    /usr/sbin/vsftpd "$out/vsftpd.conf" >"$out/vsftpd.log" 2>&1 &
    ftp_server=$!
}

# Drive V: is a folder on another volume than the rest, if the machine has one.
add_volume() {
    local folder
    for folder in /dev/shm /var/tmp /run/lock; do
        [ -w "$folder" ] && [ "$(stat -c %d "$folder")" != "$(stat -c %d "$out")" ] || continue
        other=$(mktemp -d "$folder/qmasyn10.XXXXXX")
        ln -s "$other" "$WINEPREFIX/dosdevices/v:"
        export TSASYNC_OTHER_VOLUME='V:\'
        return
    done
    echo "no other volume: moves to one are not tested"
}

add_content_type() { run reg add "HKCR\\MIME\\Database\\Content Type\\$1" /v Extension /d "$2" >/dev/null 2>&1; }

register() { run regsvr32 "$@" "$(windows_path "$x64/QMASYN10.DLL")"; }

# The whole registry, but for the times of its keys' changes.
registry() {
    wineserver -w
    sed -E '/^#time=/d; s/^(\[.*\]) [0-9]+$/\1/' "$WINEPREFIX"/{system,user,userdef}.reg
}

# With nothing left of it: the registry before is the registry after, but for the values that Wine itself changes when
# the same program does nothing, as it does with a file that is not there (the date of its display driver).
registers_and_leaves_nothing() {
    registry >"$out/start.reg"
    ! run regsvr32 /s 'C:\none.dll' || return 1
    registry >"$out/before.reg"
    diff "$out/start.reg" "$out/before.reg" | sed -nE 's/^[<>] ("[^"]+"=).*/\1/p' >"$out/changing.txt" || true
    register /s || return 1
    registry >"$out/registered.reg"
    register /u /s || return 1
    registry >"$out/after.reg"
    grep -qF 'TSAsync.CDLManager' "$out/registered.reg" &&
        diff <(grep -vFf "$out/changing.txt" "$out/before.reg") <(grep -vFf "$out/changing.txt" "$out/after.reg")
}

# script FILE HOST…: a script that is to put the server's file into a folder.
script() {
    local assets=$out/assets/$1
    run "${@:2}" "$(windows_path "$PWD/tests/windows/$1")" "$TSASYNC_URL/photo.jpg" "$(windows_path "$assets")" photo.jpg &&
        cmp "$assets/photo.jpg" "$out/www/photo.jpg"
}

type_library() {
    TSASYNC_DLL=$(windows_path "$1/QMASYN10.DLL") TSASYNC_POINTER=$2 run "$x64/type_library_test.exe"
}

component() {
    # Wine's marshaller looks for a type library under language 0 alone.
    run reg add 'HKCR\TypeLib\{F48DE0A9-A80A-11D3-93D8-00500433864D}\1.2\0\win64' /ve /f \
        /d "$(windows_path "$x64/QMASYN10.DLL")" &&
    TSASYNC_ASSETS=$(windows_path "$out/assets/cpp") TSASYNC_SCREENSHOTS=$(windows_path "$out/screenshots") \
        run "$x64/component_test.exe"
}

# A Linux program plays the server.
misbehaving_servers() {
    TSASYNC_READ_URLS="timeout 240 wine '$x64/read_urls.exe'" build/release/bin/windows_misbehaving_test --gtest_brief=1
}

# Likewise; it kills the process that it has started.
broken_reads() {
    TSASYNC_READ_URLS="wine '$x64/read_urls.exe'" PYTHONDONTWRITEBYTECODE=1 python3 tests/windows/resume_test.py
}

# Wine keeps no events; it says which ones it was given.
event_log() {
    WINEDEBUG=-all,+eventlog run "$x64/test_windows.exe" --gtest_filter='*EventLog' >"$out/events.log" 2>&1 || return 1
    cat "$out/events.log"
    [ "$(grep -o 'an entry of mode .' "$out/events.log" | xargs)" = 'an entry of mode 3 an entry of mode 0' ]
}

# Where the system has its own way; docs/windows.md tells which.
declare -A left_out=(
    [test_ui]=ModRes.LeavesTheChoiceToTheSystemBeforeEnglish:ModRes.EveryThreadHasItsOwnModuleAndLanguage
    [test_version_info]=VersionInfo.EightBitTextsAreInTheirCodePage:VersionInfo.AFileCutOffAnywhereHasNoneOrTheWhole
)

mkdir -p "$out"
step 'build for x64' build windows-x64
step 'build of the misbehaving server' build release windows_misbehaving_test
step 'build for x86' build windows-x86 qmasyn10
for folder in "$x64:x86_64:pei-x86-64" "$x86:i686:pei-i386"; do
    IFS=: read -r bin cpu format <<<"$folder"
    step "$cpu: file format" is_of_format "$cpu" "$bin/QMASYN10.DLL" "$format"
    step "$cpu: imports only the system's DLLs" imports_are_the_systems "$cpu" "$bin/QMASYN10.DLL"
    step "$cpu: exports the four entry points" exports_are_the_four "$cpu" "$bin/QMASYN10.DLL"
done

start_helpers
step 'x86_64: type library and version record' type_library "$x64" 64
step 'i686: type library and version record' type_library "$x86" 32
step 'registration leaves nothing behind' registers_and_leaves_nothing
step 'registration' register /s
step 'VBScript host' script client.vbs cscript
step 'JScript host' script client.js cscript
step 'VBScript host with events' script events.vbs "$x64/script_host.exe" VBScript
step 'JScript host with events' script events.js "$x64/script_host.exe" JScript
step 'C++ host' component
step 'URL reader' run "$x64/url_reader_test.exe"
step 'misbehaving servers' misbehaving_servers
step 'broken reads' broken_reads
step 'event log' event_log
for program in "$x64"/test_*.exe; do
    name=$(basename "$program" .exe)
    step "$name" run "$program" --gtest_brief=1 "--gtest_filter=-${left_out[$name]:-}"
done

echo "windows: $passed passed, $failed failed"
[ "$failed" = 0 ]
