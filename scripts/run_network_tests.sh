#!/usr/bin/env bash
# run_network_tests.sh PREFIX BINARIES [test program arguments]: the network parts on the simulated machine, in a fresh
# prefix with loopback ports of its own. The prefix stays for a look at its logs (C:\moorlak-lab\calls.log, the tunnel
# log); it must lie on the file system of the build folder.
source "$(dirname "$0")/common.sh"
source "$ROOT/scripts/lab.sh"

if [ -z "${MOORLAK_OWN_LOOPBACK:-}" ]; then
    exec env MOORLAK_OWN_LOOPBACK=1 unshare --net --fork --kill-child -- bash -c \
        'ip link set lo up && exec "$@"' bash "$0" "$@"
fi

prefix=$(realpath -m "$1") binaries=$(realpath "$2")
shift 2
clone_prefix "$prefix"
programs=(moorlak_network_tests.exe protection_child.exe)
check_heaps "$prefix" "${programs[@]}"
trap 'end_prefix "$prefix"' EXIT
lab_install "$prefix" "$binaries" "${programs[@]}"
for program in "${programs[@]}"; do
    lab_copy "$binaries/tests/network/$program" "$prefix/drive_c/Program Files/Moorlak"
done
export WINEPREFIX=$prefix
status=0
"$WINE" 'C:\Program Files\Moorlak\moorlak_network_tests.exe' "$@" || status=$?
exit "$status"
