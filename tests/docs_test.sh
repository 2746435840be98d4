#!/bin/bash
# The links of the documentation; and the reference of the functions against the library: every
# function with its parameters described once, nothing else named, every example run.
#   docs_test.sh VTDOM PLUGIN SOURCE_DIR
set -euo pipefail

vtdom=$1
plugin=$2
find "$3" -path "$3/build" -prune -o -name '*.md' -print0 | xargs -0 perl "$3/docs/markdown.pl" check

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp "$3/docs/functions.md" "$scratch"
cd "$scratch"

cat >check.js <<'SCRIPT'
var failures = 0;
function expect(what, got, wanted) {
    if (String(got) === String(wanted)) return;
    failures += 1;
    console.error('FAILED: ' + what + '\n  got    ' + got + '\n  wanted ' + wanted);
}
// A comment that is a value, in an example: what the call before it must give.
function check(line, comment, call) {
    var got;
    try { got = call(); } catch (e) { got = e; }
    if (/^status \d+$/.test(comment)) expect(line, 'status ' + got.status, comment);
    else if (got instanceof Error) expect(line, got, comment);
    else if (/^handle of/.test(comment)) expect(line, typeof got === 'number' && got > 0, true);
    else expect(line, JSON.stringify(got), comment);
}
function checked(example) {
    var value = /^(xml.*?|handles.*?|isValid.*?|life\..*?|readFile.*?);\s+\/\/ (undefined|true|false|\d+|".*"|\[.*\]|status \d+|handle of.*)$/;
    return example.replace(/.+/g, function (line) {
        var parts = value.exec(line);
        if (!parts) return line;
        checks += 1;
        return 'check(' + JSON.stringify(line) + ', ' + JSON.stringify(parts[2]) +
            ', function () { return ' + parts[1] + '; });';
    });
}
var checks = 0;

var text = readFile('functions.md');
var functions = args[0].split('\n');
var sections = text.split(/^(?=##)/m);
var setup = '';
var headings = [];
sections.forEach(function (section) {
    var example = /^```js\n([^]*?)^```/m.exec(section);
    if (/^### The examples\n/.test(section)) setup = example[1];
    var heading = /^### ((?:xml\w+|LIBXMLLife\.\w+)\((.*)\))\n/.exec(section);
    if (!heading) return;
    headings.push(heading[1]);
    var described = (section.match(/^- `\w+`: /gm) || []).map(function (bullet) {
        return bullet.slice(3, -3);
    });
    expect('parameters described of ' + heading[1], described.join(', '), heading[2]);
    expect('result of ' + heading[1], /^- Result: /m.test(section), true);
    var name = heading[1].split('(')[0].replace('LIBXMLLife.', '').replace(/^new$/, 'LIBXMLLife.new');
    expect('own example of ' + heading[1], example[1].indexOf(name + '(') >= 0, true);
    try {
        new Function('print', 'check', setup + checked(example[1]))(function () {}, check);
    } catch (e) {
        expect('example of ' + heading[1], e, 'no error');
    }
});

var life = ['LIBXMLLife.new()', 'LIBXMLLife.addInternal(internal)', 'LIBXMLLife.removeInternal()'];
expect('headings', headings.sort().join('\n'), functions.concat(life).sort().join('\n'));
var names = functions.map(function (line) { return line.split('(')[0]; });
text.match(/\bxml(?:DOM|HTML|XSL|UTF8)\w*/g).forEach(function (word) {
    expect('a function named ' + word, names.indexOf(word) >= 0, true);
});
print(headings.length + ' entries, ' + checks + ' values checked');
exit(failures ? 1 : 0);
SCRIPT
"$vtdom" --plugin "$plugin" check.js "$("$vtdom" --plugin "$plugin" --functions)"
