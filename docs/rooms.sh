#!/bin/bash
# Checks that no file includes what its room may not: the table "Rooms" of docs/architecture.md.
#
#     docs/rooms.sh        from the root of the sources; names what is wrong, and fails then
#
# 1. Reads the rooms and what each may include from the table.
# 2. Finds the room of each source file, and of each file that it includes with quotes.
# 3. Reports an include of another room that the table does not allow.
# 4. Reports two rooms that may include each other.
set -euo pipefail

room_of() { # FILE: the longest name of a room that it begins with
    local folder=$1
    while [[ $folder == */* ]]; do
        folder=${folder%/*}
        [[ ! -v allowed[$folder] ]] || break
    done
    echo "$folder"
}

declare -A allowed
while IFS='|' read -r _ room _ others _; do
    [[ $room =~ \`([a-z0-9/]+)/\` ]] || continue
    room=${BASH_REMATCH[1]}
    others=${others//[\`,]/} # "a/ b/"
    allowed[$room]=${others//\/ / }
done < <(sed -n '/^## Rooms/,/^## /p' docs/architecture.md | grep '^|' | tail -n +3)

wrong=0
while IFS=: read -r file include; do
    for root in include/ src/ ''; do
        [[ -e $root$include ]] || continue
        from=$(room_of "$file") to=$(room_of "$root$include")
        [[ $from != "$to" && " ${allowed[$from]:-} " != *" $to "* ]] || break
        echo "$file includes $include: $from/ may not include $to/"
        wrong=1
        break
    done
done < <(grep -rnoP '^#include "\K[^"]+' --include='*.?pp' src host script cli bench fuzz tests |
    sed 's/:[0-9]*:/:/')

for room in "${!allowed[@]}"; do
    for other in ${allowed[$room]}; do
        [[ " ${allowed[$other]:-} " == *" $room "* ]] || continue
        echo "$room/ and $other/ may include each other"
        wrong=1
    done
done
exit $wrong
