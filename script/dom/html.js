// HTML from text. libxml2 takes text for what its meta element says, or for ISO-8859-1; so all of it is
// made ASCII: references where HTML knows them, and marked words in comments, scripts and styles, which
// are written back afterwards.
var data = require('./data');
var exact = require('./exact');
var names = require('./names');

// In encoded text: comments, tags with raw text and that text, other characters that are not ASCII.
var parts = /%3C!--[^]*?--%3E|%3C(script|style)\b[^]*?%3E[^]*?%3C%2F\1\b|(?:%[C-F][0-9A-F](?:%[89AB][0-9A-F]){1,3}){1,60}/gi;
var characters = /%[C-F][0-9A-F](?:%[89AB][0-9A-F]){1,3}/g;

/** Loads HTML text; undefined when it cannot be parsed at all. */
exports.load = function (text, keepBlanks) {
    if (text.indexOf('\0') >= 0) text = text.split('\0').join('\uFFFD');
    if (text.charCodeAt(0) === 0xFEFF) text = text.slice(1);
    var mark = 'x';
    while (text.indexOf(mark) >= 0) mark = 'x' + Math.floor(Math.random() * 1e9).toString(36);
    var marked = false;

    function references(part) {
        return names.replaceEncoded(part, characters, function (c) { return '&#' + codeOf(c) + ';'; });
    }
    function marks(part) {
        return names.replaceEncoded(part, characters, function (c) {
            marked = true;
            return mark + codeOf(c) + ';';
        });
    }
    var ascii = names.replaceEncoded(whole(text), parts, function (part) {
        if (part.charAt(0) !== '<') return references(part);
        if (part.charAt(1) === '!') return marks(part);
        var content = part.indexOf('>') + 1;
        return references(part.slice(0, content)) + marks(part.slice(content));
    });
    var doc = xmlHTMLDocLoadString(ascii, keepBlanks);
    if (doc && marked) unmark(doc, mark);
    return doc;
};

function codeOf(c) {
    var code = c.charCodeAt(0);
    return c.length === 2 ? ((code - 0xD7C0) << 10) + (c.charCodeAt(1) & 0x3FF) : code;
}

/** The text with U+FFFD for halves of characters above U+FFFF. */
function whole(text) {
    if (!names.isBroken(text)) return text;
    return text.replace(/[\uD800-\uDBFF][\uDC00-\uDFFF]|[\uD800-\uDFFF]/g, function (c) { return c.length === 2 ? c : '\uFFFD'; });
}

/** Writes back what was marked. */
function unmark(doc, mark) {
    var word = new RegExp(mark + '(\\d+);', 'g');
    var found = xmlDOMNodeSelectNodes(doc, '//comment()[contains(.,"' + mark + '")]|//text()[contains(.,"' + mark + '")]');
    names.handles(found).forEach(function (handle) {
        var type = xmlDOMNodeGetType(handle);
        var marked = type === 3 ? data.readText(handle) : xmlDOMNodeGetValue(handle);
        var text = marked.replace(word, function (all, code) { return exact.character(+code); });
        if (names.isWide(text)) {
            xmlDOMNodeReplaceNode(handle, data.make({ doc: doc }, type, text, ''));
            xmlDOMNodeFreeNode(handle);
        } else {
            xmlDOMNodeSetValue(handle, text);
        }
    });
}
