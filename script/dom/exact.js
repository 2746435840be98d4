// Characters above U+FFFF. The functions read and write 16-bit units one by one and give status 62
// for such a character, but libxml2 itself keeps it well:
//
// - Going in, text is parsed from UTF-7, in which every character is ASCII.
// - Coming out, the text of a Text node or attribute is written by libxml2 as a reference
//   (&#x1F600;) when it stands in an attribute of a document that names no encoding.
// - Other strings (comments, CDATA sections, names) show their characters to XPath: id() finds the
//   element that stands for a character, in a table that is made of such elements.
var names = require('./names');
var refuseIf = require('./exception').refuseIf;

var base64 = 'ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/';

function shifted(units) {
    if (units === '+') return '+-';
    var out = '+', bits = 0, count = 0;
    for (var i = 0; i < units.length; i++) {
        bits = (bits << 16 | units.charCodeAt(i)) & 0x3FFFFFF;
        for (count += 16; count >= 6; count -= 6) out += base64.charAt(bits >> (count - 6) & 63);
    }
    if (count > 0) out += base64.charAt(bits << (6 - count) & 63);
    return out + '-';
}

/** Loads XML text, with any characters, whatever encoding it declares; undefined when it is not
    well-formed. */
exports.load = function (text, keepBlanks) {
    refuseIf(text.indexOf('\0') >= 0, 'INVALID_CHARACTER_ERR', 'U+0000 is in no XML document');
    if (text.charCodeAt(0) === 0xFEFF) text = text.slice(1);
    var head = declaration.exec(text.slice(0, 1000));
    var encoding = head && head[2] ? head[2].slice(1, -1) : '';
    var rest = head ? text.slice(head[0].length) : text;
    var doc = xmlDOMDocLoadXMLString(encoding ? '<?xml version=' + head[1] + ' encoding="UTF-8"' + rest : text, keepBlanks);
    // Halves of characters do not parse. What is wrong otherwise too, is wrong again.
    var wide = !doc && names.isWide(text);
    if (wide) {
        rest = names.replaceEncoded(rest, notDirect, shifted);
        doc = rest === null ? undefined : xmlDOMDocLoadXMLString(
            '<?xml version=' + (head ? head[1] : '"1.0"') + ' encoding="UTF-7"' + (head ? '' : '?>') + rest, keepBlanks);
    }
    if (!doc) return undefined;
    if (wide || encoding) xmlDOMDocSetProperty(doc, 1, encoding || 'UTF-8');
    return { doc: doc, encoding: encoding };
};

// What UTF-7 does not take as it is, in encoded text. Runs are cut: the engine recurses over them.
var notDirect = /(?:%[C-F][0-9A-F](?:%[89AB][0-9A-F]){1,3}|%2B|%5C|%7F|%0[0-8BCEF]|%1[0-9A-F]|~){1,60}/g;

var declaration = /^<\?xml\s+version\s*=\s*("[^"<]*"|'[^'<]*')(?:\s+encoding\s*=\s*("[A-Za-z][\w.\-]*"|'[A-Za-z][\w.\-]*'))?/;

/** A copy, for a document, of the node that `pick` takes from the root element of parsed XML. */
exports.make = function (owner, xml, pick) {
    var loaded = exports.load(xml, 1);
    refuseIf(!loaded, 'INVALID_CHARACTER_ERR', 'libxml2 cannot hold this: ' + xml);
    var made = xmlDOMNodeImportNode(pick(xmlDOMDocGetRootNode(loaded.doc)), 0, owner);
    xmlDOMDocFreeDoc(loaded.doc);
    return made;
};

/** The text that serialised character data stands for. */
exports.unescapeText = function (xml) {
    return xml.split('&lt;').join('<').split('&gt;').join('>').split('&#13;').join('\r').split('&amp;').join('&');
};

/** The text that XML with any references to characters stands for. */
function unescapeXml(xml) {
    return xml.replace(/&(?:#x([0-9A-F]+)|#(\d+)|(\w+));/gi, function (all, hex, decimal, name) {
        return name ? named[name] : character(hex ? parseInt(hex, 16) : +decimal);
    });
}
var named = { amp: '&', lt: '<', gt: '>', quot: '"' };
exports.unescape = unescapeXml;

function character(code) {
    if (code < 0x10000) return String.fromCharCode(code);
    return String.fromCharCode(0xD7C0 + (code >> 10), 0xDC00 + (code & 0x3FF));
}
exports.character = character;

// ---- Reading --------------------------------------------------------------------------------------

// Documents of this module's own, which end with it.
var scratch = null;

function prepare() {
    if (scratch) return scratch;
    scratch = { lives: [] };
    scratch.plain = owned(xmlDOMDocCreateDoc('1.0'));
    scratch.attribute = owned(xmlDOMDocCreateNode(scratch.plain, 2, 'a'));
    scratch.table = owned(xmlDOMDocLoadXMLString('<t><place/><pages/><numbers/></t>', 1));
    var root = xmlDOMDocGetRootNode(scratch.table);
    scratch.root = root;
    scratch.place = xmlDOMNodeGetRelative(root, 3);
    scratch.pages = xmlDOMNodeGetRelative(scratch.place, 1);
    scratch.numbers = xmlDOMNodeGetRelative(root, 4);
    scratch.known = {};         // handle of an element of the table: {slot, character}
    scratch.planes = {};        // planes that have pages
    scratch.first = {};         // handle of a page: its first character
    scratch.position = {};      // handle of a page: its place among them, from 1 on
    scratch.pageCount = 0;
    scratch.order = {};         // handle of a number: which
    for (var i = 0; i < pageSize; i++) {
        var number = xmlDOMDocCreateNode(scratch.table, 1, 'n');
        xmlDOMNodeAddChild(0, scratch.numbers, number);
        scratch.order[number] = i;
    }
    learn(codesOf(0).filter(function (code) { return code > 32 && code < 127; }));
    return scratch;
}

function owned(handle) {
    scratch.lives.push(LIBXMLLife.new().addInternal(handle));
    return handle;
}

/** The exact text of a Text node. */
exports.textOf = function (handle) {
    var s = prepare();
    var copy = xmlDOMNodeImportNode(handle, 0, s.plain);
    xmlDOMNodeAddChild(0, s.attribute, copy);
    var dump = xmlDOMNodeDumpNode(s.attribute, 0);      // ` a="..."`
    xmlDOMNodeFreeNode(xmlDOMNodeUnlinkNode(copy));
    return unescapeXml(dump.slice(4, -1));
};

var pageSize = 256;
var slots = 16;         // characters that one look-up decodes

/** Enters characters into the table: for each and each slot an element whose ID is slot and character. */
function learn(codes) {
    var xml = '', entries = [];
    codes.forEach(function (code) {
        var quoted = names.escape(character(code), true);
        for (var slot = 0; slot < slots; slot++) {
            xml += '<i xml:id="' + base64.charAt(slot) + quoted + '"/>';
            entries.push({ slot: slot, character: character(code) });
        }
    });
    copyAll(xml, scratch.root).forEach(function (handle, i) { scratch.known[handle] = entries[i]; });
}

/** Copies elements, given as XML, to the end of an element of the table; gives their handles. */
function copyAll(xml, parent) {
    var loaded = exports.load('<r>' + xml + '</r>', 1);
    var copies = names.handles(xmlDOMNodeSelectNodes(xmlDOMDocGetRootNode(loaded.doc), '*')).map(function (handle) {
        return xmlDOMNodeAddChild(0, parent, xmlDOMNodeImportNode(handle, 1, scratch.table));
    });
    xmlDOMDocFreeDoc(loaded.doc);
    return copies;
}

/** The characters of the page that begins with a code. */
function codesOf(page) {
    var codes = [];
    for (var code = page; code < page + pageSize; code++) {
        var allowed = code > 31 || code === 9 || code === 10 || code === 13;
        if (allowed && (code & 0xFFFE) !== 0xFFFE) codes.push(code);
    }
    return codes;
}

/** Makes the pages of a plane: elements whose text is 256 characters each. */
function addPlane(plane) {
    scratch.planes[plane] = true;
    var xml = '', firsts = [];
    for (var page = plane << 16; page < (plane + 1) << 16; page += pageSize) {
        if (page >= 0xD800 && page < 0xE000) continue;
        xml += '<p>' + names.escape(codesOf(page).map(character).join('')) + '</p>';
        firsts.push(page);
    }
    copyAll(xml, scratch.pages).forEach(function (handle, i) {
        scratch.first[handle] = firsts[i];
        scratch.position[handle] = ++scratch.pageCount;
    });
}

// The planes in use first.
var planes = [0, 1, 2, 3, 14, 15, 16, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13];

/** Whether an XPath condition holds. */
function holds(condition) { return xmlDOMNodeSelectNodes(scratch.root, 'self::*[' + condition + ']') !== '4'; }

var blanks = [' ', '\n', '\t', '\r'];       // no ID has them

/** Finds the character of an XPath expression that the table lacks, and enters it. */
function discover(at) {
    for (var i = 0; i < blanks.length; i++) if (holds(at + '="' + blanks[i] + '"')) return blanks[i];
    for (i = 0; i < planes.length; i++) {
        if (!scratch.planes[planes[i]]) addPlane(planes[i]);
        var page = names.handles(xmlDOMNodeSelectNodes(scratch.pages, 'p[contains(.,' + at + ')]'))[0];
        if (!page) continue;
        var before = 'string-length(substring-before(/t/pages/p[' + scratch.position[page] + '],' + at + '))';
        var number = names.handles(xmlDOMNodeSelectNodes(scratch.numbers, 'n[1+' + before + ']'))[0];
        var code = codesOf(scratch.first[page])[scratch.order[number]];
        learn([code]);
        return character(code);
    }
    throw new Error('libxml2 has a character here that is in no XML document');
}

/** The string that an XPath expression has for the node in place. */
function decode(expression) {
    var text = '';
    for (var start = 1;; start += slots) {
        var ids = [], found = [];
        for (var slot = 0; slot < slots; slot++)
            ids.push('"' + (slot ? ' ' : '') + base64.charAt(slot) + '",substring(' + expression + ',' + (start + slot) + ',1)');
        names.handles(xmlDOMNodeSelectNodes(scratch.root, 'id(concat(' + ids.join(',') + '))')).forEach(function (handle) {
            var entry = scratch.known[handle];
            found[entry.slot] = entry.character;
        });
        for (slot = 0; slot < slots; slot++) {
            if (found[slot] === undefined) {
                var at = 'substring(' + expression + ',' + (start + slot) + ',1)';
                if (holds(at + '=""')) return text;
                found[slot] = discover(at);
            }
            text += found[slot];
        }
    }
}

/** Puts a copy of a node in place, gives what `read` finds there, and takes it away again. */
function withCopy(handle, attribute, read) {
    var s = prepare();
    var copy = xmlDOMNodeImportNode(handle, 0, s.table);
    if (attribute) {
        // An attribute's namespace is looked up where it is; on an element of its own it keeps it.
        var holder = xmlDOMDocCreateNode(s.table, 1, 'h');
        if (xmlDOMElementSetAttributeNodeNS(holder, copy) === undefined) xmlDOMElementSetAttributeNode(holder, copy);
        copy = holder;
    }
    xmlDOMNodeAddChild(0, s.place, copy);
    try {
        return read();
    } finally {
        xmlDOMNodeFreeNode(xmlDOMNodeUnlinkNode(copy));
    }
}

/** The exact value of a comment, CDATA section or processing instruction. */
exports.valueOf = function (handle) {
    return withCopy(handle, false, function () { return decode('string(/t/place/node())'); });
};

/** The exact name of a node, or what another XPath function of it gives. */
exports.nameOf = function (handle, xpathFunction) {
    var attribute = xmlDOMNodeGetType(handle) === 2;
    return withCopy(handle, attribute, function () {
        return decode((xpathFunction || 'name') + '(/t/place/' + (attribute ? '*/@*' : 'node()') + ')');
    });
};

/** The exact string that an XPath expression has for an element, which is /t/place/* in it. */
exports.evaluate = function (element, expression) {
    return withCopy(element, false, function () { return decode(expression); });
};
