// One kind of call over and over: vtdom calls.js KIND ROUNDS. instructions.sh counts a round.
var doc = xmlDOMDocLoadXMLString('<list><item n="1">some text</item><item/></list>', 1);
var item = xmlDOMNodeGetRelative(xmlDOMDocGetRootNode(doc), 3);

var kinds = {
    'nothing': function (item, rounds) {
        for (var i = 0; i < rounds; ++i);
    },
    'integer': function (item, rounds) {
        for (var i = 0; i < rounds; ++i) xmlDOMNodeGetRelative(item, 1);
    },
    'integer, function in a variable': function (item, rounds) {
        var relative = xmlDOMNodeGetRelative;
        for (var i = 0; i < rounds; ++i) relative(item, 1);
    },
    'text back': function (item, rounds) {
        for (var i = 0; i < rounds; ++i) xmlDOMNodeGetName(item);
    },
    'text over and back': function (item, rounds) {
        for (var i = 0; i < rounds; ++i) xmlDOMElementGetAttribute(item, 'n');
    },
    'by name': function (item, rounds) {
        for (var i = 0; i < rounds; ++i) xmlDOMElementGetAttribute({node: item, name: 'n'});
    }
};
kinds[args[0]](item, Number(args[1]));
