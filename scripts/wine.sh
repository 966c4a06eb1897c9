#!/usr/bin/env bash
# Wine as all scripts call it, without Linux's address space randomisation: with randomisation about one process in
# 3,000 is lost at its start, with ERROR_INTERNAL_ERROR (1359). What Wine starts inherits the setting, including its
# server and services.
exec setarch "$(uname -m)" -R /usr/lib/wine/wine64 "$@"
