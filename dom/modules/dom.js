// DOM objects for scripts: W3C DOM Level 2 Core, and what people know from newer DOMs, on the
// functions and LIBXMLLife. const dom = require('dom'); docs/dom.md is the reference.
'use strict';
const { DOMException, need, optionsOf } = require('./dom/exception');
const { CLUSTER } = require('./dom/fields');
const { Node } = require('./dom/node');
const data = require('./dom/data');
const { Element, Attr } = require('./dom/element');
const doctype = require('./dom/doctype');
const document = require('./dom/document');
const { NodeList, HTMLCollection, NamedNodeMap } = require('./dom/lists');
const { bytePath, checkPath } = require('./dom/names');
const wide = require('./dom/wide');
const html = require('./dom/html');
require('./dom/relations');
const { DOMTokenList } = require('./dom/classes');
const { ParseError, failed } = require('./dom/failure');
require('./dom/markup');
require('./dom/selectors');
const { parserOf, XMLSerializer } = require('./dom/parser');
const { guard } = require('./dom/missing');
const { NodeFilter, NodeIterator, TreeWalker } = require('./dom/traversal');
const { XPathResult, XPathEvaluator, XPathExpression } = require('./dom/evaluate');
require('./dom/writer');
const { transform, transformWith } = require('./dom/transform');

const known = ['keepBlanks', 'url'];

/** The Document of what `load` gives: {doc, encoding}. Else an Error with the parser's words. */
function parse(what, text, options, load) {
    const { keepBlanks = true, url } = optionsOf(options, ...known);
    xmlDOMDocSetLastMsg(0, '');
    const loaded = load(keepBlanks === false ? 0 : 1);
    if (!loaded?.doc) {
        throw failed(what, {
            text, url: url ?? (what === 'the text' ? undefined : what),
            reason: text?.trim() === '' ? ': it is empty' : ''
        });
    }
    if (url !== undefined) xmlDOMDocSetProperty(loaded.doc, 3, String(url));
    const made = document.documentOf(loaded.doc, text);
    for (const [handle, data] of loaded.wide ?? []) wide.keep(made[CLUSTER], handle, data);
    if (loaded.encoding !== undefined) made[document.ENCODING] = loaded.encoding;
    return made;
}

/** The text of a program's text or bytes. */
function textOf(source) {
    if (typeof need(source, 'the text') === 'string') return source;
    if (!ArrayBuffer.isView(source) && !(source instanceof ArrayBuffer)) return String(source);
    const bytes = ArrayBuffer.isView(source)
        ? new Uint8Array(source.buffer, source.byteOffset, source.byteLength) : new Uint8Array(source);
    const encoding = encodingOf(bytes);
    try {
        return new TextDecoder(encoding, { fatal: true }).decode(bytes);
    } catch (error) {
        throw new ParseError(`the text cannot be parsed: ${error.message}`, []);
    }
}

/** The encoding of XML as its first bytes say. */
function encodingOf(bytes) {
    const [first, second] = bytes;
    if ((first === 0xFE && second === 0xFF) || (first === 0 && second === 0x3C)) return 'utf-16be';
    if ((first === 0xFF && second === 0xFE) || (first === 0x3C && second === 0)) return 'utf-16le';
    const head = String.fromCharCode(...bytes.subarray(0, 200));
    return /^(?:\xEF\xBB\xBF)?<\?xml[^>]*?encoding\s*=\s*["']([^"']*)/.exec(head)?.[1] ?? 'utf-8';
}

/** Parses an XML file. `keepBlanks` false drops text that is only white space between elements; `url` is where
    the document says it is. */
exports.parseFile = function parseFile(path, options) {
    const file = checkPath(path);
    return parse(file, undefined, options, keepBlanks => (
        { doc: xmlDOMDocLoadXMLFile(bytePath(file), keepBlanks) }));
};

/** Parses XML text, whatever encoding it declares, or the bytes of a file. */
exports.parseString = function parseString(source, options) {
    const text = textOf(source);
    return parse('the text', text, options, keepBlanks => wide.load(text, keepBlanks));
};

/** Parses an HTML file; libxml2 finds out the encoding and mends what is not right. */
exports.parseHTMLFile = function parseHTMLFile(path, options) {
    const file = checkPath(path);
    return parse(file, undefined, options, keepBlanks => (
        { doc: xmlHTMLDocLoadFile(bytePath(file), keepBlanks) }));
};

/** Parses HTML text, whatever encoding it declares. */
exports.parseHTMLString = function parseHTMLString(source, options) {
    const text = textOf(source);
    return parse('the text', undefined, options, keepBlanks => html.load(text, keepBlanks));
};

const DOMParser = parserOf(text => exports.parseString(text), text => exports.parseHTMLString(text));
/** The result of a stylesheet as a Document, whatever the stylesheet's output method is. */
exports.transformToDocument = function transformToDocument(source, sheet, options) {
    return exports.parseString(transformWith(source, sheet, options, true));
};

const { Document, DocumentFragment, DOMImplementation, implementation } = document;
const { CharacterData, Text, CDATASection, Comment, ProcessingInstruction } = data;
const { DocumentType, Entity, Notation, EntityReference } = doctype;
Object.assign(exports, {
    transform, implementation, DOMException, ParseError, DOMImplementation, Node, NodeList, HTMLCollection, NamedNodeMap, DOMTokenList, Document,
    DocumentFragment, DocumentType, Entity, Notation, EntityReference, Element, Attr, CharacterData, Text,
    CDATASection, Comment, ProcessingInstruction, XPathResult, XPathEvaluator, XPathExpression,
    NodeFilter, NodeIterator, TreeWalker, DOMParser, XMLSerializer
});
guard([Node, Element, Attr, Document, DocumentFragment, DocumentType, Entity, Notation, CharacterData, Text]);
