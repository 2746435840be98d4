// The first one to read: loads a large real file, looks around in it, changes it, saves it twice
// and checks what was saved.   vtdom demo.js OUTPUT_FOLDER
const dom = require('./lib/dom');
const places = require('./lib/places');
const report = require('./lib/report');

// The file has a default namespace. XPath has no word for that, so local names are tested.
const IN_ENGLISH = '*[local-name()="comment"][not(@xml:lang)]/text()';
const IN_JAPANESE = '*[local-name()="comment"][lang("ja")]/text()';

// A name with a character that ISO-8859-1 has and one that it lacks.
const TYPE = 'image/svg+xml';
const NEW_NAME = 'SVG image (scalable \u2192 na\u00efve printers, too)';

function mimeType(root, type) {
    return dom.select(root, '*[local-name()="mime-type"][@type="' + type + '"]')[0];
}

function look(doc, root) {
    report.section('The MIME database');
    report.table([
        ['file', places.mimeDatabase],
        ['version', xmlDOMDocGetProperty(doc, dom.Property.VERSION)],
        ['encoding', xmlDOMDocGetProperty(doc, dom.Property.ENCODING)],
        ['root', xmlDOMNodeGetName(root)],
        ['namespace', xmlDOMNodeGetPropertyNS(root, 1)],
        ['types', String(dom.select(root, '*').length)],
        ['elements', String(dom.select(root, '//*').length)]
    ]);

    report.section('Languages, by the names that they have');
    const count = {};
    dom.select(root, '//*[local-name()="comment"]/@xml:lang').forEach(attribute => {
        const language = xmlDOMNodeGetValue(attribute);
        count[language] = (count[language] || 0) + 1;
    });
    const languages = Object.keys(count).sort((a, b) => {
        return count[b] - count[a] || (a < b ? -1 : 1);
    }).map(language => [language, count[language]]);
    report.table(languages.slice(0, 3).concat([['...']], languages.slice(-3)));

    report.section('Formats known by their XML namespace');
    const formats = dom.select(root, '*[*[local-name()="root-XML"]]');
    report.table(formats.slice(10, 20).map(type => {
        return [
            xmlDOMElementGetAttribute(type, 'type'),
            dom.value(type, '*[local-name()="glob"]/@pattern'),
            dom.value(type, IN_ENGLISH),
            dom.value(type, IN_JAPANESE)
        ];
    }));
}

function change(root) {
    report.section('A new name for ' + TYPE);
    const name = dom.select(mimeType(root, TYPE), IN_ENGLISH)[0];
    print('  from  ' + xmlDOMNodeGetValue(name));
    xmlDOMNodeSetValue({ node: name, value: NEW_NAME });    // by name, or (name, NEW_NAME)
    print('  to    ' + xmlDOMNodeGetValue(name));
}

function saveAndCheck(doc, encoding, elements) {
    const path = places.output('mime-' + encoding + '.xml');
    if (xmlDOMDocSaveXMLFormatFile(doc, path8(path), encoding, 1) === undefined) {
        throw new Error('cannot write ' + path);
    }
    print('  ' + path + ': ' + readFile(path, 'binary').length + ' bytes');

    const again = dom.load(path, 0);
    const life = LIBXMLLife.new().addInternal(again);         // freed after the function
    const root = xmlDOMDocGetRootNode(again);
    report.check('it is in ' + encoding,
        xmlDOMDocGetProperty(again, dom.Property.ENCODING) === encoding);
    report.check('the new name is there',
        dom.value(mimeType(root, TYPE), IN_ENGLISH) === NEW_NAME);
    report.check('so are all ' + elements + ' elements',
        dom.select(root, '//*').length === elements);
}

const doc = dom.load(places.mimeDatabase, 0);
const root = xmlDOMDocGetRootNode(doc);
look(doc, root);
change(root);

report.section('Saved in two encodings and loaded again');
const elements = dom.select(root, '//*').length;
saveAndCheck(doc, 'UTF-8', elements);
saveAndCheck(doc, 'ISO-8859-1', elements);
print('  (what ISO-8859-1 lacks is written in digits: &#8594;)');
xmlDOMDocFreeDoc(doc);      // whoever loads a document frees it; root is no longer used

report.section('What the parser says about a broken document');
const broken = xmlDOMDocLoadXMLString(
    '<mime-info>\n  <mime-type type=text/plain>\n</mime-info>', 0);
report.check('there is no document', broken === undefined);
print(report.indent(xmlDOMDocGetLastMsg(0)));
