// Node: what all kinds of nodes have.
var Cluster = require('./cluster').Cluster;
var lists = require('./lists');
var names = require('./names');
var exact = require('./exact');
var namespaces = require('./namespaces');
var refuseIf = require('./exception').refuseIf;

var PARENT = 0, NEXT = 1, PREVIOUS = 2, FIRST = 3, LAST = 4;

var types = {
    ELEMENT_NODE: 1, ATTRIBUTE_NODE: 2, TEXT_NODE: 3, CDATA_SECTION_NODE: 4, ENTITY_REFERENCE_NODE: 5,
    ENTITY_NODE: 6, PROCESSING_INSTRUCTION_NODE: 7, COMMENT_NODE: 8, DOCUMENT_NODE: 9,
    DOCUMENT_TYPE_NODE: 10, DOCUMENT_FRAGMENT_NODE: 11, NOTATION_NODE: 12
};
var content = { 1: true, 3: true, 4: true, 5: true, 7: true, 8: true };
/** The types of children that each type takes. */
var allowed = {
    1: content, 2: { 3: true, 5: true }, 5: content, 6: content, 11: content,
    9: { 1: true, 7: true, 8: true, 10: true }
};

/** The base of all nodes. Objects are made by documents, never by `new`. */
function Node(cluster, handle) {
    this._cluster = cluster;
    this._handle = handle;
    if (handle) cluster.nodes[handle] = this;
}

Object.keys(types).forEach(function (name) {
    Node[name] = Node.prototype[name] = types[name];
});

/** Makes a constructor whose objects inherit from Node: `members` are properties, `type` its code. */
Node.extend = function (Type, Base, type, members) {
    Type.prototype = Object.create(Base.prototype);
    Node.define(Type, members);
    Object.defineProperty(Type.prototype, 'constructor', { value: Type, writable: true, configurable: true });
    if (!type) return;
    Type.prototype._type = type;
    Cluster.types[type] = Type;
};

/** Copies members, accessors included, to a prototype. */
Node.define = function (Type, members) {
    Object.keys(members).forEach(function (name) {
        Object.defineProperty(Type.prototype, name, Object.getOwnPropertyDescriptor(members, name));
    });
};

Node.define(Node, {
    /** One of Node.ELEMENT_NODE (1) to Node.NOTATION_NODE (12). */
    get nodeType() { return this._type; },
    /** The name: of elements and attributes with the prefix, else what the recommendation says. */
    get nodeName() {
        if (this._name === undefined) this._name = readName(this._handle, 'name', xmlDOMNodeGetName);
        return this._name;
    },
    /** The text of attributes, text, CDATA sections, comments and processing instructions; else null. */
    get nodeValue() { return null; },
    set nodeValue(value) { void value; },
    /** The document that the node was made by; null for documents. */
    get ownerDocument() { return this._cluster.document; },

    /** The node that this one is a child of; null for none. */
    get parentNode() {
        if (this._detached) return null;
        return this._cluster.node(xmlDOMNodeGetRelative(this._handle, PARENT));
    },
    get firstChild() { return this._cluster.node(xmlDOMNodeGetRelative(this._container(), FIRST)); },
    get lastChild() { return this._cluster.node(xmlDOMNodeGetRelative(this._container(), LAST)); },
    get nextSibling() {
        if (this._detached) return null;
        return this._cluster.node(xmlDOMNodeGetRelative(this._handle, NEXT));
    },
    get previousSibling() {
        if (this._detached) return null;
        return this._cluster.node(xmlDOMNodeGetRelative(this._handle, PREVIOUS));
    },
    /** The children, a live NodeList. */
    get childNodes() {
        var node = this;
        if (!this._childNodes) {
            this._childNodes = new lists.NodeList(this._cluster, function () { return lists.childHandles(node); });
        }
        return this._childNodes;
    },
    /** The attributes of an element, a live NamedNodeMap; null for other nodes. */
    get attributes() { return null; },
    /** Whether there are children. */
    hasChildNodes: function () { return this.firstChild !== null; },
    /** Whether it is an element with attributes. */
    hasAttributes: function () { return false; },

    /** The namespace URI of an element or attribute; null for none. */
    get namespaceURI() { return null; },
    /** The prefix of an element's or attribute's name; null for none. */
    get prefix() { return null; },
    set prefix(value) { void value; },
    /** The name without the prefix; null for nodes other than elements and attributes, and for those
        made by createElement, createAttribute and setAttribute. */
    get localName() { return null; },

    /** Places a node (the children of a fragment) before a child; at the end when that is null. */
    insertBefore: function (newChild, refChild) {
        checkInsertion(this, newChild);
        refuseIf(refChild && !isChild(this, refChild), 'NOT_FOUND_ERR', 'the reference node is no child of this node');
        checkRoom(this, newChild, null);
        if (refChild === newChild) refChild = newChild.nextSibling;
        insert(this, newChild, refChild);
        return newChild;
    },
    /** Places a node (the children of a fragment) at the end. */
    appendChild: function (newChild) { return this.insertBefore(newChild, null); },
    /** Puts a node (the children of a fragment) in the place of a child, and gives that. */
    replaceChild: function (newChild, oldChild) {
        checkInsertion(this, newChild);
        refuseIf(!isChild(this, oldChild), 'NOT_FOUND_ERR', 'the node to replace is no child of this node');
        checkRoom(this, newChild, oldChild);
        if (newChild === oldChild) return oldChild;
        var next = oldChild.nextSibling;
        if (next === newChild) next = newChild.nextSibling;
        take(oldChild);
        insert(this, newChild, next);
        return oldChild;
    },
    /** Takes a child out and gives it. */
    removeChild: function (oldChild) {
        checkWritable(this);
        refuseIf(!isChild(this, oldChild), 'NOT_FOUND_ERR', 'the node to remove is no child of this node');
        take(oldChild);
        return oldChild;
    },
    /** Gives a copy that hangs nowhere; with all below it when `deep` is true. */
    cloneNode: function (deep) {
        var copy = xmlDOMNodeCloneNode(this._handle, deep ? 1 : 0);
        if (deep && this._type === 1) {
            copy = namespaces.withoutAdded(this._cluster, copy, xmlDOMNodeCloneNode(this._handle, 0));
        }
        return copied(this, this._cluster.adopt(copy));
    },
    /** Joins texts that are neighbours, and drops empty ones, in all of the subtree. */
    normalize: function () {
        if (this._type === 1 && this._cluster.hasSplitAttributes) {
            this.attributes.forEach(function (attribute) { attribute.normalize(); });
        }
        for (var child = this.firstChild, next; child; child = next) {
            next = child.nextSibling;
            if (child._type !== 3) {
                child.normalize();
                continue;
            }
            var joined = child.data;
            for (; next && next._type === 3; next = child.nextSibling) {
                joined += next.data;
                checkWritable(this);
                take(next);
            }
            if (joined === '') take(child);
            else if (joined !== child.data) child.data = joined;
        }
    },
    /** Whether a feature is there: "Core" and "XML", of version "1.0" or "2.0". */
    isSupported: function (feature, version) { return exports.hasFeature(feature, version); },

    /** All text of the subtree without comments and processing instructions; null for documents. Setting
        it puts one text in the place of all children. */
    get textContent() {
        return text(this);
    },
    set textContent(value) {
        checkWritable(this);
        value = value === null || value === undefined ? '' : names.checkText(value);
        var only = this.firstChild;
        if (only && only._type === 3 && !only.nextSibling && value !== '') {
            only.data = value;
            return;
        }
        clear(this);
        if (value !== '') this.appendChild(this.ownerDocument.createTextNode(value));
    },

    /** The nodes that an XPath 1.0 expression selects from here, an array in document order. A prefix
        stands for what `uris` ({prefix: URI}) says; without it for what elements below declare. */
    selectNodes: function (xpath, uris) {
        return select(this, String(xpath), uris);
    },
    /** The first node that an XPath expression selects; null for none. */
    selectSingleNode: function (xpath, uris) {
        return this.selectNodes(xpath, uris)[0] || null;
    },
    /** Whether another node is this one or below it. */
    contains: function (other) {
        for (; other; other = other.parentNode) if (other === this) return true;
        return false;
    },

    /** The handle whose children are this node's. */
    _container: function () { return this._handle; }
});

/** The first child of a node that is an element, and its relatives; shared by documents and elements. */
exports.parentMembers = {
    /** The children that are elements, a live NodeList. */
    get children() {
        var handle = this._handle;
        if (!this._children) {
            this._children = new lists.NodeList(this._cluster, function () { return xmlDOMNodeSelectNodes(handle, '*'); });
        }
        return this._children;
    },
    get firstElementChild() { return elementFrom(this.firstChild, 'nextSibling'); },
    get lastElementChild() { return elementFrom(this.lastChild, 'previousSibling'); },
    get childElementCount() { return this.children.length; }
};

/** The next and previous sibling that is an element; shared by elements and character data. */
exports.siblingMembers = {
    get nextElementSibling() { return elementFrom(this.nextSibling, 'nextSibling'); },
    get previousElementSibling() { return elementFrom(this.previousSibling, 'previousSibling'); }
};

function elementFrom(node, step) {
    while (node && node._type !== 1) node = node[step];
    return node;
}

/** What a function says of a node; exactly, where that has characters above U+FFFF. */
function readName(handle, xpathFunction, read) {
    try {
        return read(handle);
    } catch (e) {
        return exact.nameOf(handle, xpathFunction);
    }
}
exports.readName = readName;

// ---- Checks ---------------------------------------------------------------------------------------

/** Whether a node is an entity, a document type or below such a thing or below an entity reference. */
function isReadOnly(node) {
    if (!node._cluster || (!node._cluster.hasContents && node._type !== 10)) return false;
    for (; node; node = node._type === 2 ? node.ownerElement : node.parentNode) {
        if (node._type === 5 || node._type === 6 || node._type === 10 || node._type === 12) return true;
        if (node._sealed) return true;
    }
    return false;
}

/** Refuses a change of a node that cannot be changed. */
function checkWritable(node) {
    refuseIf(isReadOnly(node) || node._type === 5, 'NO_MODIFICATION_ALLOWED_ERR', 'this node cannot be changed');
}
exports.checkWritable = checkWritable;

function checkInsertion(parent, child) {
    refuseIf(!(child instanceof Node), 'HIERARCHY_REQUEST_ERR', 'this is no node');
    checkWritable(parent);
    refuseIf(child._cluster && child._cluster !== parent._cluster, 'WRONG_DOCUMENT_ERR',
        'the node is of another document: use importNode');
    var kinds = allowed[parent._type] || {};
    if (child._type === 11) {
        for (var part = child.firstChild; part; part = part.nextSibling) checkKind(kinds, part);
    } else {
        checkKind(kinds, child);
        refuseIf(child.contains(parent) || (parent._type === 2 && child.contains(parent.ownerElement)),
            'HIERARCHY_REQUEST_ERR', 'a node cannot be placed below itself');
        var from = child.parentNode;
        if (from) refuseIf(isReadOnly(from), 'NO_MODIFICATION_ALLOWED_ERR', 'the node cannot be moved from its place');
    }
}

function checkKind(kinds, child) {
    refuseIf(!kinds[child._type], 'HIERARCHY_REQUEST_ERR', 'such a node cannot be placed here');
}

/** Refuses a second element or document type in a document, counting what is to be replaced as gone. */
function checkRoom(parent, child, replaced) {
    if (parent._type !== 9) return;
    var elements = 0, doctypes = 0;
    function count(node) {
        if (node._type === 1) elements++;
        if (node._type === 10) doctypes++;
    }
    for (var node = parent.firstChild; node; node = node.nextSibling) {
        if (node !== child && node !== replaced) count(node);
    }
    if (child._type === 11) {
        for (node = child.firstChild; node; node = node.nextSibling) count(node);
    } else {
        count(child);
    }
    refuseIf((elements > 1 && (child._type === 1 || child._type === 11)) || (doctypes > 1 && child._type === 10),
        'HIERARCHY_REQUEST_ERR', 'a document has one element and one document type');
    refuseIf(replaced && replaced._type === 10, 'NO_MODIFICATION_ALLOWED_ERR', 'a document type stays in its document');
}

function isChild(parent, child) {
    return child instanceof Node && child.parentNode === parent;
}

// ---- Changes --------------------------------------------------------------------------------------

/** Takes a node out of its place. */
function take(node) {
    refuseIf(node._type === 10, 'NO_MODIFICATION_ALLOWED_ERR', 'a document type stays in its document');
    node._cluster.detach(node._handle);
    node._detached = true;
}
exports.take = take;

function insert(parent, child, before) {
    if (child._type === 10) return child._attach(parent);
    if (child._type !== 11) return place(parent, child, before);
    for (var part; (part = child.firstChild);) place(parent, part, before);
}

function place(parent, child, before) {
    var cluster = parent._cluster;
    if (parent._type === 9 && child._type === 1 && !child._detached) take(child);
    if (child._type === 1) namespaces.prepare(parent, child, take);
    var linked = cluster.place(parent._container(), child._handle, before ? before._handle : 0, child._type === 3);
    if (linked === undefined) throw new Error('libxml2 does not take this node here');
    child._detached = false;
    if (parent._type === 2) cluster.hasSplitAttributes = true;
    cluster.version++;
}

/** Takes all children out. Those that no object stands for, and nothing hangs below, are freed. */
function clear(parent) {
    var cluster = parent._cluster;
    var container = parent._container();
    for (var handle; (handle = xmlDOMNodeGetRelative(container, FIRST));) {
        var known = cluster.nodes[handle];
        if (known || xmlDOMNodeGetRelative(handle, FIRST)) {
            take(cluster.node(handle));
        } else {
            xmlDOMNodeFreeNode(xmlDOMNodeUnlinkNode(handle));
            cluster.version++;
        }
    }
}
exports.clear = clear;

/** What a copy of a node has beyond what libxml2 copied. */
function copied(node, copy) {
    if (node._level1) copy._level1 = true;
    if (node._type === 1) namespaces.copied(node, copy);
    return copy;
}
exports.copied = copied;

// ---- Text -----------------------------------------------------------------------------------------

function text(node) {
    if (node._type === 9 || node._type === 10 || node._type === 12) return null;
    if (node.nodeValue !== null) return node.nodeValue;
    var parts = [];
    collectText(node, parts);
    return parts.join('');
}

function collectText(node, parts) {
    for (var child = node.firstChild; child; child = child.nextSibling) {
        if (child._type === 3 || child._type === 4) parts.push(child.data);
        else if (child._type === 1 || child._type === 5) collectText(child, parts);
    }
}

// ---- XPath ----------------------------------------------------------------------------------------

var tokens = /"[^"]*"|'[^']*'|([A-Za-z_\u0080-\uFFFF][\w.\-\u0080-\uFFFF]*):(\*|[A-Za-z_\u0080-\uFFFF][\w.\-\u0080-\uFFFF]*)(?!\s*\()/g;

/** The expression with p:name written out for each prefix that `uris` has. */
function withUris(xpath, uris) {
    return xpath.replace(tokens, function (token, prefix, local) {
        if (prefix === undefined || !Object.prototype.hasOwnProperty.call(uris, prefix)) return token;
        var test = 'namespace-uri()=' + names.literal(String(uris[prefix]));
        return local === '*' ? '*[' + test + ']' : "*[local-name()='" + local + "' and " + test + ']';
    });
}

function select(node, xpath, uris) {
    refuseIf(names.isWide(xpath), 'SYNTAX_ERR', 'an XPath expression can have no character above U+FFFF here');
    if (uris) xpath = withUris(xpath, uris);
    var cluster = node._cluster;
    var top = node;
    while (!top._detached && top.parentNode) top = top.parentNode;
    // What is detached hangs beside other such nodes, which the expression must not see.
    if (top._detached) xmlDOMNodeUnlinkNode(top._handle);
    var list;
    try {
        list = xmlDOMNodeSelectNodes(node._container(), xpath);
    } finally {
        if (top._detached) cluster.detach(top._handle);
    }
    refuseIf(list === undefined, 'SYNTAX_ERR', 'the XPath expression is wrong, has an unknown prefix or selects no nodes: ' + xpath);
    var found = [];
    names.handles(list).forEach(function (handle) {
        var selected = cluster.node(handle);
        if (selected && (!top._detached || isWithin(top, selected))) found.push(selected);
    });
    return found;
}

/** Whether a node is in a detached tree: libxml2 takes its document for the parent of the top. */
function isWithin(top, node) {
    while (node && node !== top) node = node._type === 2 ? node.ownerElement : node.parentNode;
    return node !== null;
}

exports.Node = Node;
exports.hasFeature = function (feature, version) {
    feature = String(feature).toLowerCase();
    version = version === undefined || version === null ? '' : String(version);
    return (feature === 'core' || feature === 'xml') && (version === '' || version === '1.0' || version === '2.0');
};
