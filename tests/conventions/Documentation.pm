# The pages of the documentation, and the commands in them.
package Documentation;
use strict;
use warnings;
use autodie;
use Exporter 'import';

our @EXPORT_OK = qw(pages contents output commands $scripts);

our $scripts =
    qr{\./run|\./check|virtual_target/(?:boot|prepare)|bench/bench|docs/reference|tests/(?:abi/abi|coverage/coverage|fuzz/fuzz|soak/soak)};
my $others = qr{cmake|ctest|cpack|qmctl|build/\w+/bin/|build/\w+/models/|[A-Z_]+=\S+\s|(?:pkg-config|sudo|valgrind)\s};
my $begin  = qr{(?:$scripts|$others)};

sub pages { return 'README.md', 'virtual_target/README.md', glob 'docs/*.md' }

sub contents {
    my ($path) = @_;
    open my $file, '<', $path;
    local $/ = undef;
    return scalar <$file>;
}

# Output of a command, both streams; its exit status goes to $?.
sub output { my ($command) = @_; my $text = qx({ $command; } 2>&1 </dev/null); return $text }

# Whole blocks for the shell; elsewhere, indented lines and pieces of code that begin with a command of ours.
sub commands {
    my ($text) = @_;
    my @lines;
    $text =~ s{^```sh\n(.*?)^```}{ push @lines, split /\n/, $1; '' }mesg;
    $text =~ s/^```.*?^```//msg;
    my @found = $text =~ /^ {4}($begin.*)$/mg;
    push @found, $text =~ /(?<!`)`($begin[^`]*)`/g;
    s/\s+/ /g for @found;
    push @lines, grep { !/[<>=]\w*>|NOUN|\.\.\./ && !m{^cmake/} } @found;    # placeholders; a folder
    s/(?:^|\s+)#\s.*//                           for @lines;
    return grep {/\S/} @lines;
}

1;
