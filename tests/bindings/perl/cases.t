# SPDX-License-Identifier: Apache-2.0

# The edits of the C++ tests, made once more: all of each result is the same.
#
#   cases.t FOLDER   which tests/edit/case_writer.h has written
use strict;
use warnings;

use JSON::PP ();
use Test::More;

use Qeltemplate;

# Numbers and truth as in the JSON.
sub truth { return $_[0] ? JSON::PP::true : JSON::PP::false }

sub place {
  my ($place) = @_;
  return {file => '', line => 0, column => 0} unless $place;
  return {column => 0, %$place};
}

sub finding {
  my ($finding) = @_;
  return {
    (map { ($_ => $finding->$_) } qw(name message hint said values remedies)),
    (map { ($_ => truth($finding->$_)) } qw(in_result can_be_forced)),
    template_place => place($finding->template_place),
    config_places  => [map { place($_) } @{$finding->config_places}],
  };
}

sub change {
  my ($change) = @_;
  return {%$change, template_lines => [map { place($_) } @{$change->{template_lines}}]};
}

sub made {
  my ($case) = @_;
  my $imports = $case->{imports};
  my $edit = Qeltemplate->new(
    (map { ($_ => $case->{$_}) }
        qw(dialect template template_name values create all must_exist skip_missing quote raw must_use)),
    force => $case->{forced},
    $imports
    ? (
      import_by => sub {
        my ($name, $from) = @_;
        my ($found) = grep {
               $_->{name} eq $name
            && $_->{from}{file} eq $from->{file}
            && $_->{from}{line} == $from->{line}
        } @$imports;
        return unless $found && $found->{found};
        return @{$found->{found}}{qw(name text)};
      }
      )
    : (),
  );
  my $result = $edit->attempt(@$case{qw(config config_name)});
  return {
    text     => $result->text,
    changed  => truth($result->changed),
    skipped  => truth($result->skipped),
    changes  => [map { change($_) } @{$result->changes}],
    refusals => [map { finding($_) } @{$result->refusals}],
    warnings => [map { finding($_) } @{$result->warnings}],
  };
}

my ($folder) = @ARGV;
my $json = JSON::PP->new->utf8->canonical;
my $count = 0;
for my $file (glob "$folder/*.jsonl") {
  open my $lines, '<:raw', $file or die "$file: $!";
  my @wrong;
  while (my $line = <$lines>) {
    my $case = $json->decode($line);
    # An importer of this module dies instead of giving a reason.
    next if grep { $_->{found} && $_->{found}{problem} ne '' } @{$case->{imports} // []};
    $case->{must_use} = delete $case->{must_be_used};
    # The columns of template lines are not handed out.
    $_->{column} = 0 for map { @{$_->{template_lines}} } @{$case->{result}{changes}};
    my ($expected, $made) = map { $json->encode($_) } $case->{result}, made($case);
    push @wrong, "$line$made\n" if $expected ne $made;
    ++$count;
  }
  is("@wrong", '', $file =~ s{.*/}{}r);
}
cmp_ok($count, '>', 1000, 'edits');
done_testing;
