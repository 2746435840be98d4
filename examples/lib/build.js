// Building parts of documents with fewer words.
const functions = require('./functions');

/** A new attribute with a value, in no namespace when uri is left out. It is not linked yet. */
exports.attribute = function (doc, name, value, uri) {
    const attribute = uri ? xmlDOMDocCreateNodeNS(doc, functions.Type.ATTRIBUTE, name, uri)
                        : xmlDOMDocCreateNode(doc, functions.Type.ATTRIBUTE, name);
    exports.append(attribute, [xmlDOMDocCreateNode(doc, functions.Type.TEXT, value)]);
    return attribute;
};

/**
 * A new element, not linked yet. Its name is 'prefix:local'; ':local' is in the default namespace.
 * attributes: values by name. content: handles of nodes, and strings that become text.
 */
exports.element = function (doc, name, uri, attributes, content) {
    const element = xmlDOMDocCreateNodeNS(doc, functions.Type.ELEMENT, name, uri);
    Object.keys(attributes).forEach(key => {
        xmlDOMElementSetAttributeNode(element, exports.attribute(doc, key, attributes[key]));
    });
    return exports.append(element, content.map(item => {
        return typeof item === 'string' ? xmlDOMDocCreateNode(doc, functions.Type.TEXT, item) : item;
    }));
};

/** Links nodes as the last ones below a parent; the parent. */
exports.append = function (parent, nodes) {
    nodes.forEach(node => {
        if (xmlDOMNodeAddChild(functions.Place.LAST_CHILD, parent, node) === undefined) {
            throw new Error(xmlDOMNodeGetName(node) + ' cannot be in ' + xmlDOMNodeGetName(parent));
        }
    });
    return parent;
};
