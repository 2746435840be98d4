"""The jobs in lxml: python3 jobs.py JOB FOLDER RUNS OUTPUT (see run)."""
import copy
import gc
import sys
import time

from lxml import etree

job, folder, runs, output = sys.argv[1:]
mime_file = "/usr/share/mime/packages/freedesktop.org.xml"


def load(name, **options):
    parser = etree.XMLParser(resolve_entities=False, huge_tree=True, **options)
    return etree.parse(f"{folder}/{name}" if name[0] != "/" else name, parser)


def parse(name):
    return etree.QName(load(name).getroot()).localname


def walk(doc):
    names = values = 0
    for element in doc.iter():
        names += len(element.tag)
        if element.text:
            values += len(element.text)
        if element.tail:
            values += len(element.tail)
    return f"{names} {values}"


def read_kinds(doc):
    items = doc.xpath("//item")
    return f"{len(items)} {sum(item.get('kind') == 'k3' for item in items)}"


def build(_):
    root = etree.Element("list")
    for i in range(100000):
        etree.SubElement(root, "item", n=str(i)).text = f"text of item {i}"
    return root.getroottree()


def saved(doc):
    doc.write(output, encoding="UTF-8", xml_declaration=True)
    return len(doc.getroot())


def move(docs):
    docs[1].getroot().extend(list(docs[0].getroot()))
    return docs


def transform(_):
    options = dict(load_dtd=True)
    style = etree.XSLT(etree.parse(f"{folder}/docbook.xsl", etree.XMLParser(**options)))
    style(etree.parse(f"{folder}/book.xml", etree.XMLParser(**options))).write_output(output)
    return "transformed"


def read_texts(elements):
    return f"{len(elements)} {sum(element.text[-1] == '.' for element in elements)}"


def texts_read(doc):
    length = 0
    for item in doc.getroot():
        for part in item:
            length += len(part.text)
    return length


def texts_set(doc):
    count = 0
    for item in doc.getroot():
        for part in item:
            count += 1
            part.text = f"text {count}"
    return doc


def reparent(doc):
    root = doc.getroot()
    other = etree.Element("other")
    for item in list(root):     # len(root) counts its children
        other.append(item)
    root.append(other)
    return doc


def read_file(_):
    with open(f"{folder}/text.txt", encoding="utf-8") as file:
        return file.read()


def catalog(_):
    return load("catalog.xml")


def same(value):
    return value


# What the work needs, the work (which alone is timed), the answer of what the work gives.
jobs = {
    "parse": (same, lambda _: parse("catalog.xml"), same),
    "mime": (same, lambda _: parse(mime_file), same),
    "walk": (catalog, walk, same),
    "select": (catalog, read_kinds, same),
    "build": (same, build, saved),
    "save": (catalog, lambda doc: saved(doc) and "saved", same),
    "clone": (catalog, copy.deepcopy, lambda doc: len(doc.getroot())),
    "move": (lambda _: (load("prefixed.xml"), load("target.xml")), move,
             lambda docs: f"{len(docs[0].getroot())} {len(docs[1].getroot())}"),
    "validate": (lambda _: load(mime_file),
                 lambda doc: "valid" if doc.docinfo.internalDTD.validate(doc) else "not valid",
                 same),
    "xslt": (same, transform, same),
    "text": (lambda _: load("texts.xml").xpath("//t"), read_texts, same),
    "texts": (catalog, texts_read, same),
    "settexts": (catalog, texts_set, saved),
    "reparent": (catalog, reparent, lambda doc: len(doc.getroot())),
    "replace": (read_file, lambda text: len(text.replace("lorem", "ipsum dolor")), same),
}

before, work, after = jobs[job]
times = []
for _ in range(int(runs)):
    state = before(None)
    gc.collect()
    start = time.perf_counter()
    result = work(state)
    times.append(time.perf_counter() - start)
    answer = after(result)
    del state, result
print(answer)
print(*times)
