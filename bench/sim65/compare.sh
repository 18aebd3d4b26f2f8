#!/usr/bin/env bash
# tessarine-cli cpu-run beside cc65's sim65 on the same two programs (docs/cpu.md, "Speed"):
#   busy      busy.s: 400 x 256 x 256 passes of LDA abs,X / ADC # / STA abs,X / INX / BNE
#   cpuheavy  cpuheavy.c compiled by cc65: a byte sieve and a bitwise CRC-32, repeated
# Each program is assembled or compiled once, then linked twice from the same object: with
# sim65c02.lib for sim65, and with flat-crt0.s and flat.cfg as a flat image for cpu-run (loaded
# and started at $0200; main() returning 0 ends on the trap at $0203, anything else at $0206).
# Every runner runs each program RUNS times (default 3), the runners taking turns, under
# /usr/bin/time; the script prints each wall time, then the best, the median and the range.
#
#   bench/sim65/compare.sh [--runs N] [--callgrind] [CLI...]
#
# CLI: one or more tessarine-cli binaries to time (default build/release/bin/tessarine-cli),
# for example an older build beside the new one. --callgrind also prints the host instructions
# each runner executes (valgrind --tool=callgrind), a figure that does not depend on the load.
# Needs cc65 (ca65, ld65, cc65, cl65, sim65) and /usr/bin/time.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)

runs=3
callgrind=0
clis=()
while [ $# -gt 0 ]; do
    case "$1" in
    --runs) runs=$2; shift 2 ;;
    --callgrind) callgrind=1; shift ;;
    *) clis+=("$1"); shift ;;
    esac
done
[ ${#clis[@]} -eq 0 ] && clis=("$root/build/release/bin/tessarine-cli")
for tool in ca65 ld65 cc65 cl65 sim65 /usr/bin/time; do
    command -v "$tool" > /dev/null || { echo "compare.sh: $tool is missing (cc65, time)" >&2; exit 2; }
done
for i in "${!clis[@]}"; do
    [ -x "${clis[$i]}" ] || { echo "compare.sh: no tessarine-cli at ${clis[$i]}" >&2; exit 2; }
    clis[$i]=$(realpath "${clis[$i]}")
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
ca65 --cpu 65C02 -I /usr/share/cc65/asminc -o crt0.o "$here/flat-crt0.s"
ca65 --cpu 65C02 -o busy.o "$here/busy.s"
cc65 -t sim65c02 -O -o cpuheavy.s "$here/cpuheavy.c"
ca65 --cpu 65C02 -o cpuheavy.o cpuheavy.s
for program in busy cpuheavy; do
    cl65 -t sim65c02 -o "$program.sim" "$program.o"
    ld65 -C "$here/flat.cfg" -o "$program.bin" crt0.o "$program.o" sim65c02.lib
done

echo "load: $(uptime | sed 's/.*load average: //')"
# One timed run: prints the wall time in seconds, fails when the program's result is wrong.
timed() {
    /usr/bin/time -f "%e" -o time.txt "$@" > run.out 2> run.err || {
        echo "compare.sh: failed: $*" >&2; cat run.out run.err >&2; exit 1; }
    if [ "$1" != sim65 ] && ! grep -q '^pass: ' run.out; then
        echo "compare.sh: wrong result: $*" >&2; cat run.out >&2; exit 1
    fi
    cat time.txt
}
# best, median and range of a list of times
summary() {
    sort -n | awk '{ t[NR] = $1 } END {
        m = (NR % 2) ? t[(NR + 1) / 2] : (t[NR / 2] + t[NR / 2 + 1]) / 2
        printf "best %.2f s, median %.2f s, range %.2f-%.2f s", t[1], m, t[1], t[NR] }'
}
for program in busy cpuheavy; do
    echo "== $program"
    declare -A times=()
    for ((i = 1; i <= runs; ++i)); do
        times[sim65]+="$(timed sim65 "$program.sim") "
        for cli in "${clis[@]}"; do
            times[$cli]+="$(timed "$cli" cpu-run "$program.bin" --load '$0200' --start '$0200' \
                --success '$0203') "
        done
    done
    for runner in sim65 "${clis[@]}"; do
        printf '%-40s %s  (%s)\n' "$runner" "$(tr ' ' '\n' <<< "${times[$runner]}" | grep . |
            summary)" "${times[$runner]% }"
    done
    echo "cpu-run: $(cat run.out)"
    unset times
done

if [ $callgrind -eq 1 ]; then
    command -v valgrind > /dev/null || { echo "compare.sh: valgrind is missing" >&2; exit 2; }
    echo "== host instructions (callgrind)"
    for program in busy cpuheavy; do
        for runner in sim65 "${clis[@]}"; do
            if [ "$runner" = sim65 ]; then args=(sim65 "$program.sim"); else
                args=("$runner" cpu-run "$program.bin" --load '$0200' --start '$0200'); fi
            valgrind --tool=callgrind --callgrind-out-file=cg.out "${args[@]}" > /dev/null 2> cg.log
            printf '%-9s %-40s %s\n' "$program" "$runner" \
                "$(grep -o 'Collected : [0-9]*' cg.log | grep -o '[0-9]*')"
        done
    done
fi
