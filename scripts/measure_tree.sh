#!/usr/bin/env bash
# Prints how the tree is built: units, their sizes, what their lines are, locks, variables, tests beside the product.
#   measure_tree.sh [BUILD]    variables are counted in the libraries of this Windows build (windows-debug without BUILD)
source "$(dirname "$0")/common.sh"
cd "$ROOT"
build=${1:-$BUILD/windows-debug}

# A unit is a header with its bodies, or one of these alone.
units() { git ls-files 'src/*.h' 'src/*.cpp' | sed -E "s/(_win)?\.(h|cpp)$//" | LC_ALL=C sort -u; }

unit_sizes() {
    local unit
    while read -r unit; do
        { cat "$unit".h "$unit".cpp "$unit"_win.cpp 2>/dev/null || true; } | wc -l
    done < <(units) | sort -n
}

# lines KIND FILES...: how many lines are of this kind, in per cent.
share() {
    local pattern=$1
    shift
    cat "$@" | awk -v pattern="$pattern" '$0 ~ pattern { n++ } END { printf "%.1f", 100 * n / NR }'
}

count() { cat "$@" | wc -l; }

# Variables of static storage duration that can change, those inside functions with them; no guards of their initialisation.
variables() {
    find "$build/src" -name 'lib*.a' -print0 |
        xargs -0 x86_64-w64-mingw32-nm --demangle |
        grep -E '^[0-9a-f]+ [bBdD] (moorlak::|\(anonymous)' | grep -vc 'guard variable'
}

mapfile -t sizes < <(unit_sizes)
mapfile -t source < <(git ls-files 'src/*.h' 'src/*.cpp')
mapfile -t bodies < <(git ls-files 'src/*.cpp')
mapfile -t product < <(git ls-files 'src/*.h' 'src/*.cpp' 'client/*.h' 'client/*.cpp' 'inspect/*.h' 'inspect/*.cpp')
mapfile -t tests < <(git ls-files 'tests/*.h' 'tests/*.cpp')
under=0
for size in "${sizes[@]}"; do [ "$size" -ge 60 ] || under=$((under + 1)); done

say "units: ${#sizes[@]}, median $((sizes[${#sizes[@]} / 2])) lines, $under under 60"
say "blank, include and namespace lines: $(share '^ *$|^#|^(inline )?namespace|^}  // namespace' "${source[@]}") %"
say "comment lines in bodies: $(share '^ *//' "${bodies[@]}") %"
say "locks: $(cat "${source[@]}" | grep -cE '^ *(mutable )?(Mutex|ExclusiveLock|std::mutex|SRWLOCK) [a-zA-Z]+( =.*)?;')"
[ ! -d "$build/src" ] || say "variables that outlive a call: $(variables)"
say "product: $(count "${product[@]}") lines, tests: $(count "${tests[@]}") lines"
