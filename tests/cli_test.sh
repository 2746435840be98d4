#!/bin/bash
# What a person at a terminal relies on: vtdom's exit codes, its messages and what it lists.
#   cli_test.sh VTDOM PLUGIN
set -euo pipefail

vtdom=$1
plugin=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
failures=0

fail() {
    failures=$((failures + 1))
    printf 'FAILED: %s\n--- stdout\n%s\n--- stderr\n%s\n' "$1" "$(head -5 out)" "$(head -5 err)"
}

# expect TITLE CODE WHERE TEXT COMMAND...: the command ends with CODE, and WHERE (out or err) holds
# the fixed TEXT.
expect() {
    local title=$1 code=$2 where=$3 text=$4 got=0
    shift 4
    "$@" >out 2>err </dev/null || got=$?
    if [[ $got != "$code" ]]; then
        fail "$title: exit code $got, not $code"
    elif ! grep -qF -- "$text" "$where"; then
        fail "$title: no '$text' in $where"
    fi
}

run() { "$vtdom" --plugin "$plugin" "$@"; }
one_line() { [[ $(wc -l <err) == 1 ]] || fail "$1: more or less than one line of message"; }

expect "functions" 0 out "xmlDOMNodeGetRelative" run --functions
[[ $(wc -l <out) == 64 ]] || fail "functions: $(wc -l <out) lines, not 64"
expect "version" 0 out "1.00.001" run --version
expect "help" 0 out "SCRIPT" run --help

printf 'print(args.join("+"));\nexit(7);\nprint("not reached");\n' >args.js
expect "arguments and exit" 7 out "a b+--functions" run args.js "a b" --functions
[[ $(wc -l <out) == 1 ]] || fail "exit: the script went on"
expect "code from the command line" 0 out "3" run -e 'print(1 + 2)'
expect "plugin found without --plugin" 0 out "number" \
    "$vtdom" -e 'print(typeof xmlDOMDocCreateDoc("1.0"))'

printf '// one\n// two\nthrow new Error("third line");\n' >thrown.js
expect "uncaught error" 1 err "thrown.js:3" run thrown.js
grep -qF "third line" err || fail "uncaught error: its message is missing"
printf '\nxmlDOMNodeGetRelative({node: xmlDOMDocCreateDoc("1.0")});\n' >missing_argument.js
expect "error of a function" 1 err \
    "parameter relative of xmlDOMNodeGetRelative is not supplied (41)" run missing_argument.js
grep -qF "missing_argument.js:2" err || fail "error of a function: file and line are missing"
printf 'var x = ;\n' >syntax.js
expect "syntax error" 1 err "syntax.js" run syntax.js
expect "path above 0xFF" 1 err "path8" run -e 'xmlDOMDocLoadXMLFile("\u4e2d.xml")'

checked=${plugin%.so}-checked.so
if [[ -e $checked ]]; then
    printf 'xmlDOMNodeGetName(5);\nprint(LIBXMLLife.new().addInternal(6));\n' >refused.js
    expect "refused handle" 0 err "xmlDOMNodeGetName: node 0x00000005 (5)" "$vtdom" --checked refused.js
    expect "refused by a method" 0 err "addInternal: internal 0x00000006 (6)" \
        "$vtdom" --checked --plugin "$checked" refused.js
    [[ $(<out) == undefined && $(wc -l <err) == 2 ]] || fail "refused handle: more than two reports"
fi
expect "no checks in the plain library" 2 err "does not check handles" run --checked -e 1

expect "missing script" 2 err "absent.js" run absent.js
one_line "missing script"
expect "missing plugin" 2 err "absent.so" "$vtdom" --plugin ./absent.so -e 1
one_line "missing plugin"

# The head of a 64-bit shared object is enough to be refused.
{
    printf '\177ELF\2\1\1'
    head -c 9 /dev/zero
    printf '\3\0\76\0\1\0\0\0'
    head -c 4096 /dev/zero
} >wide.so
expect "64-bit plugin" 2 err "wide.so" "$vtdom" --plugin ./wide.so -e 1
one_line "64-bit plugin"
expect "plugin without its entry" 2 err "libxml2" "$vtdom" --plugin libxml2.so.2 -e 1
one_line "plugin without its entry"

if ((failures > 0)); then
    echo "$failures command line checks failed"
    exit 1
fi
