#!/bin/bash
# An installation used from outside: the script runner with its man page and completion, and a
# program that embeds the host, built with CMake and with pkg-config.
#   install_test.sh BUILD_DIR            installs into a scratch folder
#   install_test.sh --installed PREFIX   uses what is there, such as a package's /usr
# Programs are built with $CXX and $CXXFLAGS, those in C with $CC and the same flags.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
if [[ $1 == --installed ]]; then
    prefix=$2
else
    prefix=$scratch/a\ prefix
    cmake --install "$1" --prefix "$prefix" >/dev/null
    find "$prefix/share/doc" -name '*.md' -print0 |
        xargs -0 perl "$here/../docs/markdown.pl" check
fi
cd "$scratch"
read -ra compiler <<<"${CXX:-c++} ${CXXFLAGS:-}"
lib=$prefix/lib/$("${compiler[@]}" -print-multiarch)
[[ -d $lib/valtrosse ]] || lib=$prefix/lib
vtdom=$prefix/bin/vtdom
unset VALTROSSE_PLUGIN

# start PROGRAM ARG...: a program, in an emulator where the kernel does not run it.
start() { ${VALTROSSE_EMULATOR:+"$VALTROSSE_EMULATOR"} "$@"; }
if [[ -n ${VALTROSSE_EMULATOR:-} ]]; then
    vtdom=$scratch/vtdom
    printf '#!/bin/sh\nexec "%s" "%s" "$@"\n' "$VALTROSSE_EMULATOR" "$prefix/bin/vtdom" >"$vtdom"
    chmod +x "$vtdom"
fi

# same TITLE WANTED GOT
same() {
    if [[ $2 != "$3" ]]; then
        printf 'FAILED: %s\n  wanted  %s\n  got     %s\n' "$1" "$2" "$3"
        exit 1
    fi
}

# ---- The script runner ---------------------------------------------------------------------------

same "the library" "library 1.00.001 ($lib/valtrosse/libvaltrosse-dom.so)" \
    "$("$vtdom" --version | head -1)"
same "the library that checks handles" 1 "$("$vtdom" --checked -e 'print(1)')"
same "DOM objects" "<tea/>" "$("$vtdom" -e 'print(require("dom").parseString("<tea/>").documentElement)')"
"$vtdom" -i <<<'.help xmlDOMDocGetRootNode' | grep -qF 'Gives the root element' ||
    same "the reference" "found" "not found"

options=$("$vtdom" --help | grep -oE '^  -[^ ]+' | tr -d ' ' | tr , '\n')
manual=$(zcat -f "$prefix"/share/man/man1/vtdom.1* | tr -d '\\')
for option in $options; do
    grep -qE -- "^\.B.*[ \"]$option( |\"|$)" <<<"$manual" || same "the man page" "$option" "nothing"
done
# shellcheck source=/dev/null
. "$prefix/share/bash-completion/completions/vtdom"
mkdir words
touch words/script.js words/data.xml
# complete WORD...: what bash offers for the last of the words after vtdom.
complete_words() {
    COMP_WORDS=("$vtdom" "$@") COMP_CWORD=$#
    _vtdom "$vtdom"
    echo "${COMPREPLY[*]:-}"
}
same "completion of an option" --functions "$(complete_words --plugin lib.so --fu)"
same "completion of a script" words/script.js "$(complete_words words/)"
same "completion of a script's argument" "" "$(complete_words script.js --fu)"

# ---- Programs that embed the host ----------------------------------------------------------------

cmake -S "$here/consumer" -B by-cmake "-DCMAKE_PREFIX_PATH=$prefix" \
    --log-level=WARNING >/dev/null
cmake --build by-cmake >/dev/null
same "a program built with CMake" keemun "$(start by-cmake/consumer)"

export PKG_CONFIG_PATH=$lib/pkgconfig
eval "flags=($(pkg-config --cflags --libs valtrosse-host))"
plugin=$(pkg-config --variable=plugin valtrosse-dom)
"${compiler[@]}" -std=c++20 "-DPLUGIN=\"${plugin//\\/}\"" "$here/consumer/consumer.cpp" \
    "${flags[@]}" -o by-pkg-config
same "a program built with pkg-config" keemun "$(start ./by-pkg-config)"

# The example of a host in C, against the installed header.
eval "flags=($(pkg-config --cflags valtrosse-dom))"
read -ra c_compiler <<<"${CC:-cc} ${CXXFLAGS:-} -std=c11"
"${c_compiler[@]}" -Wall -Wextra -Wno-unused-parameter -Werror "${flags[@]}" \
    "$prefix/share/doc/valtrosse-dom/examples/host.c" -ldl -o host-in-c
same "a host in C" "<tea>Keemun</tea>" "$(start ./host-in-c "${plugin//\\/}" | tail -1)"

# Pointers of a width that the records are not described for.
errors=$("${c_compiler[@]}" -w -fsyntax-only -ffreestanding -D__UINTPTR_MAX__=0xFFFF \
    "$prefix/include/valtrosse/host_abi.h" 2>&1 | grep -F error: || true)
same "pointers of another width" '"valtrosse/host_abi.h: pointers have neither 32 nor 64 bits here"' \
    "${errors#*#error }"
