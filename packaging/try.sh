#!/bin/bash
# Installs the package into a fresh Debian, uses it there as a new user would, and removes it.
# Run as root by ./dev package --try.
#   try.sh PACKAGE.deb
set -euo pipefail

package=$1
name=$(basename "$package")
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
say "Setting up Debian $release for i386"
quietly debootstrap --arch=i386 --variant=minbase "$release" "$root" "$mirror"
cp "$package" "$root/tmp"
cp -r "$tests/consumer" "$tests"/{install_test.sh,transcript.pl} "$root/opt"

say "Installing $name and what it depends on"
install "/tmp/$name" shared-mime-info

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
install cmake make g++ pkg-config
inside /opt/install_test.sh --installed /usr

say "Removing it"
quietly inside apt-get purge -y -q valtrosse-dom
left=$(inside find / -xdev -path /proc -prune -o -iname '*valtrosse*' -not -path '/tmp/*' \
    -not -path '/var/log/*' -print -o -iname '*vtdom*' -print)
[[ -z $left ]] || {
    printf 'FAILED: left behind:\n%s\n' "$left"
    exit 1
}
say "The package works"
