// The first one to read: loads a large real file, looks around in it, changes it, saves it twice
// and checks what was saved.   vtdom demo.js OUTPUT_FOLDER
const dom = require('dom');
const places = require('./lib/places');
const report = require('./lib/report');

// In CSS selectors the default namespace of the file needs no word; in XPath it needs a prefix.
const MIME = { m: 'http://www.freedesktop.org/standards/shared-mime-info' };

// A name with a character that ISO-8859-1 has and one that it lacks.
const TYPE = 'image/svg+xml';
const NEW_NAME = 'SVG image (scalable \u2192 na\u00efve printers, too)';

/** The name of a type in English, which is the comment without a language. */
const nameOf = type => type.selectSingleNode('m:comment[not(@xml:lang)]', MIME);

const typeOf = doc => doc.querySelector(`mime-type[type="${TYPE}"]`);

function look(doc) {
    report.section('The MIME database');
    const root = doc.documentElement;
    report.table([
        ['file', doc.url],
        ['version', doc.xmlVersion],
        ['encoding', doc.encoding],
        ['root', root.nodeName],
        ['namespace', root.namespaceURI],
        ['types', String(root.children.length)],
        ['elements', String(doc.querySelectorAll('*').length)]
    ]);

    report.section('Languages, by the names that they have');
    const count = new Map();
    for (const { value } of doc.selectNodes('//m:comment/@xml:lang', MIME))
        count.set(value, (count.get(value) ?? 0) + 1);
    const languages = [...count].sort(([a, inA], [b, inB]) => inB - inA || (a < b ? -1 : 1));
    report.table([...languages.slice(0, 3), ['...'], ...languages.slice(-3)]);

    report.section('Formats known by their XML namespace');
    const formats = doc.selectNodes('/*/*[m:root-XML]', MIME);
    report.table(formats.slice(10, 20).map(type => [
        type.getAttribute('type'),
        type.querySelector('glob')?.getAttribute('pattern') ?? '',
        nameOf(type).textContent,
        type.xpath('string(m:comment[lang("ja")])', MIME)
    ]));
}

function change(doc) {
    report.section('A new name for ' + TYPE);
    const name = nameOf(typeOf(doc));
    print('  from  ' + name.textContent);
    name.textContent = NEW_NAME;
    print('  to    ' + name.textContent);
}

function saveAndCheck(doc, encoding) {
    const path = places.output('mime-' + encoding + '.xml');
    doc.save(path, { encoding, format: true });
    print('  ' + path + ': ' + readFile(path, 'binary').length + ' bytes');

    const again = dom.parseFile(path);
    const elements = doc.querySelectorAll('*').length;
    report.check('it is in ' + encoding, again.encoding === encoding);
    report.check('the new name is there', nameOf(typeOf(again)).textContent === NEW_NAME);
    report.check('so are all ' + elements + ' elements',
        again.querySelectorAll('*').length === elements);
}

const doc = dom.parseFile(places.mimeDatabase, { keepBlanks: false });
look(doc);
change(doc);

report.section('Saved in two encodings and loaded again');
saveAndCheck(doc, 'UTF-8');
saveAndCheck(doc, 'ISO-8859-1');
print('  (what ISO-8859-1 lacks is written in digits: &#8594;)');

report.section('What the parser says about a broken document');
try {
    dom.parseString('<mime-info>\n  <mime-type type=text/plain>\n</mime-info>');
    throw new Error('not so: it is refused');
} catch (error) {
    if (!(error instanceof dom.ParseError)) throw error;
    report.check('it breaks in line 2', error.line === 2);
    print(report.indent(error.message));
}
