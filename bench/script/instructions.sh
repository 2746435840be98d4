#!/bin/bash
# Counts the instructions of one call from JavaScript under callgrind, the engine's own included,
# and compares them with the recorded ones. What the call itself takes is in ../instructions-64.txt.
#
#     bench/script/instructions.sh build/release/vtdom [--update]
#
# More than 5 percent over the record is a failure. Fewer is none; --update records it.
set -euo pipefail
vtdom=$1 mode=${2:-}
here=$(dirname "${BASH_SOURCE[0]}")

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# count KIND ROUNDS: the instructions of the whole process.
count() {
    valgrind --tool=callgrind --smc-check=all-non-file --callgrind-out-file="$folder/out" \
        "$vtdom" "$here/calls.js" "$1" "$2" 2>"$folder/log"
    sed -n 's/^summary: //p; s/^totals: //p' "$folder/out" | head -1
}

sed -n "s/^    '\(.*\)'(item.*/\1/p" "$here/calls.js" >"$folder/kinds"
while read -r kind; do
    few=$(count "$kind" 20000)
    many=$(count "$kind" 70000)
    printf '%-32s %6d\n' "$kind" $(((many - few) / 50000))
done <"$folder/kinds" | tee "$folder/counts"
"$here/../compare_counts.sh" "$folder/counts" "$here/instructions.txt" 5 "$mode"
