#!/usr/bin/env bash
# Builds the lab's programs that are written in Go:
#   OUTDIR/xray.exe   the proxy engine of the machine tests (lab/engine)
#   OUTDIR/web.exe    the web tool as a Windows program     (lab/web)
#   OUTDIR/web        the same for the host
# Skips programs that are up to date. Needs no network.
set -euo pipefail

[ $# -eq 1 ] || { echo "usage: ${0##*/} OUTDIR" >&2; exit 2; }

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
mkdir -p "$1"
out=$(cd "$1" && pwd)
go=${GO:-/usr/lib/go-1.19/bin/go}
library=/usr/share/gocode

if [ ! -x "$go" ] || [ ! -d "$library/src/v2ray.com/core" ]; then
    echo "missing packages: apt-get install golang-1.19-go golang-v2ray-core-dev" \
        "golang-github-seiflotfy-cuckoofilter-dev golang-starlark-dev" >&2
    exit 1
fi

# Test runners may call this script at the same time; the second one finds everything built.
exec 9>"$out/.lock"
flock 9

# The caller's Go settings must not affect the build.
unset GOROOT GOARCH GOOS GOAMD64 GOEXPERIMENT
gopath=$out/gopath
export GO111MODULE=off GOPATH="$gopath:$library" GOENV=off GOFLAGS='' GOPROXY=off
export GOCACHE=${GOCACHE:-$out/gocache} CGO_ENABLED=0
windows_sources=$("$go" env GOROOT)/src/cmd/vendor/golang.org/x/sys

# Debian's golang.org/x/sys lacks its Windows half. The copy that the Go distribution vendors for its own commands fills
# the gap: it comes first in the library path and shadows only its own two packages.
prepare_gopath() {
    local target=$gopath/src/golang.org/x/sys
    rm -rf "$gopath"
    mkdir -p "$target/internal"
    cp -R "$windows_sources/windows" "$target/windows"
    cp -R "$windows_sources/internal/unsafeheader" "$target/internal/unsafeheader"
    # A separate import path keeps the checkout's folder out of the programs.
    mkdir -p "$gopath/src/moorlak"
    ln -s "$root/lab" "$gopath/src/moorlak/lab"
}

# stamp_of FOLDER: a text that changes with everything that goes into the build.
stamp_of() {
    local source
    "$go" version
    dpkg-query -W -f='${Version}\n' golang-v2ray-core-dev 2>/dev/null || true
    for source in "${BASH_SOURCE[0]}" "$root/$1"/*.go; do
        echo "$(sha256sum <"$source") ${source##*/}"
    done
}

# build FOLDER OS PROGRAM
build() {
    local folder=$1 os=$2 program=$out/$3 stamp
    stamp=$(stamp_of "$folder")
    if [ -f "$program" ] && [ -f "$program.stamp" ] && [ "$stamp" = "$(cat "$program.stamp")" ]; then
        return 0
    fi
    echo "building $3"
    prepare_gopath
    # Built under another name first: a failed build must not leave half a file, and a running test keeps the file that
    # it has open.
    GOOS=$os GOARCH=amd64 "$go" build -trimpath -ldflags "-s -w" -o "$program.new" "moorlak/$folder"
    mv -f "$program.new" "$program"
    printf '%s\n' "$stamp" >"$program.stamp"
}

build lab/engine windows xray.exe
build lab/web windows web.exe
build lab/web linux web
