#!/bin/bash
# Counts the instructions of one call of each case and of its floor, under callgrind, and compares them
# with the recorded ones: a slower call shows on a busy machine, too.
#
#     bench/instructions.sh build/release/valtrosse-count-calls bench/instructions-64.txt [--update]
#
# More than 3 percent over the record is a failure. Fewer is none; --update records it.
set -euo pipefail
program=$1 record=$2 mode=${3:-}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
valgrind --quiet --tool=callgrind --callgrind-out-file="$folder/out" "$program"

repetitions=100 # as in count_calls.cpp
for part in $(printf '%s\n' "$folder"/out.* | sort -V); do
    awk -v repetitions=$repetitions '
        sub(/^desc: Trigger: Client Request: /, "") { name = $0 }
        /^(summary|totals): / && name != "" { printf "%s|%d\n", name, $2 / repetitions; exit }' "$part"
done | awk -F'|' '
    sub(/:floor$/, "", $1) { floor[$1] = $2; next }
    { call[$1] = $2; order[++count] = $1 }
    END { for (i = 1; i <= count; ++i)
              printf "%-32s %6d %6d %5.2f\n", order[i], call[order[i]], floor[order[i]],
                     call[order[i]] / floor[order[i]] }' >"$folder/counts"

{
    printf '%-32s %6s %6s %5s\n' "# instructions of one" call floor ratio
    cat "$folder/counts"
} >"$folder/table"
cat "$folder/table"
"$(dirname "$0")/compare_counts.sh" "$folder/table" "$record" 3 "$mode"
