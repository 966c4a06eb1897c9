#!/usr/bin/env bash
# What stands between backticks in the documents must exist: as a text or a name in the code, or as a file or folder of
# the tree; of a command line only the program, of an error reply what follows "ERR:". "<...>", "*" and "…" stand for
# anything. scripts/docs_words.txt lists what is right although it is neither, because it belongs to Windows or to the
# reader. Links must lead somewhere.
#   check_docs.sh [FILES...]    the documents on the product without FILES
source "$(dirname "$0")/common.sh"
cd "$ROOT"

documents=("$@")
[ $# -gt 0 ] || documents=(README.md CONTRIBUTING.md SECURITY.md CHANGELOG.md docs/*.md)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# The code as one line, literals that are continued in the next line joined, without the escapes in them.
git ls-files src client inspect lab tests scripts cmake packaging run test .ci CMakeLists.txt CMakePresets.json |
    grep -vE '\.md$|^scripts/docs_words\.txt$' | tr '\n' '\0' | xargs -0 cat | tr '\n' ' ' |
    sed -E 's/" +"//g; s/\\(["\\])/\1/g' >"$scratch/code"
git ls-files | awk -F/ '{ path = $1; print path; for (i = 2; i <= NF; i++) print path = path "/" $i }' | sort -u >"$scratch/files"

# A file or folder, by the end of its path.
is_file() {
    awk -v end="/${1%/}" '{ path = "/" $0 } substr(path, length(path) - length(end) + 1) == end { found = 1; exit }
        END { exit !found }' "$scratch/files"
}

# Code blocks are examples of commands and output.
texts_of() {
    awk '/^ *```/ { inside = !inside; next } !inside' "$1" | tr '\n' ' ' | grep -oE '`[^`]+`' |
        sed -E 's/^`|`$//g; s/  +/ /g' | sort -u
}

is_known() { grep -qF -- "$1" "$scratch/code" || is_file "$1"; }

exists() {
    local text=${1#ERR:} part
    case $text in
    ./*' '* | scripts/*' '*) text=${text%% *} text=${text#./} ;;
    esac
    while read -r part; do
        [ ${#part} -lt 3 ] || is_known "$part" || return 1
    done < <(sed -E 's/<[^>]*>|\*|…/\n/g' <<<"$text")
}

links_of() { grep -oE '\]\([^)#]+' "$1" | sed 's/^](//' | grep -vE '^https?:' | sort -u; }

failures=0
report() {
    say "$1"
    failures=$((failures + 1))
}
for document in "${documents[@]}"; do
    while read -r text; do
        exists "$text" || grep -qxF -- "$text" scripts/docs_words.txt ||
            report "$document: \`$text\` is neither in the code nor in the tree"
    done < <(texts_of "$document")
    while read -r link; do
        [ -e "$(dirname "$document")/$link" ] || report "$document: no file for the link $link"
    done < <(links_of "$document")
done
say "${#documents[@]} documents, $failures failures"
[ "$failures" -eq 0 ]
