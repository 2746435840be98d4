// What the examples print with.

exports.section = function (title) {
    print('\n' + title + '\n' + title.replace(/./g, '-'));
};

/** Prints rows of texts and numbers in columns; numbers stand at the right of theirs. */
exports.table = function (rows) {
    const widths = [];
    rows.forEach(row => {
        row.forEach((cell, i) => {
            widths[i] = Math.max(widths[i] || 0, String(cell).length);
        });
    });
    rows.forEach(row => {
        print(('  ' + row.map((cell, i) => {
            const blanks = new Array(widths[i] - String(cell).length + 1).join(' ');
            return typeof cell === 'number' ? blanks + cell : cell + blanks;
        }).join('  ')).replace(/ +$/, ''));
    });
};

/** The text, each line of it moved to the right. */
exports.indent = function (text) {
    return text.replace(/\s+$/, '').replace(/^/gm, '    ');
};

/** Says that a claim holds, or ends the example. */
exports.check = function (claim, holds) {
    if (!holds) throw new Error('not so: ' + claim);
    print('  ok: ' + claim);
};
