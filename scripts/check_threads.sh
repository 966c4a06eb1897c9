#!/usr/bin/env bash
# Fails when a thread_local variable stands in the product, the client or the lab. A thread's variables are destroyed
# after their storage was freed here (g++ with winpthreads, GCC bug 80816), and whether a type needs destruction is not
# to be seen from the word: so there are none.
source "$(dirname "$0")/common.sh"

cd "$ROOT"
found=$(git ls-files 'src/*.h' 'src/*.cpp' 'client/*.h' 'client/*.cpp' 'lab/*.h' 'lab/*.cpp' |
    xargs grep -nwE 'thread_local|__thread' | grep -vE '^[^:]+:[0-9]+: *//' || true)
[ -z "$found" ] || { printf '%s\n' "$found"; exit 1; }
