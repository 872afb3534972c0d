# SPDX-License-Identifier: Apache-2.0

# What came of an edit. See Qeltemplate.
package Qeltemplate::Result;

use strict;
use warnings;

# What the C interface calls the kinds of findings.
my %KINDS = (refusals => 0, warnings => 1);

sub _of {
  my ($class, $handle) = @_;
  my $number = sub { Qeltemplate::_c("qel_result_$_[0]")->call($handle, @_[1 .. $#_]) };
  my $self = bless {
    text    => Qeltemplate::_borrowed('qel_result_text', $handle),
    changed => $number->('changed') == 1,
    skipped => $number->('skipped') == 1,
    changes => [map { _change($handle, $number, $_) } 0 .. $number->('change_count') - 1],
  }, $class;
  for my $kind (keys %KINDS) {
    my $count = Qeltemplate::_c('qel_finding_count')->call($handle, $KINDS{$kind});
    $self->{$kind} = [map { Qeltemplate::Finding->_of($handle, $KINDS{$kind}, $_) } 0 .. $count - 1];
  }
  return $self;
}

sub _change {
  my ($handle, $number, $index) = @_;
  my $text = sub { Qeltemplate::_borrowed("qel_result_$_[0]", $handle, $index, @_[1 .. $#_]) };
  my @places = map {
    {file => $text->('change_place_file', $_), line => $number->('change_place_line', $index, $_)}
  } 0 .. $number->('change_place_count', $index) - 1;
  return {
    line           => $number->('change_line', $index),
    count          => $number->('change_lines', $index),
    text           => $text->('change_text'),
    template_lines => \@places,
  };
}

sub text       { return $_[0]{text} }
sub changed    { return $_[0]{changed} }
sub skipped    { return $_[0]{skipped} }
sub changes    { return $_[0]{changes} }
sub refusals   { return $_[0]{refusals} }
sub warnings   { return $_[0]{warnings} }
sub is_refused { return @{$_[0]{refusals}} > 0 }

1;
