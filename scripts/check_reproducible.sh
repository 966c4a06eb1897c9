#!/usr/bin/env bash
# Builds the shipped programs twice from the same commit, in two folders and without the compiler cache, and compares
# them byte by byte. Takes some minutes, so it is not part of `./test`.
#   check_reproducible.sh [COMMIT]    HEAD without COMMIT
source "$(dirname "$0")/common.sh"

commit=$(git -C "$ROOT" rev-parse "${1:-HEAD}")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
programs=(src/moorlak_service.exe client/moorlakctl.exe)

# build FOLDER: the tree and the build in it.
build() {
    mkdir -p "$1"
    git -C "$ROOT" archive "$commit" | tar x -C "$1"
    (cd "$1" && cmake --preset windows-release -B "$1/out" -DCCACHE_PROGRAM= &&
        cmake --build "$1/out" --target moorlak_service moorlakctl) >"$1.log" 2>&1 ||
        { tail -n 40 "$1.log"; return 1; }
}

build "$scratch/first"
build "$scratch/in another folder"
status=0
for program in "${programs[@]}"; do
    if cmp "$scratch/first/out/$program" "$scratch/in another folder/out/$program"; then
        say "${program##*/}: the same bytes twice, SHA-256 $(sha256sum <"$scratch/first/out/$program" | cut -d' ' -f1)"
    else
        status=1
    fi
done
exit "$status"
