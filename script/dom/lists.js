// Live lists: they show the tree as it is, and look at it again only when it has changed.
var refuseIf = require('./exception').refuseIf;

// list[0] and so on are properties of the prototypes, up to the longest list whose length was
// asked.
var indexed = 0;

function reach(length) {
    for (; indexed < length; indexed++) {
        [NodeList.prototype, NamedNodeMap.prototype].forEach(function (prototype) {
            var index = indexed;
            Object.defineProperty(prototype, index,
                                  { get: function () { return this.item(index) || undefined; } });
        });
    }
}

/** A list of nodes. `collect` gives a handle list, or an array of nodes. */
function NodeList(cluster, collect) {
    this._cluster = cluster;
    this._collect = collect;
    this._version = -1;
    this._list = null;
}

function listOf(list) {
    if (list._version !== list._cluster.version) {
        list._list = list._collect();
        list._version = list._cluster.version;
    }
    return list._list;
}

NodeList.prototype = {
    constructor: NodeList,
    /** How many nodes there are now. */
    get length() {
        var list = listOf(this);
        var length = typeof list === 'string' ? (list.length - 1) / 8 : list.length;
        if (length > indexed) reach(length);
        return length;
    },
    /** The node at an index from 0 on; null beyond the end. */
    item: function (index) {
        var list = listOf(this);
        if (typeof list !== 'string') return list[index >>> 0] || null;
        var digits = list.substr(1 + 8 * (index >>> 0), 8);
        return digits ? this._cluster.node(parseInt(digits, 16)) : null;
    },
    /** The nodes as an array, which stays as it is. */
    toArray: function () {
        var nodes = [];
        for (var i = 0, length = this.length; i < length; i++) nodes.push(this.item(i));
        return nodes;
    },
    /** Calls a function with each node and its index; later changes of the tree do not matter. */
    forEach: function (callback, self) {
        this.toArray().forEach(function (node, i) { callback.call(self, node, i); });
    },
    /** What a function makes of each node and its index, as an array. */
    map: function (callback, self) {
        return this.toArray().map(function (node, i) { return callback.call(self, node, i); });
    }
};

/** A map of nodes by name. `collect` gives an array of nodes; `change` has the functions that put
    and take, none for a map that cannot be changed. */
function NamedNodeMap(cluster, collect, change) {
    this._cluster = cluster;
    this._collect = collect;
    this._version = -1;
    this._list = null;
    this._change = change;
}

function changeOf(map) {
    refuseIf(!map._change, 'NO_MODIFICATION_ALLOWED_ERR', 'this map cannot be changed');
    return map._change;
}

NamedNodeMap.prototype = {
    constructor: NamedNodeMap,
    /** How many nodes there are now. */
    get length() {
        var length = listOf(this).length;
        if (length > indexed) reach(length);
        return length;
    },
    /** The node at an index from 0 on, in no certain order; null beyond the end. */
    item: function (index) { return listOf(this)[index >>> 0] || null; },
    /** The nodes as an array, which stays as it is. */
    toArray: function () { return listOf(this).slice(); },
    forEach: NodeList.prototype.forEach,
    map: NodeList.prototype.map,
    /** The node of a name; null without one. */
    getNamedItem: function (name) {
        name = String(name);
        return first(listOf(this), function (node) { return node.nodeName === name; });
    },
    /** The node of a namespace and local name; null without one. */
    getNamedItemNS: function (uri, local) {
        uri = uri || null;
        return first(
            listOf(this),
            function (node) { return node.localName === local && node.namespaceURI === uri; });
    },
    /** Puts a node in; gives the one of the same name that it replaces, or null. */
    setNamedItem: function (node) { return changeOf(this).put(node, false); },
    /** The same, by namespace and local name. */
    setNamedItemNS: function (node) { return changeOf(this).put(node, true); },
    /** Takes the node of a name out and gives it. */
    removeNamedItem: function (name) { return take(this, this.getNamedItem(name), name); },
    /** The same, by namespace and local name. */
    removeNamedItemNS: function (uri, local) {
        return take(this, this.getNamedItemNS(uri, local), local);
    }
};

function first(list, test) {
    for (var i = 0; i < list.length; i++) if (test(list[i])) return list[i];
    return null;
}

function take(map, node, name) {
    var change = changeOf(map);
    refuseIf(!node, 'NOT_FOUND_ERR', 'there is no ' + name);
    change.remove(node);
    return node;
}

reach(16);

exports.NodeList = NodeList;
exports.NamedNodeMap = NamedNodeMap;

/** A list that collects the children of a node: one call, unless there may be entity references,
    which XPath passes over. */
exports.childHandles = function (node) {
    var handle = node._container();
    if (!node._cluster.hasReferences && node._type === 1)
        return xmlDOMNodeSelectNodes(handle, 'node()');
    var found = [];
    for (var child = node.firstChild; child; child = child.nextSibling) found.push(child);
    return found;
};
