#!/usr/bin/env bash
# check_tidy.sh [core|shell] [--all]: clang-tidy over the core (as it builds natively) and the shell (as it builds for
# Windows), over both without either word.
#
# A file that was found clean once is not looked at again as long as nothing is different that clang-tidy reads: the file
# itself and every header that it includes, byte for byte, the way it is compiled, .clang-tidy, clang-tidy and the packages
# that the system's headers come from. What was found clean is kept outside the tree (MOORLAK_TIDY_CACHE), like the
# compiler's cache, so that it serves another clone, too. Which headers a file includes is known from its last build; a
# file that was not built is looked at each time. --all looks at every file.
source "$(dirname "$0")/common.sh"
cd "$ROOT"

parts=() all=''
for word; do
    case $word in
    core | shell) parts+=("$word") ;;
    --all) all=1 ;;
    *) sed -n '2,/^source/{/^#/s/^# \{0,1\}//p}' "$0" && exit 2 ;;
    esac
done
[ ${#parts[@]} -gt 0 ] || parts=(core shell)

cache=${MOORLAK_TIDY_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/moorlak-tidy}/clean
mkdir -p "$cache"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mingw_headers=$(x86_64-w64-mingw32-g++-posix -print-file-name=include/c++)
core_words=(--extra-arg=-Wno-unknown-warning-option --extra-arg=-Wthread-safety)
shell_words=("${core_words[@]}" --extra-arg=--target=x86_64-w64-windows-gnu "--extra-arg=-isystem$mingw_headers"
    "--extra-arg=-isystem$mingw_headers/x86_64-w64-mingw32")

files_of() {
    jq -r '.[].file' "$1/compile_commands.json" | grep -E "^$ROOT/(src|client|inspect)/" | LC_ALL=C sort -u
}

# What is the same for all files: the checks, the program, where clang's own and the system's headers come from.
common() {
    cat .clang-tidy
    clang-tidy --version | head -n 1
    dpkg-query -W -f '${db:Status-Status} ${Package} ${Version}\n' '*clang*' 'libc6-dev' 'libstdc++*' '*mingw*' |
        grep '^installed'
}

# hashes_of BUILD: "object hash" for everything that an object of the last build was made from.
hashes_of() {
    (
        cd "$1"
        ninja -t deps | awk '/^[^ ].*VALID\)$/ { sub(/:.*/, ""); object = $0; next } /^[^ ]/ { object = "" }
            /^    / && object { print object "\t" substr($0, 5) }' >"$work/deps"
        cut -f 2 "$work/deps" | LC_ALL=C sort -u | tr '\n' '\0' | xargs -0 sha256sum >"$work/hashes" 2>/dev/null || true
        awk -F '\t' 'NR == FNR { hash[substr($0, 67)] = substr($0, 1, 64); next } { print $1, $2 in hash ? hash[$2] : "missing" }' \
            "$work/hashes" "$work/deps"
    )
}

# keys_of BUILD WORDS...: "key file" for each source that was built: a hash of all that clang-tidy reads of it.
keys_of() {
    local build=$1 before
    before=$({ common && printf '%s\n' "${@:2}"; } | sha256sum)
    jq -r '.[] | [(.command | capture(" -o (?<object>[^ ]+) ").object), .file, .command] | @tsv' "$build/compile_commands.json" >"$work/commands"
    hashes_of "$build" | LC_ALL=C sort -u | awk -v before="$before" -v root="$ROOT" -F '\t' '
        NR == FNR { split($0, word, " "); headers[word[1]] = headers[word[1]] " " word[2]; next }
        $1 in headers && headers[$1] !~ / missing/ { file = $2; gsub(root, "", $3); print file "\t" before " " $3 headers[$1] }' - "$work/commands" |
        while IFS=$'\t' read -r file text; do printf '%s %s\n' "$(sha256sum <<<"$text" | cut -c1-64)" "$file"; done
}

# tidy BUILD FILE WORDS...
tidy() {
    local build=$1 file=$2 key output
    shift 2
    key=$(grep -F " $file" "$work/keys" | cut -d ' ' -f 1 | tr -d '\n') || true
    if [ -z "$all" ] && [ -n "$key" ] && [ -e "$cache/$key" ]; then
        touch "$cache/$key"
        return 0
    fi
    printf 'looked at %s\n' "${file#"$ROOT"/}"
    output=$(clang-tidy --quiet -p "$build" "$@" "$file" 2>&1) || { printf '%s\n' "$output"; return 1; }
    [ -z "$key" ] || touch "$cache/$key"
}
export -f tidy
export work cache all ROOT

# check PART
check() {
    local build=$BUILD/windows-debug words=("${shell_words[@]}") chosen
    files_of "$BUILD/native-asan" >"$work/core"
    if [ "$1" = core ]; then
        build=$BUILD/native-asan words=("${core_words[@]}")
        chosen=$(cat "$work/core")
    else
        chosen=$(comm -13 "$work/core" <(files_of "$build"))
    fi
    keys_of "$build" "${words[@]}" >"$work/keys"
    printf '%s\n' "$chosen" | xargs -P "${MOORLAK_TIDY_JOBS:-$(nproc)}" -I{} bash -c 'tidy "$@"' _ "$build" {} "${words[@]}"
}

status=0
for part in "${parts[@]}"; do check "$part" || status=1; done
# What nobody asked for in a month.
find "$cache" -type f -mtime +30 -delete
exit "$status"
