#!/usr/bin/env bash
# Applies each deliberate fault of this folder alone, builds, runs the whole suite and records
# which tests fail; then takes the fault out again. The table it prints is what tests/README.md
# keeps: a fault that no test catches is a hole in the suite.
#   tests/faults/run.sh BUILD_DIR [NAME_PART]
# BUILD_DIR is a configured build of this checkout (for example build/release); NAME_PART
# limits the run to the faults whose file name contains it. The tree must have no uncommitted
# change in src/ or app/, since every fault is applied and reversed with git.
set -uo pipefail
cd "$(dirname "$0")/../.."
build=$(cd "${1:?usage: tests/faults/run.sh BUILD_DIR [NAME_PART]}" && pwd)
filter=${2:-}
logs=$build/faults
mkdir -p "$logs"

if ! git diff --quiet -- src app; then
    echo "src/ or app/ has uncommitted changes: commit or stash them first" >&2
    exit 2
fi
current=""
restore() { [ -n "$current" ] && git apply -R "$current" 2> /dev/null; current=""; }
trap 'restore; exit 130' INT TERM

printf '%-34s %-7s %s\n' fault caught "failing tests"
for patch in tests/faults/*.patch; do
    name=$(basename "$patch" .patch)
    [[ -n $filter && $name != *"$filter"* ]] && continue
    if ! git apply "$patch"; then
        printf '%-34s %-7s %s\n' "$name" "?" "the patch no longer applies"
        continue
    fi
    current=$patch
    if ! cmake --build "$build" -j2 > "$logs/$name.build.log" 2>&1; then
        restore
        printf '%-34s %-7s %s\n' "$name" "?" "does not build (see $logs/$name.build.log)"
        continue
    fi
    (cd "$build" && ctest -j2 --timeout 60 > "$logs/$name.ctest.log" 2>&1)
    restore
    failed=$(sed -n '/The following tests FAILED:/,$p' "$logs/$name.ctest.log" |
        sed -nE 's/^[[:space:]]+[0-9]+ - ([^ ]+) .*/\1/p')
    printf '%s\n' "$failed" > "$logs/$name.failed"
    count=$(grep -c . <<< "$failed")
    if [ "$count" -eq 0 ]; then
        printf '%-34s %-7s %s\n' "$name" "NO" "-"
    else
        printf '%-34s %-7s %s\n' "$name" "yes($count)" "$(tr '\n' ' ' <<< "$failed" | cut -c1-200)"
    fi
done
# Leave the build matching the tree again.
cmake --build "$build" -j2 > "$logs/final.build.log" 2>&1
