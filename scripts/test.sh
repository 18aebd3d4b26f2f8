#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors, runs the whole test suite, then
# builds and runs it once more under AddressSanitizer and UndefinedBehaviorSanitizer.
# Exits non-zero on any failure.
#   scripts/test.sh           both passes
#   scripts/test.sh --quick   the plain pass only
set -euo pipefail
cd "$(dirname "$0")/.."

quick=0
[ "${1:-}" = "--quick" ] && quick=1

bash scripts/install-deps.sh

jobs=$(nproc 2>/dev/null || echo 2)

run_pass() {
    local dir=$1; shift
    echo "=== configure $dir ($*)"
    cmake -S . -B "$dir" -G Ninja -DTESSARINE_WERROR=ON "$@" > "$dir.configure.log" 2>&1 \
        || { cat "$dir.configure.log"; return 1; }
    echo "=== build $dir"
    cmake --build "$dir" -j "$jobs"
    echo "=== test $dir"
    (cd "$dir" && ctest --output-on-failure -j "$jobs" --timeout 600)
}

mkdir -p build
run_pass build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo
if [ $quick -eq 0 ]; then
    export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
    export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
    run_pass build/sanitize -DCMAKE_BUILD_TYPE=Debug -DTESSARINE_SANITIZE=ON \
        -DTESSARINE_BUILD_BENCH=OFF
fi
echo "=== all test passes succeeded"
