// Characters above U+FFFF. The functions read and write 16-bit units one by one and give status 62
// for such a character, but libxml2 itself keeps it well:
//
// - Going in, text is parsed from UTF-7, in which every character is ASCII.
// - Coming out, the text of a Text node or attribute is written by libxml2 as a reference
//   (&#x1F600;) when it stands in an attribute of a document that names no encoding.
//
// What else has one (comments, CDATA sections, processing instructions) no function gives back. Where the
// text that a document was parsed from is at hand, it is read there.
'use strict';
const { unescape, isWide, isBroken, handles } = require('./names');
const { refuse } = require('./exception');
const { DATA } = require('./fields');

const base64 = 'ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/';

function toUtf7(units) {
    let out = '+', bits = 0, count = 0;
    for (let i = 0; i < units.length; i++) {
        bits = (bits << 16 | units.charCodeAt(i)) & 0x3FFFFFF;
        for (count += 16; count >= 6; count -= 6) out += base64[bits >> (count - 6) & 63];
    }
    if (count > 0) out += base64[bits << (6 - count) & 63];
    return out + '-';
}

const declaration = new RegExp(
    String.raw`^<\?xml\s+version\s*=\s*("[^"<]*"|'[^'<]*')` +
    String.raw`(?:\s+encoding\s*=\s*("[A-Za-z][\w.\-]*"|'[A-Za-z][\w.\-]*'))?`);

/** Loads XML text, with any characters, whatever encoding it declares: {doc, encoding}; undefined when it is
    not well-formed. */
function load(text, keepBlanks) {
    if (text.startsWith('\uFEFF')) text = text.slice(1);
    if (text.includes('\0')) refuse('InvalidCharacterError', 'U+0000 is in no XML document');
    const head = declaration.exec(text.slice(0, 1000));
    const encoding = head && head[2] ? head[2].slice(1, -1) : '';
    const version = head ? head[1] : '"1.0"', rest = head ? text.slice(head[0].length) : text;
    const wide = isWide(text);
    if (wide && isBroken(text)) return undefined;
    const doc = wide
        ? xmlDOMDocLoadXMLString(`<?xml version=${version} encoding="UTF-7"` + (head ? '' : '?>') +
              rest.replace(/[^\t\n\r -*,-[\]-}]+/g, toUtf7), keepBlanks)
        : xmlDOMDocLoadXMLString(
              encoding ? `<?xml version=${version} encoding="UTF-8"${rest}` : text, keepBlanks);
    if (!doc) return undefined;
    if (wide || encoding) xmlDOMDocSetProperty(doc, 1, encoding || 'UTF-8');
    return { doc, encoding };
}

/** A copy, for a document, of the first node in parsed XML. */
function make(owner, type, xml) {
    const loaded = load(`<r>${xml}</r>`, 1);
    const root = loaded && xmlDOMDocGetRootNode(loaded.doc);
    const first = root && xmlDOMNodeGetRelative(root, 3);
    if (!first || xmlDOMNodeGetType(first) !== type || xmlDOMNodeGetRelative(first, 1))
        refuse('InvalidCharacterError', 'libxml2 cannot hold this text in such a node');
    const made = xmlDOMNodeImportNode(first, 0, owner);
    xmlDOMDocFreeDoc(loaded.doc);
    return made;
}

// A document of this module's own, and an attribute there.
let scratch;

/** The exact text of a Text node. */
function textOf(handle) {
    if (!scratch) {
        const doc = xmlDOMDocCreateDoc('1.0'), attribute = xmlDOMDocCreateNode(doc, 2, 'a');
        const lives = [doc, attribute].map(held => new LIBXMLLife().addInternal(held));
        scratch = { doc, attribute, lives };
    }
    const copy = xmlDOMNodeImportNode(handle, 0, scratch.doc);
    xmlDOMNodeAddChild(0, scratch.attribute, copy);
    const dump = xmlDOMNodeDumpNode(scratch.attribute, 0);      // ` a="..."`
    xmlDOMNodeFreeNode(xmlDOMNodeUnlinkNode(copy));
    return unescape(dump.slice(4, -1));
}

/** Refuses to read what no function gives back. */
function unreadable(what) {
    refuse('NotSupportedError', `${what} has characters above U+FFFF, which cannot be read from a file ` +
        "here: parse the file's text with parseString");
}

const quoted = `"[^"]*"|'[^']*'`, comment = '<!--([^]*?)-->', instruction = String.raw`<\?([^]*?)\?>`;
const subset = String.raw`\[(?:<!--[^]*?-->|<\?[^]*?\?>|${quoted}|[^\]"'])*\]`;
const parts = new RegExp(
    String.raw`${comment}|<!\[CDATA\[([^]*?)\]\]>|${instruction}|<!DOCTYPE(?:[^[\]>"']|${quoted}|${subset})*>`, 'g');

/** Notes the text of each comment, CDATA section and processing instruction of a document that has
    characters above U+FFFF, as the text that the document was parsed from has it. */
function note(cluster, text) {
    const found = { 4: [], 7: [], 8: [] };
    let sectionEnd = -1;
    for (const match of text.replace(/\r\n?/g, '\n').matchAll(parts)) {
        const [all, comment, section, instruction] = match;
        if (comment !== undefined) found[8].push(comment);
        if (instruction !== undefined && !/^<\?xml\s/.test(all))
            found[7].push(instruction.replace(/^\S+\s*/, ''));
        if (section === undefined) continue;
        // The parser makes one of neighbours.
        if (match.index === sectionEnd) found[4].push(found[4].pop() + section);
        else found[4].push(section);
        sectionEnd = match.index + all.length;
    }
    const sections = handle => xmlDOMNodeGetType(handle) === 4;
    for (const [type, path, isOne] of [[8, '//comment()'], [4, '//text()', sections],
                                       [7, '//processing-instruction()']]) {
        if (!found[type].some(isWide)) continue;
        const all = handles(xmlDOMNodeSelectNodes(cluster.doc, path)).filter(isOne ?? (() => true));
        if (all.length !== found[type].length) continue;    // sections that are empty, say
        found[type].forEach((data, i) => { if (isWide(data)) keep(cluster, all[i], data); });
    }
}

/** Notes the text of one. */
function keep(cluster, handle, text) { cluster.node(handle)[DATA] = text; }

Object.assign(exports, { load, make, textOf, unreadable, note, keep });
