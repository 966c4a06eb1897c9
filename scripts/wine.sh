#!/usr/bin/env bash
# Wine as all scripts call it, without Linux's address space randomisation: with it about one process in 3,000 is lost
# as it starts, with ERROR_INTERNAL_ERROR (1359). What Wine starts inherits the setting, its server and services too.
exec setarch "$(uname -m)" -R /usr/lib/wine/wine64 "$@"
