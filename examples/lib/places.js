// Where the examples find what they read and leave what they write.

/** The path of a file in examples/data. */
exports.data = function (name) {
    return __dirname.replace(/lib$/, 'data/') + name;
};

/** The path of a file in the output folder, which is the example's argument. */
exports.output = function (name) {
    if (!args[0]) throw new Error('the folder for the output is missing: vtdom EXAMPLE.js FOLDER');
    return args[0] + '/' + name;
};

// Real files of Debian packages.
exports.mimeDatabase = '/usr/share/mime/packages/freedesktop.org.xml';
exports.mimeArticle = '/usr/share/doc/shared-mime-info/shared-mime-info-spec.xml.gz';
exports.docbookStylesheet = '/usr/share/xml/docbook/stylesheet/docbook-xsl/html/docbook.xsl';
exports.docbookDtd = '/usr/share/xml/docbook/schema/dtd/4.5/docbookx.dtd';
exports.htmlPage = '/usr/share/doc/docbook-xsl-doc-html/doc/fo/index.html';
