// Document types with their entities and notations, and references to entities.
var node = require('./node');
var lists = require('./lists');
var names = require('./names');
var exact = require('./exact');
var refuseIf = require('./exception').refuseIf;

var Node = node.Node;

/** The document type of a document. It cannot be changed; one made by createDocumentType belongs
    to no document until it is used. */
function DocumentType(cluster, handle) { Node.call(this, cluster, handle); }
Node.extend(DocumentType, Node, 10, {
    /** The name of the root element that it is for. */
    get name() { return this.nodeName; },
    get publicId() { return identifier(xmlDOMDoctypeGetProperty(this._handle, 0)); },
    get systemId() { return identifier(xmlDOMDoctypeGetProperty(this._handle, 1)); },
    /** The declarations between the brackets; null without brackets. */
    get internalSubset() {
        var text = dump(this._handle);
        var start = /^<!DOCTYPE[^\["']*(?:(?:"[^"]*"|'[^']*')[^\["']*)*\[\n?/.exec(text);
        return start ? text.slice(start[0].length, text.lastIndexOf(']')) : null;
    },
    /** The general entities of the internal subset, a NamedNodeMap. */
    get entities() { return map(this, '_entities', entitiesOf); },
    /** The notations of the internal subset, a NamedNodeMap. */
    get notations() { return map(this, '_notations', notationsOf); },
    get ownerDocument() { return this._cluster ? this._cluster.document : null; },
    get parentNode() {
        if (!this._cluster) return null;
        return this._cluster.node(xmlDOMNodeGetRelative(this._handle, 0));
    },
    get firstChild() { return null; },
    get lastChild() { return null; },
    get childNodes() {
        return new lists.NodeList(this._cluster || { version: 0 }, function () { return []; });
    },
    hasChildNodes: function () { return false; },
    cloneNode: function () {
        refuseIf(true, 'NOT_SUPPORTED_ERR', 'a document type cannot be copied');
    },

    /** Makes it the document type of a document. */
    _attach: function (document) {
        var cluster = document._cluster;
        if (xmlDOMDocSetExternalDtd(cluster.doc, this._handle) === undefined) {
            refuseIf(true, 'WRONG_DOCUMENT_ERR', 'the document type is that of another document');
        }
        this._life = null;
        this._cluster = cluster;
        cluster.nodes[this._handle] = this;
        cluster.version++;
    },
    /** The names of the attributes that each element has by default: {element: [attribute]}. */
    _defaults: function () {
        if (!this._defaultNames) {
            var found = this._defaultNames = Object.create(null);
            this._defaultValues = Object.create(null);
            var values = this._defaultValues;
            dump(this._handle)
                .replace(defaultDeclaration, function (all, element, attribute, quoted) {
                    (found[element] = found[element] || []).push(attribute);
                    values[element + ' ' + attribute] = exact.unescape(quoted.slice(1, -1));
                });
        }
        return this._defaultNames;
    },
    _default: function (element, attribute) {
        this._defaults();
        return this._defaultValues[element + ' ' + attribute];
    }
});

var defaultDeclaration =
    /<!ATTLIST\s+(\S+)\s+(\S+)\s+(?:[A-Z]+(?:\s*\([^)]*\))?|\([^)]*\))\s+(?:#FIXED\s+)?("[^"]*"|'[^']*')/g;

function identifier(text) { return text === undefined ? null : text; }

function dump(handle) {
    try {
        return xmlDOMNodeDumpNode(handle, 0);
    } catch (e) {
        return '';          // characters above U+FFFF in declarations are out of reach
    }
}

function map(doctype, field, collect) {
    if (!doctype[field]) {
        var found = doctype._cluster ? collect(doctype) : [];
        doctype[field] = new lists.NamedNodeMap({ version: 0 }, function () { return found; });
    }
    return doctype[field];
}

function entitiesOf(doctype) {
    var cluster = doctype._cluster;
    return names.handles(xmlDOMDocGetEntities(cluster.doc) || '4')
        .map(function (handle) { return cluster.node(handle); });
}

function notationsOf(doctype) {
    var cluster = doctype._cluster;
    var head = xmlDOMDocGetNotations(cluster.doc);
    if (!head) return [];
    var life = LIBXMLLife.new().addInternal(head);
    var found = [];
    for (var handle = head; handle; handle = xmlDOMNodeGetRelative(handle, 3)) {
        var notation = cluster.node(handle);
        notation._life = life;
        found.push(notation);
    }
    return found;
}

/** What entities and references have in common: contents, which cannot be changed. They are
    parsed from the declaration when somebody looks, into a fragment whose object this node is. */
var contentMembers = {
    get parentNode() {
        if (this._type === 6 || this._detached) return null;
        return this._cluster.node(xmlDOMNodeGetRelative(this._handle, 0));
    },
    _container: function () {
        if (!this._contents) {
            var cluster = this._cluster;
            cluster.hasContents = true;
            this._contents = xmlDOMDocCreateNode(cluster.doc, 11, '');
            this._contentsLife = LIBXMLLife.new().addInternal(this._contents);
            cluster.nodes[this._contents] = this;
            fill(cluster, this._contents, this._declaration());
        }
        return this._contents;
    }
};

/** Parses the text of an entity's declaration and copies what is in it to a fragment. */
function fill(cluster, fragment, declaration) {
    var quoted = declaration && /^<!ENTITY\s+\S+\s+("[^"]*"|'[^']*')/.exec(dump(declaration));
    if (!quoted) return;
    // In a declaration references to characters are replaced before markup is read.
    var text = quoted[1].slice(1, -1).replace(
        /&#(?:x([0-9A-Fa-f]+)|(\d+));/g,
        function(all, hex,
                 decimal) { return exact.character(hex ? parseInt(hex, 16) : +decimal); });
    var subset = cluster.document.doctype && cluster.document.doctype.internalSubset;
    var loaded =
        exact.load((subset ? '<!DOCTYPE r [' + subset + ']>' : '') + '<r>' + text + '</r>', 1);
    if (!loaded) return;
    var root = xmlDOMDocGetRootNode(loaded.doc);
    for (var child = xmlDOMNodeGetRelative(root, 3); child;
         child = xmlDOMNodeGetRelative(child, 1)) {
        cluster.place(fragment, xmlDOMNodeImportNode(child, 1, cluster.doc), 0,
                      xmlDOMNodeGetType(child) === 3);
    }
    xmlDOMDocFreeDoc(loaded.doc);
}

/** A general entity. */
function Entity(cluster, handle) { Node.call(this, cluster, handle); }
Node.extend(Entity, Node, 6, {
    get publicId() { return identifier(xmlDOMEntityGetProperty(this._handle, 0)); },
    get systemId() { return identifier(xmlDOMEntityGetProperty(this._handle, 1)); },
    /** The notation of an unparsed entity; null for others. */
    get notationName() { return identifier(xmlDOMEntityGetProperty(this._handle, 2)); },
    get nextSibling() { return null; },
    get previousSibling() { return null; },
    cloneNode: function (deep) { return imported(this, this._cluster, deep); },
    _declaration: function () { return this._handle; }
});
Node.define(Entity, contentMembers);

/** A notation. */
function Notation(cluster, handle) { Node.call(this, cluster, handle); }
Node.extend(Notation, Node, 12, {
    get publicId() { return identifier(xmlDOMNotationGetProperty(this._handle, 0)); },
    get systemId() { return identifier(xmlDOMNotationGetProperty(this._handle, 1)); },
    get parentNode() { return null; },
    get nextSibling() { return null; },
    get previousSibling() { return null; },
    get firstChild() { return null; },
    get lastChild() { return null; },
    cloneNode: function () { return imported(this, this._cluster, false); }
});

/** A copy of an entity or notation, which belongs to no document type. */
function imported(original, cluster, deep) {
    var copy = Object.create(Object.getPrototypeOf(original), {
        nodeName: { value: original.nodeName },
        publicId: { value: original.publicId },
        systemId: { value: original.systemId },
        _cluster: { value: cluster },
        _handle: { value: 0 }
    });
    if (original._type === 6) {
        Object.defineProperty(copy, 'notationName', { value: original.notationName });
        var fragment = cluster.document.createDocumentFragment();
        for (var child = deep ? original.firstChild : null; child; child = child.nextSibling) {
            fragment.appendChild(child._cluster === cluster
                                     ? child.cloneNode(true)
                                     : cluster.document.importNode(child, true));
        }
        copy._contents = fragment._handle;
        copy._fragment = fragment;
        cluster.nodes[fragment._handle] = copy;
        cluster.hasContents = true;
    }
    return copy;
}
exports.imported = imported;

/** A reference to a general entity; its children are the entity's. */
function EntityReference(cluster, handle) {
    Node.call(this, cluster, handle);
    cluster.hasReferences = true;
}
Node.extend(EntityReference, Node, 5, {
    _declaration: function () {
        var doctype = this.ownerDocument.doctype;
        var entity = doctype && doctype.entities.getNamedItem(this.nodeName);
        return entity ? entity._handle : 0;
    }
});
Node.define(EntityReference, contentMembers);

exports.DocumentType = DocumentType;
exports.Entity = Entity;
exports.Notation = Notation;
exports.EntityReference = EntityReference;
