// Documents and fragments, and DOMImplementation, which makes documents.
'use strict';
const {
    CLUSTER, HANDLE, TYPE, NAME, URI, LIFE, DECLARED, SET, FRESH
} = require('./fields');
const { Cluster } = require('./cluster');
const { Node, ParentNode, checkWritable, enter, mix, copied, hasFeature } = require('./node');
const data = require('./data');
const element = require('./element');
const doctypes = require('./doctype');
const names = require('./names');
const namespaces = require('./namespaces');
const wide = require('./wide');
const { refuse, need } = require('./exception');

const { checkName, checkText, handles } = names;
const NEXT = 1, PREVIOUS = 2, FIRST = 3, LAST = 4;
const ENCODING = Symbol('encoding');

/** A document. Made by dom.parseFile and its like, and by DOMImplementation.createDocument. */
class Document extends Node {
    get nodeName() { return '#document'; }
    get ownerDocument() { return null; }
    get parentNode() { return null; }
    get nextSibling() { return null; }
    get previousSibling() { return null; }
    get firstChild() { return end(this, FIRST, PREVIOUS); }
    get lastChild() { return end(this, LAST, NEXT); }
    get textContent() { return null; }
    set textContent(value) { void value; }
    /** The root element; null without one. */
    get documentElement() { return this[CLUSTER].node(xmlDOMDocGetRootNode(this[HANDLE]), this); }
    /** The document type; null without one. */
    get doctype() {
        for (let child = this.firstChild; child; child = child.nextSibling) {
            if (child[TYPE] === 10) return child;
            if (child[TYPE] === 1) return null;
        }
        return null;
    }
    get implementation() { return implementation; }

    /** The encoding that the file or text declared; null for none. Setting it is for saves. */
    get encoding() { return this[ENCODING] || null; }
    set encoding(value) {
        const encoding = value === null || value === '' ? null : String(value);
        if (encoding !== null && !/^[A-Za-z][\w.\-]*$/.test(encoding))
            throw new TypeError(`this is no name of an encoding: ${encoding}`);
        this[ENCODING] = encoding;
        xmlDOMDocSetProperty(this[HANDLE], 1, this[ENCODING] ?? 'UTF-8');
    }
    /** The path that the document was loaded from; null when it was not. */
    get url() { return xmlDOMDocGetProperty(this[HANDLE], 3) || null; }
    get documentURI() { return this.url; }
    get URL() { return this.url; }
    /** The name of the encoding that the document has, or will be saved in. */
    get characterSet() { return this.encoding ?? 'UTF-8'; }
    get inputEncoding() { return this.characterSet; }
    get contentType() { return this[CLUSTER].isHtml ? 'text/html' : 'application/xml'; }
    /** What the XML declaration says; null where it does not. */
    get xmlVersion() { return this[CLUSTER].isHtml ? null : xmlDOMDocGetProperty(this[HANDLE], 0) ?? null; }
    get xmlEncoding() { return this[CLUSTER].isHtml ? null : this.encoding; }
    /** Whether the XML declaration says standalone="yes". */
    get xmlStandalone() { return !this[CLUSTER].isHtml && xmlDOMDocGetProperty(this[HANDLE], 2) === '1'; }
    /** Of HTML: its head, its body and its title; null and '' for none. */
    get head() { return this.getElementsByTagName('head')[0] ?? null; }
    get body() { return this.getElementsByTagName('body')[0] ?? null; }
    get title() {
        return this.getElementsByTagName('title')[0]?.textContent.trim().replace(/[ \t\n\f\r]+/g, ' ') ?? '';
    }
    /** What the parser had to say; null when that was nothing. */
    get lastMessage() { return xmlDOMDocGetLastMsg(this[HANDLE]) ?? null; }

    /** Makes an element without a namespace. */
    createElement(tagName) {
        const name = checkName(tagName);
        return createElement(this[CLUSTER], name, null, name, false);
    }
    /** Makes an element of a namespace (null for none) and a name, prefix:local or local. */
    createElementNS(uri, qualifiedName) {
        const name = names.split(uri, qualifiedName);
        if (name.uri === names.XMLNS)
            refuse('NamespaceError', 'the namespace of declarations is for attributes alone');
        return createElement(this[CLUSTER], name.name, name.prefix, name.local, name.uri);
    }
    createDocumentFragment() {
        return fragmentOf(this[CLUSTER], xmlDOMDocCreateNode(this[HANDLE], 11, ''));
    }
    createTextNode(text) { return data.create(this[CLUSTER], 3, checkText(text)); }
    createComment(text) { return data.create(this[CLUSTER], 8, checkText(text)); }
    createCDATASection(text) {
        if (this[CLUSTER].isHtml) refuse('NotSupportedError', 'HTML has no CDATA sections');
        return data.create(this[CLUSTER], 4, checkText(text));
    }
    createProcessingInstruction(target, text) {
        if (this[CLUSTER].isHtml) refuse('NotSupportedError', 'HTML has no processing instructions');
        const name = checkName(target);
        if (/^xml$/i.test(name))
            refuse('InvalidCharacterError', 'no processing instruction has this target: ' + name);
        return data.create(this[CLUSTER], 7, checkText(text), name);
    }
    /** Makes an attribute without a namespace. */
    createAttribute(name) { return element.createAttribute(this[CLUSTER], checkName(name)); }
    /** Makes an attribute of a namespace (null for none) and a name. */
    createAttributeNS(uri, qualifiedName) {
        return element.createAttributeNS(this[CLUSTER], names.split(uri, qualifiedName));
    }
    /** Makes a reference to a general entity. */
    createEntityReference(entity) {
        if (this[CLUSTER].isHtml)
            refuse('NotSupportedError', 'HTML has no references that are nodes');
        const name = checkName(entity);
        if (name.includes(':'))
            refuse('InvalidCharacterError', `libxml2 has no entity of such a name: ${name}`);
        return this[CLUSTER].adopt(xmlDOMDocCreateNode(this[HANDLE], 5, name), 5);
    }

    /** Makes a copy, for this document, of a node of any document; with all below it when deep. */
    importNode(original, deep) {
        if (!(need(original, 'the node to import') instanceof Node) || original[TYPE] === 9 ||
            original[TYPE] === 10)
            refuse('NotSupportedError', 'such a node cannot be imported');
        return importNode(this[CLUSTER], original, deep);
    }
    /** Takes a node of this document out of its place, and gives it. One of another document cannot become one
        of this: a NotSupportedError. */
    adoptNode(node) {
        if (!(need(node, 'the node to adopt') instanceof Node) || [6, 9, 10, 12].includes(node[TYPE]))
            refuse('NotSupportedError', 'such a node cannot be adopted');
        if (node[CLUSTER] !== this[CLUSTER])
            refuse('NotSupportedError', 'the node is of another document: use importNode, and remove the original');
        if (node[TYPE] === 2) node.ownerElement?.removeAttributeNode(node);
        else node.parentNode?.removeChild(node);
        return node;
    }
    /** Gives an element or attribute another name. */
    renameNode(node, uri, qualifiedName) {
        if (!(need(node, 'the node to rename') instanceof Node) || node[TYPE] > 2)
            refuse('NotSupportedError', 'only elements and attributes are renamed');
        if (node[CLUSTER] !== this[CLUSTER]) refuse('WrongDocumentError', 'the node is of another document');
        const name = names.split(uri, qualifiedName);
        checkWritable(node);
        if (node[TYPE] === 1 && name.uri === names.XMLNS)
            refuse('NamespaceError', 'the namespace of declarations is for attributes alone');
        element.rename(node, name);
        return node;
    }
    /** The elements of a name ('*': all), a live list in document order. */
    getElementsByTagName(name) { return element.descendants(this, name); }
    getElementsByTagNameNS(uri, local) { return element.descendantsNS(this, uri, local); }
    /** The element of an ID: of an attribute of type ID, xml:id or, in HTML, id; null without one. */
    getElementById(id) {
        const wanted = checkText(need(id, 'the ID'));
        if (wanted === '' || names.isWide(wanted)) return null;
        const declared = xmlDOMDocGetElementById(this[HANDLE], wanted);
        const attribute = this[CLUSTER].isHtml ? '@id' : '@xml:id';
        return this[CLUSTER].node(declared || handles(xmlDOMNodeSelectNodes(
            this[HANDLE], `(//*[${attribute}=${names.literal(wanted)}])[1]`))[0], undefined, 1);
    }
    cloneNode(deep) {
        const copy = documentOf(xmlDOMNodeCloneNode(this[HANDLE], deep ? 1 : 0));
        copy.encoding = this.encoding;
        return copy;
    }
}
mix(Document, ParentNode);

/** The first or last child; from an HTML document no step leads there. */
function end(document, inside, beside) {
    const cluster = document[CLUSTER], doc = document[HANDLE];
    if (!cluster.isHtml) return cluster.node(xmlDOMNodeGetRelative(doc, inside), document);
    let handle = xmlDOMDocGetRootNode(doc) || handles(xmlDOMNodeSelectNodes(doc, 'node()'))[0];
    for (let next = handle; next; next = xmlDOMNodeGetRelative(next, beside)) handle = next;
    return cluster.node(handle, document);
}

function createElement(cluster, name, prefix, local, uri) {
    const made = cluster.adopt(namespaces.create(cluster, 1, { prefix, local, uri }), 1);
    made[NAME] = name;
    made[URI] = uri;
    namespaces.note(cluster, prefix, uri || '');
    if (cluster.isTangled) made[FRESH] = true;
    if (cluster.bindings.size > 1 || uri) made[DECLARED] = [];
    return made;
}

/** A place for nodes; inserting it inserts its children. */
class DocumentFragment extends Node {
    get nodeName() { return '#document-fragment'; }
    get parentNode() { return null; }
    get nextSibling() { return null; }
    get previousSibling() { return null; }
    cloneNode(deep) {
        return fragmentOf(this[CLUSTER], xmlDOMNodeCloneNode(this[HANDLE], deep ? 1 : 0));
    }
}
mix(DocumentFragment, ParentNode);

enter(9, Document);
enter(11, DocumentFragment);

function fragmentOf(cluster, handle) {
    const fragment = cluster.node(handle, null, 11);
    fragment[LIFE] = new LIBXMLLife().addInternal(handle);
    return fragment;
}

function importNode(cluster, original, deep) {
    const type = original[TYPE], from = original[CLUSTER];
    if (type === 6 || type === 12) return doctypes.imported(original, cluster, deep);
    let handle = copyFor(cluster, original, deep || type === 2);
    if (type === 5 || from.hasReferences) cluster.hasReferences = true;
    if (!element.hasPlainAttributes(from)) cluster.hasPrefixedAttributes = true;
    if (type === 11) return fragmentOf(cluster, handle);
    if (type === 2) {
        const attribute = element.own(cluster.node(handle, undefined, 2));
        attribute[SET] = original[SET];
        attribute[NAME] = original.nodeName;
        attribute[URI] = original.namespaceURI;
        return copied(original, attribute);
    }
    if (type === 1) {
        // Nothing is bound where neither this document nor the other knows a namespace.
        if (namespaces.hasNamespaces(from)) namespaces.scan(cluster, handle);
        else namespaces.note(cluster, '', '');
        if (deep)
            handle = namespaces.withoutAdded(cluster, handle, copyFor(cluster, original, false));
    }
    return copied(original, cluster.adopt(handle, type));
}

function copyFor(cluster, original, deep) {
    return xmlDOMNodeImportNode(original[HANDLE], deep ? 1 : 0, cluster.doc) ||
        xmlDOMNodeCloneNode(original[HANDLE], deep ? 1 : 0);
}

/** The Document of a document's handle, which from now on ends with its objects. The text that it was parsed
    from, where it is known, saves looking for namespaces later, and has what no function gives back. */
function documentOf(handle, text) {
    const cluster = new Cluster(handle), document = cluster.node(handle, null, 9);
    cluster.document = document;
    if (text !== undefined) {
        if (!text.includes('xmlns')) {
            cluster.isScanned = true;
            namespaces.note(cluster, '', '');
            if (!text.includes('xml:')) cluster.hasPrefixedAttributes = false;
        }
        if (names.isWide(text)) wide.note(cluster, text);
    }
    document[ENCODING] = xmlDOMDocGetProperty(handle, 1);
    // With an encoding libxml2 shows characters as they are; without one it writes references.
    if (!document[ENCODING]) xmlDOMDocSetProperty(handle, 1, 'UTF-8');
    cluster.hasReferences = !cluster.isHtml && xmlDOMDocGetEntities(handle) !== undefined;
    return document;
}

/** Makes documents. There is one, dom.implementation. */
class DOMImplementation {
    /** Whether a feature is there, as Node.isSupported. */
    hasFeature(feature, version) { return hasFeature(need(feature, 'a feature'), version); }
    /** Makes a document type that belongs to no document. */
    createDocumentType(qualifiedName, publicId, systemId) {
        const name = checkName(qualifiedName);
        if (!/^[^:]+(:[^:]+)?$/.test(name))
            refuse('NamespaceError', `this is no qualified name: ${name}`);
        const handle = xmlDOMDocCreateDoctype(name);
        [publicId, systemId].forEach((id, i) => {
            if (!id) return;
            const text = checkText(id);
            if (names.isWide(text) || (text.includes('"') && text.includes("'")))
                refuse('InvalidCharacterError', `a document type cannot have such an identifier: ${text}`);
            xmlDOMDoctypeSetProperty(handle, i, text);
        });
        const doctype = new Cluster.makers[10](null, handle, null);
        doctype[LIFE] = new LIBXMLLife().addInternal(handle);
        return doctype;
    }
    /** Makes a document with a root element and, when that is not null, a document type. */
    createDocument(uri, qualifiedName, doctype) {
        const isEmpty = !uri && (qualifiedName ?? '') === '';
        if (!isEmpty) names.split(uri, qualifiedName);
        if (doctype && !(doctype instanceof doctypes.DocumentType))
            throw new TypeError('this is no document type');
        if (doctype?.[CLUSTER])
            refuse('WrongDocumentError', 'the document type is that of another document');
        const document = documentOf(xmlDOMDocCreateDoc('1.0'), '');
        if (doctype) document.appendChild(doctype);
        if (!isEmpty) document.appendChild(document.createElementNS(uri, qualifiedName));
        return document;
    }
}
const implementation = new DOMImplementation();

Object.assign(exports, { Document, DocumentFragment, DOMImplementation, implementation, documentOf, ENCODING });
