// Reads XPath 1.0: what is wrong with an expression, and its parts: those that select nodes, as text, and what
// stands around them.
'use strict';
const { refuse } = require('./exception');

const nameStart = 'A-Za-z_\\u0080-\\uFFFF', ncName = `[${nameStart}][${nameStart}\\w.\\-]*`;
const tokenPattern = new RegExp(
    String.raw`[ \t\r\n]*(?:(?<number>\d+(?:\.\d*)?|\.\d+)|(?<string>"[^"]*"|'[^']*')|` +
    `(?<name>${ncName}(?::(?:\\*|${ncName}))?(?!:${ncName}))|` +
    String.raw`(?<sign>::|\.\.|//|!=|<=|>=|[()[\]@,./|+\-=<>*$]))`, 'y');

const axes = ['ancestor', 'ancestor-or-self', 'attribute', 'child', 'descendant', 'descendant-or-self', 'following',
              'following-sibling', 'namespace', 'parent', 'preceding', 'preceding-sibling', 'self'];
const nodeTypes = ['comment', 'text', 'processing-instruction', 'node'];
// The functions with the fewest and the most arguments.
const functions = {
    last: [0, 0], position: [0, 0], count: [1, 1], id: [1, 1], 'local-name': [0, 1], 'namespace-uri': [0, 1],
    name: [0, 1], string: [0, 1], concat: [2, Infinity], 'starts-with': [2, 2], contains: [2, 2],
    'substring-before': [2, 2], 'substring-after': [2, 2], substring: [2, 3], 'string-length': [0, 1],
    'normalize-space': [0, 1], translate: [3, 3], boolean: [1, 1], not: [1, 1], true: [0, 0], false: [0, 0],
    lang: [1, 1], number: [0, 1], sum: [1, 1], floor: [1, 1], ceiling: [1, 1], round: [1, 1]
};
const ofSets = ['count', 'sum', 'local-name', 'namespace-uri', 'name'];
const levels = [['or'], ['and'], ['=', '!='], ['<', '<=', '>', '>='], ['+', '-'], ['*', 'div', 'mod']];
const mostNested = 500;

class Reader {
    constructor(text) {
        this.text = text;
        this.tokens = [];
        this.at = 0;
        this.depth = 0;
        this.prefixes = new Set();
        tokenPattern.lastIndex = 0;
        while (/[^ \t\r\n]/.test(text.slice(tokenPattern.lastIndex))) {
            const from = tokenPattern.lastIndex, match = tokenPattern.exec(text);
            if (!match) this.fail('this is no XPath expression', from);
            const [kind] = Object.keys(match.groups).filter(name => match.groups[name] !== undefined);
            this.add(kind, match.groups[kind], tokenPattern.lastIndex);
        }
    }
    /** Notes a token; * and names are operators after what an operator can follow. */
    add(kind, text, to) {
        const before = this.tokens.at(-1);
        const canOperate = before && before.kind !== 'operator' &&
            !(before.kind === 'sign' && /^(@|::|\(|\[|,|\/|\/\/|\||\+|-|=|!=|<|<=|>|>=|\$)$/.test(before.text));
        if (canOperate && (text === '*' || (kind === 'name' && /^(and|or|div|mod)$/.test(text)))) kind = 'operator';
        this.tokens.push({ kind, text, from: to - text.length, to });
    }

    fail(reason = 'this is no XPath expression', place = this.next?.from ?? this.text.length) {
        refuse('SyntaxError', `${reason}: ${this.text.slice(0, place)}\u25B6${this.text.slice(place)}`);
    }
    get next() { return this.tokens[this.at]; }
    isNext(text, kind = 'sign', ahead = 0) {
        const token = this.tokens[this.at + ahead];
        return token !== undefined && token.text === text && token.kind === kind;
    }
    take(text, kind) { return this.isNext(text, kind) && Boolean(++this.at); }
    expect(text) { if (!this.take(text)) this.fail(`a ${text} is missing`); }

    expression(level = 0) {
        if (level === 0 && ++this.depth > mostNested) this.fail('the expression is nested too deep');
        if (level === levels.length) return this.unary();
        let left = this.expression(level + 1);
        for (let operator; (operator = this.operatorOf(level)); ) {
            this.at++;
            left = { type: 'binary', operator, left, right: this.expression(level + 1) };
        }
        if (level === 0) this.depth--;
        return left;
    }
    operatorOf(level) {
        const token = this.next;
        return token && ['sign', 'operator'].includes(token.kind) && levels[level].includes(token.text) &&
            (token.text !== '*' || token.kind === 'operator') ? token.text : null;
    }
    unary() {
        let isNegative = false, isUnary = false;
        for (; this.take('-'); isUnary = true) isNegative = !isNegative;
        const operand = this.union();
        return isUnary ? { type: 'negate', isNegative, operand } : operand;
    }
    union() {
        const { from } = this.next ?? {}, first = this.path();
        if (!this.isNext('|')) return first;
        let last = first;
        for (;;) {
            if (last.type !== 'set') this.fail('only node sets can be joined with |');
            if (!this.take('|')) return this.set(from);
            last = this.path();
        }
    }
    /** What selects nodes, from a place on up to here. */
    set(from) { return { type: 'set', from, to: this.tokens[this.at - 1].to }; }

    path() {
        if (!this.next) this.fail('something is missing');
        const { from, kind } = this.next;
        const isCall = kind === 'name' && this.isNext('(', 'sign', 1) && !nodeTypes.includes(this.next.text);
        if (!isCall && kind !== 'number' && kind !== 'string' && !this.isNext('(') && !this.isNext('$')) {
            this.steps();
            return this.set(from);
        }
        const primary = this.primary();
        if (!this.isNext('[') && !this.isNext('/') && !this.isNext('//')) return primary;
        if (primary.type !== 'set') this.fail('only node sets have predicates and steps');
        this.predicates();
        if (this.isNext('/') || this.isNext('//')) this.steps();
        return this.set(from);
    }
    primary() {
        const { from, kind, text } = this.next;
        if (this.take('(')) {
            const inner = this.expression();
            this.expect(')');
            return inner.type === 'set' ? this.set(from) : inner;
        }
        if (kind === 'sign') this.fail('there are no variables');
        this.at++;
        if (kind === 'number') return { type: 'number', value: Number(text) };
        if (kind === 'string') return { type: 'string', value: text.slice(1, -1) };
        return this.call(from, text);
    }
    call(from, name) {
        if (!Object.hasOwn(functions, name)) this.fail('there is no such function', from);
        const args = [];
        this.expect('(');
        if (!this.take(')')) {
            do args.push(this.expression()); while (this.take(','));
            this.expect(')');
        }
        const [fewest, most] = functions[name];
        if (args.length < fewest || args.length > most) this.fail(`${name} has another number of arguments`, from);
        if (ofSets.includes(name) && args.some(arg => arg.type !== 'set')) this.fail(`${name} is of a node set`, from);
        return name === 'id' ? this.set(from) : { type: 'call', name, args };
    }
    steps() {
        if (this.take('/')) {
            if (!this.isStep()) return;
        } else {
            this.take('//');
        }
        do this.step(); while (this.take('/') || this.take('//'));
    }
    isStep() {
        return this.next?.kind === 'name' || ['.', '..', '@', '*'].some(sign => this.isNext(sign));
    }
    step() {
        if (this.take('.') || this.take('..')) return;
        if (this.next?.kind === 'name' && this.isNext('::', 'sign', 1)) {
            if (!axes.includes(this.next.text)) this.fail('there is no such axis');
            this.at += 2;
        } else {
            this.take('@');
        }
        if (this.next?.kind === 'name') {
            const [prefix, local] = this.next.text.split(':');
            if (nodeTypes.includes(prefix) && this.isNext('(', 'sign', 1)) {
                this.at += 2;
                if (prefix === 'processing-instruction' && this.next?.kind === 'string') this.at++;
                this.expect(')');
            } else {
                if (local !== undefined) this.prefixes.add(prefix);
                this.at++;
            }
        } else if (!this.take('*')) {
            this.fail('a step is missing');
        }
        this.predicates();
    }
    predicates() {
        while (this.take('[')) {
            this.expression();
            this.expect(']');
        }
    }
}

const lately = new Map();
const mostKept = 500;

/** The tree of an expression and the prefixes in it: {tree, prefixes}. A part that selects nodes is
    {type: 'set', from, to}, a place in the text. */
function read(text) {
    let known = lately.get(text);
    if (known) return known;
    const reader = new Reader(text), tree = reader.expression();
    if (reader.next) reader.fail();
    known = { tree, prefixes: [...reader.prefixes] };
    if (lately.size >= mostKept) lately.clear();
    lately.set(text, known);
    return known;
}

exports.read = read;
