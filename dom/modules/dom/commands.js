// What vtdom -x, -p and --in-place do with their files.
'use strict';
const dom = require('../dom');

const ok = 0, none = 1, failed = 2;

const parse = path => (/\.html?$/i.test(path) ? dom.parseHTMLFile(path) : dom.parseFile(path));

/** The line on a terminal that says how far the work is. */
class Progress {
    #total;
    #isShown;
    #done = 0;
    constructor(total, isShown) {
        this.#total = total;
        this.#isShown = isShown && total > 1;
    }
    next(path) { this.#write(`[${++this.#done}/${this.#total}] ${path}`); }
    clear() { this.#write(''); }
    #write(text) { if (this.#isShown) writeFile('/dev/stderr', `\r\x1b[K${text}`); }
}

/** Calls work(document, path) for each file. One that cannot be read, or for which it throws, is named on
    standard error. Ends the program: with 2 after such a file, else with what code() gives. */
function forEachFile(paths, showsProgress, work, code = () => ok) {
    const progress = new Progress(paths.length, showsProgress);
    let failures = 0;
    for (const path of paths) {
        progress.next(path);
        try {
            work(parse(path), path, progress);
        } catch (error) {
            progress.clear();
            const words = error instanceof dom.ParseError || !(error instanceof Error) ? '' : `${error.name}: `;
            console.error(`vtdom: ${path}: ${words}${error.message ?? error}`);
            ++failures;
        }
    }
    progress.clear();
    exit(failures > 0 ? failed : code());
}

/** A function of a document from a program's text. A mistake in the text ends the program. */
function compiled(text, ...parameters) {
    try {
        return new Function('doc', 'path', 'dom', ...parameters, text);
    } catch (error) {
        console.error(`vtdom: ${error.name}: ${error.message}`);
        return exit(failed);
    }
}

/** Prints what an XPath expression finds in each file: the text of each node in a line, or the value. The
    exit code is 1 where it finds nothing, or only false. */
exports.select = function select([expression, ...paths], showsProgress) {
    let found = false;
    forEachFile(paths, showsProgress, (doc, path, progress) => {
        const value = doc.xpath(expression);
        const results = !Array.isArray(value) ? [value]
            : value.map(node => node.nodeType === 9 ? node.documentElement?.textContent : node.textContent);
        found ||= results.some(result => result !== false);
        if (results.length > 0) progress.clear();
        for (const result of results) print(String(result ?? '').replace(/\s*[\r\n]\s*/g, ' ').trim());
    }, () => (found ? ok : none));
};

/** Prints the value of a JavaScript expression for each file, which it sees as doc; nothing for undefined and
    null. */
exports.evaluate = function evaluate([expression, ...paths], showsProgress) {
    const valueOf = compiled(`return (${expression}\n);`);
    forEachFile(paths, showsProgress, (doc, path, progress) => {
        const value = valueOf(doc, path, dom);
        if (value === undefined || value === null) return;
        progress.clear();
        print(value);
    });
};

/** Runs JavaScript for each file, which it sees as doc, and saves the documents that it changed. */
exports.edit = function edit([code, ...paths], showsProgress) {
    const change = compiled(code);
    forEachFile(paths, showsProgress, (doc, path) => {
        const before = doc.toString();
        change(doc, path, dom);
        if (doc.toString() !== before) doc.save(path);
    });
};
