#!/usr/bin/env bash
# run_adversary_tests.sh BINARIES ENGINE PREFIX [test program arguments]: what a user of the machine may try, beside the
# shipped service, as run_machine_tests.sh runs its program.
MOORLAK_MACHINE_SUITE=adversary exec "$(dirname "$0")/run_machine_tests.sh" "$@"
