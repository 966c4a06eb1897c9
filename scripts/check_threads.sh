#!/usr/bin/env bash
# Fails when the product, the client or the lab has a thread_local variable or detaches a thread itself (with g++ and
# winpthreads both are unsafe).
# - A thread's variables are destroyed after their storage was freed (GCC bug 80816), and whether a type needs
#   destruction is not to be seen from the word: so there are none.
# - A thread detached at its end damages the next one: StartDetachedThread (base/threads.h) knows how to.
source "$(dirname "$0")/common.sh"

cd "$ROOT"
found=$(git ls-files 'src/*.h' 'src/*.cpp' 'client/*.h' 'client/*.cpp' 'inspect/*.h' 'inspect/*.cpp' 'lab/*.h' 'lab/*.cpp' ':!src/base/threads.h' |
    xargs grep -nE '\b(thread_local|__thread)\b|detach\(\)' | grep -vE '^[^:]+:[0-9]+: *//' || true)
[ -z "$found" ] || { printf '%s\n' "$found"; exit 1; }
