// HTML from text. libxml2 takes text for what its meta element says, or for ISO-8859-1; so all of
// it is made ASCII: references where HTML knows them, and marked words in comments, scripts and
// styles, which are written back afterwards.
'use strict';
const data = require('./data');
const { handles, isWide } = require('./names');

// Comments, tags with raw text and that text, other characters that are not ASCII.
const parts = /<!--[^]*?-->|<(script|style)\b[^]*?>[^]*?<\/\1\b|[^\0-\x7F]+/gi;

/** Loads HTML text: {doc, wide}, of which the second is the text of nodes that no function gives back; doc is
    undefined when it cannot be parsed at all. */
function load(text, keepBlanks) {
    // Halves of characters and U+0000 become U+FFFD.
    const whole = text.replace(/^\uFEFF/, '').replace(
        /\0|[\uD800-\uDBFF](?![\uDC00-\uDFFF])|(?<![\uD800-\uDBFF])[\uDC00-\uDFFF]/g, '\uFFFD');
    let mark = 'x', isMarked = false;
    while (whole.includes(mark)) mark = 'x' + Math.floor(Math.random() * 1e9).toString(36);

    const references = part => part.replace(/[^\0-\x7F]/gu, c => `&#${c.codePointAt(0)};`);
    const marks = part => part.replace(/[^\0-\x7F]/gu, c => {
        isMarked = true;
        return `${mark}${c.codePointAt(0)};`;
    });
    const doc = xmlHTMLDocLoadString(whole.replace(parts, part => {
        if (!part.startsWith('<')) return references(part);
        if (part.startsWith('<!')) return marks(part);
        const content = part.indexOf('>') + 1;
        return references(part.slice(0, content)) + marks(part.slice(content));
    }), keepBlanks);
    return { doc, wide: doc && isMarked ? unmark(doc, mark) : [] };
}

/** Writes back what was marked; gives [handle, text] of what has characters above U+FFFF. */
function unmark(doc, mark) {
    const written = [], word = new RegExp(mark + '(\\d+);', 'g'), has = `[contains(.,"${mark}")]`;
    for (const handle of handles(xmlDOMNodeSelectNodes(doc, `//comment()${has}|//text()${has}`))) {
        const type = xmlDOMNodeGetType(handle);
        const marked = type === 3 ? data.readText(handle) : xmlDOMNodeGetValue(handle);
        const text = marked.replace(word, (all, code) => String.fromCodePoint(Number(code)));
        if (isWide(text)) {
            const made = data.make({ doc }, type, text);
            xmlDOMNodeReplaceNode(handle, made);
            xmlDOMNodeFreeNode(handle);
            if (type !== 3) written.push([made, text]);
        } else {
            xmlDOMNodeSetValue(handle, text);
        }
    }
    return written;
}

exports.load = load;
