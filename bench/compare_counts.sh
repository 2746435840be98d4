#!/bin/bash
# Compares counts with recorded ones: lines of a name in 32 columns and a number.
#
#     bench/compare_counts.sh COUNTS RECORD PERCENT [--update]
#
# More than PERCENT over the record is a failure. Fewer is none; --update records it.
set -euo pipefail
counts=$1 record=$2 percent=$3 mode=${4:-}

if [[ $mode == --update ]]; then
    cp "$counts" "$record"
    exit 0
fi
awk -v percent="$percent" '
    { name = substr($0, 1, 32); count = substr($0, 33) + 0 }
    FNR == NR { recorded[name] = count; next }
    /^#/ { next }
    !(name in recorded) { print "not recorded: " name; failed = 1; next }
    count > (1 + percent / 100) * recorded[name] {
        printf "%s takes %d instructions, recorded are %d\n", name, count, recorded[name]
        failed = 1
    }
    END { exit failed }' "$record" "$counts"
