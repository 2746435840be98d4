// The jobs through this library: vtdom jobs.js JOB FOLDER RUNS OUTPUT (see run).
var folder = args[1] + '/', output = args[3];

// In a loop over many nodes a script takes the functions into local variables: the engine looks
// global ones up by name each time.
function load(name) {
    var doc = xmlDOMDocLoadXMLFile(path8(name[0] === '/' ? name : folder + name), 1);
    if (!doc) throw new Error(xmlDOMDocGetLastMsg(0));
    return doc;
}

function free(doc) { xmlDOMDocFreeDoc(doc); }

function select(node, path) {
    var list = xmlDOMNodeSelectNodes(node, path) || '4', handles = [];
    for (var i = 1; i < list.length; i += 8) handles.push(parseInt(list.substr(i, 8), 16));
    return handles;
}

function children(doc) { return select(doc, '/*/*').length; }

function parse(name) {
    var doc = load(name), root = xmlDOMNodeGetName(xmlDOMDocGetRootNode(doc));
    free(doc);
    return root;
}

function walk(doc) {
    var type = xmlDOMNodeGetType, name = xmlDOMNodeGetName, value = xmlDOMNodeGetValue;
    var relative = xmlDOMNodeGetRelative;
    var names = 0, values = 0, root = xmlDOMDocGetRootNode(doc);
    for (var node = root, next; ; node = next) {
        if (type(node) === 1) {
            names += name(node).length;
            next = relative(node, 3);
            if (next) continue;
        } else {
            values += value(node).length;
        }
        while (!(next = relative(node, 1))) {
            node = relative(node, 0);
            if (node === root) return names + ' ' + values;
        }
    }
}

function readKinds(doc) {
    var attribute = xmlDOMElementGetAttribute, items = select(doc, '//item'), found = 0;
    for (var i = 0; i < items.length; ++i) if (attribute(items[i], 'kind') === 'k3') ++found;
    return items.length + ' ' + found;
}

function build() {
    var create = xmlDOMDocCreateNode, add = xmlDOMNodeAddChild, set = xmlDOMElementSetAttributeNode;
    var doc = xmlDOMDocCreateDoc('1.0');
    var root = add(0, doc, create(doc, 1, 'list'));
    for (var i = 0; i < 100000; ++i) {
        var item = create(doc, 1, 'item'), number = create(doc, 2, 'n');
        add(0, number, create(doc, 3, String(i)));
        set(item, number);
        add(0, item, create(doc, 3, 'text of item ' + i));
        add(0, root, item);
    }
    return doc;
}

function move(docs) {
    var relative = xmlDOMNodeGetRelative, add = xmlDOMNodeAddChild;
    var to = xmlDOMDocGetRootNode(docs[1]);
    for (var node = relative(xmlDOMDocGetRootNode(docs[0]), 3), next; node; node = next) {
        next = relative(node, 1);
        add(0, to, node);
    }
    return docs;
}

function readTexts(texts) {
    var value = xmlDOMNodeGetValue, found = 0;
    for (var i = 0; i < texts.length; ++i) {
        var text = value(texts[i]);
        if (text.charAt(text.length - 1) === '.') ++found;
    }
    return texts.length + ' ' + found;
}

// before() makes what work() needs, after() the answer of what work() gives; only work() is timed.
var jobs = {
    parse: {work: function () { return parse('catalog.xml'); }},
    mime: {work: function () { return parse('/usr/share/mime/packages/freedesktop.org.xml'); }},
    walk: {before: function () { return load('catalog.xml'); }, work: walk},
    select: {before: function () { return load('catalog.xml'); }, work: readKinds},
    build: {
        work: build,
        after: function (doc) { xmlDOMDocSaveXMLFile(doc, output); return children(doc); }
    },
    save: {
        before: function () { return load('catalog.xml'); },
        work: function (doc) { return xmlDOMDocSaveXMLFile(doc, output) ? 'saved' : 'not saved'; }
    },
    clone: {
        before: function () { return load('catalog.xml'); },
        work: function (doc) { return xmlDOMNodeCloneNode(doc, 1); },
        after: children
    },
    move: {
        before: function () { return [load('prefixed.xml'), load('target.xml')]; },
        work: move,
        after: function (docs) { return children(docs[0]) + ' ' + children(docs[1]); }
    },
    validate: {
        before: function () { return load('/usr/share/mime/packages/freedesktop.org.xml'); },
        work: function (doc) { return xmlDOMDocValidateDTD(doc) === '' ? 'valid' : 'not valid'; }
    },
    xslt: {
        work: function () {
            return xmlXSLTransformFile(folder + 'book.xml', folder + 'docbook.xsl', output) > 0 ?
                'transformed' : 'not transformed';
        }
    },
    text: {
        before: function () { return select(load('texts.xml'), '//t/text()'); },
        work: readTexts
    },
    replace: {
        before: function () { return readFile(folder + 'text.txt'); },
        work: function (text) { return xmlDOMUtilStrReplace(text, 'lorem', 'ipsum dolor').length; }
    }
};

if (!jobs[args[0]]) exit(3);
var job = jobs[args[0]], times = [], answer;
for (var run = 0; run < Number(args[2]); ++run) {
    var state = job.before && job.before();
    var start = performance.now();
    answer = job.work(state);
    times.push(((performance.now() - start) / 1000).toFixed(6));
    if (job.after) answer = job.after(answer);
}
print(answer);
print(times.join(' '));
