# SPDX-License-Identifier: Apache-2.0

# What speaks against an edit, or should be known about it. See Qeltemplate.
package Qeltemplate::Finding;

use strict;
use warnings;

use overload '""' => sub { $_[0]->said }, fallback => 1;

my @REMEDIES = ([1, 'all'], [2, 'quote'], [4, 'raw']);

# The one with this number among those of a kind.
sub _of {
  my ($class, @at) = @_;
  my $text = sub { Qeltemplate::_borrowed("qel_finding_$_[0]", @at, @_[1 .. $#_]) };
  my $number = sub { Qeltemplate::_c("qel_finding_$_[0]")->call(@at, @_[1 .. $#_]) };
  my $self = bless {map { ($_ => $text->($_)) } qw(said name message hint)}, $class;
  my %template = (
    file => $text->('template_file'),
    map { ($_ => $number->("template_$_")) } qw(line column));
  $self->{template_place} = \%template if $template{file} ne '' || $template{line} != 0;
  for my $place (0 .. $number->('config_count') - 1) {
    push @{$self->{config_places}},
      {file => $text->('config_file', $place),
        map { ($_ => $number->("config_$_", $place)) } qw(line column)};
  }
  $self->{values} = [map { $text->('value', $_) } 0 .. $number->('value_count') - 1];
  my $remedies = $number->('remedies');
  $self->{remedies} = [map { $_->[1] } grep { $remedies & $_->[0] } @REMEDIES];
  $self->{$_} = $number->($_) == 1 for qw(in_result can_be_forced);
  return $self;
}

sub said           { return $_[0]{said} }
sub name           { return $_[0]{name} }
sub message        { return $_[0]{message} }
sub hint           { return $_[0]{hint} }
sub template_place { return $_[0]{template_place} }
sub config_places  { return $_[0]{config_places} // [] }
sub in_result      { return $_[0]{in_result} }
sub values         { return $_[0]{values} }    ## no critic (a name of its own here)
sub remedies       { return $_[0]{remedies} }
sub can_be_forced  { return $_[0]{can_be_forced} }

1;
