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
    // The engine joins such a text when it is used, and must not join it for each call.
    'beside a text that grows'(item, rounds) {
        let text = '';
        for (let i = 0; i < rounds; ++i) {
            text += 'x';
            xmlDOMNodeGetRelative(item, 1);
        }
        if (text.length !== rounds) throw new Error('lost some');
    },
    'by name'(item, rounds) {
        for (let i = 0; i < rounds; ++i) xmlDOMElementGetAttribute({node: item, name: 'n'});
    }
};
kinds[args[0]](item, Number(args[1]));
