#!/usr/bin/env bash
# clang-tidy over the core (as it builds natively) and the shell (as it builds for Windows). A file that has not changed
# since it was found clean, nor any header, is skipped.
source "$(dirname "$0")/common.sh"
cd "$ROOT"
stamps=$BUILD/tidy
mkdir -p "$stamps"
common=$(git ls-files -co --exclude-standard 'src/*.h' 'client/*.h' 'tests/*.h' .clang-tidy | LC_ALL=C sort | xargs cat | sha256sum)
mingw_headers=$(x86_64-w64-mingw32-g++-posix -print-file-name=include/c++)

tidy() {
    local database=$1 file=$2 stamp
    shift 2
    stamp=$stamps/$(printf '%s %s %s' "$common" "$database" "$(sha256sum "$file")" | sha256sum | cut -c1-32)
    [ -e "$stamp" ] && return 0
    clang-tidy --quiet -p "$database" --extra-arg=-Wno-unknown-warning-option "$@" "$file" 2>"$stamp.err" || { cat "$stamp.err"; return 1; }
    rm -f "$stamp.err"
    touch "$stamp"
}
export -f tidy
export stamps common

files_of() {
    jq -r '.[].file' "$1/compile_commands.json" | grep -E "^$ROOT/(src|client)/" | LC_ALL=C sort -u
}

native=$(files_of "$BUILD/native-asan")
windows=$(comm -13 <(printf '%s\n' "$native") <(files_of "$BUILD/windows-debug"))
status=0
printf '%s\n' "$native" | xargs -P 2 -I{} bash -c 'tidy "$1" "$2"' _ "$BUILD/native-asan" {} || status=1
printf '%s\n' "$windows" | xargs -P 2 -I{} bash -c 'tidy "$@"' _ "$BUILD/windows-debug" {} \
    --extra-arg=--target=x86_64-w64-windows-gnu "--extra-arg=-isystem$mingw_headers" \
    "--extra-arg=-isystem$mingw_headers/x86_64-w64-mingw32" || status=1
exit "$status"
