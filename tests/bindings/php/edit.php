<?php

// SPDX-License-Identifier: Apache-2.0

declare(strict_types=1);

require __DIR__ . '/check.php';

use Qeltemplate\{Create, Dialect, Edit, NewWarnings, Overtaken, Place, QeltemplateException, Refused};
use Qeltemplate\{ServerRefuses, UnknownDialect, Update, UpdateFailed};

const CONFIG = "server {\n  server_name a;\n\n  root /a;  # ours\n}\n";
const TEMPLATE = "server {\nserver_name {% \$name %};\n}\n";
const IMPORTING = "server {\nserver_name a;\n{% import part %}\n}\n";
const TWO = "server {\nserver_name a;\nlisten 80;\n}\nserver {\nserver_name a;\nlisten 81;\n}\n";

function renaming(mixed ...$options): Edit
{
    return (new Edit('nginx', TEMPLATE, 'site.template', ...$options))->set('name', old: 'a', new: 'b');
}

function renamed(string $config = CONFIG): string
{
    return str_replace('server_name a;', 'server_name b;', $config);
}

test('changes nothing but what it is for', function () {
    $result = renaming()->apply(CONFIG, 'site.conf');
    same(renamed(), $result->text);
    same(true, $result->changed);
    same(false, $result->isRefused());
    same(["  server_name b;\n", 2, 1], [
        $result->changes[0]->text,
        $result->changes[0]->line,
        $result->changes[0]->count,
    ]);
    same('site.template:2', (string) $result->changes[0]->templateLines[0]);
});

test('texts are bytes', function () {
    $odd = "# \0\xff caf\xc3\xa9\n";
    $edit = (new Edit(Dialect::Nginx, TEMPLATE))->set('name', old: 'a', new: "b\xc3\xa9\xff");
    same($odd . str_replace('server_name a', "server_name b\xc3\xa9\xff", CONFIG), $edit->apply($odd . CONFIG)->text);
});

test('a refusal is thrown, with its reasons', function () {
    $refused = thrown(Refused::class, fn () => renaming()->apply(TWO, 'two.conf'));
    same(1, count($refused->result->refusals));
    $refusal = $refused->result->refusals[0];
    same('ambiguous', $refusal->name);
    same($refused->getMessage(), $refusal->said);
    same((string) $refusal, $refusal->said);
    same('site.template:1:1', (string) $refusal->templatePlace);
    same(['two.conf:1:1', 'two.conf:5:1'], array_map('strval', $refusal->configPlaces));
    same(['all'], $refusal->remedies);
    same(TWO, $refused->result->text);
});

test('or looked at', function () {
    $result = renaming()->attempt(TWO);
    same(true, $result->isRefused());
    same(TWO, $result->text);
});

test('options', function () {
    same(renamed(TWO), renaming(all: true)->apply(TWO)->text);
    same(true, renaming(skipMissing: true)->apply("# none\n")->skipped);
    same(true, renaming(create: Create::Never)->attempt("# none\n")->isRefused());
    same(true, renaming()->mustUse('nmae')->attempt(CONFIG)->isRefused());
    $root = "server {\nroot {% \$r %};\n}\n";
    $made = fn (Edit $edit) => $edit->set('r', old: '/a', new: '/b c')->apply("server {\nroot /a;\n}\n")->text;
    same("server {\nroot \"/b c\";\n}\n", $made(new Edit('nginx', $root, quote: true)));
    same("server {\nroot /b c;\n}\n", $made((new Edit('nginx', $root))->raw('r')));
    $other = fn () => new Edit('nginx', "server {\nroot /b;\n}\n");
    $config = "server {\nroot /a;\n}\n";
    same(true, $other()->attempt($config)->refusals[0]->canBeForced);
    same(false, $other()->force('other-value')->attempt($config)->isRefused());
});

test('imports', function () {
    $expected = str_replace("}\n", "  expires 1d;\n}\n", CONFIG);
    $edit = new Edit('nginx', IMPORTING, 'site.template');
    same('import', $edit->attempt(CONFIG)->refusals[0]->name);
    $asked = null;
    $edit->importBy(function (string $name, Place $from) use (&$asked): array {
        $asked = "$name at $from";
        return ['the part', "expires 1d;\n"];
    });
    gc_collect_cycles();
    same($expected, $edit->apply(CONFIG)->text);
    same('part at site.template:3', $asked);
    same('import', $edit->importBy(fn () => null)->attempt(CONFIG)->refusals[0]->name);
    $edit->importBy(fn () => throw new DomainException('the disk is gone'));
    same('the disk is gone', thrown(DomainException::class, fn () => $edit->apply(CONFIG))->getMessage());
    $folder = sys_get_temp_dir() . '/qeltemplate-imports-' . getmypid();
    mkdir($folder);
    file_put_contents("$folder/part", "expires 1d;\n");
    same($expected, $edit->importBelow($folder)->apply(CONFIG)->text);
    unlink("$folder/part");
    rmdir($folder);
    $error = thrown(QeltemplateException::class, fn () => $edit->importBelow($folder));
    same([$folder], $error->params('filename'));
});

test('explain and lint', function () {
    same('changed', renaming()->explain(CONFIG)['template_lines'][1]['action']);
    same(true, renaming()->explain(TWO)['refused']);
    same([], renaming()->lint(true));
    same(true, count((new Edit('nginx', "server {\nroot {% \$r %}\n}\n"))->lint()) > 0);
});

test('inspect', function () {
    foreach ([null, 'nginx', Dialect::Nginx] as $dialect) {
        same(['a'], Edit::inspect(CONFIG, 'site.conf', $dialect)['blocks'][0]['server']['names']);
    }
    thrown(UnknownDialect::class, fn () => Edit::inspect(''));
});

test('dialects', function () {
    same(Dialect::Nginx, Dialect::guess(CONFIG));
    same(Dialect::Apache, Dialect::guess("<VirtualHost *:80>\nServerName a\n</VirtualHost>\n"));
    same(null, Dialect::guess(''));
    new Edit('Apache', '');
    $error = thrown(UnknownDialect::class, fn () => new Edit('lighttpd', ''));
    same('dialect: unknown (name=lighttpd, known=apache, nginx)', $error->getMessage());
    same(4, $error->getCode());
});

test('an edit is one object', function () {
    thrown(LogicException::class, fn () => clone renaming());
});

// --- Files ---

$folder = sys_get_temp_dir() . '/qeltemplate-updates-' . getmypid();
mkdir($folder);
register_shutdown_function(fn () => array_map('unlink', glob("$folder/*")) && rmdir($folder));

function written(string $name, string $text): string
{
    global $folder;
    file_put_contents("$folder/$name", $text);
    return "$folder/$name";
}

test('files are edited together', function () use ($folder) {
    $files = [written('a', CONFIG), written('b', CONFIG)];
    $update = new Update($files, check: 'true', reload: "echo reloaded >$folder/log", backupSuffix: '~');
    same($files, $update->names());
    same(CONFIG, $update->read(1));
    $update->edit(renaming());
    $done = $update->commit();
    same([renamed(), renamed()], array_map('file_get_contents', $files));
    same([$files, ["$folder/a~", "$folder/b~"], true, true], [$done->changed, $done->backups, $done->checked, $done->reloaded]);
    same("reloaded\n", file_get_contents("$folder/log"));
});

test('a refused edit replaces none', function () {
    $files = [written('a', CONFIG), written('b', TWO)];
    $update = new Update($files);
    thrown(Refused::class, fn () => $update->edit(renaming()));
    same([], $update->commit()->changed);
    same(CONFIG, file_get_contents($files[0]));
});

test('the server refuses', function () {
    $file = written('a', CONFIG);
    $update = new Update([$file], check: 'echo wrong; exit 3');
    $update->edit(renaming());
    $error = thrown(ServerRefuses::class, fn () => $update->commit());
    same([['wrong'], ['3']], [$error->params('output'), $error->params('exit_status')]);
    same(CONFIG, file_get_contents($file));
});

test('another program changes the file', function () {
    $file = written('a', CONFIG);
    $update = new Update([$file], check: "echo theirs >$file");
    $update->edit(renaming());
    same([$file], thrown(Overtaken::class, fn () => $update->commit())->params('file'));
    same("theirs\n", file_get_contents($file));
    array_map('unlink', glob(dirname($file) . '/.a.*'));
});

test('locks, new files, limits', function () use ($folder) {
    $file = written('a', CONFIG);
    $update = new Update([$file]);
    thrown(UpdateFailed::class, fn () => new Update([$file], lockWait: 10));
    unset($update);
    new Update([$file], lockWait: 10);
    thrown(UpdateFailed::class, fn () => new Update(["$folder/new"]));
    $new = new Update(["$folder/new"], mayCreate: true);
    $new->replace(0, "made\0\n");
    $new->commit();
    same("made\0\n", file_get_contents("$folder/new"));
    $slow = new Update([$file], check: 'exec sleep 60', commandLimit: 50);
    $slow->replace(0, 'x');
    same(['1'], thrown(ServerRefuses::class, fn () => $slow->commit())->params('timed_out'));
});
