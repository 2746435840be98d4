// DOM objects: makes a small MIME database of the image types of the system's one, with a comment in one
// language, and tells what it found.
// vtdom objects.js OUTPUT_FOLDER
var dom = require('dom');
var places = require('./lib/places');
var report = require('./lib/report');

var uri = 'http://www.freedesktop.org/standards/shared-mime-info';
var language = 'fr';

var database = dom.parseFile('/usr/share/mime/packages/freedesktop.org.xml', { keepBlanks: false });
var small = dom.implementation.createDocument(uri, 'mime-info', null);

/** The comment of a type in one language, else the one without a language. */
function comment(type) {
    return type.selectSingleNode('m:comment[@xml:lang="' + language + '"]', { m: uri }) ||
        type.selectSingleNode('m:comment[not(@xml:lang)]', { m: uri });
}

/** A type with its comment and its patterns of file names, and nothing else. */
function shortened(type) {
    var copy = small.importNode(type, false);
    copy.appendChild(small.importNode(comment(type), true));
    type.selectNodes('m:glob', { m: uri }).forEach(function (glob) {
        copy.appendChild(small.importNode(glob, true));
    });
    return copy;
}

var types = database.selectNodes('/m:mime-info/m:mime-type[starts-with(@type, "image/")]', { m: uri });
types.forEach(function (type) { small.documentElement.appendChild(shortened(type)); });

report.section('Image types');
var rows = small.documentElement.children.map(function (type) {
    var patterns = type.getElementsByTagName('glob').map(function (glob) { return glob.getAttribute('pattern'); });
    return [type.getAttribute('type'), type.firstElementChild.textContent, patterns.join(' ')];
});
report.table([['type', 'comment', 'patterns']].concat(rows.slice(0, 12)));
print('  ... ' + rows.length + ' in all');

var path = places.output('images.xml');
small.save(path, { format: true });
var again = dom.parseFile(path);
report.section('Written: ' + path);
print('  ' + again.documentElement.children.length + ' types, ' + readFile(path).length + ' characters');

if (again.documentElement.children.length !== types.length || types.length < 50) throw new Error('types are missing');
if (again.getElementsByTagNameNS(uri, 'glob').length !== small.getElementsByTagName('glob').length) throw new Error('patterns are missing');
