#!/usr/bin/perl
# Runs a document from top to bottom, as a reader would. A block of code whose first line is a comment
# with a file name ("// titles.js: ...", "<!-- tea.xml -->") becomes that file; in ```console blocks
# the lines after "$ " are commands, and what follows is what they print ("..." stands for any lines).
#   transcript.pl DOCUMENT.md DATA_DIR VTDOM [PLUGIN]     DATA_DIR's files are there at the beginning
use strict;
use warnings;
use Cwd qw(abs_path);
use File::Basename qw(dirname);
use File::Temp qw(tempdir);

my ($document, $data, $vtdom, $plugin) = map { abs_path($_) } @ARGV;
open my $in, '<', $document or die "$document: $!\n";
my $scratch = tempdir(CLEANUP => 1);
chdir $scratch;
system 'cp', '-r', "$data/.", '.';
$ENV{PATH} = dirname($vtdom) . ":$ENV{PATH}";
$ENV{VALTROSSE_PLUGIN} = $plugin if $plugin;
$ENV{LC_ALL} = 'C.UTF-8';

my ($files, $commands, $failures) = (0, 0, 0);

sub run {
    my ($command, $expected, $line) = @_;
    ++$commands;
    open my $pipe, '-|', 'bash', '-c', "exec 2>&1 </dev/null; $command" or die "bash: $!\n";
    my $printed = join '', <$pipe>;
    close $pipe;
    my $pattern = join '', map { $_ eq "...\n" ? '(?:.*\n)*?' : quotemeta } split /^/, $expected;
    return if $printed =~ /^$pattern\z/;
    ++$failures;
    print "FAILED: $document:$line: $command\n--- expected\n$expected--- printed\n$printed";
}

while (my $line = <$in>) {
    next unless $line =~ /^```(\w+)$/;
    my ($language, $first, $block) = ($1, $. + 1, '');
    while (($line = <$in>) ne "```\n") { $block .= $line }
    if ($language eq 'console') {
        while ($block =~ /^\$ (.*)\n((?:(?!\$ ).*\n)*)/mg) {
            my ($command, $output, $before) = ($1, $2, substr $block, 0, $-[0]);
            run($command, $output, $first + ($before =~ tr/\n//));
        }
    } elsif ($block =~ m{^(?://|<!--|#) ([\w.-]+\.\w+)\b}) {
        ++$files;
        open my $out, '>', $1 or die "$1: $!\n";
        print $out $block;
        close $out;
    }
}
die "$document has no commands\n" unless $commands;
print "$files files, $commands commands, $failures failures\n";
exit($failures ? 1 : 0);
