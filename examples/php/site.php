<?php
// What a control panel does with its sites: adds one to a file, renames it, switches TLS on, removes it.
//
//   site.php add|rename|tls|remove TEMPLATES FILE NAME [NEW_NAME]
//
// TEMPLATES is a folder with a template for each. The exit status is 3 when the edit is refused.
declare(strict_types=1);

require getenv('QELTEMPLATE_PHP') ?: 'Qeltemplate/autoload.php';

use Qeltemplate\{Create, Edit, QeltemplateException, Refused, Update};

if ($argc < 5 || !in_array($argv[1], ['add', 'rename', 'tls', 'remove'], true) || ($argv[1] === 'rename') !== ($argc === 6)) {
    fwrite(STDERR, "usage: site.php add|rename|tls|remove TEMPLATES FILE NAME [NEW_NAME]\n");
    exit(2);
}
[, $action, $templates, $file, $name] = $argv;
$template = "$templates/$action.template";
$edit = new Edit(
    'nginx',
    file_get_contents($template),
    $template,
    mustExist: true,
    // Only what is added may be new: a typing error makes no site.
    create: $action === 'add' ? Create::IfMissing : Create::Never,
);
match ($action) {
    'rename' => $edit->set('name', old: $name, new: $argv[5]),
    'remove' => $edit->set('name', old: $name),
    default => $edit->set('name', new: $name),
};

try {
    $update = new Update([$file], backupSuffix: '~');  // and check: 'nginx -t', reload: 'systemctl reload nginx'
    foreach ($update->edit($edit)[0]->warnings as $warning) {
        fwrite(STDERR, "warning: $warning\n");
    }
    $update->commit();
} catch (Refused $refused) {
    foreach ($refused->result->refusals as $refusal) {
        fwrite(STDERR, "refused: $refusal\n");
    }
    exit(3);
} catch (QeltemplateException $error) {
    fwrite(STDERR, "site.php: {$error->getMessage()}\n");
    exit(1);
}
