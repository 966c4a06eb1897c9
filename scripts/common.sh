# Sourced by the other scripts: where things lie, how Wine is called, how a prefix is made.
# shellcheck shell=bash
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD=${MOORLAK_BUILD:-$ROOT/build}
WINE=$ROOT/scripts/wine.sh
WINESERVER=/usr/lib/wine/wineserver64

# What is laid out here is closed to other users, as an installer leaves it: the service tells what is not.
umask 022
export WINEDEBUG=${WINEDEBUG:--all}
# Without winedbg a crash ends the program with its code; with it a third of the crashes would exit 0.
# winemenubuilder would start with every prefix, to no purpose.
export WINEDLLOVERRIDES="mscoree,mshtml=;winedbg.exe,winemenubuilder.exe=d"
# A display that a prefix would look for costs time and is never needed.
unset DISPLAY || true
# The only time zone that a prefix knows (keep_one_time_zone).
export TZ=UTC

# Objects do not depend on where the tree lies, so that a second clone finds the first one's in the compiler cache.
export CCACHE_BASEDIR=$ROOT CCACHE_NOHASHDIR=1

say() { printf '%s\n' "$*"; }

# Installs what is missing of scripts/packages.txt.
install_packages() {
    local missing=() package
    while read -r package; do
        case $package in '' | \#*) continue ;; esac
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done <"$ROOT/scripts/packages.txt"
    [ ${#missing[@]} -eq 0 ] && return 0
    say "installing: ${missing[*]}"
    local log=$BUILD/apt.log
    mkdir -p "$BUILD"
    # A first try without an update saves half a minute where the lists are fresh.
    DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}" >"$log" 2>&1 && return 0
    apt-get update >"$log" 2>&1 || { tail -n 20 "$log"; return 1; }
    DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}" >>"$log" 2>&1 ||
        { tail -n 20 "$log"; return 1; }
}

# keep_one_time_zone PREFIX: removes every time zone but UTC from a prefix in which nothing runs. Each process under Wine
# reads all of them at its start, which takes as long as everything else in the start of a small program.
keep_one_time_zone() {
    local registry=$1/system.reg
    awk '/^\[/ { drop = /\\\\Time Zones\\\\/ && !/\\\\Time Zones\\\\UTC\]/ } !drop' "$registry" >"$registry.new"
    mv "$registry.new" "$registry"
}

# The prefix that all others are cloned from: made once, never used itself.
wine_template() {
    local template=$BUILD/wine-template
    if [ ! -e "$template/.prepared" ]; then
        rm -rf "$template"
        mkdir -p "$template"
        WINEPREFIX=$template "$WINE" wineboot -i >/dev/null 2>&1
        WINEPREFIX=$template "$WINE" reg add 'HKCU\Software\Wine' /v Version /d win10 /f >/dev/null 2>&1
        # Windows has this value from the start; a fresh prefix gets it with the first change of the system proxy.
        WINEPREFIX=$template "$WINE" reg add 'HKCU\Software\Microsoft\Windows\CurrentVersion\Internet Settings' \
            /v ProxyEnable /t REG_DWORD /d 0 /f >/dev/null 2>&1
        WINEPREFIX=$template "$WINESERVER" -w
        keep_one_time_zone "$template"
        touch "$template/.prepared"
    fi
    printf '%s' "$template"
}

# clone_prefix DIR: a fresh prefix by hard links (20 ms, 2 MB). What Wine rewrites in place is copied for real.
clone_prefix() {
    local template target=$1 file
    template=$(wine_template)
    rm -rf "$target"
    mkdir -p "$(dirname "$target")"
    cp -al "$template" "$target"
    for file in system.reg user.reg userdef.reg .update-timestamp; do
        [ -e "$template/$file" ] || continue
        rm -f "$target/$file"
        cp -p "$template/$file" "$target/$file"
    done
    rm -f "$target/wineserver"
}

# check_heaps PREFIX PROGRAM.exe...: in a prefix in which nothing runs yet, these programs fill what they free and watch
# the ends of their blocks ("GFlags flag table" on Microsoft Learn: heap tail, free and parameter checking). It is what
# WINEDEBUG=warn+heap does for all programs, and does not depend on where their standard error goes.
check_heaps() {
    local prefix=$1 program
    shift
    for program in "$@"; do
        printf '\n[Software\\\\Microsoft\\\\Windows NT\\\\CurrentVersion\\\\Image File Execution Options\\\\%s]\n"GlobalFlag"=dword:00000070\n' "$program"
    done >>"$prefix/system.reg"
}

# Ends what runs in a prefix, and only there.
end_prefix() {
    [ -d "$1" ] || return 0
    WINEPREFIX=$1 "$WINESERVER" -k >/dev/null 2>&1 || true
    WINEPREFIX=$1 "$WINESERVER" -w >/dev/null 2>&1 || true
    end_orphans "$1"
}

# end_orphans PREFIX: a process that was just being started when its server ended knows of no end. It would stay for good,
# with the output of whoever started it.
end_orphans() {
    local environment process
    for environment in /proc/[0-9]*/environ; do
        process=${environment%/environ}
        case $(readlink "$process/exe" 2>/dev/null) in */wine/wine64*) ;; *) continue ;; esac
        if grep -qzxF "WINEPREFIX=$1" "$environment" 2>/dev/null; then kill -9 "${process#/proc/}" 2>/dev/null || true; fi
    done
}

# install_product PREFIX BINARIES ENGINE: lays the product out in a prefix as its installer would: service, client and
# tests in one folder, the engines in "xray" beside them.
install_product() {
    local folder="$1/drive_c/Program Files/Moorlak" binaries=$2 engine=$3 program
    mkdir -p "$folder/xray" "$folder/web"
    for program in src/moorlak_service client/moorlakctl tests/machine/moorlak_machine_tests; do
        [ -e "$binaries/$program.exe" ] || continue
        rm -f "$folder/${program##*/}.exe"
        cp "$binaries/$program.exe" "$folder/"
    done
    for program in xray web; do
        rm -f "$folder/$program/$program.exe"
        cp "$engine/$program.exe" "$folder/$program/"
    done
    # Stand-in DLLs wait in a folder of their own until a test lays one beside the service.
    rm -rf "$folder/lab"
    [ ! -d "$binaries/tests/machine/lab" ] || cp -r "$binaries/tests/machine/lab" "$folder/lab"
}

# take_binaries TARGET [BINARIES [ENGINE]]: sets `binaries` and `engine` to these finished builds; without them a release
# build of the target and the engine are made.
take_binaries() {
    binaries=${2:-} engine=${3:-$BUILD/engine}
    [ -z "$binaries" ] || return 0
    binaries=$BUILD/windows-release
    { (cd "$ROOT" && cmake --preset windows-release -B "$binaries") &&
        cmake --build "$binaries" --target "$1" &&
        "$ROOT/scripts/build_engine.sh" "$engine"; } >"$BUILD/$1.log" 2>&1 ||
        { tail -n 40 "$BUILD/$1.log"; return 1; }
}
