# SPDX-License-Identifier: Apache-2.0

# Replaces files. See Qeltemplate.
package Qeltemplate::Update;

use strict;
use warnings;

use Carp ();
use JSON::PP ();

my %TEXTS = (backup_suffix => 1, check => 2, reload => 3);
my %NUMBERS = (lock_wait => 1, may_create => 2, command_limit => 3, new_warnings => 4);
my %NEW_WARNINGS = (ignored => 0, told => 1, refused => 2);

sub new {
  my ($class, %of) = @_;
  my $files = delete $of{files} // Carp::croak('An update needs files');
  if (defined(my $warnings = $of{new_warnings})) {
    $of{new_warnings} = $NEW_WARNINGS{$warnings}
      // Carp::croak("'$warnings' is none of " . join ', ', sort keys %NEW_WARNINGS);
  }
  $of{may_create} = $of{may_create} ? 1 : 0;

  my $self = bless {update => Qeltemplate::_make('qel_update_new')}, $class;
  for my $name (@$files) {
    Qeltemplate::_call('qel_update_add', $self->{update}, Qeltemplate::_bytes(my $copy = $name));
  }
  for my $option (sort keys %of) {
    my $value = $of{$option};
    if (exists $TEXTS{$option}) {
      Qeltemplate::_call('qel_update_set_text', $self->{update}, $TEXTS{$option}, Qeltemplate::_bytes($value));
    } elsif (exists $NUMBERS{$option}) {
      $value =~ /\A[0-9]+\z/ or Carp::croak("The $option '$value' is no number");
      Qeltemplate::_call('qel_update_set_number', $self->{update}, $NUMBERS{$option}, $value);
    } else {
      Carp::croak("An update has no option '$option'");
    }
  }
  Qeltemplate::_call('qel_update_lock', $self->{update});
  return $self;
}

sub DESTROY {
  my ($self) = @_;
  my $free = Qeltemplate::_c('qel_update_free');
  $free->call($self->{update}) if $self->{update} && $free;
  return;
}

sub names {
  my ($self) = @_;
  my $count = Qeltemplate::_c('qel_update_count')->call($self->{update});
  return map { Qeltemplate::_text('qel_update_name', $self->{update}, $_) } 0 .. $count - 1;
}

sub read {    ## no critic (a name of its own here)
  my ($self, $file) = @_;
  return Qeltemplate::_text('qel_update_read', $self->{update}, $file);
}

sub replace {
  my ($self, $file, $text) = @_;
  Qeltemplate::_call('qel_update_replace', $self->{update}, $file, Qeltemplate::_bytes($text));
  return;
}

# All or none: a refusal comes before anything is replaced.
sub edit {
  my ($self, $edit) = @_;
  my @names = $self->names;
  my @results = map { $edit->apply($self->read($_), $names[$_]) } 0 .. $#names;
  $self->replace($_, $results[$_]->text) for 0 .. $#results;
  return @results;
}

sub commit {
  my ($self) = @_;
  Qeltemplate::_call('qel_update_commit', $self->{update});
  my $done = JSON::PP::decode_json(Qeltemplate::_text('qel_update_json', $self->{update}));
  for my $list (@$done{qw(changed backups new_warnings)}) {
    utf8::encode($_) for @$list;
  }
  return $done;
}

1;
