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

# ---- Leaks ----

cat >keeper.js <<'SCRIPT'
exports.keep = function (doc) {
    return xmlDOMDocCreateNode({data: 'lost', type: 1, doc: doc});
};
SCRIPT
cat >leaky.js <<'SCRIPT'
var keep = require('./keeper').keep;
var doc = xmlDOMDocLoadXMLString('<a><b/></a>', 0);
keep(doc);
LIBXMLLife.new().addInternal(keep(doc));
var life = LIBXMLLife.new().addInternal(xmlDOMDocCreateDoc('1.0'));
if (args[0] === 'clean') { life.addInternal(keep(doc)); xmlDOMDocFreeDoc(doc); }
exit(Number(args[1]));
SCRIPT
expect "leaks" 3 err "vtdom: 2 handles were neither freed nor linked" run --leaks leaky.js leaky 0
grep -qE '^  document <a> \([0-9]+\) from xmlDOMDocLoadXMLString at leaky.js:2$' err ||
    fail "leaks: the document is missing"
grep -qE '^  element <lost> \(.* from xmlDOMDocCreateNode at keeper.js:2, called from leaky.js:3$' err ||
    fail "leaks: the place of the script is missing"
expect "leaks of a script that fails" 7 err "2 handles" run --leaks leaky.js leaky 7
# The object lets go of its document, which nobody frees, for a node that it holds to the end.
expect "leak after a second addInternal" 3 err "document without an element" \
    run --leaks leaky.js clean 0
[[ $(wc -l <err) == 3 ]] || fail "leak after a second addInternal: more is reported"
expect "no leaks" 0 out "done" run --leaks -e \
    'var life = LIBXMLLife.new().addInternal(xmlDOMDocCreateDoc("1")); print("done")'
[[ ! -s err ]] || fail "no leaks: something is reported"

# ---- Trace, profile, network ----

cat >calls.js <<'SCRIPT'
print('first');
var doc = xmlDOMDocLoadXMLString({keepBlanks: 0, string: '<a>"\n' + Array(99).join('x') + '</a>'});
xmlDOMNodeGetRelative(doc, 0);
xmlUTF8Encode('\u00e9');
try { xmlDOMNodeGetRelative({node: doc}); } catch (e) {}
LIBXMLLife.new().addInternal(doc);
SCRIPT
# Times, handles and addresses differ from run to run.
show_calls() {
    run "$@" 2>&1 | sed -E 's/^ *[0-9.]+ (ns|µs|ms) /TIME/; s/@[0-9a-f]+/@N/g; s/[0-9]{5,}/N/g'
}
show_calls --trace calls.js >out
diff - out >err <<EXPECTED || fail "trace"
first
TIME xmlDOMDocLoadXMLString(string: "<a>\\"\\n$(printf 'x%.0s' {1..35})…" (107 characters), keepBlanks: 0) = N
TIME xmlDOMNodeGetRelative(node: N, relative: 0) = no value
TIME xmlUTF8Encode(string: "é") = 2 bytes
TIME xmlDOMNodeGetRelative(node: N, relative: (not supplied)) failed: parameter relative of xmlDOMNodeGetRelative is not supplied (41)
TIME LIBXMLLife.new() = LIBXMLLife@N
TIME LIBXMLLife@N.addInternal(internal: N) = LIBXMLLife@N
          LIBXMLLife@N ends
EXPECTED
expect "profile" 0 err "6 calls in " run --profile --leaks calls.js
grep -qE '^xmlDOMNodeGetRelative +2 .* (ns|µs|ms) +[0-9.]+ %' err || fail "profile: a row is missing"
awk '/ %/ { share += $(NF - ($NF !~ /%/) - 1) } END { exit share < 99 || share > 101 }' err ||
    fail "profile: the shares do not add up"
expect "no network" 0 out "Attempt to load network entity" run --no-network -e \
    'xmlDOMDocLoadXMLFile("http://127.0.0.1:9/", 0); print(xmlDOMDocGetLastMsg(0))'
# With 64 bits there is one library, which checks.
checked=${plugin%.so}-checked.so
if [[ -e $checked ]]; then
    expect "no checks in the plain library" 2 err "does not check handles" run --checked -e 1
else
    checked=$plugin
fi
printf 'xmlDOMNodeGetName(5);\nprint(LIBXMLLife.new().addInternal(6));\n' >refused.js
expect "refused handle" 4 err "refused.js:1: xmlDOMNodeGetName: node 0x00000005 (5)" "$vtdom" --checked refused.js
expect "refused by a method" 4 err "refused.js:2: addInternal: internal 0x00000006 (6)" \
    "$vtdom" --checked --plugin "$checked" refused.js
[[ $(<out) == undefined && $(wc -l <err) == 2 ]] || fail "refused handle: more than two reports"

# ---- The shell ----

shell() { printf '%s\n' "${@:2}" | run -i ${1:+"$1"}; }
printf 'var loaded = args.length + 40;\n' >before.js
expect "shell after a script" 0 out "42" shell before.js 'loaded +' '2'
expect "shell ends with exit" 6 out "1" shell "" 1 'exit(6)' 'print("not reached")'
expect "shell with leaks" 3 err "1 handle was" \
    shell --leaks 'xmlDOMDocCreateDoc("1.0")' 'nope' '.owned'
grep -qF "document  without an element" out || fail "shell: what is owned is missing"
expect "reference for .help" 0 out "Goes one step from a node." shell "" '.help xmlDOMNodeGetRelative'
expect "no script and no terminal" 2 err "no script given" run

# On a terminal: completion, history. Waits for the prompt, since earlier keys meet another terminal
# mode; the terminal is a pseudo one.
terminal() {
    local keys byte from to pid
    coproc tty { VTDOM_HISTORY=$PWD/history script -qec "$vtdom --plugin $plugin" /dev/null; }
    pid=$tty_PID
    exec {from}<&"${tty[0]}" {to}>&"${tty[1]}"
    for keys in "$@"; do
        while IFS= read -r -t 10 -N 1 -u "$from" byte; do
            printf '%s' "$byte"
            [[ $byte != '>' ]] || break
        done
        printf '%b' "$keys" >&"$to"
    done
    cat <&"$from"
    exec {from}<&- {to}>&-
    wait "$pid"
}
expect "shell on a terminal" 4 out '"1.6.0.6"' \
    terminal 'xmlDOMUtilGetV\t)\n' 'function f() {\nreturn 4;\n}\n' 'exit(f\t))\n'
grep -v '^#' history | diff - <(printf '%s\n' 'xmlDOMUtilGetVersion()' 'function f() {' 'return 4;' '}' \
    'exit(f())') >err || fail "shell on a terminal: history"

expect "a save to standard output" 0 out "<last/>" \
    run -e 'print("first"); xmlDOMDocSaveXMLFile(xmlDOMDocLoadXMLString("<last/>", 0), "-")'
[[ $(head -1 out) == first ]] || fail "a save to standard output: before what was printed"
# One line a call of what libxml2 says.
full_disk() { (trap '' XFSZ; ulimit -f 100; run "$@"); }
expect "disk full" 0 err "I/O error : File too large: $scratch/full.xml" full_disk -e "
    xmlDOMDocSaveXMLFile(xmlDOMDocLoadXMLString('<r>' + 'x'.repeat(200000) + '</r>', 0), '$scratch/full.xml')"
one_line "disk full"
expect "XPath error" 0 err "XPath error : Invalid expression: //[" run -e '
    xmlDOMNodeSelectNodes(xmlDOMDocLoadXMLString("<r/>", 0), "//[", "")'
one_line "XPath error"
expect "the stylesheet's own messages" 0 err "two" run -e '
    writeFile("say.xsl", "<s:stylesheet version=\"1.0\" xmlns:s=\"http://www.w3.org/1999/XSL/Transform\">" +
        "<s:template match=\"/\"><s:message>one</s:message><s:message>two</s:message></s:template>" +
        "</s:stylesheet>");
    xmlXSLTransformFile("say.xsl", "say.xsl", "said.xml")'
[[ $(<err) == $'one\ntwo' ]] || fail "the stylesheet's own messages: others"
# AddressSanitizer, for which CMake sets its options, starts under no limit.
if [[ ! -v ASAN_OPTIONS ]]; then
    little_memory() { (ulimit -v 3000000; run "$@"); }
    expect "out of memory" 0 err "xmlDOMNodeCloneNode: out of memory (" little_memory -e '
    const doc = xmlDOMDocLoadXMLString("<r>" + "<a/>".repeat(200000) + "</r>", 0);
    while (xmlDOMNodeCloneNode(doc, 1)) continue;'
    one_line "out of memory"
fi
# Nothing that a script opens is in the place of a standard output that is closed.
closed() { "$vtdom" --plugin "$plugin" "$@" >&-; }
expect "standard output closed" 1 err "cannot write to standard output" closed -e 'print("lost");
    xmlDOMDocSaveXMLFile(xmlDOMDocCreateDoc("1.0"), "kept.xml")'
[[ $(<kept.xml) == '<?xml version="1.0"?>' ]] || fail "standard output closed: text in a file"
closed -e '1' || fail "standard output closed, nothing to say"

# One-liners.
printf '<feed>\n<title> One\n line </title><title n="2">Two</title></feed>' >a.xml
printf '<feed/>' >b.xml
printf '<p>Page<title>T</title>' >page.html
expect "-x" 0 out "One line" run -x '//title' a.xml b.xml
[[ $(<out) == $'One line\nTwo' ]] || fail "-x: others"
expect "-x finds an attribute" 0 out 2 run -x '//@n' a.xml
expect "-x counts" 0 out 2 run -x 'count(//title)' a.xml
got=0
run -x '//none' a.xml b.xml >out 2>err || got=$?
[[ $got == 1 && ! -s out && ! -s err ]] || fail "-x finds nothing: exit code $got"
expect "-x, HTML" 0 out T run -x '//title' page.html
expect "-x, a file is missing" 2 err "absent.xml" run -x '//title' absent.xml a.xml
[[ $(wc -l <out) == 2 ]] || fail "-x, a file is missing: the other"
expect "-x, no expression" 2 err "a.xml" run -x '//[' a.xml
from_input() { "$vtdom" --plugin "$plugin" "$@" <a.xml; }
expect "-x, standard input" 0 out Two from_input -x '//title[2]'
expect "-p" 0 out 2 run -p 'doc.querySelectorAll("title").length' a.xml b.xml
[[ $(<out) == $'2\n0' ]] || fail "-p: others"
expect "-p, no expression" 2 err "SyntaxError" run -p 'doc.(' a.xml
expect "-x and -p" 2 err "-x" run -x a -p b a.xml
expect "--in-place alone" 2 err "--in-place" run --in-place a.xml
chmod 640 a.xml
touch -d 2001-01-01 b.xml
expect "--in-place" 2 err "bad.xml" run --in-place \
    -e 'for (const t of doc.querySelectorAll("title")) t.textContent = t.textContent.trim()' a.xml bad.xml b.xml
grep -q '<title>One' a.xml || fail "--in-place: nothing changed"
[[ $(stat -c %a a.xml) == 640 ]] || fail "--in-place: mode"
[[ $(date -r b.xml +%Y) == 2001 ]] || fail "--in-place: wrote what was not changed"
cp a.xml before.xml
expect "--in-place, an error" 2 err "a.xml: Error: no" run --in-place -e 'doc.documentElement.remove();
    throw new Error("no")' a.xml
cmp -s a.xml before.xml || fail "--in-place, an error: file changed"

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
