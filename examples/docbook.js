// Turns a real article into HTML with the real DocBook stylesheets, and reads the result.
// vtdom docbook.js OUTPUT_FOLDER
const functions = require('./lib/functions');
const places = require('./lib/places');
const report = require('./lib/report');

function oneLine(text) {
    return text.replace(/\s+/g, ' ').trim();
}

/** The headings of an HTML page, in order: {level, title}. */
function headings(root) {
    return functions.select(root, '//h1 | //h2 | //h3 | //h4').map(heading => {
        return {
            level: Number(xmlDOMNodeGetName(heading).substr(1)),
            title: oneLine(functions.text(heading))
        };
    });
}

// All three are paths: the documents live only inside the call. libxml2 unpacks .gz by itself, and
// finds the DTD, whose address is on the network, through the system's XML catalog.
report.section('The transformation');
const html = places.output('article.html');
const bytes = xmlXSLTransformFile(places.mimeArticle, places.docbookStylesheet, html);
if (bytes === undefined) throw new Error('the transformation failed (its messages are above)');
print('  from  ' + places.mimeArticle + '\n  by    ' + places.docbookStylesheet +
      '\n  to    ' + html + ', ' + bytes + ' bytes');
report.check('the file has as many bytes as the function says',
    readFile(html, 'binary').length === bytes);

report.section('The headings of the HTML page');
const page = functions.loadHTML(html, 1);
const life = LIBXMLLife.new().addInternal(page);
const found = headings(xmlDOMDocGetRootNode(page));
found.forEach(heading => {
    print(new Array(heading.level + 1).join('  ') + heading.title);
});

// From now on this process loads external DTDs and replaces entity references when it parses: a
// transformation switches both on. The article's sections can so be counted against the headings.
report.section('The article itself');
const article = functions.load(places.mimeArticle, 0);
const articleLife = LIBXMLLife.new().addInternal(article);
const sections = functions.select(xmlDOMDocGetRootNode(article), '//sect1 | //sect2');
report.check('each of its ' + sections.length + ' sections has its heading, in order',
    sections.every(section => {
        const title = oneLine(functions.text(functions.select(section, 'title')[0]));
        while (found.length > 0 && found[0].title !== title) found.shift();
        return found.length > 0;
    }));
print('  (next, libxslt itself writes to standard error)');
report.check('a stylesheet that is not there gives no value',
    xmlXSLTransformFile(places.mimeArticle, places.data('absent.xsl'), html) === undefined);
