// What a script needs around the 64 functions: names for their numbers, arrays for their lists.

/** Node types, as xmlDOMNodeGetType answers and xmlDOMDocCreateNode takes them. */
exports.Type = {
    ELEMENT: 1, ATTRIBUTE: 2, TEXT: 3, CDATA: 4, ENTITY_REFERENCE: 5, ENTITY: 6, INSTRUCTION: 7,
    COMMENT: 8, DOCUMENT: 9, DOCTYPE: 10, FRAGMENT: 11, NOTATION: 12
};

/** Steps of xmlDOMNodeGetRelative. */
exports.Step = { PARENT: 0, NEXT: 1, PREVIOUS: 2, FIRST_CHILD: 3, LAST_CHILD: 4 };

/** Places of xmlDOMNodeAddChild: last below the reference node, just before it, just after it. */
exports.Place = { LAST_CHILD: 0, BEFORE: 1, AFTER: 2 };

/** Properties of xmlDOMDocGetProperty. */
exports.Property = { VERSION: 0, ENCODING: 1, STANDALONE: 2, URL: 3 };

/** The handles in a handle list: "4", then eight hexadecimal digits each. No value: none. */
exports.handles = function (list) {
    return ((list || '4').substr(1).match(/.{8}/g) || []).map(digits => {
        return parseInt(digits, 16);
    });
};

/** The nodes that an XPath expression selects from a node, in document order. */
exports.select = function (node, xpath) {
    return exports.handles(xmlDOMNodeSelectNodes(node, xpath));
};

/** The value of the first text, attribute, ... that an XPath expression selects; '' without one. */
exports.value = function (node, xpath) {
    const found = exports.select(node, xpath);
    return found.length > 0 ? xmlDOMNodeGetValue(found[0]) : '';
};

exports.children = function (node) {
    const found = [];
    for (let child = xmlDOMNodeGetRelative(node, exports.Step.FIRST_CHILD); child;
         child = xmlDOMNodeGetRelative(child, exports.Step.NEXT)) {
        found.push(child);
    }
    return found;
};

exports.attributes = function (element) {
    const found = [];
    for (let attribute = xmlDOMNodeGetFirstAttribute(element); attribute;
         attribute = xmlDOMNodeGetNextAttribute(element, attribute)) {
        found.push(attribute);
    }
    return found;
};

/** All text below an element, in document order; what entity references stand for is left out. */
exports.text = function text(element) {
    // The value of a text node goes on through the texts among its later siblings. Backwards, what
    // those have is known and can be cut off.
    let whole = '', later = '';
    exports.children(element).reverse().forEach(child => {
        const type = xmlDOMNodeGetType(child);
        if (type === exports.Type.ELEMENT) {
            whole = text(child) + whole;
        } else if (type === exports.Type.CDATA) {
            const section = xmlDOMNodeGetValue(child);
            whole = section + whole;
            later = section + later;
        } else if (type === exports.Type.TEXT) {
            const rest = xmlDOMNodeGetValue(child);
            whole = rest.slice(0, rest.length - later.length) + whole;
            later = rest;
        }
    });
    return whole;
};

/** Loads an XML file, or throws the parser's words. keepBlanks 0: no white space between elements. */
exports.load = function (path, keepBlanks) {
    const doc = xmlDOMDocLoadXMLFile(path8(path), keepBlanks);
    if (!doc) throw new Error(path + ' does not load:\n' + xmlDOMDocGetLastMsg(0));
    return doc;
};

/** The same for HTML. */
exports.loadHTML = function (path, keepBlanks) {
    const doc = xmlHTMLDocLoadFile(path8(path), keepBlanks);
    if (!doc) throw new Error(path + ' does not load:\n' + xmlDOMDocGetLastMsg(0));
    return doc;
};
