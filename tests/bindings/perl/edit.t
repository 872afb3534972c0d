# SPDX-License-Identifier: Apache-2.0

use strict;
use warnings;

use File::Temp ();
use Test::More;

use Qeltemplate;

my $CONFIG = "server {\n  server_name a;\n\n  root /a;  # ours\n}\n";
my $TEMPLATE = "server {\nserver_name {% \$name %};\n}\n";
my $IMPORTING = "server {\nserver_name a;\n{% import part %}\n}\n";
my $TWO = "server {\nserver_name a;\nlisten 80;\n}\nserver {\nserver_name a;\nlisten 81;\n}\n";

sub renaming {
  return Qeltemplate->new(
    dialect       => 'nginx',
    template      => $TEMPLATE,
    template_name => 'site.template',
    values        => {name => {old => 'a', new => 'b'}},
    @_,
  );
}

sub renamed { return ($_[0] // $CONFIG) =~ s/server_name a;/server_name b;/gr }

sub died(&) {
  my ($work) = @_;
  return eval { $work->(); 1 } ? undef : $@;
}

sub place_text { return join ':', map { @$_{qw(file line column)} } @_ }

subtest 'changes nothing but what it is for' => sub {
  my $result = renaming()->apply($CONFIG, 'site.conf');
  is($result->text, renamed());
  ok($result->changed);
  ok(!$result->is_refused);
  is_deeply(
    $result->changes,
    [
      {
        line           => 2,
        count          => 1,
        text           => "  server_name b;\n",
        template_lines => [{file => 'site.template', line => 2}],
      }
    ]
  );
};

subtest 'texts are bytes' => sub {
  my $odd = "# \0\xff caf\xc3\xa9\n";
  my $edit = Qeltemplate->new(dialect => 'nginx', template => $TEMPLATE);
  my $name = "b\xc3\xa9\xff";
  $edit->set('name', old => 'a', new => $name);
  is($edit->apply($odd . $CONFIG)->text, $odd . $CONFIG =~ s/server_name a/server_name $name/r);
  utf8::upgrade($name);
  $edit->set('name', old => 'a', new => $name);
  is($edit->apply($CONFIG)->text, $CONFIG =~ s/server_name a/server_name $name/r, 'however Perl keeps them');
  like(died { $edit->set('name', new => "\x{20ac}") }, qr/characters beyond bytes/);
  like(died { $edit->apply("# \x{20ac}\n") }, qr/characters beyond bytes/);
  my $made = Qeltemplate->new(dialect => 'nginx', template => "server {\nroot /x;\n}\n")->apply('');
  like($made->text, qr/root/, 'the empty text is one');
};

subtest 'a refusal is died of, with its reasons' => sub {
  my $refused = died { renaming()->apply($TWO, 'two.conf') };
  isa_ok($refused, 'Qeltemplate::Refused');
  my ($refusal, @more) = @{$refused->result->refusals};
  is_deeply(\@more, []);
  is("$refused", $refusal->said . "\n");
  is($refusal->name, 'ambiguous');
  is(place_text($refusal->template_place), 'site.template:1:1');
  is_deeply([map { place_text($_) } @{$refusal->config_places}], ['two.conf:1:1', 'two.conf:5:1']);
  is_deeply($refusal->remedies, ['all']);
  is($refused->result->text, $TWO);
  ok(renaming()->attempt($TWO)->is_refused, 'or looked at');
};

subtest 'options' => sub {
  is(renaming(all => 1)->apply($TWO)->text, renamed($TWO));
  ok(renaming(skip_missing => 1)->apply("# none\n")->skipped);
  ok(renaming(create => 'never')->attempt("# none\n")->is_refused);
  ok(renaming(must_use => ['nmae'])->attempt($CONFIG)->is_refused);
  my @root = (
    dialect  => 'nginx',
    template => "server {\nroot {% \$r %};\n}\n",
    values   => {r => {old => '/a', new => '/b c'}},
  );
  my $config = "server {\nroot /a;\n}\n";
  is(Qeltemplate->new(@root, quote => 1)->apply($config)->text, "server {\nroot \"/b c\";\n}\n");
  is(Qeltemplate->new(@root, raw => ['r'])->apply($config)->text, "server {\nroot /b c;\n}\n");
  my @other = (dialect => 'nginx', template => "server {\nroot /b;\n}\n");
  ok(Qeltemplate->new(@other)->attempt($config)->refusals->[0]->can_be_forced);
  ok(!Qeltemplate->new(@other, force => ['other-value'])->attempt($config)->is_refused);
  like(died { renaming(al => 1) }, qr/no option 'al'/);
  like(died { renaming(create => 'x') }, qr/none of/);
  like(died { renaming()->set('name', nwe => 1) }, qr/no 'nwe'/);
};

subtest 'imports' => sub {
  my @of = (dialect => 'nginx', template => $IMPORTING, template_name => 'site.template');
  my $expected = $CONFIG =~ s/\}\n/  expires 1d;\n}\n/r;
  is(Qeltemplate->new(@of)->attempt($CONFIG)->refusals->[0]->name, 'import');
  my @asked;
  my $find = sub { @asked = @_; return ('the part', "expires 1d;\n") };
  is(Qeltemplate->new(@of, import_by => $find)->apply($CONFIG)->text, $expected);
  is_deeply(\@asked, ['part', {file => 'site.template', line => 3}]);
  my $none = Qeltemplate->new(@of, import_by => sub { return });
  is($none->attempt($CONFIG)->refusals->[0]->name, 'import');
  my $dying = Qeltemplate->new(@of, import_by => sub { die "the disk is gone\n" });
  is(died { $dying->apply($CONFIG) }, "the disk is gone\n");
  my $folder = File::Temp->newdir;
  open my $part, '>', "$folder/part" or die $!;
  print $part "expires 1d;\n";
  close $part;
  is(Qeltemplate->new(@of, import_below => "$folder")->apply($CONFIG)->text, $expected);
  my $error = died { Qeltemplate->new(@of, import_below => "$folder/none") };
  is_deeply([$error->params('filename')], ["$folder/none"]);
};

subtest 'explain, lint, dialects' => sub {
  is(renaming()->explain($CONFIG)->{template_lines}[1]{action}, 'changed');
  ok(renaming()->explain($TWO)->{refused});
  is_deeply(renaming()->lint(all_values => 1), []);
  my $wrong = Qeltemplate->new(dialect => 'nginx', template => "server {\nroot {% \$r %}\n}\n");
  isnt(scalar @{$wrong->lint}, 0);
  for my $of ([], [dialect => 'Nginx']) {
    my $tree = Qeltemplate->inspect($CONFIG, 'site.conf', @$of);
    is_deeply($tree->{blocks}[0]{server}{names}, ['a']);
  }
  is((died { Qeltemplate->inspect('') })->kind, 'unknown-dialect');
  is(Qeltemplate->guess_dialect($CONFIG), 'nginx');
  is(Qeltemplate->guess_dialect(''), undef);
  my $error = died { Qeltemplate->new(dialect => 'lighttpd', template => '') };
  is("$error", "dialect: unknown (name=lighttpd, known=apache, nginx)\n");
  is($error->kind, 'unknown-dialect');
};

# --- Files ---

my $folder = File::Temp->newdir;

sub written {
  my ($name, $text) = @_;
  open my $file, '>:raw', "$folder/$name" or die $!;
  print $file $text;
  close $file or die $!;
  return "$folder/$name";
}

sub content {
  my ($name) = @_;
  open my $file, '<:raw', $name or die "$name: $!";
  return do { local $/; <$file> };
}

subtest 'files are edited together' => sub {
  my @files = (written('a', $CONFIG), written('b', $CONFIG));
  my $update = Qeltemplate::Update->new(
    files         => \@files,
    check         => 'true',
    reload        => "echo reloaded >$folder/log",
    backup_suffix => '~',
  );
  is_deeply([$update->names], \@files);
  is($update->read(1), $CONFIG);
  $update->edit(renaming());
  my $done = $update->commit;
  is_deeply([map { content($_) } @files], [renamed(), renamed()]);
  is_deeply($done->{changed}, \@files);
  is_deeply($done->{backups}, [map { "$_~" } @files]);
  ok($done->{checked} && $done->{reloaded});
  is(content("$folder/log"), "reloaded\n");
};

subtest 'a refused edit replaces none' => sub {
  my @files = (written('a', $CONFIG), written('b', $TWO));
  my $update = Qeltemplate::Update->new(files => \@files);
  isa_ok(died { $update->edit(renaming()) }, 'Qeltemplate::Refused');
  is_deeply($update->commit->{changed}, []);
  is(content($files[0]), $CONFIG);
};

subtest 'what can go wrong' => sub {
  my $file = written('a', $CONFIG);
  my $kind = sub {
    my $update = Qeltemplate::Update->new(files => [$file], @_);
    $update->replace(0, 'new');
    my $error = died { $update->commit };
    return ref $error ? $error : die $error // 'nothing is wrong';
  };
  my $refusal = $kind->(check => 'echo wrong; exit 3');
  is($refusal->kind, 'server-refuses');
  is_deeply([map { $refusal->params($_) } qw(output exit_status)], ['wrong', '3']);
  is(content($file), $CONFIG);
  is_deeply([$kind->(check => 'exec sleep 60', command_limit => 50)->params('timed_out')], ['1']);
  is($kind->(check => "echo theirs >$file")->kind, 'overtaken');
  is(content($file), "theirs\n");
  unlink glob "$folder/.a.*";
  my $holder = Qeltemplate::Update->new(files => [$file]);
  is((died { Qeltemplate::Update->new(files => [$file], lock_wait => 10) })->kind, 'update-failed');
  undef $holder;
  ok(Qeltemplate::Update->new(files => [$file], lock_wait => 10), 'the lock goes with the object');
  like(died { Qeltemplate::Update->new(files => [$file], chek => 'x') }, qr/no option 'chek'/);
};

subtest 'a new file' => sub {
  my $new = Qeltemplate::Update->new(files => ["$folder/new"], may_create => 1, new_warnings => 'told');
  $new->replace(0, "made\0\xff\n");
  $new->commit;
  is(content("$folder/new"), "made\0\xff\n");
};

done_testing;
