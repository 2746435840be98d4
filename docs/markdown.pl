#!/usr/bin/perl
# The Markdown files of the project, read as GitHub reads them.
#   markdown.pl check FILE...   complains about relative links to files or headings that are missing
#   markdown.pl filter FILE     FILE as Doxygen needs it, which knows no anchors of GitHub's
use strict;
use warnings;
use Cwd qw(abs_path);
use File::Basename qw(dirname);

binmode STDOUT, ':utf8';

my $root = dirname(dirname(abs_path($0)));
my $link = qr/\[((?:[^\[\]`]|`[^`]*`)*)\]\(([^()\s]+)\)/;

# A file in pieces: [text, whether it is prose, its first line]. The others are blocks of code.
sub pieces_of {
    my ($file) = @_;
    open my $in, '<:utf8', $file or die "$file: $!\n";
    my ($fence, @pieces) = ('');
    while (my $line = <$in>) {
        my $prose = !$fence && $line !~ /^( {4}|```)/;
        if ($fence ? $line =~ /^```\s*$/ : $line =~ /^```/) { $fence = !$fence }
        if (@pieces && $pieces[-1][1] == $prose) { $pieces[-1][0] .= $line }
        else { push @pieces, [$line, $prose, $.] }
    }
    return @pieces;
}

# GitHub's anchor of a heading; seen counts those of the file so far.
sub anchor {
    my ($heading, $seen) = @_;
    $heading =~ s/$link/$1/g;
    $heading = lc $heading;
    $heading =~ s/[^\w\- ]//g;
    $heading =~ tr/ /-/;
    my $count = $seen->{$heading}++;
    return $count ? "$heading-$count" : $heading;
}

sub anchors_of {
    my ($file) = @_;
    my %seen;
    return { map { anchor($_, \%seen) => 1 }
        map { $_->[1] ? $_->[0] =~ /^#+ +(.*)/mg : () } pieces_of($file) };
}

sub check {
    my ($links, $failures) = (0, 0);
    for my $file (@_) {
        for (grep { $_->[1] } pieces_of($file)) {
            my ($text, undef, $line) = @$_;
            while ($text =~ /$link/g) {
                my ($target, $before) = ($2, substr $text, 0, $-[0]);
                next if $target =~ /^\w+:/;
                ++$links;
                my ($path, $heading) = split /#/, $target, 2;
                my $there = $path eq '' ? $file : dirname($file) . "/$path";
                my $fault = !-e $there ? 'no such file'
                    : defined $heading && !anchors_of($there)->{$heading} ? 'no such heading'
                    : next;
                ++$failures;
                printf "%s:%d: %s: %s\n", $file, $line + ($before =~ tr/\n//), $target, $fault;
            }
        }
    }
    printf "%d relative links in %d files\n", $links, scalar @_;
    return $failures ? 1 : 0;
}

# Doxygen's name of a page: docs/functions.md is doc-functions (functions is a page of Doxygen's own),
# examples/README.md is doc-examples.
sub page_of {
    my $name = lc abs_path($_[0]);
    $name =~ s{^\Q$root\E/}{}i;
    $name =~ s{^docs/|(/?readme)?\.md$}{}g;
    $name =~ s{\W}{-}g;
    return $name ? "doc-$name" : 'index';
}

sub filter {
    my ($file) = @_;
    my ($page, $first, %seen) = (page_of($file), 1);
    my $target = sub {
        my ($text, $address) = @_;
        $text =~ s/\s+/ /g;    # Doxygen takes no line break there
        return "[$text]($address)" if $address =~ /^\w+:/;
        my ($path, $heading) = split /#/, $address, 2;
        my $there = $path eq '' ? $file : dirname($file) . "/$path";
        return $text unless $there =~ /\.md$/;    # the page of a file of another kind: none
        return '[' . $text . '](@ref ' . page_of($there) . ($heading ? "-$heading" : '') . ')';
    };
    for (pieces_of($file)) {
        my ($text, $prose) = @$_;
        if ($prose) {
            $text =~ s{^(#+ +)(.*)}{
                my $anchor = anchor($2, \%seen);
                my $id = $first ? $page : "$page-$anchor";
                $first = 0;
                $id eq 'index' ? "$1$2" : "$1$2 {#$id}"
            }gme;
            $text =~ s/$link/$target->($1, $2)/ge;
            $text =~ s/(?<!`)`([^`]*'[^`]*)`(?!`)/``$1``/g;    # Doxygen takes ` and ' for a pair
        }
        print $text;
    }
    return 0;
}

my ($command, @files) = @ARGV;
my %commands = (check => \&check, filter => \&filter);
die "usage: markdown.pl check|filter FILE...\n" unless @files && $commands{$command};
exit $commands{$command}->(@files);
