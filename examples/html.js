// Reads a large real HTML page, its sections and where its links go; saves it in two encodings.
// vtdom html.js OUTPUT_FOLDER
const functions = require('./lib/functions');
const places = require('./lib/places');
const report = require('./lib/report');

function countLinks(root) {
    return functions.select(root, '//a[@href]').length;
}

function look(page) {
    const root = xmlDOMDocGetRootNode(page);
    report.section('The page');
    report.table([
        ['file', places.htmlPage],
        ['title', functions.text(functions.select(root, '//title')[0])],
        ['encoding', xmlDOMDocGetProperty(page, functions.Property.ENCODING)],
        ['elements', String(functions.select(root, '//*').length)],
        ['links', String(countLinks(root))]
    ]);

    report.section('Sections, and the links in them');
    report.table(functions.select(root, '//dt[.//span[@class="reference"]]').map(term => {
        return [
            functions.text(functions.select(term, './/a')[0]),
            functions.select(term, 'following-sibling::dd[1]//a[@href]').length
        ];
    }));

    report.section('The last links');
    report.table(functions.select(root, '//a[@href]').slice(-8).map(link => {
        return [functions.text(link), xmlDOMElementGetAttribute(link, 'href')];
    }));
}

function saveAndCheck(page, encoding) {
    const path = places.output('page-' + encoding + '.html');
    // With 1 at the end, libxml2 would add line ends, also inside of headings.
    if (xmlHTMLDocSaveFormatFile(page, path8(path), encoding, 0) === undefined) {
        throw new Error('cannot write ' + path);
    }
    print('  ' + path + ': ' + readFile(path, 'binary').length + ' bytes');

    const again = functions.loadHTML(path, 1);
    const life = LIBXMLLife.new().addInternal(again);
    const before = xmlDOMDocGetRootNode(page), after = xmlDOMDocGetRootNode(again);
    report.check('the page says that it is in ' + encoding,
        xmlDOMDocGetProperty(again, functions.Property.ENCODING) === encoding);
    report.check('all links are there', countLinks(after) === countLinks(before));
    const title = functions.text(functions.select(after, '//h1')[0]);
    report.check('"' + title + '" reads the same, no-break spaces too',
        title === functions.text(functions.select(before, '//h1')[0]));
}

const page = functions.loadHTML(places.htmlPage, 1);
const life = LIBXMLLife.new().addInternal(page);
look(page);

report.section('Saved in two encodings and loaded again');
saveAndCheck(page, 'UTF-8');
saveAndCheck(page, 'ISO-8859-1');

report.section('Untidy HTML loads too, and the parser says what it mended');
const untidy = xmlHTMLDocLoadString(
    '<p>A <b>bold <i>claim</b> at <a href="?a=1&b=2">here</a><tea>!</p></div>', 1);
print(report.indent(xmlDOMDocGetLastMsg(untidy)) + '\nand makes of it\n' +
      report.indent(xmlDOMNodeDumpNode(xmlDOMDocGetRootNode(untidy), 0)));
xmlDOMDocFreeDoc(untidy);
