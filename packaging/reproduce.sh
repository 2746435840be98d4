#!/bin/bash
# Builds the packages twice, in folders with different names and in different surroundings, and
# compares the bytes. Run by ./dev package --check.
set -euo pipefail

sources=$(cd "$(dirname "$0")/.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# build FOLDER SETTING...: the package of a copy of the sources, with these environment settings.
build() {
    local folder=$scratch/$1
    shift
    mkdir -p "$folder"
    tar -C "$sources" --exclude=./build --exclude=./.git -c . | tar -C "$folder" -x
    env CCACHE_DISABLE=1 "$@" "$folder/dev" package >"$folder.log" 2>&1 || {
        tail -20 "$folder.log"
        exit 1
    }
    echo "built in $folder"
}
(umask 022 && build one TZ=UTC LC_ALL=C)
(umask 077 && build a/longer/name TZ=Asia/Tokyo LC_ALL=C.UTF-8 HOME=/nonexistent)

cd "$scratch"
for file in package*/libvaltrosse-dom*.so package*/vtdom deb/*.deb; do
    for path in one/build/$file; do
        cmp "$path" "a/longer/name/${path#one/}"
        sha256sum "$path" | sed 's|one/build/||'
    done
done
echo "Both builds gave the same bytes."
