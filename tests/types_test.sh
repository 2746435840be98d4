#!/bin/bash
# What vtdom --types writes is TypeScript, and declares what there is. Skipped without the compiler.
#   types_test.sh VTDOM PLUGIN
set -euo pipefail

command -v tsc >/dev/null || { echo "no tsc: skipped"; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
vtdom=$1
export VALTROSSE_PLUGIN=$2
cd "$scratch"
"$vtdom" --types >valtrosse.d.ts
check() { tsc --noEmit --strict --target es2022 --lib es2022 valtrosse.d.ts "$@"; }

# Each function and each member of each class, as they are at run time.
cat >members.js <<'JS'
const dom = require('dom');
const holes = new Set(['constructor', 'toString', 'leaves', 'defaultsOf', 'keys', 'values', 'entries']);
for (const line of args) print(`${line};`);
print(`import * as dom from 'dom';`);
for (const name of Object.keys(dom)) {
    if (typeof dom[name] !== 'function' || !/^[A-Z]/.test(name) || name === 'Node') continue;
    for (const member of Object.getOwnPropertyNames(dom[name].prototype)) {
        if (holes.has(member) || /_ERR$|_TYPE$/.test(member)) continue;
        print(`export type ${name}_${member} = dom.${name}['${member}'];`);
    }
}
JS
mapfile -t functions < <("$vtdom" --functions | sed 's/(.*//')
"$vtdom" members.js "${functions[@]}" >members.ts
[[ $(grep -c "^export type" members.ts) -gt 200 ]]
check members.ts

cat >good.ts <<'TS'
import * as dom from 'dom';
const doc = dom.parseString('<teas><tea kind="black">Assam</tea></teas>', { keepBlanks: false });
for (const tea of doc.querySelectorAll('tea')) tea.setAttribute('kind', tea.textContent?.trim() ?? '');
doc.documentElement?.append(doc.createElement('tea'), ' ');
const count = doc.xpath('count(//tea)');
if (typeof count === 'number') print(count + 1);
const text: string = dom.transform(doc, 'sheet.xsl', { params: { limit: 10 } });
const written: number = dom.transform(doc, 'sheet.xsl', text);
const life = new LIBXMLLife();
const handle = xmlDOMDocLoadXMLString('<a/>', written);
if (handle !== undefined) life.addInternal(handle);
print(xmlDOMNodeGetName(handle ?? 0)?.length, require('dom').parseFile('a.xml').title);
TS
check good.ts
for mistake in 'doc.querySelector(1)' 'doc.nodeTyp' 'xmlDOMNodeGetName("a")' 'doc.documentElement.remove()' \
    'dom.parseString("<a/>", {keepBlank: true})'; do
    printf 'import * as dom from "dom";\nconst doc = dom.parseString("<a/>");\n%s;\n' "$mistake" >bad.ts
    if check bad.ts >out; then
        echo "FAILED: taken: $mistake"
        exit 1
    fi
    grep -q '^bad.ts(3' out
done
