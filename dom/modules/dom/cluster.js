// A document and everything that a script made from it: the tree, detached nodes and the objects of
// both. They refer to each other and end together, when no variable leads to any of them any more.
// A node is never freed while an object stands for it, so that a handle cannot come to mean another
// node.
'use strict';
const { HANDLE, LIFE } = require('./fields');
const { HandleTable } = require('./handles');

const BEFORE = 1, AFTER = 2, LAST_CHILD = 0;
const LAST = 4;

class Cluster {
    /** Holds a document, which ends with it. */
    constructor(doc) {
        this.doc = doc;
        this.document = null;
        this.nodes = new HandleTable();     // the object of each handle
        this.version = 0;                   // counts changes of the tree, for the live lists
        this.limbo = 0;                     // a fragment that detached nodes hang in
        this.limboStart = 0;                // its first child, a comment, so that text does not join it
        this.separator = 0;
        this.lives = [];                    // of the document and of what hangs outside it
        this.watchers = [];                 // iterators, which are told of nodes that are taken out
        this.isHtml = xmlDOMNodeGetType(doc) === undefined;
        this.keep(doc);
        this.hasReferences = false;         // whether there may be entity references
        this.hasContents = false;           // whether the contents of one were made
        this.hasSplitAttributes = false;    // whether attributes may have several texts
        this.isScanned = false;             // whether `bindings` has those of the document
        this.bindings = new Map();          // namespace URI of each prefix; '' for none
        this.isTangled = false;             // whether a prefix has two of them
        this.hasPrefixedAttributes = undefined;
    }

    /** The object of a handle, null for none. Its parent and type may be known. */
    node(handle, parent = undefined, type = 0) {
        if (!handle) return null;
        const known = this.nodes.get(handle);
        if (known !== undefined) return known;
        const code = type || xmlDOMNodeGetType(handle), Made = Cluster.makers[code];
        if (Made === undefined) return null;
        if (code === 5) this.hasReferences = true;
        return new Made(this, handle, parent);
    }

    /** Makes an object stand for another handle. */
    rebind(handle, other) {
        const object = this.nodes.get(handle);
        if (!object) return;
        this.nodes.delete(handle);
        object[HANDLE] = other;
        object[LIFE]?.addInternal(other);
        this.nodes.set(other, object);
    }

    /** A LIBXMLLife object that ends with the cluster holds what is no part of the document. */
    keep(handle) {
        this.lives.push(new LIBXMLLife().addInternal(handle));
        return handle;
    }

    /** Tells an iterator, for as long as somebody has it, of each node that is to be taken out. */
    watch(iterator) {
        this.watchers = this.watchers.filter(watcher => watcher.deref());
        this.watchers.push(new WeakRef(iterator));
    }
    leaves(node) {
        for (const watcher of this.watchers) watcher.deref()?.leaves(node);
    }

    /** Moves a node among the detached ones. */
    detach(handle) {
        if (this.limbo === 0) {
            this.limbo = this.keep(xmlDOMDocCreateNode(this.doc, 11, ''));
            this.limboStart = xmlDOMDocCreateNode(this.doc, 8, '');
            xmlDOMNodeAddChild(LAST_CHILD, this.limbo, this.limboStart);
        }
        xmlDOMNodeAddChild(AFTER, this.limboStart, handle);
        this.version++;
    }

    /** Gives a new node, which hangs nowhere, an object among the detached ones. */
    adopt(handle, type = 0) {
        this.detach(handle);
        return this.node(handle, null, type);
    }

    /** Links a node before a sibling or, when that is 0, as the last child; gives what libxml2 gives. */
    link(parent, handle, before) {
        return xmlDOMNodeAddChild(before ? BEFORE : LAST_CHILD, before || parent, handle);
    }

    /** The same of a text, which libxml2 would join with its neighbours: there it takes the place of a
        separator, which text does not join. */
    linkText(parent, handle, before) {
        if (!before) {
            const last = xmlDOMNodeGetRelative(parent, LAST);
            if (last === undefined || xmlDOMNodeGetType(last) !== 3)
                return this.link(parent, handle, 0);
        }
        if (this.separator === 0)
            this.separator = this.keep(xmlDOMDocCreateNode(this.doc, 5, 'separator'));
        this.link(parent, this.separator, before);
        return xmlDOMNodeReplaceNode(this.separator, handle);
    }
}

/** What makes the objects of a type code; each module of nodes enters its own. */
Cluster.makers = [];

exports.Cluster = Cluster;
