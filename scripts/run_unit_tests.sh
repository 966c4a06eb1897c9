#!/usr/bin/env bash
# run_unit_tests.sh PREFIX PROGRAM [checked|''] [test program arguments]: a Windows test program that needs nothing but
# Wine, in a fresh prefix with loopback ports of its own. "checked" has Wine check its heap.
source "$(dirname "$0")/common.sh"

if [ -z "${MOORLAK_OWN_LOOPBACK:-}" ]; then
    exec env MOORLAK_OWN_LOOPBACK=1 unshare --net --fork --kill-child -- bash -c \
        'ip link set lo up && exec "$@"' bash "$0" "$@"
fi

prefix=$(realpath -m "$1") program=$(realpath "$2") checked=${3:-}
shift 3
clone_prefix "$prefix"
[ "$checked" != checked ] || check_heaps "$prefix" "${program##*/}"
trap 'end_prefix "$prefix"' EXIT
export WINEPREFIX=$prefix
status=0
timeout 900 "$WINE" "$program" "$@" || status=$?
exit "$status"
