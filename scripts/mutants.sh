#!/usr/bin/env bash
# mutants.sh [SECONDS] [SEED] [FILE...]: do the core's tests notice a slip? One small wrong change after the other is
# made to a core file (moorlak_mutants lists them), in an order that the seed decides, until the time is over (ten
# minutes) or all are tried. A change with which all tests pass is a survivor: it is printed with its place. Either a
# test is missing, or the change makes no difference that a test could see; then it is listed with the reason in
# tests/mutants/equivalent.txt. With FILEs (src/config/text_scan.cpp) only these are changed.
#
# It works on a copy of the tree, in build/mutants, and exits with 1 if a mutant survived.
source "$(dirname "$0")/common.sh"

seconds=${1:-600} seed=${2:-$RANDOM}
shift $(($# < 2 ? $# : 2))
chosen=("$@")
work=$BUILD/mutants
tree=$work/tree native=$work/native equivalent=$ROOT/tests/mutants/equivalent.txt
# Three quarters of the time of all tests: texts of megabytes, and waits of a second and more. The same code has other tests.
slow='*Hostile*:*Megabytes*:LongTexts.*:DnsBackup.LongTexts*:AdapterWait.GoesOnAfter*:AdapterWait.WaitsForNone*'

copy_tree() {
    rm -rf "$tree"
    mkdir -p "$tree"
    (
        cd "$ROOT"
        git ls-files -co --exclude-standard -z | while IFS= read -r -d '' file; do
            [ ! -e "$file" ] || printf '%s\0' "$file"
        done | xargs -0 cp -a --parents -t "$tree"
    )
}

# Without sanitizers, optimisation and debugging information, and with the standard library's headers already compiled.
flags='-O0 -fPIC -D_GLIBCXX_ASSERTIONS'

compile_headers() {
    (cd "$tree" && grep -rhoE '^#include <[a-z_]+>' src tests/unit) | LC_ALL=C sort -u >"$work/headers"
    cmp -s "$work/headers" "$work/standard.h" && [ -e "$work/standard.h.gch" ] && return
    cp "$work/headers" "$work/standard.h"
    # shellcheck disable=SC2086
    c++ -std=c++20 $flags -x c++-header -o "$work/standard.h.gch" "$work/standard.h"
}

compile_tests() {
    cmake -S "$tree" -B "$native" -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
        -DCMAKE_CXX_FLAGS="$flags -include $work/standard.h" &&
        cmake --build "$native" --target moorlak_core_tests moorlak_mutants
}

# The core becomes a shared library: a mutant is then one object in a library of its own, loaded before it, and nothing
# else is linked again.
link_tests() {
    local archive=src/libmoorlak_core.a target=tests/moorlak_core_tests link
    cd "$native" && c++ -shared -o "$work/libcore.so" -Wl,--whole-archive "$archive" -Wl,--no-whole-archive &&
        link=$(ninja -t commands "$target" | tail -n 1) || return
    link=${link/ -o $target/ '-o "$work/core_tests"'}
    eval "${link// $archive/ '"$work/libcore.so"'}"
}

# The compiler and its flags for each core file.
declare -A compile
read_commands() {
    local file command
    while IFS=$'\t' read -r file command; do
        compile[${file#"$tree"/}]=${command%% -o *}
    done < <(jq -r --arg src "$tree/src/" '.[] | select(.file | startswith($src)) | [.file, .command] | @tsv' \
        "$native/compile_commands.json")
}

# build_mutant FILE NUMBER. A slip that only a warning shows is still a slip: warnings are off.
build_mutant() (
    cd "$tree" && "$native/tests/mutants/moorlak_mutants" write "$1" "$2" >"$work/mutant.cpp" && cd "$native" &&
        eval "${compile[$1]}"' -w -o "$work/mutant.o" -c "$work/mutant.cpp"' &&
        c++ -shared -o "$work/mutant.so" "$work/mutant.o"
) >"$work/mutant.log" 2>&1

# run_tests FILTER [LIBRARY]. With a mutant they may run for ever, and use more and more memory.
run_tests() (
    cd "$work/run" && ulimit -c 0 -t 30 -v 4194304 &&
        exec timeout -k 5 300 env LD_PRELOAD="${2:-}" "$work/core_tests" --gtest_fail_fast --gtest_filter="$1"
) >"$work/tests.log" 2>&1 </dev/null

# own_suites FILE: the filter for the suites of the file's own test, which most probably notice.
own_suites() {
    local test=${1/#src/tests\/unit}
    sed -nE 's/^TEST(_[FP])?\((\w+),.*/*\2.*/p' "$tree/${test%.cpp}_test.cpp" 2>/dev/null | sort -u | paste -sd :
}

# try_mutant FILE NUMBER: prints what happened to it.
try_mutant() {
    local own status=0
    build_mutant "$1" "$2" || { printf 'uncompiled' && return; }
    own=$(own_suites "$1")
    [ -z "$own" ] || run_tests "$own-$slow" "$work/mutant.so" || status=$?
    [ "$status" -ne 0 ] || run_tests "*-$slow" "$work/mutant.so" || status=$?
    case $status in
    0) printf 'survived' ;;
    124 | 137 | 152) printf 'endless' ;;
    *) printf 'killed' ;;
    esac
}

declare -A reasons
read_equivalent() {
    local file before after reason
    while IFS=$'\t' read -r file before after reason; do
        reasons[$file$'\t'$before$'\t'$after]=$reason
    done < <(grep -v '^#' "$equivalent" | sed 's/ @@ /\t/g')
}

# An entry that no mutant matches any more is reported.
check_equivalent() {
    local key
    cut -f 1,4- "$work/mutants" | LC_ALL=C sort -u >"$work/keys"
    for key in "${!reasons[@]}"; do
        grep -qxF -- "$key" "$work/keys" || say "in equivalent.txt, but there is no such mutant: ${key//$'\t'/ @@ }"
    done
}

mkdir -p "$work/run"
export CCACHE_BASEDIR=$tree CCACHE_SLOPPINESS=pch_defines,time_macros
copy_tree
(compile_headers && compile_tests && link_tests) >"$work/build.log" 2>&1 || { tail -n 20 "$work/build.log"; exit 1; }
read_commands
run_tests "*-$slow" || { tail -n 20 "$work/tests.log"; exit 1; }
(cd "$tree" && "$native/tests/mutants/moorlak_mutants" list "$seed" "${!compile[@]}") >"$work/mutants"
read_equivalent
check_equivalent

export CCACHE_DISABLE=1
declare -A count=([killed]=0 [endless]=0 [survived]=0 [uncompiled]=0 [equivalent]=0)
SECONDS=0
while IFS=$'\t' read -r -u 3 file number line before after && [ "$SECONDS" -lt "$seconds" ]; do
    [ ${#chosen[@]} -eq 0 ] || [[ " ${chosen[*]} " == *" $file "* ]] || continue
    if [ -n "${reasons[$file$'\t'$before$'\t'$after]:-}" ]; then
        result=equivalent
    else
        result=$(try_mutant "$file" "$number")
    fi
    count[$result]=$((count[$result] + 1))
    [ "$result" != survived ] || printf 'survived: %s:%s\n  %s\n  %s\n' "$file" "$line" "$before" "$after"
done 3<"$work/mutants"

tried=$((count[killed] + count[endless] + count[survived]))
say "seed $seed: $tried mutants tried in $SECONDS s; ${count[killed]} killed, ${count[endless]} stopped at the limit of time, ${count[survived]} survived"
say "not tried: ${count[equivalent]} equivalent, ${count[uncompiled]} that do not compile"
[ "${count[survived]}" -eq 0 ]
