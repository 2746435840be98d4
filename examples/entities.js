// Lists what a document's DTD declares, entities of all kinds and notations, and where it is used.
// vtdom entities.js OUTPUT_FOLDER
const functions = require('./lib/functions');
const places = require('./lib/places');
const report = require('./lib/report');

/** What xmlDOMEntityGetProperty tells of an entity; what it does not have is ''. */
function describe(entity) {
    const publicId = xmlDOMEntityGetProperty(entity, 0) || '';
    const systemId = xmlDOMEntityGetProperty(entity, 1) || '';
    let notation = xmlDOMEntityGetProperty(entity, 2) || '';
    const kind = notation ? 'unparsed' : systemId ? 'external' : 'internal';
    return [xmlDOMNodeGetName(entity), kind, systemId, notation, publicId];
}

function listEntities(doc) {
    report.section('Entities');
    // A handle list like that of a selection. The declarations belong to the DTD: nothing to free.
    const rows = functions.handles(xmlDOMDocGetEntities(doc)).map(describe).sort();
    const head = ['name', 'kind', 'system identifier', 'notation', 'public identifier'];
    report.table([head].concat(rows));
    writeFile(places.output('entities.txt'),
        rows.map(row => row.join('|') + '\n').join(''));
}

function listNotations(doc) {
    report.section('Notations');
    // Here the answer is a chain of records that belongs to the script: first child by first child.
    const chain = xmlDOMDocGetNotations(doc);
    const life = LIBXMLLife.new().addInternal(chain);     // ends the whole chain
    const rows = [];
    for (let notation = chain; notation;
         notation = xmlDOMNodeGetRelative(notation, functions.Step.FIRST_CHILD)) {
        rows.push([
            xmlDOMNodeGetName(notation),
            xmlDOMNotationGetProperty(notation, 1) || '',
            xmlDOMNotationGetProperty(notation, 0) || ''
        ]);
    }
    rows.sort();
    report.table([['name', 'system identifier', 'public identifier']].concat(rows));
    writeFile(places.output('notations.txt'),
        rows.map(row => row.join('|') + '\n').join(''));
}

/** References stay nodes of the tree; their first child is the declaration. */
function listReferences(node) {
    functions.children(node).forEach(child => {
        const type = xmlDOMNodeGetType(child);
        if (type === functions.Type.ENTITY_REFERENCE) {
            const declaration = xmlDOMNodeGetRelative(child, functions.Step.FIRST_CHILD);
            print('  in ' + xmlDOMNodeGetName(node) + ': ' + xmlDOMNodeDumpNode(child, 0) + ' is ' +
                  xmlDOMNodeDumpNode(declaration, 0).trim());
        } else if (type === functions.Type.ELEMENT) {
            listReferences(child);
        }
    });
}

/** Unparsed entities are named by attributes; the DTD has the file and the viewer. */
function listFiles(doc) {
    const byName = {};
    functions.handles(xmlDOMDocGetEntities(doc)).forEach(entity => {
        byName[xmlDOMNodeGetName(entity)] = entity;
    });
    functions.select(xmlDOMDocGetRootNode(doc), '//@file').forEach(attribute => {
        const entity = byName[xmlDOMNodeGetValue(attribute)];
        print('  ' + xmlDOMNodeGetName(xmlDOMNodeGetRelative(attribute, functions.Step.PARENT)) + ': ' +
              xmlDOMEntityGetProperty(entity, 1) + ', for ' + xmlDOMEntityGetProperty(entity, 2));
    });
}

const book = functions.load(places.data('tea-book.xml'), 0);
const life = LIBXMLLife.new().addInternal(book);
listEntities(book);
listNotations(book);
report.section('References in the text');
listReferences(xmlDOMDocGetRootNode(book));
report.section('Files that are no XML');
listFiles(book);

// Nothing above read chapter-brewing.ent or the missing chapter-history.ent: external entities are
// read only when references are replaced by what they stand for.
