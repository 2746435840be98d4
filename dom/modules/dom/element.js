// Elements and attributes.
'use strict';
const {
    CLUSTER, HANDLE, TYPE, PARENT, NAME, URI, LIFE, DECLARED, BOUND, SET, BY_DEFAULT, CONTAINER, DECLARATION
} = require('./fields');
const {
    Node, ParentNode, ChildNode, NonDocumentTypeChildNode, enter, mix, listOf, checkWritable, take, clear, copied
} = require('./node');
const { HTMLCollection, NamedNodeMap } = require('./lists');
const data = require('./data');
const names = require('./names');
const namespaces = require('./namespaces');
const { refuse, need } = require('./exception');
const { unreadable } = require('./wide');

const { checkName, checkText, handles } = names;
const FIRST = 3, NEXT = 1;
const DEFAULTS = Symbol('defaults');    // the attributes that an element has by default, by name

/** What elements and attributes have in common: their names. */
class Named extends Node {
    get namespaceURI() {
        const uri = this[URI];
        if (uri !== undefined) return uri || null;
        try {
            return this[URI] = xmlDOMNodeGetPropertyNS(this[HANDLE], 1) ?? null;
        } catch (error) {
            return unreadable('the namespace of this node');
        }
    }
    get prefix() {
        if (this.namespaceURI === null) return null;
        const colon = this.nodeName.indexOf(':');
        return colon < 0 ? null : this.nodeName.slice(0, colon);
    }
    set prefix(value) {
        checkWritable(this);
        const prefix = value === null || value === '' ? null : checkName(value);
        const fail = reason => refuse('NamespaceError', reason);
        if (prefix?.includes(':')) fail(`this is no prefix: ${prefix}`);
        if (this.namespaceURI === null && prefix !== null) fail('the node is in no namespace');
        if (prefix === this.prefix) return;
        if (prefix === 'xml' && this.namespaceURI !== names.XML)
            fail('the prefix xml has a namespace of its own');
        if (prefix === 'xmlns' && this.namespaceURI !== names.XMLNS)
            fail('the prefix xmlns declares namespaces');
        const { localName: local, namespaceURI: uri } = this;
        rename(this, { name: prefix === null ? local : `${prefix}:${local}`, prefix, local, uri });
    }
    get localName() {
        if (this[URI] === false) return null;
        const name = this.nodeName;
        return this.namespaceURI === null ? name : name.slice(name.indexOf(':') + 1);
    }
}

// ---- Attributes ---------------------------------------------------------------------------------

/** An attribute. Its element is known here where libxml2 does not know it: of declarations of namespaces, and
    of attributes that are there because the document type gives them a default. */
class Attr extends Named {
    /** The name, with the prefix. */
    get name() { return this.nodeName; }
    /** False for one that is there only because the document type gives it a default. */
    get specified() { return !this[BY_DEFAULT]; }
    /** The value; setting it puts one text in the place of what was there. */
    get value() { return readValue(this); }
    set value(value) {
        checkWritable(this);
        setValue(this, checkText(value));
    }
    get nodeValue() { return this.value; }
    set nodeValue(value) { this.value = value; }
    get textContent() { return this.value; }
    set textContent(value) { this.value = value ?? ''; }
    /** The element that has the attribute; null for none. */
    get ownerElement() {
        if (this[PARENT]) return this[PARENT];
        return this[CLUSTER].node(xmlDOMNodeGetRelative(this[HANDLE], 0));
    }
    get parentNode() { return null; }
    get nextSibling() { return null; }
    get previousSibling() { return null; }
    cloneNode() {
        const copy = own(this[CLUSTER].node(xmlDOMNodeCloneNode(this[HANDLE], 1), null, 2));
        copy[SET] = this[SET];
        copy[URI] = this[URI];
        copy[NAME] = this.nodeName;
        return copied(this, copy);
    }
    insertBefore(newChild, refChild) {
        const result = super.insertBefore(newChild, refChild);
        changed(this);
        return result;
    }
    replaceChild(newChild, oldChild) {
        const result = super.replaceChild(newChild, oldChild);
        changed(this);
        return result;
    }
    removeChild(oldChild) {
        const result = super.removeChild(oldChild);
        changed(this);
        return result;
    }
}

/** Gives an attribute that is in no element a life of its own. */
function own(attribute) {
    attribute[LIFE] ??= new LIBXMLLife().addInternal(attribute[HANDLE]);
    return attribute;
}

function readValue(attribute) {
    // libxml2 knows entities in the document only, not in what is detached.
    if (!attribute[CLUSTER].hasReferences) {
        try {
            return xmlDOMNodeGetValue(attribute[HANDLE]);
        } catch (error) {
            // Characters above U+FFFF: its texts read them.
        }
    }
    let value = '';
    for (let child = attribute.firstChild; child; child = child.nextSibling) value += child.textContent;
    return value;
}

function setValue(attribute, text) {
    const cluster = attribute[CLUSTER], handle = attribute[HANDLE];
    const only = xmlDOMNodeGetRelative(handle, FIRST);
    if (only && !cluster.nodes.has(only) && !names.isWide(text) &&
        !xmlDOMNodeGetRelative(only, NEXT) && xmlDOMNodeGetType(only) === 3) {
        xmlDOMNodeSetValue(only, text);
    } else {
        if (only) clear(attribute);
        cluster.link(handle, data.make(cluster, 3, text), 0);
    }
    cluster.version++;
    changed(attribute);
}

/** What follows when an attribute has another value. */
function changed(attribute) {
    const element = attribute[PARENT];
    if (attribute[BY_DEFAULT]) {
        forgetDefault(element, attribute);
        link(element, attribute);
    } else if (attribute[SET] !== undefined && element) {
        namespaces.declare(element, attribute[SET], attribute.value, take);
    }
}

function forgetDefault(element, attribute) {
    attribute[BY_DEFAULT] = false;
    attribute[PARENT] = null;
    delete element[DEFAULTS][attribute.name];
}

/** Puts an attribute that is in no element on one that has none of its name. */
function link(element, attribute) {
    const cluster = element[CLUSTER];
    if (attribute[SET] !== undefined) {
        attribute[PARENT] = element;
        namespaces.declared(element).push(attribute);
        namespaces.declare(element, attribute[SET], attribute.value, take);
    } else if (attribute.namespaceURI === null) {
        xmlDOMElementSetAttributeNode(element[HANDLE], attribute[HANDLE]);
    } else {
        namespaces.fit(element, attribute);
        cluster.hasPrefixedAttributes = true;
        xmlDOMElementSetAttributeNodeNS(element[HANDLE], attribute[HANDLE]);
    }
    cluster.version++;
}

/** Takes an attribute out of its element. */
function unlink(element, attribute) {
    element[BOUND] = undefined;
    if (attribute[BY_DEFAULT]) {
        forgetDefault(element, attribute);
    } else if (attribute[SET] !== undefined) {
        element[DECLARED] = element[DECLARED].filter(declared => declared !== attribute);
        attribute[PARENT] = null;
    } else {
        xmlDOMElementRemoveAttributeNode(element[HANDLE], attribute[HANDLE]);
        attribute[PARENT] = undefined;
        own(attribute);
    }
    element[CLUSTER].version++;
}

/** Gives an element or attribute another name: {name, prefix, local, uri}. */
function rename(node, name) {
    (node[TYPE] === 1 ? renameElement : renameAttribute)(node, name);
    node[NAME] = name.name;
    node[URI] = name.uri;
}

function renameAttribute(attribute, name) {
    const fail = reason => refuse('NamespaceError', reason);
    if (attribute[SET] !== undefined || name.uri === names.XMLNS) fail('a declaration keeps its name');
    if (name.prefix === null && name.uri !== null) fail('an attribute in a namespace has a prefix');
    const element = attribute.ownerElement, cluster = attribute[CLUSTER], old = attribute[HANDLE];
    if (element) element.removeAttributeNode(attribute);
    const made = namespaces.create(cluster, 2, name);
    namespaces.moveChildren(cluster, old, made);
    cluster.rebind(old, made);
    xmlDOMNodeFreeNode(old);
    attribute[NAME] = name.name;
    attribute[URI] = name.uri;
    if (!element) return;
    const other = findNS(element, name.uri, name.local);
    if (other) unlink(element, other);
    link(element, attribute);
}

function renameElement(element, { name, prefix, local, uri }) {
    const cluster = element[CLUSTER], declared = namespaces.declared(element);
    namespaces.scanDocument(cluster);
    namespaces.note(cluster, prefix, uri);
    const parent = element.parentNode, next = element.nextSibling;
    if (parent) take(element);
    const made = namespaces.create(cluster, 1, { prefix, local, uri });
    namespaces.replaceBy(cluster, element[HANDLE], made);
    element[NAME] = name;
    element[URI] = uri;
    element[BOUND] = undefined;
    for (const attribute of declared) namespaces.declare(element, attribute[SET], attribute.value, take);
    if (parent) parent.insertBefore(element, next);
}

// ---- Elements -----------------------------------------------------------------------------------

/** An element. */
class Element extends Named {
    /** The name, with the prefix. */
    get tagName() { return this.nodeName; }
    get attributes() {
        return listOf(this, 'attributes', () => new NamedNodeMap(
            this[CLUSTER], () => attributesOf(this), {
                put: (attribute, byNamespace) => put(this, attribute, byNamespace),
                remove: attribute => this.removeAttributeNode(attribute)
            }));
    }
    hasAttributes() { return this.attributes.length > 0; }

    /** The value of an attribute; null without it. */
    getAttribute(name) {
        const wanted = String(need(name, 'the name of the attribute'));
        if (hasPlainAttributes(this[CLUSTER]) && !wanted.includes(':')) {
            try {
                const value = xmlDOMElementGetAttribute(this[HANDLE], wanted);
                if (value !== undefined) return value;
            } catch (error) {
                // Characters above U+FFFF: the attribute's object reads them.
            }
        }
        return find(this, wanted)?.value ?? null;
    }
    /** Sets the value of an attribute, which is made when it is not there. */
    setAttribute(name, value) {
        const checked = checkName(name), text = checkText(need(value, 'the value of the attribute'));
        checkWritable(this);
        if (hasPlainAttributes(this[CLUSTER]) && setPlain(this, checked, text)) return;
        let attribute = find(this, checked);
        if (attribute) {
            setValue(attribute, text);
            return;
        }
        attribute = createAttribute(this[CLUSTER], checked);
        setValue(attribute, text);
        link(this, attribute);
    }
    /** Takes an attribute out; nothing happens without it. */
    removeAttribute(name) {
        const attribute = find(this, String(need(name, 'the name of the attribute')));
        checkWritable(this);
        if (attribute && !attribute[BY_DEFAULT]) unlink(this, attribute);
    }
    /** The attribute of a name; null without it. */
    getAttributeNode(name) { return find(this, String(need(name, 'the name of the attribute'))); }
    /** Puts an attribute in; gives the one of the same name that it replaces, or null. */
    setAttributeNode(attribute) { return put(this, need(attribute, 'the attribute'), false); }
    /** Takes an attribute out and gives it. */
    removeAttributeNode(attribute) {
        checkWritable(this);
        if (!(need(attribute, 'the attribute') instanceof Attr) || attribute.ownerElement !== this)
            refuse('NotFoundError', 'this element has no such attribute');
        unlink(this, attribute);
        return attribute;
    }
    /** Whether there is an attribute of this name, given or by default. */
    hasAttribute(name) { return this.getAttributeNode(name) !== null; }

    /** The same by namespace URI (null for none) and local name. */
    getAttributeNS(uri, local) { return this.getAttributeNodeNS(uri, local)?.value ?? null; }
    /** Sets the value of an attribute in a namespace; the prefix becomes the given one. */
    setAttributeNS(uri, qualifiedName, value) {
        const name = names.split(uri, qualifiedName);
        const text = checkText(need(value, 'the value of the attribute'));
        checkWritable(this);
        const found = findNS(this, name.uri, name.local);
        if (found) {
            if (found[SET] === undefined && found.prefix !== name.prefix)
                rename(found, name);
            setValue(found, text);
            return;
        }
        const attribute = createAttributeNS(this[CLUSTER], name);
        setValue(attribute, text);
        link(this, attribute);
    }
    removeAttributeNS(uri, local) {
        const attribute = this.getAttributeNodeNS(uri, local);
        checkWritable(this);
        if (attribute && !attribute[BY_DEFAULT]) unlink(this, attribute);
    }
    getAttributeNodeNS(uri, local) { return findNS(this, uri || null, String(need(local, 'a local name'))); }
    setAttributeNodeNS(attribute) { return put(this, need(attribute, 'the attribute'), true); }
    hasAttributeNS(uri, local) { return this.getAttributeNodeNS(uri, local) !== null; }

    /** The elements below of a name ('*': all), a live list in document order. */
    getElementsByTagName(name) { return descendants(this, name); }
    /** The same by namespace URI and local name, each of them '*' for any. */
    getElementsByTagNameNS(uri, local) { return descendantsNS(this, uri, local); }

    [DECLARATION](prefix, uri) {
        const attribute = createAttributeNS(this[CLUSTER], {
            name: prefix ? `xmlns:${prefix}` : 'xmlns', prefix: prefix ? 'xmlns' : null,
            local: prefix || 'xmlns', uri: names.XMLNS
        });
        setValue(attribute, uri);
        attribute[PARENT] = this;
        return attribute;
    }
}
mix(Element, ParentNode, ChildNode, NonDocumentTypeChildNode);
enter(1, Element);
enter(2, Attr);

/** Whether libxml2 finds each attribute by its local name alone. */
function hasPlainAttributes(cluster) {
    return !(cluster.hasPrefixedAttributes ??=
        xmlDOMNodeSelectNodes(cluster.doc, '(//@*[contains(name(),":")])[1]') !== '4');
}

/** Sets an attribute where names are all that counts. A new one takes the place of an old one at once, and its
    object. False where there is more to it. */
function setPlain(element, name, text) {
    if (name.includes(':') || name === 'xmlns' || names.isWide(text)) return false;
    const cluster = element[CLUSTER], handle = element[HANDLE];
    if (element[DEFAULTS]?.[name]) return false;
    const made = xmlDOMDocCreateNode(cluster.doc, 2, name);
    xmlDOMNodeAddChild(0, made, xmlDOMDocCreateNode(cluster.doc, 3, text));
    const old = xmlDOMElementSetAttributeNode(handle, made);
    if (old !== made) {
        const known = cluster.nodes.get(old);
        if (known) {
            clear(known);
            cluster.rebind(old, made);
        }
        xmlDOMNodeFreeNode(old);
    }
    cluster.version++;
    return true;
}

/** The attribute of a name: declared namespaces, real ones, defaults. */
function find(element, name) {
    if (/^xmlns(:|$)/.test(name))
        return namespaces.declared(element).find(attribute => attribute.nodeName === name) ?? null;
    const cluster = element[CLUSTER];
    if (!name.includes(':') && !names.isWide(name)) {
        const found = xmlDOMElementGetAttributeNode(element[HANDLE], name);
        const isReal = found !== undefined && xmlDOMAttrGetSpecified(found);
        if (!isReal) return defaultOf(element, name, null);
        if (hasPlainAttributes(cluster) || cluster.node(found).nodeName === name)
            return cluster.node(found, element, 2);
    }
    return realAttributes(element).find(attribute => attribute.nodeName === name) ??
        defaultOf(element, name, null);
}

/** The same by namespace and local name. */
function findNS(element, uri, local) {
    const matches = attribute => attribute.namespaceURI === uri &&
        (attribute.localName ?? attribute.nodeName) === local;
    if (uri === names.XMLNS) return namespaces.declared(element).find(matches) ?? null;
    return realAttributes(element).find(matches) ?? defaults(element).find(matches) ?? null;
}

function realAttributes(element) {
    return handles(xmlDOMNodeSelectNodes(element[HANDLE], '@*'))
        .map(handle => element[CLUSTER].node(handle, element, 2));
}

function attributesOf(element) {
    const all = [...realAttributes(element), ...defaults(element)];
    return element[DECLARED] || namespaces.hasNamespaces(element[CLUSTER])
        ? [...namespaces.declared(element), ...all] : all;
}

// ---- Defaults of the document type --------------------------------------------------------------

/** The attributes that an element has by default. */
function defaults(element) {
    const declared = element.ownerDocument.doctype?.defaultsOf(element.nodeName);
    if (!declared) return [];
    const real = new Set(realAttributes(element).map(attribute => attribute.nodeName));
    return [...declared.keys()].map(name => defaultOf(element, name, real)).filter(Boolean);
}

function defaultOf(element, name, real) {
    const cluster = element[CLUSTER], doctype = element.ownerDocument?.doctype;
    const value = doctype?.defaultsOf(element.nodeName)?.get(name);
    if (value === undefined || real?.has(name)) return null;
    const known = (element[DEFAULTS] ??= {})[name];
    if (known) return known;
    const colon = name.indexOf(':'), prefix = name.slice(0, Math.max(colon, 0));
    const uri = colon > 0 && prefix !== 'xml' && prefix !== 'xmlns' &&
        namespaces.scopeOf(element).get(prefix);
    const attribute = uri
        ? createAttributeNS(cluster, { name, prefix, local: name.slice(colon + 1), uri })
        : createAttribute(cluster, name);
    setValue(attribute, value);
    attribute[PARENT] = element;
    attribute[BY_DEFAULT] = true;
    if (attribute[URI] === false) attribute[URI] = null;
    return element[DEFAULTS][name] = attribute;
}

// ---- Putting and making attributes --------------------------------------------------------------

function put(element, attribute, byNamespace) {
    if (!(attribute instanceof Attr)) refuse('HierarchyRequestError', 'this is no attribute');
    checkWritable(element);
    if (attribute[CLUSTER] !== element[CLUSTER])
        refuse('WrongDocumentError', 'the attribute is of another document: use importNode');
    const owner = attribute.ownerElement;
    if (owner === element && !attribute[BY_DEFAULT]) return attribute;
    if (owner) refuse('InUseAttributeError', 'the attribute is in an element: clone it');
    const old = byNamespace && attribute.localName !== null
        ? findNS(element, attribute.namespaceURI, attribute.localName)
        : find(element, attribute.nodeName);
    if (old) unlink(element, old);
    link(element, attribute);
    return old;
}

/** An attribute of a name that has no namespace, but for those whose prefix is reserved. */
function createAttribute(cluster, name) {
    const reserved = /^(?:(xml):|xmlns(?::|$))/.exec(name);
    if (reserved) {
        return createAttributeNS(cluster, {
            name, prefix: name === 'xmlns' ? null : reserved[1] ?? 'xmlns',
            local: name.slice(name.indexOf(':') + 1), uri: reserved[1] ? names.XML : names.XMLNS
        });
    }
    const handle = namespaces.create(cluster, 2, { prefix: null, local: name, uri: null });
    const attribute = own(cluster.node(handle, undefined, 2));
    attribute[NAME] = name;
    attribute[URI] = false;
    return attribute;
}

function createAttributeNS(cluster, { name, prefix, local, uri }) {
    const declares = uri === names.XMLNS;
    const handle = declares
        ? namespaces.create(cluster, 2, { prefix: null, local: 'xmlns', uri: null })
        // libxml2 needs a prefix to write a namespace down.
        : namespaces.create(cluster, 2, { prefix: uri ? prefix ?? 'ns1' : prefix, local, uri });
    const attribute = own(cluster.node(handle, undefined, 2));
    attribute[NAME] = name;
    attribute[URI] = uri;
    if (declares) attribute[SET] = prefix ? local : '';
    return attribute;
}

// ---- Elements by name ---------------------------------------------------------------------------

/** The elements below a node of a name, as getElementsByTagName. */
function descendants(parent, name) {
    const wanted = String(need(name, 'the name of the elements'));
    // A test by name alone is many times as fast, and is for elements in no namespace.
    const xpath = wanted === '*' ? 'descendant::*'
        : !namespaces.hasNamespaces(parent[CLUSTER]) && /^[A-Za-z_][\w.\-]*$/.test(wanted)
            ? `descendant::${wanted}` : `descendant::*[name()=${names.literal(wanted)}]`;
    return collect(parent, xpath, element => wanted === '*' || element.nodeName === wanted);
}

function descendantsNS(parent, uri, local) {
    const wanted = String(need(local, 'the local name of the elements')), namespace = String(uri ?? '');
    const xpath = 'descendant::*' +
        (wanted === '*' ? '' : `[local-name()=${names.literal(wanted)}]`) +
        (namespace === '*' ? '' : `[namespace-uri()=${names.literal(namespace)}]`);
    return collect(parent, xpath, element =>
        (wanted === '*' || (element.localName ?? element.nodeName) === wanted) &&
        (namespace === '*' || (element.namespaceURI ?? '') === namespace));
}

/** A live list by XPath, where it sees all: it passes over what entity references stand for. */
function collect(parent, xpath, matches) {
    const cluster = parent[CLUSTER];
    return new HTMLCollection(cluster, () => {
        if (!cluster.hasReferences && !names.isWide(xpath))
            return xmlDOMNodeSelectNodes(parent[CONTAINER](), xpath);
        const found = [];
        walk(parent, matches, found);
        return found;
    });
}

function walk(parent, matches, found) {
    for (let child = parent.firstChild; child; child = child.nextSibling) {
        if (child[TYPE] === 1 && matches(child)) found.push(child);
        if (child[TYPE] === 1 || child[TYPE] === 5) walk(child, matches, found);
    }
}

Object.assign(exports, {
    Element, Attr, createAttribute, createAttributeNS, descendants, descendantsNS, collect, own, rename, hasPlainAttributes
});
