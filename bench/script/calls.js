// One kind of call over and over: vtdom calls.js KIND ROUNDS. instructions.sh counts a round.
const doc = xmlDOMDocLoadXMLString('<list><item n="1">some text</item><item/></list>', 1);
const item = xmlDOMNodeGetRelative(xmlDOMDocGetRootNode(doc), 3);

const kinds = {
    'integer'(item, rounds) {
        for (let i = 0; i < rounds; ++i) xmlDOMNodeGetRelative(item, 1);
    },
    'text back'(item, rounds) {
        for (let i = 0; i < rounds; ++i) xmlDOMNodeGetName(item);
    },
    'text over and back'(item, rounds) {
        for (let i = 0; i < rounds; ++i) xmlDOMElementGetAttribute(item, 'n');
    },
    'by name'(item, rounds) {
        for (let i = 0; i < rounds; ++i) xmlDOMElementGetAttribute({node: item, name: 'n'});
    }
};
kinds[args[0]](item, Number(args[1]));
