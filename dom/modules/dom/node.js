// Node: what all kinds of nodes have, and changes of the tree.
'use strict';
const {
    CLUSTER, HANDLE, TYPE, PARENT, NAME, URI, LISTS, DATA, FRESH, CONTAINER, ATTACH
} = require('./fields');
const { Cluster } = require('./cluster');
const { NodeList, HTMLCollection } = require('./lists');
const { checkText } = require('./names');
const namespaces = require('./namespaces');
const { refuse, need } = require('./exception');
const { unreadable } = require('./wide');

const UP = 0, NEXT = 1, PREVIOUS = 2, FIRST = 3, LAST = 4;

const types = {
    ELEMENT_NODE: 1, ATTRIBUTE_NODE: 2, TEXT_NODE: 3, CDATA_SECTION_NODE: 4, ENTITY_REFERENCE_NODE: 5,
    ENTITY_NODE: 6, PROCESSING_INSTRUCTION_NODE: 7, COMMENT_NODE: 8, DOCUMENT_NODE: 9,
    DOCUMENT_TYPE_NODE: 10, DOCUMENT_FRAGMENT_NODE: 11, NOTATION_NODE: 12
};

const content = [1, 3, 4, 5, 7, 8];
/** The types of children that each type takes. */
const allowed = { 1: content, 2: [3, 5], 5: content, 6: content, 11: content, 9: [1, 7, 8, 10] };

/** The base of all nodes. Objects are made by documents, never by `new`. */
class Node {
    constructor() { throw new TypeError('nodes are made by methods of documents'); }

    /** One of Node.ELEMENT_NODE (1) to Node.NOTATION_NODE (12). */
    get nodeType() { return this[TYPE]; }
    /** The name: of elements and attributes with the prefix, else what the recommendation says. */
    get nodeName() { return this[NAME] ?? (this[NAME] = readName(this)); }
    /** The text of attributes, text, CDATA sections, comments and processing instructions; else null. */
    get nodeValue() { return null; }
    set nodeValue(value) { void value; }
    /** The document that the node was made by; null for documents. */
    get ownerDocument() { return this[CLUSTER].document; }

    /** The node that this one is a child of; null for none. */
    get parentNode() {
        const parent = this[PARENT];
        if (parent !== undefined) return parent;
        return this[PARENT] = this[CLUSTER].node(xmlDOMNodeGetRelative(this[HANDLE], UP));
    }
    get firstChild() {
        return this[CLUSTER].node(xmlDOMNodeGetRelative(this[CONTAINER](), FIRST), this);
    }
    get lastChild() { return this[CLUSTER].node(xmlDOMNodeGetRelative(this[CONTAINER](), LAST), this); }
    get nextSibling() {
        const parent = this[PARENT];
        if (parent === null) return null;
        return this[CLUSTER].node(xmlDOMNodeGetRelative(this[HANDLE], NEXT), parent);
    }
    get previousSibling() {
        const parent = this[PARENT];
        if (parent === null) return null;
        return this[CLUSTER].node(xmlDOMNodeGetRelative(this[HANDLE], PREVIOUS), parent);
    }
    /** The children, a live NodeList. */
    get childNodes() {
        return listOf(this, 'childNodes', () => new NodeList(this[CLUSTER], () => childrenOf(this)));
    }
    /** The attributes of an element, a live NamedNodeMap; null for other nodes. */
    get attributes() { return null; }
    hasChildNodes() { return this.firstChild !== null; }
    /** Whether it is an element with attributes. */
    hasAttributes() { return false; }

    /** The namespace URI of an element or attribute; null for none. */
    get namespaceURI() { return null; }
    /** The prefix of an element's or attribute's name; null for none. */
    get prefix() { return null; }
    set prefix(value) { void value; }
    /** The name without the prefix; null for nodes other than elements and attributes, and for those made
        by createElement, createAttribute and setAttribute. */
    get localName() { return null; }

    /** Places a node (the children of a fragment) before a child; at the end when that is null. */
    insertBefore(newChild, refChild) {
        checkInsertion(this, newChild);
        if (refChild && !isChild(this, refChild))
            refuse('NotFoundError', 'the reference node is no child of this node');
        checkRoom(this, [newChild], []);
        insert(this, newChild, refChild === newChild ? newChild.nextSibling : refChild);
        return newChild;
    }
    /** Places a node (the children of a fragment) at the end. */
    appendChild(newChild) { return this.insertBefore(newChild, null); }
    /** Puts a node (the children of a fragment) in the place of a child, and gives that. */
    replaceChild(newChild, oldChild) {
        checkInsertion(this, newChild);
        if (!isChild(this, need(oldChild, 'the node to replace')))
            refuse('NotFoundError', 'the node to replace is no child of this node');
        if (oldChild[TYPE] === 10) stays();
        checkRoom(this, [newChild], [oldChild]);
        if (newChild === oldChild) return oldChild;
        let next = oldChild.nextSibling;
        if (next === newChild) next = newChild.nextSibling;
        take(oldChild);
        insert(this, newChild, next);
        return oldChild;
    }
    /** Takes a child out and gives it. */
    removeChild(oldChild) {
        checkWritable(this);
        if (!isChild(this, need(oldChild, 'the node to remove')))
            refuse('NotFoundError', 'the node to remove is no child of this node');
        take(oldChild);
        return oldChild;
    }
    /** Gives a copy that hangs nowhere; with all below it when `deep` is true. */
    cloneNode(deep) {
        let copy = xmlDOMNodeCloneNode(this[HANDLE], deep ? 1 : 0);
        if (deep && this[TYPE] === 1)
            copy = namespaces.withoutAdded(this[CLUSTER], copy, xmlDOMNodeCloneNode(this[HANDLE], 0));
        return copied(this, this[CLUSTER].adopt(copy, this[TYPE]));
    }
    /** Joins texts that are neighbours, and drops empty ones, in all of the subtree. */
    normalize() {
        if (this[TYPE] === 1 && this[CLUSTER].hasSplitAttributes)
            for (const attribute of this.attributes.toArray()) attribute.normalize();
        for (let child = this.firstChild, next; child; child = next) {
            next = child.nextSibling;
            if (child[TYPE] !== 3) {
                child.normalize();
                continue;
            }
            const data = child.data;
            let joined = data;
            for (; next && next[TYPE] === 3; next = child.nextSibling) {
                joined += next.data;
                checkWritable(this);
                take(next);
            }
            if (joined === '') take(child);
            else if (joined !== data) child.data = joined;
        }
    }
    /** Whether a feature is there: "Core" and "XML", of version "1.0" or "2.0", and "XPath" of "3.0". */
    isSupported(feature, version) { return hasFeature(need(feature, 'a feature'), version); }

    /** All text of the subtree without comments and processing instructions; null for documents. Setting it
        puts one text in the place of all children. */
    get textContent() {
        const parts = [];
        collectText(this, parts);
        return parts.join('');
    }
    set textContent(value) {
        const text = value === null || value === undefined ? '' : checkText(value);
        checkWritable(this);
        const only = this.firstChild;
        if (only && only[TYPE] === 3 && text !== '' && !only.nextSibling) {
            only.data = text;
            return;
        }
        clear(this);
        if (text !== '') this.appendChild(this.ownerDocument.createTextNode(text));
    }

    /** Whether another node is this one or below it. */
    contains(other) {
        for (let node = other; node; node = node.parentNode) if (node === this) return true;
        return false;
    }

    [CONTAINER]() { return this[HANDLE]; }
}
for (const [name, value] of Object.entries(types)) {
    Object.defineProperty(Node, name, { value, enumerable: true });
    Object.defineProperty(Node.prototype, name, { value, enumerable: true });
}

/** Enters the class of a type of node. Its objects are made by one function: the engine needs several times as
    long for a constructor that goes up a chain of classes. */
function enter(type, Type) {
    function Made(cluster, handle, parent) { init(this, cluster, handle, parent); }
    Made.prototype = Type.prototype;
    Type.prototype[TYPE] = type;
    Cluster.makers[type] = Made;
}

function init(node, cluster, handle, parent) {
    node[CLUSTER] = cluster;
    node[HANDLE] = handle;
    node[PARENT] = parent;
    cluster?.nodes.set(handle, node);
}

/** Gives a class the members of others. */
function mix(Type, ...others) {
    for (const { prototype } of others) {
        const { constructor, ...members } = Object.getOwnPropertyDescriptors(prototype);
        Object.defineProperties(Type.prototype, members);
    }
}

/** Gives classes further members. */
function extend(Types, members) {
    const descriptors = Object.getOwnPropertyDescriptors(members);
    for (const Type of Types) Object.defineProperties(Type.prototype, descriptors);
}

/** What documents, fragments and elements have beyond nodes. */
class ParentNode {
    /** The children that are elements, a live list. */
    get children() {
        return listOf(this, 'children', () => new HTMLCollection(this[CLUSTER], () =>
            xmlDOMNodeSelectNodes(this[HANDLE], '*')));
    }
    get firstElementChild() { return elementFrom(this.firstChild, 'nextSibling'); }
    get lastElementChild() { return elementFrom(this.lastChild, 'previousSibling'); }
    get childElementCount() { return this.children.length; }
    /** Places nodes and texts at the end. */
    append(...nodes) { placeAll(this, nodes, () => null); }
    /** Places nodes and texts at the beginning. */
    prepend(...nodes) { placeAll(this, nodes, isGiven => skip(this.firstChild, 'nextSibling', isGiven)); }
    /** Places nodes and texts instead of all children. */
    replaceChildren(...nodes) { placeAll(this, nodes, () => null, this.childNodes.toArray()); }
}

/** What can be among the children of a node: elements, character data, processing instructions, document
    types. */
class ChildNode {
    /** Places nodes and texts before this one; nothing happens without a parent. */
    before(...nodes) {
        const parent = this.parentNode;
        if (parent) placeAll(parent, nodes, isGiven => skip(this, 'nextSibling', isGiven));
    }
    /** Places nodes and texts behind this one. */
    after(...nodes) {
        const parent = this.parentNode;
        if (parent) placeAll(parent, nodes, isGiven => skip(this.nextSibling, 'nextSibling', isGiven));
    }
    /** Places nodes and texts instead of this one. */
    replaceWith(...nodes) {
        const parent = this.parentNode;
        if (parent)
            placeAll(parent, nodes, isGiven => skip(this.nextSibling, 'nextSibling', isGiven), [this]);
    }
    /** Takes this node out. */
    remove() {
        this.parentNode?.removeChild(this);
    }
}

/** The next and previous sibling that is an element; of elements and character data. */
class NonDocumentTypeChildNode {
    get nextElementSibling() { return elementFrom(this.nextSibling, 'nextSibling'); }
    get previousElementSibling() { return elementFrom(this.previousSibling, 'previousSibling'); }
}

function elementFrom(node, step) {
    while (node && node[TYPE] !== 1) node = node[step];
    return node;
}

/** The first of a node and those behind it that is not given to a method. */
function skip(node, step, isGiven) {
    while (node && isGiven(node)) node = node[step];
    return node;
}

/** A live list of a node, made when somebody first asks for it. */
function listOf(node, name, make) {
    const lists = node[LISTS] ??= {};
    return lists[name] ??= make();
}

/** The children: one call, unless there may be entity references, which XPath passes over. */
function childrenOf(node) {
    if (!node[CLUSTER].hasReferences && node[TYPE] === 1)
        return xmlDOMNodeSelectNodes(node[CONTAINER](), 'node()');
    const found = [];
    for (let child = node.firstChild; child; child = child.nextSibling) found.push(child);
    return found;
}

function readName(node) {
    try {
        return xmlDOMNodeGetName(node[HANDLE]);
    } catch (error) {
        return unreadable('the name of this node');
    }
}

function collectText(node, parts) {
    for (let child = node.firstChild; child; child = child.nextSibling) {
        const type = child[TYPE];
        if (type === 3 || type === 4) parts.push(child.data);
        else if (type === 1 || type === 5) collectText(child, parts);
    }
}

// ---- Checks -------------------------------------------------------------------------------------

/** Whether a node is or is below an entity, a document type or an entity reference. */
function isReadOnly(node) {
    if (!node[CLUSTER]) return true;
    if (!node[CLUSTER].hasContents && node[TYPE] < 10) return node[TYPE] === 5 || node[TYPE] === 6;
    for (let above = node; above; above = above[TYPE] === 2 ? above.ownerElement : above.parentNode)
        if ([5, 6, 10, 12].includes(above[TYPE])) return true;
    return false;
}

/** Refuses a change of a node that cannot be changed. */
function checkWritable(node) {
    if (isReadOnly(node)) refuse('NoModificationAllowedError', 'this node cannot be changed');
}

function checkInsertion(parent, child) {
    if (!(child instanceof Node)) {
        if (child === undefined) throw new TypeError('the node to place is missing');
        refuse('HierarchyRequestError', 'this is no node');
    }
    checkWritable(parent);
    if (child[CLUSTER] && child[CLUSTER] !== parent[CLUSTER])
        refuse('WrongDocumentError', 'the node is of another document: use importNode');
    const type = child[TYPE], kinds = allowed[parent[TYPE]] ?? [];
    if (type === 11) {
        for (let part = child.firstChild; part; part = part.nextSibling) checkKind(kinds, part);
    } else {
        checkKind(kinds, child);
        if (child[PARENT] !== null && child[CLUSTER]?.hasContents && child.parentNode &&
            isReadOnly(child.parentNode))
            refuse('NoModificationAllowedError', 'the node cannot be moved from its place');
    }
    if ((type === 1 || type === 5 || type === 11) &&
        (child.contains(parent) || (parent[TYPE] === 2 && child.contains(parent.ownerElement))))
        refuse('HierarchyRequestError', 'a node cannot be placed below itself');
}

function checkKind(kinds, child) {
    if (!kinds.includes(child[TYPE])) refuse('HierarchyRequestError', 'such a node cannot be placed here');
}

/** Refuses a second element or document type in a document, counting what is to be replaced as gone. */
function checkRoom(parent, placed, gone) {
    if (parent[TYPE] !== 9) return;
    const later = placed.flatMap(child => child[TYPE] === 11 ? child.childNodes.toArray() : [child]);
    const all = parent.childNodes.toArray().filter(node => !placed.includes(node) && !gone.includes(node))
        .concat(later);
    for (const type of [1, 10])
        if (later.some(node => node[TYPE] === type) && all.filter(node => node[TYPE] === type).length > 1)
            refuse('HierarchyRequestError', 'a document has one element and one document type');
}

function isChild(parent, child) { return child instanceof Node && child.parentNode === parent; }

// ---- Changes ------------------------------------------------------------------------------------

/** Places nodes, and texts as nodes, where a child that none of them is comes next (null: at the end), in the
    place of children that go. Refuses before anything changes. */
function placeAll(parent, given, findNext, gone = []) {
    const nodes = given.map(item => item instanceof Node ? item : checkText(item));
    const kinds = allowed[parent[TYPE]] ?? [];
    checkWritable(parent);
    for (const node of nodes) {
        if (node instanceof Node) checkInsertion(parent, node);
        else if (!kinds.includes(3)) refuse('HierarchyRequestError', 'a text cannot be placed here');
        if (node[TYPE] === 10 && node.parentNode) stays();
    }
    if (gone.some(node => node[TYPE] === 10 && !nodes.includes(node))) stays();
    checkRoom(parent, nodes.filter(node => node instanceof Node), gone);
    const next = findNext(node => nodes.includes(node));
    for (const node of gone) if (!nodes.includes(node)) take(node);
    for (const node of nodes)
        insert(parent, node instanceof Node ? node : parent[CLUSTER].document.createTextNode(node), next);
}

function stays() {
    refuse('NoModificationAllowedError', 'a document type stays in its document');
}

/** Takes a node out of its place. */
function take(node) {
    if (node[TYPE] === 10) stays();
    if (node[CLUSTER].watchers.length > 0) node[CLUSTER].leaves(node);
    node[CLUSTER].detach(node[HANDLE]);
    node[PARENT] = null;
}

function insert(parent, child, before) {
    if (child[TYPE] === 10) return child[ATTACH](parent);
    if (child[TYPE] !== 11) return place(parent, child, before);
    for (let part; (part = child.firstChild);) place(parent, part, before);
}

function place(parent, child, before) {
    const cluster = parent[CLUSTER], type = child[TYPE];
    if (cluster.watchers.length > 0 && child[PARENT] !== null) cluster.leaves(child);
    if (type === 1) {
        if (parent[TYPE] === 9 && child[PARENT] !== null) take(child);
        namespaces.prepare(parent, child, take);
    }
    const target = before ? before[HANDLE] : 0;
    const linked = type === 3 ? cluster.linkText(parent[CONTAINER](), child[HANDLE], target)
                              : cluster.link(parent[CONTAINER](), child[HANDLE], target);
    if (linked === undefined) throw new Error('libxml2 does not take this node here');
    child[PARENT] = parent;
    if (child[FRESH]) child[FRESH] = false;
    if (parent[TYPE] === 2) cluster.hasSplitAttributes = true;
    cluster.version++;
}

/** Takes all children out. Those that no object stands for, and nothing hangs below, are freed. */
function clear(parent) {
    const cluster = parent[CLUSTER], container = parent[CONTAINER]();
    for (let handle; (handle = xmlDOMNodeGetRelative(container, FIRST));) {
        if (cluster.nodes.has(handle) || xmlDOMNodeGetRelative(handle, FIRST)) {
            take(cluster.node(handle));
        } else {
            xmlDOMNodeFreeNode(xmlDOMNodeUnlinkNode(handle));
            cluster.version++;
        }
    }
}

/** What a copy of a node has beyond what libxml2 copied. */
function copied(node, copy) {
    if (node[DATA] !== undefined) copy[DATA] = node[DATA];
    if (node[URI] === false) copy[URI] = false;
    if (node[TYPE] === 1) namespaces.copied(node, copy);
    return copy;
}

function hasFeature(feature, version) {
    const versions = { core: /^(1\.0|2\.0)$/, xml: /^(1\.0|2\.0)$/, xpath: /^3\.0$/ }[String(feature).toLowerCase()];
    return versions !== undefined && ((version ?? '') === '' || versions.test(version));
}

Object.assign(exports, {
    Node, ParentNode, ChildNode, NonDocumentTypeChildNode, enter, mix, extend, listOf, checkWritable, take, clear, copied,
    hasFeature
});
