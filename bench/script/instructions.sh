#!/bin/bash
# Counts the instructions of one call from JavaScript under callgrind, the engine's own included,
# and compares them with the recorded ones. What the call itself takes is in ../instructions.txt.
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
    valgrind --tool=callgrind --callgrind-out-file="$folder/out" \
        "$vtdom" "$here/calls.js" "$1" "$2" 2>"$folder/log"
    sed -n 's/^summary: //p; s/^totals: //p' "$folder/out" | head -1
}

sed -n "s/^    '\(.*\)': function.*/\1/p" "$here/calls.js" >"$folder/kinds"
while read -r kind; do
    few=$(count "$kind" 200)
    many=$(count "$kind" 1200)
    printf '%-32s %6d\n' "$kind" $(((many - few) / 1000))
done <"$folder/kinds" | tee "$folder/counts"
if [[ $mode == --update ]]; then
    cp "$folder/counts" "$here/instructions.txt"
    exit 0
fi
awk '
    { kind = substr($0, 1, 32); count = substr($0, 33) + 0 }
    FNR == NR { recorded[kind] = count; next }
    !(kind in recorded) { print "not recorded: " kind; failed = 1; next }
    count > 1.05 * recorded[kind] {
        printf "%s takes %d instructions, recorded are %d\n", kind, count, recorded[kind]
        failed = 1
    }
    END { exit failed }' "$here/instructions.txt" \
    "$folder/counts"
