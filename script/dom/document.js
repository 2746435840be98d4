// Documents and fragments, and DOMImplementation, which makes documents.
var clusters = require('./cluster');
var node = require('./node');
var data = require('./data');
var element = require('./element');
var doctypes = require('./doctype');
var names = require('./names');
var namespaces = require('./namespaces');
var writer = require('./writer');
var refuseIf = require('./exception').refuseIf;

var Node = node.Node;

/** A document. Made by dom.parseFile and its like, and by DOMImplementation.createDocument. */
function Document(cluster, handle) {
    Node.call(this, cluster, handle);
    cluster.document = this;
}
Node.extend(Document, Node, 9, {
    get nodeName() { return '#document'; },
    get ownerDocument() { return null; },
    get parentNode() { return null; },
    get nextSibling() { return null; },
    get previousSibling() { return null; },
    get firstChild() {
        if (!this._cluster.isHtml)
            return this._cluster.node(xmlDOMNodeGetRelative(this._handle, 3));
        return end(this, 2);
    },
    get lastChild() {
        if (!this._cluster.isHtml)
            return this._cluster.node(xmlDOMNodeGetRelative(this._handle, 4));
        return end(this, 1);
    },
    /** The root element; null without one. */
    get documentElement() { return this._cluster.node(xmlDOMDocGetRootNode(this._handle)); },
    /** The document type; null without one. */
    get doctype() {
        for (var child = this.firstChild; child; child = child.nextSibling) {
            if (child._type === 10) return child;
            if (child._type === 1) return null;
        }
        return null;
    },
    get implementation() { return implementation; },

    /** The encoding that the file or text declared; null for none. Setting it is for saves. */
    get encoding() { return this._encoding || null; },
    set encoding(value) {
        this._encoding = value === null || value === '' ? null : String(value);
        xmlDOMDocSetProperty(this._handle, 1, this._encoding || 'UTF-8');
    },
    /** The path that the document was loaded from; null when it was not. */
    get url() { return xmlDOMDocGetProperty(this._handle, 3) || null; },
    /** What the parser had to say; null when that was nothing. */
    get lastMessage() {
        var message = xmlDOMDocGetLastMsg(this._handle);
        return message === undefined ? null : message;
    },

    /** Makes an element without a namespace. */
    createElement: function (tagName) {
        var cluster = this._cluster;
        var name = names.checkName(tagName);
        var made = cluster.adopt(
            namespaces.create(cluster, 1, { prefix: null, local: name, uri: null }));
        namespaces.note(cluster, '', '');
        made._level1 = true;
        made._declared = [];
        return made;
    },
    /** Makes an element of a namespace (null for none) and a name, prefix:local or local. */
    createElementNS: function (uri, qualifiedName) {
        var cluster = this._cluster;
        var name = names.split(uri, qualifiedName);
        var made = cluster.adopt(namespaces.create(cluster, 1, name));
        namespaces.note(cluster, name.prefix, name.uri);
        made._name = name.name;
        made._uri = name.uri;
        made._declared = [];
        return made;
    },
    createDocumentFragment: function () {
        return fragmentOf(this._cluster, xmlDOMDocCreateNode(this._handle, 11, ''));
    },
    createTextNode: function (text) { return make(this, 3, text, ''); },
    createComment: function (text) { return make(this, 8, text, ''); },
    createCDATASection: function (text) {
        refuseIf(this._cluster.isHtml, 'NOT_SUPPORTED_ERR', 'HTML has no CDATA sections');
        return make(this, 4, text, '');
    },
    createProcessingInstruction: function (target, text) {
        refuseIf(this._cluster.isHtml, 'NOT_SUPPORTED_ERR', 'HTML has no processing instructions');
        return make(this, 7, text, names.checkName(target));
    },
    /** Makes an attribute without a namespace. */
    createAttribute: function (name) {
        return element.createAttribute(this._cluster, names.checkName(name));
    },
    /** Makes an attribute of a namespace (null for none) and a name. */
    createAttributeNS: function (uri, qualifiedName) {
        var name = names.split(uri, qualifiedName);
        return element.createAttributeNS(this._cluster, name, names.checkXmlns(name));
    },
    /** Makes a reference to a general entity. */
    createEntityReference: function (name) {
        refuseIf(this._cluster.isHtml, 'NOT_SUPPORTED_ERR',
                 'HTML has no references that are nodes');
        name = names.checkName(name);
        refuseIf(name.indexOf(':') >= 0 || names.isWide(name), 'INVALID_CHARACTER_ERR',
                 'libxml2 has no entity of such a name: ' + name);
        return this._cluster.adopt(xmlDOMDocCreateNode(this._handle, 5, name));
    },

    /** Makes a copy, for this document, of a node of any document; with all below it when deep. */
    importNode: function (original, deep) {
        refuseIf(!(original instanceof Node) || original._type === 9 || original._type === 10,
                 'NOT_SUPPORTED_ERR', 'such a node cannot be imported');
        return importNode(this._cluster, original, deep);
    },
    /** The elements of a name ('*': all), a live NodeList in document order. */
    getElementsByTagName: function (name) { return element.descendants(this, String(name)); },
    getElementsByTagNameNS: function (uri, local) {
        return element.descendantsNS(this, uri, String(local));
    },
    /** The element whose attribute of type ID has this value; null without one. */
    getElementById: function (id) {
        return this._cluster.node(xmlDOMDocGetElementById(this._handle, String(id)));
    },
    cloneNode: function (deep) {
        var copy = documentOf(xmlDOMNodeCloneNode(this._handle, deep ? 1 : 0));
        copy.encoding = this.encoding;
        return copy;
    },

    /** Writes the document to a file. `options.encoding`: in this encoding, which the document
        then has; else in its own, else UTF-8. `options.format`: indented. */
    save: function (path, options) { writer.save(this, String(path), options || {}); },
    /** Validates against the document type: {valid: true or false, report: what is wrong}. */
    validate: function () { return writer.validate(this); }
});
Node.define(Document, node.parentMembers);

/** The first (step 2) or last (step 1) child of an HTML document, from which no step leads. */
function end(document, step) {
    var handle = xmlDOMDocGetRootNode(document._handle) ||
        names.handles(xmlDOMNodeSelectNodes(document._handle, 'node()'))[0];
    for (var next = handle; next; next = xmlDOMNodeGetRelative(next, step)) handle = next;
    return document._cluster.node(handle);
}

function make(document, type, text, target) {
    return document._cluster.adopt(
        data.make(document._cluster, type, names.checkText(text), target));
}

/** A place for nodes; inserting it inserts its children. */
function DocumentFragment(cluster, handle) { Node.call(this, cluster, handle); }
Node.extend(DocumentFragment, Node, 11, {
    get nodeName() { return '#document-fragment'; },
    get parentNode() { return null; },
    get nextSibling() { return null; },
    get previousSibling() { return null; },
    cloneNode: function (deep) {
        return fragmentOf(this._cluster, xmlDOMNodeCloneNode(this._handle, deep ? 1 : 0));
    }
});
Node.define(DocumentFragment, node.parentMembers);

function fragmentOf(cluster, handle) {
    var fragment = new DocumentFragment(cluster, handle);
    fragment._life = LIBXMLLife.new().addInternal(handle);
    return fragment;
}

function importNode(cluster, original, deep) {
    if (original._type === 6 || original._type === 12)
        return doctypes.imported(original, cluster, deep);
    var handle = copyFor(cluster, original, deep || original._type === 2);
    if (original._type === 5) cluster.hasReferences = true;
    if (original._cluster.hasReferences) cluster.hasReferences = true;
    if (original._type === 11) return fragmentOf(cluster, handle);
    if (original._type === 2) {
        var attribute = cluster.node(handle);
        attribute._life = LIBXMLLife.new().addInternal(handle);
        attribute._declares = original._declares;
        attribute._name = original.nodeName;
        attribute._uri = original.namespaceURI;
        return node.copied(original, attribute);
    }
    if (original._type === 1) {
        cluster.prefixedAttributes =
            cluster.prefixedAttributes || original._cluster.prefixedAttributes;
        namespaces.scan(cluster, handle);
        if (deep)
            handle = namespaces.withoutAdded(cluster, handle, copyFor(cluster, original, false));
    }
    return node.copied(original, cluster.adopt(handle));
}

function copyFor(cluster, original, deep) {
    return xmlDOMNodeImportNode(original._handle, deep ? 1 : 0, cluster.doc) ||
        xmlDOMNodeCloneNode(original._handle, deep ? 1 : 0);
}

/** The Document of a document's handle, which from now on ends with its objects. The text that it
    was parsed from, where it is known, saves looking for namespaces later. */
function documentOf(handle, text) {
    var cluster = new clusters.Cluster(handle);
    if (text !== undefined && text.indexOf('xmlns') < 0) {
        cluster.scanned = true;
        namespaces.note(cluster, '', '');
        if (text.indexOf('xml:') < 0) cluster.prefixedAttributes = false;
    }
    var document = new Document(cluster, handle);
    var encoding = xmlDOMDocGetProperty(handle, 1);
    document._encoding = encoding;
    // With an encoding libxml2 shows characters as they are; without one it writes references.
    if (!encoding) xmlDOMDocSetProperty(handle, 1, 'UTF-8');
    cluster.hasReferences = !cluster.isHtml && xmlDOMDocGetEntities(handle) !== undefined;
    return document;
}
exports.documentOf = documentOf;

/** Makes documents. There is one, dom.implementation. */
function DOMImplementation() {}
DOMImplementation.prototype = {
    constructor: DOMImplementation,
    /** Whether a feature is there: "Core" and "XML", of version "1.0" or "2.0". */
    hasFeature: function (feature, version) { return node.hasFeature(feature, version); },
    /** Makes a document type that belongs to no document. */
    createDocumentType: function (qualifiedName, publicId, systemId) {
        var name = names.checkName(qualifiedName);
        var colon = name.indexOf(':');
        refuseIf(colon === 0 || colon === name.length - 1 || colon !== name.lastIndexOf(':'),
                 'NAMESPACE_ERR', 'this is no qualified name: ' + name);
        refuseIf(names.isWide(name + publicId + systemId), 'NOT_SUPPORTED_ERR',
                 'a document type can have no characters above U+FFFF here');
        var handle = xmlDOMDocCreateDoctype(name);
        if (publicId) xmlDOMDoctypeSetProperty(handle, 0, names.checkText(publicId));
        if (systemId) xmlDOMDoctypeSetProperty(handle, 1, names.checkText(systemId));
        var doctype = new doctypes.DocumentType({ nodes: {} }, handle);
        doctype._cluster = null;
        doctype._life = LIBXMLLife.new().addInternal(handle);
        return doctype;
    },
    /** Makes a document with a root element and, when that is not null, a document type. */
    createDocument: function (uri, qualifiedName, doctype) {
        var empty =
            (qualifiedName === null || qualifiedName === undefined || qualifiedName === '') && !uri;
        if (!empty) names.split(uri, qualifiedName);
        refuseIf(doctype && doctype._cluster, 'WRONG_DOCUMENT_ERR',
                 'the document type is that of another document');
        var document = documentOf(xmlDOMDocCreateDoc('1.0'));
        if (doctype) doctype._attach(document);
        if (!empty) document.appendChild(document.createElementNS(uri, qualifiedName));
        return document;
    }
};
var implementation = new DOMImplementation();

exports.Document = Document;
exports.DocumentFragment = DocumentFragment;
exports.DOMImplementation = DOMImplementation;
exports.implementation = implementation;
