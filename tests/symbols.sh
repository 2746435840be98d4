#!/bin/bash
# Compares the libraries that a shared object needs and the names that it exports with a list.
#   symbols.sh LIBRARY LIST            prints the difference and fails when there is one
#   symbols.sh LIBRARY LIST --update   writes the list anew
#   symbols.sh LIBRARY LIST --besides NAME...   the library exports these names as well
set -euo pipefail
export LC_ALL=C

library=$1
list=$2

actual=$(
    readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/NEEDED \1/p' | sort
    nm -D --defined-only "$library" | awk '{ print $NF }' | sort
)

expected=$(<"$list")
if [[ ${3:-} == --besides ]]; then
    expected=$(grep '^NEEDED' "$list" && { grep -v '^NEEDED' "$list"; printf '%s\n' "${@:4}"; } | sort)
fi

if [[ ${3:-} == --update ]]; then
    printf '%s\n' "$actual" >"$list"
elif ! diff -u --label "$list" --label "$library" - <(printf '%s\n' "$actual") <<<"$expected"; then
    echo "The library's dynamic symbols or needed libraries changed. When that is meant, run:" >&2
    echo "  $0 $library $list --update" >&2
    exit 1
fi
