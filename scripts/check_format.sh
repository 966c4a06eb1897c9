#!/usr/bin/env bash
# Every C++ file stands as .clang-format says, every Go file as gofmt says, every script parses.
source "$(dirname "$0")/common.sh"
cd "$ROOT"
git ls-files -co --exclude-standard '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
unformatted=$(git ls-files -co --exclude-standard '*.go' | xargs /usr/lib/go-1.19/bin/gofmt -l)
[ -z "$unformatted" ] || { say "gofmt: $unformatted"; exit 1; }
for script in run test .ci/run scripts/*.sh; do bash -n "$script"; done
