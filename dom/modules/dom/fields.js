// What a node knows. The keys are symbols: neither JSON nor an enumeration of its properties comes across
// them, and the engine makes objects with them faster than with #private names.
'use strict';

exports.CLUSTER = Symbol('cluster');    // see cluster.js
exports.HANDLE = Symbol('handle');      // of libxml2's node
exports.TYPE = Symbol('type');          // nodeType; of the prototypes
// The parent of a child, the element of an attribute: null for none, undefined until somebody asks.
exports.PARENT = Symbol('parent');
exports.NAME = Symbol('name');          // nodeName, undefined until somebody asks
// namespaceURI, undefined until somebody asks; false for what was made without one by the methods of level 1,
// which has no localName either.
exports.URI = Symbol('uri');
exports.DATA = Symbol('data');          // text with characters that no function hands over
exports.LISTS = Symbol('lists');        // live lists that were asked for
exports.LIFE = Symbol('life');          // LIBXMLLife object of what hangs nowhere
exports.DECLARED = Symbol('declared');  // namespace declarations that an element has as attributes
exports.BOUND = Symbol('bound');        // what an element binds, until its attributes change
exports.FRESH = Symbol('fresh');        // whether an element was made here and never placed
exports.SET = Symbol('set');            // of an attribute that declares a namespace: the prefix
exports.BY_DEFAULT = Symbol('default'); // whether an attribute is there only by the document type

// Methods between the modules.
exports.CONTAINER = Symbol('container');        // () -> the handle whose children are this node's
exports.ATTACH = Symbol('attach');              // of a document type: (document)
exports.DECLARATION = Symbol('declaration');    // of an element: (prefix, uri) -> a declaring attribute
