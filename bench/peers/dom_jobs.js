// The jobs through DOM objects, those of this library (vtdom dom_jobs.js JOB FOLDER RUNS OUTPUT) and those of
// @xmldom/xmldom on Node (node dom_jobs.js ...), see run.
'use strict';

const onNode = typeof process === 'object';
const own = onNode ? require('@xmldom/xmldom') : require('dom');
const [name, folder, runs, output] = onNode ? process.argv.slice(2) : args;

const parser = onNode && new own.DOMParser();
const load = file => onNode
    ? parser.parseFromString(require('fs').readFileSync(`${folder}/${file}`, 'utf8'), 'text/xml')
    : own.parseFile(`${folder}/${file}`);
const implementation = onNode ? new own.DOMImplementation() : own.implementation;
const save = doc => onNode
    ? require('fs').writeFileSync(output, new own.XMLSerializer().serializeToString(doc))
    : doc.save(output);

function children(doc) {
    let count = 0;
    for (let node = doc.documentElement.firstChild; node; node = node.nextSibling) ++count;
    return count;
}

function walk(doc) {
    const root = doc.documentElement;
    let names = 0, values = 0;
    for (let node = root, next; ; node = next) {
        if (node.nodeType === 1) {
            names += node.nodeName.length;
            next = node.firstChild;
            if (next) continue;
        } else {
            values += node.nodeValue.length;
        }
        while (!(next = node.nextSibling)) {
            node = node.parentNode;
            if (node === root) return `${names} ${values}`;
        }
    }
}

function readKinds(doc) {
    const items = doc.getElementsByTagName('item'), count = items.length;
    let found = 0;
    for (let i = 0; i < count; ++i) if (items.item(i).getAttribute('kind') === 'k3') ++found;
    return `${count} ${found}`;
}

function build() {
    const doc = implementation.createDocument(null, 'list', null), root = doc.documentElement;
    for (let i = 0; i < 100000; ++i) {
        const item = doc.createElement('item');
        item.setAttribute('n', String(i));
        item.appendChild(doc.createTextNode(`text of item ${i}`));
        root.appendChild(item);
    }
    return doc;
}

function forEachText(doc, work) {
    for (let item = doc.documentElement.firstChild; item; item = item.nextSibling)
        for (let part = item.firstChild; part; part = part.nextSibling) work(part.firstChild);
}

function readTexts(doc) {
    let length = 0;
    forEachText(doc, text => { length += text.data.length; });
    return length;
}

function setTexts(doc) {
    let count = 0;
    forEachText(doc, text => { text.data = `text ${++count}`; });
    return doc;
}

function reparent(doc) {
    const root = doc.documentElement, other = doc.createElement('other');
    for (let item; (item = root.firstChild);) other.appendChild(item);
    root.appendChild(other);
    return doc;
}

const catalog = () => load('catalog.xml');
const same = value => value;
const saved = doc => {
    save(doc);
    return children(doc);
};
// What the work needs, the work (which alone is timed), the answer of what the work gives.
const jobs = {
    walk: [catalog, walk, same],
    select: [catalog, readKinds, same],
    build: [same, build, saved],
    clone: [catalog, doc => doc.documentElement.cloneNode(true), root => {
        let count = 0;
        for (let node = root.firstChild; node; node = node.nextSibling) ++count;
        return count;
    }],
    texts: [catalog, readTexts, same],
    settexts: [catalog, setTexts, saved],
    reparent: [catalog, reparent, doc => children(doc)]
};

const end = onNode ? process.exit : exit, say = onNode ? console.log : print;
if (!jobs[name]) end(3);
const [before, work, after] = jobs[name], times = [];
let answer;
for (let run = 0; run < Number(runs); ++run) {
    const state = before();
    const start = performance.now();
    const result = work(state);
    times.push(((performance.now() - start) / 1000).toFixed(6));
    answer = after(result);
}
say(String(answer));
say(times.join(' '));
