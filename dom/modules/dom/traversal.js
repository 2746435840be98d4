// Walking through a tree with a filter: NodeIterator, TreeWalker, NodeFilter.
'use strict';
const { CLUSTER, TYPE } = require('./fields');
const { Node, extend } = require('./node');
const { Document } = require('./document');
const { refuse, need } = require('./exception');

const ACCEPT = 1, REJECT = 2, SKIP = 3;
const names = ['ELEMENT', 'ATTRIBUTE', 'TEXT', 'CDATA_SECTION', 'ENTITY_REFERENCE', 'ENTITY',
               'PROCESSING_INSTRUCTION', 'COMMENT', 'DOCUMENT', 'DOCUMENT_TYPE', 'DOCUMENT_FRAGMENT', 'NOTATION'];

/** What a filter answers, and the types that are shown. */
const NodeFilter = { FILTER_ACCEPT: ACCEPT, FILTER_REJECT: REJECT, FILTER_SKIP: SKIP, SHOW_ALL: 0xFFFFFFFF };
names.forEach((name, i) => { NodeFilter[`SHOW_${name}`] = 1 << i; });

/** What both ways to walk have: where they began and what they show. */
class Walk {
    #isBusy = false;
    constructor(root, whatToShow, filter) {
        this.root = root;
        this.whatToShow = whatToShow;
        this.filter = filter;
        Object.freeze(this);
    }
    /** ACCEPT, REJECT or SKIP. */
    answer(node) {
        if (this.#isBusy) refuse('InvalidStateError', 'a filter cannot use what it filters for');
        if (!(this.whatToShow >>> (node[TYPE] - 1) & 1)) return SKIP;
        if (!this.filter) return ACCEPT;
        this.#isBusy = true;
        try {
            const answer = typeof this.filter === 'function' ? this.filter(node) : this.filter.acceptNode(node);
            return Number(answer);
        } finally {
            this.#isBusy = false;
        }
    }
}

/** The node behind another in document order, below a root; null for none. */
function following(node, root) {
    if (node.firstChild) return node.firstChild;
    return beyond(node, root);
}

/** The first node behind another and all below that. */
function beyond(node, root) {
    for (let above = node; above && above !== root; above = above.parentNode)
        if (above.nextSibling) return above.nextSibling;
    return null;
}

function preceding(node, root) {
    if (node === root) return null;
    let before = node.previousSibling;
    if (!before) return node.parentNode;
    while (before.lastChild) before = before.lastChild;
    return before;
}

/** The nodes of a tree in document order, forth and back. It stays right when nodes are taken out. */
class NodeIterator {
    #walk;
    #reference;
    #isBefore = true;       // whether it points before its reference node
    constructor(root, whatToShow, filter) {
        this.#walk = new Walk(root, whatToShow, filter);
        this.#reference = root;
        root[CLUSTER].watch(this);
    }
    get root() { return this.#walk.root; }
    get whatToShow() { return this.#walk.whatToShow; }
    get filter() { return this.#walk.filter; }
    get referenceNode() { return this.#reference; }
    get pointerBeforeReferenceNode() { return this.#isBefore; }
    nextNode() { return this.#go(true); }
    previousNode() { return this.#go(false); }
    /** Does nothing, as everywhere today. */
    detach() {}

    #go(isForth) {
        let node = this.#reference, isBefore = this.#isBefore;
        for (;;) {
            if (isBefore === isForth) isBefore = !isForth;
            else node = (isForth ? following : preceding)(node, this.root);
            if (!node) return null;
            if (this.#walk.answer(node) === ACCEPT) break;
        }
        this.#reference = node;
        this.#isBefore = isBefore;
        return node;
    }
    /** Before a node is taken out: goes to what stays. */
    leaves(node) {
        if (node === this.root || node.contains(this.root) || !node.contains(this.#reference)) return;
        if (this.#isBefore) {
            const next = beyond(node, this.root);
            if (next) {
                this.#reference = next;
                return;
            }
            this.#isBefore = false;
        }
        this.#reference = preceding(node, this.root);
    }
}

/** A place in a tree of the nodes that a filter accepts, to walk from. */
class TreeWalker {
    #walk;
    #current;
    constructor(root, whatToShow, filter) {
        this.#walk = new Walk(root, whatToShow, filter);
        this.#current = root;
    }
    get root() { return this.#walk.root; }
    get whatToShow() { return this.#walk.whatToShow; }
    get filter() { return this.#walk.filter; }
    get currentNode() { return this.#current; }
    set currentNode(node) {
        if (!(node instanceof Node)) throw new TypeError('this is no node');
        this.#current = node;
    }
    parentNode() {
        for (let node = this.#current; node && node !== this.root;) {
            node = node.parentNode;
            if (node && this.#walk.answer(node) === ACCEPT) return this.#current = node;
        }
        return null;
    }
    firstChild() { return this.#child('firstChild', 'nextSibling'); }
    lastChild() { return this.#child('lastChild', 'previousSibling'); }
    nextSibling() { return this.#sibling('firstChild', 'nextSibling'); }
    previousSibling() { return this.#sibling('lastChild', 'previousSibling'); }
    nextNode() {
        let node = this.#current, answer = ACCEPT;
        for (;;) {
            node = answer === REJECT ? beyond(node, this.root) : following(node, this.root);
            if (!node) return null;
            answer = this.#walk.answer(node);
            if (answer === ACCEPT) return this.#current = node;
        }
    }
    previousNode() {
        for (let node = this.#current; node !== this.root;) {
            for (let sibling; (sibling = node.previousSibling);) {
                node = sibling;
                let answer = this.#walk.answer(node);
                while (answer !== REJECT && node.lastChild) {
                    node = node.lastChild;
                    answer = this.#walk.answer(node);
                }
                if (answer === ACCEPT) return this.#current = node;
            }
            if (node === this.root || !node.parentNode) return null;
            node = node.parentNode;
            if (this.#walk.answer(node) === ACCEPT) return this.#current = node;
        }
        return null;
    }

    /** The first or last child that is shown; those of what is skipped count as well. */
    #child(inside, beside) {
        let node = this.#current[inside];
        while (node) {
            const answer = this.#walk.answer(node);
            if (answer === ACCEPT) return this.#current = node;
            if (answer === SKIP && node[inside]) {
                node = node[inside];
                continue;
            }
            while (node && !node[beside]) {
                node = node.parentNode;
                if (!node || node === this.root || node === this.#current) return null;
            }
            node = node?.[beside];
        }
        return null;
    }
    #sibling(inside, beside) {
        let node = this.#current;
        if (node === this.root) return null;
        for (;;) {
            for (let sibling; (sibling = node[beside]);) {
                node = sibling;
                const answer = this.#walk.answer(node);
                if (answer === ACCEPT) return this.#current = node;
                if (answer !== REJECT && node[inside]) {
                    for (node = node[inside]; ; ) {
                        const inner = this.#walk.answer(node);
                        if (inner === ACCEPT) return this.#current = node;
                        if (inner === REJECT || !node[inside]) break;
                        node = node[inside];
                    }
                }
            }
            node = node.parentNode;
            if (!node || node === this.root || this.#walk.answer(node) === ACCEPT) return null;
        }
    }
}

function check(document, root, filter) {
    if (!(need(root, 'the root') instanceof Node)) throw new TypeError('the root is no node');
    if (root[CLUSTER] !== document[CLUSTER]) refuse('WrongDocumentError', 'the root is of another document');
    if (filter && typeof filter !== 'function' && typeof filter.acceptNode !== 'function')
        throw new TypeError('a filter is a function, or an object with the function acceptNode');
}

extend([Document], {
    /** Goes through the nodes of a tree. `whatToShow`: NodeFilter.SHOW_ELEMENT and the like, added up; `filter`: a
        function of a node that gives NodeFilter.FILTER_ACCEPT, FILTER_SKIP or FILTER_REJECT. */
    createNodeIterator(root, whatToShow = NodeFilter.SHOW_ALL, filter = null) {
        check(this, root, filter);
        return new NodeIterator(root, whatToShow >>> 0, filter);
    },
    createTreeWalker(root, whatToShow = NodeFilter.SHOW_ALL, filter = null) {
        check(this, root, filter);
        return new TreeWalker(root, whatToShow >>> 0, filter);
    }
});

Object.assign(exports, { NodeFilter, NodeIterator, TreeWalker });
