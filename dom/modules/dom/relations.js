// How nodes stand to each other: up the tree, equality, order, namespaces in scope, addresses.
'use strict';
const { CLUSTER, TYPE, SET } = require('./fields');
const { Node, extend } = require('./node');
const { Text } = require('./data');
const { XML, XMLNS } = require('./names');
const namespaces = require('./namespaces');
const { need } = require('./exception');

const DISCONNECTED = 1, PRECEDING = 2, FOLLOWING = 4, CONTAINS = 8, CONTAINED_BY = 16, ARBITRARY = 32;

/** A node and what is above it, the top first; the element of an attribute is above that. */
function pathTo(node) {
    const path = [];
    for (let above = node; above; above = above[TYPE] === 2 ? above.ownerElement : above.parentNode)
        path.push(above);
    return path.reverse();
}

/** Whether two nodes are alike with all below them. */
function areEqual(one, other) {
    if (one === other) return true;
    const type = one[TYPE];
    if (type !== other[TYPE] || one.nodeName !== other.nodeName || one.namespaceURI !== other.namespaceURI ||
        one.localName !== other.localName || one.nodeValue !== other.nodeValue)
        return false;
    if (type === 10) {
        // libxml2 writes notations in any order.
        const lines = doctype => doctype.internalSubset?.split('\n').sort().join('\n');
        return ['publicId', 'systemId'].every(key => one[key] === other[key]) && lines(one) === lines(other) &&
            ['entities', 'notations'].every(key => sameMaps(one[key], other[key]));
    }
    if (type === 6 || type === 12)
        return ['publicId', 'systemId', 'notationName'].every(key => one[key] === other[key]);
    if (type === 2) return true;
    if (type === 1 && !sameMaps(one.attributes, other.attributes)) return false;
    let child = one.firstChild, twin = other.firstChild;
    for (; child && twin; child = child.nextSibling, twin = twin.nextSibling)
        if (!areEqual(child, twin)) return false;
    return !child && !twin;
}

function sameMaps(one, other) {
    const nodes = one.toArray();
    const twin = node => node.localName === null ? other.getNamedItem(node.nodeName)
        : other.getNamedItemNS(node.namespaceURI, node.localName);
    return nodes.length === other.length &&
        nodes.every(node => twin(node) && areEqual(node, twin(node)));
}

/** How the second of two nodes stands to the first. */
function position(node, other) {
    const path = pathTo(node), toOther = pathTo(other);
    if (path[0] !== toOther[0]) {
        // Any order will do that is always the same.
        const isBefore = orderOf(toOther[0]) < orderOf(path[0]);
        return DISCONNECTED | ARBITRARY | (isBefore ? PRECEDING : FOLLOWING);
    }
    let i = 0;
    while (path[i] === toOther[i]) i++;
    if (i === path.length) return CONTAINED_BY | FOLLOWING;
    if (i === toOther.length) return CONTAINS | PRECEDING;
    const [mine, others] = [path[i], toOther[i]];
    if (mine[TYPE] === 2 && others[TYPE] === 2) {
        const all = path[i - 1].attributes.toArray();
        return ARBITRARY | (all.indexOf(others) < all.indexOf(mine) ? PRECEDING : FOLLOWING);
    }
    if (mine[TYPE] === 2 || others[TYPE] === 2) return mine[TYPE] === 2 ? FOLLOWING : PRECEDING;
    // Looks both ways at once, so that near nodes take few steps.
    for (let back = mine, on = mine; ;) {
        back = back?.previousSibling ?? null;
        on = on?.nextSibling ?? null;
        if (back === others) return PRECEDING;
        if (on === others) return FOLLOWING;
        if (!back && !on) return DISCONNECTED | ARBITRARY | FOLLOWING;
    }
}

const orders = new WeakMap();
let lastOrder = 0;
function orderOf(top) {
    if (!orders.has(top)) orders.set(top, ++lastOrder);
    return orders.get(top);
}

/** The element whose declarations are those in scope at a node; null for none. */
function scopeElement(node) {
    switch (node[TYPE]) {
        case 1: return node;
        case 2: return node.ownerElement;
        case 6: case 10: case 11: case 12: return null;
        case 9: return node.documentElement;
        default: return node.parentElement;
    }
}

/** The URI of a prefix ('' for none) at an element; null without one. */
function uriOf(element, prefix) {
    if (prefix === 'xml') return XML;
    if (prefix === 'xmlns') return XMLNS;
    for (; element; element = element.parentElement) {
        if (element.namespaceURI !== null && (element.prefix ?? '') === prefix) return element.namespaceURI;
        const declared = namespaces.declared(element).find(attribute => attribute[SET] === prefix);
        if (declared) return declared.value || null;
    }
    return null;
}

/** A prefix of a URI at an element; null without one. */
function prefixOf(element, uri) {
    for (let above = element; above; above = above.parentElement) {
        const known = [above.namespaceURI === uri ? above.prefix : null,
            ...namespaces.declared(above).filter(each => each.value === uri).map(each => each[SET])];
        const prefix = known.find(each => each && uriOf(element, each) === uri);
        if (prefix) return prefix;
    }
    return null;
}

// scheme, authority, path, query
const uriParts = /^([A-Za-z][\w+.\-]*:)?(\/\/[^/?#]*)?([^?#]*)(\?[^#]*)?/;

/** The address that a reference means at another, as RFC 3986 has it. */
function resolve(base, reference) {
    const [, scheme, authority, path, query = ''] = uriParts.exec(reference);
    if (scheme || !base) return reference;
    const [, baseScheme = '', baseAuthority = '', basePath, baseQuery = ''] = uriParts.exec(base);
    if (authority !== undefined) return baseScheme + reference;
    const start = baseScheme + baseAuthority;
    if (path === '') return start + basePath + (query || baseQuery);
    const whole = path.startsWith('/') ? path
        : baseAuthority && !basePath ? `/${path}` : basePath.replace(/[^/]*$/, '') + path;
    const steps = [], segments = whole.split('/'), isRooted = segments[0] === '';
    segments.forEach((segment, i) => {
        const isLast = i === segments.length - 1;
        const canGoUp = steps.length > (isRooted ? 1 : 0) && steps.at(-1) !== '..';
        if (segment === '..' && (canGoUp || isRooted)) {
            if (canGoUp) steps.pop();
            if (isLast) steps.push('');
        } else if (segment !== '.') {
            steps.push(segment);
        } else if (isLast) {
            steps.push('');
        }
    });
    return start + steps.join('/') + query;
}

extend([Node], {
    /** The parent, if that is an element; else null. */
    get parentElement() {
        const parent = this.parentNode;
        return parent?.[TYPE] === 1 ? parent : null;
    },
    /** The top of the tree that this node is in: the document, or what hangs nowhere. */
    getRootNode() {
        let top = this;
        for (let parent; (parent = top.parentNode);) top = parent;
        return top;
    },
    /** Whether the node is in its document's tree. */
    get isConnected() { return this.getRootNode()[TYPE] === 9; },
    isSameNode(other) { return this === need(other, 'the other node'); },
    /** Whether another node is of the same type, names, values, attributes and children. */
    isEqualNode(other) { return need(other, 'the other node') instanceof Node && areEqual(this, other); },
    /** How another node stands to this one: Node.DOCUMENT_POSITION_PRECEDING and the like, added up. */
    compareDocumentPosition(other) {
        if (!(need(other, 'the other node') instanceof Node)) throw new TypeError('this is no node');
        return this === other ? 0 : position(this, other);
    },
    /** The namespace URI of a prefix (null: of the default namespace) here; null for none. */
    lookupNamespaceURI(prefix) {
        return uriOf(scopeElement(this), String(need(prefix, 'the prefix') ?? ''));
    },
    /** A prefix that means a namespace URI here; null for none. */
    lookupPrefix(uri) {
        return need(uri, 'the namespace URI') ? prefixOf(scopeElement(this), String(uri)) : null;
    },
    /** Whether a namespace URI (null: none) is the one of names without a prefix here. */
    isDefaultNamespace(uri) {
        return uriOf(scopeElement(this), '') === (need(uri, 'the namespace URI') || null);
    },
    /** Where relative addresses start here: the document's URL, and xml:base on the way; null for unknown. */
    get baseURI() {
        const bases = pathTo(this).filter(node => node[TYPE] === 1)
            .map(element => element.getAttributeNS(XML, 'base')).filter(base => base !== null);
        return bases.reduce(resolve, (this.ownerDocument ?? this).url);
    }
});
Object.entries({
    DISCONNECTED, PRECEDING, FOLLOWING, CONTAINS, CONTAINED_BY, IMPLEMENTATION_SPECIFIC: ARBITRARY
}).forEach(([name, value]) => {
    for (const target of [Node, Node.prototype])
        Object.defineProperty(target, `DOCUMENT_POSITION_${name}`, { value, enumerable: true });
});

extend([Text], {
    /** The text of this node with that of the texts and CDATA sections right beside it. */
    get wholeText() {
        const isText = node => node && (node[TYPE] === 3 || node[TYPE] === 4);
        let first = this, whole = '';
        for (let before; isText(before = first.previousSibling);) first = before;
        for (let text = first; isText(text); text = text.nextSibling) whole += text.data;
        return whole;
    }
});
