// XSLT: of files, and of documents, which libxslt is given as temporary files.
'use strict';
const { Node } = require('./node');
const { TYPE } = require('./fields');
const { need, optionsOf } = require('./exception');
const { heard } = require('./failure');
const { XML, checkName, checkPath, escape, literal, readPath, writePath } = require('./names');

const XSLT = 'http://www.w3.org/1999/XSL/Transform';
const isDocument = value => value instanceof Node && value[TYPE] === 9;

/** Applies a stylesheet to a document, each given as a path or a Document. With the path of a file to write, the
    result is there as the stylesheet wants it; gives the number of bytes. Else gives the result as text.
    `params`: values of the stylesheet's parameters. */
function transform(source, sheet, out, options) {
    if (typeof out === 'string') return transformTo(source, sheet, out, options);
    if (options !== undefined) throw new TypeError('the path to write is no text');
    return transformWith(source, sheet, out, false);
}

/** The text of the result, of the output method xml when `asXml` is true. */
function transformWith(source, sheet, options, asXml) {
    const method = asXml ? ' method="xml" indent="no"' : '';
    return temporary('', path => {
        transformTo(source, sheet, path, options, `<xsl:output encoding="UTF-8"${method}/>`);
        return readFile(path);
    });
}

/** Writes the result to a file; `output` is what the stylesheet's xsl:output is to differ in. */
function transformTo(source, sheet, out, options, output = '') {
    const { params = {} } = optionsOf(options, 'params');
    const settings = output + paramsOf(params), to = checkPath(out);
    const apply = (from, by) => {
        const { given, words } =
            heard(() => xmlXSLTransformFile(readPath(from), readPath(by), writePath(to)));
        const said = plain(words, from, source, sheet);
        if (given === undefined) {
            const target = output ? '' : ` to ${to}`;
            throw new Error(`cannot transform ${nameOf(source, 'the document')} with ${nameOf(sheet, 'the stylesheet')}` +
                            target + (said ? `:\n${said}` : ''));
        }
        if (said) console.error(said.trimEnd());
        return given;
    };
    return withFile(source, 'the document', from => withFile(sheet, 'the stylesheet', by => (
        settings === '' ? apply(from, by) : temporary(importer(by, settings), whole => apply(from, whole))
    ), withBase));
}

/** Calls a function with the path of what is a path already, or else of a temporary file. */
function withFile(given, what, use, write = xmlOf) {
    if (isDocument(need(given, what))) return temporary(write(given), use);
    if (given instanceof Node) throw new TypeError(`${what} is neither a Document nor a path`);
    return use(checkPath(given));
}

function temporary(text, use) {
    if (typeof withTemporaryFile !== 'function') throw new Error('this host transforms only from file to file');
    return withTemporaryFile(text, use);
}

const nameOf = (given, what) => isDocument(given) ? given.url ?? what : String(given);

/** A path that means the same in whatever folder the file is that names it. */
const absolute = path => /^(?:\/|[a-z][\w+.-]*:)/i.test(path) ? path : `/proc/self/cwd/${path}`;

/** The XML of a document, without the encoding, which is for files. HTML goes without its document type, as that
    names a DTD in the network. */
function xmlOf(document) {
    if (document.contentType === 'text/html') return document.documentElement?.toString() ?? '';
    return document.toString().replace(/^(<\?xml[^>]*?) encoding=(?:"[^"]*"|'[^']*')/, '$1');
}

/** The XML of a stylesheet, whose imports are found from where it was parsed. */
function withBase(sheet) {
    const root = sheet.documentElement;
    if (root?.namespaceURI !== XSLT || root.hasAttributeNS(XML, 'base')) return xmlOf(sheet);
    const copy = sheet.cloneNode(true), base = absolute(sheet.url ?? './');
    copy.documentElement.setAttributeNS(XML, 'xml:base', base.replace(/[^!-~]/gu, encodeURIComponent));
    return xmlOf(copy);
}

/** A stylesheet that imports another and sets what has precedence over what that says. */
function importer(path, settings) {
    return `<xsl:stylesheet version="1.0" xmlns:xsl="${XSLT}">` +
        `<xsl:import href="${writePath(absolute(path))}"/>${settings}</xsl:stylesheet>`;
}

/** Texts, numbers and truth values as parameters of a stylesheet. */
function paramsOf(params) {
    if (params === null || typeof params !== 'object') throw new TypeError('params must be an object');
    return Object.entries(params).map(([name, value]) => {
        if (checkName(name).includes(':')) throw new TypeError(`a parameter has no prefix: ${name}`);
        const make = { string: literal, number: numberOf, boolean: flag => `${flag}()` }[typeof value];
        if (!make) throw new TypeError(`the parameter ${name} must be a text, a number or a truth value`);
        return `<xsl:param name="${name}" select="${escape(make(value), true)}"/>`;
    }).join('');
}

/** An XPath expression for a number: XPath has no exponents. */
function numberOf(value) {
    if (!Number.isFinite(value)) return Number.isNaN(value) ? '0 div 0' : value < 0 ? '-1 div 0' : '1 div 0';
    if (!String(value).includes('e')) return String(value);
    return Math.abs(value) < 1 ? value.toFixed(20) : String(BigInt(value));
}

/** libxslt's words without the names of temporary files: `from` is that of the document. */
function plain(words, from, source, sheet) {
    return words.replaceAll(from, nameOf(source, 'the document'))
        .replace(/\/proc\/self\/fd\/\d+/g, nameOf(sheet, 'the stylesheet'))
        .replaceAll('/proc/self/cwd/', '');
}

Object.assign(exports, { transform, transformWith });
