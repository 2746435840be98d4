// DOMParser and XMLSerializer, as other programs of the DOM use them.
'use strict';
const { Node } = require('./node');
const { need } = require('./exception');

const types = ['text/xml', 'application/xml', 'application/xhtml+xml', 'image/svg+xml'];

/** DOMParser, on functions that parse XML and HTML. */
exports.parserOf = (parseXml, parseHtml) => class DOMParser {
    /** Parses a text of a type, such as 'text/xml' or 'text/html'. One that is not well-formed is a
        ParseError. */
    parseFromString(text, type) {
        const parse = need(type, 'the type') === 'text/html' ? parseHtml : types.includes(type) ? parseXml : null;
        if (!parse) throw new TypeError(`there is no such type: ${type}; known are text/html, ${types.join(', ')}`);
        return parse(String(need(text, 'the text')));
    }
};

/** Writes nodes. */
exports.XMLSerializer = class XMLSerializer {
    /** The XML of a node. */
    serializeToString(node) {
        if (!(need(node, 'the node') instanceof Node)) throw new TypeError('this is no node');
        return node.toString();
    }
};
