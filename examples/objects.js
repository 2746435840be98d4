// DOM objects: makes a small MIME database of the image types of the system's one, with a comment
// in one language, and tells what it found.
// vtdom objects.js OUTPUT_FOLDER
const dom = require('dom');
const places = require('./lib/places');
const report = require('./lib/report');

const uri = 'http://www.freedesktop.org/standards/shared-mime-info';
const language = 'fr';

const database = dom.parseFile('/usr/share/mime/packages/freedesktop.org.xml', { keepBlanks: false });
const small = dom.implementation.createDocument(uri, 'mime-info', null);

/** The comment of a type in one language, else the one without a language. */
function comment(type) {
    return type.selectSingleNode('m:comment[@xml:lang="' + language + '"]', { m: uri }) ||
        type.selectSingleNode('m:comment[not(@xml:lang)]', { m: uri });
}

/** A type with its comment and its patterns of file names, and nothing else. */
function shortened(type) {
    const copy = small.importNode(type, false);
    copy.appendChild(small.importNode(comment(type), true));
    type.selectNodes('m:glob', { m: uri }).forEach(glob => {
        copy.appendChild(small.importNode(glob, true));
    });
    return copy;
}

const types =
    database.selectNodes('/m:mime-info/m:mime-type[starts-with(@type, "image/")]', { m: uri });
types.forEach(type => { small.documentElement.appendChild(shortened(type)); });

report.section('Image types');
const rows = small.documentElement.children.map(type => {
    const patterns = type.getElementsByTagName('glob').map(glob => {
        return glob.getAttribute('pattern');
    });
    return [type.getAttribute('type'), type.firstElementChild.textContent, patterns.join(' ')];
});
report.table([['type', 'comment', 'patterns']].concat(rows.slice(0, 12)));
print('  ... ' + rows.length + ' in all');

const path = places.output('images.xml');
small.save(path, { format: true });
const again = dom.parseFile(path);
report.section('Written: ' + path);
print('  ' + again.documentElement.children.length + ' types, ' + readFile(path).length +
      ' characters');

if (again.documentElement.children.length !== types.length || types.length < 50)
    throw new Error('types are missing');
if (again.getElementsByTagNameNS(uri, 'glob').length !== small.getElementsByTagName('glob').length)
    throw new Error('patterns are missing');
