#!/usr/bin/env bash
# run_adversary_tests.sh BINARIES ENGINE PREFIX [test program arguments]: what a user of the machine may try, in a fresh
# prefix with loopback ports of its own, beside the shipped service. The prefix stays for a look at it; it must lie on
# the file system of the build folder.
source "$(dirname "$0")/common.sh"

if [ -z "${MOORLAK_OWN_LOOPBACK:-}" ]; then
    exec env MOORLAK_OWN_LOOPBACK=1 unshare --net --fork --kill-child -- bash -c \
        'ip link set lo up && exec "$@"' bash "$0" "$@"
fi

binaries=$(realpath "$1") engine=$(realpath "$2") prefix=$(realpath -m "$3")
shift 3
clone_prefix "$prefix"
check_heaps "$prefix" moorlak_service.exe moorlakctl.exe
install_product "$prefix" "$binaries" "$engine"
cp "$binaries/tests/adversary/moorlak_adversary_tests.exe" "$prefix/drive_c/Program Files/Moorlak/"
trap 'end_prefix "$prefix"' EXIT
export WINEPREFIX=$prefix
status=0
"$WINE" 'C:\Program Files\Moorlak\moorlak_adversary_tests.exe' "$@" || status=$?
exit "$status"
