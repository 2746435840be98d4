// Document types with their entities and notations, and references to entities.
'use strict';
const {
    CLUSTER, HANDLE, TYPE, PARENT, LIFE, NAME, CONTAINER, ATTACH
} = require('./fields');
const { Node, ChildNode, enter, mix } = require('./node');
const { still, NodeList, NamedNodeMap } = require('./lists');
const names = require('./names');
const { refuse } = require('./exception');
const wide = require('./wide');

const UP = 0, NEXT = 1, FIRST = 3;
const MAPS = Symbol('maps'), CONTENTS = Symbol('contents');

const defaultDeclaration =
    /<!ATTLIST\s+(\S+)\s+(\S+)\s+(?:[A-Z]+(?:\s*\([^)]*\))?|\([^)]*\))\s+(?:#FIXED\s+)?("[^"]*"|'[^']*')/g;

/** The document type of a document. It cannot be changed; one made by createDocumentType belongs to no
    document until it is used. */
class DocumentType extends Node {
    /** The name of the root element that it is for. */
    get name() { return this.nodeName; }
    get publicId() { return xmlDOMDoctypeGetProperty(this[HANDLE], 0) ?? null; }
    get systemId() { return xmlDOMDoctypeGetProperty(this[HANDLE], 1) ?? null; }
    /** The declarations between the brackets; null without brackets. */
    get internalSubset() {
        const text = dump(this[HANDLE]);
        const start = /^<!DOCTYPE[^\["']*(?:(?:"[^"]*"|'[^']*')[^\["']*)*\[\n?/.exec(text);
        return start ? text.slice(start[0].length, text.lastIndexOf(']')) : null;
    }
    /** The general entities of the internal subset, a NamedNodeMap. */
    get entities() { return mapOf(this, 'entities', entitiesOf); }
    /** The notations of the internal subset, a NamedNodeMap. */
    get notations() { return mapOf(this, 'notations', notationsOf); }
    get ownerDocument() { return this[CLUSTER]?.document ?? null; }
    get parentNode() {
        return this[CLUSTER] ? this[CLUSTER].node(xmlDOMNodeGetRelative(this[HANDLE], UP)) : null;
    }
    get nextSibling() { return this[CLUSTER] ? super.nextSibling : null; }
    get previousSibling() { return this[CLUSTER] ? super.previousSibling : null; }
    get firstChild() { return null; }
    get lastChild() { return null; }
    get childNodes() { return new NodeList(still, () => []); }
    get textContent() { return null; }
    set textContent(value) { void value; }
    hasChildNodes() { return false; }
    cloneNode() { return refuse('NotSupportedError', 'a document type cannot be copied'); }
    normalize() {}

    /** The default values of an element's attributes, a Map; undefined for none. */
    defaultsOf(element) {
        return mapOf(this, 'defaults', () => {
            const found = new Map();
            for (const [, owner, attribute, quoted] of dump(this[HANDLE]).matchAll(defaultDeclaration)) {
                if (!found.has(owner)) found.set(owner, new Map());
                found.get(owner).set(attribute, names.unescape(quoted.slice(1, -1)));
            }
            return found;
        }, found => found).get(element);
    }

    /** Makes it the document type of a document. */
    [ATTACH](document) {
        const cluster = document[CLUSTER];
        if (xmlDOMDocSetExternalDtd(cluster.doc, this[HANDLE]) === undefined)
            refuse('WrongDocumentError', 'the document type is that of another document');
        this[LIFE] = undefined;
        this[CLUSTER] = cluster;
        this[PARENT] = document;
        cluster.nodes.set(this[HANDLE], this);
        cluster.version++;
    }
}

function dump(handle) {
    try {
        return xmlDOMNodeDumpNode(handle, 0);
    } catch (error) {
        return '';          // characters above U+FFFF in declarations are out of reach
    }
}

function mapOf(doctype, name, collect, wrap = found => new NamedNodeMap(still, () => found)) {
    const maps = doctype[MAPS] ??= {};
    return maps[name] ??= wrap(doctype[CLUSTER] ? collect(doctype) : []);
}

function entitiesOf(doctype) {
    const cluster = doctype[CLUSTER];
    return names.handles(xmlDOMDocGetEntities(cluster.doc) ?? '4').map(handle => cluster.node(handle));
}

function notationsOf(doctype) {
    const cluster = doctype[CLUSTER], head = xmlDOMDocGetNotations(cluster.doc), found = [];
    if (!head) return found;
    cluster.keep(head);
    for (let handle = head; handle; handle = xmlDOMNodeGetRelative(handle, FIRST))
        found.push(cluster.node(handle, null));
    return found;
}

/** What entities and references have in common: contents, which cannot be changed. They are parsed from the
    declaration when somebody looks, into a fragment whose object this node is. */
class WithContents extends Node {
    [CONTAINER]() {
        if (!this[CONTENTS]) {
            const cluster = this[CLUSTER];
            cluster.hasContents = true;
            this[CONTENTS] = cluster.keep(xmlDOMDocCreateNode(cluster.doc, 11, ''));
            cluster.nodes.set(this[CONTENTS], this);
            fill(cluster, this[CONTENTS], declarationOf(this));
        }
        return this[CONTENTS];
    }
}

function declarationOf(node) {
    if (node[TYPE] === 6) return node[HANDLE];
    return node.ownerDocument.doctype?.entities.getNamedItem(node.nodeName)?.[HANDLE] ?? 0;
}

/** Parses the text of an entity's declaration and copies what is in it to a fragment. */
function fill(cluster, fragment, declaration) {
    const quoted = declaration && /^<!ENTITY\s+\S+\s+("[^"]*"|'[^']*')/.exec(dump(declaration));
    if (!quoted) return;
    // In a declaration references to characters are replaced before markup is read.
    const text = quoted[1].slice(1, -1).replace(/&#(?:x([0-9A-Fa-f]+)|(\d+));/g, names.unescape);
    const subset = cluster.document.doctype?.internalSubset;
    const loaded = wide.load((subset ? `<!DOCTYPE r [${subset}]>` : '') + `<r>${text}</r>`, 1);
    if (!loaded) return;
    const root = xmlDOMDocGetRootNode(loaded.doc);
    for (let child = xmlDOMNodeGetRelative(root, FIRST); child; child = xmlDOMNodeGetRelative(child, NEXT)) {
        const copy = xmlDOMNodeImportNode(child, 1, cluster.doc);
        if (xmlDOMNodeGetType(child) === 3) cluster.linkText(fragment, copy, 0);
        else cluster.link(fragment, copy, 0);
    }
    xmlDOMDocFreeDoc(loaded.doc);
}

/** A general entity. */
class Entity extends WithContents {
    get publicId() { return xmlDOMEntityGetProperty(this[HANDLE], 0) ?? null; }
    get systemId() { return xmlDOMEntityGetProperty(this[HANDLE], 1) ?? null; }
    /** The notation of an unparsed entity; null for others. */
    get notationName() { return xmlDOMEntityGetProperty(this[HANDLE], 2) ?? null; }
    get parentNode() { return null; }
    get nextSibling() { return null; }
    get previousSibling() { return null; }
    cloneNode(deep) { return imported(this, this[CLUSTER], deep); }
}

/** A notation. */
class Notation extends Node {
    get publicId() { return xmlDOMNotationGetProperty(this[HANDLE], 0) ?? null; }
    get systemId() { return xmlDOMNotationGetProperty(this[HANDLE], 1) ?? null; }
    get parentNode() { return null; }
    get nextSibling() { return null; }
    get previousSibling() { return null; }
    get firstChild() { return null; }
    get lastChild() { return null; }
    get textContent() { return null; }
    set textContent(value) { void value; }
    cloneNode() { return imported(this, this[CLUSTER], false); }
}

/** A copy of an entity or notation, which belongs to no document type. */
function imported(original, cluster, deep) {
    const value = name => ({ value: original[name] });
    const copy = Object.create(Object.getPrototypeOf(original), {
        publicId: value('publicId'), systemId: value('systemId'), notationName: value('notationName')
    });
    copy[NAME] = original.nodeName;
    copy[CLUSTER] = cluster;
    copy[HANDLE] = 0;
    copy[PARENT] = null;
    if (original[TYPE] === 6) {
        const fragment = cluster.document.createDocumentFragment();
        for (let child = deep ? original.firstChild : null; child; child = child.nextSibling) {
            fragment.appendChild(child[CLUSTER] === cluster ? child.cloneNode(true)
                                                            : cluster.document.importNode(child, true));
        }
        copy[CONTENTS] = fragment[HANDLE];
        cluster.nodes.set(fragment[HANDLE], copy);
        for (const child of fragment.childNodes.toArray()) child[PARENT] = copy;
        copy[LIFE] = fragment[LIFE];
        cluster.hasContents = true;
    }
    return copy;
}

/** A reference to a general entity; its children are the entity's. */
class EntityReference extends WithContents {}

mix(EntityReference, ChildNode);
mix(DocumentType, ChildNode);
enter(5, EntityReference);
enter(6, Entity);
enter(10, DocumentType);
enter(12, Notation);

Object.assign(exports, { DocumentType, Entity, Notation, EntityReference, imported });
