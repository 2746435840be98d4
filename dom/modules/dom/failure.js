// What is thrown when nothing can be made of a text or file: the parser's words, and where.
'use strict';

/** A text, file or stylesheet that cannot be parsed. `messages`: each with {message, line, column}, the latter two
    from 1 on and undefined where libxml2 does not say; `line` and `column` are those of the first; `url`: the
    file, undefined for text. */
class ParseError extends Error {
    constructor(text, messages, url) {
        super(text);
        const [{ line, column } = {}] = messages;
        for (const [name, value] of Object.entries({ name: 'ParseError', line, column, url, messages }))
            Object.defineProperty(this, name, { value, configurable: true, writable: true });
    }
}

// A message is "file:line: domain error : what", and mostly the line of text and a ^ below it.
const pattern = /^(?:[^\n]*?:)?(?: ?line )?(\d+): [^\n]*? (?:error|warning) : ([^\n]*)(?:\n([^\n]*)\n([ \t]*)\^)?/gm;
const mostShown = 80;       // bytes of a line before the ^, of a longer one only the last; then the ^ is one short

/** libxml2's messages, one each: {message, line, column}. `text`: what was parsed, if that is known; it began after
    so many characters of the first line. */
function split(words, text, skipped = 0) {
    const lines = text?.split(/\r\n?|\n/);
    return Array.from(words.matchAll(pattern), ([, number, message, shown, indent]) => {
        const line = Number(number);
        let column;
        const isCut = indent?.length === mostShown - 1;
        if (indent !== undefined && (lines || !isCut)) {
            const start = lines ? (lines[line - 1] ?? '').indexOf(shown) : 0;
            const bytes = new TextEncoder().encode(shown).subarray(0, indent.length + isCut);
            if (start >= 0) column = start + new TextDecoder().decode(bytes).length + 1;
        }
        return { message, line, column: line === 1 && column > skipped ? column - skipped : column };
    });
}

/** What a call gives, and what libxml2 and libxslt had to say of it: {given, words}. Hosts without messagesOf
    leave the words to standard error. */
function heard(call) {
    if (typeof messagesOf !== 'function') return { given: call(), words: '' };
    let given;
    const words = messagesOf(() => { given = call(); });
    return { given, words };
}

/** The error of what cannot be parsed, with the parser's latest words or a reason; `text` and `skipped` as for
    split. */
function failed(what, { url, text, skipped, reason = '' } = {}) {
    const words = xmlDOMDocGetLastMsg(0);
    return new ParseError(`${what} cannot be parsed` + (words ? `:\n${words}` : reason),
                          split(words ?? '', text, skipped), url);
}

Object.assign(exports, { ParseError, failed, split, heard });
