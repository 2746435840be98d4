// Names, namespaces, and the characters that XML allows.
var refuseIf = require('./exception').refuseIf;

var XML = exports.XML = 'http://www.w3.org/XML/1998/namespace';
var XMLNS = exports.XMLNS = 'http://www.w3.org/2000/xmlns/';

var pair = /[\uD800-\uDBFF][\uDC00-\uDFFF]/g;

/** The text with %XX for most bytes of its UTF-8: the engine is quicker at that than at any search
    for a range of characters. Null for half of a character above U+FFFF. */
function encoded(text) {
    try { return encodeURIComponent(text); } catch (e) { return null; }
}

/** The text with `replace` applied to runs of its characters, which are given as they are. The pattern is
    for the encoded text: searches of text that is not ASCII take the engine time that grows with the
    square of its length. Null for half of a character above U+FFFF. */
exports.replaceEncoded = function (text, pattern, replace) {
    var bytes = encoded(text);
    return bytes && decodeURIComponent(bytes.replace(pattern, function (run) {
        return encodeURIComponent(replace(decodeURIComponent(run)));
    }));
};

/** XML for a text: of an element's content or, in double quotes, of an attribute. */
exports.escape = function (text, inAttribute) {
    text = text.split('&').join('&amp;').split('<').join('&lt;').split('>').join('&gt;').split('\r').join('&#13;');
    if (!inAttribute) return text;
    return text.split('"').join('&quot;').split('\n').join('&#10;').split('\t').join('&#9;');
};

/** Whether a text has characters above U+FFFF, which are two units (or half of one, an error). */
exports.isWide = function (text) {
    var bytes = encoded(text);
    return bytes === null || bytes.indexOf('%F') >= 0;
};

/** Whether a text has half of a character above U+FFFF. */
exports.isBroken = function (text) { return encoded(text) === null; };

/** The value as a string; refuses what no XML document can hold. */
exports.checkText = function (value) {
    var text = String(value);
    var bytes = encoded(text);
    refuseIf(bytes === null || (bytes.indexOf('%0') >= 0 && /%0[0-8BCEF]/.test(bytes)) ||
             bytes.indexOf('%1') >= 0 || bytes.indexOf('%EF%BF%BE') >= 0 || bytes.indexOf('%EF%BF%BF') >= 0,
        'INVALID_CHARACTER_ERR', 'the text has a character that XML does not allow');
    return text;
};

/** Refuses what is no XML name. */
exports.checkName = function (value) {
    var name = String(value);
    // A character above U+FFFF that may be in a name may stand wherever a letter may.
    var valid = exports.isWide(name) ? name.replace(pair, wideNameCharacter) : name;
    refuseIf(valid.indexOf('\0') >= 0 || !xmlDOMUtilIsValidXMLName(valid),
        'INVALID_CHARACTER_ERR', 'this is no XML name: ' + name);
    return name;
};

function wideNameCharacter(units) {
    return units.charCodeAt(0) < 0xDB80 ? 'x' : ' ';    // up to U+EFFFF
}

/** Takes a qualified name apart: {name, prefix, local, uri}; prefix and uri are null for none. */
exports.split = function (uri, qualifiedName) {
    var name = exports.checkName(qualifiedName);
    uri = uri === null || uri === undefined || uri === '' ? null : exports.checkText(uri);
    var colon = name.indexOf(':');
    var prefix = colon < 0 ? null : name.slice(0, colon);
    var local = name.slice(colon + 1);
    refuseIf(colon === 0 || local === '' || local.indexOf(':') >= 0, 'NAMESPACE_ERR', 'this is no qualified name: ' + name);
    if (prefix !== null) exports.checkPart(local);
    refuseIf(prefix !== null && uri === null, 'NAMESPACE_ERR', name + ' has a prefix but no namespace');
    refuseIf(prefix === 'xml' && uri !== XML, 'NAMESPACE_ERR', 'the prefix xml has a namespace of its own');
    return { name: name, prefix: prefix, local: local, uri: uri };
};

/** Refuses a local name that could not stand by itself ("p:1"). */
exports.checkPart = function (part) {
    var valid = part.replace(pair, 'x');
    refuseIf(!xmlDOMUtilIsValidXMLName(valid), 'NAMESPACE_ERR', 'this is no name without its prefix: ' + part);
};

/** Refuses names of attributes that go with the namespace of xmlns in one direction only. */
exports.checkXmlns = function (parts) {
    var named = parts.name === 'xmlns' || parts.prefix === 'xmlns';
    refuseIf(named !== (parts.uri === XMLNS), 'NAMESPACE_ERR', 'xmlns and ' + XMLNS + ' go together');
    return named;
};

/** The handles of a handle list, as xmlDOMNodeSelectNodes gives it. */
exports.handles = function (list) {
    var found = [];
    for (var i = 1; i < list.length; i += 8) found.push(parseInt(list.substr(i, 8), 16));
    return found;
};

/** An XPath expression for a text. */
exports.literal = function (text) {
    if (text.indexOf('"') < 0) return '"' + text + '"';
    if (text.indexOf("'") < 0) return "'" + text + "'";
    return 'concat("' + text.split('"').join('", \'"\', "') + '")';
};

/** The bytes of a path in UTF-8, one unit each. */
function utf8(text) {
    return unescape(encodeURIComponent(text));
}

/** A path for the functions that take one byte per character. */
exports.bytePath = utf8;

/** A path for files that are written: libxml2 takes %XX for a byte, so all but plain characters are. */
exports.writePath = function (path) {
    return utf8(path).replace(/[^\w.\/\-]/g, function (byte) {
        return '%' + (byte.charCodeAt(0) < 16 ? '0' : '') + byte.charCodeAt(0).toString(16);
    });
};

/** A path for files that are read as UTF-8; only characters above U+FFFF are out of reach there. */
exports.readPath = function (path) {
    return exports.isWide(path) ? exports.writePath(path) : path;
};
