# SPDX-License-Identifier: Apache-2.0

# What went wrong. See Qeltemplate.
package Qeltemplate::Error;

use strict;
use warnings;

use overload '""' => sub { $_[0]->message . "\n" }, fallback => 1;

my $FIRST_OF_UPDATES = 10;
my %KINDS = (
  4  => 'unknown-dialect',
  10 => 'update-failed',
  11 => 'server-refuses',
  12 => 'overtaken',
);

# Of a status and an error of the C interface, which is freed.
sub _of {
  my ($class, $status, $error) = @_;
  my $self = bless {status => $status, type => '', object => '', params => []}, $class;
  $self->{message} = Qeltemplate::_c('qel_status_text')->call($status);
  return $self if $error == 0;
  $self->{$_} = Qeltemplate::_borrowed("qel_error_$_", $error) for qw(message type object);
  # Of an update the object is a sentence, and the parameters are its parts once more.
  $self->{message} = $self->{object} if $status >= $FIRST_OF_UPDATES;
  for my $i (0 .. Qeltemplate::_c('qel_error_param_count')->call($error) - 1) {
    push @{$self->{params}}, [map { Qeltemplate::_borrowed("qel_error_param_$_", $error, $i) } qw(name value)];
  }
  Qeltemplate::_c('qel_error_free')->call($error);
  return $self;
}

sub message { return $_[0]{message} }
sub status  { return $_[0]{status} }
sub type    { return $_[0]{type} }
sub object  { return $_[0]{object} }
sub kind    { return $KINDS{$_[0]{status}} // 'failed' }

sub params {
  my ($self, $name) = @_;
  return map { $_->[1] } grep { $_->[0] eq $name } @{$self->{params}};
}

1;
