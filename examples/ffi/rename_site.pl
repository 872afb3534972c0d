#!/usr/bin/perl
# Renames a site in an nginx configuration, through the C interface and FFI::Platypus:
#
#   rename_site.pl CONFIG OLD_NAME NEW_NAME
#
# QELTEMPLATE_C names the library's file when it is not where the system looks.
use strict;
use warnings;

use FFI::Platypus 1.00;
use FFI::Platypus::Buffer qw(buffer_to_scalar);

# The lines of a site that hold its name.
my $template = <<'END';
server {
	server_name {% $name %} www.{% $name %};
	access_log logs/{% $name %}.access.log;
}
END

my $ffi = FFI::Platypus->new(api => 1, lib => $ENV{QELTEMPLATE_C} // 'libqeltemplate_c.so.0');

# What qeltemplate_c.h declares: a handle is a number, a status an int, a text goes with its size.
my @text = ('string', 'size_t');
$ffi->attach(qel_parser_new => [@text, @text, 'uint64*', 'uint64*'] => 'int');
$ffi->attach(qel_parser_set_value => ['uint64', @text, @text, @text, 'uint64*'] => 'int');
$ffi->attach(qel_parser_set_template => ['uint64', @text, 'uint64*'] => 'int');
$ffi->attach(qel_parser_apply => ['uint64', 'uint64*'] => 'int');
$ffi->attach(qel_parser_config => ['uint64', 'opaque*', 'size_t*', 'uint64*'] => 'int');
$ffi->attach(qel_parser_free => ['uint64'] => 'int');
$ffi->attach(qel_text_free => ['opaque'] => 'void');
$ffi->attach(qel_error_message => ['uint64', 'opaque'] => 'string');
$ffi->attach(qel_error_free => ['uint64'] => 'int');
$ffi->attach(qel_status_text => ['int'] => 'string');

# A text and its size, both in bytes: Perl may hold a text beyond ASCII in two ways, of which C sees the
# bytes of one.
sub text {
  my ($text) = @_;
  utf8::encode($text) if utf8::is_utf8($text);
  return ($text, length $text);
}

# Calls a function whose last argument is the error, and dies of what it answers.
sub call {
  my ($function, @arguments) = @_;
  my $error = 0;
  my $status = $function->(@arguments, \$error);
  return if $status == 0;
  my $message = qel_error_message($error, undef) || qel_status_text($status);
  qel_error_free($error);
  die "$message\n";
}

sub rename_site {
  my ($config, $old_name, $new_name) = @_;
  my $parser = 0;
  my $edited;
  call(\&qel_parser_new, text('Nginx'), text($config), \$parser);
  eval {
    call(\&qel_parser_set_value, $parser, text('name'), text($old_name), text($new_name));
    call(\&qel_parser_set_template, $parser, text($template));
    call(\&qel_parser_apply, $parser);
    my ($pointer, $size);
    call(\&qel_parser_config, $parser, \$pointer, \$size);
    $edited = buffer_to_scalar($pointer, $size);
    qel_text_free($pointer);
  };
  my $problem = $@;
  qel_parser_free($parser);
  die $problem if $problem;
  return $edited;
}

die "usage: rename_site.pl CONFIG OLD_NAME NEW_NAME\n" unless @ARGV == 3;
my ($config_file, $old_name, $new_name) = @ARGV;
open(my $file, '<:raw', $config_file) or die "rename_site.pl: $config_file: $!\n";
my $config = do { local $/; <$file> };
my $edited = eval { rename_site($config // '', $old_name, $new_name) } // die "rename_site.pl: $@";
binmode STDOUT;
print "$edited\n" or die "rename_site.pl: standard output: $!\n";
