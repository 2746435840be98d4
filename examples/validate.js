// Validates documents against the real DocBook DTD, and tells what an empty report means.
// vtdom validate.js OUTPUT_FOLDER
const functions = require('./lib/functions');
const build = require('./lib/build');
const places = require('./lib/places');
const report = require('./lib/report');

/**
 * The file in which validation looks for the DTD: a system identifier with a dot and a slash is
 * taken as it is, any other one is looked for beside the document.
 */
function dtdPath(doc, systemId) {
    if (/\./.test(systemId) && /\//.test(systemId)) return systemId;
    const url = xmlDOMDocGetProperty(doc, functions.Property.URL) || '';
    return url.substr(0, url.lastIndexOf('/') + 1) + systemId;
}

function isLoadable(path) {
    const dtd = xmlDOMDocLoadDoctype('', path);
    if (!dtd) return false;
    xmlDOMNodeFreeNode(dtd);
    return true;
}

/** The report for the document with a small mistake added, which is taken out again. */
function reportWithMistake(doc) {
    const root = xmlDOMDocGetRootNode(doc);
    const mistake = build.attribute(doc, 'no-such-attribute', '');
    xmlDOMElementSetAttributeNode(root, mistake);
    const text = xmlDOMDocValidateDTD(doc);
    xmlDOMElementRemoveAttributeNode(root, mistake);
    xmlDOMNodeFreeNode(mistake);
    return text;
}

/**
 * {verdict, report} of a document. An empty report has three meanings: the document is valid, its
 * DTD was not found, or the report is longer than 4998 bytes.
 */
function validate(doc) {
    const text = xmlDOMDocValidateDTD(doc);
    if (text !== '') return { verdict: 'not valid', report: text };

    const doctype = functions.children(doc).filter(node => {
        return xmlDOMNodeGetType(node) === functions.Type.DOCTYPE;
    })[0];
    const systemId = doctype && xmlDOMDoctypeGetProperty(doctype, 1);
    if (systemId && !isLoadable(dtdPath(doc, systemId))) {
        return { verdict: 'DTD not found', report: '' };
    }
    // One mistake more makes a short report of none, but leaves one that is too long too long.
    const valid = reportWithMistake(doc) !== '';
    return { verdict: valid ? 'valid' : 'not valid, too much to report', report: '' };
}

/** Gives every paragraph a hundred attributes that the DTD does not know. */
function breakEverywhere(doc) {
    for (let i = 0; i < 100; i++) {
        functions.select(xmlDOMDocGetRootNode(doc), '//para').forEach(para => {
            xmlDOMElementSetAttributeNode(para, build.attribute(doc, 'wrong-' + i, ''));
        });
    }
    return doc;
}

function show(title, doc, expected) {
    const life = LIBXMLLife.new().addInternal(doc);
    report.section(title);
    const result = validate(doc);
    print('  ' + result.verdict);
    // Content models are long: the whole report is in the output folder.
    if (result.report) {
        writeFile(places.output('report.txt'), result.report);
        print(report.indent(result.report.replace(/expecting .*, got/g, 'expecting ..., got')
            .replace(/^.*\/(?=[^\/]*: element)/gm, '')));
    }
    report.check('that was expected', result.verdict === expected);
}

show('A valid article', functions.load(places.data('article.xml'), 1), 'valid');
show('A broken article', functions.load(places.data('broken-article.xml'), 1), 'not valid');
show('An article with more mistakes than a report holds',
    breakEverywhere(functions.load(places.data('article.xml'), 1)), 'not valid, too much to report');
show('A document whose DTD is not there (libxml2 says so on standard error)',
    xmlDOMDocLoadXMLString('<!DOCTYPE note SYSTEM "./absent.dtd"><note/>', 1), 'DTD not found');
