// XPath expressions of any type: libxml2 selects the nodes, what stands around them is worked out here.
// document.evaluate and its like, and node.xpath().
'use strict';
const { CLUSTER, TYPE } = require('./fields');
const { Node, extend } = require('./node');
const { Document } = require('./document');
const { literal } = require('./names');
const { select, resolver, checkPrefixes } = require('./xpath');
const { read } = require('./xpath_syntax');
const { refuse, need } = require('./exception');

// ---- Values -------------------------------------------------------------------------------------

/** The string-value of a node. */
const textOf = node => node[TYPE] === 9 ? node.documentElement?.textContent ?? '' : node.textContent ?? '';

function toText(value) {
    if (Array.isArray(value)) return value.length > 0 ? textOf(value[0]) : '';
    return typeof value === 'number' ? numberText(value) : String(value);
}

/** A number as XPath writes it: never with an exponent. */
function numberText(value) {
    const text = String(value === 0 ? 0 : value), parts = /^(-?)(\d)(?:\.(\d+))?e([+\-]\d+)$/.exec(text);
    if (!parts) return text;
    const [, sign, first, rest = '', power] = parts, digits = first + rest, places = Number(power);
    return places < 0 ? `${sign}0.${'0'.repeat(-places - 1)}${digits}` : sign + digits.padEnd(places + 1, '0');
}

function toNumber(value) {
    if (typeof value === 'number') return value;
    if (typeof value === 'boolean') return value ? 1 : 0;
    const text = toText(value).replace(/^[ \t\r\n]+|[ \t\r\n]+$/g, '');
    return /^-?(\d+(\.\d*)?|\.\d+)$/.test(text) ? Number(text) : NaN;
}

const toBoolean = value => Array.isArray(value) ? value.length > 0 : Boolean(value);

// ---- Operators and functions --------------------------------------------------------------------

const compares = {
    '=': (a, b) => a === b, '!=': (a, b) => a !== b, '<': (a, b) => a < b, '<=': (a, b) => a <= b,
    '>': (a, b) => a > b, '>=': (a, b) => a >= b
};
const turned = { '=': '=', '!=': '!=', '<': '>', '<=': '>=', '>': '<', '>=': '<=' };

function compare(operator, left, right) {
    const holds = compares[operator], isEquality = operator === '=' || operator === '!=';
    if (!Array.isArray(left)) {
        if (Array.isArray(right)) return compare(turned[operator], right, left);
        const to = !isEquality ? toNumber
            : [left, right].some(value => typeof value === 'boolean') ? toBoolean
            : [left, right].some(value => typeof value === 'number') ? toNumber : toText;
        return holds(to(left), to(right));
    }
    if (typeof right === 'boolean') return compare(operator, toBoolean(left), right);
    const texts = left.map(textOf);
    if (typeof right === 'number') return texts.some(text => holds(toNumber(text), right));
    if (!isEquality) {
        const numbers = Array.isArray(right) ? right.map(node => toNumber(textOf(node))) : [toNumber(right)];
        return texts.some(text => numbers.some(number => holds(toNumber(text), number)));
    }
    if (typeof right === 'string') return texts.some(text => holds(text, right));
    const others = new Set(right.map(textOf));
    if (operator === '=') return texts.some(text => others.has(text));
    return others.size > 1 ? texts.length > 0 : others.size === 1 && texts.some(text => !others.has(text));
}

const arithmetic = {
    '+': (a, b) => a + b, '-': (a, b) => a - b, '*': (a, b) => a * b, 'div': (a, b) => a / b, 'mod': (a, b) => a % b
};

/** The functions, of the values of their arguments; `self` is the context node where there are none. */
const library = {
    last: () => 1,
    position: () => 1,
    count: (self, nodes) => nodes.length,
    'local-name': (self, [node] = [self]) => !node ? '' : node[TYPE] === 7 ? node.target : node.localName ??
        ([1, 2].includes(node[TYPE]) ? node.nodeName : ''),
    'namespace-uri': (self, [node] = [self]) => node?.namespaceURI ?? '',
    name: (self, [node] = [self]) => node && [1, 2, 7].includes(node[TYPE]) ? node.nodeName : '',
    string: (self, value = [self]) => toText(value),
    concat: (self, ...values) => values.map(toText).join(''),
    'starts-with': (self, text, start) => toText(text).startsWith(toText(start)),
    contains: (self, text, part) => toText(text).includes(toText(part)),
    'substring-before'(self, text, part) {
        const whole = toText(text), at = whole.indexOf(toText(part));
        return at < 0 ? '' : whole.slice(0, at);
    },
    'substring-after'(self, text, part) {
        const whole = toText(text), wanted = toText(part), at = whole.indexOf(wanted);
        return at < 0 ? '' : whole.slice(at + wanted.length);
    },
    substring(self, text, from, length = Infinity) {
        const first = round(toNumber(from)), end = first + round(toNumber(length));
        return Array.from(toText(text)).filter((unit, i) => i + 1 >= first && i + 1 < end).join('');
    },
    'string-length': (self, text = [self]) => Array.from(toText(text)).length,
    'normalize-space': (self, text = [self]) =>
        toText(text).replace(/[ \t\r\n]+/g, ' ').replace(/^ | $/g, ''),
    translate(self, text, from, to) {
        const others = Array.from(toText(to)), map = new Map();
        Array.from(toText(from)).forEach((unit, i) => { if (!map.has(unit)) map.set(unit, others[i] ?? ''); });
        return Array.from(toText(text), unit => map.get(unit) ?? unit).join('');
    },
    boolean: (self, value) => toBoolean(value),
    not: (self, value) => !toBoolean(value),
    true: () => true,
    false: () => false,
    lang: (self, language) => select(self, `self::node()[lang(${literal(toText(language))})]`).length > 0,
    number: (self, value = [self]) => toNumber(value),
    sum: (self, nodes) => nodes.reduce((sum, node) => sum + toNumber(textOf(node)), 0),
    floor: (self, value) => Math.floor(toNumber(value)),
    ceiling: (self, value) => Math.ceil(toNumber(value)),
    round: (self, value) => round(toNumber(value))
};

const round = value => Math.round(value);

/** The value of an expression at a node: a number, a text, a truth value, or an array of nodes. */
function evaluate(node, expression, uris) {
    const source = String(need(expression, 'the XPath expression'));
    const valueOf = tree => {
        switch (tree.type) {
            case 'set': return select(node, source.slice(tree.from, tree.to), uris);
            case 'call': return library[tree.name](node, ...tree.args.map(valueOf));
            case 'negate': return (tree.isNegative ? -1 : 1) * toNumber(valueOf(tree.operand));
            case 'binary': return binary(tree, valueOf);
            default: return tree.value;
        }
    };
    return valueOf(read(source).tree);
}

function binary({ operator, left, right }, valueOf) {
    if (operator === 'and') return toBoolean(valueOf(left)) && toBoolean(valueOf(right));
    if (operator === 'or') return toBoolean(valueOf(left)) || toBoolean(valueOf(right));
    const values = [valueOf(left), valueOf(right)];
    return compares[operator] ? compare(operator, ...values) : arithmetic[operator](...values.map(toNumber));
}

// ---- XPathResult --------------------------------------------------------------------------------

const types = {
    ANY_TYPE: 0, NUMBER_TYPE: 1, STRING_TYPE: 2, BOOLEAN_TYPE: 3, UNORDERED_NODE_ITERATOR_TYPE: 4,
    ORDERED_NODE_ITERATOR_TYPE: 5, UNORDERED_NODE_SNAPSHOT_TYPE: 6, ORDERED_NODE_SNAPSHOT_TYPE: 7,
    ANY_UNORDERED_NODE_TYPE: 8, FIRST_ORDERED_NODE_TYPE: 9
};
const VALUE = Symbol('value'), VERSION = Symbol('version'), NEXT = Symbol('next');

/** What an expression gave, as one of the types. */
class XPathResult {
    constructor() { throw new TypeError('results are made by evaluate'); }
    /** The number, text or truth value; a TypeError for a result of another type. */
    get numberValue() { return as(this, 1, 1); }
    get stringValue() { return as(this, 2, 2); }
    get booleanValue() { return as(this, 3, 3); }
    /** The first node; null for none. */
    get singleNodeValue() { return as(this, 8, 9)[0] ?? null; }
    get snapshotLength() { return as(this, 6, 7).length; }
    snapshotItem(index) { return as(this, 6, 7)[need(index, 'an index') >>> 0] ?? null; }
    /** The next node; null behind the last. An InvalidStateError when the tree has changed. */
    iterateNext() {
        const nodes = as(this, 4, 5);
        if (this.invalidIteratorState) refuse('InvalidStateError', 'the document has changed');
        return nodes[this[NEXT]++] ?? null;
    }
    /** Whether the tree has changed, so that the iterator is over. */
    get invalidIteratorState() {
        const [cluster, version] = this[VERSION];
        return (this.resultType === 4 || this.resultType === 5) && cluster.version !== version;
    }
}
for (const [name, value] of Object.entries(types))
    for (const target of [XPathResult, XPathResult.prototype])
        Object.defineProperty(target, name, { value, enumerable: true });

function as(result, first, last) {
    if (result.resultType < first || result.resultType > last)
        throw new TypeError(`the result is of another type: ${result.resultType}`);
    return result[VALUE];
}

/** Gives a value the wanted type. */
function resultOf(node, value, wanted) {
    const isSet = Array.isArray(value);
    const type = wanted !== 0 ? wanted
        : isSet ? types.UNORDERED_NODE_ITERATOR_TYPE : { number: 1, string: 2, boolean: 3 }[typeof value];
    if (!(type >= 1 && type <= 9)) refuse('NotSupportedError', `there is no such type of results: ${wanted}`);
    if (type > 3 && !isSet) throw new TypeError('the expression gives no nodes');
    const cluster = node[CLUSTER];
    return Object.assign(Object.create(XPathResult.prototype), {
        [VALUE]: [null, toNumber, toText, toBoolean][type]?.(value) ?? value, [NEXT]: 0,
        [VERSION]: [cluster, cluster.version], resultType: type
    });
}

/** An expression that was read, to be evaluated at several nodes of a document; of any, where that is not given. */
class XPathExpression {
    #source;
    #uris;
    #document;
    constructor(source, uris, document) {
        this.#source = String(need(source, 'the XPath expression'));
        this.#uris = uris ?? undefined;
        this.#document = document;
        const { prefixes } = read(this.#source);
        if (this.#uris !== undefined) checkPrefixes(prefixes, resolver(document, this.#uris));
    }
    evaluate(node, type = 0) {
        if (!(need(node, 'the context node') instanceof Node)) throw new TypeError('the context is no node');
        if (this.#document && node[CLUSTER] !== this.#document[CLUSTER])
            refuse('WrongDocumentError', 'the node is of another document');
        if (![1, 2, 3, 4, 7, 8, 9].includes(node[TYPE]))
            refuse('NotSupportedError', 'no expression is evaluated at such a node');
        return resultOf(node, evaluate(node, this.#source, this.#uris), Number(type));
    }
}

/** The methods of documents for expressions, for nodes of any document. */
class XPathEvaluator {
    /** Reads an expression; `uris`: URIs by prefix in an object, a function, or a node that knows them. */
    createExpression(expression, uris) { return new XPathExpression(expression, uris); }
    createNSResolver(node) { return need(node, 'the node'); }
    evaluate(expression, node, uris, type) { return this.createExpression(expression, uris).evaluate(node, type); }
}

extend([Document], {
    createExpression(expression, uris) { return new XPathExpression(expression, uris, this); },
    createNSResolver(node) { return need(node, 'the node'); },
    /** Evaluates an XPath expression at a node; the type of the result may be left out. */
    evaluate(expression, node, uris, type) { return this.createExpression(expression, uris).evaluate(node, type); }
});
extend([Node], {
    /** What an XPath expression gives here: a number, a text, a truth value, or an array of nodes. */
    xpath(expression, uris) { return evaluate(this, expression, uris); }
});

Object.assign(exports, { XPathResult, XPathEvaluator, XPathExpression });
