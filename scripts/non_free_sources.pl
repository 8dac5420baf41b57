#!/usr/bin/perl
# Prints the apt entries that would offer the component non-free of the Debian archive, made from those that
# offer main: the same mirrors, suites, keys and options. Suites with security fixes are left out.
#   non_free_sources.pl list|sources ARCHIVES FILE...
# list: one-line entries; sources: deb822 stanzas. ARCHIVES: the addresses of the archive, separated by blanks.
use strict;
use warnings;

my $form = shift;
my %archive = map { s{/+$}{}r => 1 } split ' ', shift;
sub archives { grep { $archive{s{/+$}{}r} } @_ }
sub suites { grep { !/-security\b/ } @_ }
sub wanted { my %has = map { $_ => 1 } @_; $has{main} && !$has{'non-free'} }

sub one_line {
  my ($options, $uri, $suite, $components) = /^\s*deb\s+(\[[^\]]*\]\s+)?(\S+)\s+(\S+)\s+([^#]+)/ or return;
  return unless archives($uri) && suites($suite) && wanted(split ' ', $components);
  print 'deb ', $options // '', "$uri $suite non-free\n";
}

sub stanza {
  $_ .= "\n";
  s/^#.*\n//mg;
  my @fields = /^([^\s:]+:.*\n?(?:[ \t].*\n?)*)/mg;    # a field goes on in lines that begin with a blank
  my %value = map { /^([^:]+):\s*(.*?)\s*$/s; lc $1 => $2 } @fields;
  my %words = map { $_ => [split ' ', $value{$_} // ''] } qw(types uris suites components);
  return unless grep({ $_ eq 'deb' } @{$words{types}}) && wanted(@{$words{components}});
  return if ($value{enabled} // '') =~ /^(no|false|without|off|disable)$/i;
  my %new = (types => 'deb', uris => join(' ', archives(@{$words{uris}})),
             suites => join(' ', suites(@{$words{suites}})), components => 'non-free');
  return unless $new{uris} && $new{suites};
  for (@fields) {
    my ($name) = /^([^:]+)/;
    print exists $new{lc $name} ? "$name: $new{lc $name}\n" : $_;
  }
  print "\n";
}

for my $file (@ARGV) {
  open my $in, '<', $file or die "$file: $!\n";
  my $text = do { local $/; <$in> } // '';
  if ($form eq 'list') { one_line() for split /\n/, $text }
  else { stanza() for split /\n(?:[ \t]*(?:\n|\z))+/, $text }
}
