// Builds an Atom feed from nothing and moves parts of another document into it.
// vtdom atom.js OUTPUT_FOLDER
const functions = require('./lib/functions');
const build = require('./lib/build');
const places = require('./lib/places');
const report = require('./lib/report');

const ATOM = 'http://www.w3.org/2005/Atom';
const XHTML = 'http://www.w3.org/1999/xhtml';
const XML = 'http://www.w3.org/XML/1998/namespace';
const DUBLIN_CORE = 'http://purl.org/dc/elements/1.1/';

/** An Atom element; an empty prefix is the default namespace. */
function atom(doc, name, attributes, content) {
    return build.element(doc, ':' + name, ATOM, attributes, content);
}

/** The head of the feed. What is made for a document belongs to it as soon as it is linked in. */
function createFeed() {
    const doc = xmlDOMDocCreateDoc('1.0');
    const feed = atom(doc, 'feed', {}, [
        atom(doc, 'title', {}, ['Tea & notes <2024>']),
        atom(doc, 'link', { rel: 'self', href: 'https://example.org/tea.atom?page=1&all=yes' }, []),
        atom(doc, 'id', {}, ['urn:example:tea']),
        atom(doc, 'updated', {}, ['2024-03-09T16:40:00Z']),
        atom(doc, 'author', {}, [atom(doc, 'name', {}, ['Zo\u00eb \u65bd'])]),
        build.element(doc, 'dc:rights', DUBLIN_CORE, {}, ['Public domain']),
        xmlDOMDocCreateNode(doc, functions.Type.COMMENT, ' newest last ')
    ]);
    xmlDOMElementSetAttributeNodeNS(feed, build.attribute(doc, 'xml:lang', 'en', XML));

    const style = xmlDOMDocCreateNode(doc, functions.Type.INSTRUCTION, 'xml-stylesheet');
    xmlDOMNodeSetValue(style, 'type="text/css" href="feed.css"');
    build.append(doc, [style, feed]);
    return doc;
}

/** An entry for a note: its text is taken out of the notes and put into the feed. */
function moveNote(note, doc) {
    const text = functions.select(note, 'h:div')[0];
    const title = xmlDOMElementGetAttribute(note, 'title');
    const date = xmlDOMElementGetAttribute(note, 'on');

    xmlDOMNodeUnlinkNode(text);     // it has no document now, but keeps its namespaces
    const entry = atom(doc, 'entry', {}, [
        atom(doc, 'title', {}, [title]),
        atom(doc, 'id', {}, ['urn:example:tea:' + date]),
        atom(doc, 'updated', {}, [date]),
        atom(doc, 'summary', { type: 'html' }, [
            xmlDOMDocCreateNode(doc, functions.Type.CDATA, '<b>' + title + '</b> &middot; see below')
        ]),
        atom(doc, 'content', { type: 'xhtml' }, [text])
    ]);
    build.append(xmlDOMDocGetRootNode(doc), [entry]);
    return text;
}

/** Saves, loads what was saved, and checks that it is what was meant. */
function saveAndCheck(doc, path) {
    // Formatted saves drop the second of two declarations of the same prefix. Here no prefix is
    // bound twice; a feed with xmlns="...xhtml" inside would be saved with xmlDOMDocSaveXMLFile.
    if (xmlDOMDocSaveXMLFormatFile(doc, path8(path), 'UTF-8', 1) === undefined) {
        throw new Error('cannot write ' + path);
    }
    print(report.indent(readFile(path)));

    report.section('Loaded again');
    const again = functions.load(path, 0);
    const life = LIBXMLLife.new().addInternal(again);
    const feed = xmlDOMDocGetRootNode(again);
    const texts = functions.select(feed, '*[local-name()="entry"]/*[local-name()="content"]/h:div');
    report.check('the root is in the namespace of Atom', xmlDOMNodeGetPropertyNS(feed, 1) === ATOM);
    report.check('xml:lang is en', xmlDOMElementGetAttributeNS(feed, 'lang', XML) === 'en');
    report.check('the title reads as it was written',
        functions.value(feed, '*[local-name()="title"]/text()') === 'Tea & notes <2024>');
    report.check('both moved texts are XHTML', texts.length === 2 && texts.every(text => {
        return xmlDOMNodeGetPropertyNS(text, 1) === XHTML;
    }));
    report.check('the rating is still in the namespace of the notes',
        xmlDOMElementGetAttributeNS(functions.select(feed, '//h:img')[0], 'rating', 'urn:example:notes')
            === '4');
}

const feed = createFeed();
const notes = functions.load(places.data('tea-notes.xml'), 0);
const lives = [LIBXMLLife.new().addInternal(feed), LIBXMLLife.new().addInternal(notes)];

report.section('A text moves');
functions.select(xmlDOMDocGetRootNode(notes), 'n:note').forEach((note, i) => {
    if (i === 0) {
        print('in the notes, which declare h and n at the root:\n' +
              report.indent(xmlDOMNodeDumpNode(functions.select(note, 'h:div')[0], 0)));
    }
    const text = moveNote(note, feed);
    if (i === 0) {
        print('in the feed, which declares neither:\n' +
              report.indent(xmlDOMNodeDumpNode(text, 0)));
    }
});

report.section('The feed');
saveAndCheck(feed, places.output('tea.atom'));
