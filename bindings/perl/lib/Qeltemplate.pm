# SPDX-License-Identifier: Apache-2.0

package Qeltemplate;

use 5.020;
use strict;
use warnings;

our $VERSION = '0.1.0';

use Carp ();
use FFI::Platypus 1.00;
use FFI::Platypus::Buffer qw(buffer_to_scalar scalar_to_buffer);
use JSON::PP ();

use Qeltemplate::Error;
use Qeltemplate::Finding;
use Qeltemplate::Refused;
use Qeltemplate::Result;
use Qeltemplate::Update;

# --- The C library ---

my $REFUSED = 9;

our $ffi = FFI::Platypus->new(api => 1, lib => $ENV{QELTEMPLATE_C} // 'libqeltemplate_c.so.0');

# A handle is a number, a status an int, a text goes with its size. A text that is handed out is a pointer,
# since it may hold any bytes.
my @text = ('opaque', 'size_t');
my %functions = (
  qel_version                  => [[], 'string'],
  qel_guess_dialect            => [[@text], 'string'],
  qel_text_free                => [['opaque'], 'void'],
  qel_request_new              => [[(@text) x 3, 'uint64*', 'uint64*'], 'int'],
  qel_request_free             => [['uint64'], 'int'],
  qel_request_set_value        => [['uint64', (@text) x 3, 'uint64*'], 'int'],
  qel_request_read_old         => [['uint64', @text, 'uint64*'], 'int'],
  qel_request_set_option       => [['uint64', 'int', 'int', 'uint64*'], 'int'],
  qel_request_set_create       => [['uint64', 'int', 'uint64*'], 'int'],
  qel_request_force            => [['uint64', @text, 'uint64*'], 'int'],
  qel_request_raw              => [['uint64', @text, 'uint64*'], 'int'],
  qel_request_must_use         => [['uint64', @text, 'uint64*'], 'int'],
  qel_request_import_below     => [['uint64', @text, 'uint64*'], 'int'],
  qel_request_set_importer     => [['uint64', 'opaque', 'opaque', 'opaque', 'uint64*'], 'int'],
  qel_import_found             => [['uint64', (@text) x 2, 'uint64*'], 'int'],
  qel_edit                     => [['uint64', (@text) x 2, 'uint64*', 'uint64*'], 'int'],
  qel_explain                  => [['uint64', (@text) x 2, 'opaque*', 'size_t*', 'uint64*'], 'int'],
  qel_lint                     => [['uint64', 'int', 'opaque*', 'size_t*', 'uint64*'], 'int'],
  qel_inspect                  => [[(@text) x 3, 'opaque*', 'size_t*', 'uint64*'], 'int'],
  qel_result_free              => [['uint64'], 'int'],
  qel_result_text              => [['uint64', 'size_t*'], 'opaque'],
  qel_result_changed           => [['uint64'], 'int'],
  qel_result_skipped           => [['uint64'], 'int'],
  qel_result_change_count      => [['uint64'], 'size_t'],
  qel_result_change_line       => [['uint64', 'size_t'], 'size_t'],
  qel_result_change_lines      => [['uint64', 'size_t'], 'size_t'],
  qel_result_change_text       => [['uint64', 'size_t', 'size_t*'], 'opaque'],
  qel_result_change_place_count => [['uint64', 'size_t'], 'size_t'],
  qel_result_change_place_file => [['uint64', 'size_t', 'size_t', 'size_t*'], 'opaque'],
  qel_result_change_place_line => [['uint64', 'size_t', 'size_t'], 'size_t'],
  qel_finding_count            => [['uint64', 'int'], 'size_t'],
  (map { ("qel_finding_$_" => [['uint64', 'int', 'size_t', 'size_t*'], 'opaque']) }
      qw(said name message hint template_file)),
  (map { ("qel_finding_$_" => [['uint64', 'int', 'size_t', 'size_t', 'size_t*'], 'opaque']) }
      qw(config_file value)),
  (map { ("qel_finding_$_" => [['uint64', 'int', 'size_t'], 'size_t']) }
      qw(template_line template_column config_count value_count)),
  (map { ("qel_finding_$_" => [['uint64', 'int', 'size_t', 'size_t'], 'size_t']) }
      qw(config_line config_column)),
  (map { ("qel_finding_$_" => [['uint64', 'int', 'size_t'], 'int']) }
      qw(in_result remedies can_be_forced)),
  qel_update_new               => [['uint64*', 'uint64*'], 'int'],
  qel_update_free              => [['uint64'], 'int'],
  qel_update_add               => [['uint64', @text, 'uint64*'], 'int'],
  qel_update_set_text          => [['uint64', 'int', @text, 'uint64*'], 'int'],
  qel_update_set_number        => [['uint64', 'int', 'uint64', 'uint64*'], 'int'],
  qel_update_lock              => [['uint64', 'uint64*'], 'int'],
  qel_update_count             => [['uint64'], 'size_t'],
  qel_update_name              => [['uint64', 'size_t', 'opaque*', 'size_t*', 'uint64*'], 'int'],
  qel_update_read              => [['uint64', 'size_t', 'opaque*', 'size_t*', 'uint64*'], 'int'],
  qel_update_replace           => [['uint64', 'size_t', @text, 'uint64*'], 'int'],
  qel_update_commit            => [['uint64', 'uint64*'], 'int'],
  qel_update_json              => [['uint64', 'opaque*', 'size_t*', 'uint64*'], 'int'],
  qel_error_message            => [['uint64', 'size_t*'], 'opaque'],
  qel_error_type               => [['uint64', 'size_t*'], 'opaque'],
  qel_error_object             => [['uint64', 'size_t*'], 'opaque'],
  qel_error_param_count        => [['uint64'], 'size_t'],
  qel_error_param_name         => [['uint64', 'size_t', 'size_t*'], 'opaque'],
  qel_error_param_value        => [['uint64', 'size_t', 'size_t*'], 'opaque'],
  qel_error_free               => [['uint64'], 'int'],
  qel_status_text              => [['int'], 'string'],
);
my %attached = map { ($_ => $ffi->function($_, @{$functions{$_}})) } keys %functions;

# The function of this name.
sub _c { return $attached{$_[0]} }

# Pointer and size of each text of bytes; nothing for undef. The texts have to live as long as they are used:
# the variables are the caller's.
sub _bytes {
  my @bytes;
  for (@_) {
    if (!defined) {
      push @bytes, undef, 0;
      next;
    }
    utf8::downgrade($_, 1)
      or Carp::croak('A text of characters beyond bytes: encode it first, as by Encode::encode');
    # A pointer to an empty text may be none, which would stand for no value.
    push @bytes, length ? scalar_to_buffer($_) : scalar_to_buffer(our $empty = "\0");
    $bytes[-1] = length;
  }
  return @bytes;
}

# Calls a function whose last argument is the error. Returns whether an edit was not refused.
sub _call {
  my ($name, @arguments) = @_;
  my $error = 0;
  my $status = _c($name)->call(@arguments, \$error);
  return $status == 0 if $status == 0 || $status == $REFUSED;
  die Qeltemplate::Error->_of($status, $error);
}

# Makes an object by a function whose last arguments are the handle and the error.
sub _make {
  my ($name, @arguments) = @_;
  my $handle = 0;
  _call($name, @arguments, \$handle);
  return $handle;
}

# The text that a function hands out whose last arguments are the text, its size and the error.
sub _text {
  my ($name, @arguments) = @_;
  my ($pointer, $size) = (undef, 0);
  _call($name, @arguments, \$pointer, \$size);
  my $text = $size ? buffer_to_scalar($pointer, $size) : '';
  _c('qel_text_free')->call($pointer);
  return $text;
}

# The text that belongs to an object, of a function whose last argument is the size.
sub _borrowed {
  my ($name, @arguments) = @_;
  my $size = 0;
  my $pointer = _c($name)->call(@arguments, \$size);
  return $size ? buffer_to_scalar($pointer, $size) : '';
}

# --- Edits ---

my %OPTIONS = (all => 1, must_exist => 2, skip_missing => 3, quote => 4);
my %CREATE = ('if-missing' => 0, never => 1, only => 2);

sub guess_dialect {
  my ($class, $text) = @_;
  return _c('qel_guess_dialect')->call(_bytes(my $copy = $text));
}

sub new {
  my ($class, %of) = @_;
  my ($dialect, $template) = @of{qw(dialect template)};
  defined or Carp::croak('An edit needs a dialect and a template') for $dialect, $template;
  my $name = $of{template_name} // 'template';
  my $create = $of{create} // 'if-missing';
  my ($values, $importer, $folder) = @of{qw(values import_by import_below)};
  my @names = map { [$_, @{$of{$_} // []}] } qw(force raw must_use);
  my %options = map { ($OPTIONS{$_} => $of{$_} ? 1 : 0) } keys %OPTIONS;
  delete @of{qw(dialect template template_name create values import_by import_below force raw must_use),
    keys %OPTIONS};
  Carp::croak("An edit has no option '$_'") for sort keys %of;
  exists $CREATE{$create} or Carp::croak("'$create' is none of " . join ', ', sort keys %CREATE);

  my $self = bless {thrown => []}, $class;
  $self->{request} = _make('qel_request_new', _bytes($dialect, $template, $name));
  _call('qel_request_set_option', $self->{request}, $_, $options{$_}) for sort keys %options;
  _call('qel_request_set_create', $self->{request}, $CREATE{$create});
  $self->set($_ => %{$values->{$_}}) for sort keys %{$values // {}};
  for (@names) {
    my ($what, @each) = @$_;
    _call("qel_request_$what", $self->{request}, _bytes($_)) for @each;
  }
  $self->_import_below($folder) if defined $folder;
  $self->_import_by($importer) if defined $importer;
  return $self;
}

sub DESTROY {
  my ($self) = @_;
  _c('qel_request_free')->call($self->{request}) if $self->{request} && $attached{qel_request_free};
  return;
}

sub set {
  my ($self, $name, %value) = @_;
  my ($old, $new, $read_old) = delete @value{qw(old new read_old)};
  Carp::croak("A value has no '$_'") for sort keys %value;
  _call('qel_request_set_value', $self->{request}, _bytes($name, $old, $new));
  _call('qel_request_read_old', $self->{request}, _bytes($name)) if $read_old;
  return $self;
}

sub _import_below {
  my ($self, $folder) = @_;
  _call('qel_request_import_below', $self->{request}, _bytes($folder));
  return;
}

sub _import_by {
  my ($self, $find) = @_;
  my $thrown = $self->{thrown};
  # It must not die through C.
  my $importer = $ffi->closure(sub {
    my ($context, $import, $name, $size, $file, $file_size, $line) = @_;
    eval {
      my @found = $find->(
        $size ? buffer_to_scalar($name, $size) : '',
        {file => $file_size ? buffer_to_scalar($file, $file_size) : '', line => $line},
      );
      _call('qel_import_found', $import, _bytes(@found[0, 1])) if @found && defined $found[0];
      1;
    } or push @$thrown, $@;
    return;
  });
  my $pointer = $ffi->cast(
    '(opaque, uint64, opaque, size_t, opaque, size_t, size_t)->void' => 'opaque', $importer);
  $self->{importer} = $importer;
  _call('qel_request_set_importer', $self->{request}, $pointer, undef, undef);
  return;
}

# What the importer dies of comes out of the edit.
sub _guarded {
  my ($self, $work) = @_;
  @{$self->{thrown}} = ();
  my $done = $work->();
  my ($thrown) = splice @{$self->{thrown}};
  die $thrown if defined $thrown;
  return $done;
}

sub attempt {
  my ($self, $config, $name) = @_;
  $name //= 'config';
  my $handle = $self->_guarded(sub { _make('qel_edit', $self->{request}, _bytes($config, $name)) });
  my $result = eval { Qeltemplate::Result->_of($handle) };
  my $problem = $@;
  _c('qel_result_free')->call($handle);
  return $result // die $problem;
}

sub apply {
  my ($self, @arguments) = @_;
  my $result = $self->attempt(@arguments);
  die Qeltemplate::Refused->_of($result) if $result->is_refused;
  return $result;
}

sub explain {
  my ($self, $config, $name) = @_;
  $name //= 'config';
  return $self->_guarded(
    sub { JSON::PP::decode_json(_text('qel_explain', $self->{request}, _bytes($config, $name))) });
}

sub inspect {
  my ($class, $config, $name, %of) = @_;
  my $dialect = delete $of{dialect};
  Carp::croak("There is no option '$_' of inspect") for sort keys %of;
  $name //= 'config';
  return JSON::PP::decode_json(_text('qel_inspect', _bytes($dialect, $config, $name)));
}

sub lint {
  my ($self, %of) = @_;
  my $all = $of{all_values} ? 1 : 0;
  return $self->_guarded(
    sub { JSON::PP::decode_json(_text('qel_lint', $self->{request}, $all))->{warnings} });
}

1;

__END__

=encoding utf8

=head1 NAME

Qeltemplate - edit nginx and Apache httpd configurations by templates

=head1 SYNOPSIS

  use Qeltemplate;

  my $edit = Qeltemplate->new(
    dialect       => 'nginx',
    template      => $template,
    template_name => 'site.template',
    values        => {name => {old => 'a.example', new => 'b.example'}},
  );
  my $edited = eval { $edit->apply($config, 'site.conf')->text }
    // die "not edited: $@\n";

  my $update = Qeltemplate::Update->new(
    files => \@files, check => 'nginx -t', reload => 'systemctl reload nginx');
  $update->edit($edit);
  $update->commit;

=head1 DESCRIPTION

An edit works on the blocks of a configuration that a template means, and leaves everything else as it is,
byte by byte. One that would do other than the template says is refused, with the reasons.

Texts are strings of bytes, in whatever encoding: read files with C<:raw>. A string with a character beyond
U+00FF is none, and is answered by an exception; encode it first.

=head1 METHODS

=head2 new(dialect => ..., template => ..., ...)

An edit, with all that it needs but the configuration: it can be carried out on any number of texts.

=over

=item dialect

C<nginx> or C<apache>.

=item template, template_name

The text, and a name that stands for it in findings; imports are looked for beside that.

=item values

By name, each C<< {old => ..., new => ...} >>: what the configuration holds now, and what it is to hold.
Without an old value the new one is taken for what the configuration holds already. With C<< read_old => 1 >>
the old one is what each configuration says itself: what stands in the value's place there.

=item all, must_exist, skip_missing, quote

True: edit each block that fits; what is to be removed has to be there; leave a text alone that has none of
the template's blocks; write values in quotes where the server would not read them as one text.

=item create

C<if-missing> (as it is without), C<never> or C<only>: whether blocks that are not there may be made.

=item force, raw, must_use

Lists: refusals that do not count, by name; values that may be more than a word; values that the template has
to use.

=item import_below

A folder out of which no import leads; C<''>: from everywhere. Without it, and without C<import_by>, nothing can be
imported.

=item import_by

A function that gets the name of an import and its place, C<< {file => ..., line => ...} >>, and returns a name
that tells the file from all others and its text, or nothing. What it dies of comes out of the edit.

=back

=head2 set($name, old => ..., new => ...)

Sets one more value.

=head2 apply($config, $name)

A L</Qeltemplate::Result>. Dies with a C<Qeltemplate::Refused>, whose C<result> has the reasons, and which is a
text of them.

=head2 attempt($config, $name)

The same, but of a refused edit the result has the reasons in C<refusals>, and the text as it was.

=head2 explain($config, $name), lint(all_values => ...)

What C<qeltemplate explain --json> and C<qeltemplate lint --json> write, the latter as a list of warnings.

=head2 Qeltemplate->inspect($config, $name, dialect => ...)

The blocks and directives of a configuration as its server reads it: what C<qeltemplate inspect --json> writes.
Without a dialect that is guessed.

=head2 Qeltemplate->guess_dialect($text)

C<nginx>, C<apache>, or undef when that cannot be told.

=head1 Qeltemplate::Result

C<text>, C<changed>, C<skipped>, C<is_refused>, C<refusals> and C<warnings> (lists of findings), and C<changes>:
a list of C<< {line, count, text, template_lines} >>, which make the edited text of the one before, when they
are carried out from the last to the first.

A finding (C<Qeltemplate::Finding>) has C<said> (one sentence for people, which it also is as a text), C<name>,
C<message>, C<hint>, C<template_place> (undef: none) and C<config_places>, each C<< {file, line, column} >>,
C<in_result>, C<values>, C<remedies> and C<can_be_forced>.

=head1 Qeltemplate::Update

Replaces the content of files, all of them or none, under a lock.

C<< new(files => [...]) >> locks them until the object goes, with C<check> (a command that judges them),
C<reload> (one that has the server take them), C<backup_suffix>, C<lock_wait> and C<command_limit> (in
milliseconds), C<new_warnings> (C<ignored>, C<told>, C<refused>) and C<may_create>. C<names>, C<read($file)>,
C<replace($file, $text)> (a file by its number, from 0) and C<edit($edit)>, which edits all of them, prepare;
C<commit> carries it out and returns C<< {changed, backups, new_warnings, checked, reloaded} >>.

=head1 ERRORS

What fails dies with a C<Qeltemplate::Error>: C<message>, C<status> (the number of the C interface), C<type>,
C<object>, and C<params($name)>, a list. C<kind> is C<unknown-dialect>, C<update-failed>, C<server-refuses>,
C<overtaken>, or C<failed>.

=head1 ENVIRONMENT

C<QELTEMPLATE_C> names the library's file when it is not where the system looks.

=cut
