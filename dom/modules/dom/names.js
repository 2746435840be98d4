// Names, namespaces, and the characters that XML allows.
'use strict';
const { refuse, need } = require('./exception');

const XML = 'http://www.w3.org/XML/1998/namespace';
const XMLNS = 'http://www.w3.org/2000/xmlns/';

// Characters of names up to U+FFFF, as the fifth edition of XML 1.0 has them.
const start = ':A-Z_a-z\\u00C0-\\u00D6\\u00D8-\\u00F6\\u00F8-\\u02FF\\u0370-\\u037D\\u037F-\\u1FFF' +
    '\\u200C\\u200D\\u2070-\\u218F\\u2C00-\\u2FEF\\u3001-\\uD7FF\\uF900-\\uFDCF\\uFDF0-\\uFFFD';
const more = start + '\\-.0-9\\u00B7\\u0300-\\u036F\\u203F\\u2040';
const namePattern = new RegExp(`^[${start}][${more}]*$`);
const wideNamePattern =
    new RegExp(`^[${start}\\u{10000}-\\u{EFFFF}][${more}\\u{10000}-\\u{EFFFF}]*$`, 'u');
const knownNames = new Set();
const mostKnown = 1000;

/** Whether a text has characters above U+FFFF, which are two units. */
const isWide = text => /[\uD800-\uDFFF]/.test(text);
/** Whether a text has half of such a character. */
const isBroken = text =>
    isWide(text) && /[\uD800-\uDBFF](?![\uDC00-\uDFFF])|(?<![\uD800-\uDBFF])[\uDC00-\uDFFF]/.test(text);

/** The value as a string; refuses what no XML document can hold. */
function checkText(value) {
    const text = typeof value === 'string' ? value : String(need(value, 'a text'));
    if (/[\0-\x08\x0B\x0C\x0E-\x1F\uD800-\uDFFF\uFFFE\uFFFF]/.test(text) &&
        (/[\0-\x08\x0B\x0C\x0E-\x1F\uFFFE\uFFFF]/.test(text) || isBroken(text))) {
        refuse('InvalidCharacterError', 'the text has a character that XML does not allow');
    }
    return text;
}

/** The value as a name; refuses what is no XML name. */
function checkName(value) {
    if (knownNames.has(value)) return value;
    const name = String(need(value, 'a name'));
    if (!namePattern.test(name)) {
        const reason = wideNamePattern.test(name)
            ? 'a name cannot have characters above U+FFFF here' : 'this is no XML name';
        refuse('InvalidCharacterError', `${reason}: ${name}`);
    }
    if (knownNames.size < mostKnown) knownNames.add(name);
    return name;
}

/** The value as a namespace URI; null for none. */
function checkUri(value) {
    if (value === null || value === undefined || value === '') return null;
    const uri = checkText(value);
    if (isWide(uri)) {
        refuse('InvalidCharacterError',
               `a namespace URI cannot have characters above U+FFFF here: ${uri}`);
    }
    return uri;
}

/** Takes a qualified name apart: {name, prefix, local, uri}; prefix and uri are null for none. Refuses names
    that no element or attribute of the namespace can have. */
function split(namespace, qualifiedName) {
    const name = checkName(qualifiedName), uri = checkUri(namespace);
    const colon = name.indexOf(':');
    const prefix = colon < 0 ? null : name.slice(0, colon), local = name.slice(colon + 1);
    const fail = reason => refuse('NamespaceError', reason);
    if (colon === 0 || local.includes(':') || (colon > 0 && !namePattern.test(local)))
        fail(`this is no qualified name: ${name}`);
    if (prefix !== null && uri === null) fail(`${name} has a prefix but no namespace`);
    if (prefix === 'xml' && uri !== XML) fail('the prefix xml has a namespace of its own');
    if ((prefix === 'xmlns' || name === 'xmlns') !== (uri === XMLNS))
        fail(`xmlns and ${XMLNS} go together`);
    return { name, prefix, local, uri };
}

/** XML for a text: of an element's content or, in double quotes, of an attribute. */
const escapes = {
    '&': '&amp;', '<': '&lt;', '>': '&gt;', '\r': '&#13;', '"': '&quot;', '\n': '&#10;', '\t': '&#9;'
};
const escape = (text, inAttribute = false) =>
    text.replace(inAttribute ? /[&<>\r"\n\t]/g : /[&<>\r]/g, character => escapes[character]);

const named = { amp: '&', lt: '<', gt: '>', quot: '"', apos: "'" };
/** The text that XML with references to characters stands for. */
const unescape = xml => xml.includes('&')
    ? xml.replace(/&(?:#x([0-9A-Fa-f]+)|#(\d+)|(\w+));/g, (all, hex, decimal, name) =>
        name ? named[name] ?? all : String.fromCodePoint(hex ? parseInt(hex, 16) : Number(decimal)))
    : xml;

/** The handles of a handle list, as xmlDOMNodeSelectNodes gives it. */
function handles(list) {
    const found = [];
    for (let i = 1; i < list.length; i += 8) found.push(parseInt(list.substr(i, 8), 16));
    return found;
}

/** An XPath expression for a text. */
function literal(text) {
    if (!text.includes('"')) return `"${text}"`;
    if (!text.includes("'")) return `'${text}'`;
    return 'concat("' + text.split('"').join('", \'"\', "') + '")';
}

/** The bytes of a path in UTF-8, one unit each, for the functions that take one byte per character. */
const bytePath = path => unescapeBytes(encodeURIComponent(path));
const unescapeBytes = text =>
    text.replace(/%(..)/g, (all, hex) => String.fromCharCode(parseInt(hex, 16)));
/** A path for files that are written: libxml2 takes %XX for a byte, so all but plain characters are. */
const writePath = path => bytePath(path).replace(/[^\w.\/\-]/g, byte =>
    '%' + byte.charCodeAt(0).toString(16).padStart(2, '0'));
/** A path for files that are read as UTF-8; only characters above U+FFFF are out of reach there. */
const readPath = path => isWide(path) ? writePath(path) : path;

/** The value as a path that may be opened. */
function checkPath(value) {
    const path = String(need(value, 'a path'));
    if (path === '' || path.includes('\0') || isBroken(path))
        throw new TypeError(`this is no path: ${JSON.stringify(path)}`);
    return path;
}

Object.assign(exports, {
    XML, XMLNS, isWide, isBroken, checkText, checkName, checkUri, split, escape, unescape, handles, literal,
    bytePath, writePath, readPath, checkPath
});
