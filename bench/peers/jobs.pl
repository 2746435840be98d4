# The jobs in XML::LibXML: perl jobs.pl JOB FOLDER RUNS OUTPUT (see run).
use strict;
use warnings;
use Time::HiRes qw(clock_gettime CLOCK_MONOTONIC);
use XML::LibXML;

my ($name, $folder, $runs, $output) = @ARGV;
my $mime_file = '/usr/share/mime/packages/freedesktop.org.xml';

sub load_xml {
    return XML::LibXML->load_xml(location => $_[0], huge => 1, expand_entities => 0);
}

sub parse { return load_xml($_[0])->documentElement->localname }

sub walk {
    my ($doc) = @_;
    my ($names, $values) = (0, 0);
    my $visit;
    $visit = sub {
        my ($node) = @_;
        if ($node->nodeType == XML_ELEMENT_NODE) {
            $names += length $node->nodeName;
            $visit->($_) for $node->childNodes;
        } else {
            $values += length $node->nodeValue;
        }
    };
    $visit->($doc->documentElement);
    undef $visit;
    return "$names $values";
}

sub read_kinds {
    my @items = $_[0]->findnodes('//item');
    my $found = grep { $_->getAttribute('kind') eq 'k3' } @items;
    return @items . " $found";
}

sub build {
    my $doc = XML::LibXML::Document->new('1.0', 'UTF-8');
    my $root = $doc->createElement('list');
    $doc->setDocumentElement($root);
    for my $i (0 .. 99999) {
        my $item = $doc->createElement('item');
        $item->setAttribute(n => $i);
        $item->appendText("text of item $i");
        $root->appendChild($item);
    }
    return $doc;
}

sub move {
    my ($from, $to) = map { $_->documentElement } @{$_[0]};
    $to->appendChild($_) for $from->childNodes;
    return $_[0];
}

sub transform {
    require XML::LibXSLT;
    my $style = XML::LibXSLT->new->parse_stylesheet_file("$folder/docbook.xsl");
    my $result = $style->transform(XML::LibXML->load_xml(location => "$folder/book.xml"));
    $style->output_file($result, $output);
    return 'transformed';
}

sub read_texts {
    my ($texts) = @_;
    my $found = grep { substr($_->nodeValue, -1) eq '.' } @$texts;
    return @$texts . " $found";
}

sub read_file {
    open my $file, '<:encoding(UTF-8)', "$folder/text.txt" or die $!;
    local $/;
    return <$file>;
}

sub children { return scalar(() = $_[0]->documentElement->childNodes) }

sub catalog { return load_xml("$folder/catalog.xml") }
sub same { return $_[0] }
# What the work needs, the work (which alone is timed), the answer of what the work gives.
my %jobs = (
    parse => [\&same, sub { parse("$folder/catalog.xml") }, \&same],
    mime => [\&same, sub { parse($mime_file) }, \&same],
    walk => [\&catalog, \&walk, \&same],
    select => [\&catalog, \&read_kinds, \&same],
    build => [\&same, \&build, sub { $_[0]->toFile($output); children($_[0]) }],
    save => [\&catalog, sub { $_[0]->toFile($output) ? 'saved' : 'not saved' }, \&same],
    clone => [\&catalog, sub { $_[0]->cloneNode(1) }, sub { $_[0]->findvalue('count(/*/*)') }],
    move => [sub { [load_xml("$folder/prefixed.xml"), load_xml("$folder/target.xml")] }, \&move,
        sub { join ' ', map { children($_) } @{$_[0]} }],
    validate => [sub { load_xml($mime_file) }, sub { $_[0]->is_valid ? 'valid' : 'not valid' },
        \&same],
    xslt => [\&same, \&transform, \&same],
    text => [sub { [load_xml("$folder/texts.xml")->findnodes('//t/text()')] }, \&read_texts,
        \&same],
    replace => [\&read_file, sub { length($_[0] =~ s/lorem/ipsum dolor/gr) }, \&same],
);

exit 3 unless $jobs{$name};
my ($before, $work, $after) = @{$jobs{$name}};
my ($answer, @times);
for (1 .. $runs) {
    my $state = $before->();
    my $start = clock_gettime(CLOCK_MONOTONIC);
    my $result = $work->($state);
    push @times, sprintf '%.6f', clock_gettime(CLOCK_MONOTONIC) - $start;
    $answer = $after->($result);
}
print "$answer\n@times\n";
