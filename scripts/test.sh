#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors, runs the whole test suite, then
# builds and runs it once more under AddressSanitizer and UndefinedBehaviorSanitizer, and
# last fuzzes the three file readers for a short, bounded time. Exits non-zero on any failure.
#   scripts/test.sh           all three
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
    (cd "$dir" && ctest --output-on-failure -j "$jobs" --timeout 600) 2>&1 | tee "$dir.ctest.log"
    # ctest's own summary: "100% tests passed, 0 tests failed out of 411".
    local summary total failed skipped
    summary=$(grep -E '^[0-9]+% tests passed, [0-9]+ tests? failed out of [0-9]+' "$dir.ctest.log" | tail -n 1)
    total=$(sed -E 's/.* out of ([0-9]+).*/\1/' <<< "$summary")
    failed=$(sed -E 's/.*passed, ([0-9]+) tests? failed.*/\1/' <<< "$summary")
    skipped=$(grep -cE '^[[:space:]]+[0-9]+ - .* \(Skipped\)$' "$dir.ctest.log" || true)
    summaries+=("$(basename "$dir"): $((total - failed - skipped)) passed, $failed failed, $skipped skipped")
}
summaries=()

mkdir -p build
run_pass build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo
if [ $quick -eq 0 ]; then
    export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
    export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
    run_pass build/sanitize -DCMAKE_BUILD_TYPE=Debug -DTESSARINE_SANITIZE=ON \
        -DTESSARINE_BUILD_BENCH=OFF
fi
if [ $quick -eq 0 ]; then
    echo "=== fuzz the file readers (20 s each)"
    CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DTESSARINE_FUZZ=ON \
        -DTESSARINE_BUILD_TESTS=OFF -DTESSARINE_BUILD_BENCH=OFF > build/fuzz.configure.log 2>&1 \
        || { cat build/fuzz.configure.log; exit 1; }
    cmake --build build/fuzz -j "$jobs" --target fuzz_settings_reader fuzz_appliance_reader \
        fuzz_symbols_reader
    for reader in settings appliance symbols; do
        # New inputs go into a scratch folder, the checked-in seeds stay as they are, and a
        # crashing input is written next to the scratch folder.
        scratch=build/fuzz/corpus-$reader
        mkdir -p "$scratch"
        extra=()
        [ -f "fuzz/$reader.dict" ] && extra+=("-dict=fuzz/$reader.dict")
        "build/fuzz/bin/fuzz_${reader}_reader" -max_total_time=20 -timeout=10 \
            -artifact_prefix=build/fuzz/ "${extra[@]}" "$scratch" "fuzz/corpus/$reader" \
            > "build/fuzz/$reader.log" 2>&1 || { tail -n 60 "build/fuzz/$reader.log"; exit 1; }
        echo "fuzz_${reader}_reader: $(grep -E '^Done [0-9]+ runs' "build/fuzz/$reader.log")"
    done
fi
echo "=== all test passes succeeded"
printf '%s\n' "${summaries[@]}"
