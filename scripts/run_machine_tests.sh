#!/usr/bin/env bash
# run_machine_tests.sh BINARIES ENGINE PREFIX [test program arguments]: the whole-service tests in a fresh prefix with
# loopback ports of its own. The prefix stays for a look at its log; it must lie on the file system of the build folder.
# MOORLAK_MACHINE_SUITE names another suite than "machine".
source "$(dirname "$0")/common.sh"

if [ -z "${MOORLAK_OWN_LOOPBACK:-}" ]; then
    exec env MOORLAK_OWN_LOOPBACK=1 unshare --net --fork --kill-child -- bash -c \
        'ip link set lo up && exec "$@"' bash "$0" "$@"
fi

suite=${MOORLAK_MACHINE_SUITE:-machine}
binaries=$(realpath "$1") engine=$(realpath "$2") prefix=$(realpath -m "$3")
shift 3
clone_prefix "$prefix"
check_heaps "$prefix" moorlak_service.exe moorlakctl.exe
install_product "$prefix" "$binaries" "$engine"
if [ "$suite" = machine ]; then
    # The same folder in another spelling, for the rule that letter case does not matter: Wine shows every program's path
    # as it stands on the disk, so only a second folder can differ.
    mkdir "$prefix/drive_c/Program Files/MOORLAK"
    cp "$binaries/tests/machine/moorlak_machine_tests.exe" "$prefix/drive_c/Program Files/MOORLAK/"
else
    cp "$binaries/tests/$suite/moorlak_${suite}_tests.exe" "$prefix/drive_c/Program Files/Moorlak/"
fi
trap 'end_prefix "$prefix"' EXIT
export WINEPREFIX=$prefix
# What a console instance or a module under test looks at must not depend on who owns the caller's folder.
cd "$prefix/drive_c"
status=0
"$WINE" "C:\\Program Files\\Moorlak\\moorlak_${suite}_tests.exe" "$@" || status=$?
exit "$status"
