// Nodes by XPath 1.0.
'use strict';
const { CLUSTER, HANDLE, TYPE, PARENT, CONTAINER } = require('./fields');
const { Node, extend } = require('./node');
const { handles, literal, isWide } = require('./names');
const { refuse, need } = require('./exception');
const namespaces = require('./namespaces');
const { read } = require('./xpath_syntax');

const nameStart = 'A-Za-z_\\u0080-\\uFFFF', ncName = `[${nameStart}][${nameStart}\\w.\\-]*`;
const tokens = new RegExp(`"[^"]*"|'[^']*'|(@|attribute\\s*::\\s*)?(${ncName}):(\\*|${ncName})(?!\\s*\\()`, 'g');

/** The expression with p:name written out for each prefix that `uris`, a function, knows. */
function withUris(xpath, uris) {
    return xpath.replace(tokens, (token, axis = '', prefix, local) => {
        const uri = prefix === undefined || prefix === 'xml' ? undefined : uris(prefix);
        if (uri === undefined || uri === null) return token;
        const test = `namespace-uri()=${literal(String(uri))}`;
        return axis + (local === '*' ? `*[${test}]` : `*[local-name()='${local}' and ${test}]`);
    });
}

/** What prefixes mean in an expression: what `uris` says, an object or a function; without it what is declared at
    the node or, for whatever is not, in the document. */
function resolver(node, uris) {
    if (typeof uris === 'function') return uris;
    if (uris !== undefined && uris !== null) {
        if (typeof uris !== 'object') throw new TypeError('the URIs of prefixes are an object');
        return prefix => Object.hasOwn(uris, prefix) ? uris[prefix]
            : typeof uris.lookupNamespaceURI === 'function' ? uris.lookupNamespaceURI(prefix) : undefined;
    }
    let scope;
    return prefix => {
        const cluster = node[CLUSTER];
        namespaces.scanDocument(cluster);
        if (!cluster.isTangled) return cluster.bindings.get(prefix);
        scope ??= namespaces.scopeOf(node[TYPE] === 2 ? node.ownerElement : node);
        return scope.get(prefix) ?? cluster.bindings.get(prefix);
    };
}

/** Refuses prefixes that mean nothing. */
function checkPrefixes(prefixes, meaning) {
    for (const prefix of prefixes)
        if (prefix !== 'xml' && (meaning(prefix) ?? null) === null)
            refuse('NamespaceError', `the prefix ${prefix} has no namespace here`);
}

/** An empty list, if an expression selects nothing. The function gives no value for an expression that fails, but
    for some empty sets as well, such as that of (none)/.. */
function emptyList(handle, xpath) {
    return xmlDOMNodeSelectNodes(handle, `self::node()[not(${xpath})]`)?.length > 1 ? '' : undefined;
}

/** The nodes that an expression selects, in document order. */
function select(node, expression, uris) {
    const source = String(need(expression, 'the XPath expression'));
    if (isWide(source))
        refuse('SyntaxError', 'an XPath expression can have no character above U+FFFF here');
    const { tree, prefixes } = read(source), meaning = resolver(node, uris);
    if (tree.type !== 'set') refuse('SyntaxError', `the XPath expression selects no nodes: ${source}`);
    checkPrefixes(prefixes, meaning);
    const xpath = withUris(source, meaning);
    const cluster = node[CLUSTER];
    let top = node;
    while (top[PARENT] !== null && top.parentNode) top = top.parentNode;
    const isDetached = top[PARENT] === null && top[HANDLE] !== cluster.doc && top[TYPE] !== 11;
    // What is detached hangs beside other such nodes, which the expression must not see.
    if (isDetached) xmlDOMNodeUnlinkNode(top[HANDLE]);
    let list;
    try {
        list = xmlDOMNodeSelectNodes(node[CONTAINER](), xpath) ?? emptyList(node[CONTAINER](), xpath);
    } finally {
        if (isDetached) cluster.detach(top[HANDLE]);
    }
    if (list === undefined) refuse('SyntaxError', `libxml2 cannot evaluate ${source}`);
    const found = [];
    for (const handle of handles(list)) {
        const selected = cluster.node(handle);
        if (selected && (!isDetached || isWithin(top, selected))) found.push(selected);
    }
    return found;
}

/** Whether a node is in a detached tree: libxml2 takes its document for the parent of the top. */
function isWithin(top, node) {
    while (node && node !== top) node = node[TYPE] === 2 ? node.ownerElement : node.parentNode;
    return node !== null;
}

extend([Node], {
    /** The nodes that an XPath 1.0 expression selects from here, an array in document order. */
    selectNodes(xpath, uris) { return select(this, xpath, uris); },
    /** The first node that an XPath expression selects; null for none. */
    selectSingleNode(xpath, uris) { return select(this, xpath, uris)[0] ?? null; }
});

Object.assign(exports, { select, resolver, checkPrefixes });
