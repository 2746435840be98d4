#!/bin/bash
# What the examples write, against what other tools make of the same input: xmllint and xsltproc.
#   examples_test.sh VTDOM PLUGIN SCRATCH
set -uo pipefail

vtdom=$1
plugin=$2
scratch=$3
examples=$(cd "$(dirname "$0")/../examples" && pwd)
failures=0

fail() {
    failures=$((failures + 1))
    printf 'FAILED: %s\n' "$1"
}

# same TITLE EXPECTED OURS: the files are equal byte for byte, and not empty.
same() {
    if [[ ! -s $2 ]]; then
        fail "$1: the other tool made nothing"
    elif ! cmp -s "$2" "$3"; then
        fail "$1 (expected <, ours >)"
        diff --text "$2" "$3" | head -6 | cut -c1-200
    fi
}

rm -rf "$scratch"
mkdir -p "$scratch"
cd "$scratch" || exit 1
for name in demo atom docbook validate html entities; do
    mkdir "$name"
    "$vtdom" --plugin "$plugin" "$examples/$name.js" "$name" >"$name/out" 2>"$name/err" || {
        fail "$name.js"
        tail -5 "$name/err"
    }
done

# ---- demo: the formatted saves, with the same change made by sed ---------------------------------

xmllint --noblanks --format /usr/share/mime/packages/freedesktop.org.xml |
    sed '/<mime-type type="image\/svg+xml">/,/<\/mime-type>/ {
        s|<comment>SVG image<|<comment>SVG image (scalable → naïve printers, too)<|
    }' >changed.xml
same "demo: UTF-8" changed.xml demo/mime-UTF-8.xml
xmllint --noblanks --format --encode ISO-8859-1 changed.xml >changed-latin.xml
same "demo: ISO-8859-1" changed-latin.xml demo/mime-ISO-8859-1.xml

# ---- atom: what was moved is what was there, namespaces included ---------------------------------

# divs FILE: the XHTML parts in canonical form. Where n is declared again may differ.
divs() {
    xmllint --noblanks --exc-c14n "$1" |
        sed 's| xmlns:n="[^"]*"||g; s|<h:div|\n&|g; s|</h:div>|&\n|g' | grep '^<h:div'
}
divs "$examples/data/tea-notes.xml" >expected-divs
divs atom/tea.atom >our-divs
same "atom: moved parts" expected-divs our-divs
xmllint --xpath 'concat(
    count(//*[namespace-uri()="http://www.w3.org/2005/Atom"]), " ",
    count(//*[namespace-uri()="http://www.w3.org/1999/xhtml"]), " ",
    count(//@*[namespace-uri()="urn:example:notes"]), " ",
    /*/@xml:lang, " ", count(//comment()), " ",
    //*[local-name()="entry"][1]/*[local-name()="summary"])' atom/tea.atom >facts
echo '19 6 1 en 1 <b>Assam, second flush</b> &middot; see below' >expected-facts
same "atom: contents" expected-facts facts

# ---- docbook: the same page ----------------------------------------------------------------------

xsltproc --nonet -o article.html /usr/share/xml/docbook/stylesheet/docbook-xsl/html/docbook.xsl \
    /usr/share/doc/shared-mime-info/shared-mime-info-spec.xml.gz
same "docbook: HTML" article.html docbook/article.html

# ---- validate: the same report -------------------------------------------------------------------

# xmllint reads the DTD while it parses, too, and then meets the second ID a first time (3 lines);
# its last line is a summary.
xmllint --noout --dtdvalid /usr/share/xml/docbook/schema/dtd/4.5/docbookx.dtd \
    "$examples/data/broken-article.xml" 2>&1 | sed '1,3d;$d' >report
same "validate: report" report validate/report.txt

# ---- html: both encodings ------------------------------------------------------------------------

page=/usr/share/doc/docbook-xsl-doc-html/doc/fo/index.html
for encoding in UTF-8 ISO-8859-1; do
    xmllint --html --encode $encoding $page >page.html
    same "html: $encoding" page.html html/page-$encoding.html
done

# ---- entities: kinds and identifiers -------------------------------------------------------------

# 'name|kind|system|notation|public' for each entity that xmllint knows.
xmllint --debugent --noout "$examples/data/tea-book.xml" 2>&1 | sed -nE '
    /UNPARSED/ { N; s/\n content "(.*)"$/|\1/ }
    s/^(\w+) : INTERNAL GENERAL, $/\1|internal|||/p
    s/^(\w+) : EXTERNAL PARSED, (ID "([^"]*)")?SYSTEM "([^"]*)"$/\1|external|\4||\3/p
    s/^(\w+) : EXTERNAL UNPARSED, (ID "([^"]*)")?SYSTEM "([^"]*)"\|(.*)/\1|unparsed|\4|\5|\3/p
    ' | LC_ALL=C sort >entities.txt
same "entities: entities" entities.txt entities/entities.txt
# 'name|system|public' for each notation that xmllint writes.
xmllint "$examples/data/tea-book.xml" | sed -nE '
    s/^<!NOTATION (\w+) SYSTEM "([^"]*)" >/\1|\2|/p
    s/^<!NOTATION (\w+) PUBLIC "([^"]*)" "([^"]*)" >/\1|\3|\2/p
    s/^<!NOTATION (\w+) PUBLIC "([^"]*)" >/\1||\2/p' | LC_ALL=C sort >notations.txt
same "entities: notations" notations.txt entities/notations.txt

if ((failures > 0)); then
    echo "$failures comparisons failed; the files are in $scratch"
    exit 1
fi
