// Live lists: they show the tree as it is, and look at it again only when it has changed.
'use strict';
const { refuse, need } = require('./exception');

const CLUSTER = Symbol('cluster'), COLLECT = Symbol('collect'), VERSION = Symbol('version');
const FOUND = Symbol('found'), TYPE = Symbol('type'), CHANGE = Symbol('change');

// Whoever asks a list for a property that neither it nor its class has comes here: for list[i].
const indexed = Object.create(new Proxy(Object.prototype, {
    get(target, key, list) {
        if (typeof key === 'string' && /^(0|[1-9]\d*)$/.test(key)) return list.item(Number(key)) ?? undefined;
        return Reflect.get(target, key, list);
    }
}));

/** What the lists of nodes and attributes have in common. */
class List {
    /** `collect` gives a handle list or an array of nodes; all of them of a type, if that is known. */
    constructor(cluster, collect, type = 0) {
        this[CLUSTER] = cluster;
        this[COLLECT] = collect;
        this[VERSION] = -1;
        this[FOUND] = null;
        this[TYPE] = type;
    }

    /** How many nodes there are now. */
    get length() {
        const found = foundOf(this);
        return typeof found === 'string' ? found.length >> 3 : found.length;
    }
    /** The node at an index from 0 on; null beyond the end. */
    item(index) {
        const found = foundOf(this), i = need(index, 'an index') >>> 0;
        if (typeof found !== 'string') return found[i] ?? null;
        if (i >= found.length >> 3) return null;
        return this[CLUSTER].node(parseInt(found.substr(1 + 8 * i, 8), 16), undefined, this[TYPE]);
    }
    /** The nodes as an array, which stays as it is. */
    toArray() { return Array.from({ length: this.length }, (none, i) => this.item(i)); }
    /** Calls a function with each node and its index; later changes of the tree do not matter. */
    forEach(callback, self) {
        this.toArray().forEach((node, i) => callback.call(self, node, i, this));
    }
    /** What a function makes of each node and its index, as an array. */
    map(callback, self) { return this.toArray().map((node, i) => callback.call(self, node, i, this)); }
    /** The XML of each node on a line of its own. */
    toString() { return this.toArray().join('\n'); }
    *[Symbol.iterator]() { for (let i = 0; i < this.length; i++) yield this.item(i); }
    *keys() { for (let i = 0; i < this.length; i++) yield i; }
    *values() { yield* this; }
    *entries() { for (let i = 0; i < this.length; i++) yield [i, this.item(i)]; }
}
Object.setPrototypeOf(List.prototype, indexed);

function foundOf(list) {
    if (list[VERSION] !== list[CLUSTER].version) {
        list[FOUND] = list[COLLECT]();
        list[VERSION] = list[CLUSTER].version;
    }
    return list[FOUND];
}

/** A list of nodes. */
class NodeList extends List {}

const still = { version: 0 };       // what never changes

/** A list of these nodes, which stays as it is. */
const stillList = nodes => new NodeList(still, () => nodes);

/** A list of elements. */
class HTMLCollection extends List {
    constructor(cluster, collect) { super(cluster, collect, 1); }
    /** The first element whose id or name is this; null for none. */
    namedItem(name) {
        const wanted = String(need(name, 'a name'));
        return this.toArray().find(element => wanted !== '' &&
            (element.getAttribute('id') === wanted || element.getAttribute('name') === wanted)) ?? null;
    }
}

/** A map of nodes by name. `change` has the functions that put and take, none for a map that cannot be
    changed. */
class NamedNodeMap extends List {
    constructor(cluster, collect, change) {
        super(cluster, collect);
        this[CHANGE] = change;
    }
    /** The node of a name; null without one. */
    getNamedItem(name) {
        const wanted = String(need(name, 'a name'));
        return foundOf(this).find(node => node.nodeName === wanted) ?? null;
    }
    /** The node of a namespace and local name; null without one. */
    getNamedItemNS(uri, local) {
        const wanted = String(need(local, 'a local name'));
        return foundOf(this).find(node =>
            node.localName === wanted && node.namespaceURI === (uri || null)) ?? null;
    }
    /** Puts a node in; gives the one of the same name that it replaces, or null. */
    setNamedItem(node) { return changeOf(this).put(need(node, 'a node'), false); }
    /** The same, by namespace and local name. */
    setNamedItemNS(node) { return changeOf(this).put(need(node, 'a node'), true); }
    /** Takes the node of a name out and gives it. */
    removeNamedItem(name) { return take(this, this.getNamedItem(name), name); }
    /** The same, by namespace and local name. */
    removeNamedItemNS(uri, local) { return take(this, this.getNamedItemNS(uri, local), local); }
}

function changeOf(map) {
    return map[CHANGE] ?? refuse('NoModificationAllowedError', 'this map cannot be changed');
}

function take(map, node, name) {
    const change = changeOf(map);
    if (!node) refuse('NotFoundError', `there is no ${name}`);
    change.remove(node);
    return node;
}

Object.assign(exports, { still, stillList, NodeList, HTMLCollection, NamedNodeMap });
