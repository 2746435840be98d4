# The jobs in Nokogiri: ruby jobs.rb JOB FOLDER RUNS OUTPUT (see run).
require 'nokogiri'

NAME, FOLDER, RUNS, OUTPUT = ARGV
MIME_FILE = '/usr/share/mime/packages/freedesktop.org.xml'

def load_xml(path)
  Nokogiri::XML(File.read(path), path, 'UTF-8') { |options| options.strict.huge }
end

def parse(path) = load_xml(path).root.name

def walk(doc)
  names = values = 0
  doc.root.traverse do |node|
    if node.element?
      names += node.name.length
    else
      values += node.content.length
    end
  end
  "#{names} #{values}"
end

def read_kinds(doc)
  items = doc.xpath('//item')
  "#{items.length} #{items.count { |item| item['kind'] == 'k3' }}"
end

def build
  doc = Nokogiri::XML::Document.new
  doc.encoding = 'UTF-8'
  doc.root = root = Nokogiri::XML::Element.new('list', doc)
  100_000.times do |i|
    item = Nokogiri::XML::Element.new('item', doc)
    item['n'] = i.to_s
    item.content = "text of item #{i}"
    root.add_child(item)
  end
  doc
end

def save(doc)
  File.open(OUTPUT, 'w') { |file| doc.write_xml_to(file, save_with: 0) }
  'saved'
end

def move(docs)
  target = docs[1].root
  docs[0].root.children.each { |node| target.add_child(node) }
  docs
end

def transform
  style = Nokogiri::XSLT(File.open("#{FOLDER}/docbook.xsl"))
  File.write(OUTPUT, style.apply_to(load_xml("#{FOLDER}/book.xml")))
  'transformed'
end

def read_texts(texts)
  "#{texts.length} #{texts.count { |text| text.content.end_with?('.') }}"
end

def children(doc) = doc.root.element_children.length

catalog = -> { load_xml("#{FOLDER}/catalog.xml") }
nothing = -> {}
same = ->(value) { value }
# What the work needs, the work (which alone is timed), the answer of what the work gives.
jobs = {
  'parse' => [nothing, ->(_) { parse("#{FOLDER}/catalog.xml") }, same],
  'mime' => [nothing, ->(_) { parse(MIME_FILE) }, same],
  'walk' => [catalog, method(:walk), same],
  'select' => [catalog, method(:read_kinds), same],
  'build' => [nothing, ->(_) { build }, ->(doc) { save(doc) && children(doc) }],
  'save' => [catalog, method(:save), same],
  'clone' => [catalog, ->(doc) { doc.dup }, ->(doc) { children(doc) }],
  'move' => [-> { %w[prefixed target].map { |name| load_xml("#{FOLDER}/#{name}.xml") } },
             method(:move), ->(docs) { docs.map { |doc| children(doc) }.join(' ') }],
  'validate' => [-> { load_xml(MIME_FILE) },
                 ->(doc) { doc.internal_subset.validate(doc).empty? ? 'valid' : 'not valid' },
                 same],
  'xslt' => [nothing, ->(_) { transform }, same],
  'text' => [-> { load_xml("#{FOLDER}/texts.xml").xpath('//t/text()').to_a },
             method(:read_texts), same],
  'replace' => [-> { File.read("#{FOLDER}/text.txt", encoding: 'UTF-8') },
                ->(text) { text.gsub('lorem', 'ipsum dolor').length }, same]
}

def now = Process.clock_gettime(Process::CLOCK_MONOTONIC)

exit 3 unless jobs.key?(NAME)
before, work, after = jobs.fetch(NAME)
answer = nil
times = RUNS.to_i.times.map do
  state = before.call
  GC.start
  start = now
  result = work.call(state)
  time = now - start
  answer = after.call(result)
  time
end
puts answer, times.join(' ')
