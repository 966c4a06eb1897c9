#!/usr/bin/env bash
# run_session_tests.sh PREFIX BINARIES ENGINE [test program arguments]: sessions of the shipped service on the simulated
# machine, in a fresh prefix with a loopback interface of its own that carries the server's address. The prefix stays for
# a look at its logs (C:\moorlak-lab\calls.log, the tunnel log); it must lie on the file system of the build folder.
source "$(dirname "$0")/common.sh"
source "$ROOT/scripts/lab.sh"

if [ -z "${MOORLAK_OWN_LOOPBACK:-}" ]; then
    exec env MOORLAK_OWN_LOOPBACK=1 unshare --net --fork --kill-child -- bash -c \
        'ip link set lo up && ip addr add 203.0.113.7/32 dev lo && exec "$@"' bash "$0" "$@"
fi

prefix=$(realpath -m "$1") binaries=$(realpath "$2") engine=$(realpath "$3")
shift 3
clone_prefix "$prefix"
program=${MOORLAK_SESSION_PROGRAM:-moorlak_session_tests}
# A benchmark is one of the service as it runs elsewhere.
[ "$program" = moorlak_session_bench ] || check_heaps "$prefix" moorlak_service.exe moorlakctl.exe
trap 'end_prefix "$prefix"' EXIT
lab_install_session "$prefix" "$binaries" "$engine"
lab_copy "$binaries/tests/session/$program.exe" "$prefix/drive_c/Program Files/Moorlak"
[ "$program" != moorlak_session_bench ] || lab_copy "$binaries/lab/moorlak_meter.dll" "$prefix/drive_c/Program Files/Moorlak"
export WINEPREFIX=$prefix
status=0
"$WINE" "C:\\Program Files\\Moorlak\\$program.exe" "$@" || status=$?
exit "$status"
