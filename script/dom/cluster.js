// A document and everything that a script made from it: the tree, detached nodes and the objects of
// both. They refer to each other and end together, when no variable leads to any of them any more.
// A node is never freed while an object stands for it, so that a handle cannot come to mean another
// node.

/** What detached nodes hang in, and where it begins: a comment, so that text does not join it. */
function Limbo(doc) {
    this.handle = xmlDOMDocCreateNode(doc, 11, '');
    this.life = LIBXMLLife.new().addInternal(this.handle);
    this.first = xmlDOMDocCreateNode(doc, 8, '');
    xmlDOMNodeAddChild(0, this.handle, this.first);
}

/** Holds a document, which ends with it. */
function Cluster(doc) {
    this.doc = doc;
    this.life = LIBXMLLife.new().addInternal(doc);
    this.nodes = {};            // the object of each handle
    this.version = 0;           // counts changes of the tree, for the live lists
    this.limbo = null;
    this.separator = 0;
    this.separatorLife = null;
    this.isHtml = xmlDOMNodeGetType(doc) === undefined;
    this.hasReferences = false; // whether there may be entity references
    this.hasContents = false;   // whether the contents of one were made
    this.hasSplitAttributes = false;    // whether attributes may have several texts
    this.hasUnwritable = false; // whether there may be comments that cannot be written, say
    this.scanned = false;       // whether `bindings` has those of the document
    this.bindings = {};         // namespace URI of each prefix; '' for none
    this.tangled = false;       // whether a prefix has two of them
    this.prefixedAttributes = undefined;
    this.document = null;
}

/** Constructors by type code; each module of nodes enters its own. */
Cluster.types = {};

/** The object of a handle; null for none. */
Cluster.prototype.node = function (handle) {
    if (!handle) return null;
    return this.nodes[handle] || this.wrap(handle);
};

Cluster.prototype.wrap = function (handle) {
    var Type = Cluster.types[xmlDOMNodeGetType(handle)];
    return Type ? new Type(this, handle) : null;
};

/** Makes an object stand for another handle. */
Cluster.prototype.rebind = function (handle, other) {
    var object = this.nodes[handle];
    if (!object) return;
    delete this.nodes[handle];
    object._handle = other;
    this.nodes[other] = object;
};

/** Moves a node among the detached ones. */
Cluster.prototype.detach = function (handle) {
    if (!this.limbo) this.limbo = new Limbo(this.doc);
    xmlDOMNodeAddChild(2, this.limbo.first, handle);
    this.version++;
};

/** Gives a new node, which hangs nowhere, an object among the detached ones. */
Cluster.prototype.adopt = function (handle) {
    this.detach(handle);
    var object = this.node(handle);
    object._detached = true;
    return object;
};

/** Places a node before a sibling or, when that is 0, as the last child. Text is not joined: it
    takes the place of a separator, which text does not join either. */
Cluster.prototype.place = function (parent, handle, before, isText) {
    if (!isText) return xmlDOMNodeAddChild(before ? 1 : 0, before || parent, handle);
    if (!this.separator) {
        this.separator = xmlDOMDocCreateNode(this.doc, 5, 'separator');
        this.separatorLife = LIBXMLLife.new().addInternal(this.separator);
    }
    xmlDOMNodeAddChild(before ? 1 : 0, before || parent, this.separator);
    return xmlDOMNodeReplaceNode(this.separator, handle);
};

exports.Cluster = Cluster;
