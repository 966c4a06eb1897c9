#!/usr/bin/env bash
# bench_ping.sh [BINARIES [BLOCKS]]: ping round trips to the release build and to a bare server that makes the same
# system calls, in a new prefix, as a markdown table. Without BINARIES the release preset is built first. Run it on an
# idle machine.
source "$(dirname "$0")/common.sh"

binaries=${1:-}
if [ -z "$binaries" ]; then
    binaries=$BUILD/windows-release
    (cd "$ROOT" && cmake --preset windows-release -B "$binaries") >/dev/null
    cmake --build "$binaries" --target moorlak_service moorlak_ping_bench >/dev/null
fi
prefix=$BUILD/prefixes/bench_ping
folder="$prefix/drive_c/Program Files/Moorlak"
clone_prefix "$prefix"
trap 'end_prefix "$prefix"; rm -rf "$prefix"' EXIT
mkdir -p "$folder"
cp "$binaries/src/moorlak_service.exe" "$binaries/tests/bench/moorlak_ping_bench.exe" "$folder/"
export WINEPREFIX=$prefix
# Client, server and Wine's server share one processor. On two, the result would depend on the scheduler: for either
# server, switching between processors costs several times as much as the call itself, and varies with every run.
processor=$(taskset -cp $$ | grep -oE '[0-9]+$')
taskset -c "$processor" "$WINE" 'C:\Program Files\Moorlak\moorlak_ping_bench.exe' ${2:+"$2"}
