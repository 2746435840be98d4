#!/bin/bash
# Installs the packages of an architecture into a fresh Debian, uses them there as a new user would, those
# of another architecture beside them, and removes all. Run as root by ./dev package --try.
#   try.sh FOLDER ARCHITECTURE [OTHER_ARCHITECTURE]
set -euo pipefail

folder=$1 architecture=$2 other=${3:-}
tests=$(cd "$(dirname "$0")/../tests" && pwd)
scratch=$(mktemp -d)
root=$scratch/root
trap 'rm -rf --one-file-system "$scratch"' EXIT
chmod 755 "$scratch"

say() { printf '==> %s\n' "$*"; }

# quietly COMMAND...: shows what it wrote only when it fails.
quietly() {
    "$@" >"$scratch/log" 2>&1 || {
        tail -20 "$scratch/log"
        exit 1
    }
}

# inside COMMAND...: in the new system, with a /proc of its own, which goes with the command.
inside() {
    unshare --mount --pid --fork --mount-proc="$root/proc" \
        chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive "$@" </dev/null
}
# user COMMAND...: the same, without root's rights.
user() { inside setpriv --reuid=nobody --regid=nogroup --clear-groups "$@"; }
install() { quietly inside apt-get install -y -q --no-install-recommends "$@"; }

# The release and the mirror are those of this machine.
# shellcheck source=/dev/null
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
# shellcheck disable=SC2016
mirror=$(apt-get indextargets --format '$(CODENAME) $(REPO_URI)' |
    sed -n "s/^$release //p" | sort -u | head -1)
say "Setting up Debian $release for $architecture"
quietly debootstrap --arch="$architecture" --variant=minbase "$release" "$root" "$mirror"
cp "$folder"/*.deb "$root/tmp"
cp -r "$tests/consumer" "$tests"/{install_test.sh,transcript.pl} "$root/opt"

# packages ARCHITECTURE NAME...: the files of these packages, as they lie inside.
packages() {
    local name
    for name in "${@:2}"; do
        (cd "$root" && printf '/%s\n' "tmp/$name"_*_"$1.deb")
    done
}

say "Installing vtdom and what it depends on"
mapfile -t files < <(packages "$architecture" libvaltrosse-dom valtrosse-dom)
install "${files[@]}" shared-mime-info

say "Running the demo"
user mkdir /tmp/demo
user vtdom /usr/share/doc/valtrosse-dom/examples/demo.js /tmp/demo | grep -F 'ok:'

say "Following README, tutorial and cookbook"
install docbook-xml docbook-xsl-doc-html libxml2-utils
docs=/usr/share/doc/valtrosse-dom
for document in README docs/tutorial docs/cookbook; do
    user perl /opt/transcript.pl $docs/$document.md $docs/examples/data /usr/bin/vtdom
done

say "Building hosts against it"
mapfile -t files < <(packages "$architecture" libvaltrosse-dom-dev)
install "${files[@]}" cmake make g++ pkg-config
inside /opt/install_test.sh --installed /usr

if [[ -n $other ]]; then
    say "Installing the library for $other beside it"
    inside dpkg --add-architecture "$other"
    quietly inside apt-get update
    mapfile -t files < <(packages "$other" libvaltrosse-dom libvaltrosse-dom-dev)
    install "${files[@]}" gcc-multilib
    inside cc -m32 $docs/examples/host.c -o /tmp/host
    inside /tmp/host "/usr/lib/$other-linux-gnu/valtrosse/libvaltrosse-dom.so"
fi

say "Removing it"
quietly inside apt-get purge -y -q valtrosse-dom '?name(^libvaltrosse-dom)'
left=$(inside find / -xdev -path /proc -prune -o -iname '*valtrosse*' -not -path '/tmp/*' \
    -not -path '/var/log/*' -print -o -iname '*vtdom*' -print)
[[ -z $left ]] || {
    printf 'FAILED: left behind:\n%s\n' "$left"
    exit 1
}
say "The packages for $architecture work"
