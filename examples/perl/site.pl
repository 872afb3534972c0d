#!/usr/bin/perl
# What a control panel does with its sites: adds one to a file, renames it, switches TLS on, removes it.
#
#   site.pl add|rename|tls|remove TEMPLATES FILE NAME [NEW_NAME]
#
# TEMPLATES is a folder with a template for each. The exit status is 3 when the edit is refused.
use strict;
use warnings;

use Qeltemplate;

my ($action, $templates, $file, $name, $new_name) = @ARGV;
if (@ARGV < 4 || $action !~ /\A(?:add|rename|tls|remove)\z/ || ($action eq 'rename') != (@ARGV == 5)) {
  print STDERR "usage: site.pl add|rename|tls|remove TEMPLATES FILE NAME [NEW_NAME]\n";
  exit 2;
}
my $template = "$templates/$action.template";
open(my $in, '<:raw', $template) or die "site.pl: $template: $!\n";
my %names = (rename => {old => $name, new => $new_name}, remove => {old => $name});

my $done = eval {
  my $edit = Qeltemplate->new(
    dialect       => 'nginx',
    template      => do { local $/; <$in> },
    template_name => $template,
    values        => {name => $names{$action} // {new => $name}},
    must_exist    => 1,
    # Only what is added may be new: a typing error makes no site.
    create => $action eq 'add' ? 'if-missing' : 'never',
  );
  # And check => 'nginx -t', reload => 'systemctl reload nginx'.
  my $update = Qeltemplate::Update->new(files => [$file], backup_suffix => '~');
  my ($result) = $update->edit($edit);
  print STDERR "warning: $_\n" for @{$result->warnings};
  $update->commit;
};
exit 0 if $done;
unless (ref $@ && $@->isa('Qeltemplate::Refused')) {
  print STDERR "site.pl: $@";
  exit 1;
}
print STDERR "refused: $_\n" for @{$@->result->refusals};
exit 3;
