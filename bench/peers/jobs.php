<?php
// The jobs in PHP's DOM: php jobs.php JOB FOLDER RUNS OUTPUT (see run).
ini_set('memory_limit', '-1');
[, $name, $folder, $runs, $output] = $argv;
$mimeFile = '/usr/share/mime/packages/freedesktop.org.xml';

function load(string $path): DOMDocument
{
    $doc = new DOMDocument();
    $doc->load($path, LIBXML_PARSEHUGE) or exit(1);
    return $doc;
}

function parse(string $path): string
{
    return load($path)->documentElement->localName;
}

function walk(DOMNode $node, int &$names, int &$values): void
{
    for (; $node; $node = $node->nextSibling) {
        if ($node->nodeType === XML_ELEMENT_NODE) {
            $names += strlen($node->nodeName);
            if ($child = $node->firstChild) {
                walk($child, $names, $values);
            }
        } else {
            $values += strlen($node->nodeValue);
        }
    }
}

function walkAll(DOMDocument $doc): string
{
    $names = $values = 0;
    walk($doc->documentElement, $names, $values);
    return "$names $values";
}

function readKinds(DOMDocument $doc): string
{
    $items = (new DOMXPath($doc))->query('//item');
    $found = 0;
    foreach ($items as $item) {
        if ($item->getAttribute('kind') === 'k3') {
            ++$found;
        }
    }
    return count($items) . " $found";
}

function build(): DOMDocument
{
    $doc = new DOMDocument('1.0', 'UTF-8');
    $root = $doc->appendChild($doc->createElement('list'));
    for ($i = 0; $i < 100000; ++$i) {
        $item = $doc->createElement('item', "text of item $i");
        $item->setAttribute('n', $i);
        $root->appendChild($item);
    }
    return $doc;
}

function transform(string $folder, string $output): string
{
    $style = new DOMDocument();
    $style->load("$folder/docbook.xsl", LIBXML_DTDLOAD | LIBXML_NOENT);
    $source = new DOMDocument();
    $source->load("$folder/book.xml", LIBXML_DTDLOAD | LIBXML_NOENT);
    $processor = new XSLTProcessor();
    $processor->importStylesheet($style);
    return $processor->transformToUri($source, $output) > 0 ? 'transformed' : 'not transformed';
}

function texts(string $path): array
{
    $doc = load($path);
    return [$doc, iterator_to_array((new DOMXPath($doc))->query('//t/text()'))];
}

function readTexts(array $texts): string
{
    $found = 0;
    foreach ($texts as $text) {
        if (str_ends_with($text->nodeValue, '.')) {
            ++$found;
        }
    }
    return count($texts) . " $found";
}

function forEachText(DOMDocument $doc, callable $work): void
{
    for ($item = $doc->documentElement->firstChild; $item; $item = $item->nextSibling) {
        for ($part = $item->firstChild; $part; $part = $part->nextSibling) {
            $work($part->firstChild);
        }
    }
}

function textsRead(DOMDocument $doc): int
{
    $length = 0;
    forEachText($doc, function ($text) use (&$length) { $length += strlen($text->data); });
    return $length;
}

function textsSet(DOMDocument $doc): DOMDocument
{
    $count = 0;
    forEachText($doc, function ($text) use (&$count) { $text->data = 'text ' . ++$count; });
    return $doc;
}

function reparent(DOMDocument $doc): DOMDocument
{
    $root = $doc->documentElement;
    $other = $doc->createElement('other');
    while ($item = $root->firstChild) {
        $other->appendChild($item);
    }
    $root->appendChild($other);
    return $doc;
}

$children = fn($doc) => $doc->documentElement->childElementCount;
$catalog = fn() => load("$folder/catalog.xml");
// What the work needs, the work (which alone is timed), the answer of what the work gives.
$jobs = [
    'parse' => [null, fn() => parse("$folder/catalog.xml"), null],
    'mime' => [null, fn() => parse($mimeFile), null],
    'walk' => [$catalog, 'walkAll', null],
    'select' => [$catalog, 'readKinds', null],
    'build' => [null, 'build', fn($doc) => $doc->save($output) ? $children($doc) : 'not saved'],
    'save' => [$catalog, fn($doc) => $doc->save($output) ? 'saved' : 'not saved', null],
    'clone' => [$catalog, fn($doc) => $doc->cloneNode(true), $children],
    // No 'move': this DOM does not adopt nodes, and importing them with their prefixes one by one
    // takes time that grows with the square of their number.
    'validate' => [fn() => load($mimeFile), fn($doc) => $doc->validate() ? 'valid' : 'not valid',
        null],
    'xslt' => [null, fn() => transform($folder, $output), null],
    'text' => [fn() => texts("$folder/texts.xml"), fn($state) => readTexts($state[1]), null],
    'texts' => [$catalog, 'textsRead', null],
    'settexts' => [$catalog, 'textsSet', fn($doc) => $doc->save($output) ? $children($doc) : 'not saved'],
    'reparent' => [$catalog, 'reparent', $children],
    'replace' => [fn() => file_get_contents("$folder/text.txt"),
        fn($text) => strlen(str_replace('lorem', 'ipsum dolor', $text)), null],
];

[$before, $work, $after] = $jobs[$name] ?? exit(3);
$times = [];
for ($run = 0; $run < $runs; ++$run) {
    $state = $before ? $before() : null;
    $start = hrtime(true);
    $result = $work($state);
    $times[] = sprintf('%.6f', (hrtime(true) - $start) / 1e9);
    $answer = $after ? $after($result) : $result;
    unset($state, $result);
}
echo "$answer\n", implode(' ', $times), "\n";
