#!/usr/bin/perl
# SPDX-License-Identifier: Apache-2.0

# names.t PAGE MODULE: what stands as code in the sentences of the page is in the module's manual.
use strict;
use warnings;

use Test::More;

sub text_of {
  my ($file) = @_;
  open my $handle, '<:raw', $file or die "$file: $!";
  local $/;
  return scalar <$handle>;
}

my ($page, $module) = map { text_of($_) } @ARGV;
my ($manual) = $module =~ /^(=head1 NAME.*)/ms or die 'no manual';

# What comes behind is about packages.
$page =~ s/^## Installing.*//ms;
$page =~ s/^```.*?^```$//msg;
my @code = grep { !/^(libffi-platypus-perl|perldoc .*)$/ } $page =~ /`([^`]+)`/g;
my @names = map { s/'[^']*'//gr =~ /([A-Za-z_]\w*(?:-\w+)*)/g } @code;
cmp_ok(scalar @names, '>', 40, 'the page has names');
ok($manual =~ /\b\Q$_\E\b/, $_) for grep { $_ ne 'glob' } @names;
done_testing;
