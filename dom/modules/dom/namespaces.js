// Namespace declarations, and keeping the namespace of whatever is moved.
//
// When a node enters a document, libxml2's binding takes for each of its prefixes the declaration
// in scope, whatever URI that one has. In the DOM a node keeps its namespace. So a cluster knows
// which prefixes have more than one URI; only when there is one, a subtree is settled before it
// is linked: its elements get declarations of their own where the scope would give them another
// URI.
'use strict';
const {
    CLUSTER, HANDLE, TYPE, PARENT, NAME, URI, DECLARED, BOUND, FRESH, SET, DECLARATION
} = require('./fields');
const { XMLNS, handles, isWide, literal, unescape } = require('./names');
const { refuse } = require('./exception');

const UP = 0, NEXT = 1, FIRST = 3;

/** Whether anything in the document, or made for it, has a namespace. */
function hasNamespaces(cluster) {
    scanDocument(cluster);
    return cluster.isTangled || cluster.bindings.size > 1 ||
        (cluster.bindings.size === 1 && cluster.bindings.get('') !== '');
}

/** What an element declares in libxml2's tree: a Map of URIs by prefix, '' for the default namespace. */
function declarationsOf(cluster, handle) {
    return hasNamespaces(cluster) ? readDeclarations(handle) : new Map();
}

function readDeclarations(handle) {
    const found = new Map(), shallow = xmlDOMNodeCloneNode(handle, 0);
    try {
        let tag;
        try {
            tag = xmlDOMNodeDumpNode(shallow, 0);
        } catch (error) {       // an attribute may have characters above U+FFFF
            for (const attribute of attributesOf(shallow))
                xmlDOMNodeFreeNode(xmlDOMElementRemoveAttributeNode(shallow, attribute));
            tag = read(() => xmlDOMNodeDumpNode(shallow, 0));
        }
        for (const [prefix, uri] of declarationsIn(tag)) found.set(prefix, uri);
    } finally {
        xmlDOMNodeFreeNode(shallow);
    }
    dropBorrowed(handle, found);
    return found;
}

const tagStart = /^<(?:[^>"']|"[^"]*"|'[^']*')*/;

/** The declarations of a start tag: [prefix, URI]. */
function declarationsIn(tag) {
    return Array.from(tagStart.exec(tag)[0].matchAll(/\s([^\s=]+)=("[^"]*"|'[^']*')/g))
        .filter(([, name]) => /^xmlns(:|$)/.test(name))
        .map(([, name, quoted]) => [name.slice(6), unescape(quoted.slice(1, -1))]);
}

/** Drops what a copy declares only because its attributes need it: what the parent binds the same, and the
    element itself does not declare. */
function dropBorrowed(handle, found) {
    const isBorrowed = ([prefix, uri]) => prefix !== '' && !isWide(uri) && xmlDOMNodeSelectNodes(handle,
        `self::*[../namespace::*[name()=${literal(prefix)} and .=${literal(uri)}]]`) !== '4';
    const suspects = [...found].filter(isBorrowed);
    if (suspects.length === 0) return;
    let own;
    try {
        own = new Map(declarationsIn(xmlDOMNodeDumpNode(handle, 0)));
    } catch (error) {       // characters above U+FFFF below
        own = new Map();
    }
    for (const [prefix] of suspects) if (!own.has(prefix)) found.delete(prefix);
}

function read(get) {
    try {
        return get();
    } catch (error) {
        return refuse('NotSupportedError',
                      'a name or namespace has characters above U+FFFF, which cannot be read here');
    }
}

const attributesOf = element => handles(xmlDOMNodeSelectNodes(element, '@*'));

function nameOf(handle) {
    const part = property => read(() => xmlDOMNodeGetPropertyNS(handle, property)) ?? '';
    return { prefix: part(2), uri: part(1) };
}

/** The same of an element's object, where it knows. */
function known(element) {
    if (!element || element[NAME] === undefined || element[URI] === undefined) return null;
    const name = element[NAME];
    return { prefix: name.slice(0, Math.max(name.indexOf(':'), 0)), uri: element[URI] || '' };
}

// ---- What is bound ------------------------------------------------------------------------------

/** Notes that a prefix has this URI somewhere in the cluster; '' for none. */
function note(cluster, prefix, uri) {
    const known = cluster.bindings.get(prefix ?? '');
    if (known === undefined) cluster.bindings.set(prefix ?? '', uri ?? '');
    else if (known !== (uri ?? '')) cluster.isTangled = true;
}

/** Notes all that is bound in a subtree: by declarations, and by names that are to become some. */
function scan(cluster, top) {
    // The common case, several times as fast: there is no namespace but that of xml.
    if (top === cluster.doc && xmlDOMNodeSelectNodes(top, '(//*[namespace::*[2]])[1]') === '4') {
        note(cluster, '', '');
        return;
    }
    if (xmlDOMNodeSelectNodes(top, '(descendant-or-self::*[namespace-uri()=""])[1]') !== '4')
        note(cluster, '', '');
    noteAll(cluster, top, known =>
        `(descendant-or-self::*[namespace::*[name()!="xml"${known('name()', '.')}]])[1]`, readDeclarations);
    if (top === cluster.doc) return;
    noteAll(cluster, top, known =>
        '((descendant-or-self::*|descendant-or-self::*/@*)[namespace-uri()!=""]' +
        `[not(starts-with(name(),"xml:"))${known('substring-before(name(),":")', 'namespace-uri()')}])[1]`,
            handle => {
                const { prefix, uri } = nameOf(handle);
                return new Map([[prefix, uri]]);
            });
}

/** Notes what `bindings` gives for each node that an expression finds, which leaves out what is known. */
function noteAll(cluster, top, expression, bindings) {
    const seen = [];
    const known = (prefixPath, uriPath) => seen.map(([prefix, uri]) =>
        ` and not(${prefixPath}=${literal(prefix)} and ${uriPath}=${literal(uri)})`).join('');
    while (!cluster.isTangled) {
        const [next] = handles(xmlDOMNodeSelectNodes(top, expression(known)));
        if (!next) return;
        const found = bindings(next);
        for (const [prefix, uri] of found) note(cluster, prefix, uri);
        seen.push(...found);
        if (seen.length > 100 || found.size === 0) cluster.isTangled = true;
    }
}

/** Notes all that is bound in the document, once. */
function scanDocument(cluster) {
    if (cluster.isScanned) return;
    cluster.isScanned = true;
    scan(cluster, cluster.doc);
}

/** What an element binds: what it declares, and what its names need. */
function bindingsOf(element) {
    if (element[BOUND]) return element[BOUND];
    const cluster = element[CLUSTER], bound = declarationsOf(cluster, element[HANDLE]);
    const names = element[CLUSTER].hasPrefixedAttributes === false
        ? [] : attributesOf(element[HANDLE]).map(nameOf).filter(name => name.uri !== '');
    for (const { prefix, uri } of [nameOf(element[HANDLE]), ...names])
        if (prefix !== 'xml') bound.set(prefix, uri);
    return element[BOUND] = bound;
}

/** All that is bound inside a node: by the declarations and, in detached trees, by the names that will become
    some. */
function scopeOf(node) {
    const chain = [];
    for (let above = node; above; above = above.parentNode) if (above[TYPE] === 1) chain.push(above);
    const scope = new Map([['', '']]);
    for (const element of chain.reverse())
        for (const [prefix, uri] of bindingsOf(element)) scope.set(prefix, uri);
    return scope;
}

// ---- Settling -----------------------------------------------------------------------------------

/** To be called before an element is linked below a parent: sees to it that it keeps its namespaces. */
function prepare(parent, child, take) {
    const cluster = parent[CLUSTER];
    scanDocument(cluster);
    if (!cluster.isTangled) return;
    if (child[PARENT] !== null) take(child);
    settle(cluster, child[HANDLE], scopeOf(parent));
}

/** Gives each element of a detached subtree the declarations that it needs in a scope. */
function settle(cluster, top, scope) {
    const waiting = [[top, scope]];
    while (waiting.length > 0) {
        let [element, outer] = waiting.pop();
        const object = cluster.nodes.get(element);
        const declared = object?.[FRESH] ? new Map() : declarationsOf(cluster, element);
        const inner = new Map([...outer, ...declared]), missing = new Map();
        const { prefix, uri } = known(object) ?? nameOf(element);
        if (prefix !== 'xml' && (inner.get(prefix) ?? '') !== uri) {
            if (inner.has(prefix)) missing.set(prefix, uri);
            inner.set(prefix, uri);
        }
        if (cluster.hasPrefixedAttributes !== false) {
            const own = new Map([...declared, ...missing, [prefix, uri]]);
            settleAttributes(cluster, element, inner, own, missing);
        }
        if (missing.size > 0) element = declareAll(cluster, element, missing);
        for (let child = xmlDOMNodeGetRelative(element, FIRST); child;
             child = xmlDOMNodeGetRelative(child, NEXT))
            if (xmlDOMNodeGetType(child) === 1) waiting.push([child, inner]);
    }
}

function settleAttributes(cluster, element, inner, own, missing) {
    for (const attribute of attributesOf(element)) {
        const { prefix, uri } = nameOf(attribute);
        if (!uri || prefix === 'xml' || inner.get(prefix) === uri) continue;
        if (!inner.has(prefix)) {
            inner.set(prefix, uri);
            own.set(prefix, uri);
        } else if (!own.has(prefix)) {
            for (const map of [inner, own, missing]) map.set(prefix, uri);
        } else {
            const other = freePrefix(inner, uri);
            inner.set(other, uri);
            own.set(other, uri);
            xmlDOMElementRemoveAttributeNode(element, attribute);
            xmlDOMElementSetAttributeNodeNS(element, renamed(cluster, attribute, other));
        }
    }
}

/** A prefix that is bound to the URI, or to nothing. */
function freePrefix(scope, uri) {
    for (let i = 1;; i++) if ((scope.get(`ns${i}`) ?? uri) === uri) return `ns${i}`;
}

/** An attribute, which is in no element, with another prefix. Its object keeps its name. */
function renamed(cluster, attribute, prefix) {
    const object = cluster.node(attribute);
    void object.nodeName;       // is read before it changes
    const made = create(cluster, 2, { prefix, local: object.localName, uri: object.namespaceURI });
    cluster.rebind(attribute, made);
    moveChildren(cluster, attribute, made);
    xmlDOMNodeFreeNode(attribute);
    return made;
}

function moveChildren(cluster, from, to) {
    for (let child; (child = xmlDOMNodeGetRelative(from, FIRST));) {
        if (xmlDOMNodeGetType(child) === 3) cluster.linkText(to, child, 0);
        else cluster.link(to, child, 0);
    }
}

/** Declares prefixes on a detached element; gives its handle, which is another one if it has children. */
function declareAll(cluster, element, missing) {
    if (!xmlDOMNodeGetRelative(element, FIRST)) {
        for (const [prefix, uri] of missing) declareOn(cluster, element, prefix, uri);
        return element;
    }
    const made = xmlDOMNodeCloneNode(element, 0);
    for (const attribute of attributesOf(made))
        xmlDOMNodeFreeNode(xmlDOMElementRemoveAttributeNode(made, attribute));
    for (const [prefix, uri] of missing) declareOn(cluster, made, prefix, uri);
    return replaceBy(cluster, element, made);
}

/** Moves all of a detached element to another, which takes its place and its object. */
function replaceBy(cluster, element, made) {
    for (const attribute of attributesOf(element)) {
        const isInNamespace = nameOf(attribute).uri !== '';
        xmlDOMElementRemoveAttributeNode(element, attribute);
        (isInNamespace ? xmlDOMElementSetAttributeNodeNS : xmlDOMElementSetAttributeNode)(made, attribute);
    }
    moveChildren(cluster, element, made);
    xmlDOMNodeReplaceNode(element, made);
    const object = cluster.nodes.get(element);
    if (object) declared(object);
    cluster.rebind(element, made);
    xmlDOMNodeFreeNode(element);
    cluster.version++;
    return made;
}

/** Declares a prefix on an element that has no element below it, in libxml2's tree. */
function declareOn(cluster, element, prefix, uri) {
    const attribute = xmlDOMDocCreateNodeNS(cluster.doc, 2, `xmlns:${prefix}`, XMLNS);
    xmlDOMNodeAddChild(0, attribute, xmlDOMDocCreateNode(cluster.doc, 3, uri));
    xmlDOMElementSetAttributeNodeNS(element, attribute);
    xmlDOMNodeFreeNode(attribute);
}

/** A new element (1) or attribute (2) of a name, which hangs nowhere: {prefix, local, uri}. */
function create(cluster, type, { prefix, local, uri }) {
    if (uri) return xmlDOMDocCreateNodeNS(cluster.doc, type, `${prefix ?? ''}:${local}`, uri);
    if (!local.includes(':')) return xmlDOMDocCreateNode(cluster.doc, type, local);
    // A colon without a namespace, which level 1 knows, only the parser takes.
    const doc = xmlDOMDocLoadXMLString(type === 1 ? `<${local}/>` : `<r ${local}=""/>`, 1);
    if (!doc) refuse('InvalidCharacterError', `libxml2 cannot hold this name: ${local}`);
    const root = xmlDOMDocGetRootNode(doc);
    const made = xmlDOMNodeImportNode(type === 1 ? root : xmlDOMNodeGetFirstAttribute(root), 0, cluster.doc);
    xmlDOMDocFreeDoc(doc);
    const text = xmlDOMNodeGetRelative(made, FIRST);
    if (text) xmlDOMNodeFreeNode(xmlDOMNodeUnlinkNode(text));
    return made;
}

// ---- Declarations as attributes -----------------------------------------------------------------

/** The declarations that an element has as attributes: those of the file and those that a script set, not
    those that libxml2 added to keep a name's namespace. To be called before libxml2 may add some. */
function declared(element) {
    return element[DECLARED] ??= Array.from(declarationsOf(element[CLUSTER], element[HANDLE]),
                                            ([prefix, uri]) => element[DECLARATION](prefix, uri));
}

/** Makes an attribute of an element that declares a prefix true in libxml2's tree. */
function declare(element, prefix, uri, take) {
    const cluster = element[CLUSTER];
    const used = [element[HANDLE], ...attributesOf(element[HANDLE])].map(nameOf);
    scanDocument(cluster);
    note(cluster, prefix, uri);
    element[BOUND] = undefined;
    if (prefix === 'xml' || declarationsOf(cluster, element[HANDLE]).has(prefix)) return;
    // The names on this element may need the prefix for another URI.
    if (used.some((name, i) => name.prefix === prefix && name.uri !== uri && (i === 0 || name.uri))) return;
    if (!cluster.isTangled || (element[PARENT] === null && !element.firstElementChild)) {
        declareOn(cluster, element[HANDLE], prefix, uri);
        return;
    }
    // Declared in place, it would take outer and inner declarations of the prefix with it.
    const parent = element.parentNode, next = element.nextSibling;
    if (element[PARENT] !== null) take(element);
    declareAll(cluster, element[HANDLE], new Map([[prefix, uri]]));
    if (parent) parent.insertBefore(element, next);
}

/** A deep copy without the declarations that copying added to its top: these are the place's to give.
    `shallow` is a copy of the top alone. */
function withoutAdded(cluster, deep, shallow) {
    if (declarationsOf(cluster, deep).size === declarationsOf(cluster, shallow).size) {
        xmlDOMNodeFreeNode(shallow);
        return deep;
    }
    moveChildren(cluster, deep, shallow);
    xmlDOMNodeFreeNode(deep);
    return shallow;
}

/** Gives a copy of an element the same declarations as attributes. */
function copied(element, copy) {
    if (!element[DECLARED] && !hasNamespaces(element[CLUSTER])) return;
    copy[DECLARED] = declared(element).map(attribute =>
        copy[DECLARATION](attribute[SET], attribute.value));
}

/** Sees to it that an attribute keeps its namespace on an element: it may get another prefix. */
function fit(element, attribute) {
    const cluster = element[CLUSTER], { prefix, uri } = nameOf(attribute[HANDLE]);
    if (!uri || prefix === 'xml') return;
    declared(element);
    scanDocument(cluster);
    note(cluster, prefix, uri);
    if (cluster.isTangled) {
        const scope = scopeOf(element);
        if ((scope.get(prefix) ?? uri) !== uri)
            renamed(cluster, attribute[HANDLE], freePrefix(scope, uri));
    }
    element[BOUND] = undefined;
}

Object.assign(exports, {
    hasNamespaces, note, scan, scanDocument, scopeOf, bindingsOf, declarationsOf, prepare, replaceBy,
    moveChildren, create, declared, declare, withoutAdded, copied, fit
});
